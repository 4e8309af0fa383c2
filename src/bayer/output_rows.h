// Where the kernels write a piece of an output row: straight to the destination,
// or to a buffer from which it is streamed.
#pragma once

#include "bayer/bayer_frame.h"

namespace imgcnv {

template <size_t kRows>
class OutputRows {
  public:
    explicit OutputRows(const BayerFrame& frame) : frame_(frame) {}

    // Where to write pixels of row y from column x on, at most kStreamedColumns
    // of them.
    uint8_t* begin(size_t y, size_t x, size_t buffer = 0) {
        return frame_.streaming ? buffers_[buffer] : frame_.dst(y, x);
    }
    // They are written.
    void end(size_t y, size_t x, size_t pixels, size_t buffer = 0) {
        if (!frame_.streaming) return;
        frame_.kernels->stream(buffers_[buffer], frame_.dst(y, x), pixels * frame_.dst_bytes);
    }

  private:
    const BayerFrame& frame_;
    alignas(64) uint8_t buffers_[kRows][kStreamedColumns * 4];
};

}  // namespace imgcnv
