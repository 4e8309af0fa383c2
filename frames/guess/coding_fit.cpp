#include "guess/coding_fit.h"

#include "guess/error_bits.h"
#include "guess/pixel_bits.h"
#include "guess/plane_bits.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <numeric>

namespace frames {
namespace {

constexpr int kChunks = 48;
constexpr std::int64_t kChunkBytes = 840;  // whole groups of every coding
constexpr double kClearlyBetter = 0.7;     // bits per byte

std::int64_t pixels_of_chunk(const Coding& coding) {
    return kChunkBytes / coding.group_bytes() * coding.group_pixels();
}

/// Starts of pieces that are spread over the window, a whole number of groups from `phase` on.
std::vector<std::int64_t> chunk_starts(std::int64_t window, std::int64_t phase) {
    std::vector<std::int64_t> starts;
    const auto places = (window - phase) / kChunkBytes;
    for (int i = 0; i < kChunks && places > 0; ++i) {
        const auto start = phase + places * i / kChunks * kChunkBytes;
        if (starts.empty() || start != starts.back()) starts.push_back(start);
    }
    return starts;
}

constexpr double kNearlyAll = 0.995;

template <class Predicate>
bool nearly_all(std::span<const std::uint16_t> words, Predicate predicate) {
    const auto count = std::count_if(words.begin(), words.end(), predicate);
    return static_cast<double>(count) >= kNearlyAll * static_cast<double>(words.size());
}

/// Whether samples are those of 8 bits, stretched to `width` bits: to 16 by repeating them, to
/// fewer with rounding.
bool are_stretched(std::span<const std::uint16_t> words, int width) {
    return nearly_all(words, [width](int word) {
        const int shift = width - 8, upper = word >> shift;
        return std::abs(word - (upper << shift | upper >> (8 - shift))) <= (width < 16 ? 1 : 0);
    });
}

/// Low bits that are 0 in all samples.
int empty_bits(std::span<const std::uint16_t> words) {
    for (int bits = 8; bits > 0; --bits)
        if (nearly_all(words, [bits](int word) { return (word & ((1 << bits) - 1)) == 0; }))
            return bits;
    return 0;
}

/// Between samples of 10 bits, GigE Vision's packing leaves 4 bits 0. Padded rows begin groups at
/// any phase, so that a third of the groups is enough to go on; prediction_cost sees rows.
bool has_unused_bits(const CodingFit& fit, std::span<const std::uint8_t> window,
                     const std::vector<std::int64_t>& starts) {
    std::size_t groups = 0, used = 0;
    // A header may be in front, and further on bytes between frames may have moved the groups.
    const auto count = starts.size();
    for (const auto start : std::span(starts).subspan(count / 8, (count + 7) / 8))
        for (std::int64_t at = 0; at < kChunkBytes; at += fit.coding.group_bytes(), ++groups)
            used += (window[static_cast<std::size_t>(start + at + 1)] & 0xCC) != 0;
    return 4 * used <= 3 * groups;
}

void find_used_bits(std::span<const std::uint8_t> window, const std::vector<std::int64_t>& starts,
                    CodingFit& fit) {
    if (!fit.coding.is_deep()) return;
    std::vector<std::uint16_t> words, chunk;
    const auto pixels = pixels_of_chunk(fit.coding) * channels(*fit.coding.format);
    chunk.resize(static_cast<std::size_t>(pixels));
    for (const auto start : starts) {
        unpack_samples(fit.coding, window.data() + start, 0, chunk.size(), chunk.data());
        words.insert(words.end(), chunk.begin(), chunk.end());
    }
    if (words.empty()) return;
    auto sorted = words;
    const auto at = [&](double part) {
        const auto place = sorted.begin() + static_cast<std::ptrdiff_t>(
                                                part * static_cast<double>(sorted.size() - 1));
        std::nth_element(sorted.begin(), place, sorted.end());
        return static_cast<int>(std::bit_width(unsigned{*place}));
    };
    fit.upper_shift = std::max(0, at(0.9) - 8);
    const int width = at(kNearlyAll);
    fit.dropped_bits = empty_bits(words);
    fit.has_empty_byte = fit.coding.is_words() && fit.dropped_bits == 8;
    for (const int full : {width, fit.coding.format->depth})
        if (full > 8 && are_stretched(words, full)) fit.dropped_bits = full - 8;
}

/// Bits per byte of each chunk, the samples predicted from those to the left alone.
std::vector<double> chunk_costs(std::span<const std::uint8_t> window, const CodingFit& fit) {
    std::vector<double> costs;
    RowSamples row;
    for (const auto start : chunk_starts(static_cast<std::int64_t>(window.size()), fit.phase)) {
        split_row(fit.coding, window.data() + start, 0, pixels_of_chunk(fit.coding),
                  fit.dropped_bits, row);
        std::array<double, kPlanes> bits{};
        for (std::size_t i = 0; i < kPlanes; ++i) {
            const auto& plane = row.planes[i];
            if (plane.empty()) continue;
            PlainBits plain(fit);
            plain.add_row(plane);
            bits[i] = plain.bits();
            if (fit.coding.format->depth == 1) {
                PixelBits pixels(fit.coding.format->depth);
                pixels.add_line(plane);
                bits[i] = std::min(bits[i], pixels.bits());
            }
            for (std::size_t step = 1; step <= (fit.coding.may_be_mosaic() ? 2 : 1); ++step) {
                ErrorBits errors;
                errors.add_line(plane, step);
                bits[i] = std::min(bits[i], errors.bits());
            }
        }
        const auto best = sum_of_planes(row, bits);
        costs.push_back(std::min(8.0, best / kChunkBytes));
    }
    return costs;
}

/// Bytes between frames move the groups: from there on another phase holds. `best` is the best
/// phase of each chunk.
std::size_t chunks_in_phase(const std::vector<std::size_t>& best, std::size_t own) {
    constexpr std::size_t kRun = 5;
    for (std::size_t chunk = 0; chunk + kRun <= best.size(); ++chunk) {
        const auto run = std::span(best).subspan(chunk, kRun);
        if (run[0] == own ||
            std::any_of(run.begin(), run.end(), [&](std::size_t phase) { return phase != run[0]; }))
            continue;
        return chunk;
    }
    return best.size();
}

}  // namespace

std::vector<CodingFit> fit_coding(const Coding& coding, std::span<const std::uint8_t> window,
                                  std::int64_t first, std::int64_t phases) {
    const auto size = static_cast<std::int64_t>(window.size());
    std::vector<CodingFit> fits;
    std::vector<std::vector<double>> costs;
    std::size_t chunks = SIZE_MAX;
    for (std::int64_t phase = first; phase < first + phases; ++phase) {
        CodingFit fit{.coding = coding, .phase = phase, .reach = size};
        const auto starts = chunk_starts(size, phase);
        if (starts.empty()) continue;
        find_used_bits(window, starts, fit);
        costs.push_back(chunk_costs(window, fit));
        chunks = std::min(chunks, costs.back().size());
        fit.bits_per_byte = std::accumulate(costs.back().begin(), costs.back().end(), 0.0) /
                            static_cast<double>(costs.back().size());
        if (coding.format->layout == IMGCNV_LAYOUT_PACKED && coding.format->depth == 10 &&
            !has_unused_bits(fit, window, starts)) {
            fit.bits_per_byte = 8;
            std::fill(costs.back().begin(), costs.back().end(), 8);
        }
        fits.push_back(fit);
    }
    if (fits.empty()) return fits;
    std::vector<std::size_t> best(chunks);
    double sum = 0;
    for (std::size_t chunk = 0; chunk < chunks; ++chunk) {
        for (std::size_t i = 0; i < fits.size(); ++i)
            if (costs[i][chunk] + kClearlyBetter < costs[best[chunk]][chunk]) best[chunk] = i;
        double lowest = 8;
        for (const auto& of_phase : costs) lowest = std::min(lowest, of_phase[chunk]);
        sum += lowest;
    }
    for (std::size_t i = 0; i < fits.size(); ++i) {
        fits[i].coding_bits = sum / static_cast<double>(chunks);
        const auto reach = chunks_in_phase(best, i);
        if (reach >= 6 && reach < chunks)
            fits[i].reach = chunk_starts(size, fits[i].phase)[reach * 4 / 5];
    }
    return fits;
}

}  // namespace frames
