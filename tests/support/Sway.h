#pragma once

#include "support/Process.h"

#include <csignal>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace test {

/// A private Wayland compositor without a screen to look at, whose output is named HEADLESS-1. As
/// long as the object is there, this process and its children have it for their desktop.
class Sway {
public:
    /// With these lines in its configuration, and ready for clients when the constructor returns.
    /// With a `host`, as in WAYLAND_DISPLAY, its output is a window there, by the name WL-1.
    explicit Sway(const std::string& configuration = "",
                  const std::optional<std::string>& host = std::nullopt) {
        std::ofstream(directory.path / "config")
            << "xwayland disable\nfor_window [app_id=.*] floating enable, border none\n"
               "output HEADLESS-1 resolution 320x240 bg #FFFFFF solid_color\n"
            << configuration
            << "\nexec (test -z \"$DISPLAY\" || xhost +local: >&2) &&"
               " echo $WAYLAND_DISPLAY $SWAYSOCK $DISPLAY\n";
        auto command = std::vector<std::string>{"sway", "-c", directory.path / "config"};
        if (geteuid() == 0) { // It refuses to be root.
            constexpr uid_t nobody = 65534;
            if (chown(directory.path.c_str(), nobody, nobody) != 0)
                throw std::runtime_error("no directory for sway");
            command =
                joined({"setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups"}, command);
        }
        setenv("XDG_RUNTIME_DIR", directory.path.c_str(), 1);
        process.emplace(command,
                        std::vector<Variable>{{"WLR_BACKENDS", host ? "wayland" : "headless"},
                                              {"WLR_RENDERER", "pixman"},
                                              {"WLR_LIBINPUT_NO_DEVICES", "1"},
                                              {"HOME", directory.path},
                                              {"DISPLAY", std::nullopt},
                                              {"WAYLAND_DISPLAY", host},
                                              {"SWAYSOCK", std::nullopt}},
                        true);
        std::istringstream names(process->firstLine());
        std::string display, guest;
        if (!(names >> display >> socket))
            throw std::runtime_error("sway: " + process->errorText());
        setenv("WAYLAND_DISPLAY", (directory.path / display).c_str(), 1);
        setenv("SWAYSOCK", socket.c_str(), 1);
        unsetenv("DISPLAY");
        if (names >> guest)
            setenv("DISPLAY", guest.c_str(), 1);
    }

    /// Lets it end its X server and remove what it has left in directories for all.
    ~Sway() {
        process->signal(SIGTERM);
        process->wait();
    }

    /// Carries out a command of sway's configuration language. One about a window that is yet to
    /// come waits for it. Throws if sway refuses to the end.
    void command(const std::string& words) const {
        const auto obeys = [&] {
            return Process({"swaymsg", "-q", "-s", socket, words}, {}, true).wait() == 0;
        };
        if (!eventually(obeys))
            throw std::runtime_error("sway refuses: " + words);
    }
    void kill() { process->signal(9); }

private:
    TemporaryDirectory directory;
    std::optional<Process> process;
    std::string socket;
};

} // namespace test
