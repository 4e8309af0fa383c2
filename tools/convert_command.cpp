#include "cli/common_options.h"
#include "commands.h"
#include "convert/convert_options.h"
#include "errors.h"

#include <map>
#include <memory>

namespace tool {
namespace {

const std::map<std::string, TiffCompression> kCompressions{{"none", TiffCompression::None},
                                                           {"deflate", TiffCompression::Deflate},
                                                           {"zstd", TiffCompression::Zstd}};

struct Arguments {
    ConvertOptions options;
    std::string to, rotate, flip, frames, compression, part;
    bool no_clobber = false, full_scale = false;
};

std::vector<std::string> target_names() {
    std::vector<std::string> names;
    for (int kind = IMGCNV_TARGET_MONO8; kind <= IMGCNV_TARGET_BGR48; ++kind)
        names.emplace_back(imgcnv_target_name(kind));
    return names;
}

void add_picture_options(CLI::App& command, Arguments& arguments) {
    auto& options = arguments.options;
    add_method(command, options.target.demosaic);
    one_of(command.add_option("--to", arguments.to,
                              "Pixels of the picture; raw16 keeps samples as they are. Default: "
                              "mono8 for grey formats, rgb24 for colour"),
           target_names());
    command.add_flag("--full-scale", arguments.full_scale,
                     "16-bit pictures: the largest sample of the format becomes 65535");
    one_of(command.add_option("--rotate", arguments.rotate, "Turn clockwise"),
           {"90", "180", "270"});
    one_of(command.add_option("--flip", arguments.flip,
                              "Mirror left to right (h) or top to bottom (v), after turning"),
           {"h", "v"});
    auto& levels = options.levels;
    command.add_option("--black", levels.black, "Sample that becomes black. Default: 0")
        ->type_name("V");
    command.add_option("--white", levels.white, "Sample that becomes white. Default: the largest")
        ->type_name("V");
    command
        .add_option("--gain", levels.gain, "Factor of the samples, or those of red, green and blue")
        ->type_name("G|R,G,B");
    command.add_option("--gamma", levels.gamma, "Gamma of the curve. Default: 1")->type_name("G");
    command.add_option("--contrast", levels.contrast, "Slope about the middle. Default: 1")
        ->type_name("C");
    command.add_flag("--auto", levels.automatic,
                     "Black, white and gains from the first frame, for all of them");
}

void add_output_options(CLI::App& command, Arguments& arguments) {
    auto& options = arguments.options;
    not_empty(command
                  .add_option("-o,--output", options.output,
                              "File, name_%04d.png, folder/ or - for standard output. Default: "
                              "beside the input, ending .png")
                  ->type_name("OUT"));
    one_of(command.add_option("--output-format", options.output_format,
                              "Kind of file. Default: as the ending of OUT says, or png"),
           {"png", "jpg", "jpeg", "tiff", "tif", "bmp", "pnm", "pgm", "ppm", "npy", "raw"});
    in_range(command.add_option("--level,--png-level", options.encode.level,
                                "Compression of PNG and TIFF: 0 is none, 1 fast (the default), "
                                "12 small"),
             0, 12);
    in_range(
        command.add_option("--quality", options.encode.quality, "Quality of JPEG. Default: 90"), 1,
        100);
    one_of(command.add_option("--compression", arguments.compression,
                              "Compression of TIFF. Default: none"),
           {"none", "deflate", "zstd"});
    auto* skip = command.add_flag("--skip-existing", options.skip_existing,
                                  "Leave out pictures that are there already");
    command.add_flag("--no-clobber", arguments.no_clobber, "Replace no file: it is an error")
        ->excludes(skip);
}

void add_batch_options(CLI::App& command, Arguments& arguments) {
    auto& options = arguments.options;
    command
        .add_option("--frames", arguments.frames,
                    "Frames of each file, counted from 0: all, one number, or first-last. "
                    "Default: each file is one frame")
        ->type_name("all|K|A-B");
    command
        .add_option("--part", arguments.part,
                    "Every N-th picture, from the I-th on: the share of one of N processes")
        ->type_name("I/N");
    command.add_flag("--best-effort", options.best_effort,
                     "Complete a last frame that is cut short with zeros");
    in_range(command.add_option("-j,--jobs", options.workers,
                                "Frames converted at once. Default: one for each processor"),
             1, 1024);
    in_range(command.add_option_function<int>(
                 "--threads",
                 [&options](int threads) {
                     options.target.threads = threads;
                     options.threads_given = true;
                 },
                 "Threads for each frame. Default: one, for a single frame as many as pay"),
             1, 256);
    command.add_flag("--stats", options.stats, "Say where the time went");
    command.add_flag("--json", options.json,
                     "A line of JSON for each picture and each failure on standard output");
}

ConvertOptions finished(const Arguments& arguments) {
    auto options = arguments.options;
    if (!arguments.to.empty()) {
        int kind = 0;
        char text[IMGCNV_TEXT_BYTES];
        check(imgcnv_find_target(arguments.to.c_str(), &kind, text, sizeof text), text);
        options.to = kind;
    }
    if (!arguments.rotate.empty()) options.target.rotation = std::stoi(arguments.rotate);
    if (!arguments.flip.empty())
        options.target.flags |=
            arguments.flip == "h" ? IMGCNV_TARGET_FLIP_HORIZONTAL : IMGCNV_TARGET_FLIP_VERTICAL;
    if (arguments.full_scale) options.target.flags |= IMGCNV_TARGET_FULL_SCALE;
    if (!arguments.compression.empty())
        options.encode.compression = kCompressions.at(arguments.compression);
    if (arguments.no_clobber) options.existing = Existing::Refuse;
    if (!arguments.frames.empty()) options.frames = parse_frames(arguments.frames);
    if (!arguments.part.empty()) options.part = parse_part(arguments.part);
    return options;
}

}  // namespace

void add_convert(CLI::App& app) {
    auto* command = app.add_subcommand("convert", "Convert raw frames to pictures");
    auto arguments = std::make_shared<Arguments>();
    command
        ->add_option("IN", arguments->options.inputs,
                     "Files of raw frames, or folders of them; - is standard input")
        ->required();
    add_source_options(*command, arguments->options.source);
    add_batch_options(*command, *arguments);
    add_picture_options(*command, *arguments);
    add_output_options(*command, *arguments);
    add_quiet(*command);
    command->callback([arguments] {
        const auto options = finished(*arguments);
        throw ExitRequest{run_convert(options)};
    });
}

}  // namespace tool
