#include "guess/prediction_cost.h"

#include "guess/metadata.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <numeric>

namespace frames {
namespace {

constexpr int kChunks = 48;
constexpr std::int64_t kChunkBytes = 840;                    // whole groups of every coding
constexpr double kClearlyBetter = 0.7;                       // bits per byte
constexpr std::int64_t kLongestPiece = 160, kPieceUnit = 8;  // pixels of a row
constexpr std::int64_t kFewestPieces = 16;
// Cameras and drivers fill up rows with zeros, seldom with what was there before, never with noise.
constexpr double kMostOfPadding = 1, kNoisyPadding = 0.1;  // bits per byte
constexpr double kFewFilled = 0.02, kFilledPadding = 0.08, kFilledRow = 0.3;

int width_of(int value) {
    return static_cast<int>(std::bit_width(static_cast<unsigned>(std::abs(value))));
}

/// The bits of symbols that occur so often each, and those that tell a coder how often: half the
/// logarithm of their number per symbol. Few samples would flatter codings of many symbols.
double entropy_bits(std::span<const std::uint32_t> counts) {
    double total = 0, sum = 0, used = 0;
    for (const auto count : counts) {
        if (count == 0) continue;
        total += count;
        sum -= count * std::log2(static_cast<double>(count));
        ++used;
    }
    return total > 0 ? sum + (total + (used - 1) / 2) * std::log2(total) : 0;
}

int median_prediction(int left, int above, int above_left) {
    return std::max(std::min(left, above),
                    std::min(std::max(left, above), left + above - above_left));
}

/// Bits of prediction errors: the entropy of their magnitude classes (0, 1, 2..3, 4..7 and so on,
/// either sign), by how uneven the neighbourhood is, plus the bits that tell the members of a
/// class.
class ErrorBits {
  public:
    void add(int error, int unevenness) {
        const int size = std::min(width_of(error), kSizes - 1);
        const int level = std::min(width_of(unevenness), kLevels - 1);
        ++counts_[static_cast<std::size_t>(level)]
                 [static_cast<std::size_t>(error < 0 ? kSizes + size : size)];
        if (size > 1) member_bits_ += size - 1;
    }

    /// The mean of all neighbours, which in noise predicts better than any one of them.
    void add_row_of_noise(std::span<const int> row, std::span<const int> above, std::size_t step,
                          std::size_t margin) {
        for (auto x = (margin + 1) * step; x + margin * step < row.size(); ++x) {
            const int left = row[x - step], up = above[x], up_left = above[x - step],
                      up_right = above[x + step];
            add(row[x] - (left + up + up_left + up_right + 2) / 4,
                std::abs(left - up_left) + std::abs(up - up_left));
        }
    }

    /// `aside`: how far to the right the row above is looked at.
    /// Samples nearer to the ends than `margin` are left out.
    void add_row(std::span<const int> row, std::span<const int> above, std::size_t step,
                 std::size_t margin, int aside = 0) {
        for (auto x = (margin + 1) * step; x + margin * step < row.size(); ++x) {
            const auto over = static_cast<std::size_t>(static_cast<std::ptrdiff_t>(x) + aside);
            const int left = row[x - step], up = above[over], up_left = above[over - step];
            add(row[x] - median_prediction(left, up, up_left),
                std::abs(left - up_left) + std::abs(up - up_left));
        }
    }

    void add_line(std::span<const int> row, std::size_t step) {
        for (auto x = 2 * step; x < row.size(); ++x)
            add(row[x] - row[x - step], std::abs(row[x - step] - row[x - 2 * step]));
    }

    double bits() const {
        auto sum = static_cast<double>(member_bits_);
        for (const auto& level : counts_) sum += entropy_bits(level);
        return sum;
    }

  private:
    static constexpr int kLevels = 12, kSizes = 18;
    std::array<std::array<std::uint32_t, 2 * kSizes>, kLevels> counts_{};
    std::int64_t member_bits_ = 0;
};

/// Pixels of few bits: what a pixel is, given neighbours that come before it. Each further
/// neighbour tells more and takes longer to learn, so that the best number of them counts.
class PixelBits {
  public:
    explicit PixelBits(int depth) : depth_(depth) {
        const auto add = [&](int neighbours) {
            contexts_.push_back({neighbours, Counts(std::size_t{1} << (neighbours + 1) * depth)});
        };
        add(depth <= 2 ? 4 : 2);
        if (depth == 1) add(7);
    }

