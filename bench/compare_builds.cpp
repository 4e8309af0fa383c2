// imgcnv_compare_builds OLD.so NEW.so [WIDTHxHEIGHT ...] [--filter=TEXT] [--rounds=N]
//
// How long the second build of the library takes for every kind of conversion, as a ratio of the
// first one's time. Both are loaded into this one process and take turns, and the quickest of all
// rounds counts, so that what else the machine does matters little. Compares the pictures, too.
#include <dlfcn.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "imgcnv.h"

namespace {

using Convert = int (*)(unsigned char*, tagIMGCNV_SOpenParam*, unsigned char*, int*,
                        tagIMGCNV_EBayerDemosaic);
using Rotate = int (*)(unsigned char*, tagIMGCNV_SOpenParam*, unsigned char*, int*);

struct Job {
    std::string name;
    const char* symbol;  // of the exported function
    tagIMGCNV_EPixelFormat format;
    double src_bytes;  // per pixel
    int dst_bytes;
    int method;  // -1: a flip or a rotation
};

struct Format {
    const char* name;
    tagIMGCNV_EPixelFormat code;
    double bytes;
    bool bayer;
};

const Format kFormats[] = {
    {"Mono1p", IMGCNV_PIXEL_MONO1P, .125, false},
    {"Mono4p", IMGCNV_PIXEL_MONO4P, .5, false},
    {"Mono8", IMGCNV_PIXEL_MONO8, 1, false},
    {"Mono10", IMGCNV_PIXEL_MONO10, 2, false},
    {"Mono12Packed", IMGCNV_PIXEL_MONO12_PACKED, 1.5, false},
    {"Mono16", IMGCNV_PIXEL_MONO16, 2, false},
    {"RGB8", IMGCNV_PIXEL_RGB8_PACKED, 3, false},
    {"YUV411", IMGCNV_PIXEL_YUV411_PACKED, 1.5, false},
    {"YUV422", IMGCNV_PIXEL_YUV422_PACKED, 2, false},
    {"YUYV", IMGCNV_PIXEL_YUV422_YUYV_PACKED, 2, false},
    {"YUV444", IMGCNV_PIXEL_YUV444_PACKED, 3, false},
    {"BayerRG8", IMGCNV_PIXEL_BAYER_RG8, 1, true},
    {"BayerGB8", IMGCNV_PIXEL_BAYER_GB8, 1, true},
    {"BayerBG12", IMGCNV_PIXEL_BAYER_BG12, 2, true},
    {"BayerRG12Packed", IMGCNV_PIXEL_BAYER_RG12_PACKED, 1.5, true},
};

std::vector<Job> jobs() {
    struct Destination {
        const char *name, *symbol;
        int bytes;
    };
    constexpr Destination kDestinations[] = {{"mono8", "IMGCNV_ConvertToMono8_Ex", 1},
                                             {"bgr24", "IMGCNV_ConvertToBGR24_Ex", 3},
                                             {"rgba32", "IMGCNV_ConvertToRGBA32_Ex", 4}};
    constexpr const char* kMethods[] = {"nearest", "bilinear", "adaptive"};
    std::vector<Job> all;
    for (const Format& f : kFormats) {
        for (const Destination& d : kDestinations) {
            if (f.code == IMGCNV_PIXEL_MONO1P && d.bytes != 1) continue;
            for (int method = 0; method < (f.bayer ? 3 : 1); ++method) {
                std::string name = std::string(f.name) + " " + d.name;
                if (f.bayer) name += std::string(" ") + kMethods[method];
                const bool wide = std::strcmp(d.symbol, "IMGCNV_ConvertToRGBA32_Ex") == 0;
                all.push_back(
                    {name,
                     wide ? "_Z25IMGCNV_ConvertToRGBA32_ExPhP20tagIMGCNV_SOpenParamS_"
                            "Pi24tagIMGCNV_EBayerDemosaic"
                          : d.symbol,
                     f.code, f.bytes, d.bytes, method});
            }
        }
    }
    for (int bytes : {1, 3}) {
        for (const char* symbol :
             {"IMGCNV_FlipToHorizontal", "IMGCNV_FlipToVertical", "IMGCNV_RotationToAngle90",
              "IMGCNV_RotationToAngle180", "IMGCNV_RotationToAngle270"}) {
            all.push_back({std::string(bytes == 1 ? "Mono8 " : "RGB8 ") + (symbol + 7), symbol,
                           bytes == 1 ? IMGCNV_PIXEL_MONO8 : IMGCNV_PIXEL_RGB8_PACKED,
                           static_cast<double>(bytes), bytes, -1});
        }
    }
    return all;
}

struct Build {
    void* library;
    void* function(const char* name) const {
        void* found = dlsym(library, name);
        if (found == nullptr) {
            std::fprintf(stderr, "%s\n", dlerror());
            std::exit(1);
        }
        return found;
    }
};

class Timing {
  public:
    Timing(const Job& job, int width, int height)
        : job_(job), width_(width), height_(height), src_(bytes(job.src_bytes)) {
        std::mt19937 random(1);
        for (unsigned char& byte : src_) byte = static_cast<unsigned char>(random());
    }

