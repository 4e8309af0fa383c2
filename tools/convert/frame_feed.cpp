#include "convert/frame_feed.h"

#include "cli/messages.h"
#include "errors.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace tool {

struct FrameFeed::Dump {
    InputFile file;
    std::shared_ptr<const Frame> shape;
    std::int64_t next = 0;          ///< frame to hand out
    std::int64_t end = 0;           ///< first frame not to hand out
    std::int64_t first_number = 0;  ///< of frame 0 in the names of pictures
    std::int64_t point_bytes = 0;

    explicit Dump(const std::string& path) : file(path) {}
};

namespace {

constexpr std::int64_t kNoEnd = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMostPointBytes = std::numeric_limits<std::int32_t>::max();

std::string number(std::int64_t value) { return std::to_string(value); }

/// Frames that each input has when its length does not say it.
std::int64_t frames_asked(const FrameRange& range) {
    return range.last ? *range.last - range.first + 1 : 0;
}

std::string cut_short(const std::string& name, const Frame& shape, std::int64_t frame,
                      std::size_t given) {
    return name + " ends within frame " + number(frame) + ": expected " +
           number(shape.sizes.frame_bytes) + " bytes (" + shape.text() + "), given " +
           number(static_cast<std::int64_t>(given)) +
           "\n  --best-effort completes such a frame with zeros";
}

/// Bytes of a list of points, which is as long as its file.
std::int64_t list_bytes(const InputFile& file, const Frame& shape) {
    const auto all = *file.size();
    const auto bytes = std::max<std::int64_t>(all - shape.given.skip, 0);
    if (all == 0) throw Failure(file.name() + " is empty");
    if (bytes == 0) throw Failure(file.name() + ": " + length_problem(shape, all));
    if (bytes > kMostPointBytes) throw Failure(file.name() + ": a list of points of 2 GiB or more");
    return bytes;
}

}  // namespace

/// Frames in a file, with the last one when zeros complete it. Throws Failure where bytes are left
/// over that nobody has asked to leave.
std::int64_t FrameFeed::held_frames(const Dump& dump) const {
    const auto& range = options_.frames;
    const auto& name = dump.file.name();
    const auto& shape = *dump.shape;
    const auto all_bytes = *dump.file.size();
    const auto [whole, rest, why] = fit(shape, all_bytes);
    const bool completed = options_.best_effort && rest > 0 && (whole == 0 || range.given);
    const auto held = whole + (completed ? 1 : 0);
    if (held == 0 || (!range.given && (held != 1 || (rest > 0 && !completed))))
        throw Failure(name + ": " + length_problem(shape, all_bytes));
    if (range.given && !range.last && rest > 0 && !completed)
        throw Failure(name + ": expected whole frames of " + number(shape.pitch()) + " bytes (" +
                      shape.text() + "), given " + number(held) + " of them and " + number(rest) +
                      " bytes more\n  --frames 0-" + number(held - 1) +
                      " takes the whole ones, --best-effort completes the last with zeros" + why);
    return held;
}

void FrameFeed::count_frames(Dump& dump) const {
    const auto& range = options_.frames;
    if (dump.shape->points()) {
        dump.point_bytes = list_bytes(dump.file, *dump.shape);
        return;
    }
    const auto held = held_frames(dump);
    if (range.given && (range.first >= held || (range.last && *range.last >= held)))
        throw Failure(dump.file.name() + ": holds " + counted(held, "frame") + " (" +
                      dump.shape->text() + "), counted from 0" +
                      (held > 1 ? " to " + number(held - 1) : ""));
    if (!range.last) dump.end = held;
}

void FrameFeed::start_stream(Dump& dump) const {
    const auto& given = dump.shape->given;
    const auto pitch = std::max<std::int64_t>(dump.shape->pitch(), 1);
    if (options_.frames.first > (kNoEnd - given.skip) / pitch)
        throw Failure(dump.file.name() + ": no stream reaches frame " +
                      number(options_.frames.first));
    if (!dump.file.skip(dump.shape->offset(options_.frames.first)))
        throw Failure(dump.file.name() + " ends before frame " + number(options_.frames.first));
}

/// Opens the next input; false with the fault in the job when it cannot be used.
bool FrameFeed::open_next(FrameJob& job) {
    const auto& range = options_.frames;
    const auto& path = inputs_[next_input_].path;
    job = {};
    job.input = next_input_++;
    job.frame = range.first;
    // The pictures of one dump have its frames' numbers, those of several dumps follow each other.
    const bool alone = inputs_.size() == 1;
    job.number = alone ? range.first : next_number_;
    next_number_ += frames_asked(range);
    // Files that are one frame each need not be opened to be left out.
    if (!range.given && filter_ && !filter_(job)) return true;
    std::shared_ptr<Dump> dump;
    try {
        const auto shape = std::make_shared<const Frame>(options_.source.frame_for(path));
        dump = std::make_shared<Dump>(path);
        dump->shape = shape;
        dump->next = range.first;
        dump->end = range.last ? *range.last + 1 : kNoEnd;
        dump->file.size() ? count_frames(*dump) : start_stream(*dump);
    } catch (const std::runtime_error& error) {
        if (dump && dump->file.size() && !range.last && !dump->shape->points())
            next_number_ += fit(*dump->shape, *dump->file.size()).frames;
        job.fault = error.what();
        return false;
    }
    if (!range.last && dump->end != kNoEnd) next_number_ += dump->end;
    dump->first_number = job.number - range.first;
    dump_ = std::move(dump);
    return true;
}

