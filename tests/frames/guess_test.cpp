// Guessing through the C interface: what it must refuse, what it must keep, how much it may read.
// How often it is right is measured by tests/guess/measure.py over dumps of all layouts.
#include "imgcnv_frames.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kMono1p = 0x01010037, kMono8 = 0x01080001, kMono12 = 0x01100005,
                        kRgb8 = 0x02180014;

struct Result {
    int status = 0;
    std::vector<imgcnv_reading> readings;
    std::string text;
};

imgcnv_guess_question question_of(const Bytes& data) {
    imgcnv_guess_question question{};
    question.struct_size = sizeof question;
    question.data = data.data();
    question.bytes = static_cast<std::int64_t>(data.size());
    question.known = IMGCNV_FRAME_INIT;
    question.known.skip = question.known.gap = -1;
    return question;
}

Result ask(const imgcnv_guess_question& question) {
    Result result;
    result.readings.resize(6);
    for (auto& reading : result.readings) reading.struct_size = sizeof reading;
    char text[IMGCNV_TEXT_BYTES];
    int count = -1;
    result.status =
        imgcnv_guess(&question, result.readings.data(), static_cast<int>(result.readings.size()),
                     &count, text, sizeof text);
    result.text = text;
    result.readings.resize(static_cast<std::size_t>(std::max(count, 0)));
    return result;
}

std::uint32_t hash(std::int64_t x, std::int64_t y) {
    return (static_cast<std::uint32_t>(x * 73856093 ^ y * 19349663) * 2654435761U) >> 16;
}

/// A scene of soft shapes and the noise of a sensor, 0 to 1, repeatable at any place.
double scene(std::int64_t x, std::int64_t y) {
    const auto u = static_cast<double>(x), v = static_cast<double>(y);
    const double noise = (hash(x, y) & 255) / 255.0 - 0.5;
    return 0.5 + 0.2 * std::sin(u / 37) * std::cos(v / 23) + 0.2 * std::sin((u + 2 * v) / 91) +
           0.02 * noise;
}

Bytes mono8(std::int64_t width, std::int64_t height, std::int64_t stride = 0) {
    Bytes data;
    for (std::int64_t y = 0; y < height; ++y) {
        for (std::int64_t x = 0; x < width; ++x)
            data.push_back(static_cast<std::uint8_t>(255 * scene(x, y)));
        for (std::int64_t x = width; x < stride; ++x) data.push_back(0);
    }
    return data;
}

Bytes noise(std::size_t count) {
    Bytes data(count);
    std::mt19937 random(5);
    for (auto& byte : data) byte = static_cast<std::uint8_t>(random());
    return data;
}

TEST(Guess, FindsAFrameBehindAHeader) {
    auto data = mono8(640, 480, 704);
    data.insert(data.begin(), 512, 0);
    const auto result = ask(question_of(data));
    ASSERT_EQ(result.status, IMGCNV_OK) << result.text;
    ASSERT_FALSE(result.readings.empty());
    const auto& frame = result.readings[0].frame;
    EXPECT_EQ(frame.format, kMono8);
    EXPECT_EQ(frame.width, 640);
    EXPECT_EQ(frame.height, 480);
    EXPECT_EQ(frame.stride, 704);
    EXPECT_EQ(frame.skip, 512);
    EXPECT_EQ(result.readings[0].frames, 1);
    EXPECT_EQ(result.readings[0].score, 1);
}

