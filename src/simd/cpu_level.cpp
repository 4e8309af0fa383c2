#include "simd/cpu_level.h"

namespace imgcnv {

const KernelTable& kernels_for_this_cpu() { return kPlainKernels; }

}  // namespace imgcnv
