#pragma once

namespace orvel {

/// Makes SIGHUP, SIGINT and SIGTERM end the process as it ends by itself, with status 0 and nothing
/// left pressed on the desktop; a signal that it was started to ignore stays ignored. Called before
/// the first thread starts, for the threads have to inherit that these signals are not theirs.
void exitOnSignals();

} // namespace orvel
