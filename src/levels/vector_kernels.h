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

// A kernel that calls the one that kFind finds in another table.
template <auto kFind, class Kernel = decltype(kFind())>
struct Forward;
template <auto kFind, class... Args>
struct Forward<kFind, void (*)(Args...)> {
    static void run(Args... args) { kFind()(args...); }
};

// kNarrow: the kernels of the level with the narrowest vectors, where V has wider ones. Those that
// convert a handful of rows per frame are taken from there, and are not compiled for V.
template <class V, const KernelTable* kNarrow = nullptr>
struct VectorKernels {
    template <EdgeGreen kGreen, Phase kPhase, TripleSink kSink>
    static BilinearEdgeKernel narrow_bilinear_edge() {
        return kNarrow->bilinear_edge[kGreen][kPhase][kSink];
    }
    template <Phase kPhase>
    static BlockGreenKernel narrow_block_green() {
        return kNarrow->block_green[kPhase];
    }
    template <AdaptiveRow kRow, Phase kPhase, TripleSink kSink>
    static AdaptiveColorKernel narrow_adaptive_color() {
        return kNarrow->adaptive_color[kRow][kPhase][kSink];
    }

    template <MonoLayout kLayout, GreySink kSink>
    static constexpr RowKernel mono = mono_row<V, kLayout, kSink>;
    template <ColorLayout kLayout, TripleSink kSink>
    static constexpr RowKernel color = color_row<V, kLayout, kSink>;
    template <Phase kPhase, TripleSink kSink>
    static constexpr NearestKernel nearest = nearest_rows<V, kPhase, kSink>;
    template <Phase kPhase, TripleSink kSink>
    static constexpr BilinearKernel bilinear = bilinear_row<V, kPhase, kSink>;
    template <EdgeGreen kGreen, Phase kPhase, TripleSink kSink>
    static constexpr BilinearEdgeKernel bilinear_edge = [] {
        if constexpr (kNarrow == nullptr) {
            return bilinear_edge_row<V, kGreen, kPhase, kSink>;
        } else {
            return Forward<narrow_bilinear_edge<kGreen, kPhase, kSink>>::run;
        }
    }();
    template <Phase kPhase>
    static constexpr AdaptiveGreenKernel adaptive_green = adaptive_green_row<V, kPhase>;
    template <Phase kPhase>
    static constexpr BlockGreenKernel block_green = [] {
        if constexpr (kNarrow == nullptr) {
            return block_green_row<V, kPhase>;
        } else {
            return Forward<narrow_block_green<kPhase>>::run;
        }
    }();
    template <AdaptiveRow kRow, Phase kPhase, TripleSink kSink>
    static constexpr AdaptiveColorKernel adaptive_color = [] {
        if constexpr (kNarrow == nullptr || kRow == kNoneCopied) {
            return adaptive_color_row<V, kRow, kPhase, kSink>;
        } else {
            return Forward<narrow_adaptive_color<kRow, kPhase, kSink>>::run;
        }
    }();
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
template <class V, const KernelTable* kNarrow = nullptr>
struct StreamingKernels : VectorKernels<V, kNarrow> {
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
            return VectorKernels<V, kNarrow>::template adaptive_color<kRow, kPhase, kSink>;
        }
    }();
    template <PixelSize kSize>
    static constexpr RotateKernel flip_h = imgcnv::flip_h<Streamed, bytes_of(kSize)>;
    static constexpr RotateKernel flip_v = imgcnv::flip_v<Streamed>;
};

}  // namespace imgcnv
