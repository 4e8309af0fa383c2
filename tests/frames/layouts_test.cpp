// Every level's row functions, with unmapped pages before and behind their buffers: layouts against
// a model that reads single bits, what is done to samples against the plain definition.

#include "frames/layout_model.h"
#include "frames/levels_here.h"
#include "layouts/samples_plain.h"
#include "support/guarded_buffer.h"

#include <random>

namespace frames {
namespace {

using imgcnv::testing::Guard;
using imgcnv::testing::GuardedRegion;
using imgcnv::testing::kGuards;
using testing::levels_here;

/// Two blocks of the widest level's widest body and one sample, and some rows' lengths.
std::vector<std::size_t> counts() {
    std::vector<std::size_t> counts(2 * 192 + 1);
    for (std::size_t i = 0; i < counts.size(); ++i) counts[i] = i + 1;
    counts.insert(counts.end(), {640, 1000, 1923});
    return counts;
}

std::vector<std::uint8_t> random_bytes(std::size_t count, std::mt19937& random) {
    std::vector<std::uint8_t> bytes(count);
    for (auto& byte : bytes) {
        const auto r = static_cast<unsigned>(random());
        byte = static_cast<std::uint8_t>(r >> 8 & 7 ? r : r >> 11 & 1 ? 255 : 0);
    }
    return bytes;
}

/// Runs `convert` with buffers that end (begin) where memory does and compares what it writes.
template <class Out, class Convert>
void expect_output(std::span<const std::uint8_t> source, const std::vector<Out>& expected,
                   Convert convert) {
    static GuardedRegion sources(1 << 16), outs(1 << 16);
    for (const Guard guard : kGuards) {
        const auto in = sources.place(source, guard);
        const auto out = outs.place(expected.size() * sizeof(Out), guard, 0xA5);
        auto* result = reinterpret_cast<Out*>(out.data());
        convert(in.data(), result);
        for (std::size_t i = 0; i < expected.size(); ++i)
            ASSERT_EQ(result[i], expected[i]) << "at " << i << " of " << expected.size();
        ASSERT_TRUE(outs.intact()) << expected.size();
    }
}

std::uint8_t model_upper(const SampleLayout& layout, unsigned sample) {
    if (layout.depth == 1) return sample ? 255 : 0;
    return static_cast<std::uint8_t>((sample << 8 >> layout.depth));
}

/// Other levels for every row: gains that leave much of the range and that clamp most of it.
FixedLevels levels_for(const SampleLayout& layout, std::size_t count) {
    constexpr double kGains[] = {0, 0.3, 1, 1.8, 15.9, 100, 3000};
    const double full = (1 << layout.depth) - 1;
    const auto scale = static_cast<float>(255 / full * kGains[count % std::size(kGains)]);
    const auto black = static_cast<float>(full / static_cast<double>(count % 5 + 1) - full / 6);
    return fixed_levels({black, {scale, 0.37F * scale, 0.9F * scale}}, layout.depth);
}
int period_for(const SampleLayout& layout, std::size_t count) {
    const bool is_rgb =
        layout.layout == IMGCNV_LAYOUT_BYTES || layout.layout == IMGCNV_LAYOUT_WORDS;
    return static_cast<int>(count / 2 % (is_rgb ? 3 : 2)) + 1;
}

TEST(Layouts, EqualTheModelAtEveryLevel) {
    std::mt19937 random(19);
    for (const Level& level : levels_here())
        for (std::size_t index = 0; index < std::size(kSampleLayouts); ++index) {
            const SampleLayout& layout = kSampleLayouts[index];
            const LayoutKernels& kernels = level.kernels->unpack[index];
            for (const std::size_t count : counts()) {
                SCOPED_TRACE(::testing::Message()
                             << level.name << ", layout " << layout.layout << " of " << layout.depth
                             << " bits" << (layout.big_endian ? ", big-endian" : ""));
                const auto source = random_bytes(testing::model_bytes(layout, count), random);
                ASSERT_EQ(sample_bytes(layout, count), source.size()) << count;
                std::vector<std::uint16_t> expected16;
                std::vector<std::uint8_t> expected8, leveled8;
                const FixedLevels levels = levels_for(layout, count);
                const int period = period_for(layout, count);
                for (std::size_t i = 0; i < count; ++i) {
                    const unsigned sample = testing::model_sample(layout, source.data(), i);
                    expected16.push_back(static_cast<std::uint16_t>(sample));
                    expected8.push_back(model_upper(layout, sample));
                    leveled8.push_back(
                        level8_plain(sample, levels, i % static_cast<std::size_t>(period)));
                }
                // Alone, and where other bytes follow that may be read.
                for (const std::size_t more : {0, 7, 64}) {
                    auto readable = source;
                    readable.resize(source.size() + more, 0xA5);
                    expect_output(readable, expected16, [&](const auto* in, auto* out) {
                        kernels.to16(in, readable.size(), out, count);
                    });
                    expect_output(readable, expected8, [&](const auto* in, auto* out) {
                        kernels.to8(in, readable.size(), out, count);
                    });
                    expect_output(readable, leveled8, [&](const auto* in, auto* out) {
                        kernels.to8_levels(in, readable.size(), out, count, levels, period);
                    });
                }
                if (HasFatalFailure()) return;
            }
        }
}

std::span<const std::uint8_t> bytes_of(const std::vector<std::uint16_t>& words) {
    return {reinterpret_cast<const std::uint8_t*>(words.data()), 2 * words.size()};
}
const std::uint16_t* words_at(const std::uint8_t* bytes) {
    return reinterpret_cast<const std::uint16_t*>(bytes);
}

/// What `run` of a level gives, against what it gives on the plain level.
template <class Out, class Run>
void expect_plain(std::span<const std::uint8_t> source, std::size_t out_count, Run run) {
    std::vector<Out> expected(out_count);
    run(levels().front().kernels->samples, source.data(), expected.data());
    for (const Level& level : levels_here()) {
        SCOPED_TRACE(level.name);
        expect_output(source, expected, [&](const std::uint8_t* in, Out* out) {
            run(level.kernels->samples, in, out);
        });
    }
}

constexpr LevelRow kLevelRows[] = {
    {0.0F, {1.0F, 1.0F, 1.0F}},
    {64.0F, {1.4F, 1.0F, 1.73F}},
    {1023.5F, {0.0622F, 0.25F, 0.311F}},
    {0.3F, {16.0F, 64.0F, 0.0039F}, 4095.0F},
    {60000.0F, {4.0e9F, 1.0e7F, 65535.0F}},  // beyond what dwords hold
};

TEST(Samples, LevelsOfEverySample) {
    std::vector<std::uint16_t> all(65536 + 32768);  // with both parities and all of three channels
    for (std::size_t i = 0; i < all.size(); ++i) all[i] = static_cast<std::uint16_t>(i * 7 / 3);
    for (const LevelRow& row : kLevelRows)
        for (const int period : {1, 2, 3})
            for (const Level& level : levels_here()) {
                std::vector<std::uint16_t> words(all.size()), expected16(all.size());
                const SampleKernels& plain = levels().front().kernels->samples;
                plain.levels_to16(all.data(), expected16.data(), all.size(), row, period);
                level.kernels->samples.levels_to16(all.data(), words.data(), all.size(), row,
                                                   period);
                ASSERT_EQ(words, expected16) << level.name << " period " << period;
            }
}

TEST(Layouts, FixedLevelsAreNearlyExact) {
    for (const int depth : {8, 10, 12, 14, 16})
        for (const double black : {0.0, 0.013, 0.25})
            for (const double range : {0.0, 0.02, 0.25, 0.75, 1.0})
                for (const double gain : {0.5, 1.0, 1.7, 4.0, 16.0, 64.0}) {
                    // At least one step of samples, and beside it a channel of gain 1.
                    const double full = (1 << depth) - 1, steps = std::max(1.0, full * range);
                    const double scales[] = {255 / steps * gain, 255 / steps};
                    const auto levels = fixed_levels(
                        {static_cast<float>(black * full),
                         {static_cast<float>(scales[0]), static_cast<float>(scales[1]), 0}},
                        depth);
                    for (const std::size_t channel : {0, 1})
                        for (unsigned sample = 0; sample <= full; ++sample) {
                            const double scale = scales[channel], above = sample - black * full;
                            const double exact = std::clamp(above * scale, 0.0, 255.0);
                            const double rough = 0.03 + scale / (2 << (16 - depth)) +
                                                 std::ldexp(1.0, -levels.down) +
                                                 (channel == 1 ? gain / 256 : 0);
                            ASSERT_NEAR(level8_plain(sample, levels, channel), exact, 0.5 + rough)
                                << depth << " bits, black " << black << " range " << range
                                << " gain " << gain << " channel " << channel << " sample "
                                << sample;
                        }
                }
}

TEST(Samples, LevelsAreWhatTheyAreSaidToBe) {
    const std::uint16_t samples[] = {0, 99, 100, 101, 102, 355, 356, 65535};
    const LevelRow row = {100.0F, {0.5F, 1.0F, 0.0F}};
    std::uint16_t words[8];
    levels().front().kernels->samples.levels_to16(samples, words, 8, row, 2);
    const std::vector<int> expected16 = {0, 0, 0, 1, 1, 255, 128, 65435};
    EXPECT_EQ(std::vector<int>(words, words + 8), expected16);
}

TEST(Samples, EqualPlainWithinTheirBuffers) {
    std::mt19937 random(7);
    for (const std::size_t count : counts()) {
        std::vector<std::uint16_t> words(3 * count);
        for (auto& word : words) word = static_cast<std::uint16_t>(random());
        const auto source = bytes_of(words);
        SCOPED_TRACE(count);
        for (const int period : {1, 2, 3}) {
            const LevelRow& row = kLevelRows[1];
            expect_plain<std::uint16_t>(source.first(2 * count), count,
                                        [&](auto& k, auto* in, auto* out) {
                                            k.levels_to16(words_at(in), out, count, row, period);
                                        });
        }
        for (const int depth : {1, 2, 4, 8, 10, 12, 14, 16}) {
            auto samples = words;
            samples.resize(count);
            for (auto& sample : samples) sample >>= 16 - depth;
            expect_plain<std::uint16_t>(bytes_of(samples), count,
                                        [&](auto& k, auto* in, auto* out) {
                                            k.full_scale(words_at(in), out, count, depth);
                                        });
        }
        for (const auto layout :
             {IMGCNV_LAYOUT_UYYVYY, IMGCNV_LAYOUT_UYVY, IMGCNV_LAYOUT_YUYV, IMGCNV_LAYOUT_UYV})
            expect_plain<std::uint8_t>(
                source.first(count), count,
                [&](auto& k, auto* in, auto* out) { k.full_range(in, out, count, layout); });
        for (const bool exchange : {false, true})
            expect_plain<std::uint8_t>(
                source.first(4 * count), 3 * count,
                [&](auto& k, auto* in, auto* out) { k.drop_alpha8(in, out, count, exchange); });
        // Where pixels of four bytes begin, they are streamed by whole cache lines.
        for (const bool streams : {false, true})
            for (const std::size_t before : {0, 1, 4}) {
                const auto run = [&](auto& k, auto* in, auto* out) {
                    std::fill_n(out, before, std::uint8_t{7});
                    k.opaque(in, out + before, count, streams);
                    std::fill_n(out + before + 4 * count, 4 - before, std::uint8_t{7});
                };
                expect_plain<std::uint8_t>(source.first(4 * count), 4 * count + 4, run);
            }
        expect_plain<std::uint16_t>(source, 3 * count, [&](auto& k, auto* in, auto* out) {
            k.exchange16(words_at(in), out, count);
        });
        if (HasFatalFailure()) return;
    }
}

TEST(Samples, RowsMayBeTheirOwnTarget) {
    std::mt19937 random(8);
    for (const Level& level : levels_here())
        for (const std::size_t pixels : {1, 2, 7, 16, 33, 100, 641}) {
            std::vector<std::uint16_t> source(3 * pixels), expected(3 * pixels);
            for (auto& word : source) word = static_cast<std::uint16_t>(random());
            const auto& kernels = level.kernels->samples;
            const auto check = [&](auto run) {
                auto row = source;
                run(source.data(), expected.data());
                run(row.data(), row.data());
                EXPECT_EQ(row, expected) << level.name << " " << pixels;
            };
            check([&](auto* in, auto* out) { kernels.exchange16(in, out, pixels); });
            check([&](auto* in, auto* out) { kernels.full_scale(in, out, 3 * pixels, 12); });
            check([&](auto* in, auto* out) {
                kernels.opaque(reinterpret_cast<const std::uint8_t*>(in),
                               reinterpret_cast<std::uint8_t*>(out), 3 * pixels / 2, false);
                out[3 * pixels - 1] = 0;  // of an odd number, half a pixel is left over
            });
            check([&](auto* in, auto* out) {
                kernels.levels_to16(in, out, 3 * pixels, kLevelRows[1], 3);
            });
            check([&](auto* in, auto* out) {
                kernels.full_range(reinterpret_cast<const std::uint8_t*>(in),
                                   reinterpret_cast<std::uint8_t*>(out), 6 * pixels,
                                   IMGCNV_LAYOUT_UYV);
            });
        }
}

TEST(Samples, VideoRangeIsRoundedToNearest) {
    for (int value = 0; value < 256; ++value) {
        const double y = std::clamp((value - 16) * 255.0 / 219.0, 0.0, 255.0);
        const double c = std::clamp((value - 128) * 255.0 / 224.0 + 128.0, 0.0, 255.0);
        EXPECT_LE(std::abs(full_range_luma(value) - y), 0.5) << value;
        EXPECT_LE(std::abs(full_range_chroma(value) - c), value <= 16 ? 1.0 : 0.5) << value;
    }
    EXPECT_EQ(full_range_luma(16), 0);
    EXPECT_EQ(full_range_luma(235), 255);
    EXPECT_EQ(full_range_chroma(128), 128);
    for (int value = 0; value < 256; ++value) {
        std::vector<std::uint8_t> source(200, static_cast<std::uint8_t>(value));
        expect_plain<std::uint8_t>(source, source.size(), [&](auto& k, auto* in, auto* out) {
            k.full_range(in, out, source.size(), IMGCNV_LAYOUT_UYVY);
        });
    }
}

TEST(Samples, FullScaleReachesTheEnds) {
    for (const int depth : {1, 2, 4, 8, 10, 12, 14, 16}) {
        EXPECT_EQ(full_scale_plain(0, depth), 0);
        EXPECT_EQ(full_scale_plain((1U << depth) - 1, depth), 65535) << depth;
    }
    EXPECT_EQ(full_scale_plain(0xABC, 12), 0xABCA);
}

TEST(Samples, CurvesTakeTheirChannelAndKeepAlpha) {
    std::vector<std::uint8_t> curve(768);
    for (std::size_t i = 0; i < curve.size(); ++i) curve[i] = static_cast<std::uint8_t>(i * 5 / 3);
    std::vector<std::uint8_t> pixels = {1, 2, 3, 4, 250, 251, 252, 253};
    auto rgba = pixels, rgb = pixels, grey = pixels;
    const auto& kernels = sample_kernels();
    kernels.curve(rgba.data(), 2, 4, curve.data());
    kernels.curve(rgb.data(), 2, 3, curve.data());
    kernels.curve(grey.data(), 8, 1, curve.data());
    for (std::size_t i = 0; i < 8; ++i) {
        EXPECT_EQ(rgba[i], i % 4 == 3 ? pixels[i] : curve[256 * (i % 4) + pixels[i]]);
        EXPECT_EQ(rgb[i], i >= 6 ? pixels[i] : curve[256 * (i % 3) + pixels[i]]);
        EXPECT_EQ(grey[i], curve[pixels[i]]);
    }
    std::mt19937 random(9);
    for (auto& byte : curve) byte = static_cast<std::uint8_t>(random());
    for (const std::size_t count : counts())
        for (const int channels : {1, 3, 4}) {
            std::vector<std::uint8_t> source(count * static_cast<std::size_t>(channels));
            for (auto& byte : source) byte = static_cast<std::uint8_t>(random());
            expect_plain<std::uint8_t>(source, source.size(), [&](auto& k, auto* in, auto* out) {
                std::copy_n(in, source.size(), out);
                k.curve(out, count, channels, curve.data());
            });
        }
}

}  // namespace
}  // namespace frames
