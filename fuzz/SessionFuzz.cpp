#include "fuzz/Fuzz.h"
#include "rfb/RFBError.h"
#include "rfb/VNCSession.h"
#include "support/Frames.h"

#include <nlohmann/json.hpp>

using fuzz::Bytes;

namespace {

constexpr int maxVideoWidth = 640; // nothing is scaled but screens with odd sides

/// Keeps a new size of the screen below 256: what larger ones cost is not what is looked for.
void tameSizes(Bytes& bytes) {
    constexpr std::array<std::uint8_t, 4> desktopSize{0xFF, 0xFF, 0xFF, 0x21};
    for (auto at = bytes.begin(); at != bytes.end();) {
        at = std::search(at, bytes.end(), desktopSize.begin(), desktopSize.end());
        if (at == bytes.end())
            return;
        if (at - bytes.begin() >= 4)
            for (const int highByte : {-4, -2})
                at[highByte] = 0;
        ++at;
    }
}

/// Each is a request for an update of a whole screen, and only the first for all of it.
void requireRequests(const std::vector<test::Bytes>& writes) {
    for (std::size_t at = 0; at < writes.size(); ++at) {
        const std::span<const std::uint8_t> write(writes[at]);
        fuzz::require(write.size() == 10 && write[0] == 3, "the client asks for updates");
        fuzz::require(write[1] == (at == 0 ? 0 : 1), "and for changes once it has all");
        for (const auto side : {6, 8}) {
            const auto length = orvel::fromBigEndian(write.subspan(side, 2));
            fuzz::require(length >= 1 && length <= orvel::Framebuffer::maxSide,
                          "of a screen that can be");
        }
    }
}

void requireFrames(const std::vector<test::Frame>& frames) {
    bool announced = false;
    for (const auto& frame : frames) {
        if (frame.type == orvel::FrameType::announcement) {
            const auto json = frame.json();
            for (const auto* side : {"w", "h"})
                fuzz::require(json[side] >= 2 && json[side].get<int>() % 2 == 0,
                              "a video has even sides");
            fuzz::require(json["w"] <= maxVideoWidth, "and is no wider than asked for");
            announced = true;
        } else if (frame.type == orvel::FrameType::clipboard) {
            fuzz::require(frame.payload.size() <= 49152, "the clipboard has its limit");
        } else {
            fuzz::require(frame.type == orvel::FrameType::video, "the session sends no errors");
            fuzz::require(announced, "video comes after its announcement");
        }
    }
}

} // namespace

/// Whatever a server sends after the handshake, the session asks only for what it should, shows
/// only what it may, and ends in an error for the user.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const auto packets = input.ConsumeIntegral<std::uint8_t>();
    const auto [width, height] = input.PickValueInArray({std::pair(100, 76), std::pair(640, 480)});
    auto bytes = input.ConsumeRemainingBytes<std::uint8_t>();
    tameSizes(bytes);
    test::CapturedOutput output;
    test::ScriptedServer server(fuzz::inPackets(std::move(bytes), packets));
    {
        orvel::VNCSession session(std::make_unique<orvel::RFBSocket>(server.client()),
                                  {width, height, "desk", "none"}, 60, 4000, maxVideoWidth);
        session.handle({{"t", "clipsync"}, {"on", true}});
        session.announce();
        try {
            session.run();
        } catch (const orvel::RFBError& error) {
            fuzz::require(error.code() == "remote_protocol", "the connection is to blame");
        }
        session.stop();
    }
    requireRequests(server.writes());
    requireFrames(output.frames());
    return 0;
}
