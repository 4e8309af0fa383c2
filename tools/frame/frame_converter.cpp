#include "frame/frame_converter.h"

#include "errors.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace tool {
namespace {

constexpr std::int64_t kMaxInt = std::numeric_limits<std::int32_t>::max();

int toInt(std::int64_t value, const FrameShape& shape) {
    if (value > kMaxInt)
        throw UsageError("a frame of " + shape.text() + " is more than the library can address");
    return static_cast<int>(value);
}

void check(int status, const FrameShape& shape) {
    if (status == IMGCNV_SUCCESS) return;
    if (status == IMGCNV_NO_MEMORY) throw Failure("not enough memory for " + shape.text());
    throw Failure("the library refuses a frame of " + shape.text() + " with status " +
                  std::to_string(status));
}

IMGCNV_EPixelFormat libraryKind(PixelKind kind) {
    if (kind == kMono8) return IMGCNV_PIXEL_MONO8;
    if (kind == kRgb24) return IMGCNV_PIXEL_RGB8_PACKED;
    if (kind == kBgr24) return IMGCNV_PIXEL_BGR8_PACKED;
    return kind == kRgba32 ? IMGCNV_PIXEL_RGBA8_PACKED : IMGCNV_PIXEL_BGRA8_PACKED;
}

}  // namespace

FrameConverter::FrameConverter(const FrameShape& shape, PixelKind wanted,
                               IMGCNV_EBayerDemosaic demosaic, Turn turn)
    : shape_(shape),
      wanted_(wanted),
      kind_(libraryKind(wanted)),
      firstKind_(kind_),
      demosaic_(demosaic),
      turn_(turn) {
    const auto kind = kind_;
    const auto& format = *shape.format;
    const bool greyOnly = format.layout == Layout::Bits || format.layout == Layout::Points;
    // Four bytes a pixel cannot be turned, and the adaptive method leaves some alpha bytes alone.
    const bool alphaLater = turn || (format.isBayer() && demosaic == IMGCNV_DEMOSAIC_ADAPTIVE);
    if (greyOnly)
        firstKind_ = IMGCNV_PIXEL_MONO8;
    else if (alphaLater && kind == IMGCNV_PIXEL_RGBA8_PACKED)
        firstKind_ = IMGCNV_PIXEL_RGB8_PACKED;
    else if (alphaLater && kind == IMGCNV_PIXEL_BGRA8_PACKED)
        firstKind_ = IMGCNV_PIXEL_BGR8_PACKED;

    planSource();
    if (turn_ && shape_.width * pictureRows_ * bytesPerPixel(firstKind_) > kMaxInt)
        throw UsageError("a picture of " + std::to_string(shape_.width) + "x" +
                         std::to_string(pictureRows_) + " is too large to be turned: more than " +
                         std::to_string(kMaxInt) + " bytes");
    if (format.layout != Layout::Points) open();
}

FrameConverter::~FrameConverter() {
    if (handle_ != nullptr) IMGCNV_close(handle_);
}

void FrameConverter::planSource() {
    const auto& format = *shape_.format;
    const auto pitch = shape_.rowPitch();
    const bool mosaic = format.isBayer() && shape_.height > 1;
    std::int64_t rowStep = pitch;

    writtenWidth_ = shape_.width;
    pictureRows_ = shape_.height;
    if (mosaic && format.order == Order::GR) {
        skippedBytes_ = pitch;
        --pictureRows_;
    }
    writtenRows_ = pictureRows_;
    if (mosaic && pictureRows_ > 1 && pictureRows_ % 2 != 0) ++writtenRows_;

    param_.pixelFormat = format.libraryFormat;
    if (mosaic || (format.layout == Layout::Packed && !format.isBayer())) {
        writtenWidth_ += shape_.width % 2;
        if (shape_.width % 2 != 0) arrangedRow_ = rowStep = rowBytes(format, writtenWidth_);
    } else if (format.layout == Layout::Uyvy || format.layout == Layout::Yuyv) {
        writtenWidth_ += shape_.width % 2;
    } else if (format.layout == Layout::Uyyvyy) {
        writtenWidth_ = (shape_.width + 3) / 4 * 4;
    } else if (firstKind_ == format.libraryFormat && pitch != shape_.rowBytes() &&
               (format.layout == Layout::Rgb || format.layout == Layout::Bgr)) {
        arrangedRow_ = rowStep = shape_.rowBytes();
    }

    param_.width = toInt(writtenWidth_, shape_);
    param_.height = toInt(pictureRows_, shape_);
    param_.rowPadding = toInt(rowStep - rowBytes(format, writtenWidth_), shape_);
    param_.dataSize = toInt(rowStep * pictureRows_, shape_);

    if (shape_.isStream()) {
        param_.rowPadding = 0;
        param_.dataSize = toInt(shape_.frameBytes(), shape_);
        if (format.layout == Layout::Bits) {
            // One row of whole bytes; its first width * height pixels are the picture.
            param_.width = toInt(shape_.frameBytes() * 8, shape_);
            param_.height = 1;
            writtenRows_ = (param_.width + shape_.width - 1) / shape_.width;
        }
    } else if (format.bits < 8) {
        // A stream whose rows are as long as the stride.
        writtenWidth_ = pitch * 8 / format.bits;
        param_.width = toInt(writtenWidth_, shape_);
        param_.rowPadding = 0;
    }
    if (arrangedRow_ != 0) arranged_.resize(static_cast<std::size_t>(arrangedRow_ * pictureRows_));
}

void FrameConverter::open() {
    if (handle_ != nullptr) IMGCNV_close(handle_);
    handle_ = nullptr;
    int reportedBytes = 0;  // wraps, and not every format reports it: sizes are computed here
    check(IMGCNV_open(&param_, firstKind_, &handle_, &reportedBytes, demosaic_), shape_);
}

