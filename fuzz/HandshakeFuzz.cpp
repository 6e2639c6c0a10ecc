#include "fuzz/Fuzz.h"
#include "platform/Text.h"
#include "rfb/Framebuffer.h"
#include "rfb/RFBError.h"
#include "rfb/RFBHandshake.h"

#include <optional>
#include <string>

using fuzz::Bytes;

namespace {

constexpr std::size_t greeting = 12;
constexpr std::size_t setup = 40;

void requireReasonable(const orvel::RFBServer& server) {
    const auto usable = [](int side) { return side >= 1 && side <= orvel::Framebuffer::maxSide; };
    fuzz::require(usable(server.width) && usable(server.height), "the screen has a usable size");
    fuzz::require(platform::isUTF8(server.name), "the name is text");
    fuzz::require(server.security == "none" || server.security == "vnc", "the sign-in is known");
}

/// What a client says to a server that sends `bytes` and lets it in.
Bytes answers(std::span<const std::uint8_t> bytes, char minor, bool signsIn,
              const std::string& password) {
    const std::string version = std::string("RFB 003.00") + minor + "\n";
    Bytes answer(version.begin(), version.end());
    const std::size_t types = minor == '3' ? 4 : 1 + bytes[greeting];
    if (minor != '3')
        answer.push_back(signsIn ? 2 : 1);
    if (signsIn) {
        const auto response =
            orvel::vncResponse(bytes.subspan(greeting + types).first<16>(), password);
        answer.insert(answer.end(), response.begin(), response.end());
    }
    answer.push_back(1);
    return answer;
}

} // namespace

/// Whatever a server sends, the handshake ends in a usable description or in an error for the
/// user, and the client says what the protocol has it say, no more.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const auto packets = input.ConsumeIntegral<std::uint8_t>();
    const std::string password = input.ConsumeBool() ? "geheim" : "";
    const auto bytes = input.ConsumeRemainingBytes<std::uint8_t>();
    std::optional<orvel::RFBServer> found;
    test::ScriptedServer server(fuzz::inPackets(bytes, packets));
    try {
        orvel::RFBSocket socket(server.client());
        found = orvel::rfbHandshake(socket, password);
        orvel::rfbSetup(socket);
        while (true) // else what was written could get lost with what was not read
            socket.u8();
    } catch (const orvel::RFBError& error) {
        fuzz::require(platform::isUTF8(error.message()), "the user gets to read a text");
    }
    const auto written = server.written();
    if (!found) {
        fuzz::require(written.size() <= greeting + 1 + 16 + 1, "an error is the end");
        return 0;
    }
    requireReasonable(*found);
    fuzz::require(written.size() > greeting + setup, "the setup is sent");
    const auto expected =
        answers(bytes, static_cast<char>(written[10]), found->security == "vnc", password);
    fuzz::require(std::ranges::equal(std::span(written).first(written.size() - setup), expected),
                  "the client says what it has to");
    return 0;
}
