// The plain level: the definitions themselves, for any x86-64 CPU.

#include "api/turn_plain.h"
#include "bayer/adaptive_plain.h"
#include "bayer/bilinear_plain.h"
#include "bayer/nearest_plain.h"
#include "color/color_plain.h"
#include "mono/mono_plain.h"
#include "simd/cpu_level.h"
#include "simd/table_of.h"

namespace imgcnv {
namespace {

struct PlainBodies {
    template <MonoLayout kLayout, GreySink kSink>
    static constexpr RowKernel mono = mono_row_plain<kLayout, kSink>;
    template <ColorLayout kLayout, TripleSink kSink>
    static constexpr RowKernel color = color_row_plain<kLayout, kSink>;
    template <Phase kPhase, TripleSink kSink>
    static constexpr NearestKernel nearest = nearest_rows_plain<kPhase, kSink>;
    template <Phase kPhase, TripleSink kSink>
    static constexpr BilinearKernel bilinear = bilinear_row_plain<kPhase, kSink>;
    template <EdgeGreen kGreen, Phase kPhase, TripleSink kSink>
    static constexpr BilinearEdgeKernel bilinear_edge =
        bilinear_edge_row_plain<kGreen, kPhase, kSink>;
    template <Phase kPhase>
    static constexpr AdaptiveGreenKernel adaptive_green = adaptive_green_row_plain<kPhase>;
    template <Phase kPhase>
    static constexpr CellGreenKernel cell_green = cell_green_rows_plain<kPhase>;
    template <AdaptiveRow kRow, Phase kPhase, TripleSink kSink>
    static constexpr AdaptiveColorKernel adaptive_color =
        adaptive_color_row_plain<kRow, kPhase, kSink>;
    static constexpr TurnKernel reverse1 = reverse_in_rows_plain<1>;
    static constexpr TurnKernel reverse3 = reverse_in_rows_plain<3>;
    static constexpr TurnKernel reverse_rows = reverse_rows_plain;
    static constexpr TurnKernel turn90_1 = turn90_plain<1>;
    static constexpr TurnKernel turn90_3 = turn90_plain<3>;
    static constexpr TurnKernel turn270_1 = turn270_plain<1>;
    static constexpr TurnKernel turn270_3 = turn270_plain<3>;
};

}  // namespace

constinit const KernelTable kPlainKernels = table_of<PlainBodies>("plain");

}  // namespace imgcnv
