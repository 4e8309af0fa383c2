#pragma once

#include "bayer/bayer_frame.h"
#include "formats/format.h"
#include "pipeline/core_frame.h"
#include "pipeline/task.h"

#include <vector>

namespace frames {

/// What a call of libimgcnv does, by the same kernels: for targets whose rows lie apart, which
/// libimgcnv's interface has no word for, and for mosaics, whose conversion allocates there.
class KernelCall {
  public:
    void open(const CoreFrame& frame);
    void run(const Task& task, const std::uint8_t* source, std::uint8_t* target);

  private:
    void open_mosaic(const Format& format);
    void demosaic(const Task& task, const std::uint8_t* source, std::uint8_t* target);
    imgcnv::RowKernel row_kernel(const imgcnv::KernelTable& kernels) const;

    CoreFrame frame_{};
    const Format* format_ = nullptr;
    int pixel_bytes_ = 0;
    imgcnv::BayerFrame mosaic_{};
    std::vector<const std::uint8_t*> source_rows_;  ///< of mosaics
    std::vector<std::uint8_t*> target_rows_;
    std::vector<std::uint8_t> dropped_row_;  ///< pixels of all rows that are not kept
};

}  // namespace frames
