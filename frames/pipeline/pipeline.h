#pragma once

#include "pipeline/planner.h"
#include "pipeline/source_rows.h"
#include "pipeline/task.h"
#include "pipeline/thread_team.h"
#include "pipeline/wish.h"
#include "pipeline/worker.h"

#include <atomic>
#include <vector>

namespace frames {

/// Everything that converting frames of one description takes.
class Pipeline {
  public:
    Pipeline(const Geometry& frame, Wish wish)
        : frame_(frame), wish_(std::move(wish)), source_(frame_, wish_) {}

    imgcnv_status open(Text& text);
    imgcnv_status run(const void* source, std::size_t source_bytes, void* target,
                      std::size_t target_bytes, Text& text);
    void describe(imgcnv_picture_info& info) const;

  private:
    imgcnv_status check(const void* source, std::size_t source_bytes, const void* target,
                        std::size_t target_bytes, Text& text) const;
    imgcnv_status convert(const std::uint8_t* source, std::size_t source_bytes,
                          std::uint8_t* target, Text& text);
    imgcnv_status run_jobs(const std::uint8_t* source, std::uint8_t* target);
    const char* way() const;

    Geometry frame_;
    Wish wish_;
    SourceRows source_;
    Plan plan_;
    std::vector<Worker> workers_;
    ThreadTeam team_;
    std::atomic<bool> busy_{false};
    std::int64_t process_ = 0;  ///< whose threads these are
};

}  // namespace frames
