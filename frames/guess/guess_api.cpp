#include "geometry/frame_geometry.h"
#include "guess/answer.h"
#include "guess/coding_choice.h"
#include "guess/depth.h"
#include "guess/entropy.h"
#include "guess/file_kind.h"
#include "guess/mosaic_sites.h"
#include "guess/point_list.h"
#include "guess/search.h"
#include "guess/variety.h"
#include "support/boundary.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>

namespace frames {
namespace {

constexpr double kHalvesScore = 0.05;      // bits per byte
constexpr double kLeastScore = 6.6;        // halvings, which leave a hundredth
constexpr double kWorthAnAnswer = 0.4;     // more than the best one, before the order of colours
constexpr double kMoreBitsThanUsed = 0.1;  // depths above the highest bit set
constexpr double kColdColours = 0.03;      // red and blue exchanged so that blue is brighter
constexpr double kColourless = 0.02;       // a mosaic that is as even as a grey picture
constexpr double kRandom = 7.8;            // bits per byte of data without any structure
constexpr std::int64_t kSearchedBytes = 8 << 20;
constexpr std::int64_t kFewestBytes = 64;
constexpr std::size_t kMostPoints = std::size_t{64} << 20;

/// The largest sample of the frames' rows.
unsigned largest_sample(std::span<const std::uint8_t> window, const Candidate& candidate) {
    constexpr std::int64_t kRows = 400;
    const auto& hypothesis = candidate.hypothesis;
    const auto& coding = hypothesis.fit->coding;
    const auto row = coding.row_bits(hypothesis.width);
    const auto end = 8 * static_cast<std::int64_t>(window.size());
    const auto stride = std::max<std::int64_t>(1, candidate.placement.height / kRows);
    std::vector<std::uint16_t> samples(
        static_cast<std::size_t>(hypothesis.width * channels(*coding.format)));
    unsigned largest = 0;
    for (std::int64_t y = 0; y < candidate.placement.height; y += stride) {
        const auto bit = 8 * candidate.placement.skip + y * hypothesis.pitch_bits;
        if (bit + row > end) break;
        unpack_samples(coding, window.data() + bit / 8, bit % 8, samples.size(), samples.data());
        for (const auto sample : samples) largest = std::max<unsigned>(largest, sample);
    }
    return largest;
}

bool is_red_first(const Format& format) {
    return format.layout == IMGCNV_LAYOUT_RGB || format.layout == IMGCNV_LAYOUT_RGBA;
}

/// Whether the first channel of RGB pixels is brighter than the third.
bool is_first_brighter(std::span<const std::uint8_t> window, const Candidate& candidate) {
    std::int64_t sum = 0;
    RowSamples row;
    const auto& hypothesis = candidate.hypothesis;
    const auto bits = hypothesis.fit->coding.row_bits(hypothesis.width);
    for (std::int64_t y = 0; y < candidate.placement.height; y += 8) {
        const auto bit = 8 * candidate.placement.skip + y * hypothesis.pitch_bits;
        if (bit + bits > 8 * static_cast<std::int64_t>(window.size())) break;
        split_row(hypothesis.fit->coding, window.data(), bit, hypothesis.width, 0, row);
        for (std::size_t x = 0; x < row.planes[1].size(); ++x)
            sum += row.planes[1][x] - row.planes[2][x];
    }
    return sum >= 0;
}

/// What speaks against an order of a mosaic's colours.
double against_order(const MosaicSites& sites, int order) {
    const bool green_first = order == IMGCNV_ORDER_GB || order == IMGCNV_ORDER_GR;
    const bool are_greens = green_first == sites.green_first();
    return sites.against_green(green_first) - sites.against_green(sites.green_first()) +
           (are_greens && order != sites.likeliest_order() ? kColdColours : 0);
}

bool is_possible(const Format& format, const Hypothesis& hypothesis, const imgcnv_frame& known) {
    return !is_points(format) && has_coding(format, hypothesis.fit->coding) &&
           is_mosaic(format) == hypothesis.is_mosaic &&
           (known.format == 0 || known.format == format.code);
}

/// The formats that a candidate's coding may be, each with what speaks against it.
void add_formats(std::span<const std::uint8_t> window, const Candidate& candidate,
                 const imgcnv_frame& known, std::vector<Answer>& answers) {
    auto hypothesis = candidate.hypothesis;
    hypothesis.start = candidate.placement.skip;
    const auto& coding = hypothesis.fit->coding;
    const auto end =
        candidate.placement.skip + frame_bytes(hypothesis.pitch_bits, candidate.placement.height);
    MosaicSites green;
    if (hypothesis.is_mosaic)
        green = mosaic_sites(window.first(std::min(window.size(), static_cast<std::size_t>(end))),
                             hypothesis);
    const auto used = coding.is_deep() ? largest_sample(window, candidate) : 0;
    const bool is_red = is_rgb(*coding.format) && is_first_brighter(window, candidate);
    for (const auto& format : formats()) {
        if (!is_possible(format, hypothesis, known)) continue;
        auto depth = against_depth(format, coding, used);
        if (!depth && known.format != 0) depth = kMoreBitsThanUsed;
        if (!depth) continue;
        double bits = *depth;
        if (is_mosaic(format)) bits += against_order(green, format.order);
        if (is_rgb(format) && is_red_first(format) != is_red) bits += kColdColours;
        answers.push_back({&format, candidate, candidate.rank + bits});
    }
}

/// Whether the frame may be converted: the rows of a file of gigabytes may be too many for one.
bool is_convertible(const Answer& answer) {
    Geometry geometry;
    Text why(nullptr, 0);
    return measure(frame_of(answer), geometry, why) == IMGCNV_OK;
}

/// An answer of the same pixels in another packing that the bytes speak for nearly as much: GigE
/// Vision's, `p`, MIPI's or words of the other byte order.
const Answer* layout_rival(const Answer& answer, std::span<const Answer> all) {
    const auto& frame = answer.candidate;
    const auto rival = std::find_if(all.begin(), all.end(), [&](const Answer& other) {
        return other.rank < answer.rank + 2 * kHalvesScore &&
               other.candidate.hypothesis.width == frame.hypothesis.width &&
               other.candidate.placement.height == frame.placement.height &&
               channels(*other.format) == channels(*answer.format) &&
               !has_coding(*other.format, frame.hypothesis.fit->coding);
    });
    return rival == all.end() ? nullptr : &*rival;
}

/// Two formats that differ in the places of red and blue alone; null where there are none.
const char* exchanged_colours(const Format& format) {
    if (is_rgb(format)) return "RGB or BGR";
    switch (format.order) {
        case IMGCNV_ORDER_RG:
        case IMGCNV_ORDER_BG:
            return "RG or BG";
        case IMGCNV_ORDER_GB:
        case IMGCNV_ORDER_GR:
            return "GB or GR";
        default:
            return nullptr;
    }
}

/// A way in which two answers may differ, and what to say where the bytes speak for both alike.
struct Difference {
    bool (*is_between)(const Answer& answer, const Answer& other);
    const char* text;
};
constexpr Difference kDifferences[] = {
    {[](const Answer& answer, const Answer& other) {
         return is_mosaic(*other.format) != is_mosaic(*answer.format) &&
                other.format->layout == answer.format->layout;
     },
     "grey or mosaic: a scene without colours looks the same through both"},
    {[](const Answer& answer, const Answer& other) {
         return other.format->layout == answer.format->layout &&
                other.format->depth != answer.format->depth;
     },
     "the depth: dark frames leave the highest bits 0"},
    {[](const Answer& answer, const Answer& other) {
         return other.candidate.hypothesis.width != answer.candidate.hypothesis.width;
     },
     "the width"},
    {[](const Answer& answer, const Answer& other) {
         return other.candidate.hypothesis.width == answer.candidate.hypothesis.width &&
                other.candidate.placement.skip != answer.candidate.placement.skip;
     },
     "where the first frame begins: a header may be in front"},
};

/// What the bytes leave open about an answer, in one line.
void say_unknown(const Answer& answer, std::span<const Answer> all, Text& text) {
    const auto& format = *answer.format;
    const auto say = [&](const char* what) {
        if (!text.empty()) text << "; ";
        text << what;
    };
    if (const auto* pair = exchanged_colours(format); pair != nullptr) {
        say(pair);
        text << ": exchanging red and blue gives the same numbers";
    }
    for (const auto& difference : kDifferences)
        if (std::any_of(all.begin(), all.end(), [&](const Answer& other) {
                return other.rank < answer.rank + kHalvesScore &&
                       difference.is_between(answer, other);
            }))
            say(difference.text);
    if (const auto* other = layout_rival(answer, all); other != nullptr) {
        say("the packing: it may also be ");
        text << other->format->name;
    }
    if (is_yuv(format) && format.layout != IMGCNV_LAYOUT_UYV)
        say("the last columns: rows end with a whole group of pixels");
    const auto& placement = answer.candidate.placement;
    if (placement.left_over > 0) say("what the bytes behind the last frame are");
}

class Guess {
  public:
    Guess(const imgcnv_guess_question& question, imgcnv_reading* readings, int most, int& count,
          Text& text)
        : source_(question),
          known_(question.known),
          searched_(question.search_bytes > 0 ? question.search_bytes : kSearchedBytes),
          readings_(readings),
          most_(most),
          count_(count),
          text_(text) {}

