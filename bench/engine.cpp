// imgcnv_bench_engine: what the frame engine costs beyond libimgcnv, and what it saves. Each line
// is two ways to make the same picture, timed in turns, and their ratio.
#include "bare_pass.h"
#include "frames.h"
#include "imgcnv.h"
#include "imgcnv_frames.h"
#include "measure.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

using imgcnv::bench::Contestant;

std::vector<std::uint8_t> noise(std::size_t bytes) {
    std::vector<std::uint8_t> data(bytes);
    std::mt19937 random(1);
    for (auto& byte : data) byte = static_cast<std::uint8_t>(random());
    return data;
}

/// A frame of noise, a picture for it and the pipeline between them.
class EngineRun {
  public:
    EngineRun(const char* format, std::int64_t width, std::int64_t height, imgcnv_target target,
              std::int64_t padding = 0) {
        imgcnv_frame frame = IMGCNV_FRAME_INIT;
        must(imgcnv_find_format(format, &frame.format, &frame.flags, why_, sizeof why_));
        frame.width = width;
        frame.height = height;
        if (padding != 0) target.stride = width * pixel_bytes(target.kind) + padding;
        must(imgcnv_pipeline_open(&frame, &target, &pipeline_, why_, sizeof why_));
        info_.struct_size = sizeof info_;
        imgcnv_pipeline_describe(pipeline_, &info_);
        source = noise(static_cast<std::size_t>(info_.source_bytes));
        picture.resize(static_cast<std::size_t>(info_.picture_bytes));
    }
    EngineRun(const EngineRun&) = delete;
    ~EngineRun() { imgcnv_pipeline_close(pipeline_); }

    void operator()() {
        must(imgcnv_pipeline_run(pipeline_, source.data(), source.size(), picture.data(),
                                 picture.size(), why_, sizeof why_));
    }

    std::vector<std::uint8_t> source, picture;

  private:
    static std::int64_t pixel_bytes(int kind) {
        return kind == IMGCNV_TARGET_MONO8 ? 1 : kind >= IMGCNV_TARGET_RGBA32 ? 4 : 3;
    }
    void must(int status) {
        if (status == IMGCNV_OK) return;
        std::fprintf(stderr, "imgcnv_bench_engine: %s\n", why_);
        std::exit(1);
    }

    imgcnv_pipeline* pipeline_ = nullptr;
    imgcnv_picture_info info_{};
    char why_[IMGCNV_TEXT_BYTES];
};

imgcnv_target target(imgcnv_target_kind kind, imgcnv_demosaic method, int threads = 1) {
    imgcnv_target result = IMGCNV_TARGET_INIT;
    result.kind = kind;
    result.demosaic = method;
    result.threads = threads;
    return result;
}

void print(const std::string& name, double ns, double against, const char* unit = "") {
    std::printf("%-58s %12.0f ns %12.0f ns  %5.2f%s\n", name.c_str(), ns, against, ns / against,
                unit);
}

void compare(const std::string& name, std::function<void()> run, std::function<void()> against) {
    const auto times =
        imgcnv::bench::race({{"", std::move(run)}, {"", std::move(against)}}, {0.6, 9, 301});
    print(name, times[0].median, times[1].median);
}

const char* name_of(imgcnv_demosaic method) { return imgcnv_demosaic_name(method); }

/// One format of libimgcnv to rgb24, by libimgcnv.
class CoreRun {
  public:
    CoreRun(IMGCNV_EPixelFormat format, int width, int height, IMGCNV_EBayerDemosaic method)
        : source_(noise(static_cast<std::size_t>(width * height))),
          picture_(static_cast<std::size_t>(width * (height + 1) * 3)) {
        IMGCNV_SOpenParam record{width, height, 0, 0, width * height, format};
        int bytes = 0;
        IMGCNV_open(&record, IMGCNV_PIXEL_RGB8_PACKED, &handle_, &bytes, method);
    }
    CoreRun(const CoreRun&) = delete;
    ~CoreRun() { IMGCNV_close(handle_); }
    void operator()() { IMGCNV_convert(handle_, source_.data(), picture_.data()); }

