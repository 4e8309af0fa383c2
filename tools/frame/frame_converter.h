#pragma once

#include "frame/frame_shape.h"
#include "imgcnv.h"
#include "picture/picture.h"

#include <memory>
#include <span>
#include <vector>

namespace tool {

constexpr int bytesPerPixel(IMGCNV_EPixelFormat kind) {
    switch (kind) {
        case IMGCNV_PIXEL_MONO8:
            return 1;
        case IMGCNV_PIXEL_RGB8_PACKED:
        case IMGCNV_PIXEL_BGR8_PACKED:
            return 3;
        default:
            return 4;
    }
}

/// A picture as the library describes its pixels.
struct LibraryPicture {
    std::int64_t width = 0;
    std::int64_t height = 0;
    IMGCNV_EPixelFormat kind = IMGCNV_PIXEL_MONO8;
    std::uint8_t* pixels = nullptr;

    std::int64_t rowBytes() const { return width * bytesPerPixel(kind); }
    std::int64_t bytes() const { return rowBytes() * height; }
};

enum class Flip { None, Horizontal, Vertical };

struct Turn {
    int degrees = 0;  ///< clockwise: 0, 90, 180, 270
    Flip flip = Flip::None;

    explicit operator bool() const { return degrees != 0 || flip != Flip::None; }
};

/// Converts frames of one shape to complete pictures of exactly width x height pixels.
///
/// The library leaves some geometries partly unwritten, shifted or padded. Such frames are
/// rearranged before or after, so that every pixel of the picture comes from the library and from
/// its place:
///
///   Bayer, odd width      each row gets one more column, a copy of the one two before it, which
///                         has the same colour; the column is cut off the result
///   Bayer, odd height     the extra row is cut off
///   Bayer GR              read from the second row on, where it is a BG mosaic: one row less
///   packed mono, odd      each row is completed to a whole group, the extra pixel cut off
///   YUV, broken groups    converted as the whole groups the rows hold, the rest cut off
///   Mono1p, Mono4p        as rows of whole bytes when a stride is given; the stream of Mono1p is
///                         read to a whole byte
///   RGB8, BGR8            row padding is removed first where the library would copy it along
///   Mono1p, Mono1C        become grey first and colour then
///
/// One converter serves one thread.
class FrameConverter {
  public:
    FrameConverter(const FrameShape& shape, PixelKind kind,
                   IMGCNV_EBayerDemosaic demosaic, Turn turn);
    ~FrameConverter();
    FrameConverter(const FrameConverter&) = delete;
    FrameConverter& operator=(const FrameConverter&) = delete;

    /// `frame` holds shape.frameBytes() bytes, a list of points of any length for Mono1C. The
    /// picture lives until the next call. Throws Failure.
    Picture convert(std::span<std::uint8_t> frame);

  private:
    void planSource();
    void open();
    std::uint8_t* arrange(std::span<std::uint8_t> frame);
    std::int64_t checkedPointBytes(std::span<const std::uint8_t> frame) const;
    void crop();
    void turn();
    void expand();

    FrameShape shape_;
    PixelKind wanted_;
    IMGCNV_EPixelFormat kind_;       ///< of the picture
    IMGCNV_EPixelFormat firstKind_;  ///< of the first conversion
    IMGCNV_EBayerDemosaic demosaic_;
    Turn turn_;

    std::int64_t skippedBytes_ = 0;  ///< the first row of GR frames
    std::int64_t pictureRows_ = 0;
    std::int64_t arrangedRow_ = 0;   ///< bytes of a rearranged row; 0: the frame serves as it is
    std::int64_t writtenWidth_ = 0;  ///< pixels a row, as the library writes them
    std::int64_t writtenRows_ = 0;

    IMGCNV_SOpenParam param_{};
    IMGCNV_HANDLE handle_ = nullptr;
    std::vector<std::uint8_t> arranged_, pixels_, spare_;
    LibraryPicture picture_;
};

}  // namespace tool
