#include "frames.h"

#include <png.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>

namespace imgcnv::bench {
namespace {

// Source and destination start at different places of a page: where both start
// at the same one, loads wait for stores that only seem to go to their address.
constexpr size_t kPage = 4096;
size_t next_offset() {
    static size_t offset = 0;
    return offset = (offset + 1024 + 64) % kPage;
}

[[noreturn]] void fail(const std::string& message) {
    std::fprintf(stderr, "imgcnv_bench: %s\n", message.c_str());
    std::exit(2);
}

// Smooth shading, edges and a little sensor noise.
void paint_synthetic(Rgb* pixels, Size size) {
    std::mt19937 random(2);
    for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) {
            const double shade = 0.5 + 0.3 * std::sin(x / 97.0) * std::cos(y / 61.0);
            const bool bright = std::hypot(x % 160 - 80, y % 120 - 60) < 40;
            const auto channel = [&](double tint) {
                const double noise = static_cast<double>(random() % 5) - 2;
                const double value = 255 * tint * (bright ? 1 - shade / 2 : shade) + noise;
                return static_cast<uint8_t>(std::clamp(value, 0.0, 255.0));
            };
            pixels[y * size.width + x] = {channel(.95), channel(.8), channel(.6)};
        }
    }
}

std::shared_ptr<Rgb[]> read_png(const std::string& path, Size& size) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str())) fail(path + ": " + image.message);
    image.format = PNG_FORMAT_RGB;
    size = {static_cast<int>(image.width), static_cast<int>(image.height)};
    std::shared_ptr<Rgb[]> pixels(new Rgb[image.width * image.height]);
    if (!png_image_finish_read(&image, nullptr, pixels.get(), 0, nullptr)) {
        fail(path + ": " + image.message);
    }
    return pixels;
}

int grey(Rgb p) { return (77 * p.red + 150 * p.green + 29 * p.blue) >> 8; }

// The inverse of full-range BT.601.
Rgb to_yuv(Rgb p) {
    const double y = .299 * p.red + .587 * p.green + .114 * p.blue;
    const auto byte = [](double v) {
        return static_cast<uint8_t>(std::clamp(std::lround(v), 0l, 255l));
    };
    return {byte(y), byte(128 + (p.blue - y) * .564), byte(128 + (p.red - y) * .713)};
}

// One 8-bit sample into a row of the format; the bits below it come out of `low`.
void put_sample(const SourceFormat& format, uint8_t* row, int x, int value, uint32_t low) {
    const auto put_word = [&](int bits) {
        const uint32_t word = value << bits | (low & ((1u << bits) - 1));
        row[2 * x] = static_cast<uint8_t>(word);
        row[2 * x + 1] = static_cast<uint8_t>(word >> 8);
    };
    const std::string_view name = format.name;
    if (format.group == 2 && format.group_bytes == 3) {
        row[x / 2 * 3 + x % 2 * 2] = static_cast<uint8_t>(value);
        row[x / 2 * 3 + 1] = static_cast<uint8_t>(low);
    } else if (format.group == 8) {
        row[x / 8] = static_cast<uint8_t>((row[x / 8] & ~(1 << x % 8)) | (value >> 7) << x % 8);
    } else if (format.group == 2) {
        const int shift = x % 2 * 4;
        row[x / 2] = static_cast<uint8_t>((row[x / 2] & ~(15 << shift)) | (value >> 4) << shift);
    } else if (format.group_bytes == 1) {
        row[x] = static_cast<uint8_t>(value);
    } else {
        put_word(name.ends_with("10") ? 2 : name.ends_with("12") ? 4 : 8);
    }
}

// The mosaic's sample: which colour the format's first two sites have tells all.
int bayer_sample(const SourceFormat& format, Rgb p, int x, int y) {
    const char first = format.name[5];
    const bool second = (x & 1) != 0, lower = (y & 1) != 0;
    if (first == 'G') return second != lower ? (lower ? p.red : p.blue) : p.green;
    if (second != lower) return p.green;
    return (first == 'R') != lower ? p.red : p.blue;
}

// Points in ascending order, every other pixel.
void put_points(Size size, uint8_t* bytes, size_t count) {
    for (size_t i = 0; i < count; i += 4) {
        const size_t pixel = i / 2 % (static_cast<size_t>(size.width) * size.height);
        const size_t place = (pixel / size.width + 1) << 12 | (pixel % size.width + 1);
        bytes[i] = static_cast<uint8_t>(i | 1);
        bytes[i + 1] = static_cast<uint8_t>(place >> 16);
        bytes[i + 2] = static_cast<uint8_t>(place >> 8);
        bytes[i + 3] = static_cast<uint8_t>(place);
    }
}

Record make_record(const SourceFormat& format, Size size, int padding) {
    int bytes = (row_bytes(format, size.width) + padding) * size.height;
    if (is_stream(format)) bytes = row_bytes(format, size.width * size.height);
    // Columns of a point have 12 bits; a quarter of the pixels are points.
    if (format.code == IMGCNV_PIXEL_MONO1C) bytes = size.width * size.height / 4 * 4;
    return {size.width, size.height, padding, 0, bytes, format.code};
}

}  // namespace

void Buffer::Free::operator()(uint8_t* p) const {
    std::free(reinterpret_cast<uint8_t*>(reinterpret_cast<uintptr_t>(p) / kPage * kPage));
}

