#pragma once

#include "support/XServer.h"

#include <optional>

/// Real VNC servers of three families, each on a port of its own and ready for clients when its
/// constructor returns. With a password they insist on it, else they let everybody in.
namespace test {

using Password = std::optional<std::string>;

/// TigerVNC's Xvnc: an X server whose screen is a VNC desktop. Listens on IPv4 and IPv6.
class Xvnc {
public:
    explicit Xvnc(const Password& password = std::nullopt, const std::string& size = "640x480");

    std::string display() const { return std::string(1, ':').append(std::to_string(number)); }
    int port() const { return 5900 + number; }
    Process& child() { return process; }

private:
    TemporaryDirectory directory;
    Process process;
    int number;
};

/// x11vnc (LibVNCServer), which shares the screen of an Xvfb.
class X11vnc {
public:
    explicit X11vnc(const Password& password = std::nullopt);

    const std::string& display() const { return screen.display(); }
    int port() const { return number; }

private:
    XServer screen;
    Process process;
    int number;
};

/// QEMU's own server, in front of a machine that does not run until told to.
class QEMU {
public:
    explicit QEMU(const Password& password = std::nullopt);

    int port() const { return number; }
    /// Its screen is then no longer of 640x480 but of 720x400 pixels, as a BIOS likes it.
    void boot() { process.line("cont"); }

private:
    Process process;
    int number;
};

} // namespace test
