#include "cli/common_options.h"
#include "cli/messages.h"
#include "cli/size_option.h"
#include "commands.h"
#include "convert/name_hints.h"
#include "engine/converter.h"
#include "engine/guess.h"
#include "engine/read_frame.h"
#include "errors.h"
#include "io/output_file.h"
#include "picture/encode.h"
#include "sheet/contact_sheet.h"

#include <algorithm>
#include <cstdio>
#include <memory>

namespace tool {
namespace {

struct SheetOptions {
    SourceOptions source;
    std::string file, kind, output = "sheet.png";
    std::int64_t columns = 0, cell_width = 320;
    std::size_t cells = 12;
};

std::string size_text(std::int64_t width, std::int64_t height) {
    return std::to_string(width) + "x" + std::to_string(height);
}

class Sheet {
  public:
    explicit Sheet(const SheetOptions& options)
        : options_(options), file_(seekable(options.file)) {}

    void add_thumbnail(const Frame& frame, std::int64_t index, const std::string& title,
                       const std::string& detail) {
        const auto bytes = read_frame(*file_, frame, index);
        const imgcnv_target target = IMGCNV_TARGET_INIT;
        Converter converter(frame, target);
        const auto picture = converter.convert(bytes);
        const auto [width, height] =
            fitted(picture.width, picture.height, options_.cell_width, options_.cell_width);
        cells_.push_back({scaled(picture, width, height), title, detail});
    }

    /// The middle of the picture, each pixel doubled: methods differ by pixels.
    void add_methods(const Frame& frame) {
        const auto bytes = read_frame(*file_, frame, 0);
        for (const int method : {IMGCNV_NEAREST, IMGCNV_BILINEAR, IMGCNV_ADAPTIVE}) {
            imgcnv_target target = IMGCNV_TARGET_INIT;
            target.demosaic = method;
            Converter converter(frame, target);
            add_detail(converter.convert(bytes),
                       std::string(frame.format.name) + " " + imgcnv_demosaic_name(method));
        }
    }

    void add_guesses() {
        imgcnv_frame known = IMGCNV_FRAME_INIT;
        if (const auto size = requested_size(options_.source.size))
            std::tie(known.width, known.height) = *size;
        known.skip = options_.source.skip > 0 ? options_.source.skip : -1;
        known.gap = options_.source.gap > 0 ? options_.source.gap : -1;
        const auto guess = guess_file(*file_, known, options_.file, options_.cells);
        for (const auto& reading : guess.readings) {
            char score[24];
            std::snprintf(score, sizeof score, "%.2f  ", reading.score);
            const auto frame = measured(reading.frame);
            add_thumbnail(frame, 0, score + name_with_byte_order(frame),
                          size_text(frame.given.width, frame.given.height) + " stride " +
                              std::to_string(frame.sizes.stride));
        }
        say_note("the numbers are scores of `imgcnv guess`; none of this is certain");
    }

    void add_orders(const Frame& frame) {
        constexpr const char* kOrders[] = {"", "RGGB", "GBRG", "BGGR", "GRBG"};
        for (const auto& format : all_formats()) {
            const bool same = is_mosaic(format) && format.layout == frame.format.layout &&
                              format.depth == frame.format.depth;
            if (!same) continue;
            auto other = frame.given;
            other.format = format.code;
            add_thumbnail(measured(other), 0, format.name, kOrders[format.order]);
        }
    }

    /// Frames of the dump, evenly chosen.
    void add_frames(const Frame& frame) {
        const auto held = frame.points() ? 1 : fit(frame, *file_->size()).frames;
        const auto shown =
            std::clamp<std::int64_t>(held, 1, static_cast<std::int64_t>(options_.cells));
        for (std::int64_t i = 0; i < shown; ++i) {
            const auto index = shown > 1 ? i * (held - 1) / (shown - 1) : 0;
            add_thumbnail(frame, index, "frame " + std::to_string(index),
                          std::string(frame.format.name) + " " +
                              size_text(frame.given.width, frame.given.height));
        }
    }