    void add_row(std::span<const int> row, std::span<const int> above) {
        for (std::size_t x = kReach; x + kReach < row.size(); ++x)
            add(row[x], {row[x - 1], above[x], above[x - 1], above[x + 1], row[x - 2], above[x + 2],
                         above[x - 2]});
        all_ += static_cast<double>(row.size());
        edges_ += static_cast<double>(std::min(2 * kReach, row.size()));
    }

    /// Without rows: the pixels before it.
    void add_line(std::span<const int> row) {
        for (std::size_t x = kMostNeighbours; x < row.size(); ++x)
            add(row[x], {row[x - 1], row[x - 2], row[x - 3], row[x - 4], row[x - 5], row[x - 6],
                         row[x - 7]});
        all_ += static_cast<double>(row.size());
        edges_ += kMostNeighbours;
    }

    double bits() const {
        double best = std::numeric_limits<double>::infinity();
        const auto values = std::size_t{1} << depth_;
        for (const auto& context : contexts_) {
            double sum = 0;
            for (std::size_t at = 0; at < context.counts.size(); at += values)
                sum += entropy_bits(std::span(context.counts).subspan(at, values));
            best = std::min(best, sum);
        }
        return best * all_ / std::max(1.0, all_ - edges_);
    }

  private:
    using Counts = std::vector<std::uint32_t>;
    struct Context {
        int neighbours;
        Counts counts;  // by the neighbours' values and, in the lowest bits, the pixel's
    };
    static constexpr std::size_t kReach = 2, kMostNeighbours = 7;

    /// The nearest neighbours come first.
    void add(int pixel, const std::array<int, kMostNeighbours>& near) {
        auto symbol = static_cast<std::size_t>(pixel);
        int taken = 0;
        for (auto& [neighbours, counts] : contexts_) {
            for (; taken < neighbours; ++taken)
                symbol |= static_cast<std::size_t>(near[static_cast<std::size_t>(taken)])
                          << (taken + 1) * depth_;
            ++counts[symbol];
        }
    }

    int depth_;
    std::vector<Context> contexts_;
    double all_ = 0, edges_ = 0;  // pixels, and those at the ends of rows, which are not counted
};

/// Samples without neighbours: how often their upper bits have each value, and all bits below. In
/// noise, which no neighbour predicts, it still tells the upper bits from the others. Differences
/// of colours are not coded so.
class PlainBits {
  public:
    PlainBits() = default;
    explicit PlainBits(const CodingFit& fit)
        : shift_(fit.coding.is_deep() ? fit.upper_shift + 8 - kUpper - fit.dropped_bits
                                      : fit.coding.format->depth - kUpper) {
        shift_ = std::max(0, shift_);
    }

    void add_row(std::span<const int> row) {
        for (const int sample : row) {
            has_negative_ |= sample < 0;
            const int upper = std::clamp(sample >> shift_, 0, kValues - 1);
            if (sample >> shift_ > upper) low_bits_ += kBitsOfRare;
            ++counts_[static_cast<std::size_t>(upper)];
        }
        low_bits_ += shift_ * static_cast<std::int64_t>(row.size());
    }

    double bits() const {
        if (has_negative_) return std::numeric_limits<double>::infinity();
        return static_cast<double>(low_bits_) + entropy_bits(counts_);
    }

  private:
    static constexpr int kUpper = 6, kValues = 1 << kUpper, kBitsOfRare = 16;
    std::array<std::uint32_t, kValues> counts_{};
    std::int64_t low_bits_ = 0;
    int shift_ = 0;
    bool has_negative_ = false;
};

/// One kind of samples, by whatever predicts them best.
class PlaneBits {
  public:
    PlaneBits(const CodingFit& fit, std::size_t step, int directions)
        : step_(step),
          directions_(directions),
          slanted_(static_cast<std::size_t>(2 * directions + 1)),
          plain_(fit) {}