std::int64_t FrameConverter::checkedPointBytes(std::span<const std::uint8_t> frame) const {
    std::size_t at = 0;
    for (; at + 4 <= frame.size(); at += 4) {
        const auto* point = &frame[at];
        if ((point[0] | point[1] | point[2] | point[3]) == 0) return static_cast<std::int64_t>(at);
        const int row = point[1] << 4 | point[2] >> 4;
        const int column = (point[2] & 0x0F) << 8 | point[3];
        if (row < 1 || row > shape_.height || column < 1 || column > shape_.width)
            throw Failure("point " + std::to_string(at / 4) + " lies at row " +
                          std::to_string(row) + ", column " + std::to_string(column) +
                          "; expected rows 1 to " + std::to_string(shape_.height) +
                          " and columns 1 to " + std::to_string(shape_.width) +
                          "\n  the size is wrong, or the data is no Mono1C list");
    }
    if (at != frame.size())
        throw Failure("the list of points ends with " + std::to_string(frame.size() - at) +
                      " bytes of a point: expected a multiple of 4 bytes, given " +
                      std::to_string(frame.size()) + "\n  the file is cut short");
    return static_cast<std::int64_t>(at);
}

std::uint8_t* FrameConverter::arrange(std::span<std::uint8_t> frame) {
    if (shape_.format->layout == Layout::Points) {
        const auto bytes = checkedPointBytes(frame);
        param_.dataSize = toInt(std::max<std::int64_t>(bytes, 4), shape_);
        if (bytes == 0) arranged_.assign(4, 0);  // an empty list still ends with its zero point
        open();
        return bytes == 0 ? arranged_.data() : frame.data();
    }
    auto* source = frame.data() + skippedBytes_;
    if (arrangedRow_ == 0) return source;
    const auto row = shape_.rowBytes();
    const auto missing = arrangedRow_ - row;
    for (std::int64_t y = 0; y < pictureRows_; ++y) {
        const auto* from = source + y * shape_.rowPitch();
        auto* to = arranged_.data() + y * arrangedRow_;
        std::memcpy(to, from, static_cast<std::size_t>(row));
        // The last bytes of the column two before, or of anything for the pixel that is cut off.
        const auto back = shape_.format->layout == Layout::Packed ? 3 : 2 * missing;
        for (std::int64_t i = row; i < arrangedRow_; ++i) to[i] = i >= back ? to[i - back] : 0;
    }
    return arranged_.data();
}

Picture FrameConverter::convert(std::span<std::uint8_t> frame) {
    auto* source = arrange(frame);
    // Turning and expanding exchange the buffers, so either may be the smaller one.
    const auto written = writtenWidth_ * writtenRows_ * bytesPerPixel(firstKind_);
    pixels_.resize(std::max(pixels_.size(), static_cast<std::size_t>(written)));
    check(IMGCNV_convert(handle_, source, pixels_.data()), shape_);
    picture_ = {writtenWidth_, pictureRows_, firstKind_, pixels_.data()};
    crop();
    turn();
    expand();
    return {picture_.width, picture_.height, wanted_, picture_.pixels};
}

void FrameConverter::crop() {
    if (shape_.width == writtenWidth_) return;
    const auto from = picture_.rowBytes();
    picture_.width = shape_.width;
    const auto to = picture_.rowBytes();
    for (std::int64_t y = 1; y < picture_.height; ++y)
        std::memmove(pixels_.data() + y * to, pixels_.data() + y * from,
                     static_cast<std::size_t>(to));
}

void FrameConverter::turn() {
    const auto apply = [this](auto function) {
        IMGCNV_SOpenParam param{};
        param.width = static_cast<int>(picture_.width);
        param.height = static_cast<int>(picture_.height);
        param.dataSize = static_cast<int>(picture_.bytes());
        param.pixelFormat = picture_.kind;
        int bytes = 0;
        spare_.resize(std::max(spare_.size(), static_cast<std::size_t>(picture_.bytes())));
        check(function(picture_.pixels, &param, spare_.data(), &bytes), shape_);
        pixels_.swap(spare_);
        picture_ = {param.width, param.height, picture_.kind, pixels_.data()};
    };
    if (turn_.degrees == 90) apply(IMGCNV_RotationToAngle90);
    if (turn_.degrees == 180) apply(IMGCNV_RotationToAngle180);
    if (turn_.degrees == 270) apply(IMGCNV_RotationToAngle270);
    if (turn_.flip == Flip::Horizontal) apply(IMGCNV_FlipToHorizontal);
    if (turn_.flip == Flip::Vertical) apply(IMGCNV_FlipToVertical);
}

void FrameConverter::expand() {
    if (picture_.kind == kind_) return;
    IMGCNV_SOpenParam param{};
    param.width = static_cast<int>(picture_.width);
    param.height = static_cast<int>(picture_.height);
    param.dataSize = 1;  // not read by conversions to another kind
    param.pixelFormat = picture_.kind;
    LibraryPicture expanded{picture_.width, picture_.height, kind_, nullptr};
    spare_.resize(std::max(spare_.size(), static_cast<std::size_t>(expanded.bytes())));
    IMGCNV_HANDLE handle = nullptr;
    int bytes = 0;
    check(IMGCNV_open(&param, kind_, &handle, &bytes, demosaic_), shape_);
    const int status = IMGCNV_convert(handle, picture_.pixels, spare_.data());
    IMGCNV_close(handle);
    check(status, shape_);
    expanded.pixels = spare_.data();
    picture_ = expanded;
}

}  // namespace tool
