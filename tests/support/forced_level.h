// Lets a program that links imgcnv_forced_level choose the instruction-set level.
#pragma once

#include <span>
#include <string_view>

namespace imgcnv::testing {

// All levels, from plain upwards.
std::span<const std::string_view> level_names();

// The same, each followed by its streaming kernels, for frames that no cache holds, as
// "avx2-streaming". Forced, they convert frames of any size.
std::span<const std::string_view> kernel_set_names();

// Whether this CPU can run the level or set of kernels.
bool level_available(std::string_view name);

// Everything converted from now on, on any thread, uses it. Terminates the
// program when it is unknown or not available. Starts as the best level.
void force_level(std::string_view name);

}  // namespace imgcnv::testing
