// Frames into OpenCV without a copy: the engine writes straight into a cv::Mat, whatever its step,
// here a part of a larger one. opencv FRAME.raw FORMAT WIDTH HEIGHT OUT.ppm
#include <cstdlib>
#include <fstream>
#include <imgcnv_frames.hpp>
#include <iostream>
#include <iterator>
#include <opencv2/core.hpp>

// The memory of a matrix or part of one, from its first pixel to its last.
static std::span<std::uint8_t> bytes_of(cv::Mat& matrix) {
    const auto rows = static_cast<std::size_t>(matrix.rows - 1);
    return {matrix.data,
            rows * matrix.step + static_cast<std::size_t>(matrix.cols) * matrix.elemSize()};
}

int main(int argc, char** argv) try {
    if (argc != 6) {
        std::cerr << "usage: " << argv[0] << " FRAME.raw FORMAT WIDTH HEIGHT OUT.ppm\n";
        return 2;
    }
    const int width = std::atoi(argv[3]), height = std::atoi(argv[4]);
    const auto frame = imgcnv::RawFrame::of(argv[2], width, height).value();
    std::ifstream in(argv[1], std::ios::binary);
    const std::vector<std::uint8_t> raw{std::istreambuf_iterator<char>(in), {}};

    // A picture with a border of 16 black pixels. BGR24 is CV_8UC3, grey would be CV_8UC1.
    cv::Mat framed(height + 32, width + 32, CV_8UC3, cv::Scalar::all(0));
    cv::Mat picture = framed(cv::Rect(16, 16, width, height));
    auto pipeline =
        imgcnv::Pipeline::open(
            frame, {.kind = IMGCNV_TARGET_BGR24, .stride = static_cast<std::int64_t>(picture.step)})
            .value();
    pipeline.run(raw, bytes_of(picture)).value();

    // On from here as any matrix: B and R are exchanged for the file.
    cv::Mat rgb(picture.size(), CV_8UC3);
    cv::mixChannels(picture, rgb, std::vector<int>{0, 2, 1, 1, 2, 0});
    std::ofstream out(argv[5], std::ios::binary);
    out << "P6\n" << rgb.cols << " " << rgb.rows << "\n255\n";
    out.write(rgb.ptr<char>(), static_cast<std::streamsize>(rgb.total() * rgb.elemSize()));
    return out.flush() ? 0 : 1;
} catch (const std::exception& error) {  // what value() throws has the engine's text
    std::cerr << error.what() << "\n";
    return 1;
}
