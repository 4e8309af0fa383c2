#include "pipeline/worker.h"

#include "pipeline/store.h"

#include <algorithm>
#include <cstring>

namespace frames {
namespace {

std::size_t size(std::int64_t bytes) { return static_cast<std::size_t>(bytes); }

}  // namespace

/// Pixels per row as the pixels are made: YUV in whole groups.
std::int64_t Worker::out_width(const Task& task) const {
    return task.way == Way::kCore ? calls_[task.call].frame().width : task.made.columns();
}

void Worker::reserve(const Task& task) {
    const auto columns = std::max(task.made.columns(), frame_.width) + 1;
    row_.need(source_.scratch_bytes(columns));
    const auto pixel_bytes = wish_.pixel_bytes();
    if (task.way == Way::kWide) samples_.need(wide_.scratch_bytes(task.made));
    if (task.way == Way::kColumns) samples_.need(columns_.scratch_bytes());
    if (task.way == Way::kCore && !task.reads_frame)
        samples_.need(size(source_.row_bytes8(task.made.columns()) * task.made.rows()));
    // 16-bit words go through memory of ours where the target does not lie at even addresses.
    if (!task.writes_target || task.way == Way::kWide) {
        const auto width = task.way == Way::kCore ? out_width(task) : task.made.columns();
        pixels_.need(size(width * task.keep.rows() * pixel_bytes));
    }
    if (wish_.transpose) turned_.need(size(task.keep.rows() * task.keep.columns() * pixel_bytes));
}

imgcnv_status Worker::prepare(const Job& job) {
    calls_.reserve(job.calls.size());
    for (const auto& call : job.calls) {
        calls_.emplace_back(call);
        if (const auto status = calls_.back().open(); status != IMGCNV_OK) return status;
    }
    for (const auto& task : job.tasks) reserve(task);
    for (auto* scratch : {&samples_, &row_, &pixels_, &turned_}) scratch->allocate();
    return IMGCNV_OK;
}

imgcnv_status Worker::run(const std::vector<Task>& tasks, const std::uint8_t* source,
                          std::uint8_t* target) const {
    for (const auto& task : tasks)
        if (const auto status = run_task(task, source, target); status != IMGCNV_OK) return status;
    return IMGCNV_OK;
}

imgcnv_status Worker::run_task(const Task& task, const std::uint8_t* source,
                               std::uint8_t* target) const {
    if (task.way == Way::kWide) return make_wide(task, source, target);
    const auto stride = task.writes_target ? wish_.stride : out_width(task) * wish_.pixel_bytes();
    auto* out = task.writes_target ? target + task.keep.first_row * wish_.stride +
                                         task.keep.first_column * wish_.pixel_bytes()
                                   : pixels_.get();
    if (const auto status = make(task, source, out, stride); status != IMGCNV_OK) return status;
    finish(task, source, out, stride);
    if (task.writes_target) return IMGCNV_OK;
    if (task.streams) {
        stream(task, out, target);
        return IMGCNV_OK;
    }
    auto made = task.keep;
    made.last_column = made.first_column + out_width(task);
    store(wish_, made, task.keep, out, target, turned_.get());
    return IMGCNV_OK;
}

imgcnv_status Worker::make(const Task& task, const std::uint8_t* source, std::uint8_t* out,
                           std::int64_t stride) const {
    if (task.way == Way::kSamples) {
        source_.read8(source, task.keep, out, stride, row_.get());
        return IMGCNV_OK;
    }
    if (task.way == Way::kColumns) {
        columns_.make(task.keep, source, out, samples_.get(), row_.get());
        return IMGCNV_OK;
    }
    if (task.reads_frame) return calls_[task.call].run(task, source, out);
    source_.read8(source, task.made, samples_.get(), source_.row_bytes8(task.made.columns()),
                  row_.get());
    return calls_[task.call].run(task, samples_.get(), out);
}

imgcnv_status Worker::make_wide(const Task& task, const std::uint8_t* source,
                                std::uint8_t* target) const {
    const auto* call = calls_.empty() ? nullptr : &calls_[task.call];
    auto* out = target + task.keep.first_row * wish_.stride;
    const bool is_aligned = reinterpret_cast<std::uintptr_t>(out) % 2 == 0 && wish_.stride % 2 == 0;
    if (task.writes_target && is_aligned)
        return wide_.make(task, call, source, reinterpret_cast<std::uint16_t*>(out),
                          wish_.stride / 2, samples_.get(), row_.get());
    const auto status =
        wide_.make(task, call, source, reinterpret_cast<std::uint16_t*>(pixels_.get()),
                   task.keep.columns() * wish_.channels, samples_.get(), row_.get());
    if (status == IMGCNV_OK)
        store(wish_, task.keep, task.keep, pixels_.get(), target, turned_.get());
    return status;
}

/// What libimgcnv does not do to pixels: the curve, and alpha, which it makes 0.
void Worker::finish(const Task& task, const std::uint8_t* source, std::uint8_t* pixels,
                    std::int64_t stride) const {
    if (!finishes()) return;
    const auto& kernels = sample_kernels();
    const auto width = out_width(task);
    for (auto y = task.keep.first_row; y < task.keep.last_row; ++y, pixels += stride) {
        if (!wish_.curve.empty())
            kernels.curve(pixels, size(width), wish_.channels, wish_.curve.data());
        if (wish_.keep_alpha)
            source_.read_alpha(source, y, pixels + 3);
        else if (wish_.has_alpha() && !task.streams)
            kernels.opaque(pixels, pixels, size(width), false);
    }
}

/// Rows of whole pictures' width.
void Worker::stream(const Task& task, const std::uint8_t* pixels, std::uint8_t* target) const {
    const auto& kernels = sample_kernels();
    auto* out = target + task.keep.first_row * wish_.stride;
    auto rows = task.keep.rows(), columns = task.keep.columns();
    if (wish_.is_tight()) {
        columns *= rows;
        rows = 1;
    }
    for (; rows > 0; --rows, pixels += 4 * columns, out += wish_.stride)
        kernels.opaque(pixels, out, size(columns), true);
}

}  // namespace frames
