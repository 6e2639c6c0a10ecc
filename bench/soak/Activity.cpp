#include "bench/soak/Activity.h"

#include <array>
#include <cstdio>

namespace soak {
namespace {

/// A character of the basic plane, as JSON may spell it.
std::string escaped(unsigned character) {
    std::array<char, 8> spelled{};
    std::snprintf(spelled.data(), spelled.size(), "\\u%04x", character);
    return spelled.data();
}

} // namespace

Activity::Activity(std::string display, test::Process& phone,
                   std::vector<std::vector<std::string>> sizes)
    : display(std::move(display)),
      phone(phone),
      sizes(std::move(sizes)),
      typedInto(this->display, {0, 0, 64, 48}) {
    send({{"t", "clipsync"}, {"on", true}});
}

void Activity::step() {
    ++number;
    draw();
    point();
    if (every(10))
        type();
    if (every(60))
        copy();
    if (every(90))
        changeRate();
    if (every(200))
        resize();
}

void Activity::draw() {
    using bench::SceneKind;
    constexpr std::array kinds{SceneKind::typing, SceneKind::scrolling, SceneKind::window,
                               SceneKind::video, SceneKind::still};
    constexpr unsigned stepsOfOne = 70;
    if (number % stepsOfOne == 1)
        scene.emplace(display, kinds[number / stepsOfOne % kinds.size()]);
    scene->step(static_cast<std::uint16_t>(number));
}

void Activity::point() {
    const auto fraction = [&](unsigned period) { return number % period / double(period); };
    send({{"t", "move"}, {"x", fraction(97)}, {"y", fraction(61)}});
    if (every(4))
        send({{"t", "scroll"}, {"dx", 5}, {"dy", number % 8 == 2 ? 90 : -90}});
    if (every(50))
        send({{"t", "click"}, {"b", number % 100 == 25 ? "left" : "middle"}, {"n", 2}});
}

void Activity::type() {
    // New characters all the time, which the keyboard has to make room for.
    std::string text = "ab \\u00e9 \\u20ac";
    for (unsigned added = 0; added < 6; ++added)
        text += escaped(0x4e00 + (number * 6 + added) % 5000);
    phone.line(R"({"t":"text","s":")" + text + R"("})");
    send({{"t", "press"}, {"k", "c"}, {"mods", {"ctrl"}}});
    typedInto.forget();
}

void Activity::copy() {
    const auto text = std::string(number % 5000, 'x') + std::to_string(number);
    if (number % 120 == 30)
        clipboard.emplace(display, test::Copied{{{"UTF8_STRING", text}, {"STRING", text}}});
    else
        send({{"t", "clip"}, {"s", text}});
}

void Activity::changeRate() {
    constexpr std::array rates{900, 4000, 200, 12000};
    send({{"t", "rate"}, {"kbps", rates[number / 90 % rates.size()]}});
    send({{"t", "idr"}});
}

void Activity::resize() {
    test::Process xrandr(sizes[number / 200 % sizes.size()], {{"DISPLAY", display}}, true);
    xrandr.closeInput();
    xrandr.wait();
}

} // namespace soak
