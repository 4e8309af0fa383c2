// What a call takes from the heap, what it gives back, and what it leaves when
// it fails. Callers bound the library's memory by these numbers, and some count
// the converters that failed one-shot calls keep.
#include "support/allocations.h"

#include <sys/resource.h>

#include "support/frame.h"
#include "support/one_shot.h"

namespace imgcnv::testing {
namespace {

std::vector<size_t> sizes(const AllocationRecorder& recorder) {
    std::vector<size_t> result;
    for (const Allocation& a : recorder.all()) result.push_back(a.size);
    return result;
}
// The numbers, from 1 on, of those that were not given back.
std::vector<int> kept(const AllocationRecorder& recorder) {
    std::vector<int> result;
    for (size_t i = 0; i < recorder.all().size(); ++i) {
        const Allocation& a = recorder.all()[i];
        if (a.memory != nullptr && !a.freed) result.push_back(static_cast<int>(i) + 1);
    }
    return result;
}

class Handle {
  public:
    Handle(Record record, PixelFormat destination, int method) {
        int size = 0;
        EXPECT_EQ(IMGCNV_open(&record, destination, &handle_, &size, static_cast<Demosaic>(method)),
                  IMGCNV_SUCCESS);
    }
    ~Handle() { IMGCNV_close(handle_); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    operator IMGCNV_HANDLE() const { return handle_; }

  private:
    IMGCNV_HANDLE handle_ = nullptr;
};

TEST(Allocations, OpenTakesOneConverterAndCloseGivesItBack) {
    Record record{4, 4, 0, 0, 16, IMGCNV_PIXEL_BAYER_RG8};
    IMGCNV_HANDLE handle = nullptr;
    int size = 0;
    const auto open = [&](PixelFormat source, IMGCNV_HANDLE* out) {
        record.pixelFormat = source;
        return IMGCNV_open(&record, IMGCNV_PIXEL_MONO8, out, &size, IMGCNV_DEMOSAIC_BILINEAR);
    };
    {
        AllocationRecorder recorder;
        EXPECT_EQ(open(IMGCNV_PIXEL_BAYER_RG8, &handle), IMGCNV_SUCCESS);
        ASSERT_EQ(recorder.all().size(), 1u);
        EXPECT_TRUE(recorder.all()[0].by_new);
        EXPECT_EQ(recorder.all()[0].memory, handle);
        EXPECT_EQ(IMGCNV_close(handle), IMGCNV_SUCCESS);
        EXPECT_TRUE(kept(recorder).empty());
    }
    {
        AllocationRecorder recorder;
        EXPECT_EQ(open(IMGCNV_PIXEL_BAYER_RG8, nullptr), IMGCNV_ILLEGAL_PARAM);
        record.width = 0;
        EXPECT_EQ(open(IMGCNV_PIXEL_BAYER_RG8, &handle), IMGCNV_ILLEGAL_PARAM);
        record.width = 4;
        EXPECT_TRUE(recorder.all().empty());
        EXPECT_EQ(open(IMGCNV_PIXEL_UNDEFINED, &handle), IMGCNV_NOT_SUPPORT);
        EXPECT_TRUE(kept(recorder).empty());
    }
    AllocationRecorder recorder(1);
    handle = &record;
    size = 77;
    EXPECT_EQ(open(IMGCNV_PIXEL_BAYER_RG8, &handle), IMGCNV_NO_MEMORY);
    EXPECT_EQ(handle, &record);
    EXPECT_EQ(size, 77);
}

TEST(Allocations, ConversionsTakeTheRowTablesAndTheScratchAndNothingElse) {
    std::mt19937 random(run_seed());
    for (const SourceFormat& s : kSources) {
        for (int height : {1, 2, 5, 8}) {
            for (PixelFormat destination : kDestinations) {
                for (int method : {0, 1, 2, 7, -1}) {
                    const Frame frame = random_frame(s, 6, height, 1, random);
                    Bytes dst(bytes_written(s, frame.record, destination) + 1);
                    const Handle handle(frame.record, destination, method);
                    const size_t rows = round_up(height, 2), table = rows * sizeof(void*);
                    std::vector<size_t> expected;
                    if (is_bayer(s) && height > 1) {
                        expected = {table, table};
                        if (method == IMGCNV_DEMOSAIC_ADAPTIVE && destination == IMGCNV_PIXEL_MONO8)
                            expected.insert(expected.end(), {6 * 3 * rows, table});
                    }
                    AllocationRecorder recorder;
                    const int status = IMGCNV_convert(
                        handle, const_cast<uint8_t*>(frame.bytes.data()), dst.data());
                    recorder.stop();
                    EXPECT_EQ(status, IMGCNV_SUCCESS);
                    EXPECT_EQ(sizes(recorder), expected)
                        << s.name << " " << height << " rows, method " << method;
                    EXPECT_TRUE(kept(recorder).empty());
                }
            }
        }
    }
}

TEST(Allocations, EachFailureHasItsStatusAndLeavesWhatItAlwaysLeft) {
    const struct {
        int method;
        PixelFormat destination;
        int fail;
        std::vector<int> kept;
    } cases[] = {
        {0, IMGCNV_PIXEL_MONO8, 1, {}},        {0, IMGCNV_PIXEL_RGB8_PACKED, 2, {}},
        {1, IMGCNV_PIXEL_BGRA8_PACKED, 1, {}}, {1, IMGCNV_PIXEL_MONO8, 2, {}},
        {2, IMGCNV_PIXEL_RGB8_PACKED, 1, {}},  {2, IMGCNV_PIXEL_RGBA8_PACKED, 2, {}},
        {2, IMGCNV_PIXEL_MONO8, 1, {}},        {2, IMGCNV_PIXEL_MONO8, 2, {}},
        {2, IMGCNV_PIXEL_MONO8, 3, {2}},     // the destination row table stays
        {2, IMGCNV_PIXEL_MONO8, 4, {2, 3}},  // and the scratch block
    };
    std::mt19937 random(run_seed());
    for (const BayerOrder& order : kOrders) {
        for (PixelFormat format :
             {order.bytes, order.words10, order.words12, order.packed10, order.packed12}) {
            for (const auto& c : cases) {
                const SourceFormat* s =
                    std::find_if(std::begin(kSources), std::end(kSources),
                                 [&](const SourceFormat& source) { return source.code == format; });
                const Frame frame = random_frame(*s, 8, 7, 0, random);
                Bytes dst(8 * 8 * 4, 0x5A);
                const Handle handle(frame.record, c.destination, c.method);
                AllocationRecorder recorder(c.fail);
                const int status =
                    IMGCNV_convert(handle, const_cast<uint8_t*>(frame.bytes.data()), dst.data());
                recorder.stop();
                EXPECT_EQ(status, IMGCNV_NO_MEMORY);
                EXPECT_EQ(static_cast<int>(recorder.all().size()), c.fail);
                EXPECT_EQ(kept(recorder), c.kept) << s->name << " failing " << c.fail;
                EXPECT_EQ(dst, Bytes(dst.size(), 0x5A)) << s->name << " failing " << c.fail;
                recorder.free_rest();
            }
        }
    }
}

TEST(Allocations, OneShotCallsKeepTheConverterOfAFailedConversion) {
    Bytes src = {1, 0, 0x30, 1, 1, 1, 1, 1}, dst(64);
    for (const OneShot& f : kOneShots) {
        const struct {
            const char* name;
            Record record;
            int size, status;
            std::vector<int> kept;
        } cases[] = {
            {"done", {2, 2, 0, 0, 4, IMGCNV_PIXEL_BAYER_RG8}, 0, IMGCNV_SUCCESS, {}},
            {"no size", {2, 2, 0, 0, 8, IMGCNV_PIXEL_MONO16}, 0, IMGCNV_ILLEGAL_PARAM, {1}},
            {"size wraps to 0",
             {65536, 65536, 0, 0, 4, IMGCNV_PIXEL_MONO8},
             5,
             IMGCNV_ILLEGAL_PARAM,
             {1}},
            {"fails", {2, 2, 0, 0, 4, IMGCNV_PIXEL_MONO1C}, 0, IMGCNV_ILLEGAL_PARAM, {1}},
            {"no source", {2, 2, 0, 0, 4, IMGCNV_PIXEL_UNDEFINED}, 5, IMGCNV_NOT_SUPPORT, {}},
        };
        for (const auto& c : cases) {
            Record record = c.record;
            int size = c.size;
            AllocationRecorder recorder;
            const int status =
                f.call(src.data(), &record, dst.data(), &size, IMGCNV_DEMOSAIC_BILINEAR);
            recorder.stop();
            EXPECT_EQ(status, c.status) << f.name << ", " << c.name;
            EXPECT_EQ(kept(recorder), c.kept) << f.name << ", " << c.name;
            recorder.free_rest();
        }
    }
    // Out of memory after the converter: it stays, whatever the conversion kept.
    Record record{2, 2, 0, 0, 4, IMGCNV_PIXEL_BAYER_RG8};
    int size = 0;
    AllocationRecorder recorder(4);
    EXPECT_EQ(
        IMGCNV_ConvertToMono8_Ex(src.data(), &record, dst.data(), &size, IMGCNV_DEMOSAIC_ADAPTIVE),
        IMGCNV_NO_MEMORY);
    recorder.stop();
    EXPECT_EQ(kept(recorder), (std::vector{1, 3}));
    recorder.free_rest();
}

TEST(Allocations, FlipsAndRotationsTakeNone) {
    Bytes src(63 * 65 * 3), dst(src.size());
    for (auto orient : {IMGCNV_FlipToHorizontal, IMGCNV_FlipToVertical, IMGCNV_RotationToAngle90,
                        IMGCNV_RotationToAngle180, IMGCNV_RotationToAngle270}) {
        Record record{63, 65, 0, 0, 63 * 65 * 3, IMGCNV_PIXEL_RGB8_PACKED};
        int size = 0;
        AllocationRecorder recorder;
        EXPECT_EQ(orient(src.data(), &record, dst.data(), &size), IMGCNV_SUCCESS);
        EXPECT_TRUE(recorder.all().empty());
    }
}

// Sizes of frames over 2 GiB are not cut to 32 bits; and a frame without a
// whole cell takes what any other takes.
TEST(Allocations, ScratchOfFramesOfUnusualSize) {
    const struct {
        int stride, height, padding;
        size_t block;
        int status;
    } cases[] = {{40000, 40000, 0, size_t{40000} * 40000 * 3, IMGCNV_NO_MEMORY},
                 {1, 2, 0, 6, IMGCNV_SUCCESS}};
    for (const auto& c : cases) {
        uint8_t src[2] = {}, dst[2] = {77, 77};
        const Handle handle(
            {c.stride, c.height, c.padding, 0, c.stride * c.height, IMGCNV_PIXEL_BAYER_GB8},
            IMGCNV_PIXEL_MONO8, IMGCNV_DEMOSAIC_ADAPTIVE);
        AllocationRecorder recorder(c.status == IMGCNV_SUCCESS ? 0 : 3);
        EXPECT_EQ(IMGCNV_convert(handle, src, dst), c.status);
        recorder.stop();
        ASSERT_GE(recorder.all().size(), 3u);
        EXPECT_EQ(recorder.all()[2].size, c.block);
        EXPECT_EQ(dst[0], 77);
        recorder.free_rest();
    }
}

// The row tables of a frame that converts nothing are taken, but their memory is not touched:
// it would be 1 GiB for the highest frame there is.
TEST(Allocations, TablesOfFramesThatConvertNothingAreNotFilled) {
    const int rows = 1 << 20;
    for (int method : {0, 1, 2, 7}) {
        // No whole cell in a row; or no such method.
        const int stride = method == 7 ? 2 : 0;
        std::vector<uint8_t> src(4 + stride * rows), dst(4 + stride * rows);
        const Handle handle({4, rows, 0, 0, 4 + stride * rows, IMGCNV_PIXEL_BAYER_RG8},
                            IMGCNV_PIXEL_MONO8, method);
        const auto page_faults = [] {
            rusage usage;
            getrusage(RUSAGE_SELF, &usage);
            return usage.ru_minflt;
        };
        AllocationRecorder recorder;
        const long before = page_faults();
        EXPECT_EQ(IMGCNV_convert(handle, src.data(), dst.data()), IMGCNV_SUCCESS);
        const long faults = page_faults() - before;
        recorder.stop();
        EXPECT_GE(recorder.all().size(), 2u);
        EXPECT_EQ(recorder.all()[0].size, rows * sizeof(void*));
        EXPECT_LT(faults, 200) << "method " << method;  // a filled table has 2048 pages
    }
}

}  // namespace
}  // namespace imgcnv::testing