    void write() const {
        const auto count = static_cast<std::int64_t>(cells_.size());
        const auto columns = options_.columns > 0        ? options_.columns
                             : options_.kind == "orders" ? 2
                             : count < 3                 ? count
                             : count == 4                ? 2
                                                         : 3;
        auto sheet = contact_sheet(cells_, columns);
        std::vector<std::uint8_t> png;
        encode_png({sheet.width, sheet.height, kRgb24, sheet.pixels.data()}, 6, png);
        OutputFile file(options_.output);
        file.write(png);
        file.commit();
        say_note(shown(options_.output) + ": " + counted(count, "picture") + ", " +
                 size_text(sheet.width, sheet.height));
    }

  private:
    void add_detail(const Picture& picture, const std::string& title) {
        const auto width =
            std::min(picture.width, std::max<std::int64_t>(1, options_.cell_width / 2));
        const auto height = std::min(picture.height, std::max<std::int64_t>(1, width * 3 / 4));
        const auto left = (picture.width - width) / 2, top = (picture.height - height) / 2;
        RgbPicture doubled(width * 2, height * 2);
        for (std::int64_t y = 0; y < doubled.height; ++y)
            for (std::int64_t x = 0; x < doubled.width; ++x)
                std::copy_n(picture.row(top + y / 2) + (left + x / 2) * 3, 3, doubled.at(x, y));
        cells_.push_back({std::move(doubled), title,
                          size_text(width, height) + " at " + std::to_string(left) + "," +
                              std::to_string(top) + ", twice"});
    }

    const SheetOptions& options_;
    std::unique_ptr<InputFile> file_;
    std::vector<SheetCell> cells_;
};

void make_sheet(SheetOptions options) {
    refuse_replacing(options.file, options.output);
    const auto& source = options.source;
    const bool named = source.format || hints_in_name(options.file).format;
    if (options.kind == "formats" || (options.kind.empty() && !named)) {
        if (source.stride || source.padding || source.format)
            throw UsageError(
                "--of formats finds format and stride itself: leave out --format, "
                "--stride and --padding, or use --of frames, orders or methods");
        Sheet sheet(options);
        sheet.add_guesses();
        return sheet.write();
    }
    const auto frame = source.frame_for(options.file);
    if (options.kind.empty()) options.kind = is_mosaic(frame.format) ? "orders" : "frames";
    Sheet sheet(options);
    if (options.kind == "frames") {
        sheet.add_frames(frame);
        return sheet.write();
    }
    if (!is_mosaic(frame.format))
        throw UsageError("--of " + options.kind + " needs a Bayer format, " + frame.format.name +
                         " is not one");
    options.kind == "orders" ? sheet.add_orders(frame) : sheet.add_methods(frame);
    sheet.write();
}

}  // namespace

void add_sheet(CLI::App& app) {
    auto* command = app.add_subcommand(
        "sheet", "One PNG of labelled pictures: a dump as several formats, orders or methods");
    auto options = std::make_shared<SheetOptions>();
    command->add_option("FILE", options->file, "File of raw frames; - is standard input")
        ->required();
    add_source_options(*command, options->source);
    one_of(command->add_option("--of", options->kind,
                               "What to compare: formats as `imgcnv guess` ranks them, frames of "
                               "the dump, the orders of a Bayer format, or the methods. Default: "
                               "orders of a Bayer format, frames of another, formats when none is "
                               "known"),
           {"formats", "frames", "orders", "methods"});
    in_range(command->add_option("--columns", options->columns,
                                 "Pictures side by side. Default: 2 or 3"),
             1, 100);
    in_range(command->add_option("--cell", options->cell_width,
                                 "Pixels a picture may take. Default: 320"),
             64, 4096);
    in_range(command->add_option("-n,--answers", options->cells,
                                 "Most formats or frames to show. Default: 12"),
             1, 24);
    not_empty(command
                  ->add_option("-o,--output", options->output,
                               "PNG file; - is standard output. Default: sheet.png")
                  ->type_name("OUT"));
    add_quiet(*command);
    command->callback([options] { make_sheet(*options); });
}

}  // namespace tool
