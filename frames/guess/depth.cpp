#include "guess/depth.h"

#include <algorithm>
#include <bit>

namespace frames {
namespace {

/// How unusual words of a depth with this largest sample are. Most cameras send 12 bits, and most
/// frames have samples near the largest that the depth has. Dark ones leave up to four bits unused;
/// frames that leave more show nothing.
double against_used(int depth, unsigned largest) {
    constexpr double kNotTwelve = 0.12, kSixteen = 0.06, kNotFull = 0.05, kDark = 0.12;
    constexpr double kPerBit = 0.02, kPerFurtherBit = 0.1;
    constexpr int kMostUnused = 4;
    const int unused = depth - static_cast<int>(std::bit_width(largest));
    double bits = depth == 12 ? 0 : depth == 16 ? kSixteen : kNotTwelve;
    if (unused == 0 && 8 * largest < 5U << depth) bits += kNotFull;
    if (unused > 0) bits += kDark + kPerBit * unused;
    if (unused > kMostUnused) bits += kPerFurtherBit * (unused - kMostUnused);
    return bits;
}

}  // namespace

std::optional<double> against_depth(const Format& format, const Coding& coding, unsigned largest) {
    if (format.depth == coding.format->depth && coding.format->depth < 16) return 0;
    const int width = static_cast<int>(std::bit_width(largest));
    if (format.depth < width) return std::nullopt;
    double least = against_used(16, largest);
    for (const int depth : {10, 12, 14})
        if (depth >= width) least = std::min(least, against_used(depth, largest));
    return against_used(format.depth, largest) - least;
}

}  // namespace frames
