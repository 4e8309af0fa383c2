#include "cli/messages.h"
#include "commands.h"
#include "engine/frame.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>

namespace tool {
namespace {

/// The names a format has elsewhere, family by family.
constexpr std::pair<const char*, const char * Format::*> kFamilies[]{
    {"PFNC", &Format::pfnc}, {"GStreamer", &Format::gstreamer},
    {"V4L2", &Format::v4l2}, {"ffmpeg", &Format::ffmpeg},
    {"ROS", &Format::ros},   {"OpenCV", &Format::opencv}};

constexpr const char* kOrders[] = {"", "RG", "GB", "BG", "GR"};

std::string json_list(std::string_view names) {
    std::string list;
    for (const auto& name : words(names)) list += (list.empty() ? "" : ", ") + json_string(name);
    return "[" + list + "]";
}

std::string json_names(const Format& format) {
    std::string text;
    for (const auto& [family, names] : kFamilies) {
        std::string key;
        for (const char* c = family; *c != '\0'; ++c)
            key += static_cast<char>(*c >= 'A' && *c <= 'Z' ? *c + 32 : *c);
        text += (text.empty() ? "" : ", ") + json_string(key) + ": " + json_list(format.*names);
    }
    return "{" + text + "}";
}

void print_json() {
    std::printf("{\"formats\": [");
    const char* separator = "\n";
    for (const auto& format : all_formats()) {
        std::printf(
            "%s  {\"name\": %s, \"code\": \"%s\", \"bits\": %d, \"depth\": %d, \"layout\": %s, "
            "\"order\": %s, \"color\": %s,\n   \"names\": %s}",
            separator, json_string(format.name).c_str(), hex_code(format.code).c_str(),
            format.bits_per_pixel, format.depth, json_string(format.layout_text).c_str(),
            is_mosaic(format) ? json_string(kOrders[format.order]).c_str() : "null",
            format.is_color != 0 ? "true" : "false", json_names(format).c_str());
        separator = ",\n";
    }
    std::printf("\n ],\n \"foreign\": [");
    separator = "\n";
    for (int i = 0; i < imgcnv_foreign_format_count(); ++i) {
        imgcnv_foreign_format foreign{};
        foreign.struct_size = sizeof foreign;
        if (imgcnv_foreign_format_at(i, &foreign) != IMGCNV_OK) continue;
        std::printf("%s  {\"names\": %s,\n   \"meaning\": %s,\n   \"advice\": %s}", separator,
                    json_list(foreign.names).c_str(), json_string(foreign.meaning).c_str(),
                    json_string(foreign.advice).c_str());
        separator = ",\n";
    }
    std::printf("\n ]}\n");
}

std::string frame_bytes(const Format& format) {
    if (is_points(format)) return "4 a point";
    return std::to_string(imgcnv_row_bytes(format.code, 640) * 480);
}

void print_table() {
    std::printf("%-19s %-10s %4s %5s %12s  %s\n", "Format", "Code", "Bits", "Depth", "640x480",
                "Layout");
    for (const auto& format : all_formats())
        std::printf("%-19s %-10s %4d %5d %12s  %s\n", format.name, hex_code(format.code).c_str(),
                    format.bits_per_pixel, format.depth, frame_bytes(format).c_str(),
                    format.layout_text);
    std::printf("\nOther names of the same formats; case and underscores do not matter:\n\n");
    for (const auto& format : all_formats()) {
        std::string line;
        for (const auto& [family, names] : kFamilies)
            if (*(format.*names) != '\0')
                line += (line.empty() ? "" : "; ") + std::string(family) + " " + format.*names;
        if (!line.empty()) std::printf("%-19s %s\n", format.name, line.c_str());
    }
    std::printf(
        "\nBits are those of a pixel in the buffer, depth those of a sample; 640x480 is the size "
        "of such a frame in bytes.\n");
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
