#pragma once

#include "support/Process.h"

#include <string>
#include <vector>

namespace test {

/// A private X server without a screen to look at, on a display number of its own.
class XServer {
public:
    /// `screen` as Xvfb's -screen takes it; `options` are passed on, such as {"-extension",
    /// "DAMAGE"}. Ready for clients when the constructor returns.
    explicit XServer(const std::string& screen = "640x480x24",
                     const std::vector<std::string>& options = {});

    /// For DISPLAY, such as ":7".
    const std::string& display() const { return name; }
    void kill() { process.signal(9); }
    Process& child() { return process; }

private:
    Process process;
    std::string name;
};

} // namespace test
