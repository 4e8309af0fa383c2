#include "convert/frame_feed.h"

#include "errors.h"

#include <algorithm>
#include <limits>

namespace tool {

struct FrameFeed::Dump {
    InputFile file;
    FrameShape shape;
    std::int64_t next = 0;  ///< frame to hand out
    std::int64_t end = 0;   ///< first frame not to hand out
    std::int64_t point_bytes = 0;

    explicit Dump(const std::string& path) : file(path) {}
};

namespace {

constexpr std::int64_t kNoEnd = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMaxInt = std::numeric_limits<std::int32_t>::max();

std::string number(std::int64_t value) { return std::to_string(value); }

bool is_points(const FrameShape& shape) { return shape.format->layout == Layout::Points; }

/// Frames in so many bytes; the last one needs no row padding at its end.
std::int64_t frames_in(const FrameShape& shape, std::int64_t bytes) {
    return bytes < shape.neededBytes() ? 0 : (bytes - shape.neededBytes()) / shape.frameBytes() + 1;
}

[[noreturn]] void fail_length(const std::string& name, const FrameShape& shape, std::int64_t skip,
                              std::int64_t bytes) {
    throw Failure(name + ": expected " + number(shape.frameBytes()) + " bytes (" + shape.text() +
                  "), given " + number(bytes) +
                  (skip > 0 ? " behind the " + number(skip) + " skipped" : "") +
                  explainLength(shape, bytes));
}

}  // namespace

void FrameFeed::count_frames(Dump& dump) const {
    const auto& range = options_.frames;
    const auto& name = dump.file.name();
    const auto bytes = std::max<std::int64_t>(*dump.file.size() - options_.source.skip, 0);
    if (is_points(dump.shape)) {
        if (bytes == 0) throw Failure(name + " is empty");
        if (bytes > kMaxInt) throw Failure(name + ": a list of points of 2 GiB or more");
        dump.point_bytes = bytes;
        return;
    }
    const auto held = frames_in(dump.shape, bytes);
    const auto rest = bytes - held * dump.shape.frameBytes();
    if (!range.given && (held != 1 || rest > 0))
        fail_length(name, dump.shape, options_.source.skip, bytes);
    if (held == 0) fail_length(name, dump.shape, options_.source.skip, bytes);
    if (range.given && !range.last && rest > 0)
        throw Failure(name + ": expected whole frames of " + number(dump.shape.frameBytes()) +
                      " bytes (" + dump.shape.text() + "), given " + number(held) +
                      " of them and " + number(rest) + " bytes more\n  --frames 0-" +
                      number(held - 1) + " takes the whole ones");
    if (range.given && (range.first >= held || (range.last && *range.last >= held)))
        throw Failure(name + ": holds " + number(held) + " frames (" + dump.shape.text() +
                      "), numbers 0 to " + number(held - 1));
    if (!range.last) dump.end = held;
}

void FrameFeed::open_next() {
    const auto& path = options_.inputs[next_input_++];
    const auto& range = options_.frames;
    const auto shape = options_.source.shape_for(path);
    auto dump = std::make_shared<Dump>(path);
    dump->shape = shape;
    dump->next = range.first;
    dump->end = range.last ? *range.last + 1 : kNoEnd;
    if (dump->file.size()) {
        count_frames(*dump);
    } else {
        const auto frame = shape.frameBytes();
        if (frame > 0 && range.first > (kNoEnd - options_.source.skip) / frame)
            throw UsageError("--frames: no such frame");
        if (!dump->file.skip(options_.source.skip + range.first * frame))
            throw Failure(dump->file.name() + " ends before frame " + number(range.first));
    }
    dump_ = std::move(dump);
}

bool FrameFeed::read_stream(FrameJob& job, std::vector<std::uint8_t>& buffer) {
    const auto& shape = dump_->shape;
    const auto& name = dump_->file.name();
    if (is_points(shape)) {
        std::size_t used = 0;
        while (true) {
            buffer.resize(std::max<std::size_t>(buffer.size(), used + (1 << 20)));
            const auto count = dump_->file.read_on(std::span(buffer).subspan(used));
            used += count;
            if (used > static_cast<std::size_t>(kMaxInt))
                throw Failure(name + ": a list of points of 2 GiB or more");
            if (used < buffer.size()) break;
        }
        if (used == 0) throw Failure(name + " is empty");
        job.bytes = std::span(buffer).first(used);
        return true;
    }
    const auto frame = static_cast<std::size_t>(shape.frameBytes());
    buffer.resize(std::max(buffer.size(), frame));
    const auto count = dump_->file.read_on(std::span(buffer).first(frame));
    if (count == 0 && dump_->next > options_.frames.first && dump_->end == kNoEnd) return false;
    if (count < static_cast<std::size_t>(shape.neededBytes()))
        throw Failure(name + " ends within frame " + number(dump_->next) + ": expected " +
                      number(shape.frameBytes()) + " bytes (" + shape.text() + "), given " +
                      number(static_cast<std::int64_t>(count)) +
                      explainLength(shape, static_cast<std::int64_t>(count)));
    job.bytes = std::span(buffer).first(frame);
    std::uint8_t more = 0;
    if (!options_.frames.given && count == frame && dump_->file.read_on({&more, 1}) != 0)
        throw Failure(name + ": expected " + number(shape.frameBytes()) + " bytes (" +
                      shape.text() +
                      "), given more\n  several frames: --frames all; anything "
                      "else behind the image: --frames 0");
    return true;
}

bool FrameFeed::next(FrameJob& job, std::vector<std::uint8_t>& buffer) {
    std::shared_ptr<Dump> dump;
    {
        const std::lock_guard lock(lock_);
        while (true) {
            if (dump_ && dump_->next >= dump_->end) dump_.reset();
            if (!dump_) {
                if (next_input_ == options_.inputs.size()) return false;
                open_next();
            }
            job.input = next_input_ - 1;
            job.frame = dump_->next;
            job.shape = dump_->shape;
            if (!dump_->file.size()) {
                bool read = false;
                try {
                    read = read_stream(job, buffer);
                } catch (...) {
                    dump_.reset();
                    throw;
                }
                if (!read) {
                    dump_.reset();
                    continue;
                }
            }
            dump = dump_;
            ++dump_->next;
            break;
        }
        job.sequence = handed_out_++;
    }
    if (!dump->file.size()) return true;

    const auto frame = is_points(dump->shape) ? dump->point_bytes : dump->shape.frameBytes();
    buffer.resize(std::max(buffer.size(), static_cast<std::size_t>(frame)));
    job.bytes = std::span(buffer).first(static_cast<std::size_t>(frame));
    const auto needed = is_points(dump->shape) ? frame : dump->shape.neededBytes();
    // The frame has its number already: faults are reported through it, so that nobody waits for
    // it.
    try {
        const auto count = dump->file.read_at(options_.source.skip + job.frame * frame, job.bytes);
        if (static_cast<std::int64_t>(count) < needed)
            job.fault = dump->file.name() + " became shorter while it was read";
    } catch (const Failure& failure) {
        job.fault = failure.what();
    }
    return true;
}

std::optional<std::int64_t> FrameFeed::expected_frames() const {
    const auto& range = options_.frames;
    if (range.last)
        return static_cast<std::int64_t>(options_.inputs.size()) * (*range.last - range.first + 1);
    std::int64_t total = 0;
    for (const auto& input : options_.inputs) {
        const auto size = regular_file_size(input);
        if (!size) return std::nullopt;
        const auto shape = options_.source.shape_for(input);
        if (!is_points(shape)) total += frames_in(shape, *size - options_.source.skip);
    }
    return total;
}

}  // namespace tool
