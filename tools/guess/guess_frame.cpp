#include "guess/guess_frame.h"

#include "guess/frame_height.h"
#include "guess/green_sites.h"
#include "guess/known_sizes.h"
#include "guess/point_list.h"
#include "guess/row_pitch.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <set>
#include <tuple>

namespace tool {
namespace {

// In bits a byte of the file. A difference of half the bits a byte is clear, one of a hundredth is
// noise: the constants only settle ties.
constexpr double kHalvesScore = 0.05;
constexpr double kLeftOver = 0.15;        // the frames do not fill the file
constexpr double kOddProportions = 0.03;  // no sensor is five times wider than high
constexpr double kOddWidth = 0.02;        // sensors have even ones, mostly multiples of 4
constexpr double kPaddingTaken = 0.005;
constexpr double kPaddingSeen = 0.1;       // columns of one value at the end of all rows
constexpr double kEvenColumns = 0.05;      // last columns of one value, taken for picture
constexpr double kMoreBitsThanUsed = 0.1;  // depths above the highest bit set
constexpr double kWrongGreen = 0.6;        // the uneven diagonal as green, times the certainty

constexpr std::size_t kSearchedBytes = 8 << 20;
constexpr std::size_t kLongestPitch = 65536;
constexpr std::size_t kPitches = 12;
constexpr std::size_t kAside = 16;
constexpr std::size_t kFewestRows = 8;
constexpr std::size_t kRefined = 24;
constexpr std::size_t kAnswers = 24;

struct Family {
    Layout layout;
    bool mosaic;
};
constexpr std::array<Family, 13> kFamilies{{{Layout::Bits, false},
                                            {Layout::Nibbles, false},
                                            {Layout::Bytes, false},
                                            {Layout::Bytes, true},
                                            {Layout::Words, false},
                                            {Layout::Words, true},
                                            {Layout::Packed, false},
                                            {Layout::Packed, true},
                                            {Layout::Rgb, false},
                                            {Layout::Uyv, false},
                                            {Layout::Uyvy, false},
                                            {Layout::Yuyv, false},
                                            {Layout::Uyyvyy, false}}};

struct Candidate {
    Reading reading;
    std::size_t rows = 0;
    CodingCost cost;
    double rank = 0;  ///< bits a byte and what speaks against the reading
};

double plainEntropy(std::span<const std::uint8_t> bytes) {
    std::array<double, 256> counts{};
    for (const auto byte : bytes) ++counts[byte];
    double sum = 0;
    for (const auto count : counts)
        if (count > 0) sum -= count * std::log2(count / static_cast<double>(bytes.size()));
    return bytes.empty() ? 0 : sum / static_cast<double>(bytes.size());
}

/// Elements at the end of every row that hold one value throughout.
std::size_t paddingElements(std::span<const std::uint8_t> elements, std::size_t pitch) {
    const auto rows = elements.size() / pitch;
    if (rows < 2) return 0;
    const auto value = elements[pitch - 1];
    std::size_t padding = 0;
    for (; padding + 1 < pitch; ++padding)
        for (std::size_t y = 0; y < rows; ++y)
            if (elements[y * pitch + pitch - 1 - padding] != value) return padding;
    return padding;
}

class Search {
  public:
    Search(std::span<const std::uint8_t> bytes,
           std::optional<std::pair<std::int64_t, std::int64_t>> size)
        : bytes_(bytes) {
        if (size) {
            width_ = static_cast<std::size_t>(size->first);
            height_ = static_cast<std::size_t>(size->second);
        }
    }

    std::vector<Candidate> run() {
        for (const auto& family : kFamilies) width_ != 0 ? addSized(family) : addUnsized(family);
        const auto byRank = [](const Candidate& a, const Candidate& b) { return a.rank < b.rank; };
        for (auto& candidate : candidates_) weigh(candidate, 32 * 1024);
        std::stable_sort(candidates_.begin(), candidates_.end(), byRank);
        if (candidates_.size() > kRefined) candidates_.resize(kRefined);
        for (auto& candidate : candidates_) weigh(candidate, 256 * 1024);
        std::stable_sort(candidates_.begin(), candidates_.end(), byRank);
        return candidates_;
    }

