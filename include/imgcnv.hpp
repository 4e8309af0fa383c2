/*
 * imgcnv.hpp - the C++20 face of imgcnv.h and, through imgcnv_frames.hpp, of imgcnv_frames.h.
 * Header only. For whole pictures of all formats take imgcnv::Pipeline (see imgcnv_frames.hpp; link
 * libimgcnv_frames). imgcnv::Converter, below, is for those who need exactly what libimgcnv does
 * with its thirty formats; it needs libimgcnv, nothing else.
 *
 *     imgcnv::Frame frame{imgcnv::PixelFormat::BayerRG8, 640, 480};
 *     auto converter = imgcnv::Converter::open(frame, imgcnv::Destination::RGB24);
 *     if (!converter) return fail(to_string(converter.error()));
 *     std::vector<std::uint8_t> picture(converter->layout().size);
 *     if (auto done = converter->convert(camera_bytes, picture); !done) ...
 *
 * What the C functions leave to the caller is done or checked here: buffer sizes
 * (the extra row of an odd Bayer height, whole YUV groups, the formats without
 * a reported size), row lengths, overlap, the positions in a Mono1C list. A call
 * that returns an error has written nothing.
 *
 * Errors come back as Result<T>; no exception is thrown unless value() is
 * called on an error. (std::bad_alloc may leave the functions that return a
 * vector or a string.) The header also compiles with -fno-exceptions, where
 * value() on an error ends the program.
 *
 * Threads: as in imgcnv.h. Distinct converters on distinct threads are fine;
 * one converter on two threads at once is not.
 */
#ifndef IMGCNV_HPP
#define IMGCNV_HPP

#if __cplusplus < 202002L
#error \
    "imgcnv.hpp needs C++20: compile with -std=c++20 or newer, or use imgcnv.h, which is C99 and C++11"
#endif

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "imgcnv.h"
#include "imgcnv_frames.hpp"  // Result; nothing of libimgcnv_frames is called

