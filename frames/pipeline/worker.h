#pragma once

#include "pipeline/last_columns.h"
#include "pipeline/source_rows.h"
#include "pipeline/task.h"
#include "pipeline/wide.h"
#include "pipeline/wish.h"

#include <memory>
#include <vector>

namespace frames {

/// Memory that is not filled first; a failed allocation throws std::bad_alloc like any other.
class Scratch {
  public:
    void need(std::size_t bytes) { bytes_ = bytes > bytes_ ? bytes : bytes_; }
    void allocate() { memory_.reset(new Line[bytes_ / sizeof(Line) + 1]); }
    std::uint8_t* get() const { return memory_[0].bytes; }

  private:
    struct alignas(64) Line {  ///< of a cache
        std::uint8_t bytes[64];
    };

    std::size_t bytes_ = 0;
    std::unique_ptr<Line[]> memory_;
};

/// Does the tasks of one thread, with core calls and scratch memory of its own.
class Worker {
  public:
    Worker(const Geometry& frame, const Wish& wish, const SourceRows& source)
        : frame_(frame),
          wish_(wish),
          source_(source),
          wide_(frame, wish, source),
          columns_(frame, wish, source) {}

    /// Opens the calls and allocates what the tasks need.
    imgcnv_status prepare(const Job& job);
    imgcnv_status run(const std::vector<Task>& tasks, const std::uint8_t* source,
                      std::uint8_t* target) const;

  private:
    void reserve(const Task& task);
    imgcnv_status run_task(const Task& task, const std::uint8_t* source,
                           std::uint8_t* target) const;
    imgcnv_status make(const Task& task, const std::uint8_t* source, std::uint8_t* out,
                       std::int64_t stride) const;
    imgcnv_status make_wide(const Task& task, const std::uint8_t* source,
                            std::uint8_t* target) const;
    void finish(const Task& task, const std::uint8_t* source, std::uint8_t* pixels,
                std::int64_t stride) const;
    void stream(const Task& task, const std::uint8_t* pixels, std::uint8_t* target) const;
    std::int64_t out_width(const Task& task) const;
    bool finishes() const { return wish_.has_alpha() || !wish_.curve.empty(); }

    const Geometry& frame_;
    const Wish& wish_;
    const SourceRows& source_;
    WidePicture wide_;
    LastColumns columns_;
    std::vector<CoreCall> calls_;
    Scratch samples_, row_, pixels_, turned_;
};

}  // namespace frames
