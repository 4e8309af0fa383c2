// Every instruction-set level writes what the plain one writes: all formats,
// destinations, methods, flips and rotations, on every width up to two blocks and one
// pixel more of the widest vectors.
#include "support/forced_level.h"
#include "support/frame.h"

namespace imgcnv::testing {
namespace {

#if defined(__x86_64__)
constexpr int kLargestBlock = 256;
#else
constexpr int kLargestBlock = 64;  // vectors of 16 bytes
#endif

std::vector<int> widths() {
    std::vector<int> all;
    for (int width = 1; width <= 2 * kLargestBlock + 1; ++width) all.push_back(width);
    // Around the strips that mosaics are taken in, and some beyond.
    for (int width : {1024, 2049, 2051, 3200, 3201, 3203, 8192, 8193, 8833, 8835}) {
        all.push_back(width);
    }
    return all;
}

std::vector<std::string_view> faster_levels() {
    std::vector<std::string_view> found;
    for (std::string_view level : kernel_set_names()) {
        if (level == level_names()[0]) continue;
        if (level_available(level)) {
            found.push_back(level);
        } else {
            std::printf("SKIPPED: this CPU cannot run level %s; IT WAS NOT COMPARED\n",
                        level.data());
        }
    }
    return found;
}

// Where two pictures first differ, or -1.
ptrdiff_t difference(std::span<const uint8_t> a, std::span<const uint8_t> b) {
    const auto [at, other] = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
    return at == a.end() && other == b.end() ? -1 : at - a.begin();
}

#if defined(__x86_64__)

// Whether the upper halves of vector registers are in use (XGETBV with ECX = 1).
// A function that returns so makes its caller's SSE code several times slower.
bool upper_halves_in_use() {
    uint32_t low, high;
    __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(1));
    return (low & 4) != 0;
}
void clear_upper_halves() { __asm__ volatile("vzeroupper"); }

bool cpu_tells_of_upper_halves() {
#ifndef __OPTIMIZE__
    return false;  // GCC clears them when it optimizes only
#endif
    uint32_t a = 13, b, c = 1, d;
    __asm__("cpuid" : "+a"(a), "=b"(b), "+c"(c), "=d"(d));
    if (!__builtin_cpu_supports("avx2") || (a & 4) == 0) return false;
    clear_upper_halves();
    return !upper_halves_in_use();
}

#else  // no such halves

bool upper_halves_in_use() { return false; }
void clear_upper_halves() {}
bool cpu_tells_of_upper_halves() { return false; }

#endif

class Levels : public ::testing::Test {
  protected:
    static constexpr size_t kRoom = 4 * 8840 * 8;
    const std::vector<std::string_view> levels = faster_levels();
    const std::string_view plain = level_names()[0];
    const bool upper_halves_told = cpu_tells_of_upper_halves();
    std::mt19937 random{run_seed()};
    GuardedRegion source, target;
    Bytes expected;

    explicit Levels(size_t room = kRoom) : source(room), target(room) {}

