#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace frames {

/// Pixels of few bits: what a pixel is, given neighbours that come before it. Each further
/// neighbour tells more and takes longer to learn, so that the best number of them counts.
class PixelBits {
  public:
    explicit PixelBits(int depth);

    void add_row(std::span<const int> row, std::span<const int> above);
    /// Without rows: the pixels before it.
    void add_line(std::span<const int> row);
    double bits() const;

  private:
    using Counts = std::vector<std::uint32_t>;
    struct Context {
        int neighbours;
        Counts counts;  // by the neighbours' values and, in the lowest bits, the pixel's
    };
    static constexpr std::size_t kReach = 2, kMostNeighbours = 7;

    /// The nearest neighbours come first.
    void add(int pixel, const std::array<int, kMostNeighbours>& near);

    int depth_;
    std::vector<Context> contexts_;
    double all_ = 0, edges_ = 0;  // pixels, and those at the ends of rows, which are not counted
};

}  // namespace frames
