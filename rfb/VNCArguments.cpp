#include "rfb/VNCArguments.h"

#include "app/Decimal.h"
#include "platform/Text.h"

#include <string_view>

namespace orvel {

VNCArguments vncArguments(Arguments arguments) {
    VNCArguments result;
    // The first one is the command's word.
    for (std::size_t at = 1; at + 1 < arguments.size(); at += 2) {
        const std::string_view option = arguments[at];
        const std::string_view value = arguments[at + 1];
        if (option == "--host")
            result.host = platform::repairedUTF8(value);
        else if (option == "--port")
            result.port = decimal<std::int64_t>(value).value_or(VNCArguments{}.port);
    }
    return result;
}

Authentication readAuth(LineReader& input) {
    Authentication authentication;
    while (const auto line = input.next()) {
        auto message = controlMessage(*line);
        if (!message)
            continue;
        if (messageType(*message) != "auth") {
            authentication.next = std::move(message);
            break;
        }
        authentication.password = stringField(*message, "password");
    }
    return authentication;
}

} // namespace orvel
