#include "layouts/demosaic16_plain.h"
#include "layouts/kernel_table.h"

namespace frames {
namespace {

/// Rows of a picture: kernels make all that is not an edge, the plain definition the edges.
class RowMaker {
  public:
    RowMaker(const Demosaic16Kernels& kernels, const Mosaic16& mosaic, const Demosaic16& job,
             std::int64_t width_out)
        : kernels_(kernels), m_(mosaic), job_(job), width_out_(width_out) {}

    bool has_kernels_for(std::int64_t pixels) const {
        return kernels_.nearest != nullptr &&
               pixels >= static_cast<std::int64_t>(kernels_.least_pixels);
    }
    const Demosaic16Kernels& kernels() const { return kernels_; }
    const Mosaic16& mosaic() const { return m_; }
    const Demosaic16& job() const { return job_; }

    Demosaic16Row kind(std::int64_t y, std::int64_t x) const {
        return {m_.is_chroma_site(y, x), m_.has_red(y) != job_.blue_first, job_.depth};
    }
    /// Pixels from..to of row y, which begins at `out`.
    void plain(std::int64_t y, std::int64_t from, std::int64_t to, std::uint16_t* out) const {
        if (from < to) demosaic16_pixels_plain(m_, job_, y, from, to, out + 3 * from);
    }
    void plain_row(std::int64_t y, std::uint16_t* out) const { plain(y, 0, width_out_, out); }

    void nearest(std::int64_t y, std::uint16_t* out) const {
        const std::int64_t whole = width_out_ & ~std::int64_t{1};
        if (!has_kernels_for(whole)) return plain_row(y, out);
        kernels_.nearest(m_.row(y), m_.row(y ^ 1), out, static_cast<std::size_t>(whole),
                         kind(y, 0));
        plain(y, whole, width_out_, out);
    }
    /// The kernel makes bilinear_side(), too, but for the green of chroma sites.
    void bilinear(std::int64_t y, std::uint16_t* out) const {
        if (!has_kernels_for(job_.width - 2)) return plain_row(y, out);
        if (y == 0 || y == m_.last_y()) return bilinear_top_row(y, out);
        kernels_.bilinear(m_.row(y - 1), m_.row(y), m_.row(y + 1), out,
                          static_cast<std::size_t>(job_.width),
                          static_cast<std::size_t>(width_out_), kind(y, 0));
        const std::int64_t end = m_.is_chroma_site(y, 0) ? 0 : m_.last_x();
        if (end < width_out_)
            out[3 * end + 1] = static_cast<std::uint16_t>(bilinear_side_green(m_, y, end));
    }
    std::int64_t width_out() const { return width_out_; }

  private:
    /// The row inside stands in for both neighbours. But for the green of chroma sites this makes
    /// bilinear_top().
    void bilinear_top_row(std::int64_t y, std::uint16_t* out) const {
        const auto *line = m_.row(y), *inner = m_.row(y == 0 ? 1 : y - 1);
        kernels_.bilinear(inner, line, inner, out, static_cast<std::size_t>(job_.width),
                          static_cast<std::size_t>(width_out_), kind(y, 0));
        for (std::int64_t x = m_.is_chroma_site(y, 0) ? 2 : 1; x < m_.last_x(); x += 2)
            out[3 * x + 1] = m_.is_gb() ? inner[x] : line[x - 1];
        plain(y, 0, 1, out);
        plain(y, m_.last_x(), width_out_, out);
    }

    const Demosaic16Kernels& kernels_;
    const Mosaic16& m_;
    const Demosaic16& job_;
    const std::int64_t width_out_;
};

/// The adaptive method: green runs a row ahead of colour, in strips of columns whose lines stay
/// in the second-level cache. Two columns and rows along each edge have rules of their own.
class AdaptiveStrip {
  public:
    static constexpr std::int64_t kColumns = 2048;

    /// Columns from..to, even and at least two from the edges.
    AdaptiveStrip(const RowMaker& maker, std::int64_t from, std::int64_t to)
        : maker_(maker),
          m_(maker.mosaic()),
          adaptive_(m_, maker.job().order == IMGCNV_ORDER_RG),
          from_(from),
          to_(to) {}

    /// Rows first..last, the first of which begins at `out`.
    void make(std::int64_t first, std::int64_t last, std::uint16_t* out, std::int64_t stride) {
        if (first > 0) make_green(first - 1);
        make_green(first);
        for (std::int64_t y = first; y < last; ++y, out += stride) {
            if (y < m_.last_y()) make_green(y + 1);
            const std::int64_t begin = from_ == 2 ? 0 : from_;
            const std::int64_t end = to_ + 1 == m_.last_x() ? maker_.width_out() : to_;
            if (!is_inner(y)) {
                make_edge(y, begin, end, out);
                continue;
            }
            const std::int32_t* const differences[3] = {
                differences_of(y - 1) + 1, differences_of(y) + 1, differences_of(y + 1) + 1};
            maker_.kernels().adaptive_color(m_.row(y) + from_, green_of(y) + 2, differences,
                                            out + 3 * from_, static_cast<std::size_t>(to_ - from_),
                                            maker_.kind(y, from_));
            make_edge(y, begin, from_, out);
            make_edge(y, to_, end, out);
        }
    }

