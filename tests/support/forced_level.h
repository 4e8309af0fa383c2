// Lets a program that links imgcnv_forced_level choose the instruction-set level.
#pragma once

#include <span>
#include <string_view>

namespace imgcnv::testing {

// All levels, from plain upwards.
std::span<const std::string_view> level_names();

// Whether this CPU can run it.
bool level_available(std::string_view name);

// Everything converted from now on, on any thread, uses it. Terminates the
// program when the level is unknown or not available. Starts as the best one.
void force_level(std::string_view name);

}  // namespace imgcnv::testing