    int run() {
        if (const auto status = check_known(); status != IMGCNV_OK) return status;
        const auto window = source_.bytes(0, searched_, room_);
        if (!may_be_raw(window)) return IMGCNV_BAD_DATA;
        if (add_points(window)) return IMGCNV_OK;
        find_answers(window);
        const auto entropy = plain_entropy(window);
        is_constant_ = entropy <= 0;
        is_random_ = !answers_.empty() && entropy > kRandom &&
                     answers_.front().candidate.cost > 0.97 * entropy;
        if ((is_constant_ || is_random_) && known_.width == 0) keep_known_sizes();
        if (answers_.empty()) return explain_nothing();
        give_answers();
        say_alternatives();
        return IMGCNV_OK;
    }

  private:
    bool may_be_raw(std::span<const std::uint8_t> window) {
        if (source_.has_failed()) {
            text_ << "the file cannot be read";
            return false;
        }
        if (source_.size() < kFewestBytes && known_.width == 0) {
            text_ << "too short for a frame: " << source_.size() << " bytes";
            return false;
        }
        const auto kind = file_kind(window);
        if (kind.name == nullptr || known_.skip > 0) return true;
        text_ << "not raw: " << kind.name << "; " << kind.advice;
        return false;
    }

    /// Answers by pixels, the best first.
    void find_answers(std::span<const std::uint8_t> window) {
        const auto candidates = search(source_, window, known_, fits_);
        for (const auto& candidate : candidates)
            if (candidate.rank < candidates.front().rank + kWorthAnAnswer)
                add_formats(window, candidate, known_, answers_);
        if (!candidates.empty()) add_colourless_mosaic(window, candidates.front());
        std::erase_if(answers_, [](const Answer& answer) { return !is_convertible(answer); });
        std::stable_sort(answers_.begin(), answers_.end(),
                         [](const Answer& a, const Answer& b) { return a.rank < b.rank; });
    }

