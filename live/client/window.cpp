#include "client/view.h"

#include <SDL2/SDL.h>

#include <algorithm>
#include <cmath>

namespace live {
namespace {

constexpr double kZoomStep = 1.25;

template <auto Destroy>
struct Destroyed {
    template <typename T>
    void operator()(T* object) const {
        Destroy(object);
    }
};

class Window : public View {
  public:
    Window()
        : window_(SDL_CreateWindow("imgcnv-live", SDL_WINDOWPOS_UNDEFINED, SDL_WINDOWPOS_UNDEFINED,
                                   640, 480, SDL_WINDOW_RESIZABLE | SDL_WINDOW_HIDDEN)) {
        if (window_) renderer_.reset(SDL_CreateRenderer(window_.get(), -1, 0));
        if (!renderer_) throw Failure(std::string("no window can be opened: ") + SDL_GetError());
    }
    ~Window() override {
        texture_.reset();
        renderer_.reset();
        window_.reset();
        SDL_QuitSubSystem(SDL_INIT_VIDEO);
    }

    int target_kind() const override { return IMGCNV_TARGET_BGRA32; }

    Wish next_wish() override {
        SDL_Event event;
        while (SDL_PollEvent(&event)) {
            if (event.type == SDL_QUIT) return Wish::kQuit;
            if (event.type == SDL_WINDOWEVENT) draw();
            if (event.type != SDL_KEYDOWN) continue;
            const Wish wish = wish_of(event.key.keysym.sym);
            if (wish != Wish::kNothing) return wish;
        }
        return Wish::kNothing;
    }

    void show(Picture& picture, const std::string& title) override {
        if (picture.width != width_ || picture.height != height_) resize(picture);
        SDL_UpdateTexture(texture_.get(), nullptr, picture.pixels.data(),
                          static_cast<int>(picture.row_bytes()));
        SDL_SetWindowTitle(window_.get(), title.c_str());
        draw();
    }

  private:
    Wish wish_of(SDL_Keycode key) {
        switch (key) {
            case SDLK_SPACE:
                return Wish::kPause;
            case SDLK_s:
                return Wish::kSave;
            case SDLK_a:
                return Wish::kAutoLevels;
            case SDLK_d:
                return Wish::kNextDemosaic;
            case SDLK_q:
            case SDLK_ESCAPE:
                return Wish::kQuit;
            case SDLK_PLUS:
            case SDLK_EQUALS:
            case SDLK_KP_PLUS:
                zoom_ = std::min(zoom_ * kZoomStep, 64.0);
                break;
            case SDLK_MINUS:
            case SDLK_KP_MINUS:
                zoom_ = std::max(zoom_ / kZoomStep, 1 / 64.0);
                break;
            default:
                return Wish::kNothing;
        }
        draw();
        return Wish::kNothing;
    }

    void resize(const Picture& picture) {
        const bool is_first = texture_ == nullptr;
        width_ = picture.width;
        height_ = picture.height;
        // B, G, R and a byte that does not matter: nothing is left to be reordered.
        texture_.reset(SDL_CreateTexture(renderer_.get(), SDL_PIXELFORMAT_RGB888,
                                         SDL_TEXTUREACCESS_STREAMING, static_cast<int>(width_),
                                         static_cast<int>(height_)));
        if (!texture_)
            throw Failure(std::string("the display takes no picture of this size: ") +
                          SDL_GetError());
        if (is_first) fit_to_screen();
    }

    /// The picture's own size, or three quarters of the screen for larger ones.
    void fit_to_screen() {
        SDL_Rect screen{0, 0, 1024, 768};
        SDL_GetDisplayUsableBounds(0, &screen);
        const double scale = std::min({1.0, 0.75 * screen.w / static_cast<double>(width_),
                                       0.75 * screen.h / static_cast<double>(height_)});
        SDL_SetWindowSize(window_.get(), std::max(1, static_cast<int>(std::lround(scale * width_))),
                          std::max(1, static_cast<int>(std::lround(scale * height_))));
        SDL_ShowWindow(window_.get());
    }

    /// The picture in the middle, with bars where its proportions are not the window's.
    void draw() {
        if (!texture_) return;
        int window_width = 0;
        int window_height = 0;
        SDL_GetRendererOutputSize(renderer_.get(), &window_width, &window_height);
        const double scale = zoom_ * std::min(window_width / static_cast<double>(width_),
                                              window_height / static_cast<double>(height_));
        const int width = std::max(1, static_cast<int>(std::lround(scale * width_)));
        const int height = std::max(1, static_cast<int>(std::lround(scale * height_)));
        const SDL_Rect place{(window_width - width) / 2, (window_height - height) / 2, width,
                             height};
        SDL_SetRenderDrawColor(renderer_.get(), 0, 0, 0, 255);
        SDL_RenderClear(renderer_.get());
        SDL_RenderCopy(renderer_.get(), texture_.get(), nullptr, &place);
        SDL_RenderPresent(renderer_.get());
    }

    std::unique_ptr<SDL_Window, Destroyed<SDL_DestroyWindow>> window_;
    std::unique_ptr<SDL_Renderer, Destroyed<SDL_DestroyRenderer>> renderer_;
    std::unique_ptr<SDL_Texture, Destroyed<SDL_DestroyTexture>> texture_;
    std::int64_t width_ = 0, height_ = 0;
    double zoom_ = 1;
};

}  // namespace

std::unique_ptr<View> open_window() {
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    if (SDL_InitSubSystem(SDL_INIT_VIDEO) != 0) return nullptr;
    return std::make_unique<Window>();
}

}  // namespace live
