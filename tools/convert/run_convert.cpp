#include "cli/messages.h"
#include "convert/convert_options.h"
#include "convert/frame_feed.h"
#include "convert/ordered_file.h"
#include "convert/output_plan.h"
#include "convert/progress.h"
#include "engine/converter.h"
#include "errors.h"

#include <unistd.h>
#include <algorithm>
#include <atomic>
#include <new>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

namespace tool {
namespace {

class Conversion {
  public:
    explicit Conversion(const ConvertOptions& options)
        : options_(options),
          inputs_(list_inputs(options.inputs)),
          feed_(options, inputs_),
          expected_(feed_.expected_frames()),
          plan_(options, inputs_, expected_),
          encode_(options.encode),
          progress_(expected_) {
        encode_.kind = plan_.kind();
        if (options.json && plan_.single() == "-")
            throw UsageError("--json and -o - both write to standard output");
        for (const auto& input : inputs_)
            if (!input.from_folder) check_shape(options.source.frame_for(input.path));
        feed_.set_filter([this](const FrameJob& job) { return is_wanted(job); });
        if (options.levels.any())
            feed_.on_first_frame([this](const FrameJob& job) {
                levels_ = options_.levels.levels_for(*job.shape, job.bytes);
            });
        if (plan_.single()) ordered_.emplace(*plan_.single(), options.existing);
    }

    int run() {
        int workers = options_.workers > 0
                          ? options_.workers
                          : std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
        if (expected_) workers = static_cast<int>(std::clamp<std::int64_t>(*expected_, 1, workers));
        frames_at_once_ = workers;
        std::vector<std::thread> others;
        try {
            for (int i = 1; i < workers; ++i) others.emplace_back([this] { work(); });
        } catch (const std::system_error&) {
            // Where the system gives no more threads, those that are there do the work.
        }
        work();
        for (auto& other : others) other.join();
        finish(static_cast<int>(others.size()) + 1);
        return failures_ == 0 ? kExitFine : kExitFailed;
    }

  private:
    imgcnv_target target_for(const Frame& frame) const {
        auto target = options_.target;
        target.kind = stored_target(plan_.kind(), options_.to, frame.format);
        // Frames side by side use the processors better than rows of one frame do.
        if (!options_.threads_given) target.threads = frames_at_once_ > 1 ? 1 : 0;
        if (levels_) target.levels = &*levels_;
        return target;
    }

    /// What cannot work for any data is said before anything is read or written.
    void check_shape(const Frame& frame) const {
        if (frame.points() && options_.frames.given)
            throw UsageError("--frames: a Mono1C list is one frame, as long as its file");
        if (frame.points() && frame.given.gap > 0)
            throw UsageError("--gap: a Mono1C list is as long as its file");
        auto target = target_for(frame);
        imgcnv_levels levels = IMGCNV_LEVELS_INIT;
        if (options_.levels.any() && !options_.levels.automatic)
            levels = options_.levels.levels_for(frame, {});
        target.levels = &levels;
        target.threads = 1;
        open_pipeline(frame, target);
    }

    /// Asked in order, by one thread at a time.
    bool is_wanted(const FrameJob& job) {
        if (job.number % options_.part.count != options_.part.index) return false;
        if (!options_.skip_existing) return true;
        const auto path = plan_.path_for(job);
        if (access(path.c_str(), F_OK) != 0) return true;
        ++skipped_;
        if (options_.json)
            print_json(job, ", \"output\": " + json_string(path) + ", \"skipped\": true");
        return false;
    }

    void work() {
        std::vector<std::uint8_t> buffer;
        std::optional<Converter> converter;
        std::shared_ptr<const Frame> shape;
        EncodedFile encoded;
        while (!stopped_) {
            FrameJob job;
            bool owes_turn = false;  // others wait until this frame is written or given up
            try {
                StageTimes times;
                auto start = Clock::now();
                const auto lap = [&start] {
                    const auto begun = std::exchange(start, Clock::now());
                    return std::chrono::duration<double>(start - begun).count();
                };
                if (!feed_.next(job, buffer)) return;
                owes_turn = ordered_ && job.sequence >= 0;
                if (!job.fault.empty()) throw Failure(job.fault);
                times.read = lap();
                if (shape != job.shape) {
                    converter.reset();
                    shape = job.shape;
                    converter.emplace(*shape, target_for(*shape));
                }
                const auto picture = convert(*converter, job);
                times.convert = lap();
                encode(picture, encode_, encoded);
                times.encode = lap();
                write(job, encoded, picture, owes_turn);
                times.write = lap();
                times.frames = 1;
                times.bytes_in = static_cast<std::int64_t>(job.bytes.size());
                times.bytes_out = static_cast<std::int64_t>(encoded.bytes());
                progress_.add(times);
                continue;
            } catch (const std::bad_alloc&) {
                fail(job, "not enough memory");
            } catch (const std::exception& error) {
                fail(job, error.what());
            }
            if (owes_turn) ordered_->write(job.sequence, nullptr);
        }
    }

