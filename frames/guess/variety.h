#pragma once

#include "guess/answer.h"

#include <cstddef>
#include <vector>

namespace frames {

/// Brings readings forward that differ from the better ones: who looks at the first three wants to
/// see another size, layout or depth rather than the same frame in other colours. `answers` are in
/// order, the best first, `most` are kept.
std::vector<Answer> varied(std::vector<Answer> answers, std::size_t most);

}  // namespace frames
