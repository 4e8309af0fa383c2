#include "cli/common_options.h"
#include "commands.h"

#include <map>
#include <memory>

namespace tool {
namespace {

const std::map<std::string, IMGCNV_EBayerDemosaic> kMethods{{"nearest", IMGCNV_DEMOSAIC_NEAREST},
                                                            {"bilinear", IMGCNV_DEMOSAIC_BILINEAR},
                                                            {"adaptive", IMGCNV_DEMOSAIC_ADAPTIVE}};

const std::map<std::string, PixelKind> kDestinations{{"mono8", kMono8},
                                                     {"rgb24", kRgb24},
                                                     {"bgr24", kBgr24},
                                                     {"rgba32", kRgba32},
                                                     {"bgra32", kBgra32}};

const std::map<std::string, TiffCompression> kCompressions{{"none", TiffCompression::None},
                                                           {"deflate", TiffCompression::Deflate},
                                                           {"zstd", TiffCompression::Zstd}};

struct Arguments {
    ConvertOptions options;
    std::string method = "bilinear", to, rotate, flip, frames, compression;
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
           {"png", "jpg", "tiff", "tif", "bmp", "pnm", "pgm", "ppm", "npy", "raw"});
    in_range(command->add_option("--level,--png-level", options.encode.level,
                                 "Compression of PNG and TIFF: 0 is none, 1 fast (the default), "
                                 "12 small"),
             0, 12);
    in_range(
        command->add_option("--quality", options.encode.quality, "Quality of JPEG. Default: 90"), 1,
        100);
    one_of(command->add_option("--compression", arguments->compression,
                               "Compression of TIFF. Default: none"),
           {"none", "deflate", "zstd"});
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
        if (!arguments->compression.empty())
            all.encode.compression = kCompressions.at(arguments->compression);
        if (!arguments->rotate.empty()) all.turn.degrees = std::stoi(arguments->rotate);
        if (!arguments->flip.empty())
            all.turn.flip = arguments->flip == "h" ? Flip::Horizontal : Flip::Vertical;
        if (!arguments->frames.empty()) all.frames = parse_frames(arguments->frames);
        throw ExitRequest{run_convert(all)};
    });
}

}  // namespace tool
