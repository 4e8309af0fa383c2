#include "guess/variety.h"

#include <algorithm>

namespace frames {
namespace {

/// Whether readings take the same samples from the same bytes and differ in their colours alone.
bool has_same_samples(const Answer& a, const Answer& b) {
    auto frame = frame_of(a);
    frame.format = b.format->code;
    return is_same(frame, frame_of(b)) && a.format->depth == b.format->depth &&
           has_coding(*b.format, a.candidate.hypothesis.fit->coding);
}

/// Whether readings differ in nothing but the order of red and blue, which no bytes tell.
bool is_twin(const Answer& a, const Answer& b) {
    const auto green_first = [](const Format& format) {
        return format.order == IMGCNV_ORDER_GB || format.order == IMGCNV_ORDER_GR;
    };
    return has_same_samples(a, b) && is_mosaic(*a.format) == is_mosaic(*b.format) &&
           green_first(*a.format) == green_first(*b.format);
}

/// Whether a reading differs in a larger depth alone, of which a dark scene leaves bits unused.
bool is_deeper(const Answer& answer, const Answer& than) {
    auto frame = frame_of(answer);
    frame.format = than.format->code;
    return is_same(frame, frame_of(than)) && answer.format->depth > than.format->depth &&
           is_mosaic(*answer.format) == is_mosaic(*than.format) &&
           has_coding(*answer.format, than.candidate.hypothesis.fit->coding);
}

}  // namespace

std::vector<Answer> varied(std::vector<Answer> answers, std::size_t most) {
    constexpr double kTwin = 0.3, kSameSamples = 0.05, kDeeper = -0.15, kAfter = 0.0005;
    std::vector<Answer> list;
    std::vector<double> places;
    for (const auto& answer : answers) places.push_back(answer.rank);
    for (std::size_t i = 1; i < answers.size(); ++i)
        if (is_deeper(answers[i], answers[0])) {
            // Not before the best one.
            places[i] = std::max(places[i] + kDeeper, places[0] + kAfter);
            break;
        }
    while (!answers.empty() && list.size() < most) {
        const auto next = std::min_element(places.begin(), places.end()) - places.begin();
        list.push_back(answers[static_cast<std::size_t>(next)]);
        answers.erase(answers.begin() + next);
        places.erase(places.begin() + next);
        for (std::size_t i = 0; i < answers.size(); ++i)
            places[i] += is_twin(list.back(), answers[i])            ? kTwin
                         : has_same_samples(list.back(), answers[i]) ? kSameSamples
                                                                     : 0;
    }
    return list;
}

}  // namespace frames
