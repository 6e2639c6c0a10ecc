#pragma once

#include "app/host/Arguments.h"
#include "rfb/VNCArguments.h"

#include <nlohmann/json_fwd.hpp>

#include <optional>
#include <string>

namespace orvel {

/// Connects, signs in and hangs up. Says how that went: {"ok": true, "name", "w", "h", "security"}
/// as the server has them (see RFBServer), or {"ok": false, "error": code, "message": sentence}.
nlohmann::json probe(const VNCArguments& server, const std::optional<std::string>& password);

/// The `vnc-test` command: reads the password from standard input, writes what `probe` says as one
/// bare JSON object to standard output and returns.
void vncTest(Arguments arguments);

} // namespace orvel
