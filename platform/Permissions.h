#pragma once

/// What the desktop lets this process do. Asked without prompting anybody; callable from any
/// thread. Without a desktop both are denied.
namespace platform {

bool preflightScreenCaptureAccess();
bool preflightPostEventAccess();

} // namespace platform
