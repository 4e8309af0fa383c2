#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tool {

/// Mean absolute difference between `signal` and what lies `lag` elements further on in `other`,
/// for every lag from 0 to maxLag. Rows of a picture resemble the rows beside them, so that the
/// profile dips at the row pitch and, for mosaics, deeper at twice the pitch.
std::vector<double> lagProfile(std::span<const std::uint8_t> signal,
                               std::span<const std::uint8_t> other, std::size_t maxLag);

/// The profile in bytes of 16-bit words, whose upper 8 used bits are compared. The word boundaries
/// are those of even offsets; odd lags compare with the words at odd offsets.
std::vector<double> wordLagProfile(std::span<const std::uint8_t> bytes, std::size_t maxLag);

/// Lags at which the profile is lowest within a tenth of the lag to either side, deepest dip first,
/// at most `count`.
std::vector<std::size_t> pitchCandidates(std::span<const double> profile, std::size_t count);

}  // namespace tool
