// Mirrors and turns of any picture in memory of exactly its size: every level agrees with the plain
// one, turns undo one another, and refused records change nothing.

#include <vector>

#include "fuzz/support/input.h"
#include "tests/support/forced_level.h"
#include "tests/support/formats.h"
#include "tests/support/guarded_buffer.h"

namespace imgcnv::fuzzing {
namespace {

using testing::Guard;
using testing::GuardedRegion;
using testing::Record;

constexpr size_t kRoom = size_t{1} << 20;
constexpr int kPreset = -12345;

struct Turn {
    const char* name;
    int (*run)(unsigned char*, Record*, unsigned char*, int*);
    size_t undone_by;
    bool exchanges_sides;
};
constexpr Turn kTurns[] = {
    {"FlipToHorizontal", IMGCNV_FlipToHorizontal, 0, false},
    {"FlipToVertical", IMGCNV_FlipToVertical, 1, false},
    {"RotationToAngle90", IMGCNV_RotationToAngle90, 4, true},
    {"RotationToAngle180", IMGCNV_RotationToAngle180, 3, false},
    {"RotationToAngle270", IMGCNV_RotationToAngle270, 2, true},
};

void check_turn(Input& input) {
    static GuardedRegion source_region(kRoom), destination_region(kRoom);
    static std::vector<uint8_t> original, expected;

    const Turn& turn = input.one_of(kTurns);
    constexpr testing::PixelFormat kFormats[] = {IMGCNV_PIXEL_MONO8, IMGCNV_PIXEL_RGB8_PACKED,
                                                 IMGCNV_PIXEL_BGR8_PACKED};
    const testing::PixelFormat format = input.one_of(kFormats);
    const bool long_side = input.pick(8) == 0;
    int width = input.between(1, long_side ? 5000 : 200);
    int height = input.between(1, long_side ? 40 : 200);
    if (input.pick(2) == 0) std::swap(width, height);
    const int size = width * height * testing::bytes_per_pixel(format);
    if (static_cast<size_t>(size) > kRoom / 2) return;
    const Guard source_guard = input.pick(2) == 0 ? Guard::kBefore : Guard::kAfter;
    const Guard destination_guard = input.pick(2) == 0 ? Guard::kBefore : Guard::kAfter;
    const int wrong_by = input.pick(8) == 0 ? input.between(1, 100) : 0;
    const Record record{width,           height, input.take<int32_t>(), input.take<int32_t>(),
                        size + wrong_by, format};

    original.resize(static_cast<size_t>(size));
    input.fill(original);
    for (const std::string_view level : testing::level_names()) {
        if (!testing::level_available(level)) continue;
        testing::force_level(level);
        uint8_t* const src = source_region.place(original, source_guard).data();
        const auto dst = destination_region.place(original.size(), destination_guard, 0x5C);
        Record turned = record;
        int reported = kPreset;
        const int status = turn.run(src, &turned, dst.data(), &reported);

#define TURN_TEXT                                                                                  \
    "level %s: %s of 0x%08X %dx%d", level.data(), turn.name, static_cast<unsigned>(format), width, \
        height
        REQUIRE(source_region.intact() && destination_region.intact(), TURN_TEXT);
        REQUIRE(std::equal(original.begin(), original.end(), src), TURN_TEXT);
        if (wrong_by != 0) {
            REQUIRE(status == IMGCNV_ILLEGAL_PARAM && reported == kPreset, TURN_TEXT);
            REQUIRE(std::memcmp(&turned, &record, sizeof record) == 0, TURN_TEXT);
            REQUIRE(std::all_of(dst.begin(), dst.end(), [](uint8_t b) { return b == 0x5C; }),
                    TURN_TEXT);
            continue;
        }
        REQUIRE(status == IMGCNV_SUCCESS && reported == size, TURN_TEXT);
        REQUIRE(turned.width == (turn.exchanges_sides ? height : width), TURN_TEXT);
        REQUIRE(turned.height == (turn.exchanges_sides ? width : height), TURN_TEXT);
        if (level == "plain") expected.assign(dst.begin(), dst.end());
        REQUIRE(std::equal(expected.begin(), expected.end(), dst.begin()), TURN_TEXT);

        source_region.place(expected, source_guard);
        const auto back = destination_region.place(original.size(), destination_guard, 0);
        const Turn& undo = kTurns[turn.undone_by];
        REQUIRE(undo.run(const_cast<uint8_t*>(expected.data()), &turned, back.data(), &reported) ==
                    IMGCNV_SUCCESS,
                TURN_TEXT);
        REQUIRE(std::equal(original.begin(), original.end(), back.begin()), TURN_TEXT);
        REQUIRE(std::memcmp(&turned, &record, sizeof record) == 0, TURN_TEXT);
    }
}

}  // namespace
}  // namespace imgcnv::fuzzing

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    imgcnv::fuzzing::Input input(data, size);
    imgcnv::fuzzing::check_turn(input);
    return 0;
}
