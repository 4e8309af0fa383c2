#include "client/camera.h"

#include "support/engine.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>

#include <utility>
#include <vector>

namespace live {
namespace {

/// A GError that becomes a Failure.
class Checked {
  public:
    ~Checked() { g_clear_error(&error_); }
    operator GError**() {
        g_clear_error(&error_);
        return &error_;
    }
    explicit operator bool() const { return error_ != nullptr; }
    /// Does nothing unless the call before failed.
    void require(const std::string& what) const {
        if (error_) throw Failure(what + ": " + error_->message);
    }

  private:
    GError* error_ = nullptr;
};

std::string text_of(const char* text) { return text ? text : ""; }

}  // namespace

imgcnv_frame Grabbed::frame() const {
    imgcnv_frame frame = IMGCNV_FRAME_INIT;
    frame.format = arv_buffer_get_part_pixel_format(buffer_, 0);
    frame.width = arv_buffer_get_part_width(buffer_, 0);
    frame.height = arv_buffer_get_part_height(buffer_, 0);
    format_info(frame.format);
    gint padding_x = 0;
    gint padding_y = 0;
    arv_buffer_get_part_padding(buffer_, 0, &padding_x, &padding_y);
    if (padding_x > 0) frame.stride = imgcnv_row_bytes(frame.format, frame.width) + padding_x;
    return frame;
}

Camera::Camera(const std::string& id, const Options& options) {
    Checked error;
    camera_.reset(arv_camera_new(id.c_str(), error));
    error.require(id);
    set(options);
    start(options.buffers);
}

Camera::~Camera() {
    if (stream_) arv_stream_set_emit_signals(stream_.get(), FALSE);
    if (!is_lost_) arv_camera_stop_acquisition(camera_.get(), nullptr);
    stream_.reset();
}

void Camera::set(const Options& options) {
    ArvCamera* camera = camera_.get();
    Checked error;
    const auto set_float = [&](const std::optional<double>& value, const char* name,
                               gboolean (*has_auto)(ArvCamera*, GError**),
                               void (*set_auto)(ArvCamera*, ArvAuto, GError**),
                               void (*set)(ArvCamera*, double, GError**)) {
        if (!value) return;
        // A camera that adjusts itself would not keep the value.
        if (has_auto(camera, error) && !error) set_auto(camera, ARV_AUTO_OFF, error);
        set(camera, *value, error);
        error.require(name);
    };
    if (options.format) {
        arv_camera_set_pixel_format(camera, *options.format, error);
        error.require("--format");
    }
    if (const auto& region = options.region) {
        arv_camera_set_region(camera, region->x, region->y, region->width, region->height, error);
        error.require("--region");
    }
    set_float(options.exposure, "--exposure", arv_camera_is_exposure_auto_available,
              arv_camera_set_exposure_time_auto, arv_camera_set_exposure_time);
    set_float(options.gain, "--gain", arv_camera_is_gain_auto_available, arv_camera_set_gain_auto,
              arv_camera_set_gain);
    if (options.fps) {
        arv_camera_set_frame_rate(camera, *options.fps, error);
        error.require("--fps");
    }
    if (options.packet_size && arv_camera_is_gv_device(camera)) {
        arv_camera_gv_set_packet_size(camera, *options.packet_size, error);
        error.require("--packet-size");
        arv_camera_gv_set_packet_size_adjustment(camera, ARV_GV_PACKET_SIZE_ADJUSTMENT_NEVER);
    }
}

void Camera::start(int buffers) {
    Checked error;
    ArvCamera* camera = camera_.get();
    stream_.reset(arv_camera_create_stream(camera, nullptr, nullptr, error));
    error.require("stream");
    if (arv_camera_is_gv_device(camera))  // a socket's usual buffer holds less than a frame
        g_object_set(stream_.get(), "socket-buffer", ARV_GV_STREAM_SOCKET_BUFFER_AUTO, nullptr);
    const auto payload = arv_camera_get_payload(camera, error);
    error.require("payload size");
    for (int i = 0; i < buffers; ++i)
        arv_stream_push_buffer(stream_.get(), arv_buffer_new_allocate(payload));
    g_signal_connect(arv_camera_get_device(camera), "control-lost",
                     G_CALLBACK(+[](ArvDevice*, std::atomic<bool>* lost) { *lost = true; }),
                     &is_lost_);
    arv_camera_set_acquisition_mode(camera, ARV_ACQUISITION_MODE_CONTINUOUS, error);
    error.require("acquisition mode");
    arv_camera_start_acquisition(camera, error);
    error.require("start");
}

Grabbed Camera::next(std::chrono::milliseconds timeout) {
    const auto microseconds = std::chrono::microseconds(timeout).count();
    return {stream_.get(), arv_stream_timeout_pop_buffer(stream_.get(), microseconds)};
}

bool Camera::has_waiting() const {
    gint inputs = 0;
    gint outputs = 0;
    arv_stream_get_n_buffers(stream_.get(), &inputs, &outputs);
    return outputs > 0;
}

std::uint64_t Camera::missing_packets() const {
    if (!ARV_IS_GV_STREAM(stream_.get())) return 0;
    guint64 resent = 0;
    guint64 missing = 0;
    arv_gv_stream_get_statistics(ARV_GV_STREAM(stream_.get()), &resent, &missing);
    return missing;
}

std::vector<Found> cameras_that_answer() {
    arv_update_device_list();
    std::vector<Found> found;
    for (unsigned i = 0; i < arv_get_n_devices(); ++i)
        found.push_back({text_of(arv_get_device_id(i)), text_of(arv_get_device_address(i)),
                         text_of(arv_get_device_vendor(i)), text_of(arv_get_device_model(i)),
                         text_of(arv_get_device_serial_nbr(i)),
                         text_of(arv_get_device_protocol(i))});
    return found;
}

std::string no_camera_advice() {
    std::string asked;
    ifaddrs* all = nullptr;
    if (getifaddrs(&all) == 0) {
        for (const auto* each = all; each; each = each->ifa_next) {
            if (!each->ifa_addr || each->ifa_addr->sa_family != AF_INET ||
                !(each->ifa_flags & IFF_UP))
                continue;
            char address[INET_ADDRSTRLEN] = "";
            inet_ntop(AF_INET, &reinterpret_cast<sockaddr_in*>(each->ifa_addr)->sin_addr, address,
                      sizeof address);
            asked += std::string(asked.empty() ? "" : ", ") + each->ifa_name + " (" + address + ")";
        }
        freeifaddrs(all);
    }
    return "asked: GigE Vision on " + (asked.empty() ? "no network interface that is up" : asked) +
           "; USB3 Vision.\nA GigE camera must have an address in the network of its interface, "
           "and "
           "no firewall may drop its UDP packets.\nA camera to try with, from a dump of frames:\n"
           "  imgcnv-fakecam FRAMES.raw -f BayerRG8 -s 1920x1080 --loop";
}

}  // namespace live
