// What pipelines take from the heap: all of it when they are opened, and nothing that is kept when
// one of these allocations fails.
#include "support/allocations.h"
#include "imgcnv_frames.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace frames::testing {
namespace {

using imgcnv::testing::AllocationRecorder;

struct Pipe {
    const char* format;
    std::int64_t width, height;
    imgcnv_target_kind kind;
    imgcnv_demosaic method;
    int rotation, threads;
    std::int64_t padding;
    bool has_levels;
};

/// Every way to make a picture, and what goes around it.
constexpr Pipe kPipes[] = {
    {"Mono8", 64, 20, IMGCNV_TARGET_RGB24, IMGCNV_BILINEAR, 0, 1, 0, false},
    {"BayerRG8", 64, 20, IMGCNV_TARGET_RGB24, IMGCNV_NEAREST, 0, 1, 0, false},
    {"BayerRG8", 64, 20, IMGCNV_TARGET_MONO8, IMGCNV_ADAPTIVE, 0, 1, 0, false},
    {"BayerGR12Packed", 65, 21, IMGCNV_TARGET_BGRA32, IMGCNV_BILINEAR, 0, 1, 0, false},
    {"BayerGB8", 65, 21, IMGCNV_TARGET_RGB24, IMGCNV_ADAPTIVE, 90, 1, 0, false},
    {"BayerBG10p", 64, 20, IMGCNV_TARGET_BGR24, IMGCNV_BILINEAR, 0, 1, 9, true},
    {"UYVY", 65, 20, IMGCNV_TARGET_RGB24, IMGCNV_BILINEAR, 0, 1, 0, false},
    {"RGB8", 64, 20, IMGCNV_TARGET_BGR24, IMGCNV_BILINEAR, 0, 1, 16, false},
    {"BayerRG12p", 64, 20, IMGCNV_TARGET_RGB48, IMGCNV_ADAPTIVE, 0, 1, 0, false},
    {"BayerGR8", 1001, 1001, IMGCNV_TARGET_RGB24, IMGCNV_ADAPTIVE, 0, 2, 0, false},
};

class PipelineAllocations : public ::testing::TestWithParam<Pipe> {
  protected:
    PipelineAllocations() {
        const auto& pipe = GetParam();
        EXPECT_EQ(imgcnv_find_format(pipe.format, &frame_.format, &frame_.flags, nullptr, 0),
                  IMGCNV_OK);
        frame_.width = pipe.width;
        frame_.height = pipe.height;
        levels_.black = 5;
        target_.kind = pipe.kind;
        target_.demosaic = pipe.method;
        target_.rotation = pipe.rotation;
        target_.threads = pipe.threads;
        if (pipe.padding != 0) target_.stride = pipe.width * 3 + pipe.padding;
        if (pipe.has_levels) target_.levels = &levels_;
    }
    int open() { return imgcnv_pipeline_open(&frame_, &target_, &pipeline_, text_, sizeof text_); }

    imgcnv_frame frame_ = IMGCNV_FRAME_INIT;
    imgcnv_target target_ = IMGCNV_TARGET_INIT;
    imgcnv_levels levels_ = IMGCNV_LEVELS_INIT;
    imgcnv_pipeline* pipeline_ = nullptr;
    char text_[IMGCNV_TEXT_BYTES];
};

TEST_P(PipelineAllocations, AreMadeWhenItIsOpened) {
    ASSERT_EQ(open(), IMGCNV_OK) << text_;
    imgcnv_picture_info info{};
    info.struct_size = sizeof info;
    imgcnv_pipeline_describe(pipeline_, &info);
    EXPECT_EQ(info.threads, GetParam().threads);
    std::vector<std::uint8_t> source(static_cast<std::size_t>(info.source_bytes), 1);
    std::vector<std::uint8_t> picture(static_cast<std::size_t>(info.picture_bytes));
    {
        const AllocationRecorder recorder;
        EXPECT_EQ(imgcnv_pipeline_run(pipeline_, source.data(), source.size(), picture.data(),
                                      picture.size(), text_, sizeof text_),
                  IMGCNV_OK);
        EXPECT_TRUE(recorder.all().empty()) << "run allocates";
    }
    imgcnv_pipeline_close(pipeline_);
}

TEST_P(PipelineAllocations, FailOneByOneAndLeaveNothing) {
    std::size_t needed = 0;
    {
        const AllocationRecorder recorder;
        ASSERT_EQ(open(), IMGCNV_OK) << text_;
        imgcnv_pipeline_close(pipeline_);
        needed = recorder.all().size();
        for (const auto& each : recorder.all()) EXPECT_TRUE(each.freed);
    }
    ASSERT_GT(needed, 1U);
    ASSERT_LT(needed, 60U) << "too many for the recorder";
    for (std::size_t fail = 1; fail <= needed; ++fail) {
        AllocationRecorder recorder(static_cast<int>(fail));
        const int status = open();
        recorder.stop();
        std::size_t kept = 0;
        for (const auto& each : recorder.all()) kept += each.memory != nullptr && !each.freed;
        ASSERT_EQ(status, IMGCNV_OUT_OF_MEMORY) << "allocation " << fail << " of " << needed;
        EXPECT_EQ(std::string(text_), "out of memory");
        EXPECT_EQ(pipeline_, nullptr);
        ASSERT_EQ(kept, 0U) << "allocation " << fail << " of " << needed;
    }
}

INSTANTIATE_TEST_SUITE_P(Ways, PipelineAllocations, ::testing::ValuesIn(kPipes));

}  // namespace
}  // namespace frames::testing
