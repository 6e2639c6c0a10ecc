#include "platform/x11/capture/MonitorPicture.h"

#include "platform/picture/PictureDiff.h"

#include <algorithm>
#include <utility>

namespace platform::x11 {
namespace {

constexpr int bytesPerPixel = 4;
constexpr std::uint32_t allPlanes = ~0U;

std::size_t bytesIn(const Area& area) {
    return static_cast<std::size_t>(area.width) * static_cast<std::size_t>(area.height) *
           bytesPerPixel;
}

/// An area as requests have it: signed and unsigned 16 bits, which every area of a root fits.
xcb_rectangle_t onWire(const Area& area, int originX, int originY) {
    return {static_cast<std::int16_t>(area.x + originX),
            static_cast<std::int16_t>(area.y + originY), static_cast<std::uint16_t>(area.width),
            static_cast<std::uint16_t>(area.height)};
}

const xcb_visualtype_t* rootVisual(const xcb_screen_t& screen) {
    for (auto depth = xcb_screen_allowed_depths_iterator(&screen); depth.rem > 0;
         xcb_depth_next(&depth))
        for (auto visual = xcb_depth_visuals_iterator(depth.data); visual.rem > 0;
             xcb_visualtype_next(&visual))
            if (visual.data->visual_id == screen.root_visual)
                return visual.data;
    return nullptr;
}

int bitsPerPixel(const xcb_setup_t& setup, int depth) {
    for (auto format = xcb_setup_pixmap_formats_iterator(&setup); format.rem > 0;
         xcb_format_next(&format))
        if (format.data->depth == depth)
            return format.data->bits_per_pixel;
    return 0;
}

} // namespace

bool hasReadablePixels(const Connection& connection) {
    const auto& setup = *xcb_get_setup(connection);
    const auto* const visual = rootVisual(connection.screen());
    return visual && visual->_class == XCB_VISUAL_CLASS_TRUE_COLOR &&
           visual->red_mask == 0xFF0000 && visual->green_mask == 0xFF00 &&
           visual->blue_mask == 0xFF && setup.image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST &&
           bitsPerPixel(setup, connection.screen().root_depth) == 8 * bytesPerPixel;
}

MonitorPicture::MonitorPicture(const Connection& connection, Area place)
    : connection(connection),
      monitor(place),
      size(bytesIn(place)),
      shared(SharedMemory::create(connection, 2 * size)),
      own(shared ? 0 : size),
      known(shared ? shared->data() : own.data()),
      arriving(shared ? shared->data() + size : nullptr) {}

picture::Canvas MonitorPicture::canvas() {
    return {known, monitor.width * bytesPerPixel, monitor.width, monitor.height};
}

bool MonitorPicture::refresh(std::span<const Area> areas, picture::BlockMap& changed) {
    return refresh(connection.root(), monitor.x, monitor.y, areas, changed);
}

bool MonitorPicture::refreshFrom(xcb_pixmap_t pixmap, const Area& area,
                                 picture::BlockMap& changed) {
    return refresh(pixmap, -area.x, -area.y, {&area, 1}, changed);
}

bool MonitorPicture::refresh(xcb_drawable_t drawable, int originX, int originY,
                             std::span<const Area> areas, picture::BlockMap& changed) {
    return shared ? refreshShared(drawable, originX, originY, areas, changed)
                  : refreshCopied(drawable, originX, originY, areas, changed);
}

bool MonitorPicture::refreshShared(xcb_drawable_t drawable, int originX, int originY,
                                   std::span<const Area> areas, picture::BlockMap& changed) {
    asked.clear();
    std::size_t used = 0;
    for (const auto& area : areas) {
        if (used + bytesIn(area) > size)
            break;
        const auto from = onWire(area, originX, originY);
        const auto offset = static_cast<std::size_t>(arriving - shared->data()) + used;
        asked.push_back(xcb_shm_get_image(connection, drawable, from.x, from.y, from.width,
                                          from.height, allPlanes, XCB_IMAGE_FORMAT_Z_PIXMAP,
                                          shared->segment(), static_cast<std::uint32_t>(offset)));
        used += bytesIn(area);
    }
    bool complete = asked.size() == areas.size();
    for (std::size_t index = 0; index < asked.size(); ++index) {
        const auto answer = reply(connection, xcb_shm_get_image_reply, asked[index]);
        complete = complete && answer && answer->size >= bytesIn(areas[index]);
    }
    if (!complete)
        return false;
    if (areas.size() == 1 && areas.front() == whole()) {
        const int bytesPerRow = monitor.width * bytesPerPixel;
        picture::findChanges(arriving, bytesPerRow, known, bytesPerRow, whole(), changed);
        std::swap(arriving, known);
        return true;
    }
    const auto* fresh = arriving;
    for (const auto& area : areas) {
        take(fresh, area, changed);
        fresh += bytesIn(area);
    }
    return true;
}

bool MonitorPicture::refreshCopied(xcb_drawable_t drawable, int originX, int originY,
                                   std::span<const Area> areas, picture::BlockMap& changed) {
    std::vector<xcb_get_image_cookie_t> cookies;
    for (const auto& area : areas) {
        const auto from = onWire(area, originX, originY);
        cookies.push_back(xcb_get_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, drawable, from.x,
                                        from.y, from.width, from.height, allPlanes));
    }
    std::vector<Owned<xcb_get_image_reply_t>> images;
    for (const auto& cookie : cookies)
        images.push_back(reply(connection, xcb_get_image_reply, cookie));
    for (std::size_t index = 0; index < areas.size(); ++index) {
        const auto* const image = images[index].get();
        if (!image ||
            static_cast<std::size_t>(xcb_get_image_data_length(image)) < bytesIn(areas[index]))
            return false;
    }
    for (std::size_t index = 0; index < areas.size(); ++index)
        take(xcb_get_image_data(images[index].get()), areas[index], changed);
    return true;
}

void MonitorPicture::take(const std::uint8_t* fresh, const Area& area, picture::BlockMap& changed) {
    const int bytesPerRow = monitor.width * bytesPerPixel;
    auto* const old = known + static_cast<std::ptrdiff_t>(area.y) * bytesPerRow +
                      static_cast<std::ptrdiff_t>(area.x) * bytesPerPixel;
    picture::findChanges(fresh, area.width * bytesPerPixel, old, bytesPerRow, area, changed);
    picture::copyMarked(fresh, area.width * bytesPerPixel, old, bytesPerRow, area, changed);
}

} // namespace platform::x11
