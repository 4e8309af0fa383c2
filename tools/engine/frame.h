#pragma once

#include "imgcnv_frames.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

using Format = imgcnv_format_info;

/// Every format there is, in the order of the table.
const std::vector<Format>& all_formats();

inline bool is_mosaic(const Format& format) { return format.order != IMGCNV_ORDER_NONE; }
inline bool is_points(const Format& format) { return format.layout == IMGCNV_LAYOUT_POINTS; }

/// Throws what a status means: UsageError for what cannot be asked, std::bad_alloc, and Failure for
/// what is wrong with the data. Nothing for IMGCNV_OK.
void check(int status, const char* text);

/// The words of one of the table's lists.
std::vector<std::string> words(std::string_view text);
/// "0x010C002B"
std::string hex_code(std::uint32_t code);

/// Frames of one kind, checked, with their sizes.
struct Frame {
    imgcnv_frame given = IMGCNV_FRAME_INIT;
    imgcnv_frame_sizes sizes{};
    Format format{};

    bool points() const { return is_points(format); }
    /// From one frame's start to the next one's.
    std::int64_t pitch() const { return sizes.frame_bytes + given.gap; }
    /// Where in a file a frame starts.
    std::int64_t offset(std::int64_t frame) const { return given.skip + frame * pitch(); }
    /// "BayerRG12Packed 1920x1080"
    std::string text() const;
};

/// Sets format and flags by any name of a format; throws UsageError.
void set_format(imgcnv_frame& frame, const std::string& name);

/// Throws UsageError for what is not a frame.
Frame measured(const imgcnv_frame& given);

/// "Mono16", "Mono16 big-endian": readings of a file may differ in this alone.
std::string name_with_byte_order(const Frame& frame);

/// How frames fit into a file of so many bytes.
struct FileFit {
    std::int64_t frames = 0;
    std::int64_t left_over = 0;
    std::string text;  ///< what explains the rest: lines that begin with a newline, or nothing
};
FileFit fit(const Frame& frame, std::int64_t file_bytes);

/// "expected 1200 bytes (Mono8 40x30), given 800" and the likely reasons, one per line.
std::string length_problem(const Frame& frame, std::int64_t file_bytes);

}  // namespace tool
