#include "client/view.h"

namespace live {

std::unique_ptr<View> open_view() {
    if (auto window = open_window()) return window;
    if (auto terminal = open_terminal()) return terminal;
    throw Failure("--window: there is no display, and the output is not a terminal");
}

}  // namespace live
