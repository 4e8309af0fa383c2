#pragma once

#include "pipeline/core_call.h"
#include "pipeline/source_rows.h"
#include "pipeline/task.h"
#include "pipeline/wish.h"

namespace frames {

/// Pictures of 16 bits per channel.
class WidePicture {
  public:
    WidePicture(const Geometry& frame, const Wish& wish, const SourceRows& source)
        : frame_(frame), wish_(wish), source_(source) {}

    /// Bytes that make() needs at `scratch`.
    std::size_t scratch_bytes(const Rectangle& made) const;

    /// Makes the pixels of task.keep, rows `stride` words apart.
    ///
    ///   yuv_call  makes 8-bit RGB of YUV frames; of no meaning for others
    ///   row       as SourceRows needs it
    imgcnv_status make(const Task& task, const CoreCall* yuv_call, const std::uint8_t* bytes,
                       std::uint16_t* out, std::int64_t stride, std::uint8_t* scratch,
                       std::uint8_t* row) const;

  private:
    void make_grey(const Task& task, const std::uint8_t* bytes, std::uint16_t* out,
                   std::int64_t stride, std::uint16_t* samples, std::uint8_t* row) const;
    void make_mosaic(const Task& task, const std::uint8_t* bytes, std::uint16_t* out,
                     std::int64_t stride, std::uint8_t* scratch, std::uint8_t* row) const;
    imgcnv_status make_yuv(const Task& task, const CoreCall& call, const std::uint8_t* bytes,
                           std::uint16_t* out, std::int64_t stride, std::uint8_t* scratch,
                           std::uint8_t* row) const;

    const Geometry& frame_;
    const Wish& wish_;
    const SourceRows& source_;
};

}  // namespace frames
