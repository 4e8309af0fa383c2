#include "cli/common_options.h"
#include "cli/messages.h"
#include "cli/size_option.h"
#include "commands.h"
#include "errors.h"
#include "guess/guess_frame.h"
#include "io/read_bytes.h"

#include <cstdio>
#include <memory>

namespace tool {
namespace {

struct GuessOptions : DumpOptions {
    std::size_t answers = 8;
};

std::string convert_command(const GuessOptions& options, const GuessedShape& answer) {
    const auto& shape = answer.shape;
    auto text = "imgcnv convert " + options.file + " -f " + std::string(shape.format->name) +
                " -s " + std::to_string(shape.width) + "x" + std::to_string(shape.height);
    if (shape.stride) text += " --stride " + std::to_string(*shape.stride);
    if (options.skip > 0) text += " --skip " + std::to_string(options.skip);
    if (answer.frames > 1) text += " --frames all";
    if (answer.frames == 1 && answer.bytesBehind > 0) text += " --frames 0";
    return text;
}

void print_table(const GuessOptions& options, const Guess& guess) {
    std::printf("%5s  %-19s %-11s %7s %7s %7s %10s\n", "Score", "Format", "Size", "Stride",
                "Frames", "Behind", "Bits/byte");
    for (const auto& answer : guess.answers) {
        const auto& shape = answer.shape;
        const auto size = std::to_string(shape.width) + "x" + std::to_string(shape.height);
        std::printf("%5.1f  %-19s %-11s %7lld %7lld %7lld %10.3f\n", answer.score,
                    std::string(shape.format->name).c_str(), size.c_str(),
                    static_cast<long long>(shape.rowPitch()), static_cast<long long>(answer.frames),
                    static_cast<long long>(answer.bytesBehind), answer.bitsPerByte);
    }
    std::printf("\nCannot be known from the bytes:\n");
    for (const auto& open : guess.unknowns) std::printf("  %s\n", open.c_str());
    std::printf("  whether the best answer is right: look at it, or at all of them with\n");
    std::printf("    imgcnv sheet %s\n", options.file.c_str());
    std::printf("Try the first with\n    %s\n",
                convert_command(options, guess.answers.front()).c_str());
}

void print_json(const GuessOptions& options, const Guess& guess) {
    std::printf("{\"file\": %s, \"plain_bits_per_byte\": %.4f, \"answers\": [",
                json_string(options.file).c_str(), guess.plainBitsPerByte);
    const char* separator = "\n";
    for (const auto& answer : guess.answers) {
        const auto& shape = answer.shape;
        std::printf(
            "%s  {\"score\": %.2f, \"format\": %s, \"width\": %lld, \"height\": %lld, "
            "\"stride\": %lld, \"frames\": %lld, \"bytes_behind\": %lld, "
            "\"bits_per_byte\": %.4f}",
            separator, answer.score, json_string(shape.format->name).c_str(),
            static_cast<long long>(shape.width), static_cast<long long>(shape.height),
            static_cast<long long>(shape.rowPitch()), static_cast<long long>(answer.frames),
            static_cast<long long>(answer.bytesBehind), answer.bitsPerByte);
        separator = ",\n";
    }
    std::printf("],\n \"cannot_be_known\": [");
    separator = "";
    for (const auto& open : guess.unknowns) {
        std::printf("%s%s", separator, json_string(open).c_str());
        separator = ", ";
    }
    std::printf("]}\n");
}

void guess(const GuessOptions& options) {
    const auto size = requested_size(options.size);
    const auto bytes = read_bytes(options.file, options.skip);
    auto guess = guessFrame(bytes, size);
    if (guess.answers.empty())
        throw Failure(options.file + ": no format of this size fits into its " +
                      std::to_string(bytes.size()) +
                      " bytes\n  what to do: leave out --size, or see which sizes fit with "
                      "`imgcnv info " +
                      options.file + "`");
    if (!guess.hasStructure())
        throw Failure(options.file +
                      ": no reading as rows of pixels explains the bytes better than chance\n  the "
                      "likely cause: compressed data, a picture of noise or of one colour, or a "
                      "frame of a few rows");
    if (guess.answers.size() > options.answers) guess.answers.resize(options.answers);
    options.json ? print_json(options, guess) : print_table(options, guess);
}

}  // namespace

void add_guess(CLI::App& app) {
    auto* command =
        app.add_subcommand("guess", "Rank the formats, sizes and strides that a raw dump may have");
    auto options = std::make_shared<GuessOptions>();
    add_dump_options(*command, *options);
    command->add_option("-n,--answers", options->answers, "Most answers to give. Default: 8")
        ->type_name("N")
        ->check(CLI::PositiveNumber);
    command->callback([options] { guess(*options); });
}

}  // namespace tool