namespace imgcnv {

/* ------------------------------------------------------------------------- */
/* Vocabulary                                                                 */
/* ------------------------------------------------------------------------- */

// Source formats; the values are the codes of imgcnv.h.
enum class PixelFormat : std::int32_t {
    Mono1p = IMGCNV_PIXEL_MONO1P,
    Mono4p = IMGCNV_PIXEL_MONO4P,
    Mono8 = IMGCNV_PIXEL_MONO8,
    Mono10 = IMGCNV_PIXEL_MONO10,
    Mono10Packed = IMGCNV_PIXEL_MONO10_PACKED,
    Mono12 = IMGCNV_PIXEL_MONO12,
    Mono12Packed = IMGCNV_PIXEL_MONO12_PACKED,
    Mono16 = IMGCNV_PIXEL_MONO16,
    RGB8Packed = IMGCNV_PIXEL_RGB8_PACKED,
    BGR8Packed = IMGCNV_PIXEL_BGR8_PACKED,
    BayerRG8 = IMGCNV_PIXEL_BAYER_RG8,
    BayerGB8 = IMGCNV_PIXEL_BAYER_GB8,
    BayerBG8 = IMGCNV_PIXEL_BAYER_BG8,
    BayerRG10 = IMGCNV_PIXEL_BAYER_RG10,
    BayerGB10 = IMGCNV_PIXEL_BAYER_GB10,
    BayerBG10 = IMGCNV_PIXEL_BAYER_BG10,
    BayerRG12 = IMGCNV_PIXEL_BAYER_RG12,
    BayerGB12 = IMGCNV_PIXEL_BAYER_GB12,
    BayerBG12 = IMGCNV_PIXEL_BAYER_BG12,
    BayerRG10Packed = IMGCNV_PIXEL_BAYER_RG10_PACKED,
    BayerGB10Packed = IMGCNV_PIXEL_BAYER_GB10_PACKED,
    BayerBG10Packed = IMGCNV_PIXEL_BAYER_BG10_PACKED,
    BayerRG12Packed = IMGCNV_PIXEL_BAYER_RG12_PACKED,
    BayerGB12Packed = IMGCNV_PIXEL_BAYER_GB12_PACKED,
    BayerBG12Packed = IMGCNV_PIXEL_BAYER_BG12_PACKED,
    YUV411Packed = IMGCNV_PIXEL_YUV411_PACKED,
    YUV422Packed = IMGCNV_PIXEL_YUV422_PACKED,
    YUV422_YUYV_Packed = IMGCNV_PIXEL_YUV422_YUYV_PACKED,
    YUV444Packed = IMGCNV_PIXEL_YUV444_PACKED,
    Mono1C = IMGCNV_PIXEL_MONO1C,
};

// Destination formats: 1, 3, 3, 4 and 4 bytes per pixel, in the order of the name; alpha is 0.
enum class Destination : std::int32_t {
    Mono8 = IMGCNV_PIXEL_MONO8,
    RGB24 = IMGCNV_PIXEL_RGB8_PACKED,
    BGR24 = IMGCNV_PIXEL_BGR8_PACKED,
    RGBA32 = IMGCNV_PIXEL_RGBA8_PACKED,
    BGRA32 = IMGCNV_PIXEL_BGRA8_PACKED,
};

// How a Bayer mosaic becomes colour; other sources ignore it.
enum class Demosaic : std::int32_t {
    Nearest = IMGCNV_DEMOSAIC_NEAREST,
    Bilinear = IMGCNV_DEMOSAIC_BILINEAR,
    Adaptive = IMGCNV_DEMOSAIC_ADAPTIVE,
};

// Mirrors and turns of a converted picture. Rotate90 is clockwise.
enum class Turn { FlipHorizontal, FlipVertical, Rotate90, Rotate180, Rotate270 };

// The library's own statuses, then what this header finds before calling it.
enum class Status : std::int32_t {
    Success = IMGCNV_SUCCESS,
    IllegalParam = IMGCNV_ILLEGAL_PARAM,
    ErrOrder = IMGCNV_ERR_ORDER,  // also: the converter was moved from
    NoMemory = IMGCNV_NO_MEMORY,
    NotSupport = IMGCNV_NOT_SUPPORT,

