// Every vector kernel of a level whose vector type is V.
//
// A level is a file compiled with the level's flags that includes its vec_*.h
// and this, and defines its table. Whatever emits code there is a template over
// V (or a member of it), and only C headers and intrinsics are included: an
// inline function of the standard library compiled for a newer CPU must not
// become everybody's copy.
#pragma once

#include "api/mirror_simd.h"
#include "api/turn_simd.h"
#include "bayer/adaptive_simd.h"
#include "bayer/bilinear_simd.h"
#include "bayer/nearest_simd.h"
#include "color/color_simd.h"
#include "mono/mono_simd.h"
#include "simd/table_of.h"

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
struct VectorBodies {
    template <MonoLayout kLayout, GreySink kSink>
    static constexpr RowKernel mono = mono_row<V, kLayout, kSink>;
    template <ColorLayout kLayout, TripleSink kSink>
    static constexpr RowKernel color = color_row<V, kLayout, kSink>;
    template <Phase kPhase, TripleSink kSink>
    static constexpr NearestKernel nearest = nearest_rows<V, kPhase, kSink>;
    template <Phase kPhase, TripleSink kSink>
    static constexpr BilinearKernel bilinear = bilinear_row<V, kPhase, kSink>;
    template <EdgeGreen kGreen, Phase kPhase, TripleSink kSink>
    static constexpr BilinearEdgeKernel bilinear_edge = bilinear_edge_row<V, kGreen, kPhase, kSink>;
    template <Phase kPhase>
    static constexpr AdaptiveGreenKernel adaptive_green = adaptive_green_row<V, kPhase>;
    template <Phase kPhase>
    static constexpr CellGreenKernel cell_green = cell_green_rows<V, kPhase>;
    template <AdaptiveRow kRow, Phase kPhase, TripleSink kSink>
    static constexpr AdaptiveColorKernel adaptive_color =
        adaptive_color_row<V, kRow, kPhase, kSink>;
    static constexpr TurnKernel reverse1 = reverse_in_rows<V, 1>;
    static constexpr TurnKernel reverse3 = reverse_in_rows<V, 3>;
    static constexpr TurnKernel reverse_rows = imgcnv::reverse_rows<V>;
    static constexpr TurnKernel turn90_1 = turn<V, 1, true>;
    static constexpr TurnKernel turn90_3 = turn<V, 3, true>;
    static constexpr TurnKernel turn270_1 = turn<V, 1, false>;
    static constexpr TurnKernel turn270_3 = turn<V, 3, false>;
};

// The same for frames that the caches do not hold. Grey from colour or from a mosaic
// gains nothing from being written past them: most of its bytes are read.
template <class V>
struct PastCachesBodies : VectorBodies<V> {
    using Past = PastCaches<V>;

    template <TripleSink kSink>
    using To = Choose<sink_bytes(kSink) == 1, V, Past>;

    template <MonoLayout kLayout, GreySink kSink>
    static constexpr RowKernel mono = mono_row<Past, kLayout, kSink>;
    template <ColorLayout kLayout, TripleSink kSink>
    static constexpr RowKernel color = color_row<To<kSink>, kLayout, kSink>;
    template <Phase kPhase, TripleSink kSink>
    static constexpr NearestKernel nearest = nearest_rows<To<kSink>, kPhase, kSink>;
    template <Phase kPhase, TripleSink kSink>
    static constexpr BilinearKernel bilinear = bilinear_row<To<kSink>, kPhase, kSink>;
    static constexpr TurnKernel reverse1 = reverse_in_rows<Past, 1>;
    static constexpr TurnKernel reverse3 = reverse_in_rows<Past, 3>;
    static constexpr TurnKernel reverse_rows = imgcnv::reverse_rows<Past>;
    // Of adaptive, rows in which nothing is copied: all but a few.
    template <AdaptiveRow kRow, Phase kPhase, TripleSink kSink>
    static constexpr AdaptiveColorKernel adaptive_color =
        adaptive_color_row<Choose<kRow == kNoneCopied, To<kSink>, V>, kRow, kPhase, kSink>;
};

}  // namespace imgcnv
