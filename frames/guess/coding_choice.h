#pragma once

#include "guess/coding_fit.h"

#include <cstdint>
#include <span>
#include <vector>

namespace frames {

/// What a frame of a known size that fills the file gains, in bits per byte.
constexpr double kFitsKnownSize = -0.18;

/// The codings that predict the bytes well, or that explain the length of the file, at the phases
/// that do so best. `size` is that of the file; members of `known` that are given are kept.
struct CodingChoice {
    std::vector<CodingFit> fits;
    bool is_noise = false;  ///< whether no coding predicts anything
};
CodingChoice choose_codings(std::span<const std::uint8_t> window, std::int64_t size,
                            const imgcnv_frame& known);

/// How unusual files of a layout are, in bits per byte.
double rarity(const Coding& coding);

}  // namespace frames
