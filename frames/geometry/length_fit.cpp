#include "geometry/length_fit.h"

#include <algorithm>

namespace frames {
namespace {

/// Rows are padded to the alignments of memory and of transfers, not by more.
constexpr std::int64_t kMostPadding = 4096;
/// Headers and chunk data are small beside a frame.
constexpr std::int64_t kMostExtra = 65536;

class Findings {
  public:
    Findings(LengthFit& result, Text& text) : result_(result), text_(text) {}

    bool any() const { return result_.fit != IMGCNV_FIT_EXACT; }
    /// A line for one finding; the first is the one that is returned.
    Text& add(imgcnv_fit fit, std::int64_t value) {
        if (!any()) {
            result_.fit = fit;
            result_.value = value;
        }
        return text_.empty() ? text_ : text_.line();
    }

  private:
    LengthFit& result_;
    Text& text_;
};

bool same_kind(const Format& a, const Format& b) {
    return a.order == b.order && a.is_color == b.is_color && is_yuv(a) == is_yuv(b) &&
           is_points(a) == is_points(b);
}

std::int64_t tight_frame_bytes(const Format& format, const Geometry& geometry) {
    if (format.layout == IMGCNV_LAYOUT_LSB_FIRST)
        return (geometry.width * format.bits_per_pixel * geometry.height + 7) / 8;
    return row_bytes(format, geometry.width) * geometry.height;
}

/// Formats of the same kind whose frames have this length: those of the same depth first.
void find_formats(const Geometry& geometry, std::int64_t bytes, Findings& findings) {
    constexpr int kMostNames = 4;
    const Format* names[kMostNames];
    int count = 0;
    for (const bool same_depth : {true, false})
        for (const auto& format : formats()) {
            const bool is_other = format.bits_per_pixel != geometry.format->bits_per_pixel &&
                                  same_kind(format, *geometry.format) &&
                                  (format.depth == geometry.format->depth) == same_depth;
            if (is_other && tight_frame_bytes(format, geometry) == bytes && count < kMostNames)
                names[count++] = &format;
        }
    if (count == 0) return;
    auto& text = findings.add(IMGCNV_FIT_FORMAT, names[0]->code);
    text << names[0]->bits_per_pixel << " bits per pixel fit exactly: the format may be ";
    for (int i = 0; i < count; ++i)
        text << (i == 0 ? "" : i + 1 < count ? ", " : " or ") << names[i]->name;
}

void find_stride(const Geometry& geometry, std::int64_t bytes, Findings& findings) {
    const auto stride = bytes / geometry.height;
    const auto padding = stride - geometry.row_bytes;
    if (geometry.height < 2 || stride == geometry.stride) return;
    // The padding of the last row may be missing.
    const bool fits = bytes % geometry.height == 0;
    const auto short_stride = (bytes - geometry.row_bytes) / (geometry.height - 1);
    const bool fits_short = (bytes - geometry.row_bytes) % (geometry.height - 1) == 0 &&
                            short_stride != geometry.stride;
    const auto plausible = [&](std::int64_t value) {
        return value > geometry.row_bytes && value - geometry.row_bytes <= kMostPadding &&
               value < 2 * geometry.row_bytes;
    };
    if (fits && (plausible(stride) || padding == 0)) {
        auto& text = findings.add(IMGCNV_FIT_STRIDE, stride);
        if (padding == 0)
            text << "rows without padding fit: stride " << stride;
        else
            text << "rows padded by " << Count{padding, "byte"} << " fit: stride " << stride;
    } else if (fits_short && plausible(short_stride)) {
        findings.add(IMGCNV_FIT_STRIDE, short_stride)
            << "rows padded by " << Count{short_stride - geometry.row_bytes, "byte"}
            << " fit, without padding after the last: stride " << short_stride;
    }
}

/// Whole rows in `bytes`.
std::int64_t rows_in(const Geometry& geometry, std::int64_t bytes) {
    if (!geometry.is_stream()) return bytes / geometry.stride;
    return bytes / ((geometry.width * geometry.format->bits_per_pixel + 7) / 8);
}

void find_height(const Geometry& geometry, std::int64_t bytes, Findings& findings) {
    if (geometry.is_stream() || bytes % geometry.stride != 0) return;
    const auto rows = bytes / geometry.stride;
    findings.add(IMGCNV_FIT_HEIGHT, rows)
        << "exactly " << Count{rows, "row"} << " of this width: "
        << (bytes < geometry.frame_bytes ? "another height, or cut short" : "another height");
}

void find_rest(const Geometry& geometry, const LengthFit& fit, std::int64_t gap,
               Findings& findings) {
    const auto rest = fit.left_over;
    if (fit.frames == 0) {
        const auto rows = std::min(rows_in(geometry, rest), geometry.height - 1);
        findings.add(IMGCNV_FIT_CUT_SHORT, rows)
            << "cut short after " << rows << " of " << geometry.height
            << " rows, or the size or the format is another";
        return;
    }
    if (fit.frames > 1 && rest % fit.frames == 0 && rest / fit.frames <= kMostExtra)
        findings.add(IMGCNV_FIT_HEADER, rest)
            << Count{rest / fit.frames, "byte"} << " after each of " << fit.frames
            << " frames, such as chunk data: gap " << gap + rest / fit.frames;
    if (rest <= std::min(kMostExtra, geometry.frame_bytes / 2))
        findings.add(IMGCNV_FIT_HEADER, rest)
            << Count{rest, "byte"} << " too many: a header before the image (skip " << rest
            << "), or data behind it";
    else if (!findings.any() || fit.frames > 1)
        findings.add(IMGCNV_FIT_CUT_SHORT, rows_in(geometry, rest))
            << Count{fit.frames, "whole frame"} << " and " << Count{rest, "byte"}
            << ": the next is cut short, or the size or the format is another";
}

}  // namespace

LengthFit fit_length(const Geometry& geometry, std::int64_t gap, std::int64_t bytes, Text& text) {
    LengthFit result;
    Findings findings(result, text);
    if (bytes == 0) {
        findings.add(IMGCNV_FIT_EMPTY, 0) << "there are no bytes";
        return result;
    }
    if (is_points(*geometry.format)) {
        result.frames = 1;
        return result;
    }
    // gap may be any number: the sum would overflow where no second frame can follow anyway.
    const auto frame = geometry.frame_bytes;
    const auto unit = gap > bytes - frame ? std::max(bytes, frame) + 1 : frame + gap;
    result.frames = bytes / unit;
    result.left_over = bytes % unit;
    if (result.left_over >= geometry.needed_bytes) {
        ++result.frames;
        result.left_over = std::max<std::int64_t>(0, result.left_over - frame);
    }
    if (result.left_over == 0) return result;
    find_formats(geometry, bytes, findings);
    find_stride(geometry, bytes, findings);
    find_height(geometry, bytes, findings);
    if (!findings.any() || result.frames > 0) find_rest(geometry, result, gap, findings);
    return result;
}

void explain_length(const Geometry& geometry, std::int64_t given_bytes, Text& text) {
    text << "source has " << Count{given_bytes, "byte"} << ", expected " << geometry.frame_bytes
         << " for ";
    describe(geometry, text);
    fit_length(geometry, 0, given_bytes, text);
}

}  // namespace frames
