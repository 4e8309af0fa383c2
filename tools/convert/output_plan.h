#pragma once

#include "convert/convert_options.h"
#include "picture/encode.h"

#include <optional>
#include <string>

namespace tool {

/// Where each picture goes, settled before the first one is converted.
class OutputPlan {
  public:
    /// `frames`: how many there will be, absent when nobody knows. Throws UsageError.
    OutputPlan(const ConvertOptions& options, std::optional<std::int64_t> frames);

    FileKind kind() const { return kind_; }
    /// The one file, or "-", that takes everything in order; absent when each picture has its own.
    const std::optional<std::string>& single() const { return single_; }
    std::string path_for(std::size_t input, std::int64_t frame, std::int64_t sequence) const;

  private:
    std::string folder_path(std::size_t input, std::int64_t frame) const;
    void check_pattern(const std::string& output);
    void check_names() const;

    const ConvertOptions& options_;
    FileKind kind_ = FileKind::Png;
    std::string ending_ = ".png";
    std::optional<std::string> single_, pattern_, folder_;  ///< none: beside each input
};

}  // namespace tool
