#include "picture/encode.h"

#include <isa-l/igzip_lib.h>
#include <libdeflate.h>
#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <new>

namespace tool {
namespace {

using Bytes = std::vector<std::uint8_t>;

enum Filter : std::uint8_t { kFilterNone = 0, kFilterAverage = 3 };

void put32(std::uint8_t* to, std::uint32_t value) {
    for (int i = 0; i < 4; ++i) to[i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
}

/// Length, type, data, and the sum of type and data.
void put_chunk(Bytes& out, const char* type, std::span<const std::uint8_t> data) {
    const auto at = out.size();
    out.resize(at + 12 + data.size());
    auto* chunk = out.data() + at;
    put32(chunk, static_cast<std::uint32_t>(data.size()));
    std::memcpy(chunk + 4, type, 4);
    if (!data.empty()) std::memcpy(chunk + 8, data.data(), data.size());
    put32(chunk + 8 + data.size(), libdeflate_crc32(0, chunk + 4, data.size() + 4));
}

void put_header(Bytes& out, const Picture& picture) {
    constexpr std::uint8_t kSignature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    constexpr std::uint8_t kGrey = 0, kColor = 2, kColorAlpha = 6;
    out.insert(out.end(), std::begin(kSignature), std::end(kSignature));
    std::array<std::uint8_t, 13> header{};
    put32(header.data(), static_cast<std::uint32_t>(picture.width));
    put32(header.data() + 4, static_cast<std::uint32_t>(picture.height));
    header[8] = static_cast<std::uint8_t>(8 * picture.kind.sample_bytes);
    header[9] = picture.kind.has_alpha() ? kColorAlpha : picture.kind.is_color() ? kColor : kGrey;
    put_chunk(out, "IHDR", header);
}

/// Each byte less the mean of those to its left and above.
void subtract_average(const std::uint8_t* row, const std::uint8_t* above, std::size_t bytes,
                      std::size_t pixel, std::uint8_t* out) {
    for (std::size_t i = 0; i < pixel; ++i)
        out[i] = static_cast<std::uint8_t>(row[i] - (above[i] >> 1));
    for (std::size_t i = pixel; i < bytes; ++i)
        out[i] = static_cast<std::uint8_t>(row[i] - ((row[i - pixel] + above[i]) >> 1));
}

/// The picture's rows as PNG compresses them, each behind the number of its filter.
///
/// One filter for all: on photographs the mean makes smaller files than any other single filter, is
/// as fast as a copy, and choosing among all five for each row gains less than 1 %.
void filter_rows(const Picture& picture, bool average, Bytes& out) {
    const auto bytes = static_cast<std::size_t>(picture.row_bytes());
    const Bytes black(bytes);
    out.resize((bytes + 1) * static_cast<std::size_t>(picture.height));
    auto* to = out.data();
    for (std::int64_t y = 0; y < picture.height; ++y, to += bytes + 1) {
        to[0] = average ? kFilterAverage : kFilterNone;
        if (average)
            subtract_average(picture.row(y), y > 0 ? picture.row(y - 1) : black.data(), bytes,
                             static_cast<std::size_t>(picture.kind.bytes()), to + 1);
        else
            std::memcpy(to + 1, picture.row(y), bytes);
    }
}

struct FreeCompressor {
    void operator()(libdeflate_compressor* compressor) const {
        libdeflate_free_compressor(compressor);
    }
};

/// Compressors are as large as small frames, and each worker keeps its own.
libdeflate_compressor* compressor_of_thread(int level) {
    thread_local std::unique_ptr<libdeflate_compressor, FreeCompressor> compressor;
    thread_local int its_level = -1;
    if (its_level != level) {
        compressor.reset(libdeflate_alloc_compressor(level));
        its_level = compressor ? level : -1;
    }
    if (!compressor) throw std::bad_alloc();
    return compressor.get();
}

/// Level 1, which batches use: ISA-L takes half of the time of libdeflate's level 1 for files as
/// large.
void compress_fast(std::span<const std::uint8_t> rows, Bytes& out) {
    constexpr std::size_t kMostAtOnce = 1 << 30;  // the library counts in 32 bits
    thread_local Bytes memory(ISAL_DEF_LVL1_DEFAULT);
    isal_zstream stream;
    isal_deflate_init(&stream);
    stream.gzip_flag = IGZIP_ZLIB;
    stream.level = 1;
    stream.level_buf = memory.data();
    stream.level_buf_size = static_cast<std::uint32_t>(memory.size());
    std::size_t written = 0;
    out.resize(rows.size() / 2 + 4096);
    while (stream.internal_state.state != ZSTATE_END) {
        if (stream.avail_in == 0 && stream.end_of_stream == 0) {
            const auto part = rows.first(std::min(rows.size(), kMostAtOnce));
            rows = rows.subspan(part.size());
            stream.next_in = const_cast<std::uint8_t*>(part.data());
            stream.avail_in = static_cast<std::uint32_t>(part.size());
            stream.end_of_stream = rows.empty() ? 1 : 0;
        }
        if (written == out.size()) out.resize(out.size() + out.size() / 2);
        const auto room = std::min(out.size() - written, kMostAtOnce);
        stream.next_out = out.data() + written;
        stream.avail_out = static_cast<std::uint32_t>(room);
        isal_deflate(&stream);
        written += room - stream.avail_out;
    }
    out.resize(written);
}

/// The rows as a zlib stream.
void compress(const Bytes& rows, int level, Bytes& out) {
    if (level == 1) return compress_fast(rows, out);
    auto* compressor = compressor_of_thread(level);
    out.resize(libdeflate_zlib_compress_bound(compressor, rows.size()));
    out.resize(
        libdeflate_zlib_compress(compressor, rows.data(), rows.size(), out.data(), out.size()));
}

}  // namespace

void encode_png(const Picture& picture, int level, Bytes& out) {
    // Kept by each worker: fresh pages for every frame take as long as a filter.
    thread_local Bytes rows, data;
    filter_rows(picture, level > 0, rows);
    compress(rows, level, data);
    constexpr std::size_t kLongestChunk = 0x7FFFFFFF;
    out.reserve(out.size() + data.size() + 12 * (data.size() / kLongestChunk + 4) + 32);
    put_header(out, picture);
    auto left = std::span<const std::uint8_t>(data);
    while (!left.empty()) {
        const auto part = left.first(std::min(left.size(), kLongestChunk));
        put_chunk(out, "IDAT", part);
        left = left.subspan(part.size());
    }
    put_chunk(out, "IEND", {});
}

}  // namespace tool
