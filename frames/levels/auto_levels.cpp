// Levels from the frame itself: where its samples begin and end, and gains that make its mean grey.

#include "geometry/frame_geometry.h"
#include "layouts/kernels.h"
#include "layouts/samples_plain.h"
#include "support/boundary.h"

#include <vector>

namespace frames {
namespace {

enum Channel { kRed, kGreen, kBlue };

/// So many of a thousand samples may lie below black, and above white.
constexpr double kOutside = 0.001;
/// Pairs of rows that are looked at, evenly over the frame.
constexpr std::int64_t kMostPairs = 256;
/// Noise is not stretched beyond the visible: white is at least 1 / kMostStretch of the range above
/// black.
constexpr double kMostStretch = 256;
constexpr double kMostGain = 8;

/// How often each value of a channel stands in the rows looked at.
class Histogram {
  public:
    explicit Histogram(int depth) : counts_(std::size_t{1} << depth) {}

    void add(std::uint16_t sample) { ++counts_[sample]; }
    std::uint64_t total() const {
        std::uint64_t sum = 0;
        for (const auto count : counts_) sum += count;
        return sum;
    }
    std::size_t size() const { return counts_.size(); }
    std::uint32_t operator[](std::size_t value) const { return counts_[value]; }

    /// The value that `share` of all samples do not exceed.
    double percentile(double share) const {
        const auto wanted = share * static_cast<double>(total());
        double below = 0;
        for (std::size_t value = 0; value < counts_.size(); ++value)
            if ((below += counts_[value]) > wanted) return static_cast<double>(value);
        return static_cast<double>(counts_.size() - 1);
    }
    /// Mean above black of what is not saturated: clipped samples say nothing of the light.
    double mean_above(double black, double saturated) const {
        double sum = 0, count = 0;
        for (std::size_t value = 0; value < counts_.size(); ++value) {
            if (static_cast<double>(value) >= saturated) break;
            sum += std::max(static_cast<double>(value) - black, 0.0) * counts_[value];
            count += counts_[value];
        }
        return count == 0 ? 0 : sum / count;
    }
    void merge(const Histogram& other) {
        for (std::size_t value = 0; value < counts_.size(); ++value)
            counts_[value] += other.counts_[value];
    }

  private:
    std::vector<std::uint32_t> counts_;
};

class FrameStatistics {
  public:
    FrameStatistics(const Geometry& geometry, const std::uint8_t* frame)
        : geometry_(geometry), format_(*geometry.format), frame_(frame) {
        for (int c = 0; c < 3; ++c) channels_.emplace_back(format_.depth);
        if (channels(format_) != 0) {
            const auto samples = (geometry.width + format_.group_pixels) * channels(format_);
            row_.resize(static_cast<std::size_t>(samples));
        }
        const std::int64_t pairs = (geometry.height + 1) / 2;
        const std::int64_t looked_at = std::min(pairs, kMostPairs);
        for (std::int64_t i = 0; i < looked_at; ++i) {
            const std::int64_t y = i * pairs / looked_at * 2;
            add_row(y);
            if (y + 1 < geometry.height) add_row(y + 1);
        }
    }
    const Histogram& channel(Channel c) const { return channels_[static_cast<std::size_t>(c)]; }
    bool has_colors() const { return is_mosaic(format_) || is_rgb(format_); }

  private:
    void add_row(std::int64_t y) {
        if (is_yuv(format_)) return add_luma(frame_ + y * geometry_.stride);
        const int period = channels(format_);
        const std::int64_t pixel = geometry_.is_stream() ? y * geometry_.width : 0;
        const std::int64_t lead = pixel % format_.group_pixels;
        const std::uint8_t* source =
            geometry_.is_stream() ? frame_ + pixel / format_.group_pixels * format_.group_bytes
                                  : frame_ + y * geometry_.stride;
        layout_kernels(format_, geometry_.big_endian)
            .to16(source, static_cast<std::size_t>(frame_ + geometry_.needed_bytes - source),
                  row_.data(), static_cast<std::size_t>((lead + geometry_.width) * period));
        const std::uint16_t* samples = row_.data() + lead * period;
        for (std::int64_t x = 0; x < geometry_.width; ++x, samples += period) {
            if (period == 1) {
                channels_[color_of_site(x, y)].add(samples[0]);
            } else {
                const bool blue_first =
                    format_.layout == IMGCNV_LAYOUT_BGR || format_.layout == IMGCNV_LAYOUT_BGRA;
                channels_[blue_first ? kBlue : kRed].add(samples[0]);
                channels_[kGreen].add(samples[1]);
                channels_[blue_first ? kRed : kBlue].add(samples[2]);
            }
        }
    }
    Channel color_of_site(std::int64_t x, std::int64_t y) const {
        const bool is_green =
            (x + y) % 2 == (format_.order == IMGCNV_ORDER_RG || format_.order == IMGCNV_ORDER_BG);
        if (!is_mosaic(format_) || is_green) return kGreen;
        const bool red_in_even_rows =
            format_.order == IMGCNV_ORDER_RG || format_.order == IMGCNV_ORDER_GR;
        return (y % 2 == 0) == red_in_even_rows ? kRed : kBlue;
    }
    void add_luma(const std::uint8_t* row) {
        const auto layout = static_cast<imgcnv_layout>(format_.layout);
        for (std::int64_t i = 0; i < geometry_.row_bytes; ++i)
            if (is_luma(layout, static_cast<std::size_t>(i)))
                channels_[kGreen].add(geometry_.video_range ? full_range_luma(row[i]) : row[i]);
    }