void FrameFeed::read_points(FrameJob& job, std::vector<std::uint8_t>& buffer) const {
    std::size_t used = 0;
    while (true) {
        buffer.resize(std::max<std::size_t>(buffer.size(), used + (1 << 20)));
        const auto count = dump_->file.read_on(std::span(buffer).subspan(used));
        used += count;
        if (used > static_cast<std::size_t>(kMostPointBytes))
            throw Failure(dump_->file.name() + ": a list of points of 2 GiB or more");
        if (used < buffer.size()) break;
    }
    if (used == 0) throw Failure(dump_->file.name() + " is empty");
    job.bytes = std::span(buffer).first(used);
}

/// The next frame of a stream; false at its end.
bool FrameFeed::read_stream(FrameJob& job, std::vector<std::uint8_t>& buffer) {
    const auto& shape = *dump_->shape;
    const auto& file = dump_->file;
    if (shape.points()) {
        read_points(job, buffer);
        return true;
    }
    const auto frame = static_cast<std::size_t>(shape.sizes.frame_bytes);
    const bool later = dump_->next > options_.frames.first;
    buffer.resize(std::max(buffer.size(), frame));
    if (later && shape.given.gap > 0 && !file.skip(shape.given.gap) && dump_->end == kNoEnd)
        return false;
    const auto count = file.read_on(std::span(buffer).first(frame));
    if (count == 0 && later && dump_->end == kNoEnd) return false;
    if (count < static_cast<std::size_t>(shape.sizes.needed_bytes)) {
        if (!options_.best_effort || count == 0)
            throw Failure(cut_short(file.name(), shape, dump_->next, count));
        job.completed = true;
        std::fill(buffer.begin() + static_cast<std::ptrdiff_t>(count),
                  buffer.begin() + static_cast<std::ptrdiff_t>(frame), std::uint8_t{0});
    }
    job.bytes = std::span(buffer).first(frame);
    std::uint8_t more = 0;
    if (!options_.frames.given && count == frame && file.read_on({&more, 1}) != 0)
        throw Failure(file.name() + ": expected " + number(shape.sizes.frame_bytes) + " bytes (" +
                      shape.text() +
                      "), given more\n  several frames: --frames all; anything "
                      "else behind the image: --frames 0");
    return true;
}

void FrameFeed::read_file(const Dump& dump, FrameJob& job,
                          std::vector<std::uint8_t>& buffer) const {
    const auto& shape = *dump.shape;
    const auto bytes =
        static_cast<std::size_t>(shape.points() ? dump.point_bytes : shape.sizes.frame_bytes);
    const auto needed = shape.points() ? bytes : static_cast<std::size_t>(shape.sizes.needed_bytes);
    buffer.resize(std::max(buffer.size(), bytes));
    const auto wanted = std::span(buffer).first(bytes);
    const auto at = shape.points() ? shape.given.skip : shape.offset(job.frame);
    const auto count = dump.file.read_at(at, wanted);
    if (count < needed && !options_.best_effort)
        throw Failure(dump.file.name() + " became shorter while it was read");
    job.completed = count < needed;
    std::fill(wanted.begin() + static_cast<std::ptrdiff_t>(count), wanted.end(), std::uint8_t{0});
    job.bytes = wanted;
}

/// Settles which frame is next, under the lock; streams are read here, too.
bool FrameFeed::take(FrameJob& job, std::vector<std::uint8_t>& buffer) {
    while (true) {
        if (dump_ && dump_->next >= dump_->end) dump_.reset();
        if (!dump_) {
            if (next_input_ == inputs_.size()) return false;
            if (!open_next(job)) return true;
            if (!dump_) continue;
        }
        job = {};
        job.input = next_input_ - 1;
        job.frame = dump_->next;
        job.number = dump_->first_number + job.frame;
        job.shape = dump_->shape;
        const bool is_file = dump_->file.size().has_value();
        const bool wanted = !options_.frames.given || !filter_ || filter_(job);
        if (!is_file) {
            try {
                if (!read_stream(job, buffer)) {
                    if (inputs_.size() > 1 && !options_.frames.last) next_number_ = job.number;
                    dump_.reset();
                    continue;
                }
            } catch (const std::exception& error) {
                job.fault = error.what();
                dump_.reset();
                return true;
            }
        }
        ++dump_->next;
        if (!wanted) continue;
        job.sequence = handed_out_++;
        return true;
    }
}

bool FrameFeed::next(FrameJob& job, std::vector<std::uint8_t>& buffer) {
    std::unique_lock lock(lock_);
    if (!take(job, buffer)) return false;
    if (job.sequence < 0) return true;
    const auto dump = dump_;
    // The first frame is handed to its caller before other threads read theirs.
    if (!first_frame_) lock.unlock();
    // The frame has its place already: faults are reported through it, so that nobody waits for it.
    try {
        if (dump->file.size()) read_file(*dump, job, buffer);
        if (first_frame_) {
            first_frame_(job);
            first_frame_ = nullptr;
        }
    } catch (const std::exception& error) {
        job.fault = error.what();
    }
    return true;
}

std::optional<std::int64_t> FrameFeed::expected_frames() const {
    const auto& range = options_.frames;
    std::int64_t total = 0;
    if (range.last) {
        total = static_cast<std::int64_t>(inputs_.size()) * frames_asked(range);
    } else {
        for (const auto& input : inputs_) {
            const auto size = regular_file_size(input.path);
            if (!size) return std::nullopt;
            try {
                const auto shape = options_.source.frame_for(input.path);
                if (!shape.points()) total += fit(shape, *size).frames;
            } catch (const UsageError&) {
                continue;  // said when its turn comes
            }
        }
    }
    const auto& part = options_.part;
    return (total - part.index + part.count - 1) / part.count;
}

}  // namespace tool
