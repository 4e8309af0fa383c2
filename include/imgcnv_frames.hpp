/*
 * imgcnv_frames.hpp - the C++20 face of imgcnv_frames.h. Header only: link libimgcnv_frames.
 *
 *     auto frame = imgcnv::RawFrame::of("BayerRG12Packed", 1920, 1080);
 *     if (!frame) return fail(frame.error().text);
 *     auto pipeline = imgcnv::Pipeline::open(*frame, {.kind = IMGCNV_TARGET_BGR24});
 *     if (!pipeline) return fail(pipeline.error().text);
 *     std::vector<std::uint8_t> picture(pipeline->bytes());
 *     if (auto done = pipeline->run(camera_bytes, picture); !done) return fail(done.error().text);
 *
 * Formats, sizes, checks and texts are the engine's; numbers, flags and statuses have the names
 * that imgcnv_frames.h gives them, and what it says of them holds here.
 *
 * Sources and pictures are contiguous ranges (std::span, std::vector, std::array ...) of std::byte,
 * std::uint8_t or std::uint16_t, whatever the format: the engine sees bytes.
 *
 * Errors come back as Result<T, Failure>; a call that returns one has written nothing. No exception
 * is thrown unless value() is called on an error. (std::bad_alloc may leave functions that return
 * a vector or make a text.) The header also compiles with -fno-exceptions, where value() on an
 * error ends the program.
 *
 * Threads: distinct pipelines on distinct threads are fine; a pipeline that is at work on another
 * thread answers IMGCNV_BUSY. What is not a member of Pipeline may be called on any thread.
 */
#ifndef IMGCNV_FRAMES_HPP
#define IMGCNV_FRAMES_HPP

#if __cplusplus < 202002L
#error \
    "imgcnv's C++ headers need C++20: compile with -std=c++20 or newer, or use imgcnv_frames.h or imgcnv.h"
#endif

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "imgcnv_frames.h"

namespace imgcnv {

/* ------------------------------------------------------------------------- */
/* Results                                                                    */
/* ------------------------------------------------------------------------- */

// Why the engine refused: what was expected, what was given, what to do.
struct Failure {
    imgcnv_status status = IMGCNV_BAD_ARGUMENT;
    std::string text = {};

    friend bool operator==(const Failure&, const Failure&) = default;
};

inline std::string to_string(const Failure& failure) { return failure.text; }

// What value() throws.
template <class E>
class BadResultOf : public std::runtime_error {
  public:
    explicit BadResultOf(const E& error)
        : std::runtime_error("imgcnv: " + to_string(error)), error_(error) {}
    const E& error() const noexcept { return error_; }

  private:
    E error_;
};

// A value, or the error that kept it from being made.
template <class T, class E>
class [[nodiscard]] Result {
  public:
    Result(T value) : state_(std::in_place_index<0>, std::move(value)) {}
    Result(E error) : state_(std::in_place_index<1>, std::move(error)) {}

    bool has_value() const noexcept { return state_.index() == 0; }
    explicit operator bool() const noexcept { return has_value(); }

    // The value; throws BadResultOf<E> when there is none.
    T& value() & { return check(), **this; }
    const T& value() const& { return check(), **this; }
    T&& value() && { return check(), std::move(**this); }

    // The value, which must be there.
    T& operator*() & noexcept { return *std::get_if<0>(&state_); }
    const T& operator*() const& noexcept { return *std::get_if<0>(&state_); }
    T&& operator*() && noexcept { return std::move(*std::get_if<0>(&state_)); }
    T* operator->() noexcept { return std::get_if<0>(&state_); }
    const T* operator->() const noexcept { return std::get_if<0>(&state_); }

    // The error; its status is 0, success, when there is a value.
    E error() const {
        const E* error = std::get_if<1>(&state_);
        return error != nullptr ? *error : E{decltype(E::status){}};
    }

  private:
    void check() const {
        if (has_value()) return;
#ifdef __cpp_exceptions
        throw BadResultOf<E>(error());
#else
        std::abort();
#endif
    }

