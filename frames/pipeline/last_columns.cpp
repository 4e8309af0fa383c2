#include "pipeline/last_columns.h"

#include "color/luma.h"
#include "layouts/demosaic16_plain.h"
#include "pipeline/completed_mosaic.h"

namespace frames {
namespace {

constexpr std::int64_t kColumns = SourceRows::kLastColumns + 1;
constexpr std::int64_t kMostReach = demosaic_reach(IMGCNV_ADAPTIVE);

/// How a pixel of 8-bit channels is stored.
struct PixelLayout {
    int channels;
    bool blue_first;

    void store(const OwnGreenOther& pixel, bool own_is_red, std::uint8_t* out) const {
        if (channels == 1) {
            *out = own_is_red ? imgcnv::luma(pixel.own, pixel.green, pixel.other)
                              : imgcnv::luma(pixel.other, pixel.green, pixel.own);
            return;
        }
        const int own_at = own_is_red != blue_first ? 0 : 2;
        out[own_at] = static_cast<std::uint8_t>(pixel.own);
        out[1] = static_cast<std::uint8_t>(pixel.green);
        out[2 - own_at] = static_cast<std::uint8_t>(pixel.other);
        if (channels == 4) out[3] = 0;
    }
};

/// The methods at a column that the mirrored one follows. `s` is its sample; rows of samples are
/// kColumns apart.
OwnGreenOther nearest_before_last(const std::uint8_t* s, bool is_color_site, bool is_even_row) {
    const auto* across = is_even_row ? s + kColumns : s - kColumns;
    if (is_color_site) return {s[0], (s[1] + across[0]) >> 1, across[1]};
    return {s[1], s[0], across[0]};
}
OwnGreenOther bilinear_before_last(const std::uint8_t* s, bool is_color_site) {
    const auto *above = s - kColumns, *below = s + kColumns;
    if (is_color_site)
        return {s[0], (above[0] + below[0] + s[-1] + s[1]) >> 2,
                (above[-1] + above[1] + below[-1] + below[1]) >> 2};
    return {(s[-1] + s[1]) >> 1, s[0], (above[0] + below[0]) >> 1};
}

/// The adaptive method in the three columns before the last one of a completed mosaic, in rows that
/// are no edges. What rows share is made once: a row's greens and differences serve three rows.
class AdaptiveColumns {
  public:
    static constexpr int kPixels = 3;

    explicit AdaptiveColumns(const Mosaic<std::uint8_t>& mosaic)
        : m_(mosaic), first_x_(mosaic.last_x() - 4) {}

    /// The pixels of row y; the rows of a part come one after the other.
    void make(std::int64_t y, OwnGreenOther (&pixels)[kPixels]) {
        for (auto row = std::max(y - 1, next_row_); row <= y + 1; ++row)
            m_.is_color_site(row, first_x_) ? fill<0>(row) : fill<1>(row);
        next_row_ = y + 2;
        m_.is_color_site(y, first_x_) ? make_row<0>(y, pixels) : make_row<1>(y, pixels);
    }

  private:
    /// At colour sites, from column first_x_ on.
    struct Line {
        int green[5];
        int difference[5];
    };
    const Line& line(std::int64_t y) const { return lines_[y % 4]; }

    /// kColor: the first colour site of the row.
    template <int kColor>
    void fill(std::int64_t y) {
        auto& line = lines_[y % 4];
        const bool is_inner = y >= 2 && y + 2 <= m_.last_y();
        for (int i = kColor; i < 5; i += 2) {
            const auto x = first_x_ + i;
            line.green[i] = is_inner && i < 3 ? adaptive_green(m_, y, x) : cell_green(m_, y, x);
            line.difference[i] = m_.at(y, x) - line.green[i];
        }
    }
    template <int kColor>
    void make_row(std::int64_t y, OwnGreenOther (&pixels)[kPixels]) const {
        const auto *samples = m_.row(y) + first_x_, *across = m_.row(y ^ 1) + first_x_;
        const int *above = line(y - 1).difference, *own = line(y).difference,
                  *below = line(y + 1).difference;
        for (int i = 1; i <= kPixels; ++i) {
            const bool is_color_site = i % 2 == kColor;
            const int green = is_color_site ? line(y).green[i] : samples[i];
            const auto corrected = [&](int difference) {
                return std::clamp(green + difference, 0, 255);
            };
            if (is_color_site)
                pixels[i - 1] = {
                    samples[i], green,
                    corrected((above[i - 1] + above[i + 1] + below[i - 1] + below[i + 1]) >> 2)};
            else
                pixels[i - 1] = {corrected((own[i - 1] + own[i + 1]) >> 1), green,
                                 i == kPixels ? across[i] : corrected((above[i] + below[i]) >> 1)};
        }
    }

    const Mosaic<std::uint8_t>& m_;
    const std::int64_t first_x_;
    std::int64_t next_row_ = 0;
    Line lines_[4];
};

}  // namespace

std::size_t LastColumns::scratch_bytes() const { return (kMostRows + 2 * kMostReach) * kColumns; }

void LastColumns::make(const Rectangle& keep, const std::uint8_t* bytes, std::uint8_t* out,
                       std::uint8_t* samples, std::uint8_t* row) const {
    const CompletedMosaic completed(frame_, wish_);
    const auto& job = completed.job;
    const auto [first, last] = completed.rows_around(keep);
    source_.read_last8(bytes, first, last, samples, row);

    const std::uint8_t* rows[kMostRows + 2 * kMostReach];
    for (std::int64_t i = 0; i < last - first; ++i)
        rows[i] = samples + i * kColumns - (job.width - kColumns);
    const Mosaic mosaic(job, rows, first + completed.rows_above);

    const PixelLayout layout{wish_.channels, wish_.is_blue_first()};
    const auto* sample = samples + (keep.first_row - first) * kColumns + kColumns - 2;
    const auto first_y = keep.first_row + completed.rows_above;
    const auto end_y = first_y + keep.rows(), stride = wish_.stride;
    const auto method = job.method;
    const int edge_rows = method == IMGCNV_ADAPTIVE ? 2 : method == IMGCNV_BILINEAR ? 1 : 0;
    AdaptiveColumns adaptive(mosaic);
    for (auto y = first_y; y < end_y; ++y, sample += kColumns, out += stride) {
        const bool own_is_red = mosaic.has_red(y);
        const auto make = [&](auto&& pixel_at) {
            for (auto x = keep.first_column; x < keep.last_column; ++x)
                layout.store(pixel_at(x), own_is_red,
                             out + (x - keep.first_column) * layout.channels);
        };
        if (y < edge_rows || y + edge_rows > mosaic.last_y()) {
            make([&](auto x) { return demosaic16_pixel(mosaic, job, y, x); });
        } else if (method == IMGCNV_ADAPTIVE) {
            OwnGreenOther pixels[AdaptiveColumns::kPixels];
            adaptive.make(y, pixels);
            make([&](auto x) { return pixels[x - keep.first_column]; });
        } else {
            const bool is_color_site = mosaic.is_color_site(y, keep.first_column);
            layout.store(method == IMGCNV_BILINEAR
                             ? bilinear_before_last(sample, is_color_site)
                             : nearest_before_last(sample, is_color_site, y % 2 == 0),
                         own_is_red, out);
        }
    }
}

}  // namespace frames
