#include "cli/common_options.h"
#include "cli/messages.h"
#include "commands.h"
#include "errors.h"
#include "frame/pack_frame.h"
#include "io/output_file.h"

#include <memory>

namespace tool {
namespace {

struct PackOptions {
    std::string picture, format, output;
    std::optional<std::int64_t> padding, stride;
    int frames = 1;
};

void pack(const PackOptions& options) {
    FrameShape shape;
    shape.format = &formatNamed(options.format);
    const auto picture = read_png(options.picture);
    shape.width = picture.width;
    shape.height = picture.height;
    shape.stride = options.stride;
    shape = validated(shape, options.padding);
    const auto frame = packFrame(picture, shape);
    OutputFile file(options.output);
    for (int i = 0; i < options.frames; ++i) file.write(frame);
    file.commit();
    say_note(options.output + ": " + shape.text() + ", " + std::to_string(frame.size()) + " bytes" +
             (options.frames > 1 ? " a frame" : ""));
}

}  // namespace

void add_pack(CLI::App& app) {
    auto* command = app.add_subcommand("pack", "Make a raw frame of any source format from a PNG");
    auto options = std::make_shared<PackOptions>();
    command->add_option("PICTURE", options->picture, "PNG file; - is standard input")->required();
    command->add_option("-f,--format", options->format, "Source format, by any of its names")
        ->type_name("FORMAT")
        ->required();
    command->add_option("-o,--output", options->output, "Raw frame; - is standard output")
        ->type_name("OUT")
        ->required();
    at_least(command->add_option("--padding", options->padding,
                                 "Zero bytes behind the pixels of each row"),
             0);
    at_least(command->add_option("--stride", options->stride,
                                 "Bytes from one row's start to the next one's"),
             1);
    at_least(command->add_option("--frames", options->frames, "Write the frame so many times"), 1);
    add_quiet(*command);
    command->callback([options] { pack(*options); });
}

}  // namespace tool
