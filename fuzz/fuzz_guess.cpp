// Guessing what hostile bytes are, with hostile knowledge of them: every reading must be a frame
// that the engine takes and that lies within the bytes.
#include "imgcnv_frames.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t kKnownBytes = 16;
    if (size < kKnownBytes) return 0;
    imgcnv_guess_question question{};
    question.struct_size = sizeof question;
    question.data = data + kKnownBytes;
    question.bytes = static_cast<std::int64_t>(size - kKnownBytes);
    question.known = IMGCNV_FRAME_INIT;
    std::int16_t numbers[kKnownBytes / 2];
    std::memcpy(numbers, data, sizeof numbers);
    if (numbers[0] > 0)
        if (imgcnv_format_info info{};
            info.struct_size = sizeof info,
            imgcnv_format_at(numbers[0] % imgcnv_format_count(), &info) == IMGCNV_OK)
            question.known.format = info.code;
    question.known.width = numbers[1];
    question.known.height = numbers[2];
    question.known.stride = numbers[3];
    question.known.skip = numbers[4];
    question.known.gap = numbers[5];
    imgcnv_reading readings[4];
    for (auto& reading : readings) reading.struct_size = sizeof reading;
    int count = 0;
    char text[IMGCNV_TEXT_BYTES];
    if (imgcnv_guess(&question, readings, 4, &count, text, sizeof text) != IMGCNV_OK) return 0;
    for (int i = 0; i < count; ++i) {
        const auto& frame = readings[i].frame;
        imgcnv_frame_sizes sizes{};
        sizes.struct_size = sizeof sizes;
        if (imgcnv_frame_measure(&frame, &sizes, text, sizeof text) != IMGCNV_OK) std::abort();
        if (frame.skip + (readings[i].frames - 1) * (sizes.frame_bytes + frame.gap) +
                sizes.needed_bytes >
            question.bytes)
            std::abort();
    }
    return 0;
}