  private:
    std::vector<std::uint8_t> source_, picture_;
    IMGCNV_HANDLE handle_ = nullptr;
};

/// A pipeline that is one call of libimgcnv, and that call.
void one_call() {
    EngineRun engine("Mono8", 16, 4, target(IMGCNV_TARGET_RGB24, IMGCNV_BILINEAR));
    CoreRun core(IMGCNV_PIXEL_MONO8, 16, 4, IMGCNV_DEMOSAIC_BILINEAR);
    compare(
        "one call: Mono8 16x4 to rgb24, through a handle", [&] { engine(); }, [&] { core(); });
}

void odd_mosaics() {
    const std::int64_t sizes[][2] = {{64, 64}, {640, 480}, {1920, 1200}};
    for (const auto method : {IMGCNV_NEAREST, IMGCNV_BILINEAR, IMGCNV_ADAPTIVE})
        for (const auto& [width, height] : sizes) {
            const auto wanted = target(IMGCNV_TARGET_RGB24, method);
            EngineRun even("BayerRG8", width, height, wanted);
            EngineRun odd("BayerRG8", width - 1, height - 1, wanted);
            EngineRun narrow("BayerRG8", width - 1, height, wanted);
            EngineRun green("BayerGR8", width, height, wanted);
            const auto size =
                std::to_string(width) + "x" + std::to_string(height) + " " + name_of(method);
            compare(
                "GR for RG, " + size, [&] { green(); }, [&] { even(); });
            compare(
                "one column less, " + size, [&] { narrow(); }, [&] { even(); });
            const auto core_method = static_cast<IMGCNV_EBayerDemosaic>(method);
            const auto w = static_cast<int>(width), h = static_cast<int>(height);
            CoreRun core_even(IMGCNV_PIXEL_BAYER_RG8, w, h, core_method);
            CoreRun core_narrow(IMGCNV_PIXEL_BAYER_RG8, w - 1, h, core_method);
            compare(
                "one column less, libimgcnv alone, " + size, [&] { core_narrow(); },
                [&] { core_even(); });
            compare(
                "one column and row less, " + size, [&] { odd(); }, [&] { even(); });
        }
}

void strides() {
    struct Row {
        const char* format;
        imgcnv_target_kind kind;
    };
    const Row rows[] = {{"Mono8", IMGCNV_TARGET_MONO8},          {"Mono8", IMGCNV_TARGET_RGB24},
                        {"Mono12Packed", IMGCNV_TARGET_MONO8},   {"RGB8", IMGCNV_TARGET_BGR24},
                        {"UYVY", IMGCNV_TARGET_RGB24},           {"BayerRG8", IMGCNV_TARGET_RGB24},
                        {"BayerRG12Packed", IMGCNV_TARGET_BGR24}};
    for (const auto& row : rows)
        for (const std::int64_t width : {640, 1920}) {
            const auto height = width == 640 ? 480 : 1200;
            const auto wanted = target(row.kind, IMGCNV_BILINEAR);
            EngineRun tight(row.format, width, height, wanted);
            EngineRun padded(row.format, width, height, wanted, 64);
            compare(
                "target rows 64 bytes longer, " + std::string(row.format) + " to " +
                    imgcnv_target_name(row.kind) + " " + std::to_string(width),
                [&] { padded(); }, [&] { tight(); });
        }
}

/// Wall time: the best of runs in turns.
void compare_wall(const std::string& name, const std::function<void()>& two,
                  const std::function<void()>& one) {
    double best[2] = {1e18, 1e18};
    const std::function<void()>* runs[2] = {&two, &one};
    for (int round = 0; round < 30; ++round)
        for (int i = 0; i < 2; ++i) {
            const auto start = std::chrono::steady_clock::now();
            (*runs[i])();
            const std::chrono::duration<double, std::nano> took =
                std::chrono::steady_clock::now() - start;
            best[i] = std::min(best[i], took.count());
        }
    print("2 threads for 1, 4096x3000, " + name + " (wall, best)", best[0], best[1]);
}

