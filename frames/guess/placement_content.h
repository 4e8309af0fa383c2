#pragma once

#include "guess/frame_series.h"
#include "guess/metadata.h"
#include "guess/placement.h"
#include "guess/row_steps.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace frames {

/// What the bytes of a file say about where the frames of a hypothesis lie in it.
class PlacementContent {
  public:
    PlacementContent(ByteSource& source, std::span<const std::uint8_t> window,
                     const Hypothesis& hypothesis, const imgcnv_frame& known);

    /// Adds to the penalty what the rows, and the bytes that belong to no frame, say against it.
    void weigh(Placement& placement);

    FrameSeries& series() { return series_; }
    /// A byte of the file at which a row begins, where the picture shows one.
    std::optional<std::int64_t> seam() const { return seam_; }
    /// Whether the row that begins at this bit does not continue those above it, or the file does
    /// not hold those.
    bool may_begin_at(std::int64_t bit);
    /// Rows up to the last jump near the end of the file.
    std::int64_t rows_before_trailer(std::int64_t skip, std::int64_t rows);
    /// Whether several frames are parted by more than the rows of a picture are, or by metadata.
    bool are_parted(const Placement& placement);

  private:
    bool is_jump(std::int64_t skip, std::int64_t row);
    void weigh_first_rows(Placement& placement);
    void weigh_ends(Placement& placement);
    void weigh_metadata(Placement& placement);
    void weigh_series(Placement& placement);
    void weigh_gap(Placement& placement);
    std::optional<bool> continues(std::int64_t piece, std::int64_t other, std::int64_t pixels);
    Metadata::Verdict judge(std::int64_t from, std::int64_t to, std::int64_t begin);
    std::int64_t place(std::int64_t skip, std::int64_t row) const {
        return 8 * skip + row * pitch_;
    }

    const Hypothesis& hypothesis_;
    const imgcnv_frame& known_;
    ByteSource& source_;
    std::int64_t size_, pitch_, padding_, period_;  ///< in bits, except the size
    RowSteps steps_;
    FrameSeries series_;
    Metadata metadata_;
    std::vector<std::uint8_t> room_;
    std::optional<std::int64_t> seam_;
};

}  // namespace frames
