#include "cli/messages.h"
#include "convert/convert_options.h"
#include "convert/frame_feed.h"
#include "convert/output_plan.h"
#include "convert/progress.h"
#include "errors.h"
#include "io/output_file.h"
#include "picture/encode.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <new>
#include <optional>
#include <thread>
#include <utility>

namespace tool {
namespace {

/// Lets the workers write to one file in the order of the frames.
class OrderedFile {
  public:
    explicit OrderedFile(const std::string& path) : file_(path) {}

    void write(std::int64_t sequence, const EncodedFile* picture) {
        std::unique_lock lock(lock_);
        turn_.wait(lock, [&] { return next_ == sequence; });
        // Whoever fails leaves its turn to the next all the same.
        struct Leave {
            OrderedFile& file;
            ~Leave() {
                ++file.next_;
                file.turn_.notify_all();
            }
        } leave{*this};
        if (picture == nullptr || broken_) return;
        broken_ = true;
        file_.write(picture->head);
        file_.write(picture->body);
        broken_ = false;
    }

    void commit() { file_.commit(); }

  private:
    OutputFile file_;
    std::mutex lock_;
    std::condition_variable turn_;
    std::int64_t next_ = 0;
    bool broken_ = false;
};

class Conversion {
  public:
    explicit Conversion(const ConvertOptions& options)
        : options_(options),
          feed_(options),
          expected_(feed_.expected_frames()),
          plan_(options, expected_),
          encode_options_(options.encode),
          progress_(expected_) {
        encode_options_.kind = plan_.kind();
        if (options.json && plan_.single() == "-")
            throw UsageError("--json and -o - both write to standard output");
        for (const auto& input : options.inputs) check_shape(options.source.shape_for(input));
        if (plan_.single()) ordered_.emplace(*plan_.single());
    }

    int run() {
        int workers = options_.workers > 0
                          ? options_.workers
                          : std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
        if (expected_) workers = static_cast<int>(std::clamp<std::int64_t>(*expected_, 1, workers));
        std::vector<std::thread> others;
        for (int i = 1; i < workers; ++i) others.emplace_back([this] { work(); });
        work();
        for (auto& other : others) other.join();
        finish(workers);
        return failures_ == 0 ? kExitFine : kExitFailed;
    }

  private:
    PixelKind kind_for(const FrameShape& shape) const {
        return stored_kind(plan_.kind(), options_.to, shape.format->isGrey());
    }

    /// What cannot work for any data is said before anything is read or written.
    void check_shape(const FrameShape& shape) const {
        kind_for(shape);
        if (shape.format->layout == Layout::Points && options_.frames.given)
            throw UsageError("--frames: a Mono1C list is one frame, as long as its file");
    }

    void work() {
        std::vector<std::uint8_t> buffer;
        std::optional<FrameConverter> converter;
        FrameShape shape;
        EncodedFile encoded;
        while (!stopped_) {
            FrameJob job;
            StageTimes times;
            bool owes_turn = false;  // others wait until this frame is written or given up
            try {
                auto start = Clock::now();
                const auto lap = [&start] {
                    const auto begun = std::exchange(start, Clock::now());
                    return std::chrono::duration<double>(start - begun).count();
                };
                if (!feed_.next(job, buffer)) return;
                owes_turn = ordered_.has_value();
                if (!job.fault.empty()) throw Failure(job.fault);
                times.read = lap();
                if (!converter || shape != job.shape) {
                    converter.reset();
                    shape = job.shape;
                    converter.emplace(shape, kind_for(shape), options_.demosaic, options_.turn);
                }
                const auto picture = convert(*converter, job);
                times.convert = lap();
                encode(picture, encode_options_, encoded);
                times.encode = lap();
                write(job, encoded, picture, owes_turn);
                times.write = lap();
                times.frames = 1;
                times.bytes_in = static_cast<std::int64_t>(job.bytes.size());
                times.bytes_out = static_cast<std::int64_t>(encoded.bytes());
                progress_.add(times);
                continue;
            } catch (const std::bad_alloc&) {
                fail("not enough memory");
            } catch (const std::exception& error) {
                fail(error.what());
            }
            if (owes_turn) ordered_->write(job.sequence, nullptr);
        }
    }

    Picture convert(FrameConverter& converter, const FrameJob& job) const {
        try {
            return converter.convert(job.bytes);
        } catch (const Failure& failure) {
            throw Failure(options_.inputs[job.input] + ": " + failure.what());
        }
    }

    void write(const FrameJob& job, const EncodedFile& encoded, const Picture& picture,
               bool& owes_turn) {
        const auto path = plan_.path_for(job.input, job.frame, job.sequence);
        try {
            if (ordered_) {
                owes_turn = false;
                ordered_->write(job.sequence, &encoded);
            } else {
                OutputFile file(path);
                file.write(encoded.head);
                file.write(encoded.body);
                file.commit();
            }
        } catch (const Failure&) {
            stopped_ = true;  // a full disk or a closed pipe will not get better
            throw;
        }
        if (options_.json) report(job, path, picture);
        const std::lock_guard lock(last_lock_);
        last_ = path + ": " + std::to_string(picture.width) + "x" + std::to_string(picture.height) +
                " pixels";
    }

    void report(const FrameJob& job, const std::string& path, const Picture& picture) {
        const auto line = "{\"input\": " + json_string(options_.inputs[job.input]) +
                          ", \"frame\": " + std::to_string(job.frame) + ", \"format\": \"" +
                          std::string(job.shape.format->name) +
                          "\", \"output\": " + json_string(path) +
                          ", \"width\": " + std::to_string(picture.width) +
                          ", \"height\": " + std::to_string(picture.height) + "}\n";
        std::fwrite(line.data(), 1, line.size(), stdout);
    }

    void fail(const std::string& text) {
        ++failures_;
        say_error(text);
    }

    void finish(int workers) {
        const auto total = progress_.total();
        show_status("");
        try {
            // A file that lacks a frame is not left behind.
            if (ordered_ && (failures_ == 0 || plan_.single() == "-")) ordered_->commit();
        } catch (const std::exception& error) {
            fail(error.what());
        }
        const auto seconds = std::max(progress_.seconds(), 1e-9);
        if (options_.json && options_.stats)
            std::printf("{\"stats\": %s}\n", stats_json(total, seconds, workers).c_str());
        else if (options_.stats)
            std::fprintf(stderr, "%s\n", stats_text(total, seconds, workers).c_str());
        if (failures_ > 1)
            say_note(std::to_string(failures_) + " failures, " + std::to_string(total.frames) +
                     " pictures written");
        else if (failures_ == 0 && total.frames > 0 && plan_.single() != "-")
            say_note(
                (total.frames > 1 ? std::to_string(total.frames) + " pictures, such as " : "") +
                last_);
    }

    const ConvertOptions& options_;
    FrameFeed feed_;
    std::optional<std::int64_t> expected_;
    OutputPlan plan_;
    EncodeOptions encode_options_;
    Progress progress_;
    std::optional<OrderedFile> ordered_;
    std::mutex last_lock_;
    std::string last_;  ///< picture written
    std::atomic<bool> stopped_ = false;
    std::atomic<int> failures_ = 0;
};

}  // namespace

int run_convert(const ConvertOptions& options) {
    Conversion conversion(options);
    return conversion.run();
}

}  // namespace tool