    imgcnv_status check_known() {
        constexpr std::int64_t kMost = 0x7FFFFFFF;
        if (known_.width < 0 || known_.height < 0 || known_.stride < 0 || known_.skip < -1 ||
            known_.gap < -1) {
            text_ << "what is known must be positive, 0 where it is not known; skip and gap -1 "
                     "where they are not";
            return IMGCNV_BAD_ARGUMENT;
        }
        if (known_.format != 0 && format_of_code(known_.format) == nullptr) {
            text_ << "no format has the code " << std::int64_t{known_.format};
            return IMGCNV_UNKNOWN_FORMAT;
        }
        const auto size = source_.size();
        const bool fits = known_.width <= kMost && known_.height <= kMost &&
                          known_.width * std::max<std::int64_t>(1, known_.height) / 8 <= size &&
                          known_.stride <= size && known_.skip < std::max<std::int64_t>(1, size) &&
                          known_.gap <= size &&
                          known_.stride <= size / std::max<std::int64_t>(1, known_.height - 1);
        if (fits) return IMGCNV_OK;
        text_ << "no format's frame of this size fits into its " << size << " bytes";
        return IMGCNV_BAD_DATA;
    }

    bool add_points(std::span<const std::uint8_t> window) {
        if (known_.format != 0) {
            const auto* format = format_of_code(known_.format);
            if (format == nullptr || !is_points(*format)) return false;
        }
        if (!find_point_list(window.first(std::min<std::size_t>(window.size(), 4096))))
            return false;
        const auto all = source_.bytes(0, kMostPoints, room_);
        const auto list = find_point_list(all);
        if (!list) return false;
        imgcnv_reading reading{};
        reading.struct_size = sizeof reading;
        reading.frame = IMGCNV_FRAME_INIT;
        for (const auto& format : formats())
            if (is_points(format)) reading.frame.format = format.code;
        reading.frame.width = known_.width > 0 ? known_.width : list->columns;
        reading.frame.height = known_.height > 0 ? known_.height : list->rows;
        reading.frames = 1;
        reading.score = 1;
        Text unknown(reading.unknown, sizeof reading.unknown);
        if (known_.width == 0)
            unknown << "the size: a list of points tells only how far its points reach";
        if (most_ > 0 && give(reading, reading_at(0))) count_ = 1;
        return true;
    }

