// Every kind of conversion there is, as a list, with made-up frames that are the same on every
// machine.
#pragma once

#include <imgcnv.h>

#include <vector>

#include "support/formats.h"

namespace imgcnv::testing {

using Bytes = std::vector<uint8_t>;

struct Conversion {
    SourceFormat format;
    PixelFormat destination;
    int method;
    int width, height, padding;
};

// Random bytes that depend on the seed alone.
inline Bytes noise(size_t count, uint64_t seed) {
    Bytes bytes(count);
    uint64_t state = seed * 0x9E3779B97F4A7C15u | 1;
    for (uint8_t& byte : bytes) {
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        byte = static_cast<uint8_t>(state >> 32);
    }
    return bytes;
}

struct Job {
    Conversion conversion;
    Record record;
    Bytes source;
    size_t written;
};

inline Job job_of(const Conversion& c) {
    const bool points = c.format.code == IMGCNV_PIXEL_MONO1C;
    int size = (row_bytes(c.format, c.width) + c.padding) * c.height;
    if (is_stream(c.format)) size = row_bytes(c.format, c.width * c.height);
    if (points) size = 4 * (c.width + c.height);
    if (size == 0) size = 1;  // one column of a packed mono frame
    const Record record{c.width, c.height, c.padding, 0, size, c.format.code};
    const uint64_t seed = (uint64_t{static_cast<uint32_t>(c.format.code)} << 32) ^
                          static_cast<uint64_t>(c.width * 1000 + c.height * 10 + c.padding);
    Job job{c, record, noise(static_cast<size_t>(size), seed),
            bytes_written(c.format, record, c.destination)};
    if (points) {
        for (size_t i = 0; i < job.source.size(); i += 4) {
            uint8_t* const p = &job.source[i];
            const uint32_t place = static_cast<uint32_t>(p[1] % c.height + 1) << 12 |
                                   static_cast<uint32_t>((p[2] << 8 | p[3]) % c.width + 1);
            p[1] = static_cast<uint8_t>(place >> 16);
            p[2] = static_cast<uint8_t>(place >> 8);
            p[3] = static_cast<uint8_t>(place);
        }
    }
    return job;
}

// All formats to all destinations by all methods, with and without padding.
inline std::vector<Conversion> all_conversions(std::initializer_list<int> widths,
                                               std::initializer_list<int> heights) {
    std::vector<Conversion> all;
    for (const SourceFormat& format : kSources) {
        for (PixelFormat destination : kDestinations) {
            for (int method : {0, 1, 2}) {
                if (!is_bayer(format) && method != 1) continue;
                for (int width : widths) {
                    for (int height : heights) {
                        for (int padding : {0, 5}) {
                            all.push_back({format, destination, method, width, height, padding});
                        }
                    }
                }
            }
        }
    }
    return all;
}

inline IMGCNV_HANDLE open(const Conversion& c, const Record& record) {
    Record copy = record;
    IMGCNV_HANDLE handle = nullptr;
    int size = 0;
    const int status =
        IMGCNV_open(&copy, c.destination, &handle, &size, static_cast<Demosaic>(c.method));
    return status == IMGCNV_SUCCESS ? handle : nullptr;
}

// FNV-1a of the picture. 0 when the conversion fails.
inline uint64_t digest(IMGCNV_HANDLE handle, const Job& job, Bytes& destination) {
    destination.assign(job.written + 1, 0xA5);
    uint8_t* const source = const_cast<uint8_t*>(job.source.data());
    if (IMGCNV_convert(handle, source, destination.data()) != IMGCNV_SUCCESS) return 0;
    uint64_t sum = 0xCBF29CE484222325u;
    for (uint8_t byte : destination) sum = (sum ^ byte) * 0x100000001B3u;
    return sum;
}

inline uint64_t digest(const Conversion& conversion, Bytes& destination) {
    const Job job = job_of(conversion);
    const IMGCNV_HANDLE handle = open(conversion, job.record);
    if (handle == nullptr) return 0;
    const uint64_t sum = digest(handle, job, destination);
    return IMGCNV_close(handle) == IMGCNV_SUCCESS ? sum : 0;
}

}  // namespace imgcnv::testing
