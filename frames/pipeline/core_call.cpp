#include "pipeline/core_call.h"

namespace frames {

CoreCall::~CoreCall() {
    if (handle_ != nullptr) IMGCNV_close(handle_);
}

imgcnv_status CoreCall::open() {
    if (frame_.target_stride != 0) {
        kernels_ = std::make_unique<KernelCall>();
        kernels_->open(frame_);
        return IMGCNV_OK;
    }
    // A mosaic's row length follows from dataSize / height - rowPadding: the size counts the
    // padding of the last row, whether it is there or not.
    IMGCNV_SOpenParam record{};
    record.width = static_cast<int>(frame_.width);
    record.height = static_cast<int>(frame_.rows);
    record.rowPadding = static_cast<int>(frame_.stride - frame_.row_bytes);
    record.dataSize = static_cast<int>(frame_.stride * frame_.rows);
    record.pixelFormat = frame_.format;
    int reported_bytes = 0;
    const int status =
        IMGCNV_open(&record, frame_.target, &handle_, &reported_bytes, frame_.demosaic);
    return status == IMGCNV_SUCCESS ? IMGCNV_OK : IMGCNV_OUT_OF_MEMORY;
}

imgcnv_status CoreCall::run(const Task& task, const std::uint8_t* source,
                            std::uint8_t* target) const {
    if (kernels_ != nullptr) {
        kernels_->run(task, source, target);
        return IMGCNV_OK;
    }
    if (task.reads_frame) source += task.made.first_row * frame_.stride;
    // libimgcnv does not write to its source.
    const int status = IMGCNV_convert(handle_, const_cast<std::uint8_t*>(source), target);
    return status == IMGCNV_SUCCESS ? IMGCNV_OK : IMGCNV_OUT_OF_MEMORY;
}

}  // namespace frames
