// The inverse of every layout.

#include "geometry/frame_geometry.h"
#include "layouts/kernel_table.h"
#include "layouts/pack_plain.h"
#include "support/boundary.h"

#include <array>
#include <cmath>

namespace frames {
namespace {

enum Channel { kRed, kGreen, kBlue };
using Pixel = std::array<unsigned, 3>;

/// Colour of a mosaic's sites: of even rows, then of odd ones, each of even columns, then of odd.
Channel site_color(int order, std::int64_t x, std::int64_t y) {
    constexpr Channel kSites[][4] = {
        {kGreen, kGreen, kGreen, kGreen},  // no mosaic
        {kRed, kGreen, kGreen, kBlue},     // RG
        {kGreen, kBlue, kRed, kGreen},     // GB
        {kBlue, kGreen, kGreen, kRed},     // BG
        {kGreen, kRed, kBlue, kGreen},     // GR
    };
    return kSites[order][y % 2 * 2 + x % 2];
}

/// BT.601; 8-bit values with their fractions. U and V are about 128.
struct Yuv {
    double y, u, v;
};

Yuv yuv_of(double red, double green, double blue) {
    return {0.299 * red + 0.587 * green + 0.114 * blue,
            128 - 0.168736 * red - 0.331264 * green + 0.5 * blue,
            128 + 0.5 * red - 0.418688 * green - 0.081312 * blue};
}

std::uint8_t rounded(double value) {
    return static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0, 255.0)));
}

/// Rows and columns that a point can tell, counted from 1 in 12 bits.
constexpr std::int64_t kMostPoints = 4095;

class Packer {
  public:
    Packer(const Geometry& geometry, const std::uint16_t* samples, int channels)
        : geometry_(geometry),
          format_(*geometry.format),
          layout_(sample_layout(format_, geometry.big_endian)),
          samples_(samples),
          channels_(channels) {}

    /// Into frame_bytes of zeros.
    void pack(std::uint8_t* frame) const {
        for (std::int64_t y = 0; y < geometry_.height; ++y) {
            if (geometry_.is_stream())
                pack_samples(frame, y, y * geometry_.width);
            else if (is_yuv(format_))
                pack_yuv(frame + y * geometry_.stride, y);
            else
                pack_samples(frame + y * geometry_.stride, y, 0);
        }
    }

    /// A list of points, which ends with one of zeros. Returns its bytes; null: only counts them.
    std::int64_t pack_points(std::uint8_t* list) const {
        std::int64_t bytes = 0;
        const auto put = [&](unsigned value, std::int64_t place) {
            if (list != nullptr)
                for (const auto byte : {std::int64_t{value}, place >> 16, place >> 8, place})
                    list[bytes++] = static_cast<std::uint8_t>(byte);
            else
                bytes += 4;
        };
        for (std::int64_t y = 0; y < geometry_.height; ++y)
            for (std::int64_t x = 0; x < geometry_.width; ++x)
                if (const unsigned value = grey(x, y) >> 8; value != 0)
                    put(value, (y + 1) << 12 | (x + 1));
        put(0, 0);
        return bytes;
    }

  private:
    Pixel pixel(std::int64_t x, std::int64_t y) const {
        const std::uint16_t* at = samples_ + (y * geometry_.width + x) * channels_;
        if (channels_ == 1) return {*at, *at, *at};
        return {at[kRed], at[kGreen], at[kBlue]};
    }
    unsigned grey(std::int64_t x, std::int64_t y) const {
        const Pixel rgb = pixel(x, y);
        return (299U * rgb[kRed] + 587U * rgb[kGreen] + 114U * rgb[kBlue] + 500U) / 1000U;
    }

    /// Channel c of a pixel as it stands in the frame, 16 bits.
    unsigned value(std::int64_t x, std::int64_t y, int c) const {
        if (is_mosaic(format_)) return pixel(x, y)[site_color(format_.order, x, y)];
        if (!is_rgb(format_)) return grey(x, y);
        if (c == 3) return 65535;  // opaque
        const bool blue_first =
            format_.layout == IMGCNV_LAYOUT_BGR || format_.layout == IMGCNV_LAYOUT_BGRA;
        return pixel(x, y)[static_cast<std::size_t>(blue_first ? 2 - c : c)];
    }

    void pack_samples(std::uint8_t* out, std::int64_t y, std::int64_t first) const {
        const int channels = frames::channels(format_);
        for (std::int64_t x = 0; x < geometry_.width; ++x)
            for (int c = 0; c < channels; ++c)
                put_sample_plain(layout_, out, static_cast<std::size_t>((first + x) * channels + c),
                                 value(x, y, c) >> (16 - format_.depth));
    }