    BadDestination = 100,  // no value of Destination, or not one that Turn takes
    BadDemosaic,           // no value of Demosaic
    BadTurn,               // no value of Turn
    BadWidth,              // < 1, or so small that no pixel comes out
    BadHeight,             // < 1
    BadPadding,            // negative, or with a format whose rows have none
    TooLarge,              // a size passes the library's 2^31 - 1 bytes
    SourceTooSmall,
    DestinationTooSmall,
    Overlap,   // source and destination share bytes
    BadPoint,  // a Mono1C point outside the picture, or a cut one
};

namespace detail {

enum class Kind : std::uint8_t {
    stream,  // pixels without row alignment
    rows,    // rows of whole groups; a partial group at the row's end is left out
    yuv,     // rows of whole groups; a partial group is filled up
    bayer,   // as rows, with a destination row more when the height is odd
    points,  // Mono1C
};

struct Format {
    PixelFormat format;
    std::string_view name;
    Kind kind;
    std::uint8_t group_pixels;  // the least number of pixels that fills whole bytes
    std::uint8_t group_bytes;
};

inline constexpr std::array<Format, 30> formats{{
    {PixelFormat::Mono1p, "Mono1p", Kind::stream, 8, 1},
    {PixelFormat::Mono4p, "Mono4p", Kind::stream, 2, 1},
    {PixelFormat::Mono8, "Mono8", Kind::rows, 1, 1},
    {PixelFormat::Mono10, "Mono10", Kind::rows, 1, 2},
    {PixelFormat::Mono10Packed, "Mono10Packed", Kind::rows, 2, 3},
    {PixelFormat::Mono12, "Mono12", Kind::rows, 1, 2},
    {PixelFormat::Mono12Packed, "Mono12Packed", Kind::rows, 2, 3},
    {PixelFormat::Mono16, "Mono16", Kind::rows, 1, 2},
    {PixelFormat::RGB8Packed, "RGB8Packed", Kind::rows, 1, 3},
    {PixelFormat::BGR8Packed, "BGR8Packed", Kind::rows, 1, 3},
    {PixelFormat::BayerRG8, "BayerRG8", Kind::bayer, 1, 1},
    {PixelFormat::BayerGB8, "BayerGB8", Kind::bayer, 1, 1},
    {PixelFormat::BayerBG8, "BayerBG8", Kind::bayer, 1, 1},
    {PixelFormat::BayerRG10, "BayerRG10", Kind::bayer, 1, 2},
    {PixelFormat::BayerGB10, "BayerGB10", Kind::bayer, 1, 2},
    {PixelFormat::BayerBG10, "BayerBG10", Kind::bayer, 1, 2},
    {PixelFormat::BayerRG12, "BayerRG12", Kind::bayer, 1, 2},
    {PixelFormat::BayerGB12, "BayerGB12", Kind::bayer, 1, 2},
    {PixelFormat::BayerBG12, "BayerBG12", Kind::bayer, 1, 2},
    {PixelFormat::BayerRG10Packed, "BayerRG10Packed", Kind::bayer, 2, 3},
    {PixelFormat::BayerGB10Packed, "BayerGB10Packed", Kind::bayer, 2, 3},
    {PixelFormat::BayerBG10Packed, "BayerBG10Packed", Kind::bayer, 2, 3},
    {PixelFormat::BayerRG12Packed, "BayerRG12Packed", Kind::bayer, 2, 3},
    {PixelFormat::BayerGB12Packed, "BayerGB12Packed", Kind::bayer, 2, 3},
    {PixelFormat::BayerBG12Packed, "BayerBG12Packed", Kind::bayer, 2, 3},
    {PixelFormat::YUV411Packed, "YUV411Packed", Kind::yuv, 4, 6},
    {PixelFormat::YUV422Packed, "YUV422Packed", Kind::yuv, 2, 4},
    {PixelFormat::YUV422_YUYV_Packed, "YUV422_YUYV_Packed", Kind::yuv, 2, 4},
    {PixelFormat::YUV444Packed, "YUV444Packed", Kind::yuv, 1, 3},
    {PixelFormat::Mono1C, "Mono1C", Kind::points, 1, 4},
}};

constexpr const Format* find(PixelFormat format) {
    for (const Format& f : formats) {
        if (f.format == format) return &f;
    }
    return nullptr;
}

constexpr std::int64_t begun_groups(const Format& format, std::int64_t width) {
    return (width + format.group_pixels - 1) / format.group_pixels;
}

// Bytes of the pixels of one row. The last pixel of an odd width takes two bytes of the three
// that pairs have.
constexpr std::int64_t row_bytes(const Format& format, std::int64_t width) {
    if (format.kind == Kind::yuv) return begun_groups(format, width) * format.group_bytes;
    return (width * format.group_bytes + format.group_pixels - 1) / format.group_pixels;
}

// Bytes of the groups that the width does not cut.
constexpr std::int64_t whole_group_bytes(const Format& format, std::int64_t width) {
    return width / format.group_pixels * format.group_bytes;
}

constexpr auto list_formats() {
    std::array<PixelFormat, formats.size()> list{};
    for (std::size_t i = 0; i < list.size(); ++i) list[i] = formats[i].format;
    return list;
}

}  // namespace detail

// All formats a frame may have.
inline constexpr std::array<PixelFormat, 30> source_formats = detail::list_formats();

// Bytes of one destination pixel; 0 for a value that is not a destination.
constexpr int bytes_per_pixel(Destination destination) {
    switch (destination) {
        case Destination::Mono8:
            return 1;
        case Destination::RGB24:
        case Destination::BGR24:
            return 3;
        case Destination::RGBA32:
        case Destination::BGRA32:
            return 4;
    }
    return 0;
}

// The names of the pixel format naming convention, as BayerRG12Packed.
constexpr std::string_view to_string(PixelFormat format) {
    const detail::Format* found = detail::find(format);
    return found != nullptr ? found->name : "unknown pixel format";
}

// The format of that name, in exactly that spelling.
constexpr std::optional<PixelFormat> pixel_format_from_string(std::string_view name) {
    for (const detail::Format& f : detail::formats) {
        if (f.name == name) return f.format;
    }
    return std::nullopt;
}

constexpr std::string_view to_string(Destination destination) {
    switch (destination) {
        case Destination::Mono8:
            return "Mono8";
        case Destination::RGB24:
            return "RGB24";
        case Destination::BGR24:
            return "BGR24";
        case Destination::RGBA32:
            return "RGBA32";
        case Destination::BGRA32:
            return "BGRA32";
    }
    return "unknown destination";
}

constexpr std::string_view to_string(Demosaic demosaic) {
    switch (demosaic) {
        case Demosaic::Nearest:
            return "nearest";
        case Demosaic::Bilinear:
            return "bilinear";
        case Demosaic::Adaptive:
            return "adaptive";
    }
    return "unknown demosaic method";
}

constexpr std::string_view to_string(Status status) {
    switch (status) {
        case Status::Success:
            return "success";
        case Status::IllegalParam:
            return "a pointer, size or image content is invalid";
        case Status::ErrOrder:
            return "the converter is not open";
        case Status::NoMemory:
            return "out of memory";
        case Status::NotSupport:
            return "not a source pixel format";
        case Status::BadDestination:
            return "not a possible destination format";
        case Status::BadDemosaic:
            return "not a demosaic method";
        case Status::BadTurn:
            return "not a mirror or turn";
        case Status::BadWidth:
            return "width too small";
        case Status::BadHeight:
            return "height too small";
        case Status::BadPadding:
            return "row padding not possible here";
        case Status::TooLarge:
            return "more bytes than the library can count";
        case Status::SourceTooSmall:
            return "source too small";
        case Status::DestinationTooSmall:
            return "destination too small";
        case Status::Overlap:
            return "source and destination overlap";
        case Status::BadPoint:
            return "bad point in a Mono1C list";
    }
    return "unknown status";
}

/* ------------------------------------------------------------------------- */
/* Errors                                                                     */
/* ------------------------------------------------------------------------- */

// expected and given are in the unit of the check: bytes for the sizes, pixels for width and
// height; the least or (TooLarge, BadPadding, BadPoint) greatest value that would have done. Both
// are 0 when there is no number to tell.
struct Error {
    Status status = Status::IllegalParam;
    std::int64_t expected = 0;
    std::int64_t given = 0;

