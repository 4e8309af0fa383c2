#pragma once

#include "io/output_file.h"
#include "picture/encode.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>

namespace tool {

/// Lets workers write to one file in the order of the frames.
class OrderedFile {
  public:
    OrderedFile(const std::string& path, Existing existing) : file_(path, existing) {}

    /// Waits for its turn; null leaves the turn to the next. Throws Failure.
    void write(std::int64_t sequence, const EncodedFile* picture) {
        std::unique_lock lock(lock_);
        turn_.wait(lock, [&] { return next_ == sequence; });
        // Whoever fails leaves its turn to the next all the same.
        struct Leave {
            OrderedFile& file;
            ~Leave() {
                ++file.next_;
                file.turn_.notify_all();
            }
        } leave{*this};
        if (picture == nullptr || broken_) return;
        broken_ = true;
        file_.write(picture->head);
        file_.write(picture->body);
        broken_ = false;
    }

    void commit() { file_.commit(); }

  private:
    OutputFile file_;
    std::mutex lock_;
    std::condition_variable turn_;
    std::int64_t next_ = 0;
    bool broken_ = false;
};

}  // namespace tool
