#include "cli/common_options.h"
#include "cli/messages.h"
#include "cli/size_option.h"
#include "commands.h"
#include "convert/name_hints.h"
#include "engine/guess.h"
#include "errors.h"

#include <cstdio>
#include <memory>

namespace tool {
namespace {

struct GuessOptions : DumpOptions {
    std::size_t answers = 8;
};

std::string size_text(const imgcnv_frame& frame) {
    return std::to_string(frame.width) + "x" + std::to_string(frame.height);
}

/// A command that reads the same file.
std::string command(const char* name, const GuessOptions& options) {
    return std::string("imgcnv ") + name + " " + shell_word(options.file);
}

std::string sheet_command(const GuessOptions& options) {
    auto text = command("sheet", options) + " --of formats";
    if (options.size) text += " -s " + *options.size;
    if (options.skip > 0) text += " --skip " + std::to_string(options.skip);
    return text;
}

std::string convert_command(const GuessOptions& options, const imgcnv_reading& answer) {
    const auto frame = measured(answer.frame);
    const auto& given = frame.given;
    auto text =
        command("convert", options) + " -f " + frame.format.name + " -s " + size_text(given);
    const auto add = [&text](const char* option, std::int64_t value) {
        if (value > 0) text += std::string(option) + std::to_string(value);
    };
    add(" --stride ", given.stride);
    add(" --skip ", given.skip);
    add(" --gap ", given.gap);
    if ((given.flags & IMGCNV_FRAME_BIG_ENDIAN) != 0) text += " --big-endian";
    if ((given.flags & IMGCNV_FRAME_VIDEO_RANGE) != 0) text += " --range video";
    text += answer.frames > 1 ? " --frames all" : " --frames 0";
    if (options.file == "-") text += answer.frames > 1 ? " -o frame_%04d.png" : " -o frame.png";
    return text;
}

/// What the file's name says, where the best answer is another one.
void say_name(const std::string& file, const imgcnv_frame& best) {
    const auto hints = hints_in_name(file);
    std::string said;
    if (hints.format && hints.format->code != best.format)
        said += std::string(" ") + hints.format->name;
    if (hints.size && *hints.size != std::pair(best.width, best.height))
        said += " " + std::to_string(hints.size->first) + "x" + std::to_string(hints.size->second);
    if (!said.empty()) std::printf("\nThe name of the file says something else:%s\n", said.c_str());
}

void print_table(const GuessOptions& options, const Guess& guess) {
    std::printf("%5s  %-23s %-11s %7s %7s %7s %7s\n", "Score", "Format", "Size", "Stride", "Skip",
                "Gap", "Frames");
    for (const auto& answer : guess.readings) {
        const auto frame = measured(answer.frame);
        std::printf("%5.2f  %-23s %-11s %7lld %7lld %7lld %7lld\n", answer.score,
                    name_with_byte_order(frame).c_str(), size_text(frame.given).c_str(),
                    static_cast<long long>(frame.sizes.stride),
                    static_cast<long long>(frame.given.skip),
                    static_cast<long long>(frame.given.gap), static_cast<long long>(answer.frames));
    }
    const auto& best = guess.readings.front();
    say_name(options.file, best.frame);
    if (!guess.text.empty()) std::printf("\n%s\n", guess.text.c_str());
    std::printf("\nThe bytes do not say:\n");
    if (best.unknown[0] != '\0') std::printf("  %s\n", best.unknown);
    std::printf("  whether the best answer is right: look at all of them with\n    %s\n",
                sheet_command(options).c_str());
    std::printf("Try the first with\n    %s\n", convert_command(options, best).c_str());
}

void print_json(const GuessOptions& options, const Guess& guess) {
    std::printf("{\"file\": %s, \"answers\": [", json_string(options.file).c_str());
    const char* separator = "\n";
    for (const auto& answer : guess.readings) {
        const auto frame = measured(answer.frame);
        const auto& given = frame.given;
        std::printf(
            "%s  {\"score\": %.4f, \"format\": %s, \"width\": %lld, \"height\": %lld, "
            "\"stride\": %lld, \"skip\": %lld, \"gap\": %lld, \"frames\": %lld, "
            "\"big_endian\": %s, \"unknown\": %s, \"command\": %s}",
            separator, answer.score, json_string(frame.format.name).c_str(),
            static_cast<long long>(given.width), static_cast<long long>(given.height),
            static_cast<long long>(frame.sizes.stride), static_cast<long long>(given.skip),
            static_cast<long long>(given.gap), static_cast<long long>(answer.frames),
            (given.flags & IMGCNV_FRAME_BIG_ENDIAN) != 0 ? "true" : "false",
            json_string(answer.unknown).c_str(),
            json_string(convert_command(options, answer)).c_str());
        separator = ",\n";
    }
    std::printf("],\n \"else\": %s}\n", json_string(guess.text).c_str());
}

void guess(const GuessOptions& options) {
    imgcnv_frame known = IMGCNV_FRAME_INIT;
    if (const auto size = requested_size(options.size)) std::tie(known.width, known.height) = *size;
    known.skip = options.skip > 0 ? options.skip : -1;
    known.gap = -1;
    const auto file = seekable(options.file);
    const auto guess = guess_file(*file, known, options.file, options.answers);
    options.json ? print_json(options, guess) : print_table(options, guess);
}

}  // namespace

void add_guess(CLI::App& app) {
    auto* command =
        app.add_subcommand("guess", "Rank the formats, sizes and strides that a raw dump may have");
    auto options = std::make_shared<GuessOptions>();
    add_dump_options(*command, *options);
    in_range(
        command->add_option("-n,--answers", options->answers, "Most answers to give. Default: 8"),
        1, 1000);
    command->callback([options] { guess(*options); });
}

}  // namespace tool
