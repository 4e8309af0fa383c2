#include "layouts/demosaic16_plain.h"
#include "layouts/kernel_table.h"

namespace frames {
namespace {

/// A row of which kernels do all that is not an edge.
class RowsOfBand {
  public:
    RowsOfBand(const Demosaic16Kernels& kernels, const Mosaic16& mosaic, const Demosaic16& job,
               std::int64_t width_out)
        : kernels_(kernels), m_(mosaic), job_(job), width_out_(width_out) {}

    void make(std::int64_t y, std::uint16_t* out) const {
        std::int64_t from = 0, to = 0;
        if (job_.method == IMGCNV_NEAREST) {
            to = width_out_ & ~std::int64_t{1};
            if (!has_kernels_for(to)) return plain(y, 0, width_out_, out);
            kernels_.nearest(m_.row(y), m_.row(y ^ 1), out, static_cast<std::size_t>(to),
                             row(y, 0));
        } else if (job_.method == IMGCNV_BILINEAR && y != 0 && y != m_.last_y()) {
            from = 1;
            to = m_.last_x();
            if (!has_kernels_for(to - from)) return plain(y, 0, width_out_, out);
            // Blocks begin where the picture's lines may begin, but for the first and the last.
            const auto block = static_cast<std::int64_t>(kernels_.least_pixels);
            const std::int64_t middle = (to - block) / block * block;
            bilinear(y, from, block, out);
            if (middle > 0) bilinear(y, block, middle, out);
            if (block + middle < to) bilinear(y, to - block, block, out);
        }
        plain(y, 0, from, out);
        plain(y, to, width_out_, out + 3 * to);
    }

  private:
    void bilinear(std::int64_t y, std::int64_t x, std::int64_t pixels, std::uint16_t* out) const {
        kernels_.bilinear(m_.row(y - 1) + x, m_.row(y) + x, m_.row(y + 1) + x, out + 3 * x,
                          static_cast<std::size_t>(pixels), row(y, x));
    }
    bool has_kernels_for(std::int64_t pixels) const {
        return kernels_.nearest != nullptr &&
               pixels >= static_cast<std::int64_t>(kernels_.least_pixels);
    }
    Demosaic16Row row(std::int64_t y, std::int64_t x) const {
        return {m_.is_color_site(y, x), m_.has_red(y) != job_.blue_first, job_.depth};
    }
    void plain(std::int64_t y, std::int64_t from, std::int64_t to, std::uint16_t* out) const {
        demosaic16_pixels_plain(m_, job_, y, from, to, out);
    }

    const Demosaic16Kernels& kernels_;
    const Mosaic16& m_;
    const Demosaic16& job_;
    const std::int64_t width_out_;
};

}  // namespace

void demosaic16(const Demosaic16Kernels& kernels, const Demosaic16& job,
                const std::uint16_t* const* rows, std::int64_t first, std::int64_t count,
                std::uint16_t* out, std::int64_t out_stride_words, std::int64_t width_out) {
    const Mosaic16 mosaic(job, rows, first);
    const RowsOfBand band(kernels, mosaic, job, width_out);
    for (std::int64_t y = first; y < first + count; ++y, out += out_stride_words) band.make(y, out);
}

void demosaic16(const Demosaic16& job, const std::uint16_t* const* rows, std::int64_t first,
                std::int64_t count, std::uint16_t* out, std::int64_t out_stride_words,
                std::int64_t width_out) {
    demosaic16(best_kernels().demosaic, job, rows, first, count, out, out_stride_words, width_out);
}

}  // namespace frames
