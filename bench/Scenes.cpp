#include "bench/Scenes.h"

#include <xcb/xcb.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <random>
#include <stdexcept>
#include <vector>

namespace bench {
namespace {

struct Disconnect {
    void operator()(xcb_connection_t* open) const { xcb_disconnect(open); }
};

constexpr std::uint32_t paper = 0xFFFDF6;
constexpr std::uint32_t ink = 0x202428;
constexpr int lineHeight = 15;
constexpr int letterWidth = 6;
constexpr int marginTop = 48;
constexpr int draggedWidth = 640;
constexpr int draggedHeight = 400;

std::string words(std::mt19937& random, std::size_t length) {
    std::string text;
    while (text.size() < length) {
        const auto letters = 2 + random() % 8;
        for (std::size_t letter = 0; letter < letters; ++letter)
            text += static_cast<char>('a' + random() % 26);
        text += ' ';
    }
    text.resize(length);
    return text;
}

} // namespace

std::optional<SceneKind> sceneKind(std::string_view name) {
    constexpr std::array<std::string_view, 5> names{"still", "typing", "scrolling", "window",
                                                    "video"};
    const auto* const found = std::ranges::find(names, name);
    if (found == names.end())
        return std::nullopt;
    return static_cast<SceneKind>(found - names.begin());
}

struct Scene::State {
    State(const std::string& display, SceneKind kind)
        : connection(xcb_connect(display.c_str(), nullptr)),
          kind(kind) {
        if (xcb_connection_has_error(connection.get()) != 0)
            throw std::runtime_error("no X server at " + display);
        screen = xcb_setup_roots_iterator(xcb_get_setup(connection.get())).data;
        columns =
            static_cast<std::size_t>(std::min(screen->width_in_pixels / letterWidth - 4, 250));
        rows = (screen->height_in_pixels - marginTop) / lineHeight - 1;
        openWindow();
        prepare();
    }

    void openWindow() {
        window = xcb_generate_id(connection.get());
        const std::array<std::uint32_t, 2> values{paper, 1};
        xcb_create_window(connection.get(), XCB_COPY_FROM_PARENT, window, screen->root, 0, 0,
                          screen->width_in_pixels, screen->height_in_pixels, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                          XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values.data());
        xcb_map_window(connection.get(), window);
        const auto font = xcb_generate_id(connection.get());
        constexpr std::string_view name = "fixed";
        xcb_open_font(connection.get(), font, name.size(), name.data());
        context = xcb_generate_id(connection.get());
        const std::array<std::uint32_t, 4> settings{ink, paper, font, 0};
        xcb_create_gc(connection.get(), context, window,
                      XCB_GC_FOREGROUND | XCB_GC_BACKGROUND | XCB_GC_FONT |
                          XCB_GC_GRAPHICS_EXPOSURES,
                      settings.data());
        sync();
    }

    void prepare() {
        if (kind != SceneKind::video)
            for (int row = 0; row < rows; ++row)
                line(row, words(random, columns));
        if (kind == SceneKind::window)
            openDraggedWindow();
        if (kind == SceneKind::video)
            picture.resize(static_cast<std::size_t>(videoWidth()) *
                           static_cast<std::size_t>(videoHeight()));
        sync();
    }

    void openDraggedWindow() {
        dragged = xcb_generate_id(connection.get());
        const std::array<std::uint32_t, 2> values{0x3A6EA5, 1};
        xcb_create_window(connection.get(), XCB_COPY_FROM_PARENT, dragged, screen->root, 100,
                          position(draggedTop), draggedWidth, draggedHeight, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                          XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values.data());
        xcb_map_window(connection.get(), dragged);
    }

    void draw(std::uint16_t number) {
        switch (kind) {
        case SceneKind::still:
            return;
        case SceneKind::typing:
            return type(number);
        case SceneKind::scrolling:
            return scroll();
        case SceneKind::window:
            return drag(number);
        case SceneKind::video:
            return play(number);
        }
    }

    void type(std::uint16_t number) {
        const auto row = number / columns % static_cast<std::size_t>(rows);
        const auto column = number % columns;
        const char letter = static_cast<char>('A' + number % 26);
        xcb_image_text_8(connection.get(), 1, window, context, position(12 + column * letterWidth),
                         position(marginTop + (row + 1) * lineHeight), &letter);
    }

