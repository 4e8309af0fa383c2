#include "cli/messages.h"
#include "commands.h"
#include "formats/format.h"
#include "frame/frame_shape.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>

namespace tool {
namespace {

std::string json_list(std::string_view names) {
    std::string list;
    for (const auto& name : words(names)) list += (list.empty() ? "" : ", ") + json_string(name);
    return "[" + list + "]";
}

void print_json() {
    std::printf("{\"formats\": [");
    const char* separator = "\n";
    for (const auto& format : sourceFormats()) {
        std::printf(
            "%s  {\"name\": %s, \"enumerator\": %s, \"code\": \"%s\", \"library_code\": \"%s\", "
            "\"bits\": %d, \"depth\": %d, \"layout\": %s, \"order\": %s, \"color\": %s,\n"
            "   \"names\": {\"pfnc\": %s, \"gstreamer\": %s, \"v4l2\": %s, \"ffmpeg\": %s, "
            "\"ros\": %s}}",
            separator, json_string(format.name).c_str(), json_string(format.enumerator).c_str(),
            hexCode(format.code).c_str(),
            hexCode(static_cast<std::uint32_t>(format.libraryFormat)).c_str(), format.bits,
            format.depth, json_string(layoutName(format.layout)).c_str(),
            format.isBayer() ? json_string(orderName(format.order)).c_str() : "null",
            format.isGrey() ? "false" : "true", json_list(format.pfnc).c_str(),
            json_list(format.gstreamer).c_str(), json_list(format.v4l2).c_str(),
            json_list(format.ffmpeg).c_str(), json_list(format.ros).c_str());
        separator = ",\n";
    }
    std::printf("\n ],\n \"foreign\": [");
    separator = "\n";
    for (const auto& foreign : foreignFormats()) {
        std::printf("%s  {\"names\": %s,\n   \"meaning\": %s,\n   \"advice\": %s}", separator,
                    json_list(foreign.names).c_str(), json_string(foreign.meaning).c_str(),
                    json_string(foreign.advice).c_str());
        separator = ",\n";
    }
    std::printf("\n ]}\n");
}

void print_table() {
    std::printf("%-19s %-10s %4s %5s %12s  %s\n", "Format", "Code", "Bits", "Depth", "640x480",
                "Layout");
    for (const auto& format : sourceFormats()) {
        const FrameShape shape{&format, 640, 480, std::nullopt};
        const auto bytes =
            shape.frameBytes() != 0 ? std::to_string(shape.frameBytes()) : "4 a point";
        std::printf("%-19s %-10s %4d %5d %12s  %s%s\n", std::string(format.name).c_str(),
                    hexCode(format.code).c_str(), format.bits, format.depth, bytes.c_str(),
                    std::string(layoutName(format.layout)).c_str(),
                    format.order == Order::GR ? "; read from the second row on" : "");
    }
    std::printf("\nOther names of the same formats; case and underscores do not matter:\n\n");
    for (const auto& format : sourceFormats()) {
        std::string line;
        const auto add = [&line](const char* family, std::string_view names) {
            if (!names.empty())
                line += (line.empty() ? "" : "; ") + std::string(family) + " " + std::string(names);
        };
        add("PFNC", format.pfnc);
        add("GStreamer", format.gstreamer);
        add("V4L2", format.v4l2);
        add("ffmpeg", format.ffmpeg);
        add("ROS", format.ros);
        if (!line.empty())
            std::printf("%-19s %s\n", std::string(format.name).c_str(), line.c_str());
    }
    std::printf(
        "\nBits are a pixel's in the buffer, depth a sample's; 640x480 is a frame's size in "
        "bytes.\n");
}

}  // namespace

void add_formats(CLI::App& app) {
    auto* command = app.add_subcommand("formats", "List the source formats and their names");
    auto json = std::make_shared<bool>(false);
    command->add_flag("--json", *json,
                      "For programs: every format, every name, and the foreign "
                      "layouts that are refused");
    command->callback([json] { *json ? print_json() : print_table(); });
}

}  // namespace tool
