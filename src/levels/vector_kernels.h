// Every vector kernel of a level whose vector type is V.
//
// A level is a file compiled with the level's flags that includes its vec_*.h and this, and
// defines its table. Whatever emits code there is a template over V (or a member of it), and only
// C headers and intrinsics are included: an inline function of the standard library, compiled for
// a newer CPU, might otherwise become the copy that the linker keeps for everybody.
#pragma once

#include "api/flip_simd.h"
#include "api/rotate_simd.h"
#include "bayer/adaptive_simd.h"
#include "bayer/bilinear_simd.h"
#include "bayer/nearest_simd.h"
#include "color/color_simd.h"
#include "levels/table_of.h"
#include "mono/mono_simd.h"

namespace imgcnv {

template <bool kCondition, class A, class B>
struct ChooseFrom {
    using Type = A;
};
template <class A, class B>
struct ChooseFrom<false, A, B> {
    using Type = B;
};
template <bool kCondition, class A, class B>
using Choose = typename ChooseFrom<kCondition, A, B>::Type;

template <class V>
struct VectorKernels {
    template <MonoLayout kLayout, GreyTarget kTarget>
    static constexpr RowKernel mono = mono_row<V, kLayout, kTarget>;
    template <ColorLayout kLayout, ColorTarget kTarget>
    static constexpr RowKernel color = color_row<V, kLayout, kTarget>;
    template <RowStart kStart, ColorTarget kTarget>
    static constexpr NearestKernel nearest = nearest_rows<V, kStart, kTarget>;
    template <RowStart kStart, ColorTarget kTarget>
    static constexpr BilinearKernel bilinear = bilinear_row<V, kStart, kTarget>;
    template <RowStart kStart>
    static constexpr AdaptiveGreenKernel adaptive_green = adaptive_green_row<V, kStart>;
    template <RowStart kStart>
    static constexpr BlockGreenKernel block_green = block_green_row<V, kStart>;
    template <RowStart kStart, ColorTarget kTarget>
    static constexpr AdaptiveColorKernel adaptive_color = adaptive_color_row<V, kStart, kTarget>;
    template <PixelSize kSize>
    static constexpr RotateKernel flip_h = imgcnv::flip_h<V, bytes_of(kSize)>;
    static constexpr RotateKernel flip_v = imgcnv::flip_v<V>;
    template <PixelSize kSize>
    static constexpr RotateKernel rotate90 = rotate<V, bytes_of(kSize), true>;
    template <PixelSize kSize>
    static constexpr RotateKernel rotate270 = rotate<V, bytes_of(kSize), false>;
};

// The same for frames that the caches do not hold. Grey from colour or from a mosaic
// gains nothing from streaming: most of its bytes are read.
template <class V>
struct StreamingKernels : VectorKernels<V> {
    using Streamed = Streaming<V>;

    template <ColorTarget kTarget>
    using To = Choose<target_bytes(kTarget) == 1, V, Streamed>;

    template <MonoLayout kLayout, GreyTarget kTarget>
    static constexpr RowKernel mono = mono_row<Streamed, kLayout, kTarget>;
    template <ColorLayout kLayout, ColorTarget kTarget>
    static constexpr RowKernel color = color_row<To<kTarget>, kLayout, kTarget>;
    template <RowStart kStart, ColorTarget kTarget>
    static constexpr NearestKernel nearest = nearest_rows<To<kTarget>, kStart, kTarget>;
    template <RowStart kStart, ColorTarget kTarget>
    static constexpr BilinearKernel bilinear = bilinear_row<To<kTarget>, kStart, kTarget>;
    template <RowStart kStart, ColorTarget kTarget>
    static constexpr AdaptiveColorKernel adaptive_color =
        adaptive_color_row<To<kTarget>, kStart, kTarget>;
    template <PixelSize kSize>
    static constexpr RotateKernel flip_h = imgcnv::flip_h<Streamed, bytes_of(kSize)>;
    static constexpr RotateKernel flip_v = imgcnv::flip_v<Streamed>;
};

}  // namespace imgcnv
