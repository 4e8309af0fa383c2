#pragma once

#include "convert/convert_options.h"
#include "convert/frame_feed.h"
#include "convert/input_list.h"

#include <sys/types.h>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace tool {

/// Where each picture goes, settled before the first one is converted.
class OutputPlan {
  public:
    /// `frames`: how many there will be, absent when nobody knows. Throws UsageError.
    OutputPlan(const ConvertOptions& options, const std::vector<Input>& inputs,
               std::optional<std::int64_t> frames);

    FileKind kind() const { return kind_; }
    /// The one file, or "-", that takes everything in order; absent when each picture has its own.
    const std::optional<std::string>& single() const { return single_; }
    std::string path_for(const FrameJob& job) const;
    /// Whether a picture of that name would replace a file that is to be converted.
    bool is_input(const std::string& path) const;
    /// Makes the folders that the picture's path needs.
    void make_folders_for(const FrameJob& job, const std::string& path) const;

  private:
    struct Pattern {
        std::string before, after;
        std::size_t digits = 0;
        int fields = 0;
    };
    static Pattern parsed_pattern(const std::string& output);
    std::string folder_path(const FrameJob& job) const;
    void take_output();
    void check_names() const;

    const ConvertOptions& options_;
    const std::vector<Input>& inputs_;
    std::set<std::pair<dev_t, ino_t>> input_files_;
    FileKind kind_ = FileKind::Png;
    std::string ending_ = ".png";
    std::optional<std::string> single_, folder_;  ///< neither, nor a pattern: beside each input
    std::optional<Pattern> pattern_;
};

}  // namespace tool
