#pragma once

#include "convert/source_options.h"
#include "io/output_file.h"
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

/// Every count-th picture, from the index-th on; index counts from 0.
struct Part {
    std::int64_t index = 0;
    std::int64_t count = 1;
};

struct ConvertOptions {
    std::vector<std::string> inputs;  ///< files, folders, "-"
    SourceOptions source;
    FrameRange frames;
    Part part;
    std::optional<int> to;  ///< imgcnv_target_kind; absent: as the source and the output suggest
    imgcnv_target target = IMGCNV_TARGET_INIT;  ///< all but its kind and levels
    bool threads_given = false;
    LevelOptions levels;
    std::string output, output_format;
    EncodeOptions encode;  ///< its kind is that of the output
    Existing existing = Existing::Replace;
    bool skip_existing = false;
    bool best_effort = false;  ///< a last frame that is cut short is completed by zeros
    int workers = 0;           ///< 0: one for each processor
    bool stats = false;
    bool json = false;
};

/// "all", "K" or "A-B"; throws UsageError.
FrameRange parse_frames(const std::string& text);
/// "2/8"; throws UsageError.
Part parse_part(const std::string& text);

/// Converts everything; the exit code. Throws UsageError before anything is written.
int run_convert(const ConvertOptions& options);

}  // namespace tool
