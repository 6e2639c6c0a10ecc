#include "platform/x11/capture/MonitorFrame.h"

#include "platform/picture/DirtyBlocks.h"
#include "platform/x11/server/Pixels.h"

#include <algorithm>
#include <utility>

namespace platform::x11 {
namespace {

using picture::PixelLayout;

constexpr int bytesPerPixel = 4;
constexpr std::uint32_t allPlanes = ~0U;

/// The server's rows end at multiples of 4 bytes, as `pixelLayout` has seen to.
std::size_t rowBytes(PixelLayout layout, int width) {
    return static_cast<std::size_t>((width * picture::bitsPerPixel(layout) + 31) / 32 * 4);
}

std::size_t fetchedBytes(PixelLayout layout, const Area& area) {
    return rowBytes(layout, area.width) * static_cast<std::size_t>(area.height);
}

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

} // namespace

MonitorFrame::MonitorFrame(const Connection& connection, Area place)
    : connection(connection),
      monitor(place),
      layout(pixelLayout(connection).value()),
      size(bytesIn(place)),
      shared(SharedMemory::create(connection, 2 * size)),
      own(shared ? 0 : size),
      pixels(shared ? shared->data() : own.data()),
      arriving(shared ? shared->data() + size : nullptr) {}

MutableFrameView MonitorFrame::view() {
    return {pixels, monitor.width * bytesPerPixel, monitor.width, monitor.height};
}

bool MonitorFrame::refresh(std::span<const Area> areas, picture::BlockMap& dirty) {
    return refresh(connection.root(), monitor.x, monitor.y, areas, dirty);
}

bool MonitorFrame::refreshFrom(xcb_pixmap_t pixmap, const Area& area, picture::BlockMap& dirty) {
    return refresh(pixmap, -area.x, -area.y, {&area, 1}, dirty);
}

bool MonitorFrame::refresh(xcb_drawable_t drawable, int originX, int originY,
                           std::span<const Area> areas, picture::BlockMap& dirty) {
    if (shared && refreshShared(drawable, originX, originY, areas, dirty))
        return true;
    if (!refreshCopied(drawable, originX, originY, areas, dirty))
        return false;
    if (shared) {
        // The frame can be had, only not in this memory.
        own.assign(pixels, pixels + size);
        pixels = own.data();
        shared.reset();
    }
    return true;
}

bool MonitorFrame::refreshShared(xcb_drawable_t drawable, int originX, int originY,
                                 std::span<const Area> areas, picture::BlockMap& dirty) {
    asked.clear();
    std::size_t used = 0;
    for (const auto& area : areas) {
        if (used + fetchedBytes(layout, area) > size)
            break;
        const auto from = onWire(area, originX, originY);
        const auto offset = static_cast<std::size_t>(arriving - shared->data()) + used;
        asked.push_back(xcb_shm_get_image(connection, drawable, from.x, from.y, from.width,
                                          from.height, allPlanes, XCB_IMAGE_FORMAT_Z_PIXMAP,
                                          shared->segment(), static_cast<std::uint32_t>(offset)));
        used += fetchedBytes(layout, area);
    }
    bool complete = asked.size() == areas.size();
    for (std::size_t index = 0; index < asked.size(); ++index) {
        const auto answer = reply(connection, xcb_shm_get_image_reply, asked[index]);
        complete = complete && answer && answer->size >= fetchedBytes(layout, areas[index]);
    }
    if (!complete)
        return false;
    if (layout == PixelLayout::bgrx8888 && areas.size() == 1 && areas.front() == whole()) {
        const int bytesPerRow = monitor.width * bytesPerPixel;
        picture::findDirtyBlocks(arriving, bytesPerRow, pixels, bytesPerRow, whole(), dirty);
        std::swap(arriving, pixels);
        return true;
    }
    const auto* fresh = arriving;
    for (const auto& area : areas) {
        take(fresh, area, dirty);
        fresh += fetchedBytes(layout, area);
    }
    return true;
}

bool MonitorFrame::refreshCopied(xcb_drawable_t drawable, int originX, int originY,
                                 std::span<const Area> areas, picture::BlockMap& dirty) {
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
        if (!image || static_cast<std::size_t>(xcb_get_image_data_length(image)) <
                          fetchedBytes(layout, areas[index]))
            return false;
    }
    for (std::size_t index = 0; index < areas.size(); ++index)
        take(xcb_get_image_data(images[index].get()), areas[index], dirty);
    return true;
}

const std::uint8_t* MonitorFrame::inBGRA(const std::uint8_t* fresh, const Area& area) {
    if (layout == PixelLayout::bgrx8888)
        return fresh;
    convertedArea.resize(bytesIn(area));
    auto* to = convertedArea.data();
    for (int row = 0; row < area.height; ++row) {
        picture::convertRow(layout, fresh, area.width, to);
        fresh += rowBytes(layout, area.width);
        to += static_cast<std::ptrdiff_t>(area.width) * bytesPerPixel;
    }
    return convertedArea.data();
}

bool MonitorFrame::isAsOnScreen(const Area& area) {
    const auto from = onWire(area, monitor.x, monitor.y);
    const auto image = reply(connection, xcb_get_image_reply,
                             xcb_get_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, connection.root(),
                                           from.x, from.y, from.width, from.height, allPlanes));
    if (!image || static_cast<std::size_t>(xcb_get_image_data_length(image.get())) <
                      fetchedBytes(layout, area))
        return false;
    picture::BlockMap different(monitor.width, monitor.height);
    const auto frame = view();
    picture::findDirtyBlocks(inBGRA(xcb_get_image_data(image.get()), area),
                             area.width * bytesPerPixel, frame.at(area.x, area.y),
                             frame.bytesPerRow, area, different);
    return different.empty();
}

void MonitorFrame::take(const std::uint8_t* fresh, const Area& area, picture::BlockMap& dirty) {
    picture::replaceArea(view(), area, inBGRA(fresh, area), area.width * bytesPerPixel, dirty);
}

} // namespace platform::x11
