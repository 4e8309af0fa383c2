#include "cli/common_options.h"
#include "commands.h"
#include "engine/converter.h"
#include "engine/read_frame.h"
#include "preview/terminal_picture.h"

#include <cstdio>
#include <memory>

namespace tool {
namespace {

struct PreviewOptions {
    SourceOptions source;
    std::string file, as;
    int demosaic = IMGCNV_BILINEAR;
    std::int64_t frame = 0, width = 0;
};

void preview(const PreviewOptions& options) {
    const auto frame = options.source.frame_for(options.file);
    const auto bytes = read_frame(InputFile(options.file), frame, options.frame);
    imgcnv_target target = IMGCNV_TARGET_INIT;
    target.demosaic = options.demosaic;
    Converter converter(frame, target);
    const auto picture = converter.convert(bytes);
    const auto terminal = this_terminal();
    const auto style = options.as.empty() ? terminal.best : style_named(options.as);
    const auto columns = options.width > 0 ? options.width : terminal.columns;
    const auto lines = options.width > 0 ? kAnyLines : terminal.lines;
    const auto text = drawn(picture, style, columns, lines);
    std::fwrite(text.data(), 1, text.size(), stdout);
}

}  // namespace

void add_preview(CLI::App& app) {
    auto* command = app.add_subcommand("preview", "Show a raw frame in the terminal");
    auto options = std::make_shared<PreviewOptions>();
    command->add_option("FILE", options->file, "File of raw frames; - is standard input")
        ->required();
    add_source_options(*command, options->source);
    in_range(command->add_option("--frame", options->frame, "Which frame of the file. Default: 0"),
             0, std::int64_t{1} << 40);
    add_method(*command, options->demosaic);
    in_range(command->add_option("--width", options->width,
                                 "Columns to use. Default: what fits the terminal, else 80"),
             1, 10000);
    one_of(command->add_option("--as", options->as,
                               "How to draw: with letters, coloured blocks, or pixels by the "
                               "terminal's graphics. Default: blocks where the terminal has "
                               "colours and UTF-8, else letters"),
           style_names());
    add_quiet(*command);
    command->callback([options] { preview(*options); });
}

}  // namespace tool
