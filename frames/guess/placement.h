#pragma once

#include "guess/byte_source.h"
#include "guess/prediction_cost.h"

#include <cstdint>
#include <vector>

namespace frames {

/// Where frames of a hypothesis lie in the file.
struct Placement {
    std::int64_t height = 0;
    std::int64_t frames = 1;
    std::int64_t skip = 0;
    std::int64_t gap = 0;
    std::int64_t left_over = 0;  ///< bytes behind the last frame
    bool has_known_size = false;
    bool is_explained = true;  ///< whether all that belongs to no frame looks like metadata
    bool is_gap_seen = false;  ///< whether what is between the first two frames looks like metadata
    double penalty = 0;        ///< what speaks against it, in bits per byte
    double skip_penalty = 0, left_over_penalty = 0;  ///< parts of it that metadata may take back
};

/// Finds where frames begin and end: from the length of the file, since frames fill it but for
/// headers and chunks of usual lengths; from sizes that sensors have; and from rows that do not
/// continue the row above, where a header ends or a frame begins. The best come first. Members of
/// `known` that are given are kept.
std::vector<Placement> place_frames(ByteSource& source, std::span<const std::uint8_t> window,
                                    const Hypothesis& hypothesis, const imgcnv_frame& known);

/// Bytes of a frame whose rows lie `pitch_bits` apart.
std::int64_t frame_bytes(std::int64_t pitch_bits, std::int64_t height);

}  // namespace frames
