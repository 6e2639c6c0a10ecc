#include "bench/RectangleFile.h"
#include "bench/Scenes.h"
#include "rfb/RFBHandshake.h"
#include "support/VNCServers.h"

#include <cstdio>
#include <functional>
#include <stdexcept>

/// Records the ZRLE rectangles with which a real server shows a scene:
/// `bench-record scrolling|terminal|window|video FILE`.
namespace bench {
namespace {

using orvel::RFBSocket;

/// Enough to measure with, and small enough to keep with the sources.
constexpr std::size_t maxRecordingSize = 700'000;
constexpr int maxSteps = 200;

/// The source of this very test bench, again and again, in an antialiased font.
constexpr const char* terminalCommand = "while :; do cat bench/*.cpp; done";

/// Calls `step` before each update, which is to change the screen if it does not change by itself.
Rectangles recorded(const test::Xvnc& server, const std::function<void(std::uint16_t)>& step) {
    constexpr std::int32_t copyRect = 1;
    constexpr std::int32_t zrle = 16;
    RFBSocket socket("127.0.0.1", server.port());
    const auto desktop = orvel::rfbHandshake(socket, std::nullopt);
    orvel::rfbSetup(socket);
    Rectangles rectangles;
    std::size_t size = 0;
    for (std::uint16_t number = 0; number < maxSteps && size < maxRecordingSize; ++number) {
        step(number);
        std::vector<std::uint8_t> request{
            3, number > 0 ? std::uint8_t{1} : std::uint8_t{0}, 0, 0, 0, 0};
        for (const int side : {desktop.width, desktop.height})
            for (const auto byte : orvel::be16(side))
                request.push_back(byte);
        socket.write(request);
        if (socket.u16() != 0)
            throw std::runtime_error("not an update");
        for (int left = socket.u16(); left > 0; --left) {
            Rectangle rectangle{socket.u16(), socket.u16(), socket.u16(), socket.u16(), {}};
            const auto encoding = socket.i32();
            if (encoding == copyRect) {
                socket.bytes(4);
                continue;
            }
            if (encoding != zrle)
                throw std::runtime_error("another encoding");
            const auto data = socket.bytes(socket.u32());
            rectangle.data.assign(data.begin(), data.end());
            size += data.size();
            rectangles.push_back(std::move(rectangle));
        }
    }
    socket.close();
    return rectangles;
}

Rectangles recordedScene(SceneKind kind) {
    const test::Xvnc server(std::nullopt, "1280x800");
    Scene scene(server.display(), kind);
    return recorded(server, [&](std::uint16_t number) { scene.step(number); });
}

Rectangles recordedTerminal() {
    const test::Xvnc server(std::nullopt, "1280x800");
    const test::Process terminal({"xterm", "-fa", "DejaVu Sans Mono", "-fs", "11", "-geometry",
                                  "140x45+0+0", "-e", "sh", "-c", terminalCommand},
                                 {{"DISPLAY", server.display()}});
    return recorded(server, [](std::uint16_t) {});
}

} // namespace
} // namespace bench

int main(int count, char** arguments) {
    const std::string scene = count == 3 ? arguments[1] : "";
    const auto kind = bench::sceneKind(scene);
    if (!kind && scene != "terminal") {
        std::fputs("usage: bench-record scrolling|terminal|window|video FILE\n", stderr);
        return 2;
    }
    try {
        bench::writeRectangles(kind ? bench::recordedScene(*kind) : bench::recordedTerminal(),
                               arguments[2]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
