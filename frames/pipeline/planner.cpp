#include "pipeline/planner.h"

#include "pipeline/last_columns.h"

#include <algorithm>
#include <limits>

namespace frames {
namespace {

constexpr std::int64_t kMostInt = std::numeric_limits<std::int32_t>::max();

/// Bytes of a band in scratch memory or, where pixels are gone over again, in the target: half of a
/// small second-level cache.
constexpr std::int64_t kBandBytes = std::int64_t{256} << 10;
/// Bytes of a frame and its picture from which on libimgcnv may store past the caches.
constexpr std::int64_t kLargeBytes = std::int64_t{15} << 20;
/// Bands begin at a byte of every stream of bits, and at the first row of a 2x2 cell.
constexpr std::int64_t kBandStep = 8;
/// Rows that a thread gets at least, and columns of a mosaic whose last ones are made apart.
constexpr std::int64_t kLeastRows = 32;
constexpr std::int64_t kLeastColumns = 16;

/// Pixels that a thread gets at least: waking it costs 20 to 50 us.
std::int64_t least_pixels(bool demosaics, imgcnv_demosaic method) {
    if (!demosaics || method == IMGCNV_NEAREST) return 1 << 20;
    return method == IMGCNV_BILINEAR ? 1 << 19 : 1 << 18;
}

std::int64_t round_down(std::int64_t value, std::int64_t step) { return value / step * step; }

IMGCNV_EPixelFormat core_mosaic8(int order) {
    switch (order) {
        case IMGCNV_ORDER_RG:
            return IMGCNV_PIXEL_BAYER_RG8;
        case IMGCNV_ORDER_GB:
            return IMGCNV_PIXEL_BAYER_GB8;
        default:
            return IMGCNV_PIXEL_BAYER_BG8;  // and GR from its second row on
    }
}

}  // namespace

std::size_t Job::number_of(const CoreFrame& call) {
    const auto found = std::find(calls.begin(), calls.end(), call);
    if (found != calls.end()) return static_cast<std::size_t>(found - calls.begin());
    calls.push_back(call);
    return calls.size() - 1;
}

Planner::Planner(const Geometry& frame, const Wish& wish, const SourceRows& source)
    : frame_(frame),
      wish_(wish),
      source_(source),
      demosaics_(is_demosaiced(frame) && wish.kind != IMGCNV_TARGET_RAW16),
      origin_(demosaics_ && frame.format->order == IMGCNV_ORDER_GR ? 1 : 0) {
    const bool is_too_narrow = demosaics_ && frame.width % 2 != 0 && frame.width < kLeastColumns;
    in_place_ =
        wish.is_upright() &&
        (way() == Way::kSamples || (way() == Way::kCore && writes_whole_rows() && !is_too_narrow));
}

Way Planner::way() const {
    if (wish_.is_wide()) return Way::kWide;
    const auto layout = frame_.format->layout;
    const bool red_first = layout == IMGCNV_LAYOUT_RGB || layout == IMGCNV_LAYOUT_RGBA;
    const auto same = source_.channels() == 3
                          ? (red_first ? IMGCNV_TARGET_RGB24 : IMGCNV_TARGET_BGR24)
                          : IMGCNV_TARGET_MONO8;
    if (source_.channels() == 0 || demosaics_ || wish_.kind != same) return Way::kCore;
    // libimgcnv is faster where it does everything. It copies the padding of RGB rows along.
    const bool copies_padding = wish_.is_tight() && frame_.stride != frame_.row_bytes;
    const bool is_one_call = wish_.is_upright() &&
                             core_reads_frame({0, frame_.height, 0, frame_.width}) &&
                             (source_.channels() == 1 || !copies_padding);
    return is_one_call ? Way::kCore : Way::kSamples;
}

std::int64_t Planner::core_width(const Rectangle& made) const {
    if (!is_yuv(*frame_.format)) return made.columns();
    const auto group = frame_.format->group_pixels;
    return (made.columns() + group - 1) / group * group;
}

/// Whether libimgcnv writes rows of exactly the picture's width.
bool Planner::writes_whole_rows() const {
    return !is_yuv(*frame_.format) || frame_.width % frame_.format->group_pixels == 0;
}

bool Planner::core_reads_frame(const Rectangle& made) const {
    const auto& format = *frame_.format;
    if (source_.changes_samples() || frame_.is_stream() || made.first_column != 0 ||
        made.last_column != frame_.width || frame_.big_endian)
        return false;
    if (format.layout == IMGCNV_LAYOUT_LSB_FIRST) return false;  // rows of part bytes
    if (format.layout == IMGCNV_LAYOUT_PACKED && frame_.width % 2 != 0) return false;
    if (is_mosaic(format) && !demosaics_) return false;
    return format.in_core != 0 ||
           (format.order == IMGCNV_ORDER_GR && with_order(format, IMGCNV_ORDER_BG) != nullptr &&
            with_order(format, IMGCNV_ORDER_BG)->in_core != 0);
}

/// Whether libimgcnv demosaics rows of the frame that become samples line by line, just before they
/// are needed. The adaptive method keeps so many lines that bands of samples take less time.
bool Planner::core_reads_lines(const Rectangle& made) const {
    return demosaics_ && wish_.method != IMGCNV_ADAPTIVE && way() == Way::kCore &&
           !frame_.is_stream() && made.first_column == 0 && made.last_column == frame_.width &&
           !core_reads_frame(made);
}

/// Rows above and below a band that its pixels depend on, rounded up to whole cells.
std::int64_t Planner::context() const {
    if (!demosaics_) return 0;
    if (wish_.method == IMGCNV_ADAPTIVE) return 4;
    return wish_.method == IMGCNV_BILINEAR || wish_.is_wide() ? 2 : 0;
}

std::int64_t Planner::band_rows() const {
    std::int64_t bytes = 1;
    const Rectangle all{0, frame_.height, 0, frame_.width};
    const bool reads_samples = !core_reads_frame(all) && !core_reads_lines(all);
    if (way() != Way::kSamples && reads_samples)
        bytes = std::max(bytes, source_.row_bytes8(frame_.width + 1) * (wish_.is_wide() ? 2 : 1));
    if (!in_place_ || goes_over_pixels())
        bytes = std::max(bytes, wish_.pixel_bytes() * frame_.width);
    auto rows = kBandBytes / bytes;
    // One call for everything where nothing has to stay in the cache, as long as libimgcnv's 32-bit
    // sizes allow it, also with the context.
    if (bytes == 1)
        rows =
            kMostInt / std::max(frame_.stride, wish_.pixel_bytes() * frame_.width) - 2 * kBandStep;
    return std::max(round_down(rows, kBandStep), 2 * kBandStep);
}

int Planner::threads() const {
    const int wanted = wish_.threads;
    const auto pixels = frame_.width * frame_.height;
    const auto most =
        std::min({frame_.height / kLeastRows, pixels / least_pixels(demosaics_, wish_.method),
                  static_cast<std::int64_t>(wanted)});
    return static_cast<int>(std::max<std::int64_t>(most, 1));
}

std::vector<Planner::Rows> Planner::slabs() const {
    const auto count = threads();
    std::vector<Rows> slabs;
    std::int64_t from = 0;
    for (int i = 1; i <= count; ++i) {
        const auto to =
            i == count ? frame_.height : round_down(frame_.height * i / count, kBandStep);
        slabs.push_back({from, to});
        from = to;
    }
    return slabs;
}

std::int64_t Planner::whole_bytes() const {
    return frame_.stride * frame_.height + wish_.picture_bytes;
}

CoreFrame Planner::core_frame(const Task& task) const {
    const auto& format = *frame_.format;
    CoreFrame call{};
    call.width = core_width(task.made);
    call.rows = task.made.rows();
    call.frame_rows = frame_.height;
    call.target = core_target(wish_.kind);
    call.demosaic = static_cast<IMGCNV_EBayerDemosaic>(wish_.method);
    const bool makes_picture = task.way == Way::kCore && task.writes_target;
    // libimgcnv would choose how to store by the part's size.
    const bool is_large_part = makes_picture && !goes_over_pixels() && call.rows < frame_.height &&
                               whole_bytes() > kLargeBytes;
    if (is_large_part) call.whole_bytes = whole_bytes();
    const bool is_apart = makes_picture && !wish_.is_tight();
    if (is_apart || is_large_part || demosaics_)
        call.target_stride = makes_picture ? wish_.stride : call.width * wish_.pixel_bytes();
    if (task.reads_frame) {
        const auto* readable = origin_ != 0 ? with_order(format, IMGCNV_ORDER_BG) : &format;
        call.format = static_cast<IMGCNV_EPixelFormat>(readable->code);
        if (core_reads_lines(task.made)) {
            call.format = core_mosaic8(format.order);
            call.lines = &source_;
        }
        call.row_bytes = frame_.row_bytes;
        call.stride = frame_.stride;
    } else {
        call.row_bytes = call.stride = source_.row_bytes8(task.made.columns());
        if (is_yuv(format))
            call.format = static_cast<IMGCNV_EPixelFormat>(format.code);
        else if (demosaics_)
            call.format = core_mosaic8(format.order);
        else if (source_.channels() == 1)
            call.format = IMGCNV_PIXEL_MONO8;
        else if (format.layout == IMGCNV_LAYOUT_RGB || format.layout == IMGCNV_LAYOUT_RGBA)
            call.format = IMGCNV_PIXEL_RGB8_PACKED;
        else
            call.format = IMGCNV_PIXEL_BGR8_PACKED;
    }
    return call;
}

Task Planner::band(const Rectangle& keep, Job& job) {
    Task task;
    task.way = way();
    task.keep = keep;
    task.made = with_context(keep);
    task.reads_frame = core_reads_frame(task.made) || core_reads_lines(task.made);
    task.writes_target = in_place_ || (task.way == Way::kWide && wish_.is_upright());
    // Alpha would be a second pass over what had left the caches.
    task.streams = in_place_ && task.way == Way::kCore && wish_.has_alpha() && !wish_.keep_alpha &&
                   whole_bytes() > kLargeBytes;
    if (task.streams) task.writes_target = false;
    if (task.way == Way::kSamples || (task.way == Way::kWide && !is_yuv(*frame_.format)))
        return task;
    const auto call = core_frame(task);
    if (call.stride * call.rows > kMostInt || call.width * call.rows * wish_.channels > kMostInt)
        fits_ = false;
    task.call = job.number_of(call);
    return task;
}

/// Whole rows with those around them that they depend on: the mosaic goes on mirrored beyond an
/// edge that libimgcnv does not complete, and ends at one that it does.
Rectangle Planner::with_context(const Rectangle& keep) const {
    const auto rows = context();
    auto made = keep;
    if (!demosaics_) return made;
    made.first_row = std::max(keep.first_row - rows, origin_ == 0 ? 0 : std::int64_t{-5});
    if ((made.first_row - origin_) % 2 != 0) --made.first_row;
    made.last_row = keep.last_row + rows;
    if ((made.last_row - made.first_row) % 2 != 0) ++made.last_row;
    made.last_row = std::min(made.last_row, frame_.height);
    if (made.rows() == 1) made.first_row -= 2;  // libimgcnv makes a single row grey
    if (!in_place_) made.last_column += frame_.width % 2;
    return made;
}

void Planner::plan_bands(const Rows& slab, Job& job) {
    for (auto row = slab.first; row < slab.last;) {
        // Only few rows of GR are those that depend on mirrored ones.
        const auto step = origin_ != 0 && row == 0 ? kBandStep : band_rows();
        const auto next = std::min(row + step, slab.last);
        job.tasks.push_back(band({row, next, 0, frame_.width}, job));
        row = next;
    }
}

void Planner::plan_last_columns(const Rows& slab, Job& job) {
    // Of an odd width libimgcnv leaves the last column open; the adaptive method looks at it from
    // two columns before it.
    const std::int64_t columns = wish_.method == IMGCNV_ADAPTIVE ? 3 : 1;
    for (auto row = slab.first; row < slab.last; row += LastColumns::kMostRows) {
        Task task;
        task.way = Way::kColumns;
        task.writes_target = true;
        task.keep = {row, std::min(row + LastColumns::kMostRows, slab.last), frame_.width - columns,
                     frame_.width};
        task.made = task.keep;
        job.tasks.push_back(task);
    }
}

Plan Planner::plan(bool& fits) {
    const auto parts = slabs();
    Plan jobs(parts.size());
    for (std::size_t i = 0; i < parts.size(); ++i) {
        plan_bands(parts[i], jobs[i]);
        if (in_place_ && demosaics_ && frame_.width % 2 != 0) plan_last_columns(parts[i], jobs[i]);
    }
    fits = fits_;
    return jobs;
}

}  // namespace frames
