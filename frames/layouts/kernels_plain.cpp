// The plain level: the definitions themselves.

#include "layouts/kernel_table.h"
#include "layouts/samples_plain.h"
#include "layouts/unpack_plain.h"

namespace frames {
namespace {

constexpr KernelTable plain_kernels() {
    KernelTable table{};
    fill_unpack<UnpackPlain>(table.unpack);
    table.samples = {drop_alpha8_plain,
                     exchange16_plain,
                     levels_plain<std::uint8_t>,
                     levels_plain<std::uint16_t>,
                     full_scale_row_plain,
                     full_range_plain,
                     curve_plain};
    return table;
}

}  // namespace

extern const KernelTable kPlainKernels;
constinit const KernelTable kPlainKernels = plain_kernels();

}  // namespace frames
