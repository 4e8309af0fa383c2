// What caps say in the terms of the frame engine, and the other way round.
#pragma once

#include "imgcnv_frames.h"

#include <gst/video/video.h>

#include <cstdint>
#include <span>
#include <string>

namespace imgcnv_gst {

/// How YUV samples are scaled.
enum class Range { kFromCaps, kFull, kVideo };

/// A video format the element makes.
struct Output {
    GstVideoFormat format;
    int kind;             ///< imgcnv_target_kind
    std::uint32_t flags;  ///< IMGCNV_TARGET_...
};

/// What frames of these caps can become, the preferred one first; `pixel_format`, when not empty,
/// is their true format. Caps that do not settle the format can become anything.
std::span<const Output> outputs_of(const GstStructure* caps, const std::string& pixel_format);

GstCaps* sink_template();
GstCaps* source_template();

/// The same as source caps.
GstCaps* output_caps(const GstStructure* caps, const std::string& pixel_format);
/// The sink caps that pictures of `caps` can be made from.
GstCaps* input_caps(const GstStructure* caps);

/// Fills format, flags, width and height in. False: `why` says what is wrong and what to do.
bool describe_frame(const GstStructure* caps, const std::string& pixel_format, Range range,
                    imgcnv_frame& frame, std::string& why);

/// The stride that explains the length of a buffer, 0 for rows without padding. False when none
/// does; `why` then says what would.
bool find_stride(imgcnv_frame frame, gsize buffer_bytes, std::int64_t& stride, std::string& why);

}  // namespace imgcnv_gst