    void scroll() {
        constexpr int lines = 3;
        const auto width = screen->width_in_pixels;
        const auto height = static_cast<std::uint16_t>((rows - lines) * lineHeight);
        xcb_copy_area(connection.get(), window, window, context, 0,
                      position(marginTop + lines * lineHeight), 0, marginTop, width, height);
        for (int row = rows - lines; row < rows; ++row)
            line(row, words(random, columns));
    }

    void drag(std::uint16_t number) {
        // A circle, so that it moves every step and stays on the screen.
        const double angle = number * 0.05;
        const auto across = (screen->width_in_pixels - draggedWidth) / 2.0 + std::cos(angle) * 300;
        const auto down = (screen->height_in_pixels - draggedHeight) / 2.0 + std::sin(angle) * 200;
        const std::array<std::uint32_t, 2> place{static_cast<std::uint32_t>(across),
                                                 static_cast<std::uint32_t>(down)};
        xcb_configure_window(connection.get(), dragged, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y,
                             place.data());
        // What it leaves is blank until the window behind draws it again.
        const int first = std::max(draggedTop - marginTop, 0) / lineHeight;
        const int last = std::min((draggedTop + draggedHeight - marginTop) / lineHeight, rows - 1);
        for (int row = first; row <= last; ++row)
            line(row, lines[static_cast<std::size_t>(row)]);
        draggedTop = static_cast<int>(down);
    }

    int videoWidth() const { return screen->width_in_pixels / 2; }
    int videoHeight() const { return screen->height_in_pixels / 2; }

    void play(std::uint16_t number) {
        for (int y = 0; y < videoHeight(); ++y)
            for (int x = 0; x < videoWidth(); ++x) {
                const auto wave = static_cast<std::uint32_t>(
                    128 + 100 * std::sin((x + number * 4) * 0.01) * std::cos((y - number) * 0.02));
                const auto grain = random() % 8;
                picture[static_cast<std::size_t>(y * videoWidth() + x)] =
                    (wave + grain) << 16 | (255 - wave) << 8 | static_cast<std::uint32_t>(y & 255);
            }
        // A request may not be longer than the server takes.
        constexpr int band = 32;
        for (int y = 0; y < videoHeight(); y += band) {
            const int height = std::min(band, videoHeight() - y);
            xcb_put_image(connection.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, window, context,
                          static_cast<std::uint16_t>(videoWidth()),
                          static_cast<std::uint16_t>(height), 320, position(marginTop + y), 0,
                          screen->root_depth, static_cast<std::uint32_t>(videoWidth() * height * 4),
                          reinterpret_cast<const std::uint8_t*>(
                              &picture[static_cast<std::size_t>(y * videoWidth())]));
        }
    }

    void line(int row, std::string text) {
        xcb_image_text_8(connection.get(), static_cast<std::uint8_t>(text.size()), window, context,
                         12, position(marginTop + (row + 1) * lineHeight), text.data());
        lines.resize(std::max(lines.size(), static_cast<std::size_t>(row) + 1));
        lines[static_cast<std::size_t>(row)] = std::move(text);
    }

    void mark(std::uint16_t number) {
        for (int bit = 0; bit < markerBits; ++bit) {
            const std::uint32_t colour = (number >> bit & 1) != 0 ? 0xFFFFFF : 0;
            xcb_change_gc(connection.get(), context, XCB_GC_FOREGROUND, &colour);
            const xcb_rectangle_t square{position(bit * markerSquare), 0, markerSquare,
                                         markerSquare};
            xcb_poly_fill_rectangle(connection.get(), window, context, 1, &square);
        }
        xcb_change_gc(connection.get(), context, XCB_GC_FOREGROUND, &ink);
    }

    void sync() {
        std::free(xcb_get_input_focus_reply(connection.get(), xcb_get_input_focus(connection.get()),
                                            nullptr));
    }

    template<class Number>
    static std::int16_t position(Number pixels) {
        return static_cast<std::int16_t>(pixels);
    }

    std::unique_ptr<xcb_connection_t, Disconnect> connection;
    const SceneKind kind;
    const xcb_screen_t* screen = nullptr;
    xcb_window_t window = 0;
    xcb_window_t dragged = 0;
    xcb_gcontext_t context = 0;
    int draggedTop = 100;
    std::size_t columns = 0;
    int rows = 0;
    std::vector<std::string> lines;
    std::vector<std::uint32_t> picture;
    std::mt19937 random{7};
};

Scene::Scene(const std::string& display, SceneKind kind)
    : state(std::make_unique<State>(display, kind)) {}

Scene::~Scene() = default;

void Scene::step(std::uint16_t number) {
    state->draw(number);
    state->mark(number);
    state->sync();
}

} // namespace bench
