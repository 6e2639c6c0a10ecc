#pragma once

/// What the desktop lets this process do. Asked without prompting anybody; callable from any
/// thread. Without a desktop both are denied; but a desktop that is lost does not take back that it
/// lets this process post events.
namespace platform {

bool preflightScreenCaptureAccess();
bool preflightPostEventAccess();

} // namespace platform
