#pragma once

#include "frame/frame_converter.h"
#include "picture/encode.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tool {

/// Frames of a dump, counted from 0.
struct FrameRange {
    bool given = false;  ///< not given: each input is one frame and nothing else
    std::int64_t first = 0;
    std::optional<std::int64_t> last = 0;  ///< absent: to the end

    bool several() const { return given && (!last || *last > first); }
};

/// What describes the source of a conversion, for every subcommand that reads raw frames.
struct SourceOptions {
    std::string format, size;  ///< empty: from the file name
    std::optional<std::int64_t> padding, stride;
    std::int64_t skip = 0;

    /// The shape of the frames in this input; says what it took from the name.
    FrameShape shape_for(const std::string& input) const;
};

struct ConvertOptions {
    std::vector<std::string> inputs;
    SourceOptions source;
    FrameRange frames;
    IMGCNV_EBayerDemosaic demosaic = IMGCNV_DEMOSAIC_BILINEAR;
    std::optional<PixelKind> to;  ///< absent: grey stays grey, colour becomes RGB24
    Turn turn;
    std::string output, output_format;
    EncodeOptions encode;  ///< its kind is that of the output
    int workers = 0;       ///< 0: one for each processor
    bool stats = false;
    bool json = false;
};

/// "all", "K" or "A-B"; throws UsageError.
FrameRange parse_frames(const std::string& text);

/// Converts everything; the exit code. Throws UsageError before anything is written.
int run_convert(const ConvertOptions& options);

}  // namespace tool
