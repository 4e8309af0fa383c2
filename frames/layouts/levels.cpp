// The levels of this processor architecture, and the choice of one.

#include "layouts/kernel_table.h"

namespace frames {

extern const KernelTable kPlainKernels;

namespace {

constexpr Level kLevels[] = {
    {"plain", &kPlainKernels, [] { return true; }},
};

const KernelTable& best_kernels() {
    const KernelTable* best = &kPlainKernels;
    for (const Level& level : kLevels)
        if (level.runs_here()) best = level.kernels;
    return *best;
}

/// RGB and its kin are rows of bytes or words.
SampleLayout sample_layout(const Format& format, bool big_endian) {
    auto layout = static_cast<imgcnv_layout>(format.layout);
    if (is_rgb(format)) layout = format.depth == 8 ? IMGCNV_LAYOUT_BYTES : IMGCNV_LAYOUT_WORDS;
    return {layout, format.depth, big_endian && layout == IMGCNV_LAYOUT_WORDS};
}

}  // namespace

std::span<const Level> levels() { return kLevels; }

const LayoutKernels& layout_kernels(const Format& format, bool big_endian) {
    static constexpr LayoutKernels kNone = {nullptr, nullptr};
    const SampleLayout wanted = sample_layout(format, big_endian);
    for (std::size_t i = 0; i < std::size(kSampleLayouts); ++i)
        if (kSampleLayouts[i] == wanted) return best_kernels().unpack[i];
    return kNone;
}

const SampleKernels& sample_kernels() { return best_kernels().samples; }

}  // namespace frames
