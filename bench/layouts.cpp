// imgcnv_layouts_bench: the frame engine's row functions on the best level of this CPU, as
// multiples of the bare pass over the same bytes.

#include "bare_pass.h"
#include "layouts/kernel_table.h"
#include "measure.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

using namespace frames;
using imgcnv::bench::bare_pass;
using imgcnv::bench::Stores;

namespace {

struct Size {
    std::size_t width, height;
};
constexpr Size kSizes[] = {{640, 480}, {1920, 1200}};

std::vector<std::uint8_t> source(1920 * 1200 * 8, 0x5A);
alignas(64) std::uint8_t target[1920 * 1200 * 6 + 64];

std::uint16_t* words(std::uint8_t* bytes) { return reinterpret_cast<std::uint16_t*>(bytes); }

void report(const char* name, Size size, std::size_t in_bytes, std::size_t out_bytes,
            std::function<void()> run) {
    const auto timings = imgcnv::bench::race(
        {{"bare",
          [=] { bare_pass(source.data(), in_bytes, target, out_bytes, Stores::kOrdinary); }},
         {"run", run}},
        {});
    std::printf("%-24s %4zux%-4zu %5.2f  %8.1f us\n", name, size.width, size.height,
                timings[1].median / timings[0].median, timings[1].median / 1e3);
}

const char* layout_name(imgcnv_layout layout) {
    switch (layout) {
        case IMGCNV_LAYOUT_LSB_FIRST:
            return "p";
        case IMGCNV_LAYOUT_BYTES:
            return "bytes";
        case IMGCNV_LAYOUT_WORDS:
            return "words";
        case IMGCNV_LAYOUT_PACKED:
            return "packed";
        default:
            return "mipi";
    }
}

void unpacking(const KernelTable& table, Size size) {
    const std::size_t samples = size.width * size.height;
    for (std::size_t i = 0; i < std::size(kSampleLayouts); ++i) {
        const SampleLayout& layout = kSampleLayouts[i];
        const std::size_t row = sample_bytes(layout, size.width), bytes = row * size.height;
        char name[40];
        const auto rows = [=](auto kernel, auto* out) {
            for (std::size_t y = 0; y < size.height; ++y)
                kernel(source.data() + y * row, (size.height - y) * row, out + y * size.width,
                       size.width);
        };
        for (const int bits : {16, 8}) {
            std::snprintf(name, sizeof name, "%s%d%s to %d", layout_name(layout.layout),
                          layout.depth, layout.big_endian ? "be" : "", bits);
            report(name, size, bytes, samples * static_cast<std::size_t>(bits) / 8, [=, &table] {
                if (bits == 16) return rows(table.unpack[i].to16, words(target));
                rows(table.unpack[i].to8, target);
            });
        }
    }
}

void samples(const KernelTable& table, Size size) {
    const std::size_t count = size.width * size.height;
    const auto rows = [=](auto row) {
        for (std::size_t y = 0; y < size.height; ++y) row(y * size.width);
    };
    auto* in = words(source.data());
    const LevelRow levels = {64.0F, {1.3F, 1.0F, 1.7F}};
    const auto fixed = fixed_levels({64.0F, {0.08F, 0.06F, 0.1F}}, 12);
    const auto* words12 =
        table.unpack + (std::find(std::begin(kSampleLayouts), std::end(kSampleLayouts),
                                  SampleLayout{IMGCNV_LAYOUT_WORDS, 12}) -
                        kSampleLayouts);
    for (const int period : {1, 2, 3}) {
        char name[40];
        std::snprintf(name, sizeof name, "levels %d to 8", period);
        report(name, size, 2 * count, count, [&, period] {
            rows([&](std::size_t at) {
                words12->to8_levels(source.data() + 2 * at, 2 * (count - at), target + at,
                                    size.width, fixed, period);
            });
        });
        std::snprintf(name, sizeof name, "levels %d to 16", period);
        report(name, size, 2 * count, 2 * count, [&, period] {
            rows([&](std::size_t at) {
                table.samples.levels_to16(in + at, words(target) + at, size.width, levels, period);
            });
        });
    }
    report("full scale", size, 2 * count, 2 * count, [&] {
        rows([&](std::size_t at) {
            table.samples.full_scale(in + at, words(target) + at, size.width, 12);
        });
    });
    report("full range", size, 2 * count, 2 * count, [&] {
        rows([&](std::size_t at) {
            table.samples.full_range(source.data() + 2 * at, target + 2 * at, 2 * size.width,
                                     IMGCNV_LAYOUT_UYVY);
        });
    });
    report("curve", size, 3 * count, 3 * count, [&] {
        rows([&](std::size_t at) {
            table.samples.curve(target + 3 * at, size.width, 3, source.data());
        });
    });
    report("drop alpha", size, 4 * count, 3 * count, [&] {
        rows([&](std::size_t at) {
            table.samples.drop_alpha8(source.data() + 4 * at, target + 3 * at, size.width, true);
        });
    });
}

void demosaicing(const KernelTable& table, Size size) {
    const std::size_t count = size.width * size.height;
    std::vector<const std::uint16_t*> rows;
    for (std::size_t y = 0; y < size.height; ++y)
        rows.push_back(words(source.data()) + y * size.width);
    constexpr const char* kNames[] = {"nearest", "bilinear", "adaptive"};
    for (const int depth : {12, 16})
        for (const auto method : {IMGCNV_NEAREST, IMGCNV_BILINEAR, IMGCNV_ADAPTIVE}) {
            const auto width = static_cast<std::int64_t>(size.width);
            const auto height = static_cast<std::int64_t>(size.height);
            const Demosaic16 job = {IMGCNV_ORDER_RG, method, depth, false, width, height};
            char name[40];
            std::snprintf(name, sizeof name, "%s %d to rgb48", kNames[method], depth);
            report(name, size, 2 * count, 6 * count, [&] {
                demosaic16(table.demosaic, job, rows.data(), 0, height, words(target), 3 * width,
                           width);
            });
        }
}

}  // namespace

int main(int count, char** arguments) {
    std::uint32_t state = 1;
    for (auto& byte : source) byte = static_cast<std::uint8_t>((state = state * 1664525 + 1) >> 24);
    for (const Level& level : levels()) {
        const bool wanted = count > 1 ? std::strcmp(arguments[1], level.name) == 0
                                      : level.kernels == &best_kernels();
        if (!wanted || !level.runs_here()) continue;
        std::printf("%s: times of the bare pass\n", level.name);
        for (const Size size : kSizes) {
            unpacking(*level.kernels, size);
            samples(*level.kernels, size);
            demosaicing(*level.kernels, size);
        }
    }
}
