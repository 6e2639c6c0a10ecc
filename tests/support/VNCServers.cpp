#include "support/VNCServers.h"

#include <csignal>
#include <stdexcept>

namespace test {
namespace {

using Words = std::vector<std::string>;

Words joined(Words words, const Words& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

/// The number behind the last `mark` of the first line that has one.
int announcedNumber(Process& process, const std::string& line, const std::string& mark) {
    constexpr int longestGreeting = 50; // lines
    for (int read = 0; read < longestGreeting; ++read) {
        const auto text = process.firstLine();
        if (text.find(line) != std::string::npos)
            return std::stoi(text.substr(text.rfind(mark) + mark.size()));
    }
    process.signal(SIGKILL);
    throw std::runtime_error("no \"" + line + "\": " + process.errorText());
}

std::string passwordFile(const TemporaryDirectory& directory, const std::string& password) {
    std::string path = directory.path / "password";
    Process store({"x11vnc", "-storepasswd", password, path}, {}, true);
    if (store.wait() != 0)
        throw std::runtime_error("x11vnc -storepasswd: " + store.errorText());
    return path;
}

} // namespace

Xvnc::Xvnc(const std::optional<std::string>& password, const std::string& size) {
    const auto security = password ? Words{"-SecurityTypes", "VncAuth", "-PasswordFile",
                                           passwordFile(directory, *password)}
                                   : Words{"-SecurityTypes", "None"};
    // It would wait for somebody to read what it has to say of busy clients, so it says nothing.
    process.emplace(joined({"Xvnc", "-displayfd", "1", "-geometry", size, "-depth", "24",
                            "-desktop", "Xvnc's desktop", "-Log", ""},
                           security),
                    std::vector<Variable>{}, true);
    const auto display = process->firstLine();
    if (display.empty())
        throw std::runtime_error("Xvnc: " + process->errorText());
    name = ":" + display;
    number = 5900 + std::stoi(display);
}

X11vnc::X11vnc(const std::optional<std::string>& password)
    : process(joined({"x11vnc", "-display", screen.display(), "-localhost", "-noipv6", "-autoport",
                      "15900", "-forever", "-shared", "-xrandr", "resize", "-desktop",
                      "x11vnc's desktop"},
                     password ? Words{"-passwd", *password} : Words{"-nopw"}),
              {}, true),
      number(announcedNumber(process, "PORT=", "=")) {}

QEMU::QEMU(const std::optional<std::string>& password)
    : process({"qemu-system-x86_64", "-M", "pc", "-S", "-nodefaults", "-vga", "std", "-name",
               "a machine", "-monitor", "stdio", "-vnc",
               std::string("127.0.0.1:20000,to=29999") + (password ? ",password=on" : "")},
              {}, true) {
    if (password)
        process.line("set_password vnc " + *password);
    process.line("info vnc");
    number = announcedNumber(process, "Server: ", ":");
}

} // namespace test
