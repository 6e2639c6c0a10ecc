#include "support/VNCServers.h"

#include <csignal>

namespace test {
namespace {

using Words = std::vector<std::string>;

/// The number behind `mark`, in the first line that has it.
int announcedNumber(Process& process, const std::string& mark) {
    constexpr int maxLines = 50;
    for (int read = 0; read < maxLines; ++read) {
        const auto line = process.firstLine();
        if (const auto at = line.find(mark); !line.empty() && at != std::string::npos)
            return std::stoi(line.substr(at + mark.size()));
    }
    process.signal(SIGKILL);
    throw std::runtime_error("no \"" + mark + "\": " + process.errorText());
}

Words accessOfXvnc(const TemporaryDirectory& directory, const Password& password) {
    if (!password)
        return {"-SecurityTypes", "None"};
    const std::string file = directory.path / "password";
    Process store({"x11vnc", "-storepasswd", *password, file}, {}, true);
    if (store.wait() != 0)
        throw std::runtime_error("x11vnc -storepasswd: " + store.errorText());
    return {"-SecurityTypes", "VncAuth", "-PasswordFile", file};
}

} // namespace

// It would wait for somebody to read what it has to say of busy clients, so it says nothing.
Xvnc::Xvnc(const Password& password, const std::string& size)
    : process(joined({"Xvnc", "-displayfd", "1", "-geometry", size, "-depth", "24", "-desktop",
                      "Xvnc's desktop", "-Log", ""},
                     accessOfXvnc(directory, password)),
              {}, true),
      number(announcedNumber(process, "")) {}

// It looks for a free port some time before it takes it, so each test has it look elsewhere. It is
// killed at the end, which would leave shared memory behind for ever.
X11vnc::X11vnc(const Password& password)
    : process(joined({"x11vnc", "-display", screen.display(), "-localhost", "-noipv6", "-noshm",
                      "-autoport", std::to_string(15900 + getpid() % 16000), "-forever", "-shared",
                      "-xrandr", "resize", "-desktop", "x11vnc's desktop"},
                     password ? Words{"-passwd", *password} : Words{"-nopw"}),
              {}, true),
      number(announcedNumber(process, "PORT=")) {}

QEMU::QEMU(const Password& password)
    : process({"qemu-system-x86_64", "-M", "pc", "-S", "-nodefaults", "-vga", "std", "-name",
               "a machine", "-monitor", "stdio", "-vnc",
               std::string("127.0.0.1:20000,to=29999") + (password ? ",password=on" : "")},
              {}, true) {
    if (password)
        process.line("set_password vnc " + *password);
    process.line("info vnc");
    number = announcedNumber(process, "Server: 127.0.0.1:");
}

} // namespace test
