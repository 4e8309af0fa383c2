#include "frame/pack_frame.h"

#include "errors.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace tool {
namespace {

enum Channel { kRed, kGreen, kBlue };

unsigned grey(const std::uint16_t* rgb) {
    return (299U * rgb[kRed] + 587U * rgb[kGreen] + 114U * rgb[kBlue] + 500U) / 1000U;
}

/// Colour of a mosaic's sites: rows of even y, then of odd y, each of even x, then of odd x.
Channel siteColor(Order order, std::int64_t x, std::int64_t y) {
    constexpr Channel kSites[][4] = {
        {kGreen, kGreen, kGreen, kGreen},  // no mosaic
        {kRed, kGreen, kGreen, kBlue},     // RG
        {kGreen, kBlue, kRed, kGreen},     // GB
        {kBlue, kGreen, kGreen, kRed},     // BG
        {kGreen, kRed, kBlue, kGreen},     // GR
    };
    return kSites[static_cast<int>(order)][(y % 2) * 2 + x % 2];
}

struct Yuv {
    std::uint8_t y, u, v;
};

std::uint8_t rounded(double value) {
    return static_cast<std::uint8_t>(std::clamp(std::lround(value), 0L, 255L));
}

Yuv yuvOf(double red, double green, double blue) {
    return {rounded(0.299 * red + 0.587 * green + 0.114 * blue),
            rounded(128 - 0.168736 * red - 0.331264 * green + 0.5 * blue),
            rounded(128 + 0.5 * red - 0.418688 * green - 0.081312 * blue)};
}

class Packer {
  public:
    Packer(const Picture16& picture, const FrameShape& shape)
        : picture_(picture), shape_(shape), format_(*shape.format) {}

    std::vector<std::uint8_t> pack() {
        if (format_.layout == Layout::Points) return points();
        std::vector<std::uint8_t> frame(static_cast<std::size_t>(shape_.frameBytes()));
        for (std::int64_t y = 0; y < shape_.height; ++y) {
            if (shape_.isStream())
                smallSamples(frame.data(), y, y * shape_.width);
            else
                row(frame.data() + y * shape_.rowPitch(), y);
        }
        return frame;
    }

  private:
    unsigned sample(std::int64_t x, std::int64_t y) const {
        const auto* rgb = picture_.at(x, y);
        const unsigned deep = format_.isBayer() ? rgb[siteColor(format_.order, x, y)] : grey(rgb);
        return deep >> (16 - format_.depth);
    }

    void row(std::uint8_t* out, std::int64_t y) const {
        switch (format_.layout) {
            case Layout::Bits:
            case Layout::Nibbles:
                smallSamples(out, y, 0);
                break;
            case Layout::Bytes:
                for (std::int64_t x = 0; x < shape_.width; ++x)
                    out[x] = static_cast<std::uint8_t>(sample(x, y));
                break;
            case Layout::Words:
                for (std::int64_t x = 0; x < shape_.width; ++x) {
                    const auto word = sample(x, y);
                    out[2 * x] = static_cast<std::uint8_t>(word);
                    out[2 * x + 1] = static_cast<std::uint8_t>(word >> 8);
                }
                break;
            case Layout::Packed:
                packedRow(out, y);
                break;
            case Layout::Rgb:
                colorRow(out, y, {kRed, kGreen, kBlue});
                break;
            case Layout::Bgr:
                colorRow(out, y, {kBlue, kGreen, kRed});
                break;
            case Layout::Uyv:
                yuvRow(out, y, "UYV");
                break;
            case Layout::Uyvy:
                yuvRow(out, y, "UYVY");
                break;
            case Layout::Yuyv:
                yuvRow(out, y, "YUYV");
                break;
            case Layout::Uyyvyy:
                yuvRow(out, y, "UYYVYY");
                break;
            case Layout::Points:
                break;
        }
    }

    /// Samples of less than a byte, the first of a byte in its lowest bits.
    void smallSamples(std::uint8_t* out, std::int64_t y, std::int64_t firstSample) const {
        const auto perByte = 8 / format_.bits;
        for (std::int64_t x = 0; x < shape_.width; ++x) {
            const auto at = firstSample + x;
            const auto shift = (at % perByte) * format_.bits;
            out[at / perByte] |= static_cast<std::uint8_t>(sample(x, y) << shift);
        }
    }

    void packedRow(std::uint8_t* out, std::int64_t y) const {
        const int low = format_.depth - 8;
        for (std::int64_t x = 0; x < shape_.width; ++x) {
            const auto value = sample(x, y);
            const auto lowBits = value & ((1U << low) - 1);
            auto* group = out + x / 2 * 3;
            group[x % 2 * 2] = static_cast<std::uint8_t>(value >> low);
            group[1] |= static_cast<std::uint8_t>(lowBits << (x % 2 * 4));
        }
    }

    void colorRow(std::uint8_t* out, std::int64_t y, std::array<Channel, 3> channels) const {
        for (std::int64_t x = 0; x < shape_.width; ++x)
            for (const auto channel : channels)
                *out++ = static_cast<std::uint8_t>(picture_.at(x, y)[channel] >> 8);
    }

    void yuvRow(std::uint8_t* out, std::int64_t y, std::string_view group) const {
        const auto pixels = std::count(group.begin(), group.end(), 'Y');
        for (std::int64_t x = 0; x < shape_.width; x += pixels) {
            double mean[3] = {};
            std::array<std::uint8_t, 4> luma{};
            for (std::int64_t i = 0; i < pixels; ++i) {
                const auto* rgb = picture_.at(std::min(x + i, shape_.width - 1), y);
                double color[3];
                for (int c = 0; c < 3; ++c) {
                    color[c] = rgb[c] >> 8;
                    mean[c] += color[c] / static_cast<double>(pixels);
                }
                luma[static_cast<std::size_t>(i)] = yuvOf(color[0], color[1], color[2]).y;
            }
            const auto chroma = yuvOf(mean[0], mean[1], mean[2]);
            auto nextLuma = luma.begin();
            for (const char part : group)
                *out++ = part == 'U' ? chroma.u : part == 'V' ? chroma.v : *nextLuma++;
        }
    }

    std::vector<std::uint8_t> points() const {
        constexpr std::int64_t kMost = 4095;
        if (shape_.width > kMost || shape_.height > kMost)
            throw UsageError("Mono1C reaches 4095 rows and columns; the picture has " +
                             std::to_string(shape_.width) + "x" + std::to_string(shape_.height));
        std::vector<std::uint8_t> list;
        for (std::int64_t y = 0; y < shape_.height; ++y)
            for (std::int64_t x = 0; x < shape_.width; ++x) {
                const auto value = sample(x, y);
                if (value == 0) continue;
                const auto place = static_cast<unsigned>((y + 1) << 12 | (x + 1));
                for (const unsigned byte : {value, place >> 16, place >> 8, place})
                    list.push_back(static_cast<std::uint8_t>(byte));
            }
        list.insert(list.end(), 4, 0);
        return list;
    }

    const Picture16& picture_;
    const FrameShape& shape_;
    const SourceFormat& format_;
};

}  // namespace

std::vector<std::uint8_t> packFrame(const Picture16& picture, const FrameShape& shape) {
    return Packer(picture, shape).pack();
}

}  // namespace tool
