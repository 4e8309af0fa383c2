#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace frames {

/// Bits of prediction errors: the entropy of their magnitude classes (0, 1, 2..3, 4..7 and so on,
/// either sign), by how uneven the neighbourhood is, plus the bits that tell the members of a
/// class.
class ErrorBits {
  public:
    void add(int error, int unevenness);
    /// The mean of all neighbours, which in noise predicts better than any one of them.
    void add_row_of_noise(std::span<const int> row, std::span<const int> above, std::size_t step,
                          std::size_t margin);
    /// `aside`: how far to the right the row above is looked at.
    /// Samples nearer to the ends than `margin` are left out.
    void add_row(std::span<const int> row, std::span<const int> above, std::size_t step,
                 std::size_t margin, int aside = 0);
    /// Without rows: each sample from the one `step` before it.
    void add_line(std::span<const int> row, std::size_t step);
    double bits() const;

  private:
    static constexpr int kLevels = 12, kSizes = 18;
    std::array<std::array<std::uint32_t, 2 * kSizes>, kLevels> counts_{};
    std::int64_t member_bits_ = 0;
};

}  // namespace frames