    // `run` writes `written` bytes of the target from `src`.
    template <typename Run>
    void compare(std::span<const uint8_t> bytes, size_t written, Run run) {
        const Guard guard = kGuards[random() % 2];
        const uint8_t fill = random();
        const auto src = source.place(bytes, guard);
        force_level(plain);
        auto dst = target.place(written, guard, fill);
        run(src.data(), dst.data());
        expected.assign(dst.begin(), dst.end());
        for (std::string_view level : levels) {
            force_level(level);
            dst = target.place(written, guard, fill);
            if (upper_halves_told) clear_upper_halves();
            run(src.data(), dst.data());
            ASSERT_FALSE(upper_halves_told && upper_halves_in_use()) << "level " << level;
            ASSERT_EQ(difference(dst, expected), -1)
                << "first different byte of level " << level << ", guard "
                << static_cast<int>(guard) << ", seed " << run_seed();
            ASSERT_TRUE(target.intact()) << "level " << level << " wrote outside";
        }
    }
};

TEST_F(Levels, ConvertLikePlain) {
    for (const SourceFormat& s : kSources) {
        for (int width : widths()) {
            const int height = 1 + random() % 7, padding = random() % 2 ? random() % 9 : 0;
            const Frame frame = random_frame(s, width, height, padding, random);
            for (PixelFormat destination : kDestinations) {
                for (Demosaic method : kMethods) {
                    if (!is_bayer(s) && method != IMGCNV_DEMOSAIC_BILINEAR) continue;
                    SCOPED_TRACE(::testing::Message()
                                 << s.name << " " << width << "x" << height << " padding "
                                 << padding << " to " << std::hex << destination << " method "
                                 << method);
                    const size_t read = bytes_read(s, frame.record, destination);
                    compare(std::span(frame.bytes).first(read),
                            bytes_written(s, frame.record, destination),
                            [&](const uint8_t* src, uint8_t* dst) {
                                ASSERT_EQ(convert(frame.record, destination, method, src, dst), 0);
                            });
                    if (HasFatalFailure()) return;
                }
            }
        }
    }
}

// Grey of flat areas is remembered; their ends fall anywhere in a vector.
TEST_F(Levels, ConvertFlatMosaicsLikePlain) {
    for (const SourceFormat& s : kSources) {
        if (!is_bayer(s) || row_bytes(s, 2) != 2) continue;
        for (int repeat = 0; repeat < 100; ++repeat) {
            const int width = 1 + random() % 600, height = 2 + random() % 6;
            Frame frame = random_frame(s, width, height, 0, random);
            uint8_t cell[4] = {140, 222, 222, 209};  // a colour whose luma is computed twice
            for (int y = 0; y < height; ++y) {
                for (int x = 0; x < width; ++x) {
                    const uint32_t r = random() % 400;
                    if (r < 4) cell[r] = random();
                    if (r == 4) std::fill_n(cell, 4, static_cast<uint8_t>(random()));
                    frame.bytes[y * width + x] = cell[y % 2 * 2 + x % 2];
                }
            }
            for (Demosaic method : kMethods) {
                SCOPED_TRACE(::testing::Message()
                             << s.name << " " << width << "x" << height << " method " << method);
                const size_t read = bytes_read(s, frame.record, IMGCNV_PIXEL_MONO8);
                compare(std::span(frame.bytes).first(read),
                        bytes_written(s, frame.record, IMGCNV_PIXEL_MONO8),
                        [&](const uint8_t* src, uint8_t* dst) {
                            ASSERT_EQ(convert(frame.record, IMGCNV_PIXEL_MONO8, method, src, dst),
                                      0);
                        });
                if (HasFatalFailure()) return;
            }
        }
    }
}

// Frames that no cache holds. There are too many pixels for all combinations; each
// source gets others with each seed.
class LevelsLarge : public Levels {
  protected:
    static constexpr int kBytes = 36 << 20;  // of source and destination together
    LevelsLarge() : Levels(kBytes) {}
};

TEST_F(LevelsLarge, ConvertLikePlain) {
    for (const SourceFormat& s : kSources) {
        if (s.code == IMGCNV_PIXEL_MONO1C) continue;  // no raster, no kernel
        const PixelFormat destination = kDestinations[random() % std::size(kDestinations)];
        const int method = is_bayer(s) ? static_cast<int>(random() % 3) : 1;
        const int width = 1500 + static_cast<int>(random() % 5000), padding = random() % 3;
        const int row = row_bytes(s, width) + padding + width * bytes_per_pixel(destination);
        const int height = (kBytes - (2 << 20)) / row;
        SCOPED_TRACE(::testing::Message()
                     << s.name << " " << width << "x" << height << " padding " << padding << " to "
                     << std::hex << destination << " method " << method);
        const Frame frame = random_frame(s, width, height, padding, random);
        compare(std::span(frame.bytes).first(bytes_read(s, frame.record, destination)),
                bytes_written(s, frame.record, destination), [&](const uint8_t* src, uint8_t* dst) {
                    ASSERT_EQ(convert(frame.record, destination, method, src, dst), 0);
                });
        if (HasFatalFailure()) return;
    }
}

TEST_F(LevelsLarge, FlipAndRotateLikePlain) {
    for (auto orient : {IMGCNV_FlipToHorizontal, IMGCNV_FlipToVertical, IMGCNV_RotationToAngle90,
                        IMGCNV_RotationToAngle180, IMGCNV_RotationToAngle270}) {
        // Rows a power of two apart are rotated in another way.
        const int k = random() % 2 ? 1 : 3;
        const int width = random() % 2 ? 1500 + static_cast<int>(random() % 5000) : 2048;
        const int height = (kBytes - (1 << 20)) / 2 / (width * k), size = width * height * k;
        const Record record{width, height, 0,
                            0,     size,   k == 1 ? IMGCNV_PIXEL_MONO8 : IMGCNV_PIXEL_RGB8_PACKED};
        SCOPED_TRACE(::testing::Message() << width << "x" << height << "x" << k);
        compare(random_bytes(size, random), size, [&](uint8_t* src, uint8_t* dst) {
            Record copy = record;
            int reported = 0;
            ASSERT_EQ(orient(src, &copy, dst, &reported), IMGCNV_SUCCESS);
        });
        if (HasFatalFailure()) return;
    }
}

TEST_F(Levels, FlipAndRotateLikePlain) {
    const auto functions = {IMGCNV_FlipToHorizontal, IMGCNV_FlipToVertical,
                            IMGCNV_RotationToAngle90, IMGCNV_RotationToAngle180,
                            IMGCNV_RotationToAngle270};
    for (int width : widths()) {
        // High pictures are rotated in bands of rows, those of a power of two from a copy.
        for (int height : {1 + static_cast<int>(random() % 12), 16, 13, 1024, 1100}) {
            if (height >= 1024 && random() % 6 != 0) continue;
            for (auto orient : functions) {
                for (int swap = 0; swap < 2; ++swap) {
                    const int k = random() % 2 ? 1 : 3, size = width * height * k;
                    if (static_cast<size_t>(size) > kRoom) continue;
                    const PixelFormat format =
                        k == 1 ? IMGCNV_PIXEL_MONO8 : IMGCNV_PIXEL_BGR8_PACKED;
                    const Record record = swap ? Record{height, width, 0, 0, size, format}
                                               : Record{width, height, 0, 0, size, format};
                    SCOPED_TRACE(::testing::Message()
                                 << record.width << "x" << record.height << "x" << k);
                    const Bytes picture = random_bytes(size, random);
                    compare(picture, size, [&](uint8_t* src, uint8_t* dst) {
                        Record copy = record;
                        int reported = 0;
                        ASSERT_EQ(orient(src, &copy, dst, &reported), IMGCNV_SUCCESS);
                    });
                    if (HasFatalFailure()) return;
                }
            }
        }
    }
}

// The runs of ctest name the levels; a level added to the library must be added
// there.
TEST_F(Levels, AreAllRunByCtest) {
    std::string names;
    for (std::string_view level : level_names()) names += std::string(level) + " ";
    EXPECT_EQ(names, std::string(IMGCNV_LEVELS_OF_CTEST) + " ");
}

}  // namespace
}  // namespace imgcnv::testing
