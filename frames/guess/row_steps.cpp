#include "guess/row_steps.h"

#include "guess/metadata.h"

#include <algorithm>
#include <cstdlib>

namespace frames {
namespace {

constexpr std::int64_t kTypicalRows = 48;
constexpr std::int64_t kSeamRows = 96;
constexpr double kFewestSeamRows = 16;
constexpr std::size_t kComparedSamples = 256;
constexpr double kClearSeam = 2.5;  // times the second largest column

}  // namespace

RowSteps::RowSteps(ByteSource& source, std::span<const std::uint8_t> window,
                   const Hypothesis& hypothesis)
    : source_(source),
      window_(window),
      hypothesis_(hypothesis),
      row_bits_(hypothesis.fit->coding.row_bits(hypothesis.width)) {
    const auto lines = hypothesis.color_period();
    const auto first = 8 * (hypothesis.start + kLongestHeader);
    const auto rows =
        (8 * std::min(static_cast<std::int64_t>(window.size()), hypothesis.fit->reach) - first) /
        hypothesis.pitch_bits;
    std::vector<double> medians, means, shifts;
    const auto skipped = 8 * kLongestHeader / hypothesis.pitch_bits;
    for (std::int64_t i = 0; i < kTypicalRows; ++i) {
        const auto y =
            (rows > 2 * kTypicalRows ? skipped : 0) +
            std::max<std::int64_t>(rows + (rows > 2 * kTypicalRows ? 0 : skipped) - lines, 0) * i /
                kTypicalRows;
        const auto at = 8 * hypothesis.start + y * hypothesis.pitch_bits;
        const auto found = step(at, at + lines * hypothesis.pitch_bits);
        if (!found.is_known()) continue;
        medians.push_back(found.median);
        means.push_back(found.mean);
        shifts.push_back(found.shift);
    }
    if (medians.empty()) return;
    std::sort(medians.begin(), medians.end());
    std::sort(means.begin(), means.end());
    usual_median_ = medians[medians.size() * 9 / 10];
    nearly_all_ = means[means.size() * 49 / 50];
    for (const auto value : means) mean_ += value / static_cast<double>(means.size());
    // Of several frames, rows on both sides of a border may be among them.
    std::sort(shifts.begin(), shifts.end());
    largest_shift_ = shifts[shifts.size() * 9 / 10];
    // A few levels of 255 are nothing.
    const int depth = hypothesis.fit->coding.format->depth - hypothesis.fit->dropped_bits;
    least_ = depth < 8 ? 0.5 : 3.0 * (1 << std::min(hypothesis.fit->upper_shift, depth - 8));
    least_shift_ = least_ / 6;
}

bool RowSteps::load(std::int64_t bit, std::int64_t pixels, std::vector<int>& samples) {
    const auto bits = hypothesis_.fit->coding.row_bits(pixels);
    const auto from = bit / 8, to = (bit + bits + 7) / 8;
    if (bit < 0 || to > source_.size()) return false;
    const std::uint8_t* bytes = nullptr;
    if (to <= static_cast<std::int64_t>(window_.size())) {
        bytes = window_.data() + from;
    } else {
        const auto read = source_.bytes(from, to - from, room_);
        if (static_cast<std::int64_t>(read.size()) < to - from) return false;
        bytes = read.data();
    }
    split_row(hypothesis_.fit->coding, bytes, bit % 8, pixels, hypothesis_.fit->dropped_bits, row_);
    samples.swap(row_.planes[0]);
    return true;
}

RowStep RowSteps::step(std::int64_t above_bit, std::int64_t row_bit, std::int64_t pixels) {
    if (pixels == 0) pixels = hypothesis_.width;
    if (!load(above_bit, pixels, above_) || !load(row_bit, pixels, below_)) return {};
    const auto count = std::min(above_.size(), below_.size());
    const auto stride = std::max<std::size_t>(1, count / kComparedSamples) | 1;
    std::vector<int> steps;
    double sum = 0, shift = 0;
    for (std::size_t x = 0; x < count; x += stride) {
        steps.push_back(std::abs(above_[x] - below_[x]));
        sum += steps.back();
        shift += below_[x] - above_[x];
    }
    if (steps.empty()) return {};
    const auto middle = steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2);
    std::nth_element(steps.begin(), middle, steps.end());
    const auto all = static_cast<double>(steps.size());
    return {static_cast<double>(*middle), sum / all, std::abs(shift) / all};
}

/// For each column the sum of the steps from the sample to its left, where rows go on in each
/// other; `counted`: rows that were summed up.
std::vector<double> RowSteps::steps_of_columns(std::int64_t start, std::int64_t rows,
                                               double& counted) {
    const auto pitch = hypothesis_.pitch_bits;
    const std::size_t step = hypothesis_.is_mosaic ? 2 : 1;
    std::vector<double> columns;
    std::vector<int> last;
    rows = std::min(
        {rows, 8 * (source_.size() - start) / pitch, 3 * kSeamRows + 8 * kLongestHeader / pitch});
    if (start < hypothesis_.fit->reach)
        rows = std::min(rows, 8 * (hypothesis_.fit->reach - start) / pitch);
    const auto stride = std::max<std::int64_t>(1, rows / kSeamRows);
    counted = 0;
    for (std::int64_t y = 1; y < rows; y += stride) {
        if (!load(8 * start + (y - 1) * pitch, hypothesis_.width, last) ||
            !load(8 * start + y * pitch, hypothesis_.width, below_))
            break;
        if (columns.empty()) columns.resize(below_.size());
        if (below_.size() <= step || last.size() != columns.size()) break;
        for (std::size_t x = 0; x < columns.size(); ++x) {
            const int left = x >= step ? below_[x - step] : last[last.size() + x - step];
            columns[x] += std::abs(below_[x] - left);
        }
        ++counted;
    }
    return columns;
}

std::int64_t RowSteps::seam(std::int64_t start, std::int64_t rows) {
    if (row_bits_ != hypothesis_.pitch_bits) return -1;
    const std::size_t step = hypothesis_.is_mosaic ? 2 : 1;
    double counted = 0;
    const auto columns = steps_of_columns(start, rows, counted);
    if (counted < kFewestSeamRows) return -1;
    const auto largest = std::max_element(columns.begin(), columns.end());
    const auto place = static_cast<std::size_t>(largest - columns.begin());
    double second = 0;
    for (std::size_t x = 0; x < columns.size(); ++x) {
        const auto away = (x + columns.size() - place) % columns.size();
        if (away > step && away + step < columns.size()) second = std::max(second, columns[x]);
    }
    if (*largest < kClearSeam * second || *largest < counted) return -1;
    // Of a mosaic, both the first and the second column lie behind the seam.
    const auto before = (place + columns.size() - 1) % columns.size();
    const auto after = (place + 1) % columns.size();
    const bool is_second = step == 2 && columns[before] > columns[after];
    return static_cast<std::int64_t>(is_second ? before : place);
}

}  // namespace frames
