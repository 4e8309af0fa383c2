// Every vector kernel of a level whose vector type is V.
//
// A level is a file compiled with the level's flags that includes its vec_*.h and this, and
// defines its table. Whatever emits code there is a template over V (or a member of it), which is
// in an unnamed namespace, and what is included is C headers, intrinsics and types of the C++
// library: an inline function that others have, too, compiled for a newer CPU, might become the
// copy that the linker keeps for all.
#pragma once

#include <type_traits>

#include "api/flip_simd.h"
#include "api/rotate_simd.h"
#include "bayer/adaptive_simd.h"
#include "bayer/bilinear_simd.h"
#include "bayer/nearest_simd.h"
#include "color/color_simd.h"
#include "levels/table_of.h"
#include "mono/mono_simd.h"

namespace imgcnv {

// Streamed: Streaming<V> for frames that the caches do not hold. Grey from YUV or from a mosaic
// gains nothing from streaming: it computes for longer than the memory needs.
template <class V, class Streamed = V>
struct VectorKernels {
    template <ColorTarget kTarget>
    using To = std::conditional_t<target_bytes(kTarget) == 1, V, Streamed>;

    template <MonoLayout kLayout, GreyTarget kTarget>
    static constexpr RowKernel mono = mono_row<Streamed, kLayout, kTarget>;
    template <ColorLayout kLayout, ColorTarget kTarget>
    static constexpr RowKernel color =
        color_row<std::conditional_t<kLayout == kRgb8, Streamed, To<kTarget>>, kLayout, kTarget>;
    template <RowStart kStart, ColorTarget kTarget>
    static constexpr NearestKernel nearest = nearest_rows<To<kTarget>, kStart, kTarget>;
    template <RowStart kStart, ColorTarget kTarget>
    static constexpr BilinearKernel bilinear = bilinear_row<To<kTarget>, kStart, kTarget>;
    template <RowStart kStart>
    static constexpr AdaptiveGreenKernel adaptive_green = adaptive_green_row<V, kStart>;
    template <RowStart kStart>
    static constexpr BlockGreenKernel block_green = block_green_row<V, kStart>;
    template <RowStart kStart, ColorTarget kTarget>
    static constexpr AdaptiveColorKernel adaptive_color =
        adaptive_color_row<To<kTarget>, kStart, kTarget>;
    template <PixelSize kSize>
    static constexpr RotateKernel flip_h = imgcnv::flip_h<Streamed, bytes_of(kSize)>;
    static constexpr RotateKernel flip_v = imgcnv::flip_v<Streamed>;
    template <PixelSize kSize>
    static constexpr RotateKernel rotate90 = rotate<V, bytes_of(kSize), true>;
    template <PixelSize kSize>
    static constexpr RotateKernel rotate270 = rotate<V, bytes_of(kSize), false>;
};

}  // namespace imgcnv