    std::span<const std::uint8_t> elements(Layout layout) {
        if (elementsPerByte(layout) == 1) return bytes_;
        auto& pixels = pixels_[layout];
        if (pixels.empty()) {
            const auto most = kSearchedBytes / static_cast<std::size_t>(elementsPerByte(layout));
            pixels = unpackedElements(bytes_.first(std::min(bytes_.size(), most)), layout);
        }
        return pixels;
    }

  private:
    /// Dips of the lag profile, half of them (mosaics dip deepest at two rows), and what is near to
    /// either and divides the file: slanted edges draw a dip aside.
    const std::vector<std::size_t>& pitches(Layout layout) {
        const bool ownProfile =
            layout == Layout::Bits || layout == Layout::Nibbles || layout == Layout::Words;
        auto& list = pitches_[ownProfile ? layout : Layout::Bytes];
        if (!list.empty()) return list;
        auto signal = elements(layout);
        signal = signal.first(std::min(signal.size(), kSearchedBytes));
        const auto longest = std::min(kLongestPitch, signal.size() / 2);
        const auto profile = layout == Layout::Words ? wordLagProfile(signal, longest)
                                                     : lagProfile(signal, signal, longest);
        for (const auto dip : pitchCandidates(profile, kPitches))
            for (const auto lag : {dip, dip / 2}) {
                list.push_back(lag);
                for (auto near = lag - std::min(lag / 2, kAside); near <= lag + kAside; ++near)
                    if (near > 0 && allElements(layout) % near == 0) list.push_back(near);
            }
        if (list.empty()) list.push_back(1);
        return list;
    }

    std::size_t allElements(Layout layout) const {
        return bytes_.size() * static_cast<std::size_t>(elementsPerByte(layout));
    }

    void add(const Family& family, std::size_t width, std::size_t pitch, std::size_t rows) {
        if (width < 2 || rows < (width_ == 0 ? kFewestRows : 1) ||
            rowElements(family.layout, width) > pitch)
            return;
        // A stride is told in bytes.
        const auto perByte = static_cast<std::size_t>(elementsPerByte(family.layout));
        if (width != pitch && pitch % perByte != 0) return;
        if (!seen_.insert({family.layout, family.mosaic, width, pitch}).second) return;
        candidates_.push_back({{family.layout, family.mosaic, width, pitch}, rows, {}, 0});
    }

    void addPitch(const Family& family, std::size_t pitch) {
        const auto all = elements(family.layout);
        if (pitch < 8 || pitch > all.size() / 2) return;
        const auto padding = paddingElements(all, pitch);
        for (const auto used : {pitch - padding, pitch}) {
            const auto width = widestRow(family.layout, used);
            const auto row = rowElements(family.layout, width);
            if (row < 2 || row > pitch) continue;
            add(family, width, pitch, (allElements(family.layout) - row) / pitch + 1);
        }
    }

    void addUnsized(const Family& family) {
        for (const auto pitch : pitches(family.layout)) addPitch(family, pitch);
        for (const auto& [width, height] : knownSizes()) {
            const auto row = rowElements(family.layout, static_cast<std::size_t>(width));
            if (row * static_cast<std::size_t>(height) == allElements(family.layout))
                addPitch(family, row);
        }
    }

    void addSized(const Family& family) {
        const auto all = allElements(family.layout);
        const auto row = rowElements(family.layout, width_);
        const auto fits = [&](std::size_t pitch) {
            return pitch >= row && pitch * (height_ - 1) + row <= all;
        };
        const auto offer = [&](std::size_t pitch) {
            if (fits(pitch)) add(family, width_, pitch, height_);
        };
        offer(row);
        if (all % height_ == 0) offer(all / height_);
        if (height_ > 1 && all >= row && (all - row) % (height_ - 1) == 0)
            offer((all - row) / (height_ - 1));
        const auto perByte = static_cast<std::size_t>(elementsPerByte(family.layout));
        for (auto unit = perByte; unit <= 4096 * perByte; unit *= 2)
            offer((row + unit - 1) / unit * unit);
        if (!fits(row)) return;
        for (const auto pitch : pitches(family.layout)) offer(pitch);
    }

