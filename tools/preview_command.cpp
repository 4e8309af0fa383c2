#include "cli/common_options.h"
#include "commands.h"
#include "errors.h"
#include "io/read_bytes.h"
#include "preview/terminal_picture.h"

#include <sys/ioctl.h>
#include <unistd.h>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>

namespace tool {
namespace {

struct PreviewOptions {
    SourceOptions source;
    std::string file, method = "bilinear";
    std::int64_t frame = 0, width = 0;
};

const std::map<std::string, IMGCNV_EBayerDemosaic> kMethods{{"nearest", IMGCNV_DEMOSAIC_NEAREST},
                                                            {"bilinear", IMGCNV_DEMOSAIC_BILINEAR},
                                                            {"adaptive", IMGCNV_DEMOSAIC_ADAPTIVE}};

struct TextSize {
    std::int64_t columns, lines;
};

TextSize room(std::int64_t asked_columns) {
    constexpr std::int64_t kAnyLines = 1 << 20;
    if (asked_columns > 0) return {asked_columns, kAnyLines};
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        return {size.ws_col, std::max(1, size.ws_row - 1)};  // a line for the prompt
    return {80, kAnyLines};
}

std::span<std::uint8_t> wanted_frame(const PreviewOptions& options, const FrameShape& shape,
                                     std::vector<std::uint8_t>& bytes) {
    if (shape.format->layout == Layout::Points) return bytes;
    const auto frame = shape.frameBytes();
    const auto have = static_cast<std::int64_t>(bytes.size());
    if (options.frame > have / frame || options.frame * frame + shape.neededBytes() > have)
        throw Failure(options.file + ": expected " + std::to_string((options.frame + 1) * frame) +
                      " bytes for frame " + std::to_string(options.frame) + " of " + shape.text() +
                      ", given " + std::to_string(have) + explainLength(shape, have));
    bytes.resize(std::max(bytes.size(), static_cast<std::size_t>((options.frame + 1) * frame)));
    return std::span(bytes).subspan(static_cast<std::size_t>(options.frame * frame),
                                    static_cast<std::size_t>(frame));
}

void preview(const PreviewOptions& options) {
    const auto shape = options.source.shape_for(options.file);
    auto bytes = read_bytes(options.file, options.source.skip);
    FrameConverter converter(shape, kRgb24, kMethods.at(options.method), {});
    const auto picture = converter.convert(wanted_frame(options, shape, bytes));
    const auto [columns, lines] = room(options.width);
    const auto [width, height] = fitted(picture.width, picture.height, columns, 2 * lines);
    const auto small = scaled(picture, width, height);
    const char* no_color = std::getenv("NO_COLOR");
    const bool plain = no_color != nullptr && *no_color != '\0';
    const auto text = plain ? letters(small) : half_blocks(small);
    std::fwrite(text.data(), 1, text.size(), stdout);
}

}  // namespace

void add_preview(CLI::App& app) {
    auto* command = app.add_subcommand("preview", "Show a raw frame in the terminal");
    auto options = std::make_shared<PreviewOptions>();
    command->add_option("FILE", options->file, "File of raw frames; - is standard input")
        ->required();
    add_source_options(*command, options->source);
    command->add_option("--frame", options->frame, "Which frame of the file. Default: 0")
        ->type_name("K")
        ->check(CLI::NonNegativeNumber);
    command
        ->add_option("-m,--method", options->method,
                     "How a Bayer mosaic becomes colour: nearest, bilinear (default), adaptive")
        ->type_name("METHOD")
        ->check(CLI::IsMember({"nearest", "bilinear", "adaptive"}));
    command
        ->add_option("--width", options->width,
                     "Columns to use. Default: what fits the terminal, 80 when there is none")
        ->type_name("N")
        ->check(CLI::Range(1, 10000));
    add_quiet(*command);
    command->callback([options] { preview(*options); });
}

}  // namespace tool
