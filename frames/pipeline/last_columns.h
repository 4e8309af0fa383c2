#pragma once

#include "pipeline/rectangle.h"
#include "pipeline/source_rows.h"
#include "pipeline/wish.h"

namespace frames {

/// The last columns of a mosaic of odd width, as 8-bit pixels. A call of libimgcnv for so narrow a
/// frame takes longer per row than the few pixels do.
class LastColumns {
  public:
    static constexpr std::int64_t kMostRows = 256;

    LastColumns(const Geometry& frame, const Wish& wish, const SourceRows& source)
        : frame_(frame), wish_(wish), source_(source) {}

    /// Bytes that make() needs at `samples`.
    std::size_t scratch_bytes() const;

    /// Makes the pixels of `keep`, at most kMostRows rows up to the last column.
    ///
    ///   out  the first of them, in a picture of the wish's stride
    ///   row  as SourceRows needs it
    void make(const Rectangle& keep, const std::uint8_t* bytes, std::uint8_t* out,
              std::uint8_t* samples, std::uint8_t* row) const;

  private:
    const Geometry& frame_;
    const Wish& wish_;
    const SourceRows& source_;
};

}  // namespace frames
