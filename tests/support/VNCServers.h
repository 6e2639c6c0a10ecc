#pragma once

#include "support/Files.h"
#include "support/Process.h"
#include "support/XServer.h"

#include <optional>
#include <string>

/// Real VNC servers of three families, each on a port of its own and ready for clients when its
/// constructor returns. With a password they insist on it, else they let everybody in.
namespace test {

/// TigerVNC's Xvnc: an X server whose screen is a VNC desktop. Listens on IPv4 and IPv6.
class Xvnc {
public:
    explicit Xvnc(const std::optional<std::string>& password = std::nullopt,
                  const std::string& size = "640x480");

    const std::string& display() const { return name; }
    int port() const { return number; }
    Process& child() { return *process; }

private:
    TemporaryDirectory directory;
    std::optional<Process> process;
    std::string name;
    int number = 0;
};

/// x11vnc (LibVNCServer), which shares the screen of an Xvfb.
class X11vnc {
public:
    explicit X11vnc(const std::optional<std::string>& password = std::nullopt);

    const std::string& display() const { return screen.display(); }
    int port() const { return number; }

private:
    XServer screen;
    Process process;
    int number = 0;
};

/// QEMU's own server, in front of a machine that does not run until told to.
class QEMU {
public:
    explicit QEMU(const std::optional<std::string>& password = std::nullopt);

    int port() const { return number; }
    /// Its screen is then no longer of 640x480 but of 720x400 pixels, as a BIOS likes it.
    void boot() { process.line("cont"); }

private:
    Process process;
    int number = 0;
};

} // namespace test
