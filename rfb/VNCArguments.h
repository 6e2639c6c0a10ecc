#pragma once

#include "app/host/Arguments.h"
#include "app/host/ControlMessages.h"

#include <cstdint>
#include <optional>
#include <string>

/// What both remote commands are told before they connect: the server on the command line, the
/// password, which must not be seen in a list of processes, on standard input.
namespace orvel {

struct VNCArguments {
    std::string host;         ///< Valid UTF-8; empty if none was given.
    std::int64_t port = 5900; ///< Any number; resolving it fails if it is none of a port.
};

/// Reads the pairs behind the command's word: "--host" and a name or address, "--port" and a
/// decimal number. The last of each counts; other pairs and an odd last word do not.
VNCArguments vncArguments(Arguments arguments);

struct Authentication {
    std::optional<std::string> password;
    /// The first message that is not about authentication; none at the end of input.
    std::optional<nlohmann::json> next;
};

/// Reads {"t": "auth", "password": text} messages, of which the last one counts, up to the first
/// other message. Blocks until that has come, or the end of input. The password is the caller's to
/// wipe; there is no other copy of it that can be reached.
Authentication readAuth(LineReader& input);

} // namespace orvel