    friend bool operator==(const Error&, const Error&) = default;
};

// As "source too small (expected 540000, given 539999)".
inline std::string to_string(const Error& error) {
    std::string text(to_string(error.status));
    if (error.expected != error.given) {
        text += " (expected " + std::to_string(error.expected) + ", given " +
                std::to_string(error.given) + ")";
    }
    return text;
}

// Result<T> in this header is a value or this Error.
template <class T, class E = Error>
class Result;

using BadResult = BadResultOf<Error>;

/* ------------------------------------------------------------------------- */
/* Geometry                                                                   */
/* ------------------------------------------------------------------------- */

// One frame as a camera delivers it.
struct Frame {
    PixelFormat format = PixelFormat::Mono8;
    int width = 0;        // pixels
    int height = 0;       // rows
    int row_padding = 0;  // bytes after the pixels of each row; always 0 for Mono1p, Mono4p, Mono1C
};

// Where the picture lies in the destination buffer.
struct Layout {
    Destination format = Destination::Mono8;  // Mono8 for Mono1p and Mono1C, whatever was asked for
    int bytes_per_pixel = 1;
    int width = 0;  // pixels; one less than the frame's for two-pixels-in-three-bytes formats (not
                    // one-row Bayer) of odd width, which carry no last pixel
    int height = 0;
    std::size_t stride = 0;       // bytes from one row to the next; more than width pixels for
                                  // YUV groups cut by the width, and when RGB8 stays RGB24 or
                                  // BGR8 stays BGR24, which keeps the row padding
    std::size_t size = 0;         // bytes the destination buffer must have: the rows, and one row
                                  // more for Bayer frames of odd height above 1
    std::size_t source_size = 0;  // bytes the source must have; 0 for Mono1C lists

