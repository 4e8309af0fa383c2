#pragma once

#include "convert/source_options.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tool {

/// What describes the source, as every subcommand that reads frames has it.
void add_source_options(CLI::App& command, SourceOptions& options);
/// --method; the value is an imgcnv_demosaic.
void add_method(CLI::App& command, int& demosaic);
void add_quiet(CLI::App& command);

/// Of subcommands that tell what a dump may be.
struct DumpOptions {
    std::string file;
    std::optional<std::string> size;
    std::int64_t skip = 0;
    bool json = false;
};
/// FILE, --size, --skip, --json and --quiet.
void add_dump_options(CLI::App& command, DumpOptions& options);

// What an option takes, in its help, in completions and when it is parsed.
void one_of(CLI::Option* option, const std::vector<std::string>& values);
void in_range(CLI::Option* option, long least, long most);
void at_least(CLI::Option* option, long least);
/// A value that begins with a dash is the next option: the value was forgotten.
void not_an_option(CLI::Option* option);
/// An empty value is most often a variable of the shell that has not been set.
void not_empty(CLI::Option* option);

}  // namespace tool
