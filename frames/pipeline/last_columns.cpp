#include "pipeline/last_columns.h"

#include "color/luma.h"
#include "layouts/demosaic16_plain.h"
#include "pipeline/completed_mosaic.h"

#include <algorithm>
#include <cstring>

namespace frames {
namespace {

constexpr std::int64_t kColumns = SourceRows::kLastColumns + 1;
constexpr std::int64_t kMostReach = demosaic_reach(IMGCNV_ADAPTIVE);

/// Rows of kColumns samples, one after the other.
struct SampleRows {
    const std::uint8_t* first;
    const std::uint8_t* operator[](std::int64_t row) const { return first + row * kColumns; }
};
using Mosaic8 = Mosaic<SampleRows>;

/// Stores pixels of 8-bit channels.
template <int kChannels>
void store(const OwnGreenOther& pixel, bool own_is_red, bool blue_first, std::uint8_t* out) {
    if constexpr (kChannels == 1) {
        *out = own_is_red ? imgcnv::luma(pixel.own, pixel.green, pixel.other)
                          : imgcnv::luma(pixel.other, pixel.green, pixel.own);
    } else {
        const int own_at = own_is_red != blue_first ? 0 : 2;
        out[own_at] = static_cast<std::uint8_t>(pixel.own);
        out[1] = static_cast<std::uint8_t>(pixel.green);
        out[2 - own_at] = static_cast<std::uint8_t>(pixel.other);
        if constexpr (kChannels == 4) out[3] = 0;
    }
}

/// The methods at a column that the mirrored one follows. `s` is its sample; the cell's other row
/// is `across` samples away.
template <bool kChromaSite>
OwnGreenOther nearest_before_last(const std::uint8_t* s, std::int64_t across) {
    const auto* other = s + across;
    if (kChromaSite) return {s[0], (s[1] + other[0]) >> 1, other[1]};
    return {s[1], s[0], other[0]};
}
template <bool kChromaSite>
OwnGreenOther bilinear_before_last(const std::uint8_t* s) {
    const auto *above = s - kColumns, *below = s + kColumns;
    if (kChromaSite)
        return {s[0], (above[0] + below[0] + s[-1] + s[1]) >> 2,
                (above[-1] + above[1] + below[-1] + below[1]) >> 2};
    return {(s[-1] + s[1]) >> 1, s[0], (above[0] + below[0]) >> 1};
}

/// Values of a column in eight rows: in every second one, because these have the same colours.
using Words = std::int16_t __attribute__((vector_size(16)));
constexpr int kWords = 8;
constexpr std::int64_t kRowsOfWords = 2 * kWords;

struct OwnGreenOtherWords {
    Words own, green, other;
};

Words load_words(const std::int16_t* from) {
    Words words;
    std::memcpy(&words, from, sizeof words);
    return words;
}
void store_words(Words words, void* out) { std::memcpy(out, &words, sizeof words); }

/// The adaptive method in the three columns before the last one of a completed mosaic, in rows that
/// lack no neighbours. Row 0 is the first neighbour of these; column 0 is the last but seven.
class AdaptiveColumns {
  public:
    static constexpr int kPixels = 3;

    /// For rows first..end, at most kMostRows.
    AdaptiveColumns(const Mosaic8& mosaic, std::int64_t first, std::int64_t end)
        : m_(mosaic), first_(first - kMostReach) {
        // Pixels depend on differences of one row more on either side, these on samples of two.
        const auto rows = (end - first + kRowsOfWords - 1) / kRowsOfWords * kRowsOfWords;
        read(rows + 2 * kRowsOfWords, end + kMostReach - 1);
        for (std::int64_t row = 2; row < 2 + rows + kRowsOfWords; row += kRowsOfWords)
            for (const int odd : {0, 1}) make_differences(row + odd);
    }

    /// The pixels of rows y, y + 2, y + 4 ...
    void make(std::int64_t y, OwnGreenOtherWords (&pixels)[kPixels]) const {
        for (int i = 0; i < kPixels; ++i) pixels[i] = pixel(kFirstPixel + i, y - first_);
    }

  private:
    static constexpr int kNear = 8;        ///< columns
    static constexpr int kFirstPixel = 4;  ///< a column
    static constexpr std::int64_t kEverySecond = LastColumns::kMostRows / 2 + 2 * kWords;