    void pack_yuv(std::uint8_t* out, std::int64_t y) const {
        constexpr std::string_view kGroups[] = {"UYYVYY", "UYVY", "YUYV", "UYV"};
        const auto group = kGroups[format_.layout - IMGCNV_LAYOUT_UYYVYY];
        const std::int64_t pixels = format_.group_pixels;
        for (std::int64_t x = 0; x < geometry_.width; x += pixels) {
            Yuv mean{0, 0, 0};
            double luma[4];
            for (std::int64_t i = 0; i < pixels; ++i) {
                const Pixel rgb = pixel(std::min(x + i, geometry_.width - 1), y);
                const Yuv yuv = yuv_of(rgb[kRed] >> 8, rgb[kGreen] >> 8, rgb[kBlue] >> 8);
                luma[i] = yuv.y;
                mean.u += yuv.u / static_cast<double>(pixels);
                mean.v += yuv.v / static_cast<double>(pixels);
            }
            const double* next_luma = luma;
            for (const char part : group)
                *out++ = part == 'Y' ? luma_byte(*next_luma++)
                                     : chroma_byte(part == 'U' ? mean.u : mean.v);
        }
    }
    std::uint8_t luma_byte(double y) const {
        return rounded(geometry_.video_range ? 16 + y * 219 / 255 : y);
    }
    std::uint8_t chroma_byte(double c) const {
        return rounded(geometry_.video_range ? 128 + (c - 128) * 224 / 255 : c);
    }

    const Geometry& geometry_;
    const Format& format_;
    const SampleLayout layout_;
    const std::uint16_t* const samples_;
    const int channels_;
};

bool overlap(const void* a, std::size_t a_bytes, const void* b, std::size_t b_bytes) {
    const auto first = reinterpret_cast<std::uintptr_t>(a);
    const auto second = reinterpret_cast<std::uintptr_t>(b);
    return first < second + b_bytes && second < first + a_bytes;
}

int pack(const imgcnv_frame* frame, const std::uint16_t* samples, int channels, void* destination,
         std::size_t destination_bytes, Text& text) {
    Geometry geometry;
    if (const auto status = measure(frame, geometry, text)) return status;
    if (samples == nullptr || destination == nullptr) {
        text << (samples == nullptr ? "the samples are null" : "the destination is null");
        return IMGCNV_BAD_ARGUMENT;
    }
    if (channels != 1 && channels != 3) {
        text << channels << " channels: expected 1 (grey) or 3 (red, green, blue)";
        return IMGCNV_BAD_ARGUMENT;
    }
    const bool points = is_points(*geometry.format);
    if (points && std::max(geometry.width, geometry.height) > kMostPoints) {
        text << geometry.format->name << " reaches " << kMostPoints
             << " rows and columns; the frame has " << geometry.width << "x" << geometry.height;
        return IMGCNV_BAD_ARGUMENT;
    }
    const Packer packer(geometry, samples, channels);
    const std::int64_t bytes = points ? packer.pack_points(nullptr) : geometry.frame_bytes;
    if (destination_bytes < static_cast<std::size_t>(bytes)) {
        text << "the destination has " << static_cast<std::int64_t>(destination_bytes)
             << " bytes, expected at least " << bytes << " for ";
        describe(geometry, text);
        return IMGCNV_BAD_SIZE;
    }
    const auto sample_bytes = static_cast<std::size_t>(geometry.width * geometry.height) *
                              static_cast<std::size_t>(channels) * 2;
    if (overlap(samples, sample_bytes, destination, static_cast<std::size_t>(bytes))) {
        text << "the samples and the destination share bytes";
        return IMGCNV_OVERLAP;
    }
    auto* out = static_cast<std::uint8_t*>(destination);
    if (points) {
        packer.pack_points(out);
    } else {
        std::memset(out, 0, static_cast<std::size_t>(bytes));
        packer.pack(out);
    }
    return IMGCNV_OK;
}

}  // namespace
}  // namespace frames

extern "C" int imgcnv_pack_frame(const imgcnv_frame* frame, const uint16_t* samples, int channels,
                                 void* destination, size_t destination_bytes, char* buffer,
                                 size_t buffer_bytes) {
    frames::Text text(buffer, buffer_bytes);
    return frames::guarded(text, [&] {
        return frames::pack(frame, samples, channels, destination, destination_bytes, text);
    });
}
