// Hostile arguments against the exported functions: any record, code, method and null pointer. What
// must be refused is refused and changes nothing; what is accepted reports the right size.

#include <climits>
#include <vector>

#include "fuzz/support/extent.h"
#include "fuzz/support/input.h"
#include "tests/support/one_shot.h"

// Some one-shot failures leave their converter allocated, by contract.
extern "C" __attribute__((weak)) void __lsan_disable();
extern "C" __attribute__((weak)) void __lsan_enable();

namespace imgcnv::fuzzing {
namespace {

using testing::Demosaic;

constexpr int64_t kLargestBuffer = 1 << 16;

int take_field(Input& input) {
    constexpr int kInteresting[] = {0, -1, INT_MIN, INT_MAX, 65535, 65536, 46341, 1 << 30, 1, 2};
    switch (input.pick(4)) {
        case 0:
            return input.one_of(kInteresting);
        case 1:
            return input.take<int32_t>();
        default:
            return input.between(1, 60);
    }
}

PixelFormat take_code(Input& input) {
    switch (input.pick(4)) {
        case 0:
            return static_cast<PixelFormat>(input.take<int32_t>());
        case 1:
            return input.one_of(testing::kDestinations);
        default:
            return input.one_of(testing::kSources).code;
    }
}

const SourceFormat* find_source(PixelFormat code) {
    for (const SourceFormat& s : testing::kSources) {
        if (s.code == code) return &s;
    }
    return nullptr;
}

// Every argument that any of the functions takes.
struct Arguments {
    Record record;
    PixelFormat destination;
    Demosaic method;
    bool no_source, no_record, no_destination, no_out;
    int preset;

    bool null_given() const { return no_source || no_record || no_destination; }
    bool bad_geometry() const {
        return record.width < 1 || record.height < 1 || record.dataSize < 1;
    }
};

Arguments take_arguments(Input& input) {
    Arguments a{};
    for (int* field : {&a.record.width, &a.record.height, &a.record.rowPadding, &a.record.reserved,
                       &a.record.dataSize}) {
        *field = take_field(input);
    }
    a.record.pixelFormat = take_code(input);
    a.destination = take_code(input);
    a.method = static_cast<Demosaic>(take_field(input));
    const uint8_t nulls = input.take<uint8_t>();
    a.no_source = (nulls & 0x11) == 0x11;
    a.no_record = (nulls & 0x22) == 0x22;
    a.no_destination = (nulls & 0x44) == 0x44;
    a.no_out = (nulls & 0x88) == 0x88;
    a.preset = take_field(input);
    return a;
}

void check_open(const Arguments& a) {
    Record record = a.record;
    IMGCNV_HANDLE handle = &record;
    int size = a.preset;
    const int status = IMGCNV_open(a.no_record ? nullptr : &record, a.destination,
                                   a.no_out ? nullptr : &handle, &size, a.method);
    const SourceFormat* source = find_source(a.record.pixelFormat);
    const bool refused = a.no_record || a.no_out || a.bad_geometry();
    REQUIRE(std::memcmp(&record, &a.record, sizeof record) == 0);
    REQUIRE(status == (refused  ? IMGCNV_ILLEGAL_PARAM
                       : source ? IMGCNV_SUCCESS
                                : IMGCNV_NOT_SUPPORT));
    if (status != IMGCNV_SUCCESS) {
        REQUIRE(handle == &record && size == a.preset);
        return;
    }
    REQUIRE(size == reported_size(*source, a.record, a.destination, a.preset));
    uint8_t byte = 1;
    REQUIRE(IMGCNV_convert(handle, nullptr, &byte) == IMGCNV_ILLEGAL_PARAM);
    REQUIRE(IMGCNV_convert(handle, &byte, nullptr) == IMGCNV_ILLEGAL_PARAM);
    REQUIRE(IMGCNV_convert(nullptr, &byte, &byte) == IMGCNV_ILLEGAL_PARAM);
    REQUIRE(IMGCNV_close(nullptr) == IMGCNV_ILLEGAL_PARAM);
    REQUIRE(IMGCNV_close(handle) == IMGCNV_SUCCESS);
}

// Buffers of exactly the size that the conversion may touch, on the heap, where the address
// sanitizer watches both ends. None when the frame is too large to try.
struct Buffers {
    std::vector<uint8_t> source, destination;
    ptrdiff_t source_offset = 0;
    bool usable = false;

