// What is done to samples once they are unpacked, the vector bodies; samples_plain.h has the rules.
#pragma once

#include "layouts/kernels.h"
#include "layouts/vector_ops.h"

#include <stddef.h>

namespace frames {

/// Every period begins anew with a block: of three vectors where three channels take turns. Where
/// scales are steep, values may be beyond what dwords hold.
template <class V, size_t kVectors, bool kIsSteep>
class LevelsBody {
  public:
    static constexpr size_t kOut = kVectors * kVectorBytes<V>, kIn = kOut;
    static constexpr size_t kReads = kIn, kWrites = kOut;

    LevelsBody(const LevelRow& levels, size_t period)
        : black_(levels.black), most_(Words<V>{} + static_cast<uint16_t>(levels.most)) {
        // The first floats of the row are one piece: black, and three scales.
        static_assert(offsetof(LevelRow, most) == 16);
        using Indices = Repeated<V, sizeof(float)>;
        static constexpr Indices kScales[] = {
            Indices([](size_t, size_t byte) { return 4 + byte; }),
            Indices([](size_t i, size_t byte) { return 4 + i % 2 * 4 + byte; }),
            Indices([](size_t i, size_t byte) { return 4 + i % 3 * 4 + byte; })};
        const Indices& indices = kScales[period - 1];
        const Bytes<V> row = V::broadcast(&levels);
        for (size_t i = 0; i < kHalves; ++i)
            scales_[i] = (Floats<V>)V::shuffle(
                row, indices.at(i / 2 * kPerVector + i % 2 * 4, kPerVector / V::kLanes));
    }

    void block(const uint8_t* source, uint8_t* out) const {
#pragma GCC unroll 3
        for (size_t i = 0; i < kVectors; ++i) {
            const auto samples = load_vector<V, Words<V>>(source + i * kVectorBytes<V>);
            const Words<V> result =
                V::pack_dwords(level4(widen_words<V, 0>(samples), scales_[2 * i]),
                               level4(widen_words<V, 1>(samples), scales_[2 * i + 1]));
            store_vector<V>(out + i * kVectorBytes<V>, V::smaller(result, most_));
        }
    }

  private:
    static constexpr size_t kPerVector = kVectorBytes<V> / sizeof(uint16_t);
    static constexpr size_t kHalves = 2 * kVectors;  // of 4 samples per lane

    /// Packing clamps what is below 0 or above 65535, and is a single step for two of these.
    Dwords<V> level4(Dwords<V> samples, Floats<V> scale) const {
        Floats<V> value = (__builtin_convertvector(samples, Floats<V>) - black_) * scale;
        if constexpr (kIsSteep) value = V::smaller(value, Floats<V>{} + 65535.0F);
        return __builtin_convertvector(value + 0.5F, Dwords<V>);
    }

    float black_;
    Words<V> most_;
    Floats<V> scales_[kHalves];
};

template <class V>
[[gnu::flatten]] void levels_row(const uint16_t* source, uint16_t* out, size_t count,
                                 const LevelRow& levels, int period) {
    const auto run = [&](const auto& body) {
        run_blocks<V>(body, reinterpret_cast<const uint8_t*>(source), 2 * count, 2 * count,
                      reinterpret_cast<uint8_t*>(out), 2 * count);
    };
    const auto run_period = [&]<bool kIsSteep>() {
        if (period == 3)
            run(LevelsBody<V, 3, kIsSteep>(levels, 3));
        else
            run(LevelsBody<V, 1, kIsSteep>(levels, static_cast<size_t>(period)));
    };
    constexpr float kSteep = 16384;
    if (levels.scale[0] > kSteep || levels.scale[1] > kSteep || levels.scale[2] > kSteep)
        run_period.template operator()<true>();
    else
        run_period.template operator()<false>();
}

template <class V>
struct FullScaleBody {
    static constexpr size_t kIn = kVectorBytes<V>, kOut = kIn, kReads = kIn, kWrites = kIn;
    int depth;