  private:
    static constexpr std::int64_t kLine = kColumns + 4;  // two columns more on either side

    bool is_inner(std::int64_t y) const { return y >= 2 && y + 2 <= m_.last_y(); }

    /// Pixels begin..end of row y along an edge, from the lines of green.
    void make_edge(std::int64_t y, std::int64_t begin, std::int64_t end, std::uint16_t* out) {
        const auto green = [this](std::int64_t row, std::int64_t column) {
            return green_of(row)[column - from_ + 2];
        };
        const bool own_first = maker_.kind(y, 0).own_first;
        for (std::int64_t x = begin; x < end; ++x)
            store_pixel(adaptive_.pixel(y, x, green), own_first, out + 3 * x);
    }

    std::uint16_t* green_of(std::int64_t y) { return green_[y % 4]; }
    std::int32_t* differences_of(std::int64_t y) { return differences_[y % 4]; }

    void make_green(std::int64_t y) {
        const std::int64_t begin = from_ - 2, end = to_ + 2;
        if (!is_inner(y)) return make_plain_green(y, begin, end);
        const std::int64_t inner_begin = std::max<std::int64_t>(begin, 2);
        const std::int64_t inner_end = std::min(end, m_.last_x() - 1);
        make_plain_green(y, begin, inner_begin);
        make_plain_green(y, inner_end, end);
        const std::uint16_t* const rows[5] = {m_.row(y - 2), m_.row(y - 1), m_.row(y),
                                              m_.row(y + 1), m_.row(y + 2)};
        const std::int64_t at = inner_begin - begin;
        maker_.kernels().adaptive_green(
            rows, inner_begin, green_of(y) + at, differences_of(y) + at / 2,
            static_cast<std::size_t>(inner_end - inner_begin), maker_.kind(y, inner_begin));
    }
    void make_plain_green(std::int64_t y, std::int64_t from, std::int64_t to) {
        for (std::int64_t x = from; x < to; ++x) {
            const int green = adaptive_.green_of(y, x);
            const std::int64_t at = x - from_ + 2;
            green_of(y)[at] = static_cast<std::uint16_t>(green);
            if (m_.is_chroma_site(y, x)) differences_of(y)[at / 2] = m_.at(y, x) - green;
        }
    }

    const RowMaker& maker_;
    const Mosaic16& m_;
    const Adaptive<const std::uint16_t* const*> adaptive_;
    const std::int64_t from_, to_;
    std::uint16_t green_[4][kLine];
    std::int32_t differences_[4][kLine / 2];  // of the chroma site of every pair
};

void make_adaptive(const RowMaker& maker, std::int64_t first, std::int64_t last, std::uint16_t* out,
                   std::int64_t stride) {
    const Mosaic16& m = maker.mosaic();
    const std::int64_t begin = 2, end = m.last_x() - 1;
    if (!maker.has_kernels_for(end - begin)) {
        for (std::int64_t y = first; y < last; ++y, out += stride) maker.plain_row(y, out);
        return;
    }
    for (std::int64_t x = begin; x < end; x += AdaptiveStrip::kColumns) {
        // The last strip ends with the row and has room for a block.
        const std::int64_t to = std::min(x + AdaptiveStrip::kColumns, end);
        const auto block = static_cast<std::int64_t>(maker.kernels().least_pixels);
        const std::int64_t from = std::min(x, to - block);
        AdaptiveStrip strip(maker, from, to);
        strip.make(first, last, out, stride);
    }
}

}  // namespace

void demosaic16(const Demosaic16Kernels& kernels, const Demosaic16& job,
                const std::uint16_t* const* rows, std::int64_t first, std::int64_t count,
                std::uint16_t* out, std::int64_t out_stride_words, std::int64_t width_out) {
    const Mosaic16 mosaic(job, rows, first);
    const RowMaker maker(kernels, mosaic, job, width_out);
    if (job.method == IMGCNV_ADAPTIVE)
        return make_adaptive(maker, first, first + count, out, out_stride_words);
    for (std::int64_t y = first; y < first + count; ++y, out += out_stride_words) {
        if (job.method == IMGCNV_NEAREST)
            maker.nearest(y, out);
        else
            maker.bilinear(y, out);
    }
}

void demosaic16(const Demosaic16& job, const std::uint16_t* const* rows, std::int64_t first,
                std::int64_t count, std::uint16_t* out, std::int64_t out_stride_words,
                std::int64_t width_out) {
    demosaic16(best_kernels().demosaic, job, rows, first, count, out, out_stride_words, width_out);
}

}  // namespace frames
