// Frames into and out of OpenCV without a copy: the library writes straight into a cv::Mat, and
// reads straight from one. opencv FRAME.raw WIDTH HEIGHT OUT.ppm
#include <cstdlib>
#include <fstream>
#include <imgcnv.hpp>
#include <iostream>
#include <opencv2/core.hpp>

// The bytes of a matrix whose rows touch. (cv::Mat::isContinuous() is false for a cut-out.)
static std::span<std::uint8_t> bytes_of(cv::Mat& matrix) {
    CV_Assert(matrix.isContinuous());
    return {matrix.data, matrix.total() * matrix.elemSize()};
}

int main(int argc, char** argv) {
    if (argc != 5) {
        std::cerr << "usage: " << argv[0] << " FRAME.raw WIDTH HEIGHT OUT.ppm\n";
        return 2;
    }
    const imgcnv::Frame frame{imgcnv::PixelFormat::BayerRG12Packed, std::atoi(argv[2]),
                              std::atoi(argv[3])};
    auto converter = imgcnv::Converter::open(frame, imgcnv::Destination::BGR24).value();
    const imgcnv::Layout& layout = converter.layout();

    // Out of a cv::Mat: any bytes will do, here one row of them that holds the frame.
    cv::Mat raw(1, static_cast<int>(layout.source_size), CV_8UC1);
    std::ifstream in(argv[1], std::ios::binary);
    if (!in.read(raw.ptr<char>(), raw.cols)) {
        std::cerr << argv[1] << ": fewer than " << raw.cols << " bytes\n";
        return 1;
    }
    // Into a cv::Mat: BGR24 is CV_8UC3. The matrix has the extra row of an odd height; the picture
    // is a view that leaves it out.
    cv::Mat whole(static_cast<int>(layout.size / layout.stride), layout.width, CV_8UC3);
    converter.convert(bytes_of(raw), bytes_of(whole)).value();
    cv::Mat picture = whole.rowRange(0, layout.height);

    // And on as any matrix: here B and R are exchanged for the file.
    cv::Mat rgb(picture.size(), CV_8UC3);
    cv::mixChannels(picture, rgb, std::vector<int>{0, 2, 1, 1, 2, 0});
    std::ofstream out(argv[4], std::ios::binary);
    out << "P6\n" << rgb.cols << " " << rgb.rows << "\n255\n";
    out.write(rgb.ptr<char>(), static_cast<std::streamsize>(rgb.total() * rgb.elemSize()));
    return out.flush() ? 0 : 1;
}