    void weigh(Candidate& candidate, std::size_t sampled) {
        const auto& reading = candidate.reading;
        candidate.cost = codingCost(elements(reading.layout), reading, sampled);
        candidate.rank = candidate.cost.bitsPerByte;
        const auto all = allElements(reading.layout);
        const auto row = rowElements(reading.layout, reading.width);
        const auto frame = reading.pitch * candidate.rows;
        if (all % frame != 0 && all != frame - reading.pitch + row) candidate.rank += kLeftOver;
        const auto padding = paddingElements(elements(reading.layout), reading.pitch);
        if (padding > 0) candidate.rank -= kPaddingSeen;
        if (padding > reading.pitch - row) candidate.rank += kEvenColumns;
        if (row != reading.pitch) candidate.rank += kPaddingTaken;
        if (reading.width % 2 != 0) candidate.rank += kOddWidth;
        if (reading.width % 4 != 0) candidate.rank += kOddWidth / 2;
        const auto proportion =
            static_cast<double>(reading.width) / static_cast<double>(candidate.rows);
        const auto beyond = std::max(proportion / 3, 0.6 / proportion);
        if (width_ == 0 && beyond > 1) candidate.rank += kOddProportions * (1 + std::log2(beyond));
    }

    std::span<const std::uint8_t> bytes_;
    std::size_t width_ = 0, height_ = 0;
    std::vector<Candidate> candidates_;
    std::set<std::tuple<Layout, bool, std::size_t, std::size_t>> seen_;
    std::map<Layout, std::vector<std::uint8_t>> pixels_;
    std::map<Layout, std::vector<std::size_t>> pitches_;
};

/// What speaks against a format of the candidate's layout; absent when it is another layout.
std::optional<double> against(const SourceFormat& format, const Candidate& candidate,
                              const GreenSites& green) {
    const auto& reading = candidate.reading;
    const auto& cost = candidate.cost;
    const bool rgb = reading.layout == Layout::Rgb && format.layout == Layout::Bgr;
    if ((format.layout != reading.layout && !rgb) || format.isBayer() != reading.mosaic)
        return std::nullopt;
    double bits = 0;
    if (format.layout == Layout::Words || format.layout == Layout::Packed) {
        if (format.depth < cost.usedBits && !cost.lowBitsEmpty) return std::nullopt;
        if (format.layout == Layout::Words && format.depth < cost.usedBits) return std::nullopt;
        for (const int depth : {10, 12})
            if (cost.usedBits <= depth && format.depth > depth && !cost.lowBitsEmpty)
                bits += kMoreBitsThanUsed;
    }
    const bool greenFirst = format.order == Order::GB || format.order == Order::GR;
    if (format.isBayer() && greenFirst != green.greenFirst())
        bits += kWrongGreen * green.certainty();
    return bits;
}

GuessedShape shapeOf(const SourceFormat& format, const Candidate& candidate) {
    const auto& reading = candidate.reading;
    GuessedShape guessed;
    auto& shape = guessed.shape;
    shape.format = &format;
    shape.width = static_cast<std::int64_t>(reading.width);
    shape.height = static_cast<std::int64_t>(candidate.rows);
    const auto pitchBytes =
        reading.pitch / static_cast<std::size_t>(elementsPerByte(format.layout));
    if (rowElements(reading.layout, reading.width) != reading.pitch)
        shape.stride = static_cast<std::int64_t>(pitchBytes);
    guessed.bitsPerByte = candidate.cost.bitsPerByte;
    guessed.score = candidate.rank;
    return guessed;
}

std::vector<std::string> openQuestions(const Guess& guess) {
    std::vector<std::string> open;
    const auto& best = guess.answers.front().shape;
    const auto rival = [&](auto differs) {
        return std::any_of(guess.answers.begin() + 1, guess.answers.end(), [&](const auto& answer) {
            return answer.score > 50 && differs(answer.shape);
        });
    };
    switch (best.format->order) {
        case Order::RG:
        case Order::BG:
            open.push_back("RG or BG: exchanging red and blue gives the same numbers");
            break;
        case Order::GB:
        case Order::GR:
            open.push_back("GB or GR: exchanging red and blue gives the same numbers");
            break;
        case Order::None:
            break;
    }
    if (best.format->layout == Layout::Rgb || best.format->layout == Layout::Bgr)
        open.push_back("RGB or BGR: exchanging red and blue gives the same numbers");
    if (best.format->layout == Layout::Uyvy || best.format->layout == Layout::Yuyv ||
        best.format->layout == Layout::Uyyvyy)
        open.push_back(
            "the last columns: rows end with a whole group of pixels, which may be more "
            "than the width");
    if (rival([&](const FrameShape& other) {
            return other.format->isBayer() != best.format->isBayer() &&
                   other.format->layout == best.format->layout;
        }))
        open.push_back("grey or mosaic: a scene without colours looks the same through both");
    if (rival([&](const FrameShape& other) {
            return other.format->depth != best.format->depth &&
                   other.format->layout == best.format->layout;
        }))
        open.push_back("the depth: dark frames leave the highest bits 0");
    if (rival([&](const FrameShape& other) { return other.width != best.width; }))
        open.push_back("the width: see the answers with nearly the same score");
    return open;
}

}  // namespace

bool Guess::hasStructure() const {
    return !answers.empty() && answers.front().bitsPerByte < 0.97 * plainBitsPerByte;
}

Guess guessFrame(std::span<const std::uint8_t> bytes,
                 std::optional<std::pair<std::int64_t, std::int64_t>> size) {
    Guess guess;
    guess.plainBitsPerByte = plainEntropy(bytes);
    Search search(bytes, size);
    for (const auto& candidate : search.run()) {
        GreenSites green;
        if (candidate.reading.mosaic) green = greenSites(bytes, candidate.reading);
        for (const auto& format : sourceFormats()) {
            const auto bits = against(format, candidate, green);
            if (!bits) continue;
            auto answer = shapeOf(format, candidate);
            answer.score += *bits;
            guess.answers.push_back(answer);
        }
    }
    if (const auto points = findPointList(bytes)) {
        GuessedShape answer;
        answer.shape = {&formatNamed("Mono1C"), points->columns, points->rows, std::nullopt};
        if (size && size->first >= points->columns && size->second >= points->rows)
            std::tie(answer.shape.width, answer.shape.height) = *size;
        answer.bytesBehind = static_cast<std::int64_t>(bytes.size()) - points->bytes;
        guess.answers.insert(guess.answers.begin(), answer);
    }
    if (guess.answers.empty()) return guess;
    std::stable_sort(guess.answers.begin(), guess.answers.end(),
                     [](const auto& a, const auto& b) { return a.score < b.score; });
    const auto best = guess.answers.front().score;
    for (auto& answer : guess.answers)
        answer.score = 100 * std::exp2(-(answer.score - best) / kHalvesScore);
    std::erase_if(guess.answers, [](const auto& answer) { return answer.score < 1; });
    if (guess.answers.size() > kAnswers) guess.answers.resize(kAnswers);
    for (auto& answer : guess.answers) {
        if (answer.shape.format->layout == Layout::Points) continue;
        if (!size) splitFrames(bytes, answer.shape, answer.frames);
        const auto length = static_cast<std::int64_t>(bytes.size());
        const auto frame = answer.shape.frameBytes();
        if (size) answer.frames = std::max<std::int64_t>(1, length / frame);
        answer.bytesBehind = std::max<std::int64_t>(0, length - answer.frames * frame);
    }
    guess.unknowns = openQuestions(guess);
    return guess;
}

}  // namespace tool