/// After the methods, their bytes past the caches and nothing else: what memory allows.
void threads() {
    for (const auto method : {IMGCNV_NEAREST, IMGCNV_BILINEAR, IMGCNV_ADAPTIVE}) {
        EngineRun one("BayerRG8", 4096, 3000, target(IMGCNV_TARGET_RGB24, method, 1));
        EngineRun two("BayerRG8", 4096, 3000, target(IMGCNV_TARGET_RGB24, method, 2));
        compare_wall(
            name_of(method), [&] { two(); }, [&] { one(); });
    }
    constexpr std::size_t kHalf = std::size_t{4096} * 3000 / 2;
    const auto source = noise(2 * kHalf);
    imgcnv::bench::Buffer picture(6 * kHalf);
    const auto move_half = [&](std::size_t i) {
        imgcnv::bench::bare_pass(source.data() + i * kHalf, kHalf, picture.data() + 3 * i * kHalf,
                                 3 * kHalf, imgcnv::bench::Stores::kNonTemporal);
    };
    compare_wall(
        "bare pass",
        [&] {
            std::thread other(move_half, 1);
            move_half(0);
            other.join();
        },
        [&] {
            move_half(0);
            move_half(1);
        });
}

void layouts() {
    for (const std::int64_t width : {640, 1920}) {
        const auto height = width == 640 ? 480 : 1200;
        const auto wanted = target(IMGCNV_TARGET_RGB24, IMGCNV_BILINEAR);
        EngineRun packed("BayerRG12Packed", width, height, wanted);
        for (const char* format :
             {"BayerRG12p", "SRGGB12P", "SRGGB10P", "BayerRG10p", "BayerRG16"}) {
            EngineRun other(format, width, height, wanted);
            compare(
                std::string(format) + " for BayerRG12Packed, rgb24 bilinear " +
                    std::to_string(width),
                [&] { other(); }, [&] { packed(); });
        }
        imgcnv_levels levels = IMGCNV_LEVELS_INIT;
        levels.black = 64;
        levels.red_gain = 1.8;
        levels.blue_gain = 1.4;
        for (const auto& [format, kind] : {std::pair{"BayerRG12Packed", IMGCNV_TARGET_RGB24},
                                           {"BayerRG12Packed", IMGCNV_TARGET_RGB48},
                                           {"Mono12Packed", IMGCNV_TARGET_MONO8},
                                           {"Mono12Packed", IMGCNV_TARGET_RAW16}}) {
            const auto bare = target(kind, IMGCNV_BILINEAR);
            auto leveled = bare;
            leveled.levels = &levels;
            EngineRun without(format, width, height, bare);
            EngineRun with_levels(format, width, height, leveled);
            compare(
                "levels for none, " + std::string(format) + " to " + imgcnv_target_name(kind) +
                    " " + std::to_string(width),
                [&] { with_levels(); }, [&] { without(); });
        }
        EngineRun alpha("BayerRG8", width, height, target(IMGCNV_TARGET_BGRA32, IMGCNV_BILINEAR));
        EngineRun plain("BayerRG8", width, height, wanted);
        compare(
            "bgra32 for rgb24, BayerRG8 bilinear " + std::to_string(width), [&] { alpha(); },
            [&] { plain(); });
    }
}

}  // namespace

int main(int count, char** arguments) {
    const std::string only = count > 1 ? arguments[1] : "";
    std::printf("%s\n%-58s %15s %15s  ratio\n", imgcnv::bench::describe_machine().c_str(), "",
                "this", "for this");
    const std::pair<const char*, void (*)()> parts[] = {{"call", one_call},
                                                        {"odd", odd_mosaics},
                                                        {"stride", strides},
                                                        {"threads", threads},
                                                        {"layouts", layouts}};
    for (const auto& [name, part] : parts)
        if (only.empty() || only == name) part();
}