    void block(const uint8_t* source, uint8_t* out) const {
        Words<V> value = load_vector<V, Words<V>>(source) << (16 - depth);
        for (int filled = depth; filled < 16; filled *= 2) value |= value >> filled;
        store_vector<V>(out, value);
    }
};

template <class V>
void full_scale_row(const uint16_t* source, uint16_t* out, size_t count, int depth) {
    run_blocks<V>(FullScaleBody<V>{depth}, reinterpret_cast<const uint8_t*>(source), 2 * count,
                  2 * count, reinterpret_cast<uint8_t*>(out), 2 * count);
}

/// Y from 16 on becomes d + d * 12 / 73 to nearest, U and V become d + 1 + d * 31 / 224, which is
/// one less for 240. The factors are those fractions of 2^16: the products have 8 bits more. Blocks
/// are of three vectors where Y is not every other byte.
template <class V, size_t kVectors>
class FullRangeBody {
  public:
    static constexpr size_t kOut = kVectors * kVectorBytes<V>, kIn = kOut;
    static constexpr size_t kReads = kIn, kWrites = kOut;

    explicit FullRangeBody(imgcnv_layout layout) {
        static constexpr Constants kOf[] = {Constants("UYYVYY"), Constants("UYVYUY"),
                                            Constants("YUYVYU"), Constants("UYVUYV")};
        const Constants& constants = kOf[layout - IMGCNV_LAYOUT_UYYVYY];
        for (size_t i = 0; i < kVectors; ++i) {
            const size_t at = i * kVectorBytes<V>;
            largest_[i] = constants.largest.at(at, 16);
            low_[i] = {(Words<V>)constants.factor.at(at, 16), (Words<V>)constants.added.at(at, 16)};
            high_[i] = {(Words<V>)constants.factor.at(at + 8, 16),
                        (Words<V>)constants.added.at(at + 8, 16)};
        }
    }

    void block(const uint8_t* source, uint8_t* out) const {
#pragma GCC unroll 3
        for (size_t i = 0; i < kVectors; ++i, source += kVectorBytes<V>, out += kVectorBytes<V>) {
            Bytes<V> bytes = load_vector<V, Bytes<V>>(source);
            bytes = bytes > largest_[i] ? largest_[i] : bytes;
            const Bytes<V> d = (bytes > 16 ? bytes : Bytes<V>{} + uint8_t{16}) - uint8_t{16};
            store_vector<V>(out, d + V::pack_words(low_[i].more(widen_bytes<V, 0>(d)),
                                                   high_[i].more(widen_bytes<V, 1>(d))));
        }
    }

  private:
    struct Constants {
        Repeated<V, 1> largest;
        Repeated<V, 2> factor, added;  // added: a half to round Y, and 1 for U and V

        constexpr explicit Constants(const char* group)
            : largest([=](size_t i, size_t) { return group[i] == 'Y' ? 235 : 240; }),
              factor([=](size_t i, size_t byte) {
                  return (group[i] == 'Y' ? 10772 : 9069) >> 8 * byte & 0xFF;
              }),
              added([=](size_t i, size_t byte) {
                  return (group[i] == 'Y' ? 129 : 256) >> 8 * byte & 0xFF;
              }) {}
    };
    struct Half {
        Words<V> factor, added;
        Words<V> more(Words<V> d) const { return (V::multiply_high(d << 8, factor) + added) >> 8; }
    };

    Bytes<V> largest_[kVectors];
    Half low_[kVectors], high_[kVectors];
};

template <class V>
void full_range_row(const uint8_t* source, uint8_t* out, size_t bytes, imgcnv_layout layout) {
    if (layout == IMGCNV_LAYOUT_UYVY || layout == IMGCNV_LAYOUT_YUYV)
        run_blocks<V>(FullRangeBody<V, 1>(layout), source, bytes, bytes, out, bytes);
    else
        run_blocks<V>(FullRangeBody<V, 3>(layout), source, bytes, bytes, out, bytes);
}

/// Lanes of which 12 bytes count: what is stored beyond them is written again. Where those bytes
/// stay as they are, the row may be its own target.
template <class V, size_t kLaneIn>
struct ShuffleTwelveBody {
    static constexpr size_t kIn = kLaneIn * V::kLanes, kOut = 12 * V::kLanes;
    static constexpr size_t kReads = kIn + 16 - kLaneIn, kWrites = kOut + 4;
    Bytes<V> indices;

