// Which table of kernels this CPU runs best.
#pragma once

#include "simd/kernel_table.h"

namespace imgcnv {

extern const KernelTable kPlainKernels;
extern const KernelTable kSse4Kernels;
extern const KernelTable kAvx2Kernels;
extern const KernelTable kAvx512Kernels;

// A pure function of the CPU: no state, asked once a conversion (a few loads).
const KernelTable& kernels_for_this_cpu();

}  // namespace imgcnv
