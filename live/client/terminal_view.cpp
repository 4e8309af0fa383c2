#include "client/view.h"

#include "preview/terminal_picture.h"

#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>

namespace live {
namespace {

/// Ten pictures a second: terminals that are far away take no more.
constexpr std::chrono::milliseconds kBetweenPictures{100};

class Terminal : public View {
  public:
    Terminal() {
        tcgetattr(STDIN_FILENO, &before_);
        termios now = before_;
        now.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);  // keys at once, and unseen
        tcsetattr(STDIN_FILENO, TCSANOW, &now);
        std::fputs("\033[?25l\033[2J", stdout);  // no cursor, empty screen
    }
    ~Terminal() override {
        tcsetattr(STDIN_FILENO, TCSANOW, &before_);
        std::fputs("\033[?25h", stdout);
        std::fflush(stdout);
    }

    int target_kind() const override { return IMGCNV_TARGET_RGB24; }

    Wish next_wish() override {
        pollfd input{STDIN_FILENO, POLLIN, 0};
        char key = 0;
        if (poll(&input, 1, 0) != 1 || read(STDIN_FILENO, &key, 1) != 1) return Wish::kNothing;
        switch (key) {
            case ' ':
                return Wish::kPause;
            case 's':
                return Wish::kSave;
            case 'a':
                return Wish::kAutoLevels;
            case 'd':
                return Wish::kNextDemosaic;
            case 'q':
                return Wish::kQuit;
            default:
                return Wish::kNothing;
        }
    }

    void show(Picture& picture, const std::string& title) override {
        const auto now = std::chrono::steady_clock::now();
        if (now - shown_ < kBetweenPictures) return;
        shown_ = now;
        const auto terminal = tool::this_terminal();
        const auto text = tool::drawn(
            {picture.width, picture.height, tool::kRgb24, picture.pixels.data()}, terminal.best,
            terminal.columns, terminal.lines - 1);  // and a line for the title
        std::printf("\033[H%s\033[K%s", text.c_str(), title.c_str());
        std::fflush(stdout);
    }

  private:
    termios before_{};
    std::chrono::steady_clock::time_point shown_;
};

}  // namespace

std::unique_ptr<View> open_terminal() {
    if (!isatty(STDOUT_FILENO) || !isatty(STDIN_FILENO)) return nullptr;
    return std::make_unique<Terminal>();
}

}  // namespace live
