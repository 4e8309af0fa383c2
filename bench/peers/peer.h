// Other libraries' ways of doing a conversion of ours, for timing only.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

namespace imgcnv::bench {

struct PeerView {
    uint8_t* src;
    uint8_t* dst;
    int width, height;
    int pixels() const { return width * height; }
};

struct Peer {
    const char* conversion;
    const char* library;
    // What the job is where it is not ours exactly.
    const char* remark;
    // Sets up what a user would set up once, scratch memory included.
    std::function<std::function<void()>(const PeerView&)> prepare;
};

// Each is there when the library was found.
void add_opencv(std::vector<Peer>& peers);
void add_libyuv(std::vector<Peer>& peers);
void add_libyuv_with_opencv(std::vector<Peer>& peers);
void add_swscale(std::vector<Peer>& peers);
void add_libdc1394(std::vector<Peer>& peers);

}  // namespace imgcnv::bench
