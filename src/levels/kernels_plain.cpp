// The plain level: the definitions themselves, for any CPU.

#include "api/rotate_plain.h"
#include "bayer/adaptive_plain.h"
#include "bayer/bilinear_plain.h"
#include "bayer/nearest_plain.h"
#include "color/color_plain.h"
#include "levels/table_of.h"
#include "mono/mono_plain.h"

namespace imgcnv {
namespace {

struct PlainKernels {
    template <MonoLayout kLayout, GreyTarget kTarget>
    static constexpr RowKernel mono = mono_row_plain<kLayout, kTarget>;
    template <ColorLayout kLayout, ColorTarget kTarget>
    static constexpr RowKernel color = color_row_plain<kLayout, kTarget>;
    template <RowStart kStart, ColorTarget kTarget>
    static constexpr NearestKernel nearest = nearest_rows_plain<kStart, kTarget>;
    template <RowStart kStart, ColorTarget kTarget>
    static constexpr BilinearKernel bilinear = bilinear_row_plain<kStart, kTarget>;
    template <RowStart kStart>
    static constexpr AdaptiveGreenKernel adaptive_green = adaptive_green_row_plain<kStart>;
    template <RowStart kStart>
    static constexpr BlockGreenKernel block_green = block_green_row_plain<kStart>;
    template <RowStart kStart, ColorTarget kTarget>
    static constexpr AdaptiveColorKernel adaptive_color = adaptive_color_row_plain<kStart, kTarget>;
    template <PixelSize kSize>
    static constexpr RotateKernel flip_h = flip_h_plain<bytes_of(kSize)>;
    static constexpr RotateKernel flip_v = flip_v_plain;
    template <PixelSize kSize>
    static constexpr RotateKernel rotate90 = rotate_plain<bytes_of(kSize), true>;
    template <PixelSize kSize>
    static constexpr RotateKernel rotate270 = rotate_plain<bytes_of(kSize), false>;
};

}  // namespace

extern const KernelTable kPlainKernels;
constinit const KernelTable kPlainKernels = table_of<PlainKernels>("plain");

}  // namespace imgcnv
