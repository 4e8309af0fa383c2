// imgcnv-live: receives, converts, shows and records the frames of a camera.
#include "client/camera.h"
#include "client/converter.h"
#include "client/options.h"
#include "client/recorder.h"
#include "client/report.h"
#include "client/view.h"

#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <ctime>
#include <thread>

namespace {

using namespace std::chrono_literals;
using live::Failure;

volatile std::sig_atomic_t is_told_to_end = 0;

void end_on_signals() {
    struct sigaction action {};
    action.sa_handler = [](int) { is_told_to_end = 1; };
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaction(signal, &action, nullptr);
}

void say(const std::string& text) { std::fprintf(stderr, "imgcnv-live: %s\n", text.c_str()); }

/// The line that changes while frames come, on a terminal only.
class StatusLine {
  public:
    explicit StatusLine(bool is_wanted) : is_wanted_(is_wanted && isatty(STDERR_FILENO)) {}
    ~StatusLine() { clear(); }

    void show(const live::Report& report) {
        const auto now = std::chrono::steady_clock::now();
        if (!is_wanted_ || now - shown_ < 500ms) return;
        shown_ = now;
        std::fprintf(stderr, "\r\033[K%s", report.status().c_str());
    }
    void clear() {
        if (is_wanted_) std::fputs("\r\033[K", stderr);
    }

  private:
    bool is_wanted_;
    std::chrono::steady_clock::time_point shown_;
};

class Session {
  public:
    Session(const live::Options& options, std::unique_ptr<live::View> view)
        : options_(options),
          view_(std::move(view)),
          converter_(options.demosaic, options.threads, view_ ? view_->target_kind() : 0),
          recorder_(options.record),
          status_(view_ == nullptr) {}

    void run() {
        std::string id = options_.camera;
        if (id.empty()) {
            const auto found = live::cameras_that_answer();
            if (found.empty()) throw Failure("no camera answers; " + live::no_camera_advice());
            id = found.front().id;
        }
        auto camera = connect(id);
        if (!camera) throw Failure(why_ + "; " + live::no_camera_advice());
        say("streaming from " + id);
        while (!has_ended()) {
            if (camera->is_lost()) {
                status_.clear();
                say("camera lost; trying again until it is back");
                report_.add_loss();
                missing_ended_ += camera->missing_packets();
                camera.reset();
                camera = reconnect(id);
                continue;
            }
            auto grabbed = camera->next(view_ ? 10ms : 100ms);
            if (grabbed) receive(*camera, std::move(grabbed));
            report_.set_missing(missing_ended_, camera->missing_packets());
            obey_wishes();
            status_.show(report_);
        }
        recorder_.close();
    }

    const live::Report& report() const { return report_; }

  private:
    std::unique_ptr<live::Camera> connect(const std::string& id) {
        report_.start_stream();
        try {
            return std::make_unique<live::Camera>(id, options_);
        } catch (const Failure& failure) {
            why_ = failure.what();
            return nullptr;
        }
    }

    std::unique_ptr<live::Camera> reconnect(const std::string& id) {
        while (!has_ended()) {
            obey_wishes();
            if (auto camera = connect(id)) {
                is_awaited_ = true;
                return camera;
            }
            std::this_thread::sleep_for(100ms);  // looking for it takes up to a second already
        }
        return nullptr;
    }

    bool has_ended() const {
        return is_told_to_end || wants_to_quit_ ||
               (options_.frames > 0 && report_.frames() >= options_.frames);
    }

