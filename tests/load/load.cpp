// The library under load. What to do is the argument; exits with 0 when all went well, 77 when the
// machine is too small for it.
//
//   digest           one number for the pictures of all conversions: equal on every CPU
//   threads          many threads, each with its own handles, give the pictures of one
//   handles          thousands of handles open at once do not disturb one another
//   steady SECONDS   small conversions without end: same pictures, memory flat
//   large            frames that do not fit into the caches are what their parts are
//   wide             frames 898561 pixels wide are what their parts are
//   huge             destinations above 2 GiB

#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <numeric>
#include <random>
#include <string>
#include <string_view>
#include <thread>

#include "load/conversions.h"

using namespace imgcnv::testing;

namespace {

constexpr int kSkipped = 77;

#define REQUIRE(condition, ...)                                                          \
    do {                                                                                 \
        if (!(condition)) {                                                              \
            std::fprintf(stderr, "%s:%d: not so: %s\n", __FILE__, __LINE__, #condition); \
            std::fprintf(stderr, __VA_ARGS__);                                           \
            std::exit(1);                                                                \
        }                                                                                \
    } while (false)

#define CONVERSION(c)                                                                     \
    "%s %dx%d padding %d to 0x%08X, method %d\n", (c).format.name, (c).width, (c).height, \
        (c).padding, static_cast<unsigned>((c).destination), (c).method

std::vector<uint64_t> digests_of(const std::vector<Conversion>& all) {
    std::vector<uint64_t> digests;
    Bytes destination;
    for (const Conversion& c : all) {
        digests.push_back(digest(c, destination));
        REQUIRE(digests.back() != 0, CONVERSION(c));
    }
    return digests;
}

int print_digest() {
    const auto all = all_conversions({1, 2, 3, 17, 64, 257, 2100}, {1, 2, 3, 8});
    uint64_t sum = 0;
    for (uint64_t d : digests_of(all)) sum = sum * 31 + d;

    constexpr int (*kTurns[])(unsigned char*, Record*, unsigned char*, int*) = {
        IMGCNV_FlipToHorizontal, IMGCNV_FlipToVertical, IMGCNV_RotationToAngle90,
        IMGCNV_RotationToAngle180, IMGCNV_RotationToAngle270};
    for (auto turn : kTurns) {
        for (PixelFormat format : {IMGCNV_PIXEL_MONO8, IMGCNV_PIXEL_RGB8_PACKED}) {
            for (int width : {1, 7, 64, 333}) {
                for (int height : {1, 9, 65}) {
                    const int size = width * height * bytes_per_pixel(format);
                    Record record{width, height, 0, 0, size, format};
                    Bytes source = noise(size, width), turned(size);
                    int reported = 0;
                    REQUIRE(turn(source.data(), &record, turned.data(), &reported) == 0,
                            "turn of %dx%d\n", width, height);
                    for (uint8_t byte : turned) sum = sum * 31 + byte;
                }
            }
        }
    }
    std::printf("%016llx\n", static_cast<unsigned long long>(sum));
    return 0;
}

int run_threads() {
    const auto all = all_conversions({3, 64, 131}, {1, 5, 8});
    const auto expected = digests_of(all);
    std::atomic<size_t> wrong = 0;
    std::vector<std::thread> threads;
    constexpr size_t kThreads = 8;
    for (size_t t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            Bytes destination;
            // Each begins elsewhere, so that different formats run at the same time.
            for (size_t i = 0; i < all.size(); ++i) {
                const size_t k = (i + t * all.size() / kThreads) % all.size();
                if (digest(all[k], destination) != expected[k]) ++wrong;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    REQUIRE(wrong == 0, "%zu pictures differ\n", wrong.load());
    std::printf("%zu threads, %zu conversions each\n", kThreads, all.size());
    return 0;
}

int run_handles() {
    const auto all = all_conversions({16, 33}, {1, 2, 3});
    const auto expected = digests_of(all);
    std::vector<IMGCNV_HANDLE> handles;
    for (const Conversion& c : all) {
        handles.push_back(open(c, job_of(c).record));
        REQUIRE(handles.back() != nullptr, CONVERSION(c));
    }
    std::vector<size_t> order(all.size());
    std::iota(order.begin(), order.end(), 0);
    std::mt19937 random(1);
    Bytes destination;
    for (int round = 0; round < 3; ++round) {
        std::shuffle(order.begin(), order.end(), random);
        for (size_t i : order) {
            REQUIRE(digest(handles[i], job_of(all[i]), destination) == expected[i],
                    CONVERSION(all[i]));
        }
    }
    for (size_t i : order) REQUIRE(IMGCNV_close(handles[i]) == 0, CONVERSION(all[i]));
    std::printf("%zu handles at once, %zu conversions\n", all.size(), 3 * all.size());
    return 0;
}

size_t resident_bytes() {
    std::ifstream statm("/proc/self/statm");
    size_t pages = 0;
    statm >> pages >> pages;
    return pages * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

int run_steady(int seconds) {
    const auto all = all_conversions({1, 16, 33}, {1, 2, 7});
    std::vector<Job> jobs;
    for (const Conversion& c : all) jobs.push_back(job_of(c));
    const auto expected = digests_of(all);
    Bytes destination(1 << 16);

    size_t conversions = 0, heap = 0, resident = 0;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    for (int round = 0; round < 3 || std::chrono::steady_clock::now() < end; ++round) {
        for (size_t i = 0; i < jobs.size(); ++i) {
            const IMGCNV_HANDLE handle = open(all[i], jobs[i].record);
            REQUIRE(handle != nullptr, CONVERSION(all[i]));
            REQUIRE(digest(handle, jobs[i], destination) == expected[i], CONVERSION(all[i]));
            REQUIRE(IMGCNV_close(handle) == 0, CONVERSION(all[i]));
        }
        conversions += jobs.size();
        // The first round may fill caches of the allocator.
        if (round == 0) {
            heap = mallinfo2().uordblks;
            resident = resident_bytes();
        }
    }
    const size_t heap_now = mallinfo2().uordblks, resident_now = resident_bytes();
    std::printf("%zu conversions; heap %zu -> %zu bytes, resident %zu -> %zu KiB\n", conversions,
                heap, heap_now, resident >> 10, resident_now >> 10);
    REQUIRE(heap_now == heap, "the heap has grown\n");
    REQUIRE(resident_now <= resident + (256 << 10), "resident memory has grown\n");
    return 0;
}

// Pixels that a conversion makes of a row.
int out_width(const SourceFormat& format, int width) {
    if (is_yuv(format) || is_bayer(format)) return round_up(width, format.group);
    const bool whole_groups = is_packed_mono(format) || format.code == IMGCNV_PIXEL_MONO1P;
    return whole_groups ? width / format.group * format.group : width;
}

struct Picture {
    Bytes bytes;
    int width;        // pixels
    int pixel_bytes;  // of the destination

    const uint8_t* at(int y, int x) const {
        return &bytes[(static_cast<size_t>(y) * width + x) * pixel_bytes];
    }
};

Picture picture_of(const Conversion& c, const Bytes& source) {
    const Record record{c.width,      c.height, c.padding, 0, static_cast<int>(source.size()),
                        c.format.code};
    const Job job{c, record, source, bytes_written(c.format, record, c.destination)};
    const IMGCNV_HANDLE handle = open(c, record);
    REQUIRE(handle != nullptr, CONVERSION(c));
    Picture picture{{}, out_width(c.format, c.width), bytes_per_pixel(c.destination)};
    if (is_bayer(c.format) && c.destination == kNoDestination && c.height > 1) {
        picture.pixel_bytes = 3;
    }
    REQUIRE(digest(handle, job, picture.bytes) != 0, CONVERSION(c));
    REQUIRE(IMGCNV_close(handle) == 0, CONVERSION(c));
    return picture;
}

// The columns [begin, end) of a frame's rows.
Bytes columns_of(const SourceFormat& format, const Bytes& source, int width, int height, int begin,
                 int end) {
    const int row = row_bytes(format, width);
    const int from = row_bytes(format, begin), to = row_bytes(format, end);
    Bytes part;
    for (int y = 0; y < height; ++y) {
        part.insert(part.end(), source.begin() + y * row + from, source.begin() + y * row + to);
    }
    return part;
}

// A column depends on few neighbours only: a part of the frame, cut out with some more columns on
// either side, becomes the same part of the picture.
int run_wide() {
    // The adaptive method's last strip has one column, of samples as they lie and of decoded ones.
    constexpr int kWidth = 1324801, kStep = 4096, kMargin = 8, kHeight = 7;
    size_t conversions = 0;
    for (Conversion c : all_conversions({kWidth}, {kHeight})) {
        const bool writes_nothing = is_triples(c.format) && c.destination == kNoDestination;
        if (c.padding != 0 || c.format.code == IMGCNV_PIXEL_MONO1C || writes_nothing) continue;
        // Without rows of their own, only a single row is cut into columns easily.
        if (is_stream(c.format)) c.height = 1;
        if (c.format.code == IMGCNV_PIXEL_MONO1P) c.destination = IMGCNV_PIXEL_MONO8;
        const Bytes source = noise(static_cast<size_t>(row_bytes(c.format, kWidth)) * c.height, 5);
        const Picture whole = picture_of(c, source);
        ++conversions;

        for (int begin = 0; begin < kWidth; begin += kStep) {
            const bool last = begin + kStep >= kWidth;
            const int cut_begin = std::max(0, begin - kMargin);
            const int cut_end = std::min(kWidth, begin + kStep + kMargin);
            Conversion part = c;
            part.width = cut_end - cut_begin;
            const Picture cut = picture_of(
                part, columns_of(c.format, source, kWidth, c.height, cut_begin, cut_end));
            const int pixels = last ? whole.width - begin : kStep;
            for (int y = 0; y < c.height; ++y) {
                REQUIRE(std::memcmp(whole.at(y, begin), cut.at(y, begin - cut_begin),
                                    static_cast<size_t>(pixels) * whole.pixel_bytes) == 0,
                        CONVERSION(c));
            }
        }
    }
    std::printf("%zu conversions of frames %d pixels wide equal their parts\n", conversions,
                kWidth);
    return 0;
}

// Rows [begin, end) of a frame whose rows take row bytes.
Bytes rows_of(const Bytes& source, size_t row, int begin, int end) {
    return Bytes(source.begin() + static_cast<ptrdiff_t>(row) * begin,
                 source.begin() + static_cast<ptrdiff_t>(row) * end);
}

// Frames above the size of a last-level cache take another way to memory. A row depends on few
// neighbours only, too.
int run_large() {
    constexpr int kWidth = 3001, kStep = 512, kMargin = 8;
    constexpr size_t kMoreThanCaches = size_t{34} << 20;
    size_t conversions = 0;
    for (Conversion c : all_conversions({kWidth}, {1})) {
        // One destination of each size does.
        const bool same_size = c.destination == IMGCNV_PIXEL_BGR8_PACKED ||
                               c.destination == IMGCNV_PIXEL_RGBA8_PACKED ||
                               c.destination == kNoDestination;
        if (c.format.code == IMGCNV_PIXEL_MONO1C || same_size) continue;
        if (c.padding != 0 && (is_stream(c.format) || is_triples(c.format))) continue;
        if (c.format.code == IMGCNV_PIXEL_MONO1P) c.destination = IMGCNV_PIXEL_MONO8;
        // Streams of pixels have rows of whole bytes when the width is such.
        if (is_stream(c.format)) c.width = 3008;

        const size_t row = static_cast<size_t>(row_bytes(c.format, c.width) + c.padding);
        const size_t out_row =
            static_cast<size_t>(out_width(c.format, c.width)) * bytes_per_pixel(c.destination);
        c.height = static_cast<int>(kMoreThanCaches / (row + out_row)) | 1;
        const Bytes source = noise(row * c.height, 7);
        const Picture whole = picture_of(c, source);
        ++conversions;

        for (int begin = 0; begin < c.height; begin += kStep) {
            const bool last = begin + kStep >= c.height;
            const int cut_begin = std::max(0, begin - kMargin);
            const int cut_end = last ? c.height : begin + kStep + kMargin;
            Conversion part = c;
            part.height = cut_end - cut_begin;
            const Picture cut = picture_of(part, rows_of(source, row, cut_begin, cut_end));
            // The extra row of an odd height counts.
            const int extra = last && is_bayer(c.format) ? c.height % 2 : 0;
            const int rows = (last ? c.height - begin : kStep) + extra;
            REQUIRE(std::memcmp(whole.at(begin, 0), cut.at(begin - cut_begin, 0),
                                static_cast<size_t>(rows) * whole.width * whole.pixel_bytes) == 0,
                    CONVERSION(c));
        }
    }
    std::printf("%zu conversions of more than %zu MiB equal their parts\n", conversions,
                kMoreThanCaches >> 20);
    return 0;
}

// Memory that is given by the system only where it is used.
class Mapping {
  public:
    explicit Mapping(size_t size) : size_(size) {
        void* const map = mmap(nullptr, size, PROT_READ | PROT_WRITE,
                               MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        REQUIRE(map != MAP_FAILED, "no address space for %zu bytes\n", size);
        bytes_ = static_cast<uint8_t*>(map);
    }
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;
    ~Mapping() { munmap(bytes_, size_); }
    uint8_t* data() { return bytes_; }

  private:
    uint8_t* bytes_;
    size_t size_;
};

size_t available_bytes() {
    std::ifstream meminfo("/proc/meminfo");
    std::string word;
    while (meminfo >> word) {
        size_t kib = 0;
        if (word == "MemAvailable:" && meminfo >> kib) return kib << 10;
    }
    return 0;
}

int run_huge() {
    constexpr int kWidth = 32768, kHeight = 16500;
    constexpr size_t kPixels = size_t{kWidth} * kHeight;
    static_assert(kPixels * 4 > size_t{1} << 31);
    constexpr size_t kNeeded = kPixels * 5 + (size_t{1} << 29);
    if (available_bytes() < kNeeded) {
        std::printf(
            "SKIPPED: a destination above 2 GiB takes %zu MiB of memory, and %zu MiB are "
            "available; NOTHING WAS TESTED\n",
            kNeeded >> 20, available_bytes() >> 20);
        return kSkipped;
    }
    Mapping source(kPixels), destination(kPixels * 4);
    for (size_t y = 0; y < kHeight; ++y) {
        std::memset(source.data() + y * kWidth, static_cast<int>(y % 251), kWidth / 2);
        std::memset(source.data() + y * kWidth + kWidth / 2, static_cast<int>(y % 241), kWidth / 2);
    }
    for (const PixelFormat format : {IMGCNV_PIXEL_MONO8, IMGCNV_PIXEL_BAYER_GB8}) {
        Record record{kWidth, kHeight, 0, 0, static_cast<int>(kPixels), format};
        IMGCNV_HANDLE handle = nullptr;
        int size = 0;
        REQUIRE(IMGCNV_open(&record, IMGCNV_PIXEL_BGRA8_PACKED, &handle, &size,
                            IMGCNV_DEMOSAIC_BILINEAR) == 0,
                "open\n");
        REQUIRE(size == static_cast<int>(static_cast<uint32_t>(kPixels * 4)), "size %d\n", size);
        REQUIRE(IMGCNV_convert(handle, source.data(), destination.data()) == 0, "convert\n");
        REQUIRE(IMGCNV_close(handle) == 0, "close\n");

        // Its last rows, as a frame of their own, make the end of the picture.
        constexpr int kRows = 64, kTop = 2;
        const size_t first = size_t{kHeight - kRows} * kWidth;
        record.height = kRows;
        record.dataSize = kRows * kWidth;
        Bytes part(size_t{kRows} * kWidth * 4);
        REQUIRE(IMGCNV_ConvertToBGRA32_Ex(source.data() + first, &record, part.data(), &size,
                                          IMGCNV_DEMOSAIC_BILINEAR) == 0,
                "part\n");
        constexpr size_t kSkip = size_t{kTop} * kWidth * 4;
        REQUIRE(std::memcmp(destination.data() + first * 4 + kSkip, part.data() + kSkip,
                            part.size() - kSkip) == 0,
                "the end of the picture of 0x%08X differs\n", static_cast<unsigned>(format));
        REQUIRE(part[part.size() - 3] == source.data()[kPixels - 1], "content\n");
    }
    std::printf("two destinations of %zu MiB\n", kPixels * 4 >> 20);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string_view what = argc > 1 ? argv[1] : "";
    if (what == "digest") return print_digest();
    if (what == "threads") return run_threads();
    if (what == "handles") return run_handles();
    if (what == "steady" && argc == 3) return run_steady(std::atoi(argv[2]));
    if (what == "large") return run_large();
    if (what == "wide") return run_wide();
    if (what == "huge") return run_huge();
    std::fprintf(stderr,
                 "usage: %s digest | threads | handles | steady SECONDS | large | wide | huge\n",
                 argv[0]);
    return 2;
}
