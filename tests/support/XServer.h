#pragma once

#include "support/Process.h"

#include <csignal>
#include <stdexcept>

namespace test {

/// A private X server without a screen to look at, on a display number of its own.
class XServer {
public:
    /// `screen` as Xvfb's -screen takes it; `options` are passed on, such as {"-extension",
    /// "DAMAGE"}. Ready for clients when the constructor returns.
    explicit XServer(const std::string& screen = "640x480x24",
                     const std::vector<std::string>& options = {})
        : process(joined({"Xvfb", "-displayfd", "1", "-screen", "0", screen, "-nolisten", "tcp",
                          "-noreset", "-dpi", "96"}, // Clients come and go within a test.
                         options),
                  {}, true) {
        name += process.firstLine();
        if (name == ":")
            throw std::runtime_error("Xvfb: " + process.errorText());
    }
    /// Lets it remove its socket: one that is left keeps the number from servers of other users.
    ~XServer() {
        process.signal(SIGTERM);
        process.wait();
    }

    /// For DISPLAY, such as ":7".
    const std::string& display() const { return name; }
    void kill() { process.signal(9); }

private:
    Process process;
    std::string name = ":";
};

} // namespace test