TEST(Guess, KeepsWhatIsKnown) {
    struct Known {
        std::uint32_t format;
        std::int64_t width, height, stride;
    };
    const auto data = mono8(640, 480);
    for (const auto& known :
         {Known{kMono8, 0, 0, 0}, Known{kMono12, 0, 0, 0}, Known{kMono1p, 0, 0, 0},
          Known{kRgb8, 320, 0, 0}, Known{0, 0, 240, 0}, Known{0, 640, 0, 0}, Known{0, 8, 8, 0},
          Known{0, 1, 1, 0}, Known{0, 0, 0, 640}}) {
        auto question = question_of(data);
        question.known.format = known.format;
        question.known.width = known.width;
        question.known.height = known.height;
        question.known.stride = known.stride;
        question.known.skip = 0;
        const auto result = ask(question);
        EXPECT_FALSE(result.readings.empty()) << known.format << ' ' << known.width;
        for (const auto& reading : result.readings) {
            const auto& frame = reading.frame;
            if (known.format != 0) {
                EXPECT_EQ(frame.format, known.format);
            }
            if (known.width != 0) {
                EXPECT_EQ(frame.width, known.width);
            }
            if (known.height != 0) {
                EXPECT_EQ(frame.height, known.height);
            }
            EXPECT_EQ(frame.skip, 0);
            if (known.stride != 0) {
                const auto tight = imgcnv_row_bytes(frame.format, frame.width);
                EXPECT_EQ(frame.stride == 0 ? tight : frame.stride, known.stride);
            }
        }
    }
}

// White paper with lines of print: bytes that most layouts explain well, none of which fits.
TEST(Guess, AFrameOfTheGivenSizeThatFillsTheFileIsAmongTheAnswers) {
    constexpr std::int64_t kWidth = 808, kHeight = 608;
    Bytes data(kWidth / 8 * kHeight, 0xFF);
    for (std::size_t i = 0; i < data.size(); ++i)
        if (i / (kWidth / 8) % 14 < 9 && scene(static_cast<std::int64_t>(i), 0) < 0.45)
            data[i] = static_cast<std::uint8_t>(i * 37);
    auto question = question_of(data);
    question.known.width = kWidth;
    question.known.height = kHeight;
    const auto result = ask(question);
    ASSERT_FALSE(result.readings.empty()) << result.text;
    EXPECT_EQ(result.readings[0].frame.format, kMono1p);
}

TEST(Guess, SeveralFramesOfTheGivenSizeThatFillTheFileAreAmongTheAnswers) {
    const auto data = noise(3 * 1280 * 1024 / 8);
    auto question = question_of(data);
    question.known.width = 1280;
    question.known.height = 1024;
    const auto result = ask(question);
    EXPECT_TRUE(std::any_of(result.readings.begin(), result.readings.end(), [](const auto& r) {
        return r.frame.format == kMono1p && r.frame.stride == 0 && r.frames == 3;
    })) << result.text;
}

// The picture hardly jumps where a frame ends: what tells is that the next one shows the same.
TEST(Guess, FramesOfOneSceneAreNotOneHighPicture) {
    struct Recording {
        std::int64_t width, height, frames;
    };
    for (const auto& [width, height, frames] : {Recording{500, 350, 3}, Recording{150, 110, 100}}) {
        Bytes data;
        for (std::int64_t i = 0; i < width * height * frames; ++i) {
            const auto x = i % width, y = i / width % height;
            const auto light = 240.0 + static_cast<double>(i / (width * height) % 5);
            data.push_back(static_cast<std::uint8_t>(light * scene(x, std::abs(height / 2 - y))));
        }
        const auto result = ask(question_of(data));
        ASSERT_FALSE(result.readings.empty()) << result.text;
        EXPECT_EQ(result.readings[0].frame.width, width);
        EXPECT_EQ(result.readings[0].frame.height, height);
        EXPECT_EQ(result.readings[0].frames, frames);
    }
}

TEST(Guess, GreyInThreeChannelsIsNoWideGreyPicture) {
    Bytes data;
    for (const auto grey : mono8(640, 480)) data.insert(data.end(), 3, grey);
    const auto result = ask(question_of(data));
    ASSERT_FALSE(result.readings.empty()) << result.text;
    EXPECT_EQ(result.readings[0].frame.format, kRgb8);
    EXPECT_EQ(result.readings[0].frame.width, 640);
}

/// Text, zeros and numbers, as headers have them.
Bytes metadata(std::size_t count) {
    Bytes bytes(count);
    const std::string text = "FRAME  id=17 exposure=4500 gain=3";
    for (std::size_t i = 0; i < count; ++i)
        bytes[i] = i < text.size() ? static_cast<std::uint8_t>(text[i])
                   : i % 24 < 3    ? static_cast<std::uint8_t>(i * 77)
                                   : 0;
    return bytes;
}

