#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <vector>
#include <xcb/xcb.h>

namespace tavrin::testing {

// Covers the whole screen of the private desktop with a window of known colours, over its own
// connection, for as long as it lives: the left half red, the right half blue, and in the top-left
// corner a 224 by 224 checkerboard of 16-pixel green and white squares (green at the corner).
class PaintedScreen {
public:
    static constexpr std::uint32_t red = 0xff0000, blue = 0x0000ff, green = 0x00ff00, white = 0xffffff;
    static constexpr int square = 16, board = 224;

    PaintedScreen() : connection_(xcb_connect(nullptr, nullptr)) {
        if (xcb_connection_has_error(connection_))
            throw std::runtime_error("no X display");
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
        width_ = screen->width_in_pixels;
        height_ = screen->height_in_pixels;
        window_ = xcb_generate_id(connection_);
        const std::uint32_t values[] = {red, 1, XCB_EVENT_MASK_EXPOSURE};
        xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window_, screen->root, 0, 0, width_, height_, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                          XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values);
        xcb_map_window(connection_, window_);
        xcb_flush(connection_);
        while (auto* event = xcb_wait_for_event(connection_)) {
            const bool exposed = (event->response_type & 0x7f) == XCB_EXPOSE;
            std::free(event);
            if (exposed)
                break;
        }
        gc_ = xcb_generate_id(connection_);
        xcb_create_gc(connection_, gc_, window_, 0, nullptr);
        fill(blue, {{static_cast<std::int16_t>(width_ / 2), 0, static_cast<std::uint16_t>(width_ - width_ / 2),
                     static_cast<std::uint16_t>(height_)}});
        std::vector<xcb_rectangle_t> greens, whites;
        for (int y = 0; y < board; y += square)
            for (int x = 0; x < board; x += square)
                ((x + y) / square % 2 ? whites : greens)
                    .push_back({static_cast<std::int16_t>(x), static_cast<std::int16_t>(y), square, square});
        fill(green, greens);
        fill(white, whites);
        // A round trip: everything above has been drawn when it returns.
        std::free(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
    }
    ~PaintedScreen() { xcb_disconnect(connection_); }
    PaintedScreen(const PaintedScreen&) = delete;
    PaintedScreen& operator=(const PaintedScreen&) = delete;

    int width() const { return width_; }
    int height() const { return height_; }

private:
    void fill(std::uint32_t colour, const std::vector<xcb_rectangle_t>& rectangles) {
        xcb_change_gc(connection_, gc_, XCB_GC_FOREGROUND, &colour);
        xcb_poly_fill_rectangle(connection_, window_, gc_, static_cast<std::uint32_t>(rectangles.size()),
                                rectangles.data());
    }

    xcb_connection_t* connection_;
    xcb_window_t window_ = 0;
    xcb_gcontext_t gc_ = 0;
    int width_ = 0, height_ = 0;
};

} // namespace tavrin::testing