Buffer::Buffer(size_t size) : size_(size) {
    const size_t offset = next_offset();
    void* memory = std::aligned_alloc(kPage, (size + offset + 2 * kPage - 1) / kPage * kPage);
    if (memory == nullptr) fail("no memory for a buffer of " + std::to_string(size) + " bytes");
    bytes_.reset(static_cast<uint8_t*>(memory) + offset);
    std::memset(bytes_.get(), 1, size);
}

Content Content::named(const std::string& name) {
    Content content;
    if (name == "noise") {
        content.description_ = "uniform noise";
        return content;
    }
    std::string path = name == "photo" ? "" : name;
    if (path.empty() && std::filesystem::is_directory(SAMPLES_FOLDER)) {
        for (const auto& entry : std::filesystem::directory_iterator(SAMPLES_FOLDER)) {
            const std::string found = entry.path().string();
            if (entry.path().extension() == ".png" && (path.empty() || found < path)) path = found;
        }
    }
    if (path.empty()) {
        const Size size{640, 480};
        std::shared_ptr<Rgb[]> pixels(new Rgb[640 * 480]);
        paint_synthetic(pixels.get(), size);
        return of("synthetic photograph (smooth shading, edges, little noise)", size, pixels);
    }
    Size size{};
    std::shared_ptr<Rgb[]> pixels = read_png(path, size);
    const std::string file = std::filesystem::path(path).filename().string();
    return of("photograph " + file + ", mirrored to size", size, std::move(pixels));
}

Content Content::of(std::string description, Size tile, std::shared_ptr<Rgb[]> pixels) {
    Content content;
    content.description_ = std::move(description);
    content.tile_ = tile;
    content.pixels_ = std::move(pixels);
    return content;
}

Rgb Content::at(int x, int y) const {
    const auto mirrored = [](int i, int n) {
        const int j = i % (2 * n);
        return j < n ? j : 2 * n - 1 - j;
    };
    return pixels_[mirrored(y, tile_.height) * tile_.width + mirrored(x, tile_.width)];
}

void Content::fill(const SourceFormat& format, Size size, int padding, uint8_t* bytes,
                   size_t count) const {
    if (format.code == IMGCNV_PIXEL_MONO1C) return put_points(size, bytes, count);
    std::mt19937 random(1);
    if (tile_.width == 0) {
        size_t i = 0;
        for (; i + 4 <= count; i += 4) {
            const uint32_t four = random();
            std::memcpy(bytes + i, &four, 4);
        }
        for (; i < count; ++i) bytes[i] = static_cast<uint8_t>(random());
        return;
    }
    const size_t stride = row_bytes(format, size.width) + padding;
    for (int y = 0; y < size.height; ++y) {
        uint8_t* row = bytes + y * stride;
        for (int x = 0; x < size.width; ++x) {
            const Rgb p = at(x, y);
            // Bit streams have no rows of their own.
            if (is_stream(format)) {
                put_sample(format, bytes, y * size.width + x, grey(p), random());
            } else if (is_bayer(format)) {
                put_sample(format, row, x, bayer_sample(format, p, x, y), random());
            } else if (format.code == IMGCNV_PIXEL_RGB8_PACKED) {
                std::memcpy(row + 3 * x, &p, 3);
            } else if (format.code == IMGCNV_PIXEL_BGR8_PACKED) {
                const Rgb reversed = {p.blue, p.green, p.red};
                std::memcpy(row + 3 * x, &reversed, 3);
            } else if (is_yuv(format)) {
                const auto [luma, u, v] = to_yuv(p);
                uint8_t* group = row + x / format.group * format.group_bytes;
                const int i = x % format.group;
                // Places of U, of V and of the group's lumas.
                static constexpr int k444[] = {0, 2, 1}, k411[] = {0, 3, 1, 2, 4, 5};
                static constexpr int kUyvy[] = {0, 2, 1, 3}, kYuyv[] = {1, 3, 0, 2};
                const int* place = format.group == 1                           ? k444
                                   : format.group == 4                         ? k411
                                   : format.code == IMGCNV_PIXEL_YUV422_PACKED ? kUyvy
                                                                               : kYuyv;
                group[place[2 + i]] = luma;
                if (i == 0) {
                    group[place[0]] = u;
                    group[place[1]] = v;
                }
            } else {
                put_sample(format, row, x, grey(p), random());
            }
        }
    }
}

Frame::Frame(const SourceFormat& format, Size size, const Content& content, int padding)
    : record(make_record(format, size, padding)), bytes(record.dataSize) {
    content.fill(format, size, padding, bytes.data(), bytes.size());
}

Job::Job(const Conversion& conversion, Size size, const Content& content, int padding)
    : frame_(*conversion.source, size, content, padding),
      destination_(bytes_written(*conversion.source, frame_.record, conversion.destination)),
      source_bytes_(
          static_cast<size_t>(frame_.record.dataSize) -
          (is_stream(*conversion.source) ? 0 : static_cast<size_t>(padding) * size.height)),
      orient_(conversion.orient) {
    if (orient_ != nullptr) return;
    int reported = 0;
    if (IMGCNV_open(&frame_.record, conversion.destination, &handle_, &reported,
                    conversion.method) != IMGCNV_SUCCESS) {
        fail("cannot open " + conversion.name);
    }
}

Job::~Job() {
    if (handle_ != nullptr) IMGCNV_close(handle_);
}

}  // namespace imgcnv::bench
