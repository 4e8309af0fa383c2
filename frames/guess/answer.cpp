#include "guess/answer.h"

namespace frames {

imgcnv_frame frame_of(const Answer& answer) {
    const auto& hypothesis = answer.candidate.hypothesis;
    imgcnv_frame frame = IMGCNV_FRAME_INIT;
    frame.format = answer.format->code;
    if (hypothesis.fit->coding.big_endian) frame.flags |= IMGCNV_FRAME_BIG_ENDIAN;
    frame.width = hypothesis.width;
    frame.height = answer.candidate.placement.height;
    if (hypothesis.pitch_bits != hypothesis.fit->coding.row_bits(hypothesis.width))
        frame.stride = hypothesis.pitch_bits / 8;
    frame.skip = answer.candidate.placement.skip;
    frame.gap = answer.candidate.placement.frames > 1 ? answer.candidate.placement.gap : 0;
    return frame;
}

bool is_same(const imgcnv_frame& a, const imgcnv_frame& b) {
    return a.format == b.format && a.flags == b.flags && a.width == b.width &&
           a.height == b.height && a.stride == b.stride && a.skip == b.skip && a.gap == b.gap;
}

}  // namespace frames
