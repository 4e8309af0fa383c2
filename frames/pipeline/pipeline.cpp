#include "pipeline/pipeline.h"

#include "pipeline/points.h"

#include <unistd.h>

#include <functional>
#include <thread>

namespace frames {
namespace {

imgcnv_status out_of_memory(Text& text) {
    text << "out of memory";
    return IMGCNV_OUT_OF_MEMORY;
}

}  // namespace

imgcnv_status Pipeline::open(Text& text) {
    if (is_points(*frame_.format)) return IMGCNV_OK;
    if (wish_.threads == 0)
        wish_.threads = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
    bool fits = false;
    plan_ = Planner(frame_, wish_, source_).plan(fits);
    if (!fits) {
        text << "a row of " << frame_.width << " pixels of " << frame_.format->name
             << " is too long: expected rows of less than 2^31 bytes for 16 of them";
        return IMGCNV_UNSUPPORTED;
    }
    workers_.reserve(plan_.size());
    for (const auto& job : plan_) {
        workers_.emplace_back(frame_, wish_, source_);
        if (workers_.back().prepare(job) != IMGCNV_OK) return out_of_memory(text);
    }
    if (plan_.size() > 1) {
        process_ = getpid();
        team_.start(static_cast<int>(plan_.size()) - 1);
    }
    return IMGCNV_OK;
}

imgcnv_status Pipeline::check(const void* source, std::size_t source_bytes, const void* target,
                              std::size_t target_bytes, Text& text) const {
    if (source == nullptr || target == nullptr) {
        text << (source == nullptr ? "source" : "target") << " is null";
        return IMGCNV_BAD_ARGUMENT;
    }
    if (!is_points(*frame_.format) &&
        source_bytes < static_cast<std::size_t>(frame_.needed_bytes)) {
        explain_length(frame_, static_cast<std::int64_t>(source_bytes), text);
        return IMGCNV_BAD_SIZE;
    }
    if (target_bytes < static_cast<std::size_t>(wish_.picture_bytes)) {
        text << "target has " << static_cast<std::int64_t>(target_bytes) << " bytes, expected "
             << wish_.picture_bytes << " for " << wish_.width << "x" << wish_.height << " "
             << imgcnv_target_name(wish_.kind);
        return IMGCNV_BAD_SIZE;
    }
    const auto read =
        is_points(*frame_.format) ? source_bytes : static_cast<std::size_t>(frame_.needed_bytes);
    const auto from = reinterpret_cast<std::uintptr_t>(source);
    const auto to = reinterpret_cast<std::uintptr_t>(target);
    if (from < to + static_cast<std::size_t>(wish_.picture_bytes) && to < from + read) {
        text << "source and target share bytes, expected memory of its own for the picture";
        return IMGCNV_OVERLAP;
    }
    return IMGCNV_OK;
}

imgcnv_status Pipeline::run(const void* source, std::size_t source_bytes, void* target,
                            std::size_t target_bytes, Text& text) {
    const bool is_busy = busy_.exchange(true, std::memory_order_acquire);
    if (is_busy || (process_ != 0 && process_ != getpid())) {
        text << "this pipeline is at work on another thread, or belongs to another process: open "
                "one for each";
        if (!is_busy) busy_.store(false, std::memory_order_release);
        return IMGCNV_BUSY;
    }
    auto status = check(source, source_bytes, target, target_bytes, text);
    if (status == IMGCNV_OK)
        status = convert(static_cast<const std::uint8_t*>(source), source_bytes,
                         static_cast<std::uint8_t*>(target), text);
    busy_.store(false, std::memory_order_release);
    return status;
}

imgcnv_status Pipeline::convert(const std::uint8_t* source, std::size_t source_bytes,
                                std::uint8_t* target, Text& text) {
    if (is_points(*frame_.format))
        return draw_points(frame_, wish_, source, source_bytes, target, text);
    if (run_jobs(source, target) != IMGCNV_OK) return out_of_memory(text);
    return IMGCNV_OK;
}

imgcnv_status Pipeline::run_jobs(const std::uint8_t* source, std::uint8_t* target) {
    const auto count = static_cast<int>(workers_.size());
    std::atomic<int> failed{IMGCNV_OK};
    const auto work = [&](int i) {
        const auto number = static_cast<std::size_t>(i);
        const auto status = workers_[number].run(plan_[number].tasks, source, target);
        if (status != IMGCNV_OK) failed.store(status, std::memory_order_relaxed);
    };
    if (count == 1)
        work(0);
    else
        team_.run(count, std::cref(work));
    return static_cast<imgcnv_status>(failed.load(std::memory_order_relaxed));
}

const char* Pipeline::way() const {
    if (is_points(*frame_.format)) return "points of a list";
    const auto& tasks = plan_[0].tasks;
    if (tasks[0].way == Way::kCore && plan_[0].calls[tasks[0].call].lines != nullptr)
        return "lines through libimgcnv";
    const bool is_one_task = plan_.size() == 1 && tasks.size() == 1;
    if (is_one_task && tasks[0].way == Way::kCore && tasks[0].reads_frame &&
        tasks[0].writes_target && !wish_.has_alpha() && wish_.curve.empty())
        return "one call of libimgcnv";
    switch (tasks[0].way) {
        case Way::kSamples:
            return "samples as they are";
        case Way::kCore:
            return "bands through libimgcnv";
        default:
            return "16-bit samples";
    }
}

void Pipeline::describe(imgcnv_picture_info& info) const {
    info.width = wish_.width;
    info.height = wish_.height;
    info.channels = wish_.channels;
    info.channel_bytes = wish_.channel_bytes;
    info.row_bytes = wish_.row_bytes;
    info.stride = wish_.stride;
    info.picture_bytes = wish_.picture_bytes;
    info.source_bytes = frame_.needed_bytes;
    info.threads = std::max(1, static_cast<int>(workers_.size()));
    info.way = way();
}

}  // namespace frames
