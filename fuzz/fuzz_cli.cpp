// What people type and what files hold, against the command's own parts: names, sizes, strides, and
// frames of exactly the size that they say. Refusals are UsageError or Failure, nothing else; a
// frame that is accepted becomes a picture of the size asked for.

#include <limits>
#include <string>
#include <vector>

#include "convert/name_hints.h"
#include "errors.h"
#include "frame/frame_converter.h"
#include "fuzz/support/input.h"

namespace imgcnv::fuzzing {
namespace {

constexpr int64_t kLargestFrame = 1 << 16;

int64_t take_number(Input& input) {
    constexpr int64_t kMost = std::numeric_limits<int64_t>::max();
    constexpr int64_t kInteresting[] = {0,     -1,        1,          2,          65536,
                                        46341, 1 << 30,   2147483647, 2147483648, 4294967296,
                                        kMost, kMost / 2, kMost / 3,  kMost / 8,  -kMost - 1};
    switch (input.pick(8)) {
        case 0:
            return input.one_of(kInteresting);
        case 1:
            return input.take<int64_t>();
        default:
            return input.between(1, 50);
    }
}

// What a name may be made of, so that real ones are met often.
std::string take_name(Input& input) {
    std::string name;
    for (size_t parts = input.pick(6); parts > 0; --parts) {
        const auto formats = tool::sourceFormats();
        const tool::SourceFormat& format = formats[input.pick(formats.size())];
        switch (input.pick(6)) {
            case 0:
                name += format.name;
                break;
            case 1:
                name += format.pfnc;
                break;
            case 2:
                name +=
                    std::to_string(take_number(input)) + "x" + std::to_string(take_number(input));
                break;
            case 3:
                name += tool::hexCode(input.take<uint32_t>());
                break;
            case 4:
                name += "_-./ 0xX"[input.pick(8)];
                break;
            default:
                for (size_t n = input.pick(20); n > 0; --n) name += input.take<char>();
        }
    }
    return name;
}

void check_names(Input& input) {
    const std::string name = take_name(input);
    const tool::NameHints hints = tool::hintsInName(name);
    const auto size = tool::parseSize(name);
    if (size) {
        REQUIRE(tool::parseSize(std::to_string(size->first) + "x" + std::to_string(size->second)) ==
                size);
    }
    if (hints.format) REQUIRE(tool::findFormat(hints.format->name) == hints.format);
    const tool::SourceFormat* const found = tool::findFormat(name);
    try {
        REQUIRE(&tool::formatNamed(name) == found);
    } catch (const tool::UsageError& error) {
        REQUIRE(found == nullptr && *error.what() != '\0');
    }
}

// Rows and columns that a list may hold, mostly.
void make_points_likely(std::vector<uint8_t>& bytes, const tool::FrameShape& shape, Input& input) {
    if (input.pick(4) == 0) return;
    for (size_t i = 0; i + 4 <= bytes.size(); i += 4) {
        const uint32_t noise = static_cast<uint32_t>(bytes[i + 1] << 16 | bytes[i + 2] << 8);
        const uint32_t row = noise / 7 % static_cast<uint32_t>(shape.height) + 1;
        const uint32_t column = noise % static_cast<uint32_t>(shape.width) + 1;
        bytes[i + 1] = static_cast<uint8_t>(row >> 4);
        bytes[i + 2] = static_cast<uint8_t>(row << 4 | column >> 8);
        bytes[i + 3] = static_cast<uint8_t>(column);
    }
}

void check_frame(Input& input) {
    const auto formats = tool::sourceFormats();
    tool::FrameShape shape{&formats[input.pick(formats.size())], take_number(input),
                           take_number(input), std::nullopt};
    std::optional<int64_t> padding;
    const size_t rows = input.pick(4);
    if (rows == 1) shape.stride = take_number(input);
    if (rows == 2) padding = take_number(input);
    if (rows == 3 && shape.width > 0 && shape.width < kLargestFrame) {
        shape.stride = shape.rowBytes() + input.between(0, 9);
    }
    const tool::FrameShape asked = shape;
    try {
        shape = tool::validated(shape, padding);
    } catch (const tool::UsageError& error) {
        REQUIRE(*error.what() != '\0');
        return;
    }
    REQUIRE(shape.width == asked.width && shape.height == asked.height);
    const bool points = shape.format->layout == tool::Layout::Points;
    if (!points) {
        REQUIRE(shape.neededBytes() > 0 && shape.neededBytes() <= shape.frameBytes());
        const int64_t length = take_number(input);
        if (length >= 0) tool::explainLength(shape, length);
    }
    if (shape.frameBytes() > kLargestFrame || shape.width * shape.height > kLargestFrame) return;

    constexpr IMGCNV_EPixelFormat kKinds[] = {IMGCNV_PIXEL_MONO8, IMGCNV_PIXEL_RGB8_PACKED,
                                              IMGCNV_PIXEL_BGR8_PACKED, IMGCNV_PIXEL_RGBA8_PACKED,
                                              IMGCNV_PIXEL_BGRA8_PACKED};
    const IMGCNV_EPixelFormat kind = input.one_of(kKinds);
    const auto method = static_cast<IMGCNV_EBayerDemosaic>(input.pick(3));
    const tool::Turn turn{static_cast<int>(input.pick(4)) * 90,
                          static_cast<tool::Flip>(input.pick(3))};

    std::vector<uint8_t> frame(static_cast<size_t>(points ? input.pick(100) : shape.frameBytes()));
    input.fill(frame);
    if (points) make_points_likely(frame, shape, input);
    try {
        tool::FrameConverter converter(shape, kind, method, turn);
        std::vector<uint8_t> first;
        for (int round = 0; round < 2; ++round) {
            const tool::Picture picture = converter.convert(frame);
            const bool one_row_less = shape.format->order == tool::Order::GR && shape.height > 1;
            const int64_t height = shape.height - (one_row_less ? 1 : 0);
            const bool sideways = turn.degrees % 180 != 0;
            REQUIRE(picture.width == (sideways ? height : shape.width));
            REQUIRE(picture.height == (sideways ? shape.width : height));
            REQUIRE(picture.kind == kind);
            const std::vector<uint8_t> pixels(picture.pixels, picture.pixels + picture.bytes());
            if (round == 0) first = pixels;
            REQUIRE(pixels == first, "%s: a second conversion differs", shape.text().c_str());
            if (kind == IMGCNV_PIXEL_RGBA8_PACKED || kind == IMGCNV_PIXEL_BGRA8_PACKED) {
                for (size_t i = 3; i < pixels.size(); i += 4) REQUIRE(pixels[i] == 0);
            }
        }
    } catch (const tool::UsageError&) {
    } catch (const tool::Failure&) {
        REQUIRE(points, "%s", shape.text().c_str());  // only a list of points can be wrong
    }
}

}  // namespace
}  // namespace imgcnv::fuzzing

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    imgcnv::fuzzing::Input input(data, size);
    if (input.pick(3) == 0) {
        imgcnv::fuzzing::check_names(input);
    } else {
        imgcnv::fuzzing::check_frame(input);
    }
    return 0;
}
