// Frames to convert, and conversions of them through the exported functions.
#pragma once

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "support/formats.h"
#include "support/guarded_buffer.h"

namespace imgcnv::testing {

using Bytes = std::vector<uint8_t>;

// The seed of this run: printed by main, given again with --seed=N.
uint32_t run_seed();

inline Bytes random_bytes(size_t count, std::mt19937& random) {
    Bytes bytes(count);
    // Extremes are frequent: they are what clamps, carries and ties are made of.
    for (uint8_t& b : bytes) {
        const uint32_t r = random();
        b = (r & 0x700) == 0 ? 0 : (r & 0x700) == 0x100 ? 255 : static_cast<uint8_t>(r);
    }
    return bytes;
}

struct Frame {
    SourceFormat format;
    Record record;
    Bytes bytes;
};

// A frame of `height` rows of `width` random samples, each row followed by
// `padding` bytes. A Mono1C frame gets points inside the picture.
inline Frame random_frame(const SourceFormat& format, int width, int height, int padding,
                          std::mt19937& random) {
    int size = (row_bytes(format, width) + padding) * height;
    if (is_stream(format)) size = row_bytes(format, width * height);
    size = std::max(size, 1);  // packed mono of one column has no samples at all
    if (format.code == IMGCNV_PIXEL_MONO1C) size = 4 * (width + height);
    Frame frame{format, {width, height, padding, 0, size, format.code}, random_bytes(size, random)};
    if (format.code == IMGCNV_PIXEL_MONO1C) {
        for (size_t i = 0; i < frame.bytes.size(); i += 4) {
            const uint32_t place =
                (random() % height + 1) << 12 | (random() % std::min(width, 4095) + 1);
            frame.bytes[i + 1] = place >> 16;
            frame.bytes[i + 2] = place >> 8;
            frame.bytes[i + 3] = place;
        }
    }
    return frame;
}

// Opens, converts, closes. The method is an int to allow for values that are none.
inline int convert(const Record& record, PixelFormat destination, int method, const uint8_t* src,
                   uint8_t* dst) {
    Record copy = record;
    IMGCNV_HANDLE handle = nullptr;
    int size = 0;
    const int opened =
        IMGCNV_open(&copy, destination, &handle, &size, static_cast<Demosaic>(method));
    if (opened != IMGCNV_SUCCESS) return opened;
    const int status = IMGCNV_convert(handle, const_cast<uint8_t*>(src), dst);
    EXPECT_EQ(IMGCNV_close(handle), IMGCNV_SUCCESS);
    return status;
}

// What `bytes`, as a frame like `record`, become in a destination of `size`
// bytes that held `fill`.
inline Bytes converted(const Record& record, const Bytes& bytes, PixelFormat destination,
                       int method, size_t size, uint8_t fill = 0xA5) {
    Bytes result(size, fill);
    EXPECT_EQ(convert(record, destination, method, bytes.data(), result.data()), IMGCNV_SUCCESS);
    return result;
}

inline Bytes converted(const Frame& frame, PixelFormat destination, int method,
                       uint8_t fill = 0xA5) {
    return converted(frame.record, frame.bytes, destination, method,
                     bytes_written(frame.format, frame.record, destination), fill);
}

}  // namespace imgcnv::testing
