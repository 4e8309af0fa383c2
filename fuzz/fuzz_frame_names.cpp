// What people type and what files hold, against the frame engine: names of formats, targets and
// methods, descriptions of frames and lengths of files with any numbers in them.

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

#include "fuzz/support/input.h"
#include "imgcnv_frames.h"

namespace imgcnv::fuzzing {
namespace {

imgcnv_format_info format_at(size_t index) {
    imgcnv_format_info info{};
    info.struct_size = sizeof info;
    REQUIRE(imgcnv_format_at(static_cast<int>(index), &info) == IMGCNV_OK);
    return info;
}

imgcnv_format_info any_format(Input& input) {
    return format_at(input.pick(static_cast<size_t>(imgcnv_format_count())));
}

// A buffer of its exact length, so that a byte too many is seen.
class TextBuffer {
  public:
    explicit TextBuffer(size_t bytes) : bytes_(bytes) {}

    char* data() { return bytes_.data(); }
    size_t size() const { return bytes_.size(); }

    void check(bool is_empty) const {
        if (bytes_.empty()) return;
        const auto end = std::find(bytes_.begin(), bytes_.end(), '\0');
        REQUIRE(end != bytes_.end());
        if (bytes_.size() == 1) return;
        REQUIRE((end == bytes_.begin()) == is_empty);
        if (bytes_.size() >= IMGCNV_TEXT_BYTES && !is_empty) REQUIRE(end[-1] != '\n');
        for (auto at = bytes_.begin(); at != end; ++at) {
            REQUIRE(*at == '\n' || (*at >= ' ' && *at <= '~'), "character %d", *at);
        }
    }

  private:
    std::vector<char> bytes_;
};

TextBuffer take_buffer(Input& input) {
    return TextBuffer(input.pick(4) == 0 ? input.pick(64) : IMGCNV_TEXT_BYTES);
}

// What a name may be made of, so that real ones are met often.
std::string take_name(Input& input) {
    static const char* const kParts[] = {"PixelFormat_",
                                         "V4L2_PIX_FMT_",
                                         "GST_VIDEO_FORMAT_",
                                         "COLOR_",
                                         "0x",
                                         "Bayer",
                                         "RGGB",
                                         "Mono",
                                         "RGB",
                                         "_CSI2P",
                                         "MIPI",
                                         "Packed",
                                         "p",
                                         "BE",
                                         "_",
                                         "2BGR",
                                         "S",
                                         "YUV"};
    std::string name;
    for (size_t parts = input.pick(6); parts > 0; --parts) {
        const auto format = any_format(input);
        switch (input.pick(6)) {
            case 0:
                name += format.name;
                break;
            case 1:
                name += input.pick(2) == 0 ? format.v4l2 : format.gstreamer;
                break;
            case 2:
                name +=
                    std::to_string(input.pick(2) == 0 ? input.pick(20) : input.take<uint32_t>());
                break;
            case 3:
            case 4:
                name += input.one_of(kParts);
                break;
            default:
                for (size_t n = input.pick(90); n > 0; --n) name += input.take<char>();
        }
    }
    return name;
}

void check_names(Input& input) {
    const std::string name = take_name(input);
    auto buffer = take_buffer(input);
    uint32_t code = 0;
    uint32_t flags = 0;
    const int status =
        imgcnv_find_format(name.c_str(), &code, &flags, buffer.data(), buffer.size());
    REQUIRE(status == IMGCNV_OK || status == IMGCNV_UNKNOWN_FORMAT);
    buffer.check(status == IMGCNV_OK);
    imgcnv_format_info info{};
    info.struct_size = sizeof info;
    if (status == IMGCNV_OK) {
        REQUIRE(imgcnv_format_of_code(code, &info) == IMGCNV_OK);
        imgcnv_frame frame = IMGCNV_FRAME_INIT;
        frame.format = code;
        frame.flags = flags;
        frame.width = frame.height = 1;
        REQUIRE(imgcnv_frame_measure(&frame, nullptr, nullptr, 0) == IMGCNV_BAD_ARGUMENT);
        imgcnv_frame_sizes sizes{};
        sizes.struct_size = sizeof sizes;
        REQUIRE(imgcnv_frame_measure(&frame, &sizes, nullptr, 0) == IMGCNV_OK, "%s", name.c_str());
    }
    int value = 0;
    const int target = imgcnv_find_target(name.c_str(), &value, buffer.data(), buffer.size());
    buffer.check(target == IMGCNV_OK);
    REQUIRE((*imgcnv_target_name(value) != '\0') == (target == IMGCNV_OK));
    imgcnv_find_demosaic(name.c_str(), &value, buffer.data(), buffer.size());
}

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

void check_frame(Input& input) {
    imgcnv_frame frame = IMGCNV_FRAME_INIT;
    const auto format = any_format(input);
    frame.format = input.pick(20) == 0 ? input.take<uint32_t>() : format.code;
    frame.flags = input.pick(4) == 0 ? input.take<uint8_t>() : 0;
    frame.width = take_number(input);
    frame.height = take_number(input);
    frame.stride = input.pick(2) == 0 ? 0 : take_number(input);
    if (input.pick(2) == 0) frame.skip = take_number(input);
    if (input.pick(2) == 0) frame.gap = take_number(input);
    if (input.pick(8) == 0) frame.struct_size = input.pick(sizeof frame + 1);

    auto buffer = take_buffer(input);
    imgcnv_frame_sizes sizes{};
    sizes.struct_size = sizeof sizes;
    const int status = imgcnv_frame_measure(&frame, &sizes, buffer.data(), buffer.size());
    buffer.check(status == IMGCNV_OK);
    REQUIRE(imgcnv_frame_describe(&frame, buffer.data(), buffer.size()) == status);
    buffer.check(false);
    imgcnv_file_fit fit{};
    fit.struct_size = sizeof fit;
    const int64_t file_bytes = take_number(input);
    const int file_status =
        imgcnv_file_measure(&frame, file_bytes, &fit, buffer.data(), buffer.size());
    if (status != IMGCNV_OK) {
        REQUIRE(file_status == status);
        return;
    }
    REQUIRE(file_status == (file_bytes < 0 ? IMGCNV_BAD_ARGUMENT : IMGCNV_OK));
    REQUIRE(sizes.needed_bytes >= 0 && sizes.needed_bytes <= sizes.frame_bytes);
    if (file_status == IMGCNV_OK) {
        buffer.check(fit.fit == IMGCNV_FIT_EXACT);
        REQUIRE(fit.frames >= 0 && fit.left_over >= 0 && fit.left_over <= file_bytes);
    }
    if (sizes.frame_bytes == 0 || frame.struct_size < sizeof frame) return;
    // The file that the description says.
    frame.skip = input.between(0, 9);
    frame.gap = input.between(0, 9);
    const int64_t frames = input.between(1, 5);
    REQUIRE(imgcnv_file_measure(&frame, frame.skip + frames * (sizes.frame_bytes + frame.gap), &fit,
                                nullptr, 0) == IMGCNV_OK);
    REQUIRE(fit.frames >= frames && fit.left_over >= 0);
}

}  // namespace
}  // namespace imgcnv::fuzzing

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    imgcnv::fuzzing::Input input(data, size);
    if (input.pick(2) == 0) {
        imgcnv::fuzzing::check_names(input);
    } else {
        imgcnv::fuzzing::check_frame(input);
    }
    return 0;
}
