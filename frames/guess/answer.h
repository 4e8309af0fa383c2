#pragma once

#include "formats/format.h"
#include "guess/search.h"
#include "imgcnv_frames.h"

namespace frames {

/// A candidate with one of the formats that its coding may be.
struct Answer {
    const Format* format = nullptr;
    Candidate candidate;
    double rank = 0;
};

imgcnv_frame frame_of(const Answer& answer);
bool is_same(const imgcnv_frame& a, const imgcnv_frame& b);

}  // namespace frames
