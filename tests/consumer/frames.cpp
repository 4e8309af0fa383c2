// What a C++ program of somebody else does with the frame engine: a picture in a part of a larger
// one, and what it says when a frame is too short.
#include <cstdio>
#include <imgcnv_frames.hpp>

int main() {
    const auto frame = imgcnv::RawFrame::of("Mono12Packed", 2, 2);
    if (!frame) return std::fprintf(stderr, "%s\n", frame.error().text.c_str());
    const std::vector<std::uint8_t> source{0xAB, 0xC4, 0xDE, 0x12, 0x34, 0x56};

    auto pipeline = imgcnv::Pipeline::open(*frame, {.kind = IMGCNV_TARGET_MONO8, .stride = 4});
    if (!pipeline) return std::fprintf(stderr, "%s\n", pipeline.error().text.c_str());
    std::vector<std::uint8_t> canvas(8, 7);
    const auto picture = pipeline->run(source, canvas);
    if (!picture) return std::fprintf(stderr, "%s\n", picture.error().text.c_str());

    const auto too_short = imgcnv::convert(*frame, {}, std::span(source).first(5));
    const std::vector<std::uint8_t> expected{0xAB, 0xDE, 7, 7, 0x12, 0x56, 7, 7};
    return canvas == expected && too_short.error().status == IMGCNV_BAD_SIZE ? 0 : 1;
}
