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
constexpr int ascent = 11;
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
    constexpr std::array<std::string_view, 9> names{
        "still", "typing", "scrolling", "wheel", "window", "opening", "page", "whole", "video"};
    const auto* const found = std::ranges::find(names, name);
    if (found == names.end())
        return std::nullopt;
    return static_cast<SceneKind>(found - names.begin());
}

struct Scene::State {
    State(const std::string& display, SceneKind kind, int stepsPerSecond)
        : connection(xcb_connect(display.c_str(), nullptr)),
          kind(kind),
          stepsPerSecond(stepsPerSecond) {
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
        if (kind == SceneKind::opening)
            pages = {pageOfText(), pageOfText()};
        if (kind == SceneKind::page)
            pages = {pageOfText(), pageOfText(), pageOfText(), pageOfText()};
        if (kind == SceneKind::whole)
            pages = {pageOfText(), plainPage(), photograph(), pageOfText(), photograph()};
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
            return scroll(3 * lineHeight * 30 / stepsPerSecond);
        case SceneKind::wheel:
            return scroll(wheelStep(number * 30 / stepsPerSecond) * 30 / stepsPerSecond);
        case SceneKind::window:
            return drag(number);
        case SceneKind::opening:
            return open(number % 2 == 1);
        case SceneKind::page:
        case SceneKind::whole:
            return show(pages[number % pages.size()], 0, marginTop, screen->width_in_pixels,
                        screen->height_in_pixels);
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

    /// In pixels, downwards or upwards: what turning a wheel by fits and starts comes to where
    /// scrolling is smooth.
    static int wheelStep(int number) {
        constexpr std::array steps{3,  9,  22, 41, 58, 64, 57, 44, 31, 20,  12,  7,   4,   2,   1,
                                   24, 53, 80, 80, 47, 21, 8,  2,  -6, -19, -48, -60, -41, -17, -5};
        return steps[static_cast<std::size_t>(number) % steps.size()];
    }

    void scroll(int by) {
        constexpr int first = marginTop + lineHeight - ascent;
        const int span = rows * lineHeight;
        xcb_copy_area(connection.get(), window, window, context, 0,
                      position(first + std::max(by, 0)), 0, position(first + std::max(-by, 0)),
                      screen->width_in_pixels, static_cast<std::uint16_t>(span - std::abs(by)));
        // The lines that come in, cut off at the edge of what scrolls.
        const xcb_rectangle_t fresh{0, position(by > 0 ? first + span - by : first),
                                    screen->width_in_pixels,
                                    static_cast<std::uint16_t>(std::abs(by))};
        xcb_set_clip_rectangles(connection.get(), XCB_CLIP_ORDERING_UNSORTED, context, 0, 0, 1,
                                &fresh);
        xcb_clear_area(connection.get(), 0, window, fresh.x, fresh.y, fresh.width, fresh.height);
        scrolled += by;
        for (int y = fresh.y - lineHeight; y < fresh.y + fresh.height + lineHeight; ++y)
            if ((y - first - ascent + scrolled) % lineHeight == 0)
                text(window, y, words(random, columns));
        const xcb_rectangle_t all{0, 0, screen->width_in_pixels, screen->height_in_pixels};
        xcb_set_clip_rectangles(connection.get(), XCB_CLIP_ORDERING_UNSORTED, context, 0, 0, 1,
                                &all);
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
        put(window, picture, 320, marginTop, videoWidth(), videoHeight());
    }

    void open(bool opens) {
        const auto width = static_cast<std::uint16_t>(screen->width_in_pixels * 2 / 3);
        const auto height = static_cast<std::uint16_t>(screen->height_in_pixels * 2 / 3);
        show(pages[opens ? 1 : 0], position(width / 4), position(height / 4), width, height);
    }

    xcb_pixmap_t emptyPage(std::uint32_t colour) {
        const auto page = xcb_generate_id(connection.get());
        xcb_create_pixmap(connection.get(), screen->root_depth, page, window,
                          screen->width_in_pixels, screen->height_in_pixels);
        const xcb_rectangle_t all{0, 0, screen->width_in_pixels, screen->height_in_pixels};
        xcb_change_gc(connection.get(), context, XCB_GC_FOREGROUND, &colour);
        xcb_poly_fill_rectangle(connection.get(), page, context, 1, &all);
        xcb_change_gc(connection.get(), context, XCB_GC_FOREGROUND, &ink);
        return page;
    }

    xcb_pixmap_t plainPage() { return emptyPage(0x1E5A8C); }

    xcb_pixmap_t pageOfText() {
        const auto page = emptyPage(paper);
        for (int row = 0; row < rows; ++row)
            text(page, marginTop + (row + 1) * lineHeight, words(random, columns));
        return page;
    }

    /// Large soft shapes, finer ones on top of them, and the grain of a sensor.
    xcb_pixmap_t photograph() {
        const int width = screen->width_in_pixels;
        const int height = screen->height_in_pixels;
        std::vector<std::uint32_t> pixels(static_cast<std::size_t>(width) *
                                          static_cast<std::size_t>(height));
        const double phase = random() % 100;
        const auto shade = [&](int x, int y, double turn) {
            double sum = 128;
            double contrast = 60;
            for (double scale = 0.004; scale < 0.3; scale *= 2.3, contrast *= 0.5)
                sum += contrast *
                       std::sin(x * scale + phase + turn + 2 * std::sin(y * scale * 0.7)) *
                       std::cos(y * scale * 1.1 + phase * scale + std::sin(x * scale * 0.6));
            return static_cast<std::uint32_t>(
                std::clamp(sum + static_cast<double>(random() % 5), 0.0, 255.0));
        };
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                pixels[static_cast<std::size_t>(y * width + x)] =
                    shade(x, y, 0) << 16 | shade(x, y, 0.4) << 8 | shade(x, y, 1.1);
        const auto page = emptyPage(paper);
        put(page, pixels, 0, 0, width, height);
        return page;
    }

    void show(xcb_pixmap_t page, std::int16_t x, std::int16_t y, std::uint16_t width,
              std::uint16_t height) {
        xcb_copy_area(connection.get(), page, window, context, x, y, x, y, width, height);
    }

    void line(int row, std::string words) {
        text(window, marginTop + (row + 1) * lineHeight, words);
        lines.resize(std::max(lines.size(), static_cast<std::size_t>(row) + 1));
        lines[static_cast<std::size_t>(row)] = std::move(words);
    }

    void text(xcb_drawable_t where, int y, const std::string& words) {
        xcb_image_text_8(connection.get(), static_cast<std::uint8_t>(words.size()), where, context,
                         12, position(y), words.data());
    }

    /// By bands, because a request may not be longer than the server takes.
    void put(xcb_drawable_t where, const std::vector<std::uint32_t>& pixels, int left, int top,
             int width, int height) {
        constexpr int band = 16;
        for (int y = 0; y < height; y += band) {
            const int rowsLeft = std::min(band, height - y);
            xcb_put_image(connection.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, where, context,
                          static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(rowsLeft),
                          position(left), position(top + y), 0, screen->root_depth,
                          static_cast<std::uint32_t>(width * rowsLeft * 4),
                          reinterpret_cast<const std::uint8_t*>(
                              &pixels[static_cast<std::size_t>(y * width)]));
        }
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
    const int stepsPerSecond;
    const xcb_screen_t* screen = nullptr;
    xcb_window_t window = 0;
    xcb_window_t dragged = 0;
    xcb_gcontext_t context = 0;
    int draggedTop = 100;
    std::size_t columns = 0;
    int rows = 0;
    std::vector<std::string> lines;
    int scrolled = 0; // In pixels, since the start.
    std::vector<std::uint32_t> picture;
    std::vector<xcb_pixmap_t> pages;
    std::mt19937 random{7};
};

Scene::Scene(const std::string& display, SceneKind kind, int stepsPerSecond)
    : state(std::make_unique<State>(display, kind, stepsPerSecond)) {}

Scene::~Scene() = default;

void Scene::step(std::uint16_t number) {
    state->draw(number);
    state->mark(number);
    state->sync();
}

} // namespace bench