    std::variant<T, E> state_;
};

namespace detail {

// Calls the engine with room for its text.
template <class Call>
std::optional<Failure> failure_of(Call call) {
    char text[IMGCNV_TEXT_BYTES];
    text[0] = '\0';
    const int status = call(text, sizeof text);
    if (status == IMGCNV_OK) return std::nullopt;
    return Failure{static_cast<imgcnv_status>(status), text};
}

template <class T>
concept Element =
    std::same_as<T, std::byte> || std::same_as<T, std::uint8_t> || std::same_as<T, std::uint16_t>;

// The elements of a range, const where they may only be read.
template <class Range>
using ElementOf = typename decltype(std::span(std::declval<Range>()))::element_type;

template <class Range>
concept Readable = Element<std::remove_const_t<ElementOf<const Range&>>>;

template <class Range>
concept Writable = Element<ElementOf<Range>>;

// Empty ranges may have no address, which the engine would take for a mistake.
template <Readable Source>
std::span<const std::byte> bytes_of(const Source& source) {
    static constexpr std::byte nothing{};
    const auto bytes = std::as_bytes(std::span(source));
    return bytes.empty() ? std::span(&nothing, 0) : bytes;
}

}  // namespace detail

/* ------------------------------------------------------------------------- */
/* Formats and frames                                                         */
/* ------------------------------------------------------------------------- */

// All formats.
inline std::vector<imgcnv_format_info> formats() {
    std::vector<imgcnv_format_info> rows(static_cast<std::size_t>(imgcnv_format_count()));
    for (std::size_t i = 0; i < rows.size(); ++i) {
        rows[i].struct_size = sizeof rows[i];
        imgcnv_format_at(static_cast<int>(i), &rows[i]);
    }
    return rows;
}

// Where the pixels of a frame lie, and where frames lie in a file: imgcnv_frame.
struct RawFrame {
    std::uint32_t format = 0;  // a code of the table
    std::int64_t width = 0;    // pixels per row
    std::int64_t height = 0;   // rows
    std::int64_t stride = 0;   // bytes from row to row; 0: rows follow each other
    std::uint32_t flags = 0;   // IMGCNV_FRAME_...
    std::int64_t skip = 0;     // bytes of a file before its first frame
    std::int64_t gap = 0;      // bytes of a file after each frame

    // A frame whose format goes by any of its names ("BayerRG12Packed", "SRGGB8", "GRAY16_BE",
    // "0x01080009"); flags are those that the name implies.
    static Result<RawFrame, Failure> of(std::string_view format, std::int64_t width,
                                        std::int64_t height, std::int64_t stride = 0) {
        RawFrame frame{.width = width, .height = height, .stride = stride};
        const std::string name(format);
        if (auto failure = detail::failure_of([&](char* text, std::size_t bytes) {
                return imgcnv_find_format(name.c_str(), &frame.format, &frame.flags, text, bytes);
            })) {
            return *std::move(failure);
        }
        return frame;
    }

    // For calls of imgcnv_frames.h.
    imgcnv_frame c_frame() const {
        return {sizeof(imgcnv_frame), format, flags, width, height, stride, skip, gap};
    }

    friend bool operator==(const RawFrame&, const RawFrame&) = default;
};

// The row of the table that has this name or code.
inline Result<imgcnv_format_info, Failure> find_format(std::string_view name) {
    const auto frame = RawFrame::of(name, 0, 0);
    if (!frame) return frame.error();
    imgcnv_format_info info{};
    info.struct_size = sizeof info;
    imgcnv_format_of_code(frame->format, &info);
    return info;
}

// Checks a frame and computes its sizes.
inline Result<imgcnv_frame_sizes, Failure> measure(const RawFrame& frame) {
    imgcnv_frame_sizes sizes{};
    sizes.struct_size = sizeof sizes;
    const imgcnv_frame described = frame.c_frame();
    if (auto failure = detail::failure_of([&](char* text, std::size_t bytes) {
            return imgcnv_frame_measure(&described, &sizes, text, bytes);
        })) {
        return *std::move(failure);
    }
    return sizes;
}

/* ------------------------------------------------------------------------- */
/* Targets                                                                    */
/* ------------------------------------------------------------------------- */

// Black, white, gains and tone curve: imgcnv_levels. 0 means "the usual".
struct Levels {
    double black = 0;
    double white = 0;
    double red_gain = 0;
    double green_gain = 0;
    double blue_gain = 0;
    double gamma = 0;
    double contrast = 0;
    // For red, green and blue, instead of gamma and contrast.
    std::optional<std::array<std::uint8_t, 3 * 256>> curve = {};

