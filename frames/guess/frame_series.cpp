#include "guess/frame_series.h"

#include <algorithm>

namespace frames {
namespace {

constexpr double kClearLikeness = 0.5;

}  // namespace

FrameSeries::FrameSeries(RowSteps& steps, const Hypothesis& hypothesis)
    : steps_(steps), hypothesis_(hypothesis), pitch_(hypothesis.pitch_bits) {}

std::int64_t FrameSeries::frames_by_jumps(std::int64_t skip, std::int64_t rows) {
    std::int64_t best = 1;
    double best_step = std::max(2 * steps_.mean(), steps_.nearly_all());
    if (best_step <= 0) best_step = 0.5;
    for (std::int64_t count = 2; count <= std::min(rows / kFewestRows, kMostFrames); ++count) {
        if (rows % count != 0) continue;
        const auto height = rows / count;
        if (height < lowest() || height > highest()) continue;
        const auto step = boundary_step({height, count, skip, 0}).mean;
        // Every second jump of the right height jumps as far: the lower height wins.
        if (step > best_step || (best > 1 && step > 0.8 * best_step)) {
            best_step = std::max(best_step, step);
            best = count;
        }
    }
    return best;
}

std::int64_t FrameSeries::frames_by_scene(std::int64_t skip, std::int64_t rows) {
    std::int64_t best = rows;
    double best_likeness = kClearLikeness;
    for (auto height = std::min(rows / 2, highest()); height >= lowest(); --height) {
        if (rows % height != 0) continue;
        const auto likeness = scene_likeness({height, rows / height, skip, 0});
        // Frames twice as high are as much alike: the lower height wins.
        if (likeness < best_likeness - 0.05) continue;
        best_likeness = std::max(best_likeness, likeness);
        best = height;
    }
    return rows / best;
}

double FrameSeries::scene_likeness(const Placement& placement) {
    constexpr std::int64_t kRows = 8;
    if (placement.frames < 2) return 0;
    const auto frame = 8 * (frame_bytes(pitch_, placement.height) + placement.gap);
    // Rows of the other frame that are a third and two thirds of its height away.
    const auto third =
        std::max<std::int64_t>(hypothesis_.color_period(), placement.height / 3 / 2 * 2);
    double same = 0, different = 0, likeness = 0;
    int compared = 0;
    for (std::int64_t i = 0; i < kRows; ++i) {
        const auto begin = 8 * placement.skip + i * (placement.frames - 1) / kRows * frame;
        const auto y = placement.height * (2 * i + 1) / (2 * kRows);
        const auto to_row = [&](std::int64_t row) {
            const auto next = begin + frame + row % placement.height * pitch_;
            return steps_.step(begin + y * pitch_, next);
        };
        const auto of_same = to_row(y), a = to_row(y + third), b = to_row(y + 2 * third);
        if (!of_same.is_known() || !a.is_known() || !b.is_known()) continue;
        const auto of_others = (a.mean + b.mean) / 2;
        same += of_same.mean;
        different += of_others;
        if (of_same.mean < of_others) likeness += 1 - of_same.mean / of_others;
        ++compared;
    }
    if (same >= different) return 0;
    return std::min(1 - same / different, likeness / compared);
}

RowStep FrameSeries::boundary_step(const Placement& placement) {
    const auto gap = placement.gap, count = placement.frames;
    const auto bytes = frame_bytes(pitch_, placement.height) + gap;
    const auto stride = std::max<std::int64_t>(1, (count - 1) / 8);
    RowStep sum{0, 0, 0};
    double seen = 0;
    for (std::int64_t frame = 1; frame < count; frame += stride) {
        const auto begin = 8 * (placement.skip + frame * bytes);
        const auto step = steps_.step(begin - 8 * gap - hypothesis_.color_period() * pitch_, begin);
        if (!step.is_known()) continue;
        sum.median += step.median;
        sum.mean += step.mean;
        sum.shift += step.shift;
        ++seen;
    }
    return seen > 0 ? RowStep{sum.median / seen, sum.mean / seen, sum.shift / seen} : RowStep{};
}

}  // namespace frames
