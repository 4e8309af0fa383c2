// Any frame that a caller may legally describe, in memory of exactly the size that the conversion
// may touch, on every instruction-set level: all agree with the plain one, and nothing else
// changes.

#include <vector>

#include "fuzz/support/extent.h"
#include "fuzz/support/input.h"
#include "tests/support/forced_level.h"
#include "tests/support/guarded_buffer.h"

namespace imgcnv::fuzzing {
namespace {

using testing::Guard;
using testing::GuardedRegion;

constexpr size_t kRoom = size_t{1} << 21;
constexpr int kPreset = 4711;

struct Frame {
    SourceFormat format;
    Record record;
    PixelFormat destination;
    int method;
};

// Small frames are the rule. Wide ones cross the strips that mosaics are cut into.
Frame take_frame(Input& input) {
    const SourceFormat& format = input.one_of(testing::kSources);
    static constexpr PixelFormat kOthers[] = {IMGCNV_PIXEL_MONO10, IMGCNV_PIXEL_UNDEFINED};
    const size_t choice = input.pick(8);
    const PixelFormat destination =
        choice < 6 ? testing::kDestinations[choice] : kOthers[choice - 6];
    const int methods[] = {0, 1, 2, 0, 1, 2, 7, -1};
    const int method = input.one_of(methods);

    const bool wide = input.pick(8) == 0;
    const int width = wide ? input.between(1900, 6300) : input.between(1, 300);
    const int height = input.between(1, wide ? 9 : 40);
    const int padding = input.pick(2) == 0 ? 0 : input.between(-40, 90);
    Record record{width, height, padding, input.take<int32_t>(), 0, format.code};

    int size = std::max(1, (testing::row_bytes(format, width) + padding) * height);
    if (input.pick(4) == 0) size += input.between(-2 * height, 2 * height);
    if (format.code == IMGCNV_PIXEL_MONO1C) size = input.between(1, 200);
    record.dataSize = std::max(1, size);
    return {format, record, destination, method};
}

// Points must not have a row or column 0. Returns the bytes up to where the conversion ends: a zero
// record, one outside the picture, or the data's end.
size_t make_points_legal(std::span<uint8_t> bytes, const Record& r) {
    for (size_t i = 0; i + 4 <= bytes.size(); i += 4) {
        uint8_t* const p = &bytes[i];
        if ((p[0] | p[1] | p[2] | p[3]) == 0) return i + 4;
        // Most rows and columns would lie far outside of a small picture.
        if (p[1] % 8 != 0) p[1] = 0;
        if (p[3] % 8 != 0) p[2] &= 0xF0;
        int row = p[1] << 4 | p[2] >> 4;
        int column = (p[2] & 0x0F) << 8 | p[3];
        if (row == 0) p[2] |= 0x10, row = 1;
        if (column == 0) p[3] = column = 1;
        if (row > r.height || column > r.width) return i + 4;
    }
    return bytes.size();
}

int convert(const Frame& frame, uint8_t* src, uint8_t* dst) {
    Record record = frame.record;
    IMGCNV_HANDLE handle = nullptr;
    int size = kPreset;
    const int opened = IMGCNV_open(&record, frame.destination, &handle, &size,
                                   static_cast<testing::Demosaic>(frame.method));
    REQUIRE(opened == IMGCNV_SUCCESS);
    REQUIRE(size == reported_size(frame.format, frame.record, frame.destination, kPreset));
    record = Record{};  // the converter has a copy
    const int status = IMGCNV_convert(handle, src, dst);
    REQUIRE(IMGCNV_close(handle) == IMGCNV_SUCCESS);
    return status;
}

void check_frame(Input& input) {
    static GuardedRegion source_region(kRoom), destination_region(kRoom);
    static std::vector<uint8_t> original, expected;

    const Frame frame = take_frame(input);
    const Guard source_guard = input.pick(2) == 0 ? Guard::kBefore : Guard::kAfter;
    const Guard destination_guard = input.pick(2) == 0 ? Guard::kBefore : Guard::kAfter;
    const uint8_t fill = input.take<uint8_t>();

    const PixelFormat destination = known_or_none(frame.destination);
    const Extent read = read_extent(frame.format, frame.record, destination);
    const size_t written = written_size(frame.format, frame.record, destination);
    if (read.size() > kRoom / 2 || written > kRoom / 2) return;

    original.resize(read.size());
    input.fill(original);
    if (frame.format.code == IMGCNV_PIXEL_MONO1C) {
        original.resize(make_points_legal(original, frame.record));
    }

    int expected_status = -1;
    for (const std::string_view level : testing::kernel_set_names()) {
        if (!testing::level_available(level)) continue;
        testing::force_level(level);
        uint8_t* const src = source_region.place(original, source_guard).data() - read.begin;
        const std::span<uint8_t> dst = destination_region.place(written, destination_guard, fill);
        const int status = convert(frame, src, dst.data());

        const Record& r = frame.record;
#define FRAME_TEXT                                                                  \
    "level %s: %s %dx%d padding %d dataSize %d to 0x%08X, method %d", level.data(), \
        frame.format.name, r.width, r.height, r.rowPadding, r.dataSize,             \
        static_cast<unsigned>(frame.destination), frame.method
        REQUIRE(source_region.intact() && destination_region.intact(), FRAME_TEXT);
        REQUIRE(std::equal(original.begin(), original.end(), src + read.begin), FRAME_TEXT);
        if (level == "plain") {
            expected.assign(dst.begin(), dst.end());
            expected_status = status;
            REQUIRE(status == IMGCNV_SUCCESS ||
                        (status == IMGCNV_ILLEGAL_PARAM && r.pixelFormat == IMGCNV_PIXEL_MONO1C),
                    FRAME_TEXT);
        }
        REQUIRE(status == expected_status, FRAME_TEXT);
        REQUIRE(std::equal(expected.begin(), expected.end(), dst.begin()), FRAME_TEXT);
    }
}

}  // namespace
}  // namespace imgcnv::fuzzing

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    imgcnv::fuzzing::Input input(data, size);
    imgcnv::fuzzing::check_frame(input);
    return 0;
}
