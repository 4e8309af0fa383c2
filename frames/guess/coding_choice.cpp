#include "guess/coding_choice.h"

#include "guess/entropy.h"
#include "guess/known_sizes.h"
#include "guess/placement.h"

#include <algorithm>
#include <limits>

namespace frames {
namespace {

constexpr double kBigEndian = 0.02;
constexpr double kNoise = 7.8, kUnpredicted = 0.97;  // of the entropy of single bytes
constexpr double kWorseCodings = 1.2;
constexpr double kWorsePhases = 0.3;
constexpr std::size_t kCodings = 11;
constexpr std::size_t kPhases = 2;

class Choice {
  public:
    Choice(std::span<const std::uint8_t> window, std::int64_t size, const imgcnv_frame& known)
        : window_(window), size_(size), known_(known) {}

    CodingChoice run() {
        fit_all();
        std::stable_sort(all_.begin(), all_.end(),
                         [&](const auto& a, const auto& b) { return bits(a) < bits(b); });
        const bool noise = is_noise();
        keep_likely(noise);
        if (known_.width > 0 && std::none_of(fits_.begin(), fits_.end(), [&](const auto& fit) {
                return holds_given_size(fit.coding);
            }))
            for (auto& of_coding : all_)
                if (holds_given_size(of_coding.front().coding)) keep_phases(of_coding);
        // All are weighed with the part of the file for which all phases hold.
        std::int64_t reach = static_cast<std::int64_t>(window_.size());
        for (const auto& fit : fits_) reach = std::min(reach, fit.reach);
        for (auto& fit : fits_) fit.reach = reach;
        return {fits_, noise};
    }

  private:
    /// One coding at each place where its groups may begin, the best first.
    using Phases = std::vector<CodingFit>;

    void fit_all() {
        const auto* format = known_.format != 0 ? format_of_code(known_.format) : nullptr;
        for (const auto& coding : codings(format)) {
            if (format != nullptr && (known_.flags & IMGCNV_FRAME_BIG_ENDIAN) != 0 &&
                !coding.big_endian)
                continue;
            const auto phases = known_.skip >= 0 ? 1 : coding.group_bytes();
            auto fits = fit_coding(coding, window_, std::max<std::int64_t>(0, known_.skip), phases);
            if (!fits.empty()) all_.push_back(std::move(fits));
        }
    }

    double bits(const Phases& fits) const {
        const auto& coding = fits.front().coding;
        return fits.front().coding_bits + rarity(coding) +
               (fills_known_size(coding) ? kFitsKnownSize : 0);
    }

    /// Whether no coding predicts anything.
    bool is_noise() const {
        const auto entropy = plain_entropy(window_);
        return entropy > kNoise && std::all_of(all_.begin(), all_.end(), [&](const auto& fits) {
                   return fits.front().coding_bits > kUnpredicted * entropy;
               });
    }

    /// The most bits that a coding may cost to be looked at.
    double most_bits() const {
        // Single bits are easily predicted, and so are samples of 10 bits between which GigE
        // Vision's packing leaves bits out: what they cost says nothing against other codings.
        const auto best = std::find_if(all_.begin(), all_.end(), [](const auto& fits) {
            const auto& format = *fits.front().coding.format;
            return format.depth > 1 &&
                   !(format.layout == IMGCNV_LAYOUT_PACKED && format.depth == 10);
        });
        return best == all_.end() ? std::numeric_limits<double>::infinity()
                                  : bits(*best) + kWorseCodings;
    }

    /// The best codings, those of which the given size is the whole file, and all of noise.
    void keep_likely(bool noise) {
        const auto most = most_bits();
        for (std::size_t i = 0; i < all_.size(); ++i) {
            const bool is_good = i < kCodings && bits(all_[i]) <= most;
            const bool is_given = known_.width > 0 && fills_known_size(all_[i].front().coding);
            if (is_good || is_given || noise) keep_phases(all_[i]);
        }
    }

    /// Whether one frame of a known size, or the size that is given, is the whole file.
    bool fills_known_size(const Coding& coding) const {
        const auto fits = [&](std::int64_t width, std::int64_t height) {
            return frame_bytes(coding.row_bits(width), height) == size_;
        };
        if (known_.width > 0) return fits(known_.width, known_.height);
        return std::any_of(known_sizes().begin(), known_sizes().end(),
                           [&](const auto& size) { return fits(size.first, size.second); });
    }

    bool holds_given_size(const Coding& coding) const {
        const auto height = std::max<std::int64_t>(1, known_.height);
        return frame_bytes(coding.row_bits(known_.width), height) <= size_;
    }

    void keep_phases(Phases& of_coding) {
        // Padded rows begin groups at any phase, in a file without a header at byte 0.
        auto kept = std::vector{of_coding.front()};
        std::stable_sort(of_coding.begin(), of_coding.end(), [](const auto& a, const auto& b) {
            return a.bits_per_byte < b.bits_per_byte;
        });
        for (const auto& fit : of_coding)
            if (fit.phase != kept.front().phase && kept.size() <= kPhases &&
                fit.bits_per_byte < of_coding.front().bits_per_byte + kWorsePhases)
                kept.push_back(fit);
        fits_.insert(fits_.end(), kept.begin(), kept.end());
    }

    std::span<const std::uint8_t> window_;
    std::int64_t size_;
    const imgcnv_frame& known_;
    std::vector<Phases> all_;      ///< the cheapest coding first
    std::vector<CodingFit> fits_;  ///< what is kept
};

}  // namespace

CodingChoice choose_codings(std::span<const std::uint8_t> window, std::int64_t size,
                            const imgcnv_frame& known) {
    return Choice(window, size, known).run();
}

double rarity(const Coding& coding) {
    switch (coding.format->layout) {
        case IMGCNV_LAYOUT_BYTES:
            return 0;
        case IMGCNV_LAYOUT_WORDS:
            return coding.big_endian ? 0.005 + kBigEndian : 0.005;
        case IMGCNV_LAYOUT_RGB:
            return coding.is_deep() ? coding.big_endian ? 0.03 + kBigEndian : 0.03 : 0.008;
        case IMGCNV_LAYOUT_MIPI:
            return 0.015;
        case IMGCNV_LAYOUT_LSB_FIRST:
            return coding.is_deep() ? 0.012 : 0.03;
        case IMGCNV_LAYOUT_PACKED:
            return 0.01;
        case IMGCNV_LAYOUT_UYYVYY:
            return 0.06;
        default:
            return 0.03;
    }
}

}  // namespace frames