    /// A mosaic of a scene without colours is a grey picture in all that can be measured.
    void add_colourless_mosaic(std::span<const std::uint8_t> window, Candidate candidate) {
        if (candidate.hypothesis.is_mosaic || !candidate.hypothesis.fit->coding.may_be_mosaic() ||
            known_.format != 0)
            return;
        candidate.hypothesis.is_mosaic = true;
        candidate.rank += kColourless;
        add_formats(window, candidate, known_, answers_);
    }

    /// Where the content tells nothing, only lengths of known sizes are worth an answer.
    void keep_known_sizes() {
        std::erase_if(answers_, [](const Answer& answer) {
            const auto& placement = answer.candidate.placement;
            if (!placement.has_known_size) return true;
            if (placement.left_over > 0 && placement.frames > 1) return true;
            // Any other header, and a rest that looks like the noise, would make any length fit.
            const bool has_usual_header =
                placement.skip == 0 || (placement.skip >= 256 && placement.skip % 256 == 0);
            return !placement.is_explained &&
                   (!has_usual_header || placement.gap > 0 || placement.left_over > 0);
        });
    }

    int explain_nothing() {
        if (known_.width > 0 && is_constant_)
            text_ << "all bytes are the same: nothing speaks for frames of this size";
        else if (is_constant_)
            text_ << "all bytes are the same, and no usual size fits " << source_.size()
                  << " bytes";
        else if (is_random_)
            text_ << "nothing predicts the bytes better than chance: they may be compressed, "
                     "encrypted or noise, and no usual size fits "
                  << source_.size() << " bytes";
        else if (known_.width > 0 || known_.height > 0)
            text_ << "no format's frame of this size fits into its " << source_.size() << " bytes";
        else
            text_ << "no picture found in " << source_.size() << " bytes";
        if (known_.width == 0)
            text_.line() << "give what is known, such as the size or the format";
        else if (known_.format == 0)
            text_.line() << "give the format, too";
        return IMGCNV_BAD_DATA;
    }

    /// Readings of the caller, whose version of them may be a shorter one.
    imgcnv_reading* reading_at(int index) {
        auto* bytes = reinterpret_cast<std::uint8_t*>(readings_);
        const auto size = readings_->struct_size;
        std::memcpy(bytes + static_cast<std::size_t>(index) * size, &size, sizeof size);
        return reinterpret_cast<imgcnv_reading*>(bytes + static_cast<std::size_t>(index) * size);
    }

    void give_answers() {
        const auto lowest = answers_.front().rank;
        std::vector<Answer> worth;
        for (const auto& answer : answers_) {
            if (answer.rank > lowest + kHalvesScore * kLeastScore) break;
            if (std::none_of(worth.begin(), worth.end(), [&](const Answer& other) {
                    return is_same(frame_of(answer), frame_of(other));
                }))
                worth.push_back(answer);
        }
        for (const auto& answer : varied(worth, static_cast<std::size_t>(most_))) {
            const auto frame = frame_of(answer);
            const auto score = std::exp2((lowest - answer.rank) / kHalvesScore);
            imgcnv_reading reading{};
            reading.struct_size = sizeof reading;
            reading.frame = frame;
            reading.frames = answer.candidate.placement.frames;
            reading.score = score;
            Text unknown(reading.unknown, sizeof reading.unknown);
            say_unknown(answer, answers_, unknown);
            if (!give(reading, reading_at(count_))) break;
            ++count_;
        }
    }

    void say_alternatives() {
        if (is_constant_ || is_random_)
            text_ << (is_constant_ ? "all bytes are the same" : "the bytes look like noise")
                  << ": only the length of the file speaks for these answers";
    }

    ByteSource source_;
    imgcnv_frame known_;
    std::int64_t searched_;
    imgcnv_reading* readings_;
    int most_;
    int& count_;
    Text& text_;
    std::vector<std::uint8_t> room_;
    std::vector<CodingFit> fits_;
    std::vector<Answer> answers_;
    bool is_constant_ = false, is_random_ = false;
};

}  // namespace
}  // namespace frames

extern "C" int imgcnv_guess(const imgcnv_guess_question* question, imgcnv_reading* readings,
                            int most, int* count, char* text, size_t text_bytes) {
    using namespace frames;
    Text out(text, text_bytes);
    imgcnv_guess_question asked;
    if (!take(question, asked) || readings == nullptr || count == nullptr || most < 0 ||
        (most > 0 && readings->struct_size < sizeof(size_t)) ||
        (asked.data == nullptr && asked.read == nullptr) || asked.bytes < 0) {
        out << "imgcnv_guess needs a question with data or a function to read it, readings "
               "whose struct_size is set, and a count";
        return IMGCNV_BAD_ARGUMENT;
    }
    *count = 0;
    return guarded(out, [&] { return Guess(asked, readings, most, *count, out).run(); });
}
