// Any description of a frame and a target against the frame engine: what it refuses it leaves
// alone; what it converts has the bytes of a conversion to rows without padding on one thread, and
// nothing beyond the picture's pixels is touched.

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "fuzz/support/input.h"
#include "imgcnv_frames.h"
#include "tests/support/guarded_buffer.h"

namespace imgcnv::fuzzing {
namespace {

constexpr uint8_t kUntouched = 0xA5;
constexpr int64_t kMostBytes = 1 << 20;

struct Close {
    void operator()(imgcnv_pipeline* pipeline) const { imgcnv_pipeline_close(pipeline); }
};
using Pipeline = std::unique_ptr<imgcnv_pipeline, Close>;

int64_t any_size(Input& input) {
    constexpr int64_t kEdges[] = {0, -1, 1, 2, 1 << 16, INT32_MAX, INT64_MAX, INT64_MIN};
    return input.pick(16) == 0 ? input.one_of(kEdges) : input.between(1, 90);
}

imgcnv_frame any_frame(Input& input) {
    imgcnv_frame frame = IMGCNV_FRAME_INIT;
    imgcnv_format_info info{};
    info.struct_size = sizeof info;
    imgcnv_format_at(static_cast<int>(input.pick(static_cast<size_t>(imgcnv_format_count()))),
                     &info);
    frame.format = info.code;
    frame.width = any_size(input);
    frame.height = any_size(input);
    if (input.pick(2) != 0)
        frame.stride = imgcnv_row_bytes(frame.format, frame.width) + input.between(-1, 40);
    frame.flags = static_cast<uint32_t>(input.pick(4));
    return frame;
}

imgcnv_target any_target(Input& input, imgcnv_levels& levels) {
    imgcnv_target target = IMGCNV_TARGET_INIT;
    target.kind = input.between(0, 9);
    target.demosaic = static_cast<int>(input.pick(4));
    target.rotation = static_cast<int>(input.pick(5)) * 90;
    target.flags = static_cast<uint32_t>(input.pick(16));
    target.threads = static_cast<int>(input.pick(5)) - 1;
    if (input.pick(2) != 0)
        target.stride = std::clamp(any_size(input), INT64_MIN / 9, INT64_MAX / 9) * 9;
    if (input.pick(4) == 0) {
        levels.black = input.between(0, 300);
        levels.white = input.between(0, 5000);
        levels.red_gain = input.between(0, 700) / 10.0;
        levels.gamma = input.between(0, 30) / 10.0;
        target.levels = &levels;
    }
    return target;
}

Pipeline open(const imgcnv_frame& frame, const imgcnv_target& target, imgcnv_picture_info& info) {
    imgcnv_pipeline* pipeline = nullptr;
    char text[IMGCNV_TEXT_BYTES];
    const int status = imgcnv_pipeline_open(&frame, &target, &pipeline, text, sizeof text);
    REQUIRE((status == IMGCNV_OK) == (pipeline != nullptr));
    REQUIRE((status == IMGCNV_OK) == (text[0] == '\0'), "status %d, text '%s'", status, text);
    info.struct_size = sizeof info;
    if (pipeline != nullptr) REQUIRE(imgcnv_pipeline_describe(pipeline, &info) == IMGCNV_OK);
    return Pipeline(pipeline);
}

void fuzz(Input input) {
    imgcnv_levels levels = IMGCNV_LEVELS_INIT;
    const auto frame = any_frame(input);
    auto target = any_target(input, levels);
    imgcnv_picture_info info{}, tight_info{};
    const auto pipeline = open(frame, target, info);
    if (pipeline == nullptr || info.picture_bytes > kMostBytes || info.source_bytes > kMostBytes)
        return;

    static testing::GuardedRegion source_region(kMostBytes + 4096),
        target_region(kMostBytes + 4096);
    // A list of points is as long as it is.
    const auto source_bytes =
        info.source_bytes != 0 ? static_cast<size_t>(info.source_bytes) : input.pick(40);
    const auto source = source_region.place(source_bytes, testing::Guard::kAfter, 0);
    input.fill(source);
    const auto picture = target_region.place(static_cast<size_t>(info.picture_bytes),
                                             testing::Guard::kAfter, kUntouched);
    const int status = imgcnv_pipeline_run(pipeline.get(), source.data(), source.size(),
                                           picture.data(), picture.size(), nullptr, 0);
    REQUIRE(target_region.intact());

    target.stride = 0;
    target.threads = 1;
    const auto tight = open(frame, target, tight_info);
    REQUIRE(tight != nullptr);
    std::vector<uint8_t> expected(static_cast<size_t>(tight_info.picture_bytes), kUntouched);
    REQUIRE(imgcnv_pipeline_run(tight.get(), source.data(), source.size(), expected.data(),
                                expected.size(), nullptr, 0) == status);
    for (int64_t y = 0; y < info.height; ++y) {
        const auto* row = picture.data() + y * info.stride;
        REQUIRE(std::memcmp(row, expected.data() + y * tight_info.stride,
                            static_cast<size_t>(info.row_bytes)) == 0);
        for (auto x = info.row_bytes; x < info.stride && y + 1 < info.height; ++x)
            REQUIRE(row[x] == kUntouched);
    }
    if (status != IMGCNV_OK)
        for (const auto byte : expected) REQUIRE(byte == kUntouched);
}

}  // namespace
}  // namespace imgcnv::fuzzing

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    imgcnv::fuzzing::fuzz(imgcnv::fuzzing::Input(data, size));
    return 0;
}
