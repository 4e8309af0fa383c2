#include "pipeline/worker.h"

#include "pipeline/store.h"

#include <algorithm>
#include <cstring>

namespace frames {
namespace {

std::size_t size(std::int64_t bytes) { return static_cast<std::size_t>(bytes); }

/// libimgcnv writes an alpha of 0.
void make_opaque(std::uint8_t* pixels, std::int64_t count) {
    using Pixels = std::uint32_t __attribute__((vector_size(32)));
    constexpr std::uint8_t kOpaque[4] = {0, 0, 0, 255};
    std::uint32_t alpha;
    std::memcpy(&alpha, kOpaque, 4);
    std::int64_t i = 0;
    for (; i + 8 <= count; i += 8) {
        Pixels block;
        std::memcpy(&block, pixels + 4 * i, sizeof block);
        block |= alpha;
        std::memcpy(pixels + 4 * i, &block, sizeof block);
    }
    for (; i < count; ++i) pixels[4 * i + 3] = 255;
}

}  // namespace

/// Pixels per row as the pixels are made: YUV in whole groups.
std::int64_t Worker::out_width(const Task& task) const {
    return task.way == Way::kCore ? calls_[task.call].frame().width : task.made.columns();
}

void Worker::reserve(const Task& task) {
    const auto columns = std::max(task.made.columns(), frame_.width) + 1;
    row_.need(source_.scratch_bytes(columns));
    const auto pixel_bytes = wish_.pixel_bytes();
    const auto rows = task.made.rows() + 1;  // an extra row of mosaics of odd height
    if (task.way == Way::kWide) samples_.need(wide_.scratch_bytes(task.made));
    if (task.way == Way::kColumns) samples_.need(columns_.scratch_bytes());
    if (task.way == Way::kCore && !task.reads_frame)
        samples_.need(size(source_.row_bytes8(task.made.columns()) * rows));
    // 16-bit words go through memory of ours where the target does not lie at even addresses.
    if (!task.writes_target || task.way == Way::kWide) {
        const auto width = task.way == Way::kCore ? out_width(task) : task.made.columns();
        pixels_.need(size(width * rows * pixel_bytes));
    }
    if (wish_.transpose) turned_.need(size(task.keep.rows() * task.keep.columns() * pixel_bytes));
    saved_.need(size(task.saved_rows * wish_.row_bytes));
}

imgcnv_status Worker::prepare(const Job& job, const std::vector<Task>& mending) {
    calls_.reserve(job.calls.size());
    for (const auto& call : job.calls) {
        calls_.emplace_back(call);
        if (const auto status = calls_.back().open(); status != IMGCNV_OK) return status;
    }
    for (const auto& task : job.tasks) reserve(task);
    for (const auto& task : mending) reserve(task);
    for (auto* scratch : {&samples_, &row_, &pixels_, &turned_, &saved_}) scratch->allocate();
    return IMGCNV_OK;
}

const CoreCall* Worker::only_call(const std::vector<Task>& tasks) const {
    if (tasks.size() != 1 || finishes()) return nullptr;
    const auto& task = tasks[0];
    const bool is_whole = task.way == Way::kCore && task.reads_frame && task.writes_target &&
                          task.made.first_row == 0;
    return is_whole ? &calls_[task.call] : nullptr;
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
    if (!task.writes_target) {
        if (const auto status = make(task, source, pixels_.get()); status != IMGCNV_OK)
            return status;
        auto made = task.made;
        made.last_column = made.first_column + out_width(task);
        finish(task, source, pixels_.get(), made.columns() * wish_.pixel_bytes());
        store(wish_, made, task.keep, pixels_.get(), target, turned_.get());
        return IMGCNV_OK;
    }
    auto* out =
        target + task.made.first_row * wish_.stride + task.made.first_column * wish_.pixel_bytes();
    const auto row_bytes = size(wish_.row_bytes);
    for (std::int64_t y = 0; y < task.saved_rows; ++y)
        std::memcpy(saved_.get() + y * wish_.row_bytes, out + y * wish_.stride, row_bytes);
    if (const auto status = make(task, source, out); status != IMGCNV_OK) return status;
    finish(task, source, out, wish_.stride);
    for (std::int64_t y = 0; y < task.saved_rows; ++y)
        std::memcpy(out + y * wish_.stride, saved_.get() + y * wish_.row_bytes, row_bytes);
    return IMGCNV_OK;
}

void Worker::make_samples(const Task& task, const std::uint8_t* source, std::uint8_t* out,
                          std::int64_t stride) const {
    source_.read8(source, task.made, out, stride, row_.get());
}

imgcnv_status Worker::make(const Task& task, const std::uint8_t* source, std::uint8_t* out) const {
    if (task.way == Way::kSamples) {
        make_samples(task, source, out,
                     task.writes_target ? wish_.stride : wish_.pixel_bytes() * task.made.columns());
        return IMGCNV_OK;
    }
    if (task.way == Way::kColumns) {
        columns_.make(task.keep, source, out, samples_.get(), row_.get());
        return IMGCNV_OK;
    }
    const auto& call = calls_[task.call];
    if (task.reads_frame) return call.run(source + task.made.first_row * frame_.stride, out);
    make_samples(task, source, samples_.get(), source_.row_bytes8(task.made.columns()));
    return call.run(samples_.get(), out);
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

/// What libimgcnv does not do to pixels: alpha and the curve.
void Worker::finish(const Task& task, const std::uint8_t* source, std::uint8_t* pixels,
                    std::int64_t stride) const {
    if (!finishes()) return;
    const auto width = out_width(task);
    for (auto y = task.made.first_row; y < task.made.last_row; ++y, pixels += stride) {
        if (!wish_.curve.empty())
            sample_kernels().curve(pixels, size(width), wish_.channels, wish_.curve.data());
        if (wish_.keep_alpha)
            source_.read_alpha(source, y, pixels + 3);
        else if (wish_.has_alpha())
            make_opaque(pixels, width);
    }
}

}  // namespace frames
