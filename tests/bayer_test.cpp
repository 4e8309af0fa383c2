// The demosaic methods on mosaics of two and more rows.
#include <array>

#include "support/frame.h"

namespace imgcnv::testing {
namespace {

// A mosaic of 8-bit samples in each of the five layouts.
using Samples = Bytes;
Bytes as_words(const Samples& samples, int shift, std::mt19937& random) {
    Bytes bytes;
    for (uint8_t sample : samples) {
        // The bits below the sample, and those above its depth, mean nothing.
        const int low = random() & ((1 << shift) - 1), high = random() << (8 + shift);
        const int word = (sample << shift) | low | high;
        bytes.push_back(static_cast<uint8_t>(word));
        bytes.push_back(static_cast<uint8_t>(word >> 8));
    }
    return bytes;
}
Bytes as_packed(const Samples& samples, std::mt19937& random) {
    Bytes bytes;
    for (size_t i = 0; i < samples.size(); i += 2) {
        bytes.insert(bytes.end(), {samples[i], static_cast<uint8_t>(random()), samples[i + 1]});
    }
    return bytes;
}

Bytes demosaiced(PixelFormat format, const Bytes& bytes, int width, int height,
                 PixelFormat destination, int method) {
    const size_t size =
        static_cast<size_t>(width) * round_up(height, 2) * bytes_per_pixel(destination);
    return converted({width, height, 0, 0, static_cast<int>(bytes.size()), format}, bytes,
                     destination, method, size);
}

// Computed from the rules apart from this library. Of the 5x5 frame, the first
// five rows and columns are taken: an odd width, whose last column is treated as
// if it were even, and an odd height, whose picture gets a sixth row.
struct Worked {
    int order, size;
    int method;
    std::array<const char*, 6> rgb;
};
constexpr uint8_t kMosaic[6][6] = {{17, 200, 41, 90, 3, 255},  {120, 9, 250, 77, 33, 64},
                                   {5, 180, 101, 22, 240, 13}, {211, 58, 7, 149, 86, 190},
                                   {99, 30, 255, 0, 62, 171},  {14, 224, 48, 133, 205, 81}};
const Worked kWorked[] = {
    {0,
     6,
     IMGCNV_DEMOSAIC_BILINEAR,
     {"11a009 1dc809 29c82b 165a4d 035a46 03ff40", "0b7809 29bb09 47fa2b 60624d 792146 792140",
      "057821 35b421 657249 aa1671 f02678 f00d7f", "34d33a 736b3a b20767 a41c95 9756a9 9756be",
      "63d38d b11e8d ff158d 9e008d 3e738a 3eab87", "630ee0 b10ee0 ff30b2 9e3085 3ecd6b 3ebc51"}},
    {1,
     6,
     IMGCNV_DEMOSAIC_BILINEAR,
     {"780dc8 b909c8 fa2991 8d4d5a 2103ac 2103ff", "7809be b909be fa397b 8d4d38 21605f 214086",
      "a505b4 932bb4 806565 5e8d16 3bf011 3bf00d", "d33a69 6d3a69 078c3a 2e950b 56a033 56be5c",
      "70631e 469f1e 1bff0f 569500 913e55 913eab", "0ee01e 1fe01e 30ff0f 7e8500 cd3e55 cd51ab"}},
    {2,
     6,
     IMGCNV_DEMOSAIC_BILINEAR,
     {"09a011 09c81d 2bc829 4d5a16 465a03 40ff03", "09780b 09bb29 2bfa47 4d6260 462179 402179",
      "217805 21b435 497265 7116aa 7826f0 7f0df0", "3ad334 3a6b73 6707b2 951ca4 a95697 be5697",
      "8dd363 8d1eb1 8d15ff 8d009e 8a733e 87ab3e", "e00e63 e00eb1 b230ff 85309e 6bcd3e 51bc3e"}},
    {0,
     6,
     IMGCNV_DEMOSAIC_ADAPTIVE,
     {"11a009 40c809 29aa4d 005a4d 039040 03ff40", "007809 2fa009 bffa80 99aa4d 032100 039040",
      "05c33a 5ab424 655a17 7b1621 f03146 f00dbe", "9ad33a e3c33a 800700 6d2195 f056d6 f031be",
      "6316e0 631e3e ff1860 ff0070 3ebcfc 3eab51", "630ee0 6316e0 ff3085 ff1885 3ecd51 3ebc51"}},
    {1,
     6,
     IMGCNV_DEMOSAIC_ADAPTIVE,
     {"7811c8 780dc8 fa295a fa3b5a 2103ff 2121ff", "780dc8 7809b1 fa3b83 fa4d35 21211a 2140ff",
      "9405b4 901fb4 b86588 6e6516 56f063 56d70d", "d31fb4 873a43 072000 48950c 56d779 56be0d",
      "73631e 7ea11e a9ff5c 98c200 cd3e0f cd47ab", "0ea11e 4de01e 30c200 7f8500 cd47ab cd51ab"}},
    {2,
     6,
     IMGCNV_DEMOSAIC_ADAPTIVE,
     {"09a011 09c840 4daa29 4d5a00 409003 40ff03", "097800 09a02f 80fabf 4daa99 002103 409003",
      "3ac305 24b45a 175a65 21167b 4631f0 be0df0", "3ad39a 3ac3e3 000780 95216d d656f0 be31f0",
      "e01663 3e1e63 6018ff 7000ff fcbc3e 51ab3e", "e00e63 e01663 8530ff 8518ff 51cd3e 51bc3e"}},
    {0,
     5,
     IMGCNV_DEMOSAIC_BILINEAR,
     {"11a009 1dc809 29c82b 165a4d 5a0321", "0b7809 29bb09 47fa2b 60624d 384d21",
      "057821 35b421 657249 aa1671 16f03b", "34d33a 736b3a b20767 a41c95 0b9556",
      "63d33a b11e3a ff0b67 9e0095 003e56", "63d33a b1d33a ff0767 9e0795 006956"}},
    {1,
     5,
     IMGCNV_DEMOSAIC_BILINEAR,
     {"780dc8 b909c8 fa2991 8d4d5a 4d5a03", "7809be b909be fa397b 8d4d38 4d2179",
      "a505b4 932bb4 806565 5e8d16 7116f0", "d33a69 6d3a69 078c3a 2e950b 955697",
      "d3631e 6d751e 07ff0f 2e9900 95003e", "d33a1e 6d3a1e 07ff0f 2e9500 95563e"}},
    {2,
     5,
     IMGCNV_DEMOSAIC_BILINEAR,
     {"09a011 09c81d 2bc829 4d5a16 21035a", "09780b 09bb29 2bfa47 4d6260 214d38",
      "217805 21b435 497265 7116aa 3bf016", "3ad334 3a6b73 6707b2 951ca4 56950b",
      "3ad363 3a1eb1 670bff 95009e 563e00", "3ad363 3ad3b1 6707ff 95079e 566900"}},
};

TEST(Bayer, WorkedFramesWithAllTheirBorders) {
    for (const Worked& w : kWorked) {
        Samples samples;
        for (int y = 0; y < w.size; ++y) {
            samples.insert(samples.end(), kMosaic[y], kMosaic[y] + w.size);
        }
        const BayerOrder& order = kOrders[w.order];
        const Bytes rgb =
            demosaiced(order.bytes, samples, w.size, w.size, IMGCNV_PIXEL_RGB8_PACKED, w.method);
        for (int y = 0; y < 6; ++y) {
            std::string row;
            char pixel[8];
            for (int x = 0; x < w.size; ++x) {
                const uint8_t* p = &rgb[(y * w.size + x) * 3];
                std::snprintf(pixel, sizeof pixel, "%s%02x%02x%02x", x ? " " : "", p[0], p[1],
                              p[2]);
                row += pixel;
            }
            EXPECT_EQ(row, w.rgb[y])
                << order.name << " " << w.size << " wide, method " << w.method << ", row " << y;
        }
    }
}

// Two columns and many rows, where the columns' rules fill all but the corners.
TEST(Bayer, BilinearTwoColumnsWide) {
    const Samples samples = {10, 20, 30, 41, 50, 60, 70, 83};
    const struct {
        int order;
        Bytes rows_1_and_2;
    } expected[] = {{0, {30, 30, 41, 30, 30, 41, 50, 30, 62, 50, 60, 62}},
                    {1, {30, 41, 40, 30, 41, 40, 50, 50, 60, 50, 50, 60}},
                    {2, {41, 30, 30, 41, 30, 30, 62, 30, 50, 62, 60, 50}}};
    for (const auto& e : expected) {
        const Bytes rgb = demosaiced(kOrders[e.order].bytes, samples, 2, 4,
                                     IMGCNV_PIXEL_RGB8_PACKED, IMGCNV_DEMOSAIC_BILINEAR);
        EXPECT_EQ(Bytes(rgb.begin() + 6, rgb.begin() + 18), e.rows_1_and_2)
            << kOrders[e.order].name;
    }
}

// Equal gradients take the vertical estimate; a sharp peak is clamped, as is a
// sharp dip. Site (3, 2) of a GB frame is red.
TEST(Bayer, AdaptiveGreen) {
    const struct {
        const char* name;
        int left, right, up, down, own, around;
        int green;
    } cases[] = {
        {"tie", 100, 100, 50, 50, 80, 80, 50},    {"across", 100, 102, 50, 90, 80, 80, 101},
        {"along", 50, 90, 100, 103, 80, 80, 101}, {"peak", 200, 200, 200, 200, 255, 0, 255},
        {"dip", 50, 50, 50, 50, 0, 255, 0},       {"floor", 10, 10, 10, 10, 0, 1, 9}};
    for (const auto& c : cases) {
        Samples samples(6 * 6, 128);
        const auto at = [&](int y, int x) -> uint8_t& { return samples[y * 6 + x]; };
        at(3, 1) = c.left;
        at(3, 3) = c.right;
        at(2, 2) = c.up;
        at(4, 2) = c.down;
        at(3, 2) = c.own;
        at(3, 0) = at(3, 4) = at(1, 2) = at(5, 2) = c.around;
        const Bytes rgb = demosaiced(IMGCNV_PIXEL_BAYER_GB8, samples, 6, 6,
                                     IMGCNV_PIXEL_RGB8_PACKED, IMGCNV_DEMOSAIC_ADAPTIVE);
        EXPECT_EQ(rgb[(3 * 6 + 2) * 3 + 1], c.green) << c.name;
    }
}

TEST(Bayer, FiveLayoutsOfOneMosaicGiveTheSameBytes) {
    std::mt19937 random(run_seed());
    for (const BayerOrder& order : kOrders) {
        for (int width : {2, 3, 4, 5, 6, 7, 16, 33, 64, 66, 131, 2047, 2050, 4110}) {
            const int height = 2 + random() % 6;
            const Samples samples = random_bytes(width * height, random);
            for (PixelFormat destination : kDestinations) {
                for (Demosaic method : kMethods) {
                    const Bytes expected =
                        demosaiced(order.bytes, samples, width, height, destination, method);
                    const auto same = [&](PixelFormat format, const Bytes& bytes) {
                        return demosaiced(format, bytes, width, height, destination, method) ==
                               expected;
                    };
                    SCOPED_TRACE(::testing::Message()
                                 << order.name << " " << width << "x" << height << " to "
                                 << std::hex << destination << " method " << method);
                    ASSERT_TRUE(same(order.words10, as_words(samples, 2, random)));
                    ASSERT_TRUE(same(order.words12, as_words(samples, 4, random)));
                    if (width % 2 != 0) continue;
                    ASSERT_TRUE(same(order.packed10, as_packed(samples, random)));
                    ASSERT_TRUE(same(order.packed12, as_packed(samples, random)));
                }
            }
        }
    }
}

// Grey and four bytes a pixel are the three-byte picture put differently.
TEST(Bayer, DestinationsAgree) {
    std::mt19937 random(run_seed());
    for (const BayerOrder& order : kOrders) {
        for (Demosaic method : kMethods) {
            for (int width : {2, 6, 34, 200}) {
                const int height = 2 * (1 + random() % 4);
                const Samples samples = random_bytes(width * height, random);
                const auto to = [&](PixelFormat destination) {
                    return demosaiced(order.bytes, samples, width, height, destination, method);
                };
                const Bytes rgb = to(IMGCNV_PIXEL_RGB8_PACKED), bgr = to(IMGCNV_PIXEL_BGR8_PACKED);
                const Bytes rgba = to(IMGCNV_PIXEL_RGBA8_PACKED), grey = to(IMGCNV_PIXEL_MONO8);
                const Bytes bgra = to(IMGCNV_PIXEL_BGRA8_PACKED), none = to(kNoDestination);
                for (size_t i = 0; i < grey.size(); ++i) {
                    const uint8_t r = rgb[3 * i], g = rgb[3 * i + 1], b = rgb[3 * i + 2];
                    const auto is = [](const uint8_t* p, uint8_t x, uint8_t y, uint8_t z) {
                        return p[0] == x && p[1] == y && p[2] == z;
                    };
                    ASSERT_TRUE(is(&bgr[3 * i], b, g, r) && is(&none[3 * i], b, g, r) &&
                                is(&rgba[4 * i], r, g, b) && is(&bgra[4 * i], b, g, r))
                        << order.name << " method " << method << " pixel " << i;
                    ASSERT_EQ(grey[i], static_cast<int>((r * 0.299 + g * 0.587) + b * 0.114))
                        << order.name << " method " << method << " pixel " << i;
                }
            }
        }
    }
}

// Where the weighted sum of a colour is a whole number, the double sum may fall below it: blocks
// of vectors with a few such colours, with many, and with one all over.
TEST(Bayer, GreyOfTies) {
    std::mt19937 random(run_seed());
    const auto random_tie = [&] {
        for (;;) {
            const int r = random() % 256, g = random() % 256;
            for (int b = 0; b < 256; ++b) {
                if ((299 * r + 587 * g + 114 * b) % 1000 == 0) return std::array{r, g, b};
            }
        }
    };
    for (int ties_in_100 : {2, 10, 50, 100}) {
        for (int same_columns : {2, 16, 1000}) {
            const int width = 258, height = 40;
            Samples samples = random_bytes(width * height, random);
            for (int y = 0; y < height; y += 2) {
                auto tie = random_tie();
                for (int x = 0; x < width; x += 2) {
                    if (x % same_columns == 0) tie = random_tie();
                    if (static_cast<int>(random() % 100) >= ties_in_100) continue;
                    const auto [r, g, b] = tie;
                    samples[y * width + x] = r;
                    samples[y * width + x + 1] = samples[(y + 1) * width + x] = g;
                    samples[(y + 1) * width + x + 1] = b;
                }
            }
            for (Demosaic method : kMethods) {
                const auto to = [&](PixelFormat destination) {
                    return demosaiced(IMGCNV_PIXEL_BAYER_RG8, samples, width, height, destination,
                                      method);
                };
                const Bytes rgb = to(IMGCNV_PIXEL_RGB8_PACKED), grey = to(IMGCNV_PIXEL_MONO8);
                for (size_t i = 0; i < grey.size(); ++i) {
                    const int r = rgb[3 * i], g = rgb[3 * i + 1], b = rgb[3 * i + 2];
                    ASSERT_EQ(grey[i], static_cast<int>((r * 0.299 + g * 0.587) + b * 0.114))
                        << ties_in_100 << " of 100 ties, method " << method << ", pixel " << i;
                }
            }
        }
    }
}

// RG and BG are one procedure with red and blue exchanged (GB is not).
TEST(Bayer, BilinearOfRgAndBgAgree) {
    std::mt19937 random(run_seed());
    for (int width : {2, 3, 8, 17, 66}) {
        for (int height : {2, 3, 4, 7}) {
            const Samples samples = random_bytes(width * height, random);
            EXPECT_EQ(demosaiced(IMGCNV_PIXEL_BAYER_RG8, samples, width, height,
                                 IMGCNV_PIXEL_RGB8_PACKED, IMGCNV_DEMOSAIC_BILINEAR),
                      demosaiced(IMGCNV_PIXEL_BAYER_BG8, samples, width, height,
                                 IMGCNV_PIXEL_BGR8_PACKED, IMGCNV_DEMOSAIC_BILINEAR))
                << width << "x" << height;
        }
    }
}

// The adaptive method of RG is that of GB upside down, of an even number of rows.
TEST(Bayer, AdaptiveRgIsGbUpsideDown) {
    std::mt19937 random(run_seed());
    for (int width : {2, 4, 5, 7, 34, 66}) {
        for (int height : {2, 4, 6, 10}) {
            const auto upside_down = [&](const Bytes& rows) {
                const size_t row = rows.size() / height;
                Bytes result;
                for (int y = height - 1; y >= 0; --y) {
                    result.insert(result.end(), &rows[y * row], &rows[y * row] + row);
                }
                return result;
            };
            const Samples samples = random_bytes(width * height, random);
            EXPECT_EQ(upside_down(demosaiced(IMGCNV_PIXEL_BAYER_RG8, samples, width, height,
                                             IMGCNV_PIXEL_RGB8_PACKED, IMGCNV_DEMOSAIC_ADAPTIVE)),
                      demosaiced(IMGCNV_PIXEL_BAYER_GB8, upside_down(samples), width, height,
                                 IMGCNV_PIXEL_RGB8_PACKED, IMGCNV_DEMOSAIC_ADAPTIVE))
                << width << "x" << height;
        }
    }
}

// The adaptive method replicates a colour within the cells of two rows along one edge. Of an odd
// width the last column is no part of a cell: the one before it takes the colour of its own cell.
TEST(Bayer, AdaptiveOddWidthsReplicateWithinCells) {
    constexpr int kWidth = 7, kHeight = 6, kColumn = kWidth - 2;
    const struct {
        int order, first_row, sample_row, channel;
    } cases[] = {{0, kHeight - 2, kHeight - 2, 0}, {1, 0, 1, 0}, {2, kHeight - 2, kHeight - 2, 2}};
    std::mt19937 random(run_seed());
    for (const auto& each : cases) {
        const Samples samples = random_bytes(kWidth * kHeight, random);
        const Bytes rgb = demosaiced(kOrders[each.order].bytes, samples, kWidth, kHeight,
                                     IMGCNV_PIXEL_RGB8_PACKED, IMGCNV_DEMOSAIC_ADAPTIVE);
        for (int y = each.first_row; y < each.first_row + 2; ++y) {
            EXPECT_EQ(rgb[(y * kWidth + kColumn) * 3 + each.channel],
                      samples[each.sample_row * kWidth + kColumn - 1])
                << kOrders[each.order].name << ", row " << y;
        }
    }
}

// Two columns are nothing but edges: every pixel has the red and the blue sample of its cell.
TEST(Bayer, AdaptiveTwoColumnsWide) {
    constexpr int kHeight = 6;
    constexpr struct {
        int red, blue;  // their places in a cell, row by row
    } kCells[] = {{0, 3}, {2, 1}, {3, 0}};
    std::mt19937 random(run_seed());
    for (int order = 0; order < 3; ++order) {
        const Samples samples = random_bytes(2 * kHeight, random);
        const Bytes rgb = demosaiced(kOrders[order].bytes, samples, 2, kHeight,
                                     IMGCNV_PIXEL_RGB8_PACKED, IMGCNV_DEMOSAIC_ADAPTIVE);
        for (int pixel = 0; pixel < 2 * kHeight; ++pixel) {
            const uint8_t* cell = &samples[pixel / 4 * 4];
            EXPECT_EQ(rgb[3 * pixel], cell[kCells[order].red])
                << kOrders[order].name << " " << pixel;
            EXPECT_EQ(rgb[3 * pixel + 2], cell[kCells[order].blue])
                << kOrders[order].name << " " << pixel;
        }
    }
}

// Away from its last columns, a frame of odd width is the even one beside it.
TEST(Bayer, OddWidthsKeepTheInteriorRules) {
    std::mt19937 random(run_seed());
    for (const BayerOrder& order : kOrders) {
        for (Demosaic method : kMethods) {
            for (int width : {7, 9, 33, 65, 129}) {
                const int height = 8;
                const Samples odd = random_bytes(width * height, random);
                Samples even;
                for (int y = 0; y < height; ++y) {
                    even.insert(even.end(), &odd[y * width], &odd[y * width] + width);
                    even.push_back(static_cast<uint8_t>(random()));
                }
                const Bytes a =
                    demosaiced(order.bytes, odd, width, height, IMGCNV_PIXEL_RGB8_PACKED, method);
                const Bytes b = demosaiced(order.bytes, even, width + 1, height,
                                           IMGCNV_PIXEL_RGB8_PACKED, method);
                for (int y = 0; y < height; ++y) {
                    ASSERT_TRUE(std::equal(&a[y * width * 3], &a[y * width * 3] + (width - 4) * 3,
                                           &b[y * (width + 1) * 3]))
                        << order.name << " method " << method << " width " << width << " row " << y;
                }
            }
        }
    }
}

Samples cut_columns(const Samples& samples, int width, int left, int columns) {
    Samples cut;
    for (auto row = samples.begin(); row != samples.end(); row += width) {
        cut.insert(cut.end(), row + left, row + left + columns);
    }
    return cut;
}
// So many columns from an edge pixels may look different because of it.
constexpr int kReach = 4;

// A wide frame, which is taken in strips, has the pixels of a narrow one cut from
// it at an even column, away from where the narrow one ends.
TEST(Bayer, WideFramesHaveNoSeams) {
    std::mt19937 random(run_seed());
    const int width = 4200, height = 6, cut = 40;
    const Samples wide = random_bytes(width * height, random);
    for (const BayerOrder& order : kOrders) {
        for (Demosaic method : kMethods) {
            const Bytes a = demosaiced(order.words12, as_words(wide, 4, random), width, height,
                                       IMGCNV_PIXEL_RGB8_PACKED, method);
            for (int left = 0; left + cut <= width; left += cut - 10) {
                const Bytes b = demosaiced(order.bytes, cut_columns(wide, width, left, cut), cut,
                                           height, IMGCNV_PIXEL_RGB8_PACKED, method);
                for (int y = 0; y < height; ++y) {
                    ASSERT_TRUE(std::equal(&b[(y * cut + kReach) * 3],
                                           &b[(y * cut + cut - kReach) * 3],
                                           &a[(y * width + left + kReach) * 3]))
                        << order.name << " method " << method << " at " << left << ", row " << y;
                }
            }
        }
    }
}

// Whatever a frame's width and layout, and however many strips it is taken in, its edges are those
// of a narrow one, which goes pixel by pixel.
void expect_edges_of_narrow_frames(const BayerOrder& order, bool words, int width, int height,
                                   std::mt19937& random) {
    const int cut = 14 + width % 2;
    const Samples wide = random_bytes(width * height, random);
    const Bytes bytes = words ? as_words(wide, 4, random) : wide;
    for (PixelFormat destination :
         {IMGCNV_PIXEL_MONO8, IMGCNV_PIXEL_RGB8_PACKED, IMGCNV_PIXEL_RGBA8_PACKED}) {
        const int k = static_cast<int>(bytes_per_pixel(destination));
        for (Demosaic method : kMethods) {
            const Bytes a = demosaiced(words ? order.words12 : order.bytes, bytes, width, height,
                                       destination, method);
            for (int left : {0, width - cut}) {
                const int from = left == 0 ? 0 : kReach, to = left == 0 ? cut - kReach : cut;
                const Bytes b = demosaiced(order.bytes, cut_columns(wide, width, left, cut), cut,
                                           height, destination, method);
                for (int y = 0; y < round_up(height, 2); ++y) {
                    const auto same = b.begin() + (y * cut + from) * k;
                    ASSERT_TRUE(std::equal(same, same + (to - from) * k,
                                           a.begin() + (y * width + left + from) * k))
                        << order.name << " " << width << "x" << height << ", " << k
                        << " bytes, method " << method << " at " << left << ", row " << y
                        << ", seed " << run_seed();
                }
            }
        }
    }
}

TEST(Bayer, EdgesAreTheSameAtAnyWidth) {
    std::mt19937 random(run_seed());
    for (const BayerOrder& order : kOrders) {
        for (int width = 17; width < 200; width += 1 + random() % 5) {
            expect_edges_of_narrow_frames(order, false, width, 4 + random() % 8, random);
        }
        // Beyond the widest strips of each method; the last strip may be a single column.
        for (int width : {3201, 8193, 8194, 8321, 8833, 8834, 16390}) {
            for (bool words : {false, true}) {
                expect_edges_of_narrow_frames(order, words, width, 2 + random() % 5, random);
            }
        }
    }
}

TEST(Bayer, FlatFramesStayFlat) {
    for (const BayerOrder& order : kOrders) {
        for (Demosaic method : kMethods) {
            for (int height : {2, 3, 4, 6, 7}) {
                for (int level = 0; level < 256; ++level) {
                    const Bytes rgb = demosaiced(order.bytes, Samples(10 * height, level), 10,
                                                 height, IMGCNV_PIXEL_RGB8_PACKED, method);
                    ASSERT_EQ(rgb, Bytes(rgb.size(), level)) << order.name << " method " << method;
                }
            }
        }
    }
}

// The other rows and columns of an odd height are those of the frame that has
// the row before the last once more.
TEST(Bayer, OddHeightsRepeatTheRowBeforeTheLast) {
    std::mt19937 random(run_seed());
    for (const BayerOrder& order : kOrders) {
        for (Demosaic method : kMethods) {
            for (int height : {3, 5, 7}) {
                const int width = 20;
                const Samples odd = random_bytes(width * height, random);
                Samples even = odd;
                even.insert(even.end(), odd.end() - 2 * width, odd.end() - width);
                for (PixelFormat destination : kDestinations) {
                    EXPECT_EQ(demosaiced(order.bytes, odd, width, height, destination, method),
                              demosaiced(order.bytes, even, width, height + 1, destination, method))
                        << order.name << " method " << method << " height " << height;
                }
            }
        }
    }
}

}  // namespace
}  // namespace imgcnv::testing
