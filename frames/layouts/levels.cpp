// The levels of this processor architecture, and the choice of one.

#include "layouts/kernel_table.h"

#include <algorithm>
#include <cmath>

namespace frames {

extern const KernelTable kPlainKernels, kSse4Kernels, kAvx2Kernels, kAvx512Kernels, kNeonKernels,
    kSimd128Kernels;

namespace {

constexpr Level kLevels[] = {
    {"plain", &kPlainKernels, [] { return true; }},
#if defined(__x86_64__)
    // What the operating system saves on a context switch is part of the answers.
    {"sse4", &kSse4Kernels, [] { return __builtin_cpu_supports("sse4.1") != 0; }},
    {"avx2", &kAvx2Kernels, [] { return __builtin_cpu_supports("avx2") != 0; }},
    {"avx512", &kAvx512Kernels,
     [] { return __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vbmi"); }},
#elif defined(__aarch64__)
    {"neon", &kNeonKernels, [] { return true; }},
#elif defined(__wasm_simd128__)
    {"simd128", &kSimd128Kernels, [] { return true; }},
#endif
};

std::uint16_t to_word(double value) {
    return static_cast<std::uint16_t>(std::lround(std::clamp(value, 0.0, 65535.0)));
}

}  // namespace

std::span<const Level> levels() { return kLevels; }

const KernelTable& best_kernels() {
    const KernelTable* best = &kPlainKernels;
    for (const Level& level : kLevels)
        if (level.runs_here()) best = level.kernels;
    return *best;
}

SampleLayout sample_layout(const Format& format, bool big_endian) {
    auto layout = static_cast<imgcnv_layout>(format.layout);
    if (is_rgb(format)) layout = format.depth == 8 ? IMGCNV_LAYOUT_BYTES : IMGCNV_LAYOUT_WORDS;
    return {layout, format.depth, big_endian && layout == IMGCNV_LAYOUT_WORDS};
}

const LayoutKernels& layout_kernels(const Format& format, bool big_endian) {
    static constexpr LayoutKernels kNone = {nullptr, nullptr, nullptr};
    const SampleLayout wanted = sample_layout(format, big_endian);
    for (std::size_t i = 0; i < std::size(kSampleLayouts); ++i)
        if (kSampleLayouts[i] == wanted) return best_kernels().unpack[i];
    return kNone;
}

FixedLevels fixed_levels(const LevelRow& levels, int depth) {
    const int up = 16 - depth;
    double largest = 0, smallest = 0;  // but for 0
    for (const float scale : levels.scale) {
        const double step = std::ldexp(double{scale}, -up);
        largest = std::max(largest, step);
        if (step > 0 && (smallest == 0 || step < smallest)) smallest = step;
    }
    // The largest factor has all of 16 bits, but for room to round: 255 * 2^8. Factors less than
    // that of gain 1 keep its places. Below 5 places, every step would be more than the range.
    int places = 24;
    while (places > 5 && largest * std::ldexp(1.0, places) > 65280) --places;
    // Of the product, at least 4 places are rounded, or 1 where a much smaller factor needs the
    // room to reach 255.
    int more = std::max(0, 20 - places);
    const double to_255 = smallest > 0 ? 255 / smallest : 0;
    while (more > std::max(0, 17 - places) && (65535 >> more) < std::min(to_255, 65535.0)) --more;
    FixedLevels fixed{};
    for (std::size_t i = 0; i < 3; ++i)
        fixed.factor[i] = to_word(std::max(0.0F, levels.scale[i]) * std::ldexp(1.0, places - up));
    fixed.black = to_word(std::ldexp(double{levels.black}, up));
    fixed.most = static_cast<std::uint16_t>(65535 >> more);
    fixed.up = static_cast<std::uint16_t>(up);
    fixed.more = static_cast<std::uint16_t>(more);
    fixed.down = static_cast<std::uint16_t>(places - 16 + more);
    return fixed;
}

const SampleKernels& sample_kernels() { return best_kernels().samples; }

}  // namespace frames