    Words sample(int x, std::int64_t row) const {
        return load_words(&samples_[row & 1][x][row >> 1]);
    }
    Words difference(int x, std::int64_t row) const {
        return load_words(&differences_[x][row >> 1]);
    }
    /// The sample in the cell's other row.
    Words across(int x, std::int64_t row) const {
        return sample(x, ((first_ + row) & 1) == 0 ? row + 1 : row - 1);
    }

    /// The last row stands in for those beyond it, which fill up vectors and make no pixel.
    void read(std::int64_t rows, std::int64_t last_y) {
        for (std::int64_t row = 0; row < rows; ++row) {
            const auto* near = m_.row(std::min(first_ + row, last_y)) + m_.last_x() + 1 - kNear;
            for (int x = 0; x < kNear; ++x) samples_[row & 1][x][row >> 1] = near[x];
        }
    }

    static Words absolute(Words a) { return a < 0 ? -a : a; }
    static Words clamped(Words a) {
        const Words largest = Words{} + 255, positive = a < 0 ? Words{} : a;
        return positive > largest ? largest : positive;
    }
    /// demosaic16_plain.h has the rules.
    Words adaptive_green(int x, std::int64_t row) const {
        const Words twice = sample(x, row) << 1;
        const Words left = sample(x - 1, row), right = sample(x + 1, row);
        const Words up = sample(x, row - 1), down = sample(x, row + 1);
        const Words laplacian_h = twice - sample(x - 2, row) - sample(x + 2, row);
        const Words laplacian_v = twice - sample(x, row - 2) - sample(x, row + 2);
        const Words gradient_h = absolute(laplacian_h) + absolute(left - right);
        const Words gradient_v = absolute(laplacian_v) + absolute(up - down);
        const Words horizontal = ((left + right) >> 1) + (laplacian_h >> 2);
        const Words vertical = ((up + down) >> 1) + (laplacian_v >> 2);
        return clamped(gradient_h < gradient_v ? horizontal : vertical);
    }
    Words cell_green(int x, std::int64_t row) const {
        return (sample(x ^ 1, row) + across(x, row)) >> 1;
    }

    bool is_chroma_site(int x, std::int64_t row) const {
        return m_.is_chroma_site(first_ + row, x);
    }
    void make_differences(std::int64_t row) {
        for (int x = is_chroma_site(3, row) ? 3 : 4; x < kNear; x += 2) {
            const bool is_edge = x >= kNear - 2;
            const Words green = is_edge ? cell_green(x, row) : adaptive_green(x, row);
            store_words(sample(x, row) - green, &differences_[x][row >> 1]);
        }
    }
    OwnGreenOtherWords pixel(int x, std::int64_t row) const {
        const auto d = [&](int dx, int dy) { return difference(x + dx, row + dy); };
        const Words own = sample(x, row);
        if (is_chroma_site(x, row)) {
            const Words green = own - d(0, 0);
            const Words corners = d(-1, -1) + d(1, -1) + d(-1, 1) + d(1, 1);
            return {own, green, clamped(green + (corners >> 2))};
        }
        const Words from_row = clamped(own + ((d(-1, 0) + d(1, 0)) >> 1));
        if (x == kNear - 2) return {from_row, own, across(x, row)};
        return {from_row, own, clamped(own + ((d(0, -1) + d(0, 1)) >> 1))};
    }

    const Mosaic8& m_;
    const std::int64_t first_;
    std::int16_t samples_[2][kNear][kEverySecond];   ///< of even and of odd rows
    std::int16_t differences_[kNear][kEverySecond];  ///< of the rows where the column has chroma
};

/// Makes the pixels of a part.
template <int kChannels>
class PartOfColumns {
  public:
    /// first_y: the part's first row, as the completed mosaic counts them
    PartOfColumns(const Mosaic8& mosaic, const Demosaic16& job, const Rectangle& keep,
                  std::int64_t first_y, std::uint8_t* out, std::int64_t stride)
        : m_(mosaic), job_(job), keep_(keep), first_y_(first_y), out_(out), stride_(stride) {}

    void make() {
        const auto first_y = first_y_, end_y = first_y_ + keep_.rows();
        // Rows that may lack neighbours: nearest looks only at the cell.
        const auto edge = job_.method == IMGCNV_NEAREST ? 0 : demosaic_reach(job_.method);
        const auto first = std::clamp(edge, first_y, end_y);
        const auto end = std::clamp(m_.last_y() + 1 - edge, first, end_y);
        for (auto y = first_y; y < first; ++y) make_edge(y);
        if (job_.method == IMGCNV_ADAPTIVE) {
            make_adaptive(first, end);
        } else {
            make_every_other(first, end);
            make_every_other(first + 1, end);
        }
        for (auto y = end; y < end_y; ++y) make_edge(y);
    }

