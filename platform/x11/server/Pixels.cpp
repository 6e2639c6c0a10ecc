#include "platform/x11/server/Pixels.h"

namespace platform::x11 {
namespace {

const xcb_visualtype_t* rootVisual(const xcb_screen_t& screen) {
    for (auto depth = xcb_screen_allowed_depths_iterator(&screen); depth.rem > 0;
         xcb_depth_next(&depth))
        for (auto visual = xcb_depth_visuals_iterator(depth.data); visual.rem > 0;
             xcb_visualtype_next(&visual))
            if (visual.data->visual_id == screen.root_visual)
                return visual.data;
    return nullptr;
}

const xcb_format_t* formatOf(const xcb_setup_t& setup, int depth) {
    for (auto format = xcb_setup_pixmap_formats_iterator(&setup); format.rem > 0;
         xcb_format_next(&format))
        if (format.data->depth == depth)
            return format.data;
    return nullptr;
}

struct Masks {
    std::uint32_t red;
    std::uint32_t green;
    std::uint32_t blue;
    friend bool operator==(const Masks&, const Masks&) = default;
};

std::optional<picture::PixelLayout> layoutOf(const Masks& masks) {
    using picture::PixelLayout;
    if (masks == Masks{0xFF0000, 0xFF00, 0xFF})
        return PixelLayout::bgrx8888;
    if (masks == Masks{0xF800, 0x7E0, 0x1F})
        return PixelLayout::rgb565;
    if (masks == Masks{0x3FF00000, 0xFFC00, 0x3FF})
        return PixelLayout::rgb101010;
    return std::nullopt;
}

} // namespace

std::optional<picture::PixelLayout> pixelLayout(const Connection& connection) {
    const auto& setup = *xcb_get_setup(connection);
    const auto* const visual = rootVisual(connection.screen());
    const auto* const format = formatOf(setup, connection.screen().root_depth);
    constexpr int rowPad = 32;
    if (!visual || !format || visual->_class != XCB_VISUAL_CLASS_TRUE_COLOR ||
        setup.image_byte_order != XCB_IMAGE_ORDER_LSB_FIRST || format->scanline_pad != rowPad)
        return std::nullopt;
    const auto layout = layoutOf({visual->red_mask, visual->green_mask, visual->blue_mask});
    return layout && picture::bitsPerPixel(*layout) == format->bits_per_pixel ? layout
                                                                              : std::nullopt;
}

} // namespace platform::x11
