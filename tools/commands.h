#pragma once

namespace CLI {
class App;
}

namespace tool {

// Each adds one subcommand to the application; its callback does the work and throws UsageError,
// Failure or ExitRequest.
void addConvert(CLI::App& app);
void addPack(CLI::App& app);
void addFormats(CLI::App& app);
void addInfo(CLI::App& app);
void addGuess(CLI::App& app);
void addSheet(CLI::App& app);
void addPreview(CLI::App& app);
void addBench(CLI::App& app);
void addCompletions(CLI::App& app);

/// Ends the command with this exit code, everything having been said.
struct ExitRequest {
    int code;
};

}  // namespace tool
