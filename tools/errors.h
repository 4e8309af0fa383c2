#pragma once

#include <stdexcept>
#include <string>

namespace tool {

/// Exit codes of the command.
enum ExitCode : int { kExitFine = 0, kExitFailed = 1, kExitUsage = 2 };

/// What was asked cannot be meant: unknown names, impossible sizes, options that exclude each
/// other. Exit code 2.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The request is fine, the data or the machine is not. Exit code 1.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A file is there that must not be replaced.
struct AlreadyThere : Failure {
    using Failure::Failure;
};

}  // namespace tool
