#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace orvel {

/// What ends the work with a remote desktop: a code for the application and a sentence for the
/// phone's user.
class RFBError final : public std::runtime_error {
public:
    /// The host name does not resolve, or no address of it accepts a connection in time.
    static RFBError unreachable(const std::string& message) {
        return {"remote_unreachable", message};
    }
    /// The server needs a password that was not given, or rejects the sign-in.
    static RFBError auth(const std::string& message) { return {"remote_auth", message}; }
    /// The server offers no sign-in that this client speaks.
    static RFBError unsupported(const std::string& message) {
        return {"remote_unsupported", message};
    }
    /// The connection drops, or the server sends what is malformed or out of bounds.
    static RFBError broken(const std::string& message) { return {"remote_protocol", message}; }

    std::string_view code() const { return errorCode; }
    /// The whole sentence; a server's own words may hold what ends a C string.
    const std::string& message() const { return *sentence; }

private:
    RFBError(std::string_view code, const std::string& message)
        : std::runtime_error(message),
          errorCode(code),
          sentence(std::make_shared<const std::string>(message)) {}

    std::string_view errorCode;                  // of a literal
    std::shared_ptr<const std::string> sentence; // shared, as an exception's copies must not throw
};

/// The error as the application gets to see it. Whatever is no `RFBError` (no memory, at most) is
/// a broken connection to the user.
inline RFBError remoteFailure(const std::exception& error) {
    const auto* known = dynamic_cast<const RFBError*>(&error);
    return known ? *known : RFBError::broken("The VNC connection failed.");
}

} // namespace orvel
