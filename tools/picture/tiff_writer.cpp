#include "errors.h"
#include "picture/encode.h"

#include <tiffio.h>
#include <algorithm>
#include <cstring>
#include <memory>

namespace tool {
namespace {

/// libtiff seeks back to complete its directory, which pipes cannot do: it gets memory.
struct MemoryFile {
    std::vector<std::uint8_t>& bytes;
    std::size_t at = 0;
};

MemoryFile& file(thandle_t handle) { return *static_cast<MemoryFile*>(handle); }

tmsize_t read_bytes(thandle_t handle, void* data, tmsize_t size) {
    auto& f = file(handle);
    const auto left = f.bytes.size() - std::min(f.at, f.bytes.size());
    const auto count = std::min(left, static_cast<std::size_t>(size));
    std::memcpy(data, f.bytes.data() + f.at, count);
    f.at += count;
    return static_cast<tmsize_t>(count);
}

tmsize_t write_bytes(thandle_t handle, void* data, tmsize_t size) {
    auto& f = file(handle);
    const auto end = f.at + static_cast<std::size_t>(size);
    try {
        if (f.bytes.size() < end) f.bytes.resize(end);
    } catch (const std::bad_alloc&) {
        return -1;
    }
    std::memcpy(f.bytes.data() + f.at, data, static_cast<std::size_t>(size));
    f.at = end;
    return size;
}

toff_t seek(thandle_t handle, toff_t offset, int whence) {
    auto& f = file(handle);
    const auto base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? f.at : f.bytes.size();
    f.at = base + static_cast<std::size_t>(offset);
    return f.at;
}

toff_t size_of(thandle_t handle) { return file(handle).bytes.size(); }
int close_nothing(thandle_t) { return 0; }

int scheme_of(TiffCompression compression) {
    if (compression == TiffCompression::None) return COMPRESSION_NONE;
    const bool deflate = compression == TiffCompression::Deflate;
    const int scheme = deflate ? COMPRESSION_ADOBE_DEFLATE : COMPRESSION_ZSTD;
    if (TIFFIsCODECConfigured(static_cast<std::uint16_t>(scheme)) == 0)
        throw UsageError(std::string("--compression ") + (deflate ? "deflate" : "zstd") +
                         ": the TIFF library of this system was built without it");
    return scheme;
}

constexpr std::int64_t kClassicLimit = 0xF0000000;  // 32-bit offsets, with room for the directory

}  // namespace

void encode_tiff(const Picture& picture, TiffCompression compression, int level,
                 std::vector<std::uint8_t>& out) {
    const int scheme = scheme_of(compression);
    MemoryFile memory{out};
    TIFFSetErrorHandler(nullptr);
    TIFFSetWarningHandler(nullptr);
    const std::unique_ptr<TIFF, void (*)(TIFF*)> tiff(
        TIFFClientOpen("picture", picture.bytes() > kClassicLimit ? "w8m" : "wm", &memory,
                       read_bytes, write_bytes, seek, close_nothing, size_of, nullptr, nullptr),
        TIFFClose);
    if (!tiff) throw Failure("TIFF: the encoder does not start");
    auto* t = tiff.get();
    const int samples = picture.kind.channels;
    TIFFSetField(t, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(picture.width));
    TIFFSetField(t, TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(picture.height));
    TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, samples);
    TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, 8 * picture.kind.sample_bytes);
    TIFFSetField(t, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(t, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    TIFFSetField(t, TIFFTAG_COMPRESSION, scheme);
    if (scheme != COMPRESSION_NONE) TIFFSetField(t, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
    if (scheme == COMPRESSION_ADOBE_DEFLATE) TIFFSetField(t, TIFFTAG_ZIPQUALITY, level);
    if (scheme == COMPRESSION_ZSTD) TIFFSetField(t, TIFFTAG_ZSTD_LEVEL, std::max(level, 1));
    TIFFSetField(t, TIFFTAG_PHOTOMETRIC, samples == 1 ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB);
    if (samples == 4) {
        const std::uint16_t extra = EXTRASAMPLE_UNASSALPHA;
        TIFFSetField(t, TIFFTAG_EXTRASAMPLES, 1, &extra);
    }
    TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(t, 0));
    // The predictor works in the row it is given.
    for (std::int64_t y = 0; y < picture.height; ++y)
        if (TIFFWriteScanline(t, picture.row(y), static_cast<std::uint32_t>(y), 0) < 0)
            throw Failure("TIFF: not enough memory");
    if (TIFFFlush(t) == 0) throw Failure("TIFF: not enough memory");
}

}  // namespace tool
