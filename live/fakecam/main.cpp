// imgcnv-fakecam: a GigE Vision camera on this computer, whose pictures are raw dumps.
#include "fakecam/camera_xml.h"
#include "fakecam/dump_frames.h"
#include "fakecam/frame_server.h"
#include "support/engine.h"

#include <arv.h>
#include <sys/mman.h>
#include <unistd.h>
#include <CLI/CLI.hpp>

#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

using live::Failure;

struct Options {
    std::vector<std::string> dumps;
    std::string format;
    std::string size;
    std::string address = "127.0.0.1";
    std::string serial = "1";
    double fps = 25;
    std::int64_t skip = 0;
    std::int64_t gap = 0;
    bool loop = false;
};

void add_options(CLI::App& app, Options& options) {
    app.set_version_flag("--version", imgcnv_frames_version());
    app.add_option("DUMP", options.dumps, "Files of raw frames, served one after the other")
        ->required();
    app.add_option("-f,--format", options.format,
                   "Format of the frames: a name that `imgcnv formats` lists")
        ->required()
        ->type_name("FORMAT");
    app.add_option("-s,--size", options.size, "Width and height in pixels")
        ->required()
        ->type_name("WxH");
    app.add_option("--fps", options.fps, "Frames per second, until a client sets its own")
        ->type_name("N")
        ->check(CLI::Range(0.1, 1000.0))
        ->capture_default_str();
    app.add_flag("--loop", options.loop,
                 "Begin again after the last frame. Without, the camera stops there until a client "
                 "starts it again");
    app.add_option("--skip", options.skip, "Bytes of each file before its first frame")
        ->type_name("N")
        ->check(CLI::NonNegativeNumber);
    app.add_option("--gap", options.gap, "Bytes of each file after each frame")
        ->type_name("N")
        ->check(CLI::NonNegativeNumber);
    app.add_option("--address", options.address, "Address of this computer to answer at")
        ->type_name("ADDRESS")
        ->capture_default_str();
    app.add_option("--serial", options.serial, "Serial number, the end of the camera's ID")
        ->type_name("TEXT")
        ->capture_default_str();
}

/// Aravis shares the port with whoever has it; two cameras would each get some of the commands.
void refuse_unusable_address(const std::string& text) {
    constexpr guint16 kControlPort = 3956;  // of GigE Vision
    g_autoptr(GInetAddress) address = g_inet_address_new_from_string(text.c_str());
    g_autoptr(GError) error = nullptr;
    if (!address) throw Failure("--address: expected such as 127.0.0.1, given " + text);
    g_autoptr(GSocketAddress) place = g_inet_socket_address_new(address, kControlPort);
    g_autoptr(GSocket) socket = g_socket_new(g_inet_address_get_family(address),
                                             G_SOCKET_TYPE_DATAGRAM, G_SOCKET_PROTOCOL_UDP, &error);
    if (socket && g_socket_bind(socket, place, FALSE, &error)) return;
    if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_ADDRESS_IN_USE))
        throw Failure("another camera program answers at " + text +
                      " already: end it, or take another --address");
    throw Failure("no camera can answer at " + text + ": " + error->message);
}

/// A file with the camera's description in memory, of which nothing is left however this ends.
class XmlFile {
  public:
    explicit XmlFile(const std::string& xml)
        : file_(memfd_create("imgcnv-fakecam.xml", MFD_CLOEXEC)),
          path_("/proc/self/fd/" + std::to_string(file_)) {
        if (file_ < 0 || write(file_, xml.data(), xml.size()) != static_cast<ssize_t>(xml.size()))
            throw Failure("no memory for the camera's description: " +
                          std::string(strerror(errno)));
    }
    ~XmlFile() { close(file_); }
    XmlFile(const XmlFile&) = delete;
    XmlFile& operator=(const XmlFile&) = delete;

    const char* path() const { return path_.c_str(); }

  private:
    const int file_;
    const std::string path_;
};

std::uint32_t read_register(ArvFakeCamera* camera, guint32 address) {
    guint32 value = 0;
    arv_fake_camera_read_register(camera, address, &value);
    return value;
}

struct Served {
    ArvFakeCamera* camera;
    live::FrameServer server;
    live::DumpFrames& frames;
};

/// Called on the camera's thread for each frame.
void fill(ArvBuffer* buffer, void* context, guint32, guint32, ArvPixelFormat format) {
    auto& served = *static_cast<Served*>(context);
    std::size_t received = 0;  // by a client, so nothing here
    auto* data =
        static_cast<std::uint8_t*>(const_cast<void*>(arv_buffer_get_data(buffer, &received)));
    const live::Request request{format,
                                read_register(served.camera, ARV_FAKE_CAMERA_REGISTER_X_OFFSET),
                                read_register(served.camera, ARV_FAKE_CAMERA_REGISTER_Y_OFFSET),
                                read_register(served.camera, ARV_FAKE_CAMERA_REGISTER_WIDTH),
                                read_register(served.camera, ARV_FAKE_CAMERA_REGISTER_HEIGHT)};
    served.server.serve(request, {data, arv_fake_camera_get_payload(served.camera)});
    if (!served.frames.has_next())
        arv_fake_camera_write_register(served.camera, ARV_FAKE_CAMERA_REGISTER_ACQUISITION, 0);
}

