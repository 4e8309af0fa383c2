#include "guess/coding_cost.h"

#include "frame/frame_shape.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>

namespace tool {
namespace {

double entropyBits(std::span<const std::uint32_t> counts) {
    double total = 0, sum = 0;
    for (const auto count : counts) {
        if (count == 0) continue;
        total += count;
        sum -= count * std::log2(static_cast<double>(count));
    }
    return total > 0 ? sum + total * std::log2(total) : 0;
}

int medianPrediction(int left, int above, int aboveLeft) {
    return std::max(std::min(left, above),
                    std::min(std::max(left, above), left + above - aboveLeft));
}

/// Bits of prediction errors: the entropy of their magnitude classes (0, 1, 2..3, 4..7 and so on,
/// either sign), by how uneven the neighbourhood is, plus the bits that tell the members of a
/// class.
class ErrorBits {
  public:
    void add(int error, int unevenness) {
        // std::bit_width returns an int since LWG 3656 and its argument's type before.
        const auto size =
            static_cast<unsigned>(std::bit_width(static_cast<unsigned>(std::abs(error))));
        const auto level = std::min(
            static_cast<unsigned>(std::bit_width(static_cast<unsigned>(unevenness))), kLevels - 1U);
        ++counts_[level][error < 0 ? kSizes + size : size];
        if (size > 1) memberBits_ += size - 1;
    }

    /// `aside`: how far to the right the row above is looked at.
    void addRow(std::span<const int> row, std::span<const int> above, std::size_t reach,
                int aside = 0) {
        for (auto x = 2 * reach; x + reach < row.size(); ++x) {
            const auto over = static_cast<std::size_t>(static_cast<std::ptrdiff_t>(x) + aside);
            const int left = row[x - reach], up = above[over], upLeft = above[over - reach];
            add(row[x] - medianPrediction(left, up, upLeft),
                std::abs(left - upLeft) + std::abs(up - upLeft));
        }
    }

    double bits() const {
        double sum = static_cast<double>(memberBits_);
        for (const auto& level : counts_) sum += entropyBits(level);
        return sum;
    }

  private:
    static constexpr unsigned kLevels = 8, kSizes = 18;
    std::array<std::array<std::uint32_t, 2 * kSizes>, kLevels> counts_{};
    std::int64_t memberBits_ = 0;
};

/// Bits of the low bits of deep samples, given the upper 8: noise in frames of a sensor, a copy of
/// the high bits in frames made from 8-bit pictures.
class LowBits {
  public:
    explicit LowBits(int width) : width_(width), counts_(std::size_t{256} << width) {}

    void add(int upper, int low) {
        ++counts_[static_cast<std::size_t>(upper) << width_ | static_cast<std::size_t>(low)];
    }

    double bits() const {
        double sum = 0;
        std::size_t cells = 0, rows = 0;
        const auto row = std::size_t{1} << width_;
        for (std::size_t at = 0; at < counts_.size(); at += row) {
            const auto counts = std::span(counts_).subspan(at, row);
            sum += entropyBits(counts);
            const auto used = static_cast<std::size_t>(
                std::count_if(counts.begin(), counts.end(), [](auto n) { return n != 0; }));
            cells += used;
            rows += used != 0;
        }
        // Miller-Madow: few samples in many cells look tidier than they are.
        return sum + static_cast<double>(cells - rows) / 2 * std::log2(std::exp(1.0));
    }

  private:
    int width_;
    std::vector<std::uint32_t> counts_;
};

/// One-bit pixels: what a pixel is, given the four neighbours that come before it.
class PixelBits {
  public:
    void addRow(std::span<const std::uint8_t> row, std::span<const std::uint8_t> above) {
        for (std::size_t x = 1; x + 1 < row.size(); ++x) {
            const auto context =
                (row[x - 1] & 1) | (above[x - 1] & 2) | (above[x] & 4) | (above[x + 1] & 8);
            ++counts_[static_cast<std::size_t>(context)][row[x] & 1];
        }
    }

