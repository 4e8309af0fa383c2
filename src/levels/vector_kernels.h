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
    // Of kernels that convert a handful of rows a frame, all levels have the smallest.
    using Rare = NarrowestOf<V>;

    template <MonoLayout kLayout, GreySink kSink>
    static constexpr RowKernel mono = mono_row<V, kLayout, kSink>;
    template <ColorLayout kLayout, TripleSink kSink>
    static constexpr RowKernel color = color_row<V, kLayout, kSink>;
    template <Phase kPhase, TripleSink kSink>
    static constexpr NearestKernel nearest = nearest_rows<V, kPhase, kSink>;
    template <Phase kPhase, TripleSink kSink>
    static constexpr BilinearKernel bilinear = bilinear_row<V, kPhase, kSink>;
    template <EdgeGreen kGreen, Phase kPhase, TripleSink kSink>
    static constexpr BilinearEdgeKernel bilinear_edge =
        bilinear_edge_row<Rare, kGreen, kPhase, kSink>;
    template <Phase kPhase>
    static constexpr AdaptiveGreenKernel adaptive_green = adaptive_green_row<V, kPhase>;
    template <Phase kPhase>
    static constexpr CellGreenKernel cell_green = cell_green_rows<Rare, kPhase>;
    template <AdaptiveRow kRow, Phase kPhase, TripleSink kSink>
    static constexpr AdaptiveColorKernel adaptive_color =
        adaptive_color_row<Choose<kRow == kNoneCopied, V, Rare>, kRow, kPhase, kSink>;
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

    template <TripleSink kSink>
    using To = Choose<sink_bytes(kSink) == 1, V, Streamed>;

    template <MonoLayout kLayout, GreySink kSink>
    static constexpr RowKernel mono = mono_row<Streamed, kLayout, kSink>;
    template <ColorLayout kLayout, TripleSink kSink>
    static constexpr RowKernel color = color_row<To<kSink>, kLayout, kSink>;
    template <Phase kPhase, TripleSink kSink>
    static constexpr NearestKernel nearest = nearest_rows<To<kSink>, kPhase, kSink>;
    template <Phase kPhase, TripleSink kSink>
    static constexpr BilinearKernel bilinear = bilinear_row<To<kSink>, kPhase, kSink>;
    template <AdaptiveRow kRow, Phase kPhase, TripleSink kSink>
    static constexpr AdaptiveColorKernel adaptive_color = [] {
        if constexpr (kRow == kNoneCopied) {
            return adaptive_color_row<To<kSink>, kRow, kPhase, kSink>;
        } else {
            return VectorKernels<V>::template adaptive_color<kRow, kPhase, kSink>;
        }
    }();
    template <PixelSize kSize>
    static constexpr RotateKernel flip_h = imgcnv::flip_h<Streamed, bytes_of(kSize)>;
    static constexpr RotateKernel flip_v = imgcnv::flip_v<Streamed>;
};

}  // namespace imgcnv
