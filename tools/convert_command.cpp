#include "cli/common_options.h"
#include "commands.h"

#include <map>
#include <memory>

namespace tool {
namespace {

const std::map<std::string, IMGCNV_EBayerDemosaic> kMethods{{"nearest", IMGCNV_DEMOSAIC_NEAREST},
                                                            {"bilinear", IMGCNV_DEMOSAIC_BILINEAR},
                                                            {"adaptive", IMGCNV_DEMOSAIC_ADAPTIVE}};

const std::map<std::string, IMGCNV_EPixelFormat> kDestinations{
    {"mono8", IMGCNV_PIXEL_MONO8},
    {"rgb24", IMGCNV_PIXEL_RGB8_PACKED},
    {"bgr24", IMGCNV_PIXEL_BGR8_PACKED},
    {"rgba32", IMGCNV_PIXEL_RGBA8_PACKED},
    {"bgra32", IMGCNV_PIXEL_BGRA8_PACKED}};

struct Arguments {
    ConvertOptions options;
    std::string method = "bilinear", to, rotate, flip, frames;
};

}  // namespace

void add_convert(CLI::App& app) {
    auto* command = app.add_subcommand("convert", "Convert raw frames to pictures");
    auto arguments = std::make_shared<Arguments>();
    auto& options = arguments->options;
    command->add_option("IN", options.inputs, "Files of raw frames; - is standard input")
        ->required();
    add_source_options(*command, options.source);
    command
        ->add_option("--frames", arguments->frames,
                     "Frames of each file, counted from 0: all, one number, or first-last. "
                     "Default: each file is one frame")
        ->type_name("all|K|A-B");
    one_of(command->add_option("-m,--method", arguments->method,
                               "How a Bayer mosaic becomes colour. Default: bilinear"),
           {"nearest", "bilinear", "adaptive"});
    one_of(command->add_option(
               "--to", arguments->to,
               "Pixels of the picture. Default: mono8 for grey formats, rgb24 for colour"),
           {"mono8", "rgb24", "bgr24", "rgba32", "bgra32"});
    one_of(command->add_option("--rotate", arguments->rotate, "Turn clockwise"),
           {"90", "180", "270"});
    one_of(command->add_option("--flip", arguments->flip,
                               "Mirror left to right (h) or top to bottom (v), after turning"),
           {"h", "v"});
    command
        ->add_option("-o,--output", options.output,
                     "File, name_%04d.png, folder/ or - for standard output. Default: beside the "
                     "input, ending .png")
        ->type_name("OUT");
    one_of(command->add_option("--output-format", options.output_format,
                               "Kind of file. Default: as the ending of OUT says, or png"),
           {"png", "pnm", "pgm", "ppm", "tiff", "tif", "bmp", "raw"});
    in_range(command->add_option("--png-level", options.png_level,
                                 "PNG compression: 0 is none, 1 fast (the default), 9 small"),
             0, 9);
    in_range(command->add_option("-j,--jobs", options.workers,
                                 "Worker threads. Default: one for each processor"),
             1, 1024);
    command->add_flag("--stats", options.stats, "Say where the time went");
    command->add_flag("--json", options.json, "A line of JSON for each picture on standard output");
    add_quiet(*command);
    command->callback([arguments] {
        auto& all = arguments->options;
        all.demosaic = kMethods.at(arguments->method);
        if (!arguments->to.empty()) all.to = kDestinations.at(arguments->to);
        if (!arguments->rotate.empty()) all.turn.degrees = std::stoi(arguments->rotate);
        if (!arguments->flip.empty())
            all.turn.flip = arguments->flip == "h" ? Flip::Horizontal : Flip::Vertical;
        if (!arguments->frames.empty()) all.frames = parse_frames(arguments->frames);
        throw ExitRequest{run_convert(all)};
    });
}

}  // namespace tool