    void receive(live::Camera& camera, live::Grabbed grabbed) {
        if (grabbed.is_outgrown())
            throw Failure("the camera sends larger frames than it said; start again");
        const bool is_usable =
            grabbed.has_image() && (grabbed.is_complete() || options_.incomplete);
        if (!grabbed.is_complete()) report_.add_incomplete();
        if (!is_usable) return;
        if (std::exchange(is_awaited_, false)) say("camera is back");
        const auto frame = grabbed.frame();
        std::size_t bytes = 0;
        const void* data = grabbed.data(bytes);
        report_.add_frame(frame, bytes, live::Report::Clock::now());
        if (!options_.record.empty()) recorder_.write(frame, data, bytes);
        const bool is_first = report_.frames() == 1 && !options_.first.empty();
        // A display that is slower than the camera shows the newest frame.
        if (view_ && (is_paused_ || camera.has_waiting()) && !is_first) return;
        report_.add_conversion(converter_.convert(frame, data, bytes));
        grabbed = {};
        if (is_first) live::write_png(converter_.picture(), options_.first);
        if (view_) view_->show(converter_.picture(), report_.title());
    }

    void obey_wishes() {
        if (!view_) return;
        for (auto wish = view_->next_wish(); wish != live::Wish::kNothing;
             wish = view_->next_wish()) {
            if (wish == live::Wish::kQuit) wants_to_quit_ = true;
            if (wish == live::Wish::kPause) is_paused_ = !is_paused_;
            if (wish == live::Wish::kAutoLevels) converter_.toggle_auto_levels();
            if (wish == live::Wish::kNextDemosaic) converter_.next_demosaic();
            if (wish == live::Wish::kSave && converter_.picture().width > 0) save();
        }
    }

    void save() {
        const std::time_t now = std::time(nullptr);
        char name[64];
        std::strftime(name, sizeof name, "imgcnv-live-%Y%m%d-%H%M%S", std::localtime(&now));
        const std::string path = std::string(name) + "-" + std::to_string(++saved_) + ".png";
        live::write_png(converter_.picture(), path);
        say("saved " + path);
    }

    const live::Options& options_;
    std::unique_ptr<live::View> view_;
    live::Converter converter_;
    live::Recorder recorder_;
    live::Report report_;
    StatusLine status_;
    std::uint64_t missing_ended_ = 0;
    std::string why_;
    int saved_ = 0;
    bool is_awaited_ = false;
    bool is_paused_ = false;
    bool wants_to_quit_ = false;
};

std::string quoted(const std::string& text) {
    g_autofree char* valid = g_utf8_make_valid(text.c_str(), -1);
    std::string out = "\"";
    for (const char* c = valid; *c; ++c) {
        char escape[8] = {*c, 0};
        if (static_cast<unsigned char>(*c) < 0x20 || *c == '"' || *c == '\\')
            std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(*c));
        out += escape;
    }
    return out + '"';
}

int list_cameras(bool json) {
    const auto found = live::cameras_that_answer();
    if (json) std::puts("[");
    for (const auto& each : found) {
        if (json)
            std::printf(
                "  {\"id\": %s, \"address\": %s, \"vendor\": %s, \"model\": %s, \"serial\": "
                "%s, \"protocol\": %s}%s\n",
                quoted(each.id).c_str(), quoted(each.address).c_str(), quoted(each.vendor).c_str(),
                quoted(each.model).c_str(), quoted(each.serial).c_str(),
                quoted(each.protocol).c_str(), &each == &found.back() ? "" : ",");
        else
            std::printf("%s  %s  %s\n", each.id.c_str(), each.address.c_str(),
                        each.protocol.c_str());
    }
    if (json) std::puts("]");
    if (found.empty()) say("no camera answers; " + live::no_camera_advice());
    return found.empty() ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
    live::Options options;
    if (const auto code = live::parse_options(argc, argv, options)) return *code;
    end_on_signals();
    try {
        if (options.list) return list_cameras(options.json);
        Session session(options, options.window ? live::open_view() : nullptr);
        int code = 0;
        try {
            session.run();
        } catch (const Failure& failure) {
            if (session.report().frames() == 0) throw;
            say(std::string("error: ") + failure.what());
            code = 1;
        }
        const auto& report = session.report();
        std::printf("%s\n", (options.json ? report.json() : report.text()).c_str());
        return code;
    } catch (const Failure& failure) {
        say(std::string("error: ") + failure.what());
        return 1;
    }
}