  private:
    static constexpr int kPixels = AdaptiveColumns::kPixels;

    std::uint8_t* row_out(std::int64_t y) const { return out_ + (y - first_y_) * stride_; }
    void make_edge(std::int64_t y) {
        auto* out = row_out(y);
        for (auto x = keep_.first_column; x < keep_.last_column; ++x, out += kChannels)
            store<kChannels>(demosaic16_pixel(m_, job_, y, x), m_.has_red(y), job_.blue_first, out);
    }
    void make_adaptive(std::int64_t first, std::int64_t end) {
        if (first == end) return;
        const AdaptiveColumns adaptive(m_, first, end);
        for (auto block = first; block < end; block += kRowsOfWords)
            for (auto y = block; y < std::min(block + 2, end); ++y) {
                OwnGreenOtherWords pixels[kPixels];
                adaptive.make(y, pixels);
                store_rows(pixels, y, std::min(y + kRowsOfWords, end));
            }
    }
    /// Rows y, y + 2 .. before end.
    void store_rows(const OwnGreenOtherWords* pixels, std::int64_t y, std::int64_t end) const {
        const bool has_red = m_.has_red(y), own_first = has_red != job_.blue_first;
        std::uint32_t colors[kPixels][kWords];
        for (int x = 0; x < kPixels; ++x) {
            const auto& [own, green, other] = pixels[x];
            const Words low = (own_first ? own : other) | green << 8;
            const Words high = own_first ? other : own;
            store_words(__builtin_shufflevector(low, high, 0, 8, 1, 9, 2, 10, 3, 11), colors[x]);
            store_words(__builtin_shufflevector(low, high, 4, 12, 5, 13, 6, 14, 7, 15),
                        colors[x] + kWords / 2);
        }
        for (int i = 0; y < end; ++i, y += 2) {
            auto* out = row_out(y);
            for (int x = 0; x < kPixels; ++x, out += kChannels) {
                const auto& [own, green, other] = pixels[x];
                if constexpr (kChannels == 1)
                    store<1>({own[i], green[i], other[i]}, has_red, false, out);
                else  // of RGB24 the next pixel overwrites the fourth byte
                    std::memcpy(out, &colors[x][i], x < kPixels - 1 ? 4 : kChannels);
            }
        }
    }
    /// Every second row, which all have the same colours.
    void make_every_other(std::int64_t first, std::int64_t end) {
        m_.is_chroma_site(first, keep_.first_column) ? make_sites<true>(first, end)
                                                     : make_sites<false>(first, end);
    }
    template <bool kChromaSite>
    void make_sites(std::int64_t first, std::int64_t end) {
        const auto across = first % 2 == 0 ? kColumns : -kColumns;
        const bool has_red = m_.has_red(first), is_bilinear = job_.method == IMGCNV_BILINEAR;
        const auto* sample = m_.row(first) + keep_.first_column;
        auto* out = row_out(first);
        for (auto y = first; y < end; y += 2, sample += 2 * kColumns, out += 2 * stride_)
            store<kChannels>(is_bilinear ? bilinear_before_last<kChromaSite>(sample)
                                         : nearest_before_last<kChromaSite>(sample, across),
                             has_red, job_.blue_first, out);
    }

    const Mosaic8& m_;
    const Demosaic16& job_;
    const Rectangle& keep_;
    const std::int64_t first_y_;
    std::uint8_t* const out_;
    const std::int64_t stride_;
};

}  // namespace

std::size_t LastColumns::scratch_bytes() const { return (kMostRows + 2 * kMostReach) * kColumns; }

void LastColumns::make(const Rectangle& keep, const std::uint8_t* bytes, std::uint8_t* out,
                       std::uint8_t* samples, std::uint8_t* row) const {
    const CompletedMosaic completed(frame_, wish_);
    const auto& job = completed.job;
    const auto [first, last] = completed.rows_around(keep);
    source_.read_last8(bytes, first, last, samples, row);

    const Mosaic8 mosaic(job, {samples - (job.width - kColumns)}, first + completed.rows_above);
    const auto first_y = keep.first_row + completed.rows_above;
    const auto make = [&]<int kChannels>() {
        PartOfColumns<kChannels>(mosaic, job, keep, first_y, out, wish_.stride).make();
    };
    wish_.channels == 1   ? make.template operator()<1>()
    : wish_.channels == 3 ? make.template operator()<3>()
                          : make.template operator()<4>();
}

}  // namespace frames
