#include "bench/Filmed.h"

#include "platform/picture/DirtyBlocks.h"
#include "platform/picture/FrameMaker.h"
#include "support/XClient.h"
#include "support/XServer.h"

#include <stdexcept>

namespace bench {
namespace {

using namespace platform;

constexpr int width = 1920;
constexpr int height = 1080;

std::vector<std::uint8_t> screenshot(const test::XClient& client) {
    const auto cookie = xcb_get_image(client.connection(), XCB_IMAGE_FORMAT_Z_PIXMAP, client.root(),
                                      0, 0, width, height, ~0u);
    const auto reply = test::owned(xcb_get_image_reply(client.connection(), cookie, nullptr));
    if (!reply)
        throw std::runtime_error("no screenshot");
    const auto* data = xcb_get_image_data(reply.get());
    return {data, data + xcb_get_image_data_length(reply.get())};
}

} // namespace

std::vector<ImageBuffer> filmed(SceneKind kind, int count) {
    const test::XServer server("1920x1080x24");
    const test::XClient client(server.display());
    Scene scene(server.display(), kind);
    constexpr int bytesPerRow = width * 4;
    picture::FrameMaker maker(width, height);
    maker.setSourceSize(width, height);
    std::vector<ImageBuffer> pictures;
    std::vector<std::uint8_t> before(std::size_t{bytesPerRow} * height);
    for (int number = 0; number < count; ++number) {
        scene.step(static_cast<std::uint16_t>(number));
        const auto now = screenshot(client);
        picture::BlockMap changed(width, height);
        picture::findDirtyBlocks(now.data(), bytesPerRow, before.data(), bytesPerRow,
                                 {0, 0, width, height}, changed);
        changed.forEachRun([&](const Area& area) { maker.mark(area); });
        pictures.push_back(maker.make({now.data(), bytesPerRow, width, height}));
        before = now;
    }
    return pictures;
}

} // namespace bench