    double bits() const {
        double sum = 0;
        for (const auto& pair : counts_) sum += entropyBits(pair);
        return sum;
    }

  private:
    std::array<std::array<std::uint32_t, 2>, 16> counts_{};
};

/// The samples of a row by kind. Colours are told as differences to green, which are smoother than
/// the colours; the same transform would make luma and chroma less smooth, and so tells RGB from
/// YUV, though not R from B.
struct Kinds {
    std::vector<int> first, second, third;
    std::vector<int> low;  ///< of `first`, Words and Packed
};

int word(const std::uint8_t* at) { return at[0] | at[1] << 8; }

void split(const std::uint8_t* row, const Reading& reading, int lowBits, Kinds& kinds) {
    kinds.first.clear();
    kinds.second.clear();
    kinds.third.clear();
    kinds.low.clear();
    const auto* end = row + rowElements(reading.layout, reading.width);
    switch (reading.layout) {
        case Layout::Words:
            for (; row < end; row += 2) {
                kinds.first.push_back(word(row) >> lowBits);
                kinds.low.push_back(word(row) & ((1 << lowBits) - 1));
            }
            break;
        case Layout::Packed:
            for (std::size_t x = 0; x < reading.width; ++x, row += x % 2 == 0 ? 3 : 0) {
                kinds.first.push_back(row[x % 2 == 0 ? 0 : 2]);
                kinds.low.push_back(x % 2 == 0 ? row[1] & 15 : row[1] >> 4);
            }
            break;
        case Layout::Rgb:
        case Layout::Bgr:
            for (; row < end; row += 3) {
                kinds.first.push_back(row[1]);
                kinds.second.push_back(row[0] - row[1]);
                kinds.third.push_back(row[2] - row[1]);
            }
            break;
        case Layout::Uyv:
            for (; row < end; row += 3) {
                kinds.first.push_back(row[1]);
                kinds.second.push_back(row[0]);
                kinds.third.push_back(row[2]);
            }
            break;
        case Layout::Uyvy:
        case Layout::Yuyv: {
            const std::size_t luma = reading.layout == Layout::Uyvy ? 1 : 0;
            for (; row < end; row += 4) {
                kinds.first.insert(kinds.first.end(), {row[luma], row[luma + 2]});
                kinds.second.push_back(row[1 - luma]);
                kinds.third.push_back(row[3 - luma]);
            }
            break;
        }
        case Layout::Uyyvyy:
            for (; row < end; row += 6) {
                kinds.first.insert(kinds.first.end(), {row[1], row[2], row[4], row[5]});
                kinds.second.push_back(row[0]);
                kinds.third.push_back(row[3]);
            }
            break;
        case Layout::Bits:
        case Layout::Nibbles:
        case Layout::Bytes:
        case Layout::Points:
            kinds.first.assign(row, end);
            break;
    }
}

}  // namespace

std::size_t rowElements(Layout layout, std::size_t width) {
    if (layout == Layout::Bits || layout == Layout::Nibbles) return width;
    SourceFormat format{};
    format.layout = layout;
    return static_cast<std::size_t>(rowBytes(format, static_cast<std::int64_t>(width)));
}

std::size_t widestRow(Layout layout, std::size_t elements) {
    switch (layout) {
        case Layout::Words:
            return elements / 2;
        case Layout::Packed:
            return elements / 3 * 2 + (elements % 3 == 2 ? 1 : 0);
        case Layout::Rgb:
        case Layout::Bgr:
        case Layout::Uyv:
            return elements / 3;
        case Layout::Uyyvyy:
            return elements / 6 * 4;
        case Layout::Uyvy:
        case Layout::Yuyv:
            return elements / 4 * 2;
        default:
            return elements;
    }
}

std::vector<std::uint8_t> unpackedElements(std::span<const std::uint8_t> bytes, Layout layout) {
    std::vector<std::uint8_t> pixels;
    if (layout == Layout::Bits) {
        pixels.reserve(bytes.size() * 8);
        for (const auto byte : bytes)
            for (int bit = 0; bit < 8; ++bit) pixels.push_back(byte >> bit & 1 ? 255 : 0);
    } else if (layout == Layout::Nibbles) {
        pixels.reserve(bytes.size() * 2);
        for (const auto byte : bytes) {
            pixels.push_back(byte & 15);
            pixels.push_back(byte >> 4);
        }
    } else {
        pixels.assign(bytes.begin(), bytes.end());
    }
    return pixels;
}

CodingCost codingCost(std::span<const std::uint8_t> elements, const Reading& reading,
                      std::size_t sampledElements) {
    const std::size_t step = reading.mosaic ? 2 : 1;  // to the nearest row and column of one kind
    const auto used = rowElements(reading.layout, reading.width);
    CodingCost cost;
    cost.bitsPerByte = 8;  // of no use to anybody who cannot compare rows
    if (used > reading.pitch || elements.size() < used) return cost;
    const auto rows = (elements.size() - used) / reading.pitch + 1;
    if (rows <= step || used <= step) return cost;

    std::vector<std::size_t> sampled;
    const auto wanted = std::max<std::size_t>(32, sampledElements / reading.pitch);
    // Rows are taken in a stride that is odd, so that both rows of a mosaic are seen.
    const auto stride = std::max<std::size_t>(1, (rows - step) / wanted) | 1;
    for (auto y = step; y < rows; y += stride) sampled.push_back(y);

    int lowBits = reading.layout == Layout::Packed ? 4 : 0;
    if (reading.layout == Layout::Words) {
        int all = 0;
        for (const auto y : sampled)
            for (std::size_t x = 0; x < used; x += 2)
                all |= word(elements.data() + y * reading.pitch + x);
        cost.usedBits = std::bit_width(static_cast<unsigned>(all));
        lowBits = cost.usedBits <= 8 ? 0 : cost.usedBits <= 10 ? 2 : cost.usedBits <= 12 ? 4 : 8;
    }

    // Slanted edges favour a pitch that is a pixel off and lets them stand upright. Looking aside
    // for the best direction takes that advantage away.
    std::array<ErrorBits, 3> first;
    ErrorBits second, third, beyond;
    LowBits low(lowBits);
    PixelBits pixels;
    Kinds row, above;
    int allLow = 0;
    for (const auto y : sampled) {
        const auto* at = elements.data() + y * reading.pitch;
        const auto* over = at - step * reading.pitch;
        if (reading.layout == Layout::Bits) {
            pixels.addRow({at, used}, {over, used});
        } else {
            split(at, reading, lowBits, row);
            split(over, reading, lowBits, above);
            for (int i = 0; i < 3; ++i)
                first[static_cast<std::size_t>(i)].addRow(row.first, above.first, step,
                                                          (i - 1) * static_cast<int>(step));
            second.addRow(row.second, above.second, 1);
            third.addRow(row.third, above.third, 1);
            for (std::size_t x = 0; x < row.low.size(); ++x) {
                low.add(row.first[x], row.low[x]);
                allLow |= row.low[x] << (x % 2 != 0 ? 4 : 0);
            }
        }
        const auto rest = std::min(reading.pitch, elements.size() - y * reading.pitch) - used;
        for (std::size_t x = 0; x < rest; ++x)
            beyond.add(static_cast<std::int8_t>(at[used + x] - over[used + x]), 0);
    }
    // The edges of rows have no neighbours to compare with and count like the rest.
    const auto inRow = static_cast<double>(row.first.size());
    const auto firstBits = std::min({first[0].bits(), first[1].bits(), first[2].bits()}) * inRow /
                           std::max(1.0, inRow - 3.0 * static_cast<double>(step));
    const auto bytes =
        static_cast<double>(sampled.size() * reading.pitch) / elementsPerByte(reading.layout);
    cost.bitsPerByte =
        (firstBits + second.bits() + third.bits() + beyond.bits() + low.bits() + pixels.bits()) /
        bytes;
    cost.lowBitsEmpty = allLow == 0;
    if (reading.layout == Layout::Packed) cost.usedBits = (allLow & 0xCC) == 0 ? 10 : 12;
    return cost;
}

}  // namespace tool