    Picture convert(Converter& converter, const FrameJob& job) const {
        if (job.completed)
            say_note(name_of(job) + ": frame " + std::to_string(job.frame) +
                     " is cut short, zeros complete it");
        try {
            return converter.convert(job.bytes);
        } catch (const Failure& failure) {
            throw Failure(name_of(job) + ": " + failure.what());
        }
    }

    void write(const FrameJob& job, const EncodedFile& encoded, const Picture& picture,
               bool& owes_turn) {
        const auto path = plan_.path_for(job);
        if (!ordered_ && plan_.is_input(path))
            throw Failure(shown(path) + " is an input and is kept: give another -o");
        try {
            if (ordered_) {
                owes_turn = false;
                ordered_->write(job.sequence, &encoded);
            } else {
                plan_.make_folders_for(job, path);
                OutputFile file(path, options_.existing);
                file.write(encoded.head);
                file.write(encoded.body);
                file.commit();
            }
        } catch (const AlreadyThere&) {
            throw;
        } catch (const Failure&) {
            stopped_ = true;  // a full disk or a closed pipe will not get better
            throw;
        }
        if (options_.json)
            print_json(job, ", \"format\": \"" + std::string(job.shape->format.name) +
                                "\", \"output\": " + json_string(path) +
                                ", \"width\": " + std::to_string(picture.width) +
                                ", \"height\": " + std::to_string(picture.height));
        const std::lock_guard lock(last_lock_);
        last_ = shown(path) + ": " + std::to_string(picture.width) + "x" +
                std::to_string(picture.height) + " pixels";
    }

    std::string name_of(const FrameJob& job) const {
        const auto& path = inputs_[job.input].path;
        return path == "-" ? "standard input" : shown(path);
    }

    /// One line of JSON about a frame.
    void print_json(const FrameJob& job, const std::string& rest) const {
        const auto line = "{\"input\": " + json_string(inputs_[job.input].path) +
                          ", \"frame\": " + std::to_string(job.frame) + rest + "}\n";
        std::fwrite(line.data(), 1, line.size(), stdout);
    }

    void fail(const FrameJob& job, const std::string& text) {
        ++failures_;
        say_error(text);
        if (options_.json) print_json(job, ", \"error\": " + json_string(text));
    }

    void finish(int workers) {
        show_status("");
        const bool is_kept = !ordered_ || commit_single();
        const auto total = progress_.total();
        if (options_.stats) print_stats(total, workers);
        say_result(total, is_kept);
    }

    /// Names the one file that takes all pictures; false where it is not left behind, since it
    /// lacks a picture.
    bool commit_single() {
        if (failures_ > 0 && plan_.single() != "-") return false;
        try {
            ordered_->commit();
            return true;
        } catch (const std::exception& error) {
            ++failures_;
            say_error(error.what());
            return false;
        }
    }

    void print_stats(const StageTimes& total, int workers) const {
        const auto seconds = std::max(progress_.seconds(), 1e-9);
        if (options_.json)
            std::printf("{\"stats\": %s}\n", stats_json(total, seconds, workers).c_str());
        else
            std::fprintf(stderr, "%s\n", stats_text(total, seconds, workers).c_str());
    }

    void say_result(const StageTimes& total, bool is_kept) const {
        const auto skipped =
            skipped_ > 0 ? ", " + std::to_string(skipped_) + " were there already" : "";
        if (failures_ > 0 && failures_ + total.frames > 1)
            say_note(counted(failures_, "failure") + ", " +
                     counted(is_kept ? total.frames : 0, "picture") + " written" + skipped);
        else if (failures_ == 0 && total.frames > 0 && plan_.single() != "-")
            say_note(
                (total.frames > 1 ? std::to_string(total.frames) + " pictures, such as " : "") +
                last_ + skipped);
        else if (failures_ == 0 && skipped_ > 0)
            say_note("nothing to do" + skipped);
    }

    const ConvertOptions& options_;
    const std::vector<Input> inputs_;
    FrameFeed feed_;
    std::optional<std::int64_t> expected_;
    OutputPlan plan_;
    EncodeOptions encode_;
    Progress progress_;
    std::optional<OrderedFile> ordered_;
    std::optional<imgcnv_levels> levels_;  ///< set before the first frame is handed out
    int frames_at_once_ = 1;
    std::int64_t skipped_ = 0;  ///< under the feed's lock
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
