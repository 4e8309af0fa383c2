#include "frame/frame_shape.h"

#include "errors.h"

#include <limits>

namespace tool {
namespace {

constexpr std::int64_t kMaxInt = std::numeric_limits<std::int32_t>::max();

std::string number(std::int64_t value) { return std::to_string(value); }

}  // namespace

std::int64_t rowBytes(const SourceFormat& format, std::int64_t width) {
    switch (format.layout) {
        case Layout::Bits:
            return (width + 7) / 8;
        case Layout::Nibbles:
            return (width + 1) / 2;
        case Layout::Bytes:
            return width;
        case Layout::Words:
            return width * 2;
        case Layout::Packed:
            return (width * 3 + 1) / 2;
        case Layout::Rgb:
        case Layout::Bgr:
        case Layout::Uyv:
            return width * 3;
        case Layout::Uyyvyy:
            return (width + 3) / 4 * 6;
        case Layout::Uyvy:
        case Layout::Yuyv:
            return (width + 1) / 2 * 4;
        case Layout::Points:
            return 0;
    }
    return 0;
}

std::int64_t FrameShape::rowBytes() const { return tool::rowBytes(*format, width); }

bool FrameShape::isStream() const {
    return !stride && (format->layout == Layout::Bits || format->layout == Layout::Nibbles);
}

std::int64_t FrameShape::frameBytes() const {
    if (isStream()) return (width * height * format->bits + 7) / 8;
    return rowPitch() * height;
}

std::int64_t FrameShape::neededBytes() const {
    if (isStream() || format->layout == Layout::Points) return frameBytes();
    return rowPitch() * (height - 1) + rowBytes();
}

std::string FrameShape::text() const {
    auto text = std::string(format->name) + " " + number(width) + "x" + number(height);
    if (stride && *stride != rowBytes())
        text += ", rows of " + number(rowBytes()) + " bytes every " + number(*stride);
    return text;
}

FrameShape validated(FrameShape shape, std::optional<std::int64_t> padding) {
    const auto& format = *shape.format;
    const auto size = number(shape.width) + "x" + number(shape.height);
    if (shape.width < 1 || shape.height < 1)
        throw UsageError("size " + size + ": width and height must be at least 1");
    if (shape.width > kMaxInt || shape.height > kMaxInt || shape.width > kMaxInt / shape.height)
        throw UsageError("size " + size + ": a frame may have at most " + number(kMaxInt) +
                         " pixels");
    if (shape.stride && padding) throw UsageError("give --stride or --padding, not both");
    if (format.layout == Layout::Points) {
        if (shape.stride || padding)
            throw UsageError("Mono1C is a list of points: it has no rows to be padded");
        return shape;
    }
    const auto row = shape.rowBytes();
    if (padding) {
        if (*padding < 0 || *padding > kMaxInt)
            throw UsageError("--padding " + number(*padding) + ": expected 0 to " +
                             number(kMaxInt) + " bytes");
        shape.stride = row + *padding;
    }
    if (shape.stride && *shape.stride < row)
        throw UsageError("--stride " + number(*shape.stride) + ": a row of " + number(shape.width) +
                         " pixels of " + std::string(format.name) + " takes " + number(row) +
                         " bytes");
    if (shape.rowPitch() > kMaxInt / shape.height)
        throw UsageError("a frame of " + shape.text() + " takes more than " + number(kMaxInt) +
                         " bytes, the most the library can address");
    if (shape.stride && format.bits < 8 && *shape.stride * 8 / format.bits > kMaxInt / shape.height)
        throw UsageError("a frame of " + shape.text() + " has more than " + number(kMaxInt) +
                         " pixels, padding counted");
    if (format.isBayer() && shape.height > 1 && shape.width < 2)
        throw UsageError("size " + size + ": a Bayer frame of several rows needs 2 columns");
    if (format.order == Order::GR && shape.height == 2)
        throw UsageError("size " + size +
                         ": GR frames are read from their second row on, which takes 3 rows");
    return shape;
}

std::string explainLength(const FrameShape& shape, std::int64_t bytes) {
    std::string text;
    const auto add = [&text](const std::string& line) { text += "\n  " + line; };
    const auto frame = shape.frameBytes();
    const auto row = shape.rowBytes();
    if (bytes == 0) {
        add("the file is empty");
        return text;
    }
    if (bytes % frame == 0 && bytes > frame)
        add("it holds exactly " + number(bytes / frame) +
            " such frames: --frames all, or --frames 0 for the first");
    std::string others;
    for (const auto& format : sourceFormats()) {
        if (format.bits == shape.format->bits || format.layout == Layout::Points) continue;
        if (format.order != shape.format->order || format.isColor() != shape.format->isColor())
            continue;
        FrameShape other{&format, shape.width, shape.height, std::nullopt};
        if (other.frameBytes() == bytes)
            others += (others.empty() ? "" : ", ") + std::string(format.name);
    }
    if (!others.empty()) add("other bits a pixel fit exactly: -f " + others);
    if (bytes % shape.height == 0 && bytes / shape.height > row && !shape.stride) {
        const auto pitch = bytes / shape.height;
        if (pitch - row <= 4096 && pitch < 2 * row)
            add("rows padded by " + number(pitch - row) + " bytes fit: --stride " + number(pitch));
    }
    if (bytes % shape.rowPitch() == 0 && bytes % frame != 0)
        add("exactly " + number(bytes / shape.rowPitch()) + " rows of this width: " +
            (bytes < frame ? "cut short, or another height" : "another height"));
    if (!text.empty()) return text;
    if (bytes > frame)
        add(number(bytes - frame) +
            " bytes too many: chunk data behind the image (--frames 0 takes the first frame and "
            "leaves the rest), a header before it (--skip N), or padded rows (--stride N)");
    else
        add("cut short after " + number(bytes / shape.rowPitch()) + " of " + number(shape.height) +
            " rows, or the size or the bits a pixel are wrong");
    return text;
}

}  // namespace tool
