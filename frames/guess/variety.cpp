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

}  // namespace

std::vector<Answer> varied(std::vector<Answer> answers, std::size_t most) {
    constexpr double kSameSamples = 0.3;
    std::vector<Answer> list;
    std::vector<double> places;
    for (const auto& answer : answers) places.push_back(answer.rank);
    while (!answers.empty() && list.size() < most) {
        const auto next = std::min_element(places.begin(), places.end()) - places.begin();
        list.push_back(answers[static_cast<std::size_t>(next)]);
        answers.erase(answers.begin() + next);
        places.erase(places.begin() + next);
        for (std::size_t i = 0; i < answers.size(); ++i)
            if (has_same_samples(list.back(), answers[i])) places[i] += kSameSamples;
    }
    return list;
}

}  // namespace frames