    void block(const uint8_t* source, uint8_t* out) const {
        V::store_lanes(out, 12, V::shuffle(V::load_lanes(source, kLaneIn), indices));
    }
};

template <class V>
void drop_alpha8_row(const uint8_t* source, uint8_t* out, size_t pixels, bool exchange) {
    static constexpr LaneBytes kDrop = {{0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14}};
    static constexpr LaneBytes kExchange = {{2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12}};
    const Bytes<V> indices = V::broadcast((exchange ? kExchange : kDrop).at);
    run_blocks<V>(ShuffleTwelveBody<V, 16>{indices}, source, 4 * pixels, 4 * pixels, out,
                  3 * pixels);
}

/// Whole vectors begin at cache lines: stores that cross these take twice as long.
template <class V>
void opaque_row(const uint8_t* source, uint8_t* out, size_t pixels, bool streams) {
    static constexpr LaneBytes kAlpha = {{0, 0, 0, 255, 0, 0, 0, 255, 0, 0, 0, 255, 0, 0, 0, 255}};
    constexpr size_t kBlock = kVectorBytes<V>;
    const size_t bytes = 4 * pixels, past_line = reinterpret_cast<uintptr_t>(out) % kBlock;
    const Bytes<V> alpha = V::broadcast(kAlpha.at);
    const auto block = [&](size_t at) { return load_vector<V, Bytes<V>>(source + at) | alpha; };
    const auto few = [&](size_t at, size_t end) {
        for (; at < end; ++at) out[at] = at % 4 == 3 ? uint8_t{255} : source[at];
    };
    if (bytes < kBlock) return few(0, bytes);
    size_t at = (kBlock - past_line) / 4 * 4;
    if constexpr (StreamingVector<V>) {
        if (streams && past_line % 4 == 0) {
            // Lines that are streamed must not have come into the caches just before.
            few(0, at);
            for (; at + kBlock <= bytes; at += kBlock) V::stream(out + at, block(at));
            V::end_stream();
            return few(at, bytes);
        }
    }
    // The first and the last block overlap others.
    store_vector<V>(out, block(0));
    for (; at + kBlock < bytes; at += kBlock) store_vector<V>(out + at, block(at));
    store_vector<V>(out + bytes - kBlock, block(bytes - kBlock));
}

template <class V>
void exchange16_row(const uint16_t* source, uint16_t* out, size_t pixels) {
    static constexpr LaneBytes kExchange = {{4, 5, 2, 3, 0, 1, 10, 11, 8, 9, 6, 7, 12, 13, 14, 15}};
    run_blocks<V>(ShuffleTwelveBody<V, 12>{V::broadcast(kExchange.at)},
                  reinterpret_cast<const uint8_t*>(source), 6 * pixels, 6 * pixels,
                  reinterpret_cast<uint8_t*>(out), 6 * pixels);
}

/// 256 bytes in which all bytes of a vector are looked up at once: by two permutations of what four
/// vectors hold, or in 16 parts by the lower four bits, of which the upper four choose one.
template <class V>
class ByteTable {
  public:
    ByteTable() = default;
    explicit ByteTable(const uint8_t* table) : parts_(table) {}

    Bytes<V> look_up(Bytes<V> a) const { return of_parts<8>(a, a & uint8_t{15}, parts_); }

  private:
    /// Of 2 kParts parts. Their number's upper bit is that bit of `a`, moved to the top of a byte.
    template <size_t kParts>
    static Bytes<V> of_parts(Bytes<V> a, Bytes<V> low_bits, const uint8_t* parts) {
        if constexpr (kParts == 0) {
            return V::shuffle(V::broadcast(parts), low_bits);
        } else {
            constexpr int kUp = kParts == 8 ? 0 : kParts == 4 ? 1 : kParts == 2 ? 2 : 3;
            const auto lower = of_parts<kParts / 2>(a, low_bits, parts);
            const auto upper = of_parts<kParts / 2>(a, low_bits, parts + 16 * kParts);
            return choose<V>((Bytes<V>)((Words<V>)a << kUp), upper, lower);
        }
    }

