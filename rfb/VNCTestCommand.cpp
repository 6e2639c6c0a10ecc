#include "rfb/VNCTestCommand.h"

#include "app/host/HostChannel.h"
#include "app/host/HostWatch.h"
#include "platform/Cipher.h"
#include "rfb/RFBError.h"
#include "rfb/RFBHandshake.h"
#include "rfb/RFBSocket.h"

#include <nlohmann/json.hpp>

#include <unistd.h>

namespace orvel {

nlohmann::json probe(const VNCArguments& server, const std::optional<std::string>& password) {
    try {
        RFBSocket socket(server.host, server.port);
        const auto found = rfbHandshake(socket, password);
        return {{"ok", true},
                {"name", found.name},
                {"w", found.width},
                {"h", found.height},
                {"security", found.security}};
    } catch (const std::exception& error) {
        const auto failure = remoteFailure(error);
        return {{"ok", false}, {"error", failure.code()}, {"message", failure.message()}};
    }
}

void vncTest(Arguments arguments) {
    const HostWatch watch;
    LineReader input(STDIN_FILENO);
    auto password = readAuth(input).password;
    const auto outcome = probe(vncArguments(arguments), password);
    if (password)
        platform::wipe(*password);
    writeToHost(serialized(outcome));
}

} // namespace orvel
