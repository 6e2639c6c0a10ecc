#pragma once

namespace orvel {

/// The `info` command: writes one bare JSON object with the permissions and the displays to
/// standard output and returns.
void info();

} // namespace orvel
