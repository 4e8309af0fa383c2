// The plain level: the definitions themselves.

#include "layouts/kernel_table.h"
#include "layouts/samples_plain.h"
#include "layouts/unpack_plain.h"

namespace frames {

void curve_row(std::uint8_t* pixels, std::size_t count, int channels, const std::uint8_t* curve) {
    if (channels == 1) {
        for (std::size_t i = 0; i < count; ++i) pixels[i] = curve[pixels[i]];
        return;
    }
    for (std::size_t i = 0; i < count; ++i, pixels += channels)
        for (std::size_t c = 0; c < 3; ++c) pixels[c] = curve[256 * c + pixels[c]];
}

namespace {

constexpr KernelTable plain_kernels() {
    KernelTable table{};
    [&]<std::size_t... kIndex>(std::index_sequence<kIndex...>) {
        ((table.unpack[kIndex] = {UnpackPlain<kSampleLayouts[kIndex]>::to8,
                                  UnpackPlain<kSampleLayouts[kIndex]>::to16,
                                  UnpackPlain<kSampleLayouts[kIndex]>::to8_levels}),
         ...);
    }
    (std::make_index_sequence<std::size(kSampleLayouts)>());
    table.samples = {drop_alpha8_plain,    opaque_plain,     exchange16_plain, levels_plain,
                     full_scale_row_plain, full_range_plain, curve_row};
    return table;
}

}  // namespace

extern const KernelTable kPlainKernels;
constinit const KernelTable kPlainKernels = plain_kernels();

}  // namespace frames
