#pragma once

#include "bench/Scenes.h"
#include "support/Process.h"
#include "support/XOwner.h"
#include "support/XRecorder.h"

#include <optional>
#include <string>

namespace soak {

/// What goes on at a desktop and on the phone in front of it: something moves on the screen, the
/// phone points, types, scrolls, copies and changes the rate, and the screen its size.
class Activity {
public:
    /// `sizes` are the commands that give the screen one size after another.
    Activity(std::string display, test::Process& phone,
             std::vector<std::vector<std::string>> sizes);

    /// The next small thing, or several; for about 20 calls a second.
    void step();

private:
    void draw();
    void point();
    void type();
    void copy();
    void changeRate();
    void resize();
    void send(const nlohmann::json& message) { phone.line(message.dump()); }
    bool every(unsigned steps) const { return number % steps == steps / 2; }

    const std::string display;
    test::Process& phone;
    const std::vector<std::vector<std::string>> sizes;
    unsigned number = 0;
    std::optional<bench::Scene> scene;
    test::XRecorder typedInto; // has the focus
    std::optional<test::XOwner> clipboard;
};

} // namespace soak
