#pragma once

#include "engine/frame.h"
#include "picture/picture.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace tool {

/// Pixels of a target (imgcnv_target_kind) for sources of this format.
PixelKind pixel_kind(int target, const Format& format);

struct ClosePipeline {
    void operator()(imgcnv_pipeline* pipeline) const { imgcnv_pipeline_close(pipeline); }
};
using Pipeline = std::unique_ptr<imgcnv_pipeline, ClosePipeline>;

/// Throws UsageError for what cannot be converted.
Pipeline open_pipeline(const Frame& frame, const imgcnv_target& target);

/// Converts frames of one kind to whole pictures. One converter serves one thread.
class Converter {
  public:
    /// Throws UsageError for what cannot be converted.
    Converter(const Frame& frame, const imgcnv_target& target);

    /// The picture lives until the next call. Throws Failure.
    Picture convert(std::span<const std::uint8_t> source);

  private:
    Pipeline pipeline_;
    std::vector<std::uint8_t> pixels_;
    Picture picture_;
};

}  // namespace tool
