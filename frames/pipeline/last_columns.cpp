#include "pipeline/last_columns.h"

#include "color/luma.h"
#include "layouts/demosaic16_plain.h"
#include "pipeline/completed_mosaic.h"

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

/// The adaptive method in the three columns before the last one of a completed mosaic, in rows that
/// are no edges. What rows share is made once: a row's greens and differences serve three rows.
class AdaptiveColumns {
  public:
    static constexpr int kPixels = 3;

    explicit AdaptiveColumns(const Mosaic8& mosaic) : m_(mosaic), first_x_(mosaic.last_x() - 4) {}

    /// The pixels of row y; the rows of a part come one after the other.
    void make(std::int64_t y, OwnGreenOther (&pixels)[kPixels]) {
        for (auto row = std::max(y - 1, next_row_); row <= y + 1; ++row)
            m_.is_chroma_site(row, first_x_) ? fill<0>(row) : fill<1>(row);
        next_row_ = y + 2;
        m_.is_chroma_site(y, first_x_) ? make_row<0>(y, pixels) : make_row<1>(y, pixels);
    }

  private:
    /// At chroma sites, from column first_x_ on.
    struct Line {
        int green[5];
        int difference[5];
    };
    const Line& line(std::int64_t y) const { return lines_[y & 3]; }

    /// kChroma: the first chroma site of the row.
    template <int kChroma>
    void fill(std::int64_t y) {
        auto& line = lines_[y & 3];
        const bool is_inner = y >= 2 && y + 2 <= m_.last_y();
        for (int i = kChroma; i < 5; i += 2) {
            const auto x = first_x_ + i;
            line.green[i] = is_inner && i < 3 ? adaptive_green(m_, y, x) : cell_green(m_, y, x);
            line.difference[i] = m_.at(y, x) - line.green[i];
        }
    }
    template <int kChroma>
    void make_row(std::int64_t y, OwnGreenOther (&pixels)[kPixels]) const {
        const auto *samples = m_.row(y) + first_x_, *across = m_.row(y ^ 1) + first_x_;
        const int *above = line(y - 1).difference, *own = line(y).difference,
                  *below = line(y + 1).difference;
        for (int i = 1; i <= kPixels; ++i) {
            const bool is_chroma_site = i % 2 == kChroma;
            const int green = is_chroma_site ? line(y).green[i] : samples[i];
            const auto corrected = [&](int difference) {
                return std::clamp(green + difference, 0, 255);
            };
            if (is_chroma_site)
                pixels[i - 1] = {
                    samples[i], green,
                    corrected((above[i - 1] + above[i + 1] + below[i - 1] + below[i + 1]) >> 2)};
            else
                pixels[i - 1] = {corrected((own[i - 1] + own[i + 1]) >> 1), green,
                                 i == kPixels ? across[i] : corrected((above[i] + below[i]) >> 1)};
        }
    }

    const Mosaic8& m_;
    const std::int64_t first_x_;
    std::int64_t next_row_ = 0;
    Line lines_[4];
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
        const int edge = job_.method == IMGCNV_ADAPTIVE   ? 2
                         : job_.method == IMGCNV_BILINEAR ? 1
                                                          : 0;
        const auto first = std::clamp<std::int64_t>(edge, first_y, end_y);
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
    std::uint8_t* row_out(std::int64_t y) const { return out_ + (y - first_y_) * stride_; }
    void make_edge(std::int64_t y) {
        auto* out = row_out(y);
        for (auto x = keep_.first_column; x < keep_.last_column; ++x, out += kChannels)
            store<kChannels>(demosaic16_pixel(m_, job_, y, x), m_.has_red(y), job_.blue_first, out);
    }
    void make_adaptive(std::int64_t first, std::int64_t end) {
        AdaptiveColumns adaptive(m_);
        for (auto y = first; y < end; ++y) {
            OwnGreenOther pixels[AdaptiveColumns::kPixels];
            adaptive.make(y, pixels);
            auto* out = row_out(y);
            const bool has_red = m_.has_red(y);
            for (const auto& pixel : pixels) {
                store<kChannels>(pixel, has_red, job_.blue_first, out);
                out += kChannels;
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
