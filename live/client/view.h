#pragma once

#include "client/converter.h"

#include <memory>
#include <string>

namespace live {

/// What a user asks for while pictures are shown.
enum class Wish { kNothing, kPause, kSave, kAutoLevels, kNextDemosaic, kQuit };

/// Where pictures are shown.
class View {
  public:
    virtual ~View() = default;
    /// imgcnv_target_kind of the pictures it shows.
    virtual int target_kind() const = 0;
    /// Takes the next wish; zooming and redrawing are the view's own affair.
    virtual Wish next_wish() = 0;
    virtual void show(Picture& picture, const std::string& title) = 0;
};

/// A window, or the terminal where there is no display. Throws Failure when there is neither.
std::unique_ptr<View> open_view();

/// Null when there is no display.
std::unique_ptr<View> open_window();
/// Null when standard output is not a terminal.
std::unique_ptr<View> open_terminal();

}  // namespace live