    const Geometry& geometry_;
    const Format& format_;
    const std::uint8_t* const frame_;
    std::vector<Histogram> channels_;
    std::vector<std::uint16_t> row_;
};

struct Gains {
    double of[3] = {1, 1, 1};
};

/// Grey world: all channels get the mean of the brightest. None is below 1, so that what is
/// saturated stays white.
Gains grey_world(const FrameStatistics& statistics, double black, double saturated) {
    Gains gains;
    double means[3];
    for (const auto c : {kRed, kGreen, kBlue})
        means[c] = statistics.channel(c).mean_above(black, saturated);
    const double brightest = std::max({means[kRed], means[kGreen], means[kBlue]});
    for (const auto c : {kRed, kGreen, kBlue})
        gains.of[c] = means[c] <= 0 ? 1 : std::min(brightest / means[c], kMostGain);
    return gains;
}

void set_levels(const Geometry& geometry, const FrameStatistics& statistics,
                imgcnv_levels& levels) {
    const int depth = geometry.format->depth;
    const double largest = (1 << depth) - 1;
    Histogram all = statistics.channel(kGreen);
    all.merge(statistics.channel(kRed));
    all.merge(statistics.channel(kBlue));
    const double black = depth < 8 ? 0 : all.percentile(kOutside);
    const Gains gains =
        statistics.has_colors() ? grey_world(statistics, black, 0.98 * largest) : Gains();
    double span = 0;
    for (const auto c : {kRed, kGreen, kBlue}) {
        const auto& channel = statistics.channel(c);
        if (channel.total() == 0) continue;
        span = std::max(span, (channel.percentile(1 - kOutside) - black) * gains.of[c]);
    }
    span = std::max({span, std::min(largest, 4.0), (largest + 1) / kMostStretch});
    levels.white = depth < 8 ? largest : std::min(black + span, largest);
    levels.black = std::min(black, levels.white - 1);
    levels.red_gain = gains.of[kRed];
    levels.green_gain = gains.of[kGreen];
    levels.blue_gain = gains.of[kBlue];
}

int auto_levels(const imgcnv_frame* frame, const void* source, std::size_t source_bytes,
                imgcnv_levels* out, Text& text) {
    Geometry geometry;
    imgcnv_levels levels;
    if (const auto status = measure(frame, geometry, text)) return status;
    if (source == nullptr || !take(out, levels)) {
        text << (source == nullptr ? "the source is null"
                                   : "the levels are null, or their struct_size is not set");
        return IMGCNV_BAD_ARGUMENT;
    }
    if (is_points(*geometry.format)) {
        text << geometry.format->name << " has no levels: a list of points is not a raster";
        return IMGCNV_UNSUPPORTED;
    }
    if (source_bytes < static_cast<std::size_t>(geometry.needed_bytes)) {
        explain_length(geometry, static_cast<std::int64_t>(source_bytes), text);
        return IMGCNV_BAD_SIZE;
    }
    const FrameStatistics statistics(geometry, static_cast<const std::uint8_t*>(source));
    set_levels(geometry, statistics, levels);
    give(levels, out);
    return IMGCNV_OK;
}

}  // namespace
}  // namespace frames

extern "C" int imgcnv_auto_levels(const imgcnv_frame* frame, const void* source,
                                  size_t source_bytes, imgcnv_levels* levels, char* buffer,
                                  size_t buffer_bytes) {
    frames::Text text(buffer, buffer_bytes);
    return frames::guarded(
        text, [&] { return frames::auto_levels(frame, source, source_bytes, levels, text); });
}