    void add_row(std::span<const int> row, std::span<const int> above) {
        const auto margin = static_cast<std::size_t>(directions_);
        for (int aside = -directions_; aside <= directions_; ++aside)
            slanted_[static_cast<std::size_t>(aside + directions_)].add_row(
                row, above, step_, margin, aside * static_cast<int>(step_));
        mean_.add_row_of_noise(row, above, step_, std::max<std::size_t>(1, margin));
        plain_.add_row(row);
        all_ += static_cast<double>(row.size());
        const auto edges = step_ * (2 * margin + 1),
                   of_mean = step_ * (2 * std::max<std::size_t>(1, margin) + 1);
        edges_ += static_cast<double>(std::min(row.size(), edges));
        edges_of_mean_ += static_cast<double>(std::min(row.size(), of_mean));
    }

    /// The edges of rows have no neighbours to compare with and count like the rest.
    double bits() const {
        const auto whole = [&](double bits, double edges) {
            return bits * all_ / std::max(1.0, all_ - edges);
        };
        double best = slanted_.front().bits();
        for (const auto& direction : slanted_) best = std::min(best, direction.bits());
        // Most pictures stand upright, whatever direction their edges have.
        const double upright = slanted_[static_cast<std::size_t>(directions_)].bits();
        return std::min({whole(best + kUpright * (upright - best), edges_),
                         whole(mean_.bits(), edges_of_mean_), plain_.bits()});
    }

  private:
    static constexpr double kUpright = 0.25;
    std::size_t step_;
    int directions_;
    std::vector<ErrorBits> slanted_;
    ErrorBits mean_;
    PlainBits plain_;
    double all_ = 0, edges_ = 0, edges_of_mean_ = 0;  // samples
};

/// The bits of all kinds of samples: colours count as what takes fewer, the colours themselves or
/// their differences to green, which are smoother unless noise is stronger than the picture.
double sum_of_planes(const RowSamples& row, const std::array<double, kPlanes>& bits) {
    const auto colour = [&](std::size_t difference, std::size_t itself) {
        return row.planes[itself].empty() ? bits[difference]
                                          : std::min(bits[difference], bits[itself]);
    };
    return bits[0] + colour(1, 4) + colour(2, 5) + bits[3];
}

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

constexpr double kImpossible = 9;
constexpr double kNearlyAll = 0.995;
constexpr double kFewForeign = 0.02;  // of the groups: headers and chunks have such bytes

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
        return width_of(*place);
    };
    fit.upper_shift = std::max(0, at(0.9) - 8);
    const int width = at(kNearlyAll);
    fit.dropped_bits = empty_bits(words);
    fit.has_empty_byte = fit.coding.is_words() && fit.dropped_bits == 8;
    for (const int full : {width, fit.coding.format->depth})
        if (full > 8 && are_stretched(words, full)) fit.dropped_bits = full - 8;
}

}  // namespace