Bytes joined(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

/// Samples of up to 16 bits in words, `brightest` where the scene is white.
Bytes words(std::int64_t width, std::int64_t height, double brightest) {
    Bytes data;
    for (std::int64_t i = 0; i < width * height; ++i) {
        const auto sample = static_cast<unsigned>(brightest * scene(i % width, i / width) / 0.92);
        data.push_back(static_cast<std::uint8_t>(sample));
        data.push_back(static_cast<std::uint8_t>(sample >> 8));
    }
    return data;
}

/// Samples of 4 bits, two in a byte.
Bytes mono4p(std::int64_t width, std::int64_t height) {
    Bytes data;
    for (std::int64_t i = 0; i < width * height; i += 2) {
        const auto sample = [&](std::int64_t at) {
            return static_cast<unsigned>(16 * scene(at % width, at / width));
        };
        data.push_back(static_cast<std::uint8_t>(sample(i) | sample(i + 1) << 4));
    }
    return data;
}

TEST(Guess, EvidenceBeatsHabit) {
    struct File {
        const char* rule;
        Bytes data;
        std::int64_t width, height, stride, skip;
        int depth;
        bool is_size_given;
    };
    const File files[] = {
        {"a header of odd length is seen", joined(metadata(3614), mono8(600, 402)), 600, 402, 0,
         3614, 8, true},
        {"zeros behind the frame are no header", joined(mono8(600, 402), metadata(512)), 600, 402,
         0, 0, 8, true},
        {"zeros that end all rows sharply are padding", mono8(1001, 701, 1004), 1001, 701, 1004, 0,
         8, false},
        {"three bits that are not used: a dark frame", words(600, 402, 7000), 600, 402, 0, 0, 16,
         true},
        {"samples near the largest one", words(600, 402, 4000), 600, 402, 0, 0, 12, true},
        {"five unused bits would leave nothing to see", words(600, 402, 120), 600, 402, 0, 0, 10,
         true},
        {"halves of samples are no samples", mono4p(800, 601), 800, 601, 0, 0, 4, false},
        {"noise of a known size with a trailer", joined(noise(808 * 608), metadata(48)), 808, 608,
         0, 0, 8, false},
    };
    for (const auto& file : files) {
        auto question = question_of(file.data);
        if (file.is_size_given) {
            question.known.width = file.width;
            question.known.height = file.height;
        }
        const auto result = ask(question);
        ASSERT_FALSE(result.readings.empty()) << file.rule << ": " << result.text;
        const auto& frame = result.readings[0].frame;
        imgcnv_format_info info{};
        info.struct_size = sizeof info;
        ASSERT_EQ(imgcnv_format_of_code(frame.format, &info), IMGCNV_OK);
        EXPECT_EQ(info.depth, file.depth) << file.rule;
        EXPECT_EQ(frame.width, file.width) << file.rule;
        EXPECT_EQ(frame.height, file.height) << file.rule;
        EXPECT_EQ(frame.stride, file.stride) << file.rule;
        EXPECT_EQ(frame.skip, file.skip) << file.rule;
    }
}

/// A file of the bytes that `row(frame, y)` gives, with `gap` bytes of metadata behind each frame.
template <class Row>
Bytes recording(std::int64_t frames, std::int64_t height, std::size_t gap, Row row) {
    Bytes data;
    for (std::int64_t frame = 0; frame < frames; ++frame) {
        for (std::int64_t y = 0; y < height; ++y) data = joined(std::move(data), row(frame, y));
        data = joined(std::move(data), metadata(gap));
    }
    return data;
}

/// Samples of 12 bits as a stream of bits.
Bytes stream12(const std::vector<unsigned>& samples) {
    Bytes bytes;
    for (std::size_t x = 0; x + 1 < samples.size(); x += 2)
        for (const auto byte :
             {samples[x], samples[x] >> 8 | samples[x + 1] << 4, samples[x + 1] >> 4})
            bytes.push_back(static_cast<std::uint8_t>(byte));
    return bytes;
}

/// Samples of 12 bits in GigE Vision's packing; a row of odd width ends within a group.
Bytes packed12(const std::vector<unsigned>& samples) {
    Bytes bytes;
    for (std::size_t x = 0; x < samples.size(); x += 2) {
        const auto next = x + 1 < samples.size() ? samples[x + 1] : 0;
        for (const auto byte : {samples[x] >> 4, (samples[x] & 15) | next << 4, next >> 4})
            bytes.push_back(static_cast<std::uint8_t>(byte));
    }
    bytes.resize((samples.size() * 12 + 7) / 8);
    return bytes;
}

TEST(Guess, TellsLayoutsOfTheGivenSize) {
    struct File {
        const char* rule;
        const char* format;
        std::int64_t width, height, frames, gap;
        Bytes data;
    };
    const auto light = [](std::int64_t x, std::int64_t y) { return 255 * scene(x, y); };
    const auto byte = [](double value) {
        return static_cast<std::uint8_t>(std::clamp(value, 0.0, 255.0));
    };
    std::mt19937 random(3);
    std::normal_distribution<double> noise(0, 1);
    const File files[] = {
        {"all samples of a flat grey frame are one number", "Mono12p", 640, 480, 1, 0,
         recording(1, 480, 0,
                   [](auto, auto) { return stream12(std::vector<unsigned>(640, 0x9A5)); })},
        {"both greens of a flat mosaic are one number", "BayerRG12p", 640, 480, 1, 0,
         recording(1, 480, 0,
                   [](auto, auto y) {
                       std::vector<unsigned> row;
                       for (int x = 0; x < 640; ++x)
                           row.push_back((x + y) % 2 != 0 ? 0xC31 : y % 2 != 0 ? 0x612 : 0x9A5);
                       return stream12(row);
                   })},
        {"a mosaic of hardly any colour, in frames of odd height", "BayerRG8", 700, 433, 4, 0,
         recording(4, 433, 0,
                   [&](auto, auto y) {
                       Bytes row;
                       for (int x = 0; x < 700; ++x) {
                           const double colour = (x + y) % 2 != 0 ? 0 : y % 2 != 0 ? -0.5 : 0.5;
                           row.push_back(byte(20 + colour + 3 * noise(random)));
                       }
                       return row;
                   })},
        {"chroma that is 128 throughout", "YUV422_YUYV_Packed", 640, 480, 1, 0,
         joined(metadata(3805),
                recording(1, 480, 0,
                          [&](auto, auto y) {
                              Bytes row;
                              for (int x = 0; x < 640; ++x)
                                  row.insert(row.end(), {byte(light(x, y) / 12), 128});
                              return row;
                          }))},
        {"a low byte of zeros is the high one of the other byte order", "Mono12", 640, 480, 1, 0,
         recording(1, 480, 0,
                   [&](auto, auto y) {
                       Bytes row;
                       for (int x = 0; x < 640; ++x) row.insert(row.end(), {0, byte(light(x, y))});
                       return row;
                   })},
        {"a mosaic as luma and chroma would be no colours", "BayerGR8", 640, 480, 4, 0,
         recording(4, 480, 0,
                   [&](auto, auto y) {
                       Bytes row;
                       for (int x = 0; x < 640; ++x) {
                           // Letters of upright strokes on paper.
                           const bool is_ink = y % 14 < 9 && hash(x, y / 2) % 10 < 3;
                           const double colour = (x + y) % 2 == 0 ? 1 : y % 2 != 0 ? 0.5 : 0.65;
                           row.push_back(byte((is_ink ? 30 : 230) * colour + 4 * noise(random)));
                       }
                       return row;
                   })},
        {"metadata between black frames", "Mono1p", 656, 492, 3, 64,
         recording(3, 492, 64, [](auto, auto) { return Bytes(82); })},
        {"brightness changes from frame to frame only", "Mono8", 500, 500, 3, 0,
         recording(3, 500, 0,
                   [&](auto frame, auto) {
                       Bytes row;
                       for (int x = 0; x < 500; ++x)
                           row.push_back(
                               byte(120.5 - 2 * static_cast<double>(frame) + 1.8 * noise(random)));
                       return row;
                   })},
        {"bits that are used, in rows that begin groups anywhere", "Mono12Packed", 451, 300, 1, 0,
         recording(1, 300, 0,
                   [&](auto, auto y) {
                       std::vector<unsigned> row;
                       for (int x = 0; x < 451; ++x)
                           row.push_back(static_cast<unsigned>(16 * light(x, y)));
                       return packed12(row);
                   })},
    };
    for (const auto& file : files) {
        auto question = question_of(file.data);
        question.known.width = file.width;
        question.known.height = file.height;
        const auto result = ask(question);
        ASSERT_FALSE(result.readings.empty()) << file.rule << ": " << result.text;
        const auto& reading = result.readings[0];
        imgcnv_format_info info{};
        info.struct_size = sizeof info;
        ASSERT_EQ(imgcnv_format_of_code(reading.frame.format, &info), IMGCNV_OK);
        EXPECT_STREQ(info.name, file.format) << file.rule;
        EXPECT_EQ(reading.frames, file.frames) << file.rule;
        EXPECT_EQ(reading.frame.gap, file.gap) << file.rule;
    }
}

// Exchanging red and blue gives the same numbers, so that it is no other way to read the bytes.
TEST(Guess, OtherReadingsComeBeforeTheExchangeOfRedAndBlue) {
    Bytes data;
    for (std::int64_t i = 0; i < 640 * 480; ++i) {
        const auto x = i % 640, y = i / 640;
        const double colour = (x + y) % 2 != 0 ? 1 : y % 2 != 0 ? 0.5 : 0.7;
        data.push_back(static_cast<std::uint8_t>(255 * colour * scene(x, y)));
    }
    const auto result = ask(question_of(data));
    const auto order_of = [](const imgcnv_reading& reading) {
        imgcnv_format_info info{};
        info.struct_size = sizeof info;
        EXPECT_EQ(imgcnv_format_of_code(reading.frame.format, &info), IMGCNV_OK);
        return info.order;
    };
    ASSERT_GE(result.readings.size(), 2U) << result.text;
    EXPECT_EQ(order_of(result.readings[0]), IMGCNV_ORDER_RG);
    bool is_exchanged = false;
    for (const auto& reading : result.readings) {
        EXPECT_FALSE(is_exchanged && order_of(reading) == IMGCNV_ORDER_RG && reading.score > 0.02);
        is_exchanged |= order_of(reading) == IMGCNV_ORDER_BG && reading.frame.width == 640;
    }
    EXPECT_TRUE(is_exchanged);
}

// Every reading must be a frame that the engine takes and that lies within the file, of no odd
// proportions.
TEST(Guess, ReadingsAreFramesOfTheFile) {
    const Bytes files[] = {mono8(333, 257), mono8(2000, 30), noise(307200), Bytes(307200, 7),
                           mono8(17, 900)};
    for (const auto& data : files) {
        for (const auto& reading : ask(question_of(data)).readings) {
            imgcnv_frame_sizes sizes{};
            sizes.struct_size = sizeof sizes;
            char text[IMGCNV_TEXT_BYTES];
            ASSERT_EQ(imgcnv_frame_measure(&reading.frame, &sizes, text, sizeof text), IMGCNV_OK)
                << text;
            EXPECT_GE(reading.frame.width, 16);
            EXPECT_GE(reading.frame.height, 16);
            EXPECT_LE(reading.frame.stride, 10 * sizes.row_bytes);
            EXPECT_GE(reading.frames, 1);
            EXPECT_LE(reading.frame.skip +
                          (reading.frames - 1) * (sizes.frame_bytes + reading.frame.gap) +
                          sizes.needed_bytes,
                      static_cast<std::int64_t>(data.size()));
            EXPECT_GT(reading.score, 0);
            EXPECT_LE(reading.score, 1);
        }
    }
}

TEST(Guess, SaysWhatIsNotRaw) {
    struct File {
        const char* bytes;
        std::size_t count;
        const char* name;
    };
    const File files[] = {{"\x89PNG\r\n\x1a\n", 8, "PNG"},
                          {"II*\0", 4, "TIFF"},
                          {"MM\0*", 4, "TIFF"},
                          {"\xFF\xD8\xFF\xE0", 4, "JPEG"},
                          {"\x93NUMPY\x01", 7, "NumPy"},
                          {"PK\x03\x04", 4, "ZIP"},
                          {"\x1F\x8B\x08", 3, "gzip"},
                          {"P5 640 480 255\n", 15, "PGM"},
                          {"SIMPLE  =      ", 15, "FITS"},
                          {"\x89HDF\r\n\x1a\n", 8, "HDF5"},
                          {"BM\x36\x10\x0E\0\0\0\0\0\x36\0\0\0\x28\0\0\0\0", 19, "BMP"}};
    const auto picture = mono8(640, 480);
    for (const auto& file : files) {
        auto data = picture;
        std::memcpy(data.data(), file.bytes, file.count);
        const auto result = ask(question_of(data));
        EXPECT_EQ(result.status, IMGCNV_BAD_DATA) << file.name;
        EXPECT_NE(result.text.find(file.name), std::string::npos) << result.text;
    }
    // Letters alone prove nothing.
    auto data = picture;
    data[0] = 'P', data[1] = '5';
    EXPECT_EQ(ask(question_of(data)).status, IMGCNV_OK);
}

TEST(Guess, SaysThatNothingIsFound) {
    EXPECT_NE(ask(question_of(Bytes(10, 3))).text.find("too short"), std::string::npos);
    EXPECT_EQ(ask(question_of(Bytes{})).status, IMGCNV_BAD_ARGUMENT);
    const auto random = ask(question_of(noise(90001)));
    EXPECT_EQ(random.status, IMGCNV_BAD_DATA);
    EXPECT_NE(random.text.find("better than chance"), std::string::npos) << random.text;
    EXPECT_NE(ask(question_of(Bytes(90001, 3))).text.find("all bytes are the same"),
              std::string::npos);
    // A length that a usual size has is still worth an answer, which says what it rests on.
    const auto usual = ask(question_of(noise(640 * 480)));
    EXPECT_EQ(usual.status, IMGCNV_OK);
    EXPECT_NE(usual.text.find("only the length"), std::string::npos) << usual.text;
    auto too_large = question_of(mono8(64, 64));
    too_large.known.width = too_large.known.height = 900;
    EXPECT_EQ(ask(too_large).status, IMGCNV_BAD_DATA);
}

TEST(Guess, PaddingTellsTheRowsOfNoise) {
    constexpr std::size_t kWidth = 1280, kHeight = 720, kStride = 1284;
    auto data = noise(kStride * kHeight);
    for (const auto& reading : ask(question_of(data)).readings)
        EXPECT_EQ(reading.frame.stride, 0) << "no byte of this noise is padding";
    for (std::size_t y = 0; y < kHeight; ++y)
        std::fill_n(data.begin() + static_cast<std::ptrdiff_t>(y * kStride + kWidth),
                    kStride - kWidth, std::uint8_t{0});
    const auto result = ask(question_of(data));
    ASSERT_FALSE(result.readings.empty()) << result.text;
    EXPECT_EQ(result.readings[0].frame.format, kMono8);
    EXPECT_EQ(result.readings[0].frame.width, 1280);
    EXPECT_EQ(result.readings[0].frame.stride, 1284);
}

TEST(Guess, KnowsPoints) {
    Bytes data;
    for (int row = 1; row <= 40; ++row)
        for (int column = row; column < 300; column += 37) {
            const int place = row << 12 | column;
            for (const int byte : {200, place >> 16, place >> 8, place})
                data.push_back(static_cast<std::uint8_t>(byte));
        }
    data.insert(data.end(), 4, 0);
    const auto result = ask(question_of(data));
    ASSERT_EQ(result.readings.size(), 1U) << result.text;
    imgcnv_format_info info{};
    info.struct_size = sizeof info;
    ASSERT_EQ(imgcnv_format_of_code(result.readings[0].frame.format, &info), IMGCNV_OK);
    EXPECT_EQ(info.layout, IMGCNV_LAYOUT_POINTS);
    EXPECT_EQ(result.readings[0].frame.height, 40);
}

/// Frames of 1280x1024 without end: no memory holds them.
struct LongFile {
    std::int64_t read = 0;
    std::int64_t width = 1280;
    std::int64_t hole = INT64_MAX;  ///< from here on all bytes are 0
    bool fails = false;

    static std::int64_t take(void* context, std::int64_t offset, void* buffer, std::int64_t bytes) {
        auto& file = *static_cast<LongFile*>(context);
        if (file.fails) return -1;
        file.read += bytes;
        auto* out = static_cast<std::uint8_t*>(buffer);
        for (std::int64_t i = 0; i < bytes; ++i) {
            const auto at = (offset + i) % (file.width * 1024);
            out[i] = offset + i < file.hole
                         ? static_cast<std::uint8_t>(255 * scene(at % file.width, at / file.width))
                         : 0;
        }
        return bytes;
    }
};

TEST(Guess, ReadsLittleOfALongFile) {
    LongFile file;
    imgcnv_guess_question question = question_of({});
    question.data = nullptr;
    question.read = LongFile::take;
    question.context = &file;
    question.bytes = std::int64_t{1280} * 1024 * 4600;
    const auto result = ask(question);
    ASSERT_FALSE(result.readings.empty()) << result.text;
    EXPECT_EQ(result.readings[0].frame.width, 1280);
    EXPECT_EQ(result.readings[0].frame.height, 1024);
    EXPECT_EQ(result.readings[0].frames, 4600);
    EXPECT_LT(file.read, 64 << 20);
    // One frame of all the rows would have more pixels than a frame may have.
    file.width = 2048;
    file.hole = 100 * file.width;
    question.bytes = std::int64_t{6} << 30;
    imgcnv_frame_sizes sizes{};
    sizes.struct_size = sizeof sizes;
    const auto mostly_hole = ask(question);
    EXPECT_FALSE(mostly_hole.readings.empty()) << mostly_hole.text;
    for (const auto& reading : mostly_hole.readings)
        EXPECT_EQ(imgcnv_frame_measure(&reading.frame, &sizes, nullptr, 0), IMGCNV_OK)
            << reading.frame.width << "x" << reading.frame.height;
    file.fails = true;
    EXPECT_EQ(ask(question).status, IMGCNV_BAD_DATA);
}

TEST(Guess, RefusesBadArguments) {
    const auto data = mono8(64, 64);
    const auto good = question_of(data);
    imgcnv_reading reading{};
    reading.struct_size = sizeof reading;
    int count = 0;
    EXPECT_EQ(imgcnv_guess(nullptr, &reading, 1, &count, nullptr, 0), IMGCNV_BAD_ARGUMENT);
    EXPECT_EQ(imgcnv_guess(&good, nullptr, 1, &count, nullptr, 0), IMGCNV_BAD_ARGUMENT);
    EXPECT_EQ(imgcnv_guess(&good, &reading, -1, &count, nullptr, 0), IMGCNV_BAD_ARGUMENT);
    EXPECT_EQ(imgcnv_guess(&good, &reading, 1, nullptr, nullptr, 0), IMGCNV_BAD_ARGUMENT);
    auto bad = good;
    bad.bytes = -1;
    EXPECT_EQ(imgcnv_guess(&bad, &reading, 1, &count, nullptr, 0), IMGCNV_BAD_ARGUMENT);
    for (const auto member : {&imgcnv_frame::width, &imgcnv_frame::height, &imgcnv_frame::stride}) {
        bad = good;
        bad.known.*member = -5;
        EXPECT_EQ(imgcnv_guess(&bad, &reading, 1, &count, nullptr, 0), IMGCNV_BAD_ARGUMENT);
        bad.known.*member = INT64_MAX;
        EXPECT_NE(imgcnv_guess(&bad, &reading, 1, &count, nullptr, 0), IMGCNV_OK);
    }
    bad = good;
    bad.known.format = 0x12345;
    EXPECT_EQ(imgcnv_guess(&bad, &reading, 1, &count, nullptr, 0), IMGCNV_UNKNOWN_FORMAT);
}

}  // namespace