    // The second build's time, as a ratio of the first one's; negative if the pictures differ.
    double ratio(const Build (&builds)[2], int rounds) {
        std::vector<unsigned char> pictures[2] = {dst(), dst()};
        double best[2] = {1e9, 1e9};
        const double once = seconds(builds[0], pictures[0], 1);
        seconds(builds[1], pictures[1], 1);
        const unsigned char* made[2] = {place(pictures[0]), place(pictures[1])};
        if (!std::equal(made[0], made[0] + bytes(job_.dst_bytes), made[1])) return -1;
        const int repeats = std::max(1, static_cast<int>(300e-6 / once));
        for (int round = 0; round < rounds; ++round) {
            for (int k : {round % 2, 1 - round % 2}) {
                // Into the same memory, whose place decides on speed, too.
                best[k] = std::min(best[k], seconds(builds[k], pictures[0], repeats));
            }
        }
        return best[1] / best[0];
    }

  private:
    size_t bytes(double per_pixel) const {
        return static_cast<size_t>(std::ceil(per_pixel * width_ * (height_ + 1))) + 64;
    }
    std::vector<unsigned char> dst() const {
        return std::vector<unsigned char>(bytes(job_.dst_bytes) + 2 * 64, 0xA5);
    }
    // 16 bytes behind a cache line, where malloc begins pictures.
    static unsigned char* place(std::vector<unsigned char>& dst) {
        return dst.data() + (64 - reinterpret_cast<uintptr_t>(dst.data()) % 64) + 16;
    }
    double seconds(const Build& build, std::vector<unsigned char>& dst, int repeats) {
        void* function = build.function(job_.symbol);
        const auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < repeats; ++i) {
            const double size = job_.method < 0 ? job_.dst_bytes : job_.src_bytes;
            tagIMGCNV_SOpenParam param{
                width_, height_, 0, 0, static_cast<int>(size * width_ * height_), job_.format};
            int reported = 4;
            const int status =
                job_.method < 0
                    ? reinterpret_cast<Rotate>(function)(src_.data(), &param, place(dst), &reported)
                    : reinterpret_cast<Convert>(function)(
                          src_.data(), &param, place(dst), &reported,
                          static_cast<tagIMGCNV_EBayerDemosaic>(job_.method));
            if (status != 0) {
                std::fprintf(stderr, "%s: status %d\n", job_.name.c_str(), status);
                std::exit(1);
            }
        }
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
        return taken.count() / repeats;
    }

    const Job& job_;
    const int width_, height_;
    std::vector<unsigned char> src_;
};

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::pair<int, int>> sizes;
    std::string filter;
    int rounds = 15;
    for (int i = 3; i < argc; ++i) {
        int width, height;
        if (std::strncmp(argv[i], "--filter=", 9) == 0) {
            filter = argv[i] + 9;
        } else if (std::sscanf(argv[i], "--rounds=%d", &rounds) == 1) {
        } else if (std::sscanf(argv[i], "%dx%d", &width, &height) == 2) {
            if (width < 4 || width % 4 != 0 || height < 1) {
                std::fprintf(stderr,
                             "size %s: the width must be a multiple of 4, as YUV411 has"
                             " groups of 4 pixels\n",
                             argv[i]);
                return 2;
            }
            sizes.emplace_back(width, height);
        } else {
            std::fprintf(stderr, "unknown argument %s\n", argv[i]);
            return 2;
        }
    }
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s OLD.so NEW.so [WIDTHxHEIGHT ...] [--filter=TEXT]"
                             " [--rounds=N]\n", argv[0]);
        return 2;
    }
    if (sizes.empty()) sizes = {{640, 480}, {1920, 1200}, {5120, 3840}};
    Build builds[2];
    for (int k = 0; k < 2; ++k) {
        builds[k].library = dlopen(argv[1 + k], RTLD_NOW | RTLD_LOCAL);
        if (builds[k].library == nullptr) {
            std::fprintf(stderr, "%s\n", dlerror());
            return 1;
        }
    }
    std::printf("%-34s", "new / old");
    for (const auto& [width, height] : sizes) std::printf(" %9dx%-4d", width, height);
    std::printf("\n");
    std::vector<double> logs(sizes.size());
    int rows = 0;
    bool same = true;
    for (const Job& job : jobs()) {
        if (job.name.find(filter) == std::string::npos) continue;
        ++rows;
        std::printf("%-34s", job.name.c_str());
        for (size_t i = 0; i < sizes.size(); ++i) {
            const auto [width, height] = sizes[i];
            const int few = std::max(3, rounds / 3);
            const double ratio = Timing(job, width, height)
                                     .ratio(builds, width > 4000 ? few : rounds);
            same = same && ratio > 0;
            std::printf(" %14.3f", ratio);
            std::fflush(stdout);
            logs[i] += std::log(std::abs(ratio));
        }
        std::printf("\n");
    }
    std::printf("%-34s", "geometric mean");
    for (double log : logs) std::printf(" %14.3f", std::exp(log / std::max(rows, 1)));
    std::printf("\n");
    if (!same) std::printf("a negative ratio: THE PICTURES DIFFER\n");
    return same ? 0 : 1;
}
