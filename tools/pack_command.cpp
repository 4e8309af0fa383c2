#include "cli/common_options.h"
#include "cli/messages.h"
#include "commands.h"
#include "engine/frame.h"
#include "errors.h"
#include "io/output_file.h"
#include "picture/picture16.h"

#include <memory>

namespace tool {
namespace {

struct PackOptions {
    SourceOptions source;
    std::string picture, output;
    int frames = 1;
};

/// A list of points ends with one of zeros.
std::size_t point_list_bytes(const std::vector<std::uint8_t>& bytes) {
    for (std::size_t at = 0; at + 4 <= bytes.size(); at += 4)
        if ((bytes[at] | bytes[at + 1] | bytes[at + 2] | bytes[at + 3]) == 0) return at + 4;
    return bytes.size();
}

void pack(const PackOptions& options) {
    imgcnv_frame named = IMGCNV_FRAME_INIT;
    set_format(named, options.source.format.value_or(""));  // wrong names are said before the PNG
    refuse_replacing(options.picture, options.output);
    const auto picture = read_png(options.picture);
    auto source = options.source;
    source.size = std::to_string(picture.width) + "x" + std::to_string(picture.height);
    const auto frame = source.frame_for(options.picture);
    const auto most = picture.width * picture.height * 4 + 4;  // Mono1C: a record for each pixel
    std::vector<std::uint8_t> bytes(
        static_cast<std::size_t>(frame.points() ? most : frame.sizes.frame_bytes));
    char text[IMGCNV_TEXT_BYTES];
    check(imgcnv_pack_frame(&frame.given, picture.samples.data(), 3, bytes.data(), bytes.size(),
                            text, sizeof text),
          text);
    if (frame.points()) bytes.resize(point_list_bytes(bytes));
    OutputFile file(options.output);
    for (int i = 0; i < options.frames; ++i) file.write(bytes);
    file.commit();
    say_note(shown(options.output) + ": " + frame.text() + ", " + std::to_string(bytes.size()) +
             " bytes" + (options.frames > 1 ? " a frame" : ""));
}

}  // namespace

void add_pack(CLI::App& app) {
    auto* command = app.add_subcommand("pack", "Make a raw frame of any source format from a PNG");
    auto options = std::make_shared<PackOptions>();
    command->add_option("PICTURE", options->picture, "PNG file; - is standard input")->required();
    not_an_option(command
                      ->add_option("-f,--format", options->source.format,
                                   "Source format, by any of its names")
                      ->type_name("FORMAT")
                      ->required());
    not_empty(command->add_option("-o,--output", options->output, "Raw frame; - is standard output")
                  ->type_name("OUT")
                  ->required());
    auto& source = options->source;
    at_least(
        command->add_option("--padding", source.padding, "Zero bytes after the pixels of each row"),
        0);
    at_least(command->add_option("--stride", source.stride,
                                 "Bytes from one row's start to the next one's"),
             1);
    command->add_flag("--big-endian", source.big_endian, "16-bit words have their high byte first");
    one_of(command->add_option("--range", source.range, "Range of YUV. Default: full"),
           {"full", "video"});
    at_least(command->add_option("--frames", options->frames, "Write the frame so many times"), 1);
    add_quiet(*command);
    command->callback([options] { pack(*options); });
}

}  // namespace tool
