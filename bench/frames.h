// Frames to convert: noise, a photograph, or one colour.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "conversions.h"

namespace imgcnv::bench {

// Memory on a cache line of its own, in place before anything is timed.
class Buffer {
  public:
    explicit Buffer(size_t size);
    uint8_t* data() const { return bytes_.get(); }
    size_t size() const { return size_; }

  private:
    struct Free {
        void operator()(uint8_t* p) const;
    };
    size_t size_;
    std::unique_ptr<uint8_t, Free> bytes_;
};

struct Rgb {
    uint8_t red, green, blue;
};

// Where the pixels of a frame come from.
class Content {
  public:
    // "noise": random bytes. "photo": the photograph of the samples, or a
    // synthetic one where there is none. Anything else: a PNG file.
    static Content named(const std::string& name);
    // These pixels, mirrored to the size of a frame.
    static Content of(std::string description, Size tile, std::shared_ptr<Rgb[]> pixels);

    // What it is, for the head of a report.
    const std::string& description() const { return description_; }

    // `rows` of the format, `padding` bytes after each.
    void fill(const SourceFormat& format, Size size, int padding, uint8_t* bytes,
              size_t count) const;

  private:
    Rgb at(int x, int y) const;

    std::string description_;
    Size tile_{0, 0};  // 0x0: noise
    std::shared_ptr<Rgb[]> pixels_;
};

struct Frame {
    Record record;
    Buffer bytes;

    Frame(const SourceFormat& format, Size size, const Content& content, int padding = 0);
};

// A frame, its destination and everything else one conversion needs, opened.
// Whoever runs it forces a level before.
class Job {
  public:
    Job(const Conversion& conversion, Size size, const Content& content, int padding = 0);
    ~Job();
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;

    // Through the open handle, or the function of the flip or rotation.
    void run() {
        if (orient_ != nullptr) {
            Record record = frame_.record;  // rotations by 90 degrees change it
            int size = 0;
            status_ |= orient_(frame_.bytes.data(), &record, destination_.data(), &size);
        } else {
            status_ |= IMGCNV_convert(handle_, frame_.bytes.data(), destination_.data());
        }
    }
    bool succeeded() const { return status_ == IMGCNV_SUCCESS; }

    const Frame& frame() const { return frame_; }
    const Buffer& destination() const { return destination_; }
    // What is read and written; padding between rows does not count.
    size_t source_bytes() const { return source_bytes_; }

  private:
    Frame frame_;
    Buffer destination_;
    size_t source_bytes_;
    OrientFunction orient_;
    IMGCNV_HANDLE handle_ = nullptr;
    int status_ = IMGCNV_SUCCESS;
};

}  // namespace imgcnv::bench