void set_up(ArvFakeCamera* camera, const imgcnv_frame& frame, double fps) {
    const auto write_text = [&](guint32 address, std::string text, std::size_t bytes) {
        text.resize(bytes);
        arv_fake_camera_write_memory(camera, address, static_cast<guint32>(bytes), text.data());
    };
    write_text(0x48, "imgcnv", 32);
    write_text(0x68, "fakecam", 32);
    write_text(0x88, imgcnv_frames_version(), 32);
    const auto width = static_cast<guint32>(frame.width);
    const auto height = static_cast<guint32>(frame.height);
    const std::pair<guint32, guint32> registers[] = {
        {ARV_FAKE_CAMERA_REGISTER_SENSOR_WIDTH, width},
        {ARV_FAKE_CAMERA_REGISTER_SENSOR_HEIGHT, height},
        {ARV_FAKE_CAMERA_REGISTER_WIDTH, width},
        {ARV_FAKE_CAMERA_REGISTER_HEIGHT, height},
        {ARV_FAKE_CAMERA_REGISTER_PIXEL_FORMAT, frame.format},
        {ARV_FAKE_CAMERA_REGISTER_ACQUISITION_FRAME_PERIOD_US,
         static_cast<guint32>(std::lround(1e6 / fps))},
        // Frames that take longer to expose come less often.
        {ARV_FAKE_CAMERA_REGISTER_EXPOSURE_TIME_US, 10}};
    for (const auto& [address, value] : registers)
        arv_fake_camera_write_register(camera, address, value);
}

void refuse_what_cannot_be_sent(const imgcnv_frame& frame) {
    const auto info = live::format_info(frame.format);
    const std::string name = info.name;
    if (!live::has_pfnc_code(frame.format))
        throw Failure(name + " has no PFNC code, by which cameras tell clients their format");
    if (info.layout == IMGCNV_LAYOUT_POINTS)
        throw Failure(name + " is a list of points: the protocol sends width x height pixels");
    if (frame.flags & IMGCNV_FRAME_BIG_ENDIAN)
        throw Failure("cameras send words with their low byte first: convert the dump");
    if (frame.width > 65535 || frame.height > 65535)
        throw Failure("the camera sends at most 65535 x 65535 pixels");
}

void refuse_odd_payload(ArvFakeCamera* camera, const imgcnv_frame& frame) {
    const auto sent = static_cast<std::int64_t>(arv_fake_camera_get_payload(camera));
    const auto needed = live::sizes_of(frame).frame_bytes;
    if (sent == needed) return;
    throw Failure("the protocol would send " + std::to_string(sent) + " of the " +
                  std::to_string(needed) + " bytes of " + live::format_info(frame.format).name +
                  " frames of this size: rows must end with whole bytes, choose another width");
}

void serve(const Options& options) {
    imgcnv_frame frame = live::frame_named(options.format, options.size);
    frame.skip = options.skip;
    frame.gap = options.gap;
    refuse_what_cannot_be_sent(frame);
    live::DumpFrames frames(frame, options.dumps, options.loop);
    refuse_unusable_address(options.address);
    const XmlFile xml(live::camera_xml(frame));

    sigset_t signals;
    sigemptyset(&signals);
    for (const int each : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, each);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);  // before the camera's thread inherits the mask

    g_autoptr(ArvGvFakeCamera) camera =
        arv_gv_fake_camera_new_full(options.address.c_str(), options.serial.c_str(), xml.path());
    if (!arv_gv_fake_camera_is_running(camera))
        throw Failure("the camera at " + options.address + " did not start");
    ArvFakeCamera* registers = arv_gv_fake_camera_get_fake_camera(camera);
    set_up(registers, frame, options.fps);
    refuse_odd_payload(registers, frame);
    Served served{registers, live::FrameServer(frame, frames), frames};
    arv_fake_camera_set_fill_pattern(registers, fill, &served);

    std::printf("imgcnv-fakecam-%s at %s: %lld %s of %s %s, %g per second%s. Ctrl-C ends it.\n",
                options.serial.c_str(), options.address.c_str(),
                static_cast<long long>(frames.count()), frames.count() == 1 ? "frame" : "frames",
                live::format_info(frame.format).name, options.size.c_str(), options.fps,
                options.loop ? ", again and again" : "");
    std::fflush(stdout);
    int signal = 0;
    sigwait(&signals, &signal);
    g_clear_object(&camera);  // ends the thread that uses what is destroyed next
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("A GigE Vision camera on this computer that serves the frames of raw dumps",
                 "imgcnv-fakecam");
    Options options;
    add_options(app, options);
    try {
        app.parse(argc, argv);
        serve(options);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    } catch (const Failure& failure) {
        std::fprintf(stderr, "imgcnv-fakecam: error: %s\n", failure.what());
        return 1;
    }
    return 0;
}