    // Bytes from the first pixel to the last.
    constexpr std::size_t picture_size() const {
        return stride * static_cast<std::size_t>(height - 1) +
               static_cast<std::size_t>(width) * static_cast<std::size_t>(bytes_per_pixel);
    }
};

// What converting such frames takes and gives, without opening a converter.
inline Result<Layout> layout(const Frame& frame, Destination destination) {
    using detail::Kind;
    constexpr std::int64_t most = std::numeric_limits<std::int32_t>::max();

    const detail::Format* format = detail::find(frame.format);
    if (format == nullptr) return Error{Status::NotSupport};
    const Kind kind = format->kind;
    if (bytes_per_pixel(destination) == 0) return Error{Status::BadDestination};
    if (frame.height < 1) return Error{Status::BadHeight, 1, frame.height};
    const bool one_row = frame.height == 1;
    const bool mosaic = kind == Kind::bayer && !one_row;
    const bool whole_groups_only = kind == Kind::rows || mosaic;
    // A mosaic of one column has no colour to take from beside it.
    const int least_width = mosaic ? 2 : whole_groups_only ? format->group_pixels : 1;
    if (frame.width < least_width) return Error{Status::BadWidth, least_width, frame.width};
    const bool padded_rows = kind != Kind::stream && kind != Kind::points;
    if (frame.row_padding < 0 || (frame.row_padding > 0 && !padded_rows)) {
        return Error{Status::BadPadding, 0, frame.row_padding};
    }

    const std::int64_t height = frame.height;
    const std::int64_t pixels = frame.width * height;
    const std::int64_t row_bytes = detail::row_bytes(*format, frame.width);
    const std::int64_t row_pitch = row_bytes + frame.row_padding;
    std::int64_t source = 0;
    if (kind == Kind::stream) {
        source = (pixels + format->group_pixels - 1) / format->group_pixels;
    } else if (kind != Kind::points) {
        if (row_pitch > most) return Error{Status::TooLarge, most, row_pitch};
        // The record of a mosaic counts the last row's padding, which is not read.
        if (mosaic && row_pitch * height > most) {
            return Error{Status::TooLarge, most, row_pitch * height};
        }
        source = row_pitch * (height - 1) + row_bytes;
    }
    if (source > most) return Error{Status::TooLarge, most, source};

    Layout out;
    const bool grey_only = frame.format == PixelFormat::Mono1p || kind == Kind::points;
    out.format = grey_only ? Destination::Mono8 : destination;
    out.bytes_per_pixel = bytes_per_pixel(out.format);
    out.width = whole_groups_only ? frame.width - frame.width % format->group_pixels : frame.width;
    out.height = frame.height;
    out.source_size = static_cast<std::size_t>(source);

    const bool block_copy =
        static_cast<std::int32_t>(frame.format) == static_cast<std::int32_t>(destination) &&
        out.bytes_per_pixel == 3;
    const std::int64_t columns =
        kind == Kind::yuv ? detail::begun_groups(*format, frame.width) * format->group_pixels
                          : out.width;
    const std::int64_t stride = block_copy ? row_pitch : columns * out.bytes_per_pixel;
    if (stride > most) return Error{Status::TooLarge, most, stride};
    const std::int64_t rows = mosaic ? height + (height & 1) : height;
    const std::int64_t size = block_copy ? source : stride * rows;
    if (size > most) return Error{Status::TooLarge, most, size};
    out.stride = static_cast<std::size_t>(stride);
    out.size = static_cast<std::size_t>(size);
    return out;
}

namespace detail {

inline bool overlap(std::span<const std::uint8_t> a, std::span<const std::uint8_t> b) {
    const std::less<const std::uint8_t*> before;
    return !a.empty() && !b.empty() && before(a.data(), b.data() + b.size()) &&
           before(b.data(), a.data() + a.size());
}

inline std::optional<Error> check_buffers(std::span<const std::uint8_t> source,
                                          std::size_t source_size,
                                          std::span<const std::uint8_t> destination,
                                          std::size_t destination_size) {
    if (source.size() < source_size) {
        return Error{Status::SourceTooSmall, static_cast<std::int64_t>(source_size),
                     static_cast<std::int64_t>(source.size())};
    }
    if (destination.size() < destination_size) {
        return Error{Status::DestinationTooSmall, static_cast<std::int64_t>(destination_size),
                     static_cast<std::int64_t>(destination.size())};
    }
    const std::size_t read = source_size != 0 ? source_size : source.size();
    if (overlap(source.first(read), destination.first(destination_size))) {
        return Error{Status::Overlap};
    }
    return std::nullopt;
}

// Checks what the library trusts in a Mono1C list: positions from 1 on, whole points. Returns the
// bytes of its points, without the four zero bytes that may end it.
inline Result<std::size_t> measure_points(std::span<const std::uint8_t> list, int width,
                                          int height) {
    std::size_t at = 0;
    for (; list.size() - at >= 4; at += 4) {
        const int row = (list[at + 1] << 4) | (list[at + 2] >> 4);
        const int column = ((list[at + 2] & 0x0F) << 8) | list[at + 3];
        if (list[at] == 0 && row == 0 && column == 0) return at;
        if (row < 1 || row > height) return Error{Status::BadPoint, height, row};
        if (column < 1 || column > width) return Error{Status::BadPoint, width, column};
    }
    if (at == list.size()) return at;
    return Error{Status::BadPoint, 4, static_cast<std::int64_t>(list.size() - at)};
}

inline unsigned char* unconst(const std::uint8_t* bytes) {
    return const_cast<unsigned char*>(bytes);  // the C functions only read it
}

}  // namespace detail

/* ------------------------------------------------------------------------- */
/* Conversion                                                                 */
/* ------------------------------------------------------------------------- */

// An open converter for frames of one kind. A moved-from converter may only be assigned to or
// destroyed; converting with it gives ErrOrder.
class Converter {
  public:
    // Errors: those of layout(); BadDemosaic; NoMemory.
    static Result<Converter> open(const Frame& frame, Destination destination,
                                  Demosaic demosaic = Demosaic::Bilinear) {
        const Result<Layout> layout = imgcnv::layout(frame, destination);
        if (!layout) return layout.error();
        if (demosaic < Demosaic::Nearest || demosaic > Demosaic::Adaptive) {
            return Error{Status::BadDemosaic};
        }
        Converter converter;
        converter.layout_ = *layout;
        converter.destination_ = static_cast<IMGCNV_EPixelFormat>(destination);
        converter.demosaic_ = static_cast<IMGCNV_EBayerDemosaic>(demosaic);
        IMGCNV_SOpenParam& record = converter.record_;
        record.width = frame.width;
        record.height = frame.height;
        record.rowPadding = frame.row_padding;
        record.pixelFormat = static_cast<IMGCNV_EPixelFormat>(frame.format);
        record.dataSize = static_cast<int>(layout->source_size);
        const detail::Format& format = *detail::find(frame.format);
        const detail::Kind kind = format.kind;
        if (kind == detail::Kind::bayer && frame.height > 1) {
            // A mosaic's rows begin every dataSize / height bytes: the padding of the last row,
            // which nobody reads, counts.
            record.dataSize += frame.row_padding;
        } else if (kind == detail::Kind::rows) {
            // The library takes a cut pair for padding.
            record.rowPadding += static_cast<int>(detail::row_bytes(format, frame.width) -
                                                  detail::whole_group_bytes(format, frame.width));
        } else if (kind == detail::Kind::points) {
            record.dataSize = 4;  // replaced by each list's own
        }
        if (const Status status = converter.open_handle(); status != Status::Success) {
            return Error{status};
        }
        return converter;
    }

