#include "app/host/BigEndian.h"
#include "app/host/ControlMessages.h"
#include "fuzz/Fuzz.h"
#include "rfb/VNCSession.h"

#include <nlohmann/json.hpp>

#include <set>
#include <sstream>

namespace {

constexpr int width = 192;
constexpr int height = 108;

/// What a server makes of a client's messages (RFC 6143, 7.5), each of which came by itself.
class Server {
public:
    void take(std::span<const std::uint8_t> message) {
        switch (message[0]) {
        case 4:
            fuzz::require(message.size() == 8 && message[1] <= 1, "a key goes down or up");
            takeKey(orvel::fromBigEndian(message.subspan(4)), message[1] == 1);
            break;
        case 5:
            fuzz::require(message.size() == 6, "a pointer event has its length");
            fuzz::require(orvel::fromBigEndian(message.subspan(2, 2)) < width &&
                              orvel::fromBigEndian(message.subspan(4, 2)) < height,
                          "the pointer stays on the screen");
            break;
        case 6:
            fuzz::require(message.size() >= 8 && message.size() - 8 <= 49152 &&
                              orvel::fromBigEndian(message.subspan(4, 4)) == message.size() - 8,
                          "a text is as long as it says, and has its limit");
            break;
        default:
            fuzz::require(false, "the phone sends keys, pointer events and texts");
        }
    }

    void requireNothingPressed() const {
        fuzz::require(pressed.empty(), "every key is released in the end");
    }

private:
    void takeKey(std::uint32_t symbol, bool down) {
        const auto known = pressed.find(symbol);
        fuzz::require(down || known != pressed.end(), "only what is pressed is released");
        if (down)
            pressed.insert(symbol);
        else
            pressed.erase(known);
    }

    std::multiset<std::uint32_t> pressed;
};

} // namespace

/// Whatever the phone says, a remote desktop gets whole messages that it can make sense of.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr int maxMessages = 8; // one can already be worth thousands of the remote desktop's
    std::istringstream lines(std::string(reinterpret_cast<const char*>(data), size));
    test::ScriptedServer server([](test::ServerSide&) {});
    {
        orvel::VNCSession session(std::make_unique<orvel::RFBSocket>(server.client()),
                                  {width, height, "desk", "none"}, 60, 4000, 1920);
        std::string line;
        for (int number = 0; number < maxMessages && std::getline(lines, line); ++number)
            if (const auto message = orvel::controlMessage(line))
                session.handle(*message);
    }
    Server remote;
    for (const auto& message : server.writes())
        remote.take(message);
    remote.requireNothingPressed();
    return 0;
}
