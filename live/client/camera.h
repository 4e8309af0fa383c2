#pragma once

#include "client/options.h"

#include <arv.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace live {

struct Unref {
    template <typename T>
    void operator()(T* object) const {
        g_object_unref(object);
    }
};

/// A frame in a buffer of the stream, which gets it back when this is destroyed.
class Grabbed {
  public:
    Grabbed() = default;
    Grabbed(ArvStream* stream, ArvBuffer* buffer) : stream_(stream), buffer_(buffer) {}
    Grabbed(Grabbed&& other) noexcept
        : stream_(other.stream_), buffer_(std::exchange(other.buffer_, nullptr)) {}
    Grabbed& operator=(Grabbed&& other) noexcept {
        std::swap(stream_, other.stream_);
        std::swap(buffer_, other.buffer_);
        return *this;
    }
    ~Grabbed() {
        if (buffer_) arv_stream_push_buffer(stream_, buffer_);
    }

    explicit operator bool() const { return buffer_ != nullptr; }

    bool is_complete() const { return status() == ARV_BUFFER_STATUS_SUCCESS; }
    /// The camera sends more bytes than it said it would.
    bool is_outgrown() const { return status() == ARV_BUFFER_STATUS_SIZE_MISMATCH; }
    bool has_image() const { return arv_buffer_get_n_parts(buffer_) > 0; }

    /// Throws Failure for a format that the engine does not know.
    imgcnv_frame frame() const;
    const void* data(std::size_t& bytes) const {
        return arv_buffer_get_part_data(buffer_, 0, &bytes);
    }

  private:
    ArvBufferStatus status() const { return arv_buffer_get_status(buffer_); }

    ArvStream* stream_ = nullptr;
    ArvBuffer* buffer_ = nullptr;
};

/// A streaming camera.
class Camera {
  public:
    /// Connects, sets what the options say, starts. Throws Failure.
    Camera(const std::string& id, const Options& options);
    ~Camera();
    Camera(const Camera&) = delete;
    Camera& operator=(const Camera&) = delete;

    bool is_lost() const { return is_lost_; }

    /// The oldest frame that waits; none when the time is over.
    Grabbed next(std::chrono::milliseconds timeout);
    bool has_waiting() const;

    std::uint64_t missing_packets() const;

  private:
    void set(const Options& options);
    void start(int buffers);

    std::unique_ptr<ArvCamera, Unref> camera_;
    std::unique_ptr<ArvStream, Unref> stream_;
    std::atomic<bool> is_lost_ = false;
};

struct Found {
    std::string id, address, vendor, model, serial, protocol;
};
std::vector<Found> cameras_that_answer();

/// What to do when no camera answers: where it was looked for, and how to get one.
std::string no_camera_advice();

}  // namespace live
