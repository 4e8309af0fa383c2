// Mosaics of 16-bit samples against libimgcnv's pictures of the same samples, and against the plain
// definition of each pixel.

#include "frames/levels_here.h"
#include "layouts/demosaic16_plain.h"
#include "support/guarded_buffer.h"

#include <gtest/gtest.h>
#include <imgcnv.h>

#include <cstring>
#include <memory>
#include <random>
#include <vector>

namespace frames {
namespace {

constexpr imgcnv_bayer_order kOrders[] = {IMGCNV_ORDER_RG, IMGCNV_ORDER_GB, IMGCNV_ORDER_BG};
constexpr imgcnv_demosaic kMethods[] = {IMGCNV_NEAREST, IMGCNV_BILINEAR, IMGCNV_ADAPTIVE};
constexpr IMGCNV_EPixelFormat kCodes[] = {IMGCNV_PIXEL_BAYER_RG8, IMGCNV_PIXEL_BAYER_GB8,
                                          IMGCNV_PIXEL_BAYER_BG8};

using Samples = std::vector<std::uint16_t>;

/// Smooth with edges and noise, and many extremes: what clamps and ties are made of.
Samples random_samples(std::int64_t width, std::int64_t height, int depth, std::mt19937& random) {
    const unsigned largest = (1U << depth) - 1;
    Samples samples(static_cast<std::size_t>(width * height));
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const auto r = static_cast<unsigned>(random());
        const auto x = i % static_cast<std::size_t>(width);
        const unsigned slope = static_cast<unsigned>(x * 37 + i / 5) & largest;
        samples[i] = static_cast<std::uint16_t>(r % 8 == 0   ? 0
                                                : r % 8 == 1 ? largest
                                                : r % 8 < 5  ? slope
                                                             : r >> 8 & largest);
    }
    return samples;
}

struct Mosaic {
    std::int64_t width, height;
    Samples samples;
    std::vector<const std::uint16_t*> rows;

    Mosaic(std::int64_t w, std::int64_t h, int depth, std::mt19937& random)
        : width(w), height(h), samples(random_samples(w, h, depth, random)) {
        for (std::int64_t y = 0; y < h; ++y) rows.push_back(samples.data() + y * w);
    }
};

TEST(Demosaic16, EqualsLibimgcnvForEightBits) {
    std::mt19937 random(16);
    const std::int64_t widths[] = {2, 4, 6, 8, 14, 16, 18, 32, 34, 62, 66, 130, 642};
    const std::int64_t heights[] = {2, 4, 6, 8, 12};
    for (const auto width : widths)
        for (const auto height : heights) {
            const Mosaic mosaic(width, height, 8, random);
            std::vector<std::uint8_t> bytes(mosaic.samples.begin(), mosaic.samples.end());
            for (const auto order : kOrders)
                for (const auto method : kMethods) {
                    SCOPED_TRACE(::testing::Message() << width << "x" << height << " order "
                                                      << order << " method " << method);
                    IMGCNV_SOpenParam param = {
                        static_cast<int>(width),        static_cast<int>(height), 0, 0,
                        static_cast<int>(bytes.size()), kCodes[order - 1]};
                    std::vector<std::uint8_t> expected(3 * bytes.size());
                    int size = 0;
                    ASSERT_EQ(IMGCNV_ConvertToRGB24_Ex(bytes.data(), &param, expected.data(), &size,
                                                       static_cast<IMGCNV_EBayerDemosaic>(method)),
                              IMGCNV_SUCCESS);
                    Samples got(expected.size(), 0xABCD);
                    demosaic16({order, method, 8, false, width, height}, mosaic.rows.data(), 0,
                               height, got.data(), 3 * width, width);
                    for (std::size_t i = 0; i < got.size(); ++i)
                        ASSERT_EQ(got[i], expected[i])
                            << "x " << i / 3 % static_cast<std::size_t>(width) << " y "
                            << i / 3 / static_cast<std::size_t>(width) << " channel " << i % 3;
                }
        }
}

/// Rows that each begin or end at an unmapped page, and such a picture.
class GuardedMosaic {
  public:
    GuardedMosaic(const Mosaic& mosaic, std::int64_t rows, imgcnv::testing::Guard guard) {
        for (std::int64_t y = 0; y < rows; ++y) {
            const auto bytes = static_cast<std::size_t>(2 * mosaic.width);
            auto& region = *regions_.emplace_back(new imgcnv::testing::GuardedRegion(bytes));
            const auto row = region.place(bytes, guard, 0);
            std::memcpy(row.data(), mosaic.rows[static_cast<std::size_t>(y)], bytes);
            this->rows.push_back(reinterpret_cast<const std::uint16_t*>(row.data()));
        }
    }
    std::vector<const std::uint16_t*> rows;

  private:
    std::vector<std::unique_ptr<imgcnv::testing::GuardedRegion>> regions_;
};

TEST(Demosaic16, LevelsEqualPlainWithinTheirBuffers) {
    std::mt19937 random(17);
    constexpr std::int64_t kHeight = 8;
    imgcnv::testing::GuardedRegion pictures(1 << 16);
    for (std::int64_t width = 2; width <= 140; width += 2)
        for (const int depth : {14, 16}) {
            const Mosaic mosaic(width, kHeight, depth, random);
            for (const auto guard : imgcnv::testing::kGuards) {
                const GuardedMosaic guarded(mosaic, kHeight, guard);
                for (const Level& level : testing::levels_here())
                    for (const auto order : kOrders)
                        for (const auto method : kMethods)
                            for (const std::int64_t width_out : {width, width - 1}) {
                                const Demosaic16 job = {order,          method, depth,
                                                        width % 4 == 0, width,  kHeight};
                                SCOPED_TRACE(::testing::Message()
                                             << level.name << " " << width_out << " of " << width
                                             << " order " << order << " method " << method
                                             << " depth " << depth);
                                const auto words = static_cast<std::size_t>(3 * width_out);
                                const Mosaic16 plain(job, mosaic.rows.data(), 0);
                                for (std::int64_t y = 0; y < kHeight; ++y) {
                                    Samples expected(words);
                                    demosaic16_pixels_plain(plain, job, y, 0, width_out,
                                                            expected.data());
                                    const auto out = pictures.place(2 * words, guard, 0xA5);
                                    demosaic16(
                                        level.kernels->demosaic, job, guarded.rows.data() + y, y, 1,
                                        reinterpret_cast<std::uint16_t*>(out.data()), 0, width_out);
                                    ASSERT_EQ(std::memcmp(out.data(), expected.data(), 2 * words),
                                              0)
                                        << "row " << y;
                                    ASSERT_TRUE(pictures.intact());
                                }
                            }
            }
        }
}

}  // namespace
}  // namespace frames
