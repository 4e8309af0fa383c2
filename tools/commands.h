#pragma once

namespace CLI {
class App;
}

namespace tool {

// Each adds one subcommand to the application; its callback does the work and throws UsageError,
// Failure or ExitRequest.
void add_convert(CLI::App& app);
void add_pack(CLI::App& app);
void add_formats(CLI::App& app);
void add_info(CLI::App& app);
void add_guess(CLI::App& app);
void add_sheet(CLI::App& app);
void add_preview(CLI::App& app);
void add_bench(CLI::App& app);
void add_view(CLI::App& app);
void add_completions(CLI::App& app);

/// Ends the command with this exit code, everything having been said.
struct ExitRequest {
    int code;
};

}  // namespace tool
