#include "commands.h"
namespace tool {
void addCompletions(CLI::App&) {}
}  // namespace tool