    Buffers(const SourceFormat& format, const Record& r, PixelFormat destination_code,
            const Input& content) {
        // The extents are computed without wrapping, for frames of a moderate size.
        constexpr int kMost = 1 << 12;
        if (r.width > kMost || r.height > kMost || r.rowPadding > kMost || r.rowPadding < -kMost ||
            r.dataSize > 1 << 20) {
            return;
        }
        const Extent read = read_extent(format, r, destination_code);
        const size_t written = written_size(format, r, destination_code);
        if (std::max(read.size(), written) > size_t{kLargestBuffer}) return;
        source.resize(read.size());
        // A list of points that ends at once: fuzz_convert has the others.
        if (format.code != IMGCNV_PIXEL_MONO1C) content.fill(source);
        destination.resize(written);
        source_offset = -read.begin;
        usable = true;
    }
    uint8_t* src() {
        static uint8_t none;
        return source.empty() ? &none : source.data() + source_offset;
    }
    uint8_t* dst() {
        static uint8_t none;
        return destination.empty() ? &none : destination.data();
    }
};

void check_one_shot(const testing::OneShot& function, const Arguments& a, const Input& content) {
    Record record = a.record;
    int size = a.preset;
    uint8_t byte = 0x6B;
    const auto call = [&](uint8_t* src, uint8_t* dst) {
        return function.call(a.no_source ? nullptr : src, a.no_record ? nullptr : &record,
                             a.no_destination ? nullptr : dst, &size, a.method);
    };
    const SourceFormat* source = find_source(a.record.pixelFormat);
    if (a.null_given() || a.bad_geometry() || source == nullptr) {
        const bool unknown_format = !a.null_given() && !a.bad_geometry();
        REQUIRE(call(&byte, &byte) == (unknown_format ? IMGCNV_NOT_SUPPORT : IMGCNV_ILLEGAL_PARAM));
        REQUIRE(byte == 0x6B && size == a.preset);
    } else if (const int wanted = reported_size(*source, a.record, function.destination, a.preset);
               wanted == 0) {
        if (__lsan_disable) __lsan_disable();
        REQUIRE(call(&byte, &byte) == IMGCNV_ILLEGAL_PARAM);
        if (__lsan_enable) __lsan_enable();
        REQUIRE(byte == 0x6B && size == 0);
    } else if (Buffers buffers(*source, a.record, function.destination, content); buffers.usable) {
        REQUIRE(call(buffers.src(), buffers.dst()) == IMGCNV_SUCCESS);
        REQUIRE(size == wanted);

        // The handle gives the same picture.
        const std::vector<uint8_t> picture = buffers.destination;
        std::fill(buffers.destination.begin(), buffers.destination.end(), 0);
        IMGCNV_HANDLE handle = nullptr;
        REQUIRE(IMGCNV_open(&record, function.destination, &handle, &size,
                            function.fixed_method ? IMGCNV_DEMOSAIC_BILINEAR : a.method) == 0);
        REQUIRE(IMGCNV_convert(handle, buffers.src(), buffers.dst()) == IMGCNV_SUCCESS);
        REQUIRE(IMGCNV_close(handle) == IMGCNV_SUCCESS);
        REQUIRE(picture == buffers.destination);
    }
    REQUIRE(std::memcmp(&record, &a.record, sizeof record) == 0);
}

uint32_t wrapped_size(const Record& r, int bytes) {
    return static_cast<uint32_t>(r.width) * static_cast<uint32_t>(r.height) *
           static_cast<uint32_t>(bytes);
}

void check_turn(size_t which, const Arguments& a) {
    constexpr int (*kTurns[])(unsigned char*, Record*, unsigned char*, int*) = {
        IMGCNV_FlipToHorizontal, IMGCNV_FlipToVertical, IMGCNV_RotationToAngle90,
        IMGCNV_RotationToAngle180, IMGCNV_RotationToAngle270};
    const PixelFormat code = a.record.pixelFormat;
    const int bytes = code == IMGCNV_PIXEL_MONO8         ? 1
                      : code == IMGCNV_PIXEL_RGB8_PACKED ? 3
                      : code == IMGCNV_PIXEL_BGR8_PACKED ? 3
                                                         : 0;
    const uint32_t exact = wrapped_size(a.record, bytes);
    const bool accepted = !a.null_given() && !a.no_out && !a.bad_geometry() && bytes != 0 &&
                          a.record.dataSize == static_cast<int32_t>(exact);
    // Sides whose product wraps describe a picture that no buffer holds: the caller's duty.
    if (accepted && int64_t{a.record.width} * a.record.height > kLargestBuffer) return;

    Record record = a.record;
    int size = a.preset;
    std::vector<uint8_t> source(accepted ? exact : 1, 0x21), destination(source.size(), 0x6B);
    const int status =
        kTurns[which](a.no_source ? nullptr : source.data(), a.no_record ? nullptr : &record,
                      a.no_destination ? nullptr : destination.data(), a.no_out ? nullptr : &size);
    REQUIRE(status == (accepted ? IMGCNV_SUCCESS : IMGCNV_ILLEGAL_PARAM));
    REQUIRE(size == (accepted ? a.record.dataSize : a.preset));
    REQUIRE(destination == std::vector<uint8_t>(source.size(), accepted ? 0x21 : 0x6B));
    if (accepted && (which == 2 || which == 4)) std::swap(record.width, record.height);
    REQUIRE(std::memcmp(&record, &a.record, sizeof record) == 0);
}

void check_call(Input& input) {
    Arguments a = take_arguments(input);
    const size_t function = input.pick(14);
    if (function == 0) {
        check_open(a);
    } else if (function < 9) {
        check_one_shot(testing::kOneShots[function - 1], a, input);
    } else {
        // Without help hardly any size would fit.
        if (input.pick(2) == 0) {
            const int bytes = a.record.pixelFormat == IMGCNV_PIXEL_MONO8 ? 1 : 3;
            a.record.dataSize = static_cast<int32_t>(wrapped_size(a.record, bytes));
        }
        check_turn(function - 9, a);
    }
}

}  // namespace
}  // namespace imgcnv::fuzzing

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    imgcnv::fuzzing::Input input(data, size);
    imgcnv::fuzzing::check_call(input);
    return 0;
}