    const uint8_t* parts_ = nullptr;
};
template <WholeVector V>
class ByteTable<V> {
  public:
    ByteTable() = default;
    explicit ByteTable(const uint8_t* table) {
        static_assert(kVectorBytes<V> == 64);
        for (size_t i = 0; i < 4; ++i)
            parts_[i] = load_vector<V, Bytes<V>>(table + i * kVectorBytes<V>);
    }
    Bytes<V> look_up(Bytes<V> a) const {
        return choose<V>(a, V::permute2(parts_[2], parts_[3], a),
                         V::permute2(parts_[0], parts_[1], a));
    }

  private:
    Bytes<V> parts_[4];
};

/// One table, or one for each of three channels. Three vectors of three channels have each channel
/// at every place once: the bytes of a channel go to one vector, at their places.
template <class V, int kChannels>
class CurveBody {
  public:
    static constexpr size_t kVectors = kChannels == 3 ? 3 : 1;
    static constexpr size_t kIn = kVectors * kVectorBytes<V>, kOut = kIn, kReads = kIn;
    static constexpr size_t kWrites = kOut;

    explicit CurveBody(const uint8_t* curve) {
        for (size_t i = 0; i < kTables; ++i) tables_[i] = ByteTable<V>(curve + 256 * i);
    }
    void block(const uint8_t* source, uint8_t* out) const {
        const auto a = load_vector<V, Bytes<V>>(source);
        if constexpr (kChannels == 1) {
            store_vector<V>(out, tables_[0].look_up(a));
        } else if constexpr (kChannels == 3) {
            const auto b = load_vector<V, Bytes<V>>(source + kVectorBytes<V>);
            const auto c = load_vector<V, Bytes<V>>(source + 2 * kVectorBytes<V>);
            const Bytes<V> c0 = tables_[0].look_up(by_channel<0>(a, b, c));
            const Bytes<V> c1 = tables_[1].look_up(by_channel<1>(a, b, c));
            const Bytes<V> c2 = tables_[2].look_up(by_channel<2>(a, b, c));
            store_vector<V>(out, of_channels<0>(c0, c1, c2));
            store_vector<V>(out + kVectorBytes<V>, of_channels<1>(c0, c1, c2));
            store_vector<V>(out + 2 * kVectorBytes<V>, of_channels<2>(c0, c1, c2));
        } else {
            const Bytes<V> first_two =
                choose<V>(places<0, 4>(0), tables_[0].look_up(a), tables_[1].look_up(a));
            const Bytes<V> last_two = choose<V>(places<0, 4>(2), tables_[2].look_up(a), a);
            const Bytes<V> is_first_two = places<0, 4>(0) | places<0, 4>(1);
            store_vector<V>(out, choose<V>(is_first_two, first_two, last_two));
        }
    }

  private:
    static constexpr size_t kTables = kChannels == 1 ? 1 : 3;

    /// 255 where the block's vector kVector has a byte of the channel.
    template <size_t kVector, size_t kPeriod>
    static Bytes<V> places(size_t channel) {
        struct Masks {
            VectorBytes<V> of[kPeriod];
        };
        static constexpr Masks kMasks = [] {
            Masks masks{};
            for (size_t i = 0; i < kVectorBytes<V>; ++i)
                masks.of[(kVector * kVectorBytes<V> + i) % kPeriod].at[i] = 255;
            return masks;
        }();
        return load_vector<V, Bytes<V>>(kMasks.of[channel].at);
    }
    template <size_t kChannel>
    static Bytes<V> by_channel(Bytes<V> a, Bytes<V> b, Bytes<V> c) {
        return choose<V>(places<0, 3>(kChannel), a, choose<V>(places<1, 3>(kChannel), b, c));
    }
    template <size_t kVector>
    static Bytes<V> of_channels(Bytes<V> c0, Bytes<V> c1, Bytes<V> c2) {
        return choose<V>(places<kVector, 3>(0), c0, choose<V>(places<kVector, 3>(1), c1, c2));
    }

    ByteTable<V> tables_[kTables];
};

template <class V>
void curve_vectors_row(uint8_t* pixels, size_t count, int channels, const uint8_t* curve) {
    const auto run = [&]<int kChannels>() {
        const size_t bytes = count * kChannels;
        run_blocks<V>(CurveBody<V, kChannels>(curve), pixels, bytes, bytes, pixels, bytes);
    };
    channels == 1   ? run.template operator()<1>()
    : channels == 3 ? run.template operator()<3>()
                    : run.template operator()<4>();
}

}  // namespace frames
