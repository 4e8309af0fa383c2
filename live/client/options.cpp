#include "client/options.h"

#include "support/engine.h"

#include <CLI/CLI.hpp>
#include <cstdlib>

namespace live {
namespace {

Region parse_region(const std::string& text) {
    Region region;
    char rest = 0;
    const int read = std::sscanf(text.c_str(), "%dx%d+%d+%d%c", &region.width, &region.height,
                                 &region.x, &region.y, &rest);
    if ((read != 2 && read != 4) || region.width < 1 || region.height < 1 || region.x < 0 ||
        region.y < 0)
        throw CLI::ValidationError("--region",
                                   "expected such as 640x480 or 640x480+16+8, given " + text);
    return region;
}

std::uint32_t parse_format(const std::string& text) {
    try {
        return format_code(text);
    } catch (const Failure& failure) {
        throw CLI::ValidationError("--format", failure.what());
    }
}

const CLI::Validator kAboveZero(
    [](const std::string& text) {
        return std::atof(text.c_str()) > 0 ? std::string()
                                           : "expected a number above 0, given " + text;
    },
    "");

int parse_demosaic(const std::string& text) {
    int demosaic = 0;
    char why[IMGCNV_TEXT_BYTES] = "";
    if (imgcnv_find_demosaic(text.c_str(), &demosaic, why, sizeof why) == IMGCNV_OK)
        return demosaic;
    throw CLI::ValidationError("--demosaic", why);
}

void add_camera_options(CLI::App& app, Options& options) {
    app.add_option("CAMERA", options.camera,
                   "ID or address of the camera. Default: the first that answers");
    app.add_flag("--list", options.list, "List the cameras that answer, and end");
    app.add_option_function<std::string>(
           "-f,--format", [&](const std::string& text) { options.format = parse_format(text); },
           "Pixel format to ask the camera for: a name that `imgcnv formats` lists")
        ->type_name("FORMAT");
    app.add_option_function<std::string>(
           "--region", [&](const std::string& text) { options.region = parse_region(text); },
           "Part of the sensor")
        ->type_name("WxH[+X+Y]");
    app.add_option("--exposure", options.exposure, "Exposure time in microseconds")
        ->type_name("US")
        ->check(kAboveZero);
    app.add_option("--gain", options.gain, "Gain, in the camera's units")->type_name("N");
    app.add_option("--fps", options.fps, "Frames per second")->type_name("N")->check(kAboveZero);
    app.add_option("--packet-size", options.packet_size,
                   "Bytes of a network packet. Default: the largest that arrives")
        ->type_name("N")
        ->check(CLI::Range(576, 65535));
    app.add_option("--buffers", options.buffers, "Frames that may wait to be converted")
        ->type_name("N")
        ->check(CLI::Range(2, 1000))
        ->capture_default_str();
}

void add_output_options(CLI::App& app, Options& options) {
    app.add_option("--frames", options.frames, "End after this many complete frames")
        ->type_name("N")
        ->check(kAboveZero);
    app.add_option("--first", options.first, "Write the first complete frame as a PNG")
        ->type_name("FILE");
    app.add_option(
           "--record", options.record,
           "Write all complete frames as they come. Size and format are added to the file's "
           "name, where imgcnv convert finds them")
        ->type_name("FILE");
    app.add_flag("--window", options.window,
                 "Show the newest frame; as text in the terminal where there is no display. "
                 "Keys: space pauses, s saves, a levels automatically, d changes the demosaic, "
                 "+ and - zoom, q quits");
    app.add_flag("--incomplete", options.incomplete,
                 "Use frames with missing packets as well; they are only counted otherwise");
    app.add_option_function<std::string>(
           "-m,--demosaic",
           [&](const std::string& text) { options.demosaic = parse_demosaic(text); },
           "How mosaics become colour: nearest, bilinear, adaptive. Default: bilinear")
        ->type_name("METHOD");
    app.add_option("--threads", options.threads,
                   "Threads that convert a frame at most; 0: as many as pay")
        ->type_name("N")
        ->check(CLI::Range(0, 256))
        ->capture_default_str();
    app.add_flag("--json", options.json, "The report at the end, or the list, for programs");
}

}  // namespace

std::optional<int> parse_options(int argc, char** argv, Options& options) {
    CLI::App app("Pictures of a GigE Vision or USB3 Vision camera", "imgcnv-live");
    app.set_version_flag("--version", imgcnv_frames_version());
    add_camera_options(app, options);
    add_output_options(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    return std::nullopt;
}

}  // namespace live
