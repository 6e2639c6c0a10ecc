#include "rfb/VNCArguments.h"

#include "app/host/Decimal.h"
#include "platform/Cipher.h"
#include "platform/Text.h"

#include <string_view>

namespace orvel {
namespace {

/// Takes the password out of an authentication message; there is only one copy of it then.
void takePassword(nlohmann::json& message, std::optional<std::string>& password) {
    if (password)
        platform::wipe(*password);
    password.reset();
    const auto field = message.find("password");
    if (field == message.end() || !field->is_string())
        return;
    auto& text = field->get_ref<std::string&>();
    password = text;
    platform::wipe(text);
}

} // namespace

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
    while (auto line = input.next()) {
        auto message = controlMessage(*line);
        platform::wipe(*line);
        if (!message)
            continue;
        if (messageType(*message) != "auth") {
            authentication.next = std::move(message);
            break;
        }
        takePassword(*message, authentication.password);
    }
    return authentication;
}

} // namespace orvel
