#pragma once

#include "convert/convert_options.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>
#include <vector>

namespace tool {

/// --format, --size, --padding, --stride and --skip, as every subcommand that reads frames has
/// them.
void add_source_options(CLI::App& command, SourceOptions& options);
void add_quiet(CLI::App& command);

/// Of subcommands that tell what a dump may be.
struct DumpOptions {
    std::string file, size;
    std::int64_t skip = 0;
    bool json = false;
};
/// FILE, --size, --skip, --json and --quiet.
void add_dump_options(CLI::App& command, DumpOptions& options);

// What an option takes, in its help and when it is parsed.
void one_of(CLI::Option* option, const std::vector<std::string>& values);
void in_range(CLI::Option* option, long least, long most);
void at_least(CLI::Option* option, long least);

}  // namespace tool