    Converter(Converter&& other) noexcept { *this = std::move(other); }
    Converter& operator=(Converter&& other) noexcept {
        std::swap(handle_, other.handle_);
        std::swap(layout_, other.layout_);
        std::swap(record_, other.record_);
        std::swap(destination_, other.destination_);
        std::swap(demosaic_, other.demosaic_);
        return *this;
    }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;
    ~Converter() { close_handle(); }

    const Layout& layout() const noexcept { return layout_; }

    // Converts one frame into memory of the caller, and returns the part of it that the picture
    // takes. The source may be longer than the frame, the destination longer than needed; no byte
    // beyond layout().size is written. Bytes of the picture that are not written keep their
    // value: the last column of an odd width with Nearest, one pixel of it with Adaptive, the
    // alpha of the last row and column with Adaptive, the last width * height % 8 pixels of
    // Mono1p.
    //
    // Errors: SourceTooSmall, DestinationTooSmall, Overlap, BadPoint, NoMemory, ErrOrder.
    Result<std::span<std::uint8_t>> convert(std::span<const std::uint8_t> source,
                                            std::span<std::uint8_t> destination) {
        if (handle_ == nullptr) return Error{Status::ErrOrder};
        if (auto error =
                detail::check_buffers(source, layout_.source_size, destination, layout_.size)) {
            return *error;
        }
        if (record_.pixelFormat == IMGCNV_PIXEL_MONO1C) {
            if (auto error = take_list(source)) return *error;
        }
        const int status =
            IMGCNV_convert(handle_, detail::unconst(source.data()), destination.data());
        if (status != IMGCNV_SUCCESS) return Error{static_cast<Status>(status)};
        return destination.first(layout_.picture_size());
    }

