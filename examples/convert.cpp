// A raw frame of any format becomes a PPM picture: convert FRAME.raw FORMAT WIDTH HEIGHT OUT.ppm
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <imgcnv_frames.hpp>
#include <iostream>
#include <vector>

static int fail(const std::string& which, const std::string& what) {
    std::cerr << which << ": " << what << "\n";
    return 1;
}

int main(int argc, char** argv) {
    if (argc != 6) return fail("arguments", "expected FRAME.raw FORMAT WIDTH HEIGHT OUT.ppm");

    // Describe the frame. Its format may go by any of its names.
    const auto frame = imgcnv::RawFrame::of(argv[2], std::atoi(argv[3]), std::atoi(argv[4]));
    if (!frame) return fail(argv[2], frame.error().text);

    // Say what is wanted. A pipeline converts any number of such frames.
    auto pipeline = imgcnv::Pipeline::open(*frame, {.kind = IMGCNV_TARGET_RGB24});
    if (!pipeline) return fail(argv[1], pipeline.error().text);

    std::error_code error;
    const auto bytes = std::filesystem::file_size(argv[1], error);
    std::vector<std::uint8_t> raw(error ? 0 : bytes);
    std::ifstream in(argv[1], std::ios::binary);
    if (error || !in.read(reinterpret_cast<char*>(raw.data()), static_cast<std::streamsize>(bytes)))
        return fail(argv[1], "cannot be read");
    const auto picture = pipeline->run(raw);
    if (!picture) return fail(argv[1], picture.error().text);

    std::ofstream out(argv[5], std::ios::binary);
    out << "P6\n" << pipeline->picture().width << " " << pipeline->picture().height << "\n255\n";
    out.write(reinterpret_cast<const char*>(picture->data()),
              static_cast<std::streamsize>(picture->size()));
    return out.flush() ? 0 : fail(argv[5], "cannot be written");
}
