// What a C++ program of somebody else does.
#include <cstdio>
#include <imgcnv.hpp>

int main() {
    const imgcnv::Frame frame{imgcnv::PixelFormat::Mono12Packed, 2, 1};
    const std::vector<std::uint8_t> source{0xAB, 0xC4, 0xDE};
    const auto picture = imgcnv::convert(frame, imgcnv::Destination::RGB24, source);
    if (!picture) {
        std::fprintf(stderr, "%s\n", to_string(picture.error()).c_str());
        return 1;
    }
    const std::vector<std::uint8_t> expected{0xAB, 0xAB, 0xAB, 0xDE, 0xDE, 0xDE};
    return *picture == expected ? 0 : 1;
}