    // Converts one frame into a new vector of layout().picture_size() bytes. What convert() above
    // does not write is 0 here. Costs an allocation and a fill; the form above costs neither.
    Result<std::vector<std::uint8_t>> convert(std::span<const std::uint8_t> source) {
        std::vector<std::uint8_t> picture(layout_.size);
        const auto done = convert(source, picture);
        if (!done) return done.error();
        picture.resize(done->size());
        return picture;
    }

  private:
    Converter() = default;

    Status open_handle() {
        int unused = 0;
        return static_cast<Status>(
            IMGCNV_open(&record_, destination_, &handle_, &unused, demosaic_));
    }

    void close_handle() noexcept {
        if (handle_ != nullptr) IMGCNV_close(handle_);
        handle_ = nullptr;
    }

    // A handle's dataSize is fixed, the length of a Mono1C list is not.
    std::optional<Error> take_list(std::span<const std::uint8_t>& list) {
        static constexpr std::array<std::uint8_t, 4> empty{};
        const Result<std::size_t> bytes =
            detail::measure_points(list, record_.width, record_.height);
        if (!bytes) return bytes.error();
        if (*bytes > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
            return Error{Status::TooLarge, std::numeric_limits<std::int32_t>::max(),
                         static_cast<std::int64_t>(*bytes)};
        }
        list = *bytes == 0 ? std::span<const std::uint8_t>(empty) : list.first(*bytes);
        if (record_.dataSize == static_cast<int>(list.size())) return std::nullopt;

        IMGCNV_HANDLE old = std::exchange(handle_, nullptr);
        record_.dataSize = static_cast<int>(list.size());
        if (const Status status = open_handle(); status != Status::Success) {
            handle_ = old;
            record_.dataSize = -1;  // the next call tries again
            return Error{status};
        }
        IMGCNV_close(old);
        return std::nullopt;
    }