namespace {

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

double prediction_cost(std::span<const std::uint8_t> window, const Hypothesis& hypothesis,
                       std::int64_t samples, int directions) {
    const auto& coding = hypothesis.fit->coding;
    const std::int64_t step = hypothesis.is_mosaic ? 2 : 1;
    const auto used = coding.row_bits(hypothesis.width);
    const auto pitch = hypothesis.pitch_bits;
    const auto bits =
        8 * (std::min(static_cast<std::int64_t>(window.size()), hypothesis.fit->reach) -
             hypothesis.start);
    if (used > pitch || bits < used) return 8;
    const auto rows = (bits - used) / pitch + 1;
    if (rows <= step || hypothesis.width <= (2 * directions + 1) * step) return 8;

    // Pieces of rows from places that are the same for all hypotheses, so that all are weighed with
    // the same part of the picture.
    const auto pixels_taken = std::min(hypothesis.width, kLongestPiece);
    const auto pieces = std::max(kFewestPieces, samples / pixels_taken);
    std::vector<PlaneBits> planes;
    for (std::size_t i = 0; i < kPlanes; ++i)
        planes.emplace_back(*hypothesis.fit, static_cast<std::size_t>(step),
                            i == 0 ? directions : 0);
    ErrorBits beyond;
    const bool has_few_bits = coding.format->depth <= 4;
    PixelBits pixels(has_few_bits ? coding.format->depth : 1);
    RowSamples row, above;
    std::int64_t counted = 0, foreign = 0, beyond_taken = 0, beyond_all = 0, filled = 0, groups = 0;
    // Behind a header, and before bytes between frames may have moved the groups.
    const auto first_foreign = 8 * hypothesis.start + std::min(8 * kLongestHeader, bits / 4);
    const bool has_unused =
        coding.format->layout == IMGCNV_LAYOUT_PACKED && coding.format->depth == 10;
    const auto place = [&](std::int64_t y) { return 8 * hypothesis.start + y * pitch; };
    const auto add_piece = [&](std::int64_t y, std::int64_t x, std::int64_t count) {
        const auto from = place(y) + coding.row_bits(x);
        const auto dropped = hypothesis.fit->dropped_bits;
        split_row(coding, window.data(), from, count, dropped, row);
        split_row(coding, window.data(), from - step * pitch, count, dropped, above);
        if (has_unused && from >= first_foreign && from < first_foreign + bits / 6)
            for (std::int64_t i = 1; i + 1 < count * 3 / 2; i += 3, ++groups)
                foreign += (window[static_cast<std::size_t>(from / 8 + i)] & 0xCC) != 0;
        if (has_few_bits) return pixels.add_row(row.planes[0], above.planes[0]);
        for (std::size_t i = 0; i < kPlanes; ++i)
            if (!row.planes[i].empty()) planes[i].add_row(row.planes[i], above.planes[i]);
    };
    for (; counted < pieces; ++counted) {
        // The golden ratio spreads places evenly without a period that rows could share.
        const auto part = 0.618033988749895 * static_cast<double>(counted);
        const auto bit =
            static_cast<std::int64_t>((part - std::floor(part)) * static_cast<double>(bits));
        const auto y = std::clamp(bit / pitch, step, rows - 1);
        // Pieces go on in the next row, so that no column counts more than others.
        const auto from = bit % pitch * hypothesis.width / pitch / kPieceUnit * kPieceUnit;
        const auto in_first = std::min(pixels_taken, hypothesis.width - from);
        add_piece(y, from, in_first);
        if (in_first < pixels_taken)
            add_piece(y + 1 < rows ? y + 1 : step, 0, pixels_taken - in_first);
        // Of long paddings a part that moves from row to row.
        const auto first = (place(y) + used + 7) / 8;
        const auto end = std::min((place(y) + pitch) / 8, bits / 8 + hypothesis.start);
        const auto taken = std::min(end - first, kLongestPiece);
        const auto skipped = taken > 0 ? counted * kLongestPiece % (end - first - taken + 1) : 0;
        for (auto at = first + skipped; at < first + skipped + taken; ++at) {
            const auto over = at - step * pitch / 8;
            filled += window[static_cast<std::size_t>(at)] != 0;
            beyond.add(static_cast<std::int8_t>(window[static_cast<std::size_t>(at)] -
                                                window[static_cast<std::size_t>(over)]),
                       0);
        }
        beyond_taken += std::max<std::int64_t>(0, taken);
        beyond_all += std::max<std::int64_t>(0, end - first);
    }
    if (static_cast<double>(foreign) > 2 * kFewForeign * static_cast<double>(groups))
        return kImpossible;
    std::array<double, kPlanes> bits_of_planes{};
    for (std::size_t i = 0; i < kPlanes; ++i) bits_of_planes[i] = planes[i].bits();
    double sum = sum_of_planes(row, bits_of_planes) + pixels.bits();
    sum *= static_cast<double>(hypothesis.width) / static_cast<double>(pixels_taken);
    double against_padding = 0;
    if (beyond_taken > 0) {
        const auto per_byte = beyond.bits() / static_cast<double>(beyond_taken);
        sum += per_byte * static_cast<double>(beyond_all);
        if (per_byte > kMostOfPadding) against_padding = kNoisyPadding;
        if (static_cast<double>(filled) > kFewFilled * static_cast<double>(beyond_taken))
            against_padding += 2 * (pitch - used) > used ? kFilledRow : kFilledPadding;
    }
    // A coder that finds nothing to predict writes the bytes as they are.
    return std::min(8.0, sum / (static_cast<double>(counted * pitch) / 8)) + against_padding;
}

}  // namespace frames
