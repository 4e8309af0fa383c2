// A raw BayerRG12Packed frame becomes a PPM picture: convert FRAME.raw WIDTH HEIGHT OUT.ppm
#include <cstdlib>
#include <fstream>
#include <imgcnv.hpp>
#include <iostream>
#include <iterator>

int main(int argc, char** argv) {
    if (argc != 5) {
        std::cerr << "usage: " << argv[0] << " FRAME.raw WIDTH HEIGHT OUT.ppm\n";
        return 2;
    }
    const imgcnv::Frame frame{imgcnv::PixelFormat::BayerRG12Packed, std::atoi(argv[2]),
                              std::atoi(argv[3])};
    std::ifstream in(argv[1], std::ios::binary);
    const std::vector<std::uint8_t> raw{std::istreambuf_iterator<char>(in), {}};

    const auto picture = imgcnv::convert(frame, imgcnv::Destination::RGB24, raw);
    if (!picture) {
        std::cerr << argv[1] << ": " << to_string(picture.error()) << "\n";
        return 1;
    }
    std::ofstream out(argv[4], std::ios::binary);
    out << "P6\n" << frame.width << " " << frame.height << "\n255\n";
    out.write(reinterpret_cast<const char*>(picture->data()),
              static_cast<std::streamsize>(picture->size()));
    return out.flush() ? 0 : 1;
}