    IMGCNV_HANDLE handle_ = nullptr;
    Layout layout_;
    IMGCNV_SOpenParam record_{};
    IMGCNV_EPixelFormat destination_ = IMGCNV_PIXEL_MONO8;
    IMGCNV_EBayerDemosaic demosaic_ = IMGCNV_DEMOSAIC_BILINEAR;
};

// Opens, converts, closes. For more than one frame of a kind keep a Converter.
inline Result<std::span<std::uint8_t>> convert(const Frame& frame, Destination format,
                                               std::span<const std::uint8_t> source,
                                               std::span<std::uint8_t> destination,
                                               Demosaic demosaic = Demosaic::Bilinear) {
    Result<Converter> converter = Converter::open(frame, format, demosaic);
    if (!converter) return converter.error();
    return converter->convert(source, destination);
}

inline Result<std::vector<std::uint8_t>> convert(const Frame& frame, Destination format,
                                                 std::span<const std::uint8_t> source,
                                                 Demosaic demosaic = Demosaic::Bilinear) {
    Result<Converter> converter = Converter::open(frame, format, demosaic);
    if (!converter) return converter.error();
    return converter->convert(source);
}

/* ------------------------------------------------------------------------- */
/* Mirror and rotate                                                          */
/* ------------------------------------------------------------------------- */

// Writes the mirrored or turned picture and returns its layout: the same, with width and height
// exchanged by the quarter turns. The picture has 1 or 3 bytes per pixel (BadDestination) and rows
// that touch (BadPadding).
//
// Other errors: BadTurn, BadWidth, BadHeight, TooLarge, SourceTooSmall, DestinationTooSmall,
// Overlap.
inline Result<Layout> turn(Turn turn, const Layout& picture, std::span<const std::uint8_t> source,
                           std::span<std::uint8_t> destination) {
    using Function = int (*)(unsigned char*, struct tagIMGCNV_SOpenParam*, unsigned char*, int*);
    static constexpr std::array<Function, 5> functions{
        IMGCNV_FlipToHorizontal, IMGCNV_FlipToVertical, IMGCNV_RotationToAngle90,
        IMGCNV_RotationToAngle180, IMGCNV_RotationToAngle270};
    constexpr std::int64_t most = std::numeric_limits<std::int32_t>::max();

    const auto which = static_cast<std::size_t>(turn);
    if (which >= functions.size()) return Error{Status::BadTurn};
    const int pixel_bytes = bytes_per_pixel(picture.format);
    if (pixel_bytes != 1 && pixel_bytes != 3) return Error{Status::BadDestination};
    if (picture.width < 1) return Error{Status::BadWidth, 1, picture.width};
    if (picture.height < 1) return Error{Status::BadHeight, 1, picture.height};
    const std::int64_t row = std::int64_t{picture.width} * pixel_bytes;
    if (row > most) return Error{Status::TooLarge, most, row};
    if (picture.stride != static_cast<std::size_t>(row) && picture.height > 1) {
        return Error{Status::BadPadding, row, static_cast<std::int64_t>(picture.stride)};
    }
    const std::int64_t size = row * picture.height;
    if (size > most) return Error{Status::TooLarge, most, size};
    if (auto error = detail::check_buffers(source, static_cast<std::size_t>(size), destination,
                                           static_cast<std::size_t>(size))) {
        return *error;
    }

    IMGCNV_SOpenParam record{};
    record.width = picture.width;
    record.height = picture.height;
    record.dataSize = static_cast<int>(size);
    record.pixelFormat = static_cast<IMGCNV_EPixelFormat>(picture.format);
    int written = 0;
    const int status =
        functions[which](detail::unconst(source.data()), &record, destination.data(), &written);
    if (status != IMGCNV_SUCCESS) return Error{static_cast<Status>(status)};

    Layout out;
    out.format = picture.format;
    out.bytes_per_pixel = pixel_bytes;
    out.width = record.width;
    out.height = record.height;
    out.stride = static_cast<std::size_t>(record.width) * static_cast<std::size_t>(pixel_bytes);
    out.size = static_cast<std::size_t>(size);
    out.source_size = out.size;
    return out;
}

}  // namespace imgcnv

#endif  // IMGCNV_HPP
