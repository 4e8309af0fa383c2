#include "guess/entropy.h"

#include <array>
#include <cmath>

namespace frames {

double entropy_bits(std::span<const std::uint32_t> counts) {
    double total = 0, sum = 0, used = 0;
    for (const auto count : counts) {
        if (count == 0) continue;
        total += count;
        sum -= count * std::log2(static_cast<double>(count));
        ++used;
    }
    return total > 0 ? sum + (total + (used - 1) / 2) * std::log2(total) : 0;
}

double plain_entropy(std::span<const std::uint8_t> bytes) {
    std::array<double, 256> counts{};
    for (const auto byte : bytes) ++counts[byte];
    double sum = 0;
    for (const auto count : counts)
        if (count > 0) sum -= count * std::log2(count / static_cast<double>(bytes.size()));
    return bytes.empty() ? 0 : sum / static_cast<double>(bytes.size());
}

}  // namespace frames
