#include "cli/common_options.h"
#include "cli/messages.h"
#include "cli/size_option.h"
#include "commands.h"
#include "convert/name_hints.h"
#include "errors.h"
#include "guess/guess_frame.h"
#include "io/output_file.h"
#include "io/read_bytes.h"
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

constexpr std::pair<IMGCNV_EBayerDemosaic, const char*> kMethods[]{
    {IMGCNV_DEMOSAIC_NEAREST, "nearest"},
    {IMGCNV_DEMOSAIC_BILINEAR, "bilinear"},
    {IMGCNV_DEMOSAIC_ADAPTIVE, "adaptive"}};

class Sheet {
  public:
    Sheet(const SheetOptions& options, std::vector<std::uint8_t> bytes)
        : options_(options), bytes_(std::move(bytes)) {}

    void add_thumbnail(const FrameShape& shape, const std::string& title,
                       const std::string& detail) {
        FrameConverter converter(shape, kRgb24, IMGCNV_DEMOSAIC_BILINEAR, {});
        const auto picture = converter.convert(frame(shape));
        const auto [width, height] =
            fitted(picture.width, picture.height, options_.cell_width, options_.cell_width);
        cells_.push_back({scaled(picture, width, height), title, detail});
    }

    /// The middle of the picture, each pixel doubled: methods differ by pixels.
    void add_detail(const FrameShape& shape, IMGCNV_EBayerDemosaic method,
                    const std::string& title) {
        FrameConverter converter(shape, kRgb24, method, {});
        auto picture = converter.convert(frame(shape));
        const auto width =
            std::min(picture.width, std::max<std::int64_t>(1, options_.cell_width / 2));
        const auto height = std::min(picture.height, std::max<std::int64_t>(1, width * 3 / 4));
        const auto left = (picture.width - width) / 2, top = (picture.height - height) / 2;
        RgbPicture doubled(width * 2, height * 2);
        for (std::int64_t y = 0; y < doubled.height; ++y)
            for (std::int64_t x = 0; x < doubled.width; ++x)
                std::copy_n(picture.row(top + y / 2) + (left + x / 2) * 3, 3, doubled.at(x, y));
        cells_.push_back({std::move(doubled), title,
                          std::to_string(width) + "x" + std::to_string(height) + " at " +
                              std::to_string(left) + "," + std::to_string(top) + ", twice"});
    }

    void add_guesses() {
        const auto guess = guessFrame(bytes_, requested_size(options_.source.size));
        if (!guess.hasStructure())
            throw Failure(options_.file +
                          ": no reading as rows of pixels explains the bytes; give --format and "
                          "--size");
        for (const auto& answer : guess.answers) {
            if (cells_.size() == options_.cells) break;
            char score[24];
            std::snprintf(score, sizeof score, "%.0f  ", answer.score);
            const auto& shape = answer.shape;
            add_thumbnail(shape, score + std::string(shape.format->name),
                          std::to_string(shape.width) + "x" + std::to_string(shape.height) +
                              " stride " + std::to_string(shape.rowPitch()));
        }
        say_note("the numbers are scores of `imgcnv guess`; none of this is certain");
    }

    void add_orders(FrameShape shape) {
        for (const auto& format : sourceFormats()) {
            const bool same = format.isBayer() && format.layout == shape.format->layout &&
                              format.depth == shape.format->depth;
            if (!same) continue;
            auto other = shape;
            other.format = &format;
            add_thumbnail(other, std::string(format.name), std::string(orderName(format.order)));
        }
    }

    void write() const {
        const auto columns = options_.columns > 0        ? options_.columns
                             : options_.kind == "orders" ? 2
                             : cells_.size() < 3         ? static_cast<std::int64_t>(cells_.size())
                             : cells_.size() == 4        ? 2
                                                         : 3;
        auto sheet = contact_sheet(cells_, columns);
        std::vector<std::uint8_t> png;
        encode_png({sheet.width, sheet.height, kRgb24, sheet.pixels.data()}, 6, png);
        OutputFile file(options_.output);
        file.write(png);
        file.commit();
        say_note(options_.output + ": " + std::to_string(cells_.size()) + " pictures, " +
                 std::to_string(sheet.width) + "x" + std::to_string(sheet.height));
    }

  private:
    /// The first frame, which may lack the padding of its last row.
    std::span<std::uint8_t> frame(const FrameShape& shape) {
        if (shape.format->layout == Layout::Points) return bytes_;
        if (static_cast<std::int64_t>(bytes_.size()) < shape.neededBytes())
            throw Failure(options_.file + ": expected " + std::to_string(shape.frameBytes()) +
                          " bytes for " + shape.text() + ", given " +
                          std::to_string(bytes_.size()) +
                          explainLength(shape, static_cast<std::int64_t>(bytes_.size())));
        const auto size = static_cast<std::size_t>(shape.frameBytes());
        buffer_.assign(size, 0);
        std::copy_n(bytes_.begin(), std::min(size, bytes_.size()), buffer_.begin());
        return buffer_;
    }

    const SheetOptions& options_;
    std::vector<std::uint8_t> bytes_, buffer_;
    std::vector<SheetCell> cells_;
};

void sheet(SheetOptions options) {
    const bool named =
        !options.source.format.empty() || hints_in_name(options.file).format != nullptr;
    if (options.kind.empty()) options.kind = named ? "orders" : "formats";
    Sheet sheet(options, read_bytes(options.file, options.source.skip));
    if (options.kind == "formats") {
        if (options.source.stride || options.source.padding || !options.source.format.empty())
            throw UsageError(
                "--of formats finds format and stride itself: leave out --format, "
                "--stride and --padding, or use --of orders or --of methods");
        sheet.add_guesses();
    } else {
        const auto shape = options.source.shape_for(options.file);
        if (!shape.format->isBayer())
            throw UsageError("--of " + options.kind + " needs a Bayer format, " +
                             std::string(shape.format->name) + " is none");
        if (options.kind == "orders") sheet.add_orders(shape);
        if (options.kind == "methods")
            for (const auto& [method, name] : kMethods)
                sheet.add_detail(shape, method, std::string(shape.format->name) + " " + name);
    }
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
    command
        ->add_option("--of", options->kind,
                     "What to compare: formats as `imgcnv guess` ranks them, the orders of a "
                     "Bayer format, or the methods. Default: orders when a format is known, else "
                     "formats")
        ->type_name("formats|orders|methods")
        ->check(CLI::IsMember({"formats", "orders", "methods"}));
    command->add_option("--columns", options->columns, "Pictures side by side. Default: 2 or 3")
        ->type_name("N")
        ->check(CLI::Range(1, 100));
    command->add_option("--cell", options->cell_width, "Pixels a picture may take. Default: 320")
        ->type_name("N")
        ->check(CLI::Range(64, 4096));
    command->add_option("-n,--answers", options->cells, "Most formats to show. Default: 12")
        ->type_name("N")
        ->check(CLI::Range(1, 24));
    command
        ->add_option("-o,--output", options->output,
                     "PNG file; - is standard output. Default: sheet.png")
        ->type_name("OUT");
    add_quiet(*command);
    command->callback([options] { sheet(*options); });
}

}  // namespace tool
