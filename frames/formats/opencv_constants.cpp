#include "formats/opencv_constants.h"

#include "formats/names.h"

#include <algorithm>
#include <charconv>

namespace frames {
namespace {

struct Mosaic {
    std::string_view opencv;  // by the second and third sample of the second row
    std::string_view cell;    // newer names, by the first two rows
    std::string_view order;   // by the first two samples of the first row
};

// In the order of OpenCV's numbers.
constexpr Mosaic kMosaics[] = {
    {"bg", "rggb", "RG"}, {"gb", "grbg", "GR"}, {"rg", "bggr", "BG"}, {"gr", "gbrg", "GB"}};

// The numbers of ...2BGR, ...2BGR_VNG, ...2GRAY, ...2BGR_EA and ...2BGRA.
constexpr int kFirstNumbers[] = {46, 62, 86, 135, 139};

void say_mosaic(const Mosaic& mosaic, Text& text) {
    text << ", which takes mosaics that begin with " << mosaic.order << ": OpenCV's Bayer"
         << (mosaic.opencv == "bg"   ? "BG"
             : mosaic.opencv == "gb" ? "GB"
             : mosaic.opencv == "rg" ? "RG"
                                     : "GR")
         << " names the second row";
    text.line() << "what to do: name the frame's format: Bayer" << mosaic.order
                << "8, or for 16-bit words Bayer" << mosaic.order << "10, Bayer" << mosaic.order
                << "12 or Bayer" << mosaic.order << "16";
}

void say_yuv(bool luma_first, Text& text) {
    text << ", which takes YUV of video range";
    text.line() << "what to do: use " << (luma_first ? "YUV422_YUYV_Packed" : "YUV422Packed")
                << " with video range";
}

bool explain_number(int number, Text& text) {
    for (const int first : kFirstNumbers)
        if (number >= first && number < first + 4) {
            const auto& mosaic = kMosaics[number - first];
            text << number << " is a conversion of OpenCV";
            say_mosaic(mosaic, text);
            return true;
        }
    const bool is_uyvy = number == 107 || number == 108 || number == 111 || number == 112;
    const bool is_yuyv = number == 115 || number == 116 || number == 119 || number == 120;
    if (!is_uyvy && !is_yuyv) return false;
    text << number << " is a conversion of OpenCV";
    say_yuv(is_yuyv, text);
    return true;
}

}  // namespace

bool explain_opencv(std::string_view given, std::string_view plain, Text& text) {
    int number = 0;
    const auto* const end = plain.data() + plain.size();
    if (std::from_chars(plain.data(), end, number).ptr == end && !plain.empty())
        return explain_number(number, text);

    auto name = without_prefix(plain);
    const bool is_color = name.starts_with("color");
    if (is_color) name.remove_prefix(5);
    const auto two = name.rfind('2');
    const bool is_bayer = name.starts_with("bayer") && two != std::string_view::npos;
    if (!is_color && !(is_bayer && name.find_first_of("rg", two) != std::string_view::npos &&
                       two + 1 < name.size()))
        return false;
    if (is_bayer) {
        const auto letters = name.substr(5, two - 5);
        const auto* const mosaic = std::find_if(
            std::begin(kMosaics), std::end(kMosaics),
            [&](const Mosaic& each) { return each.opencv == letters || each.cell == letters; });
        if (mosaic == std::end(kMosaics)) return false;
        write_quoted(given, text);
        text << " is a conversion of OpenCV";
        say_mosaic(*mosaic, text);
        return true;
    }
    write_quoted(given, text);
    text << " is a conversion of OpenCV";
    if (name.find("uyvy") != std::string_view::npos) {
        say_yuv(false, text);
    } else if (name.find("yuy2") != std::string_view::npos ||
               name.find("yuyv") != std::string_view::npos) {
        say_yuv(true, text);
    } else {
        text << " and not a format";
        text.line() << "what to do: name the format of the frame that it would take";
    }
    return true;
}

}  // namespace frames
