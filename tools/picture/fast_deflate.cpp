#include "picture/fast_deflate.h"

#include <libdeflate.h>
#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

// Deflate (RFC 1951) in blocks with codes of their own:
//
//   3 bits   last block, dynamic codes
//   14 bits  286 codes of literals and lengths, 1 of distances, 19 of code lengths
//   57 bits  the code of code lengths: 4 bits for each of 0 to 15, so that it needs no tree
//   287 x 4  the code lengths
//   then the symbols; all distances are 1
namespace tool {
namespace {

constexpr std::size_t kBlockBytes = 1 << 17;
constexpr std::size_t kGroup = 8;  // bytes that are looked at together
constexpr int kSymbols = 286, kEndOfBlock = 256, kLongestCode = 15;
constexpr std::size_t kLongestRun = 258;

/// A length of a run: its symbol, and the bits behind it.
struct RunLength {
    std::uint16_t symbol, extra;
    std::uint8_t extra_bits;
};

constexpr std::array<RunLength, kLongestRun + 1> run_lengths() {
    std::array<RunLength, kLongestRun + 1> table{};
    std::uint16_t symbol = 257;
    for (std::size_t length = 3; length < kLongestRun; ++symbol) {
        const int bits = symbol < 265 ? 0 : (symbol - 261) / 4;
        for (std::uint16_t extra = 0; extra < 1 << bits && length < kLongestRun; ++extra)
            table[length++] = {symbol, extra, static_cast<std::uint8_t>(bits)};
    }
    table[kLongestRun] = {285, 0, 0};
    return table;
}
constexpr auto kRunLengths = run_lengths();

std::uint64_t load(const std::uint8_t* from) {
    std::uint64_t value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

/// Hands a block to `literal`, byte by byte, and to `run` where at least 8 bytes repeat the one
/// before them. `first`: the block begins with the stream, nothing is before it.
template <typename Literal, typename Run>
void for_each_symbol(const std::uint8_t* at, const std::uint8_t* end, bool first, Literal literal,
                     Run run) {
    if (first && at != end) literal(*at++);
    while (end - at >= static_cast<std::ptrdiff_t>(kGroup)) {
        if (load(at) != load(at - 1)) {
            for (std::size_t i = 0; i < kGroup; ++i) literal(at[i]);
            at += kGroup;
            continue;
        }
        const auto* const most = at + std::min<std::ptrdiff_t>(end - at, kLongestRun);
        const auto* stop = at + kGroup;
        while (stop < most && *stop == at[-1]) ++stop;
        run(static_cast<std::size_t>(stop - at));
        at = stop;
    }
    while (at != end) literal(*at++);
}

using Counts = std::array<std::uint32_t, kSymbols>;
using Lengths = std::array<std::uint8_t, kSymbols>;

/// Depths of the Huffman tree of the symbols that occur; 0 for others.
int tree_depths(const Counts& counts, Lengths& depths) {
    struct Node {
        std::uint32_t count;
        int parent;
    };
    std::array<Node, 2 * kSymbols> nodes;
    std::array<int, kSymbols> symbols;
    int leaves = 0;
    for (int i = 0; i < kSymbols; ++i)
        if (counts[static_cast<std::size_t>(i)] > 0)
            symbols[static_cast<std::size_t>(leaves++)] = i;
    const auto at = [](int i) { return static_cast<std::size_t>(i); };
    std::sort(symbols.begin(), symbols.begin() + leaves,
              [&](int a, int b) { return counts[at(a)] < counts[at(b)]; });
    for (int i = 0; i < leaves; ++i) nodes[at(i)] = {counts[at(symbols[at(i)])], 0};
    // Leaves and inner nodes are two queues in the order of their counts.
    int leaf = 0, inner = leaves, next = leaves;
    const auto take_smallest = [&] {
        const bool is_leaf =
            leaf < leaves && (inner == next || nodes[at(leaf)].count <= nodes[at(inner)].count);
        return is_leaf ? leaf++ : inner++;
    };
    for (; next < 2 * leaves - 1; ++next) {
        const int a = take_smallest(), b = take_smallest();
        nodes[at(next)].count = nodes[at(a)].count + nodes[at(b)].count;
        nodes[at(a)].parent = nodes[at(b)].parent = next;
    }
    depths.fill(0);
    std::array<int, 2 * kSymbols> depth{};
    int deepest = 0;
    for (int i = next - 2; i >= 0; --i) {
        depth[at(i)] = depth[at(nodes[at(i)].parent)] + 1;
        if (i < leaves) depths[at(symbols[at(i)])] = static_cast<std::uint8_t>(depth[at(i)]);
        deepest = std::max(deepest, depth[at(i)]);
    }
    return deepest;
}

/// Codes, first bit lowest, with their lengths in the upper half.
std::array<std::uint32_t, kSymbols> codes_of(const Lengths& lengths) {
    std::array<std::uint32_t, kLongestCode + 2> next{};
    for (const auto length : lengths) next[length + 1U] += length > 0 ? 1 : 0;
    for (std::size_t i = 1; i < next.size(); ++i) next[i] = (next[i - 1] + next[i]) << 1;
    std::array<std::uint32_t, kSymbols> codes{};
    for (std::size_t i = 0; i < kSymbols; ++i) {
        const auto length = lengths[i];
        std::uint32_t reversed = 0;
        for (std::uint32_t bit = 0, code = length > 0 ? next[length]++ : 0; bit < length; ++bit)
            reversed |= (code >> bit & 1) << (length - 1U - bit);
        codes[i] = reversed | static_cast<std::uint32_t>(length) << 16;
    }
    return codes;
}

/// Writes bits, lowest first, into memory that is known to suffice.
class BitWriter {
  public:
    explicit BitWriter(std::uint8_t* to) : to_(to) {}

    void put(std::uint64_t bits, unsigned count) {
        bits_ |= bits << held_;
        held_ += count;
    }
    /// After at most 56 bits: 7 stay.
    void flush() {
        if constexpr (std::endian::native == std::endian::little) {
            std::memcpy(to_, &bits_, sizeof bits_);
        } else {
            for (unsigned i = 0; i < 8; ++i) to_[i] = static_cast<std::uint8_t>(bits_ >> (8 * i));
        }
        to_ += held_ / 8;
        bits_ >>= held_ / 8 * 8;
        held_ %= 8;
    }
    std::uint8_t* finish() {
        held_ += 7;
        flush();
        return to_;
    }

  private:
    std::uint8_t* to_;
    std::uint64_t bits_ = 0;
    unsigned held_ = 0;
};

Lengths code_lengths(const std::uint8_t* at, const std::uint8_t* end, bool first) {
    // Counting in turns: the same byte twice in a row would wait for its own count.
    std::array<Counts, 4> turns{};
    unsigned turn = 0;
    for_each_symbol(
        at, end, first, [&](std::uint8_t byte) { ++turns[turn++ & 3][byte]; },
        [&](std::size_t length) { ++turns[0][kRunLengths[length].symbol]; });
    Counts counts{};
    for (const auto& one : turns)
        for (std::size_t i = 0; i < kSymbols; ++i) counts[i] += one[i];
    ++counts[kEndOfBlock];
    Lengths lengths;
    // Flatter counts make a flatter tree.
    while (tree_depths(counts, lengths) > kLongestCode)
        for (auto& count : counts) count = (count + 1) / 2;
    return lengths;
}

void put_block(const std::uint8_t* at, const std::uint8_t* end, bool first, bool last,
               BitWriter& writer) {
    const auto lengths = code_lengths(at, end, first);
    writer.put((last ? 1U : 0U) | 2U << 1 | 29U << 3 | 0U << 8 | 15U << 13, 17);
    writer.put(0, 9);  // no codes for repeated code lengths
    writer.flush();
    for (int i = 0; i < 16; ++i) {
        writer.put(4, 3);
        if (i % 8 == 7) writer.flush();
    }
    const auto reversed4 = [](unsigned v) {
        return (v & 1) << 3 | (v & 2) << 1 | (v & 4) >> 1 | (v & 8) >> 3;
    };
    for (const auto length : lengths) {
        writer.put(reversed4(length), 4);
        writer.flush();
    }
    writer.put(reversed4(1), 4);  // the one distance has a code of one bit, 0
    writer.flush();
    const auto codes = codes_of(lengths);
    unsigned pending = 0;
    const auto put_code = [&](std::uint32_t code) { writer.put(code & 0xFFFF, code >> 16); };
    for_each_symbol(
        at, end, first,
        [&](std::uint8_t byte) {
            put_code(codes[byte]);
            if (++pending % 3 == 0) writer.flush();
        },
        [&](std::size_t length) {
            const auto& run = kRunLengths[length];
            writer.flush();
            put_code(codes[run.symbol]);
            writer.put(run.extra, run.extra_bits + 1U);  // and the distance
            writer.flush();
            pending = 0;
        });
    writer.flush();
    put_code(codes[kEndOfBlock]);
    writer.flush();
}

}  // namespace

void fast_deflate(std::span<const std::uint8_t> bytes, std::vector<std::uint8_t>& out) {
    // No code is longer than 15 bits, and no block's head than 200 bytes.
    const auto blocks = bytes.size() / kBlockBytes + 1;
    out.resize(bytes.size() * 15 / 8 + blocks * 256 + 64);
    out[0] = 0x78;
    out[1] = 0x01;
    BitWriter writer(out.data() + 2);
    const auto* const begin = bytes.data();
    const auto* const end = begin + bytes.size();
    const auto* at = begin;
    do {
        const auto size = std::min<std::ptrdiff_t>(end - at, kBlockBytes);
        put_block(at, at + size, at == begin, at + size == end, writer);
        at += size;
    } while (at != end);
    auto* to = writer.finish();
    const auto sum = libdeflate_adler32(1, begin, bytes.size());
    for (int i = 0; i < 4; ++i) *to++ = static_cast<std::uint8_t>(sum >> (24 - 8 * i));
    out.resize(static_cast<std::size_t>(to - out.data()));
}

}  // namespace tool