    imgcnv_levels c_levels() const {  // holds a pointer to this curve
        return {sizeof(imgcnv_levels),
                black,
                white,
                red_gain,
                green_gain,
                blue_gain,
                gamma,
                contrast,
                curve ? curve->data() : nullptr};
    }
};

// The picture that is wanted: imgcnv_target.
struct Target {
    imgcnv_target_kind kind = IMGCNV_TARGET_RGB24;
    imgcnv_demosaic demosaic = IMGCNV_BILINEAR;
    int rotation = 0;         // clockwise: 0, 90, 180, 270
    std::uint32_t flags = 0;  // IMGCNV_TARGET_...
    int threads = 1;          // 0: as many as pay
    std::int64_t stride = 0;  // bytes from row to row; 0: rows follow each other. Bytes between
                              // rows are never touched.
    std::optional<Levels> levels = {};
};

/* ------------------------------------------------------------------------- */
/* Pipelines                                                                  */
/* ------------------------------------------------------------------------- */

// The conversion of frames of one kind to pictures of one kind. A pipeline that was moved from may
// only be assigned to or destroyed; running it gives IMGCNV_BAD_ARGUMENT.
class Pipeline {
  public:
    static Result<Pipeline, Failure> open(const RawFrame& frame, const Target& target = {}) {
        const imgcnv_frame source = frame.c_frame();
        const imgcnv_levels levels = target.levels ? target.levels->c_levels() : imgcnv_levels{};
        const imgcnv_target wanted{sizeof(imgcnv_target), target.kind,
                                   target.demosaic,       target.rotation,
                                   target.flags,          target.threads,
                                   target.stride,         target.levels ? &levels : nullptr};
        imgcnv_pipeline* handle = nullptr;
        if (auto failure = detail::failure_of([&](char* text, std::size_t bytes) {
                return imgcnv_pipeline_open(&source, &wanted, &handle, text, bytes);
            })) {
            return *std::move(failure);
        }
        return Pipeline(handle);
    }

    // Width, height, stride ... of the picture.
    const imgcnv_picture_info& picture() const noexcept { return picture_; }

    // Bytes that the picture takes, from its first pixel to its last.
    std::size_t bytes() const noexcept { return static_cast<std::size_t>(picture_.picture_bytes); }

    // Converts one frame into memory of the caller, which may be longer than bytes(), and returns
    // the part of it that the picture takes.
    template <detail::Readable Source, detail::Writable Picture>
    Result<std::span<detail::ElementOf<Picture>>, Failure> run(const Source& source,
                                                               Picture&& picture) {
        const auto from = detail::bytes_of(source);
        const std::span<detail::ElementOf<Picture>> to(picture);
        if (auto failure = detail::failure_of([&](char* text, std::size_t bytes) {
                return imgcnv_pipeline_run(handle_.get(), from.data(), from.size(), to.data(),
                                           to.size_bytes(), text, bytes);
            })) {
            return *std::move(failure);
        }
        return to.first(elements<detail::ElementOf<Picture>>());
    }

    // Converts one frame into a new vector: run(source), run<std::uint16_t>(source). Bytes between
    // rows are 0. Costs an allocation and a fill; the form above costs neither.
    template <detail::Element Element = std::uint8_t, detail::Readable Source>
    Result<std::vector<Element>, Failure> run(const Source& source) {
        std::vector<Element> picture(elements<Element>());
        if (auto done = run(source, picture); !done) return done.error();
        return picture;
    }

