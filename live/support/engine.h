// The frame engine for programs that end with a message: what fails is thrown.
#pragma once

#include "imgcnv_frames.h"

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

namespace live {

/// Its text is for the user: what was expected, what was given, what to do.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Format and flags from a name, size from "WxH".
imgcnv_frame frame_named(const std::string& format, const std::string& size);

/// 0 for an unknown name is never returned: that is a Failure.
std::uint32_t format_code(const std::string& name);

imgcnv_format_info format_info(std::uint32_t code);
imgcnv_frame_sizes sizes_of(const imgcnv_frame& frame);

struct ClosePipeline {
    void operator()(imgcnv_pipeline* pipeline) const { imgcnv_pipeline_close(pipeline); }
};
using Pipeline = std::unique_ptr<imgcnv_pipeline, ClosePipeline>;

Pipeline open_pipeline(const imgcnv_frame& frame, const imgcnv_target& target);

}  // namespace live