  private:
    struct Close {
        void operator()(imgcnv_pipeline* pipeline) const { imgcnv_pipeline_close(pipeline); }
    };

    explicit Pipeline(imgcnv_pipeline* handle) : handle_(handle) {
        picture_.struct_size = sizeof picture_;
        imgcnv_pipeline_describe(handle, &picture_);
    }

    template <class Element>
    std::size_t elements() const {
        return (bytes() + sizeof(Element) - 1) / sizeof(Element);
    }

    std::unique_ptr<imgcnv_pipeline, Close> handle_;
    imgcnv_picture_info picture_{};
};

// Opens, converts, closes. For more than one frame of a kind keep a Pipeline.
template <detail::Element Element = std::uint8_t, detail::Readable Source>
Result<std::vector<Element>, Failure> convert(const RawFrame& frame, const Target& target,
                                              const Source& source) {
    auto pipeline = Pipeline::open(frame, target);
    if (!pipeline) return pipeline.error();
    return pipeline->template run<Element>(source);
}

/* ------------------------------------------------------------------------- */
/* What a frame tells of itself                                               */
/* ------------------------------------------------------------------------- */

// Levels that make a frame look right; they may be used again for later frames.
template <detail::Readable Source>
Result<Levels, Failure> auto_levels(const RawFrame& frame, const Source& source) {
    const imgcnv_frame described = frame.c_frame();
    const auto from = detail::bytes_of(source);
    imgcnv_levels found = IMGCNV_LEVELS_INIT;
    if (auto failure = detail::failure_of([&](char* text, std::size_t bytes) {
            return imgcnv_auto_levels(&described, from.data(), from.size(), &found, text, bytes);
        })) {
        return *std::move(failure);
    }
    return Levels{found.black,     found.white, found.red_gain, found.green_gain,
                  found.blue_gain, found.gamma, found.contrast};
}

// One way to read data of unknown format: imgcnv_reading.
struct Reading {
    RawFrame frame;
    std::int64_t frames = 0;
    double score = 0;     // 0 to 1: how much likelier than the others
    std::string unknown;  // what the data cannot tell
};

struct Guess {
    std::vector<Reading> readings;  // the best first
    std::string note;               // what else the data could be; empty if nothing
};

// Ranks at most `most` ways to read data. `known` holds what is known of the frame: 0, and -1 for
// skip and gap, is what is not. `name` is that of the file, for hints in it.
template <detail::Readable Source>
Result<Guess, Failure> guess(const Source& source, const RawFrame& known = {.skip = -1, .gap = -1},
                             const std::string& name = {}, std::size_t most = 8) {
    const auto data = detail::bytes_of(source);
    imgcnv_guess_question question{};
    question.struct_size = sizeof question;
    question.data = data.data();
    question.bytes = static_cast<std::int64_t>(data.size());
    question.known = known.c_frame();
    question.name = name.empty() ? nullptr : name.c_str();

    imgcnv_reading room{};
    room.struct_size = sizeof room;
    std::vector<imgcnv_reading> found(most, room);
    int count = 0;
    char text[IMGCNV_TEXT_BYTES] = "";
    const int status =
        imgcnv_guess(&question, found.data(), static_cast<int>(most), &count, text, sizeof text);
    if (status != IMGCNV_OK) return Failure{static_cast<imgcnv_status>(status), text};
    Guess guess{{}, text};
    for (const imgcnv_reading& r : std::span(found).first(static_cast<std::size_t>(count))) {
        const imgcnv_frame& f = r.frame;
        guess.readings.push_back({{f.format, f.width, f.height, f.stride, f.flags, f.skip, f.gap},
                                  r.frames,
                                  r.score,
                                  r.unknown});
    }
    return guess;
}

}  // namespace imgcnv

#endif  // IMGCNV_FRAMES_HPP
