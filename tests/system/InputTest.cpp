#include "support/Program.h"
#include "support/XRecorder.h"
#include "support/XServer.h"

#include <gtest/gtest.h>
#include <xcb/screensaver.h>
#include <xcb/xinput.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <optional>
#include <sstream>

using namespace test;
using Kind = XInput::Kind;

namespace {

/// X's masks for the state of an event.
constexpr unsigned shiftMask = 1;
constexpr unsigned controlMask = 4;
constexpr unsigned altMask = 8;
constexpr unsigned superMask = 64;
constexpr unsigned leftButtonMask = 256;
constexpr unsigned groupMask = 0x6000;

constexpr std::uint8_t capsLockKey = 66;
constexpr std::uint8_t numLockKey = 77;
constexpr std::uint8_t controlKey = 37;
constexpr std::uint8_t pauseKey = 127;
constexpr std::uint8_t aKey = 38;
constexpr std::uint8_t spareKey = 97; // gives nothing in the layouts of the US and of Germany
/// The numbers Xvfb gives the mouse and the keyboard on the desk.
constexpr std::uint8_t mouse = 6;
constexpr std::uint8_t deskKeyboard = 7;

class InputTest : public testing::Test {
protected:
    void run(const std::vector<std::string>& command) const {
        Process process(command, {{"DISPLAY", server.display()}});
        process.rest();
        ASSERT_EQ(process.wait(), 0) << command.front();
    }
    void setLayout(const std::string& layout) const { run({"setxkbmap", "-layout", layout}); }

    /// The desktop's, or that of one keyboard.
    std::string keymap(std::uint8_t device = 3) const {
        Process process({"xkbcomp", "-w0", "-i", std::to_string(device), server.display(), "-"});
        return process.restText();
    }

    XServer server{"640x480x24"};
};

/// With a window over the whole screen that has the focus.
class InputToAWindow : public InputTest {
protected:
    XRecorder client{server.display(), {0, 0, 640, 480}};
};

testing::AssertionResult types(const XRecorder& client, const std::string& wanted) {
    if (eventually([&] { return client.text() == wanted; }))
        return testing::AssertionSuccess();
    const auto text = client.text();
    const auto at = std::ranges::mismatch(text, wanted).in1 - text.begin();
    const auto from = static_cast<std::size_t>(at);
    return testing::AssertionFailure()
           << "at byte " << at << ": " << text.substr(from, 40) << " | " << wanted.substr(from, 40);
}

/// What the events of a kind were about, such as the buttons that were pressed.
template<class Field>
std::vector<int> details(const std::vector<XInput>& events, Field field) {
    std::vector<int> values;
    values.reserve(events.size());
    for (const auto& event : events)
        values.push_back(static_cast<int>(event.*field));
    return values;
}

bool isModifier(const XInput& key) {
    return key.name.ends_with("_L") || key.name.ends_with("_R") || key.name.ends_with("_Shift");
}

std::string utf8(char32_t scalar) {
    if (scalar < 0x80)
        return {static_cast<char>(scalar)};
    std::string rest;
    unsigned room = 0x3f; // in the first byte
    for (; scalar > room; scalar >>= 6, room >>= 1)
        rest.insert(rest.begin(), static_cast<char>(0x80 | (scalar & 0x3f)));
    return static_cast<char>(~(2 * room + 1) | scalar) + rest;
}

/// Letters of the keyboard, ideographs that do not repeat, and emoji.
std::string mixedText(char32_t scalars) {
    std::string text;
    for (char32_t index = 0; index < scalars; ++index)
        text +=
            utf8(std::array{U'a' + index % 26, 0x4e00 + index, 0x1f600 + index % 64}[index % 3]);
    return text;
}

std::uint32_t millisecondsIdle(const XRecorder& client) {
    auto* connection = client.client().connection();
    const auto question = xcb_screensaver_query_info(connection, client.client().root());
    return owned(xcb_screensaver_query_info_reply(connection, question, nullptr))
        ->ms_since_user_input;
}

/// Caps Lock and Num Lock.
unsigned lockedModifiers(const XClient& at) {
    const auto question = xcb_query_pointer(at.connection(), at.root());
    return owned(xcb_query_pointer_reply(at.connection(), question, nullptr))->mask & 0x12U;
}

/// What a person does at a device, which XTEST can do for each of them.
void use(const XClient& client, std::uint8_t device, std::uint8_t action, std::uint8_t detail) {
    const auto first = xcb_get_extension_data(client.connection(), &xcb_input_id)->first_event;
    xcb_test_fake_input(client.connection(), static_cast<std::uint8_t>(first + action), detail,
                        XCB_CURRENT_TIME, XCB_NONE, 0, 0, device);
    client.sync();
}

constexpr const char* manyScripts =
    "Hello, World! {[(~`^\"'<>|@#$%&*)]} 0123456789\t\u00c4\u00d6\u00dc \u00e4\u00f6\u00fc\u00df "
    "\u00e9\u00e8\u00e7 \u20ac\n"
    "\u041f\u0440\u0438\u0432\u0435\u0442 \u0393\u03b5\u03b9\u03ac "
    "\u0645\u0631\u062d\u0628\u0627 \u0928\u092e\u0938\u094d\u0924\u0947 \u4f60\u597d "
    "\U0001F469\u200D\U0001F469\u200D\U0001F467 \U0001F44D\U0001F3FD\u041f";

} // namespace

TEST_F(InputToAWindow, TextArrivesLetterForLetterOnEveryLayout) {
    for (const auto* layout : {"us", "de", "fr", "us,ru", "ru,us"}) {
        setLayout(layout);
        const auto before = keymap();
        {
            Program phone(server.display());
            phone.type(std::string("\u001b\u0085") + manyScripts);
            EXPECT_TRUE(types(client, manyScripts)) << layout;
            EXPECT_TRUE(phone.hangUp());
        }
        EXPECT_TRUE(keymap() == before) << layout;
        client.client().tap(aKey);
        client.client().sync();
        ASSERT_TRUE(eventually([&] { return client.events().back().detail == aKey; }));
        EXPECT_EQ(client.events().back().state & groupMask, 0u) << layout;
        client.forget();
    }
}

TEST_F(InputToAWindow, TextReachesAClientThatIsLateToReadTheMap) {
    client.client().tap(aKey);
    client.client().sync();
    ASSERT_TRUE(types(client, "a"));
    client.readMapLate();
    Program phone(server.display());
    phone.type(mixedText(150));
    EXPECT_TRUE(types(client, "a" + mixedText(150)));
}

TEST_F(InputToAWindow, TextIgnoresWhatAPersonHoldsOrHasLocked) {
    // The keymap comes from the server, whatever there is of files.
    setenv("XKB_CONFIG_ROOT", "/nonexistent", 1);
    run({"xmodmap", "-e", "keycode 127 = ISO_Level2_Latch", "-e", "add shift = ISO_Level2_Latch"});
    const auto& person = client.client();
    const auto states = {
        +[](const XClient& at) { at.tap(capsLockKey); },
        +[](const XClient& at) { at.tap(numLockKey); },
        +[](const XClient& at) { at.tap(pauseKey); },
        +[](const XClient& at) { use(at, deskKeyboard, XCB_INPUT_DEVICE_KEY_PRESS, controlKey); },
    };
    for (const auto& bringAbout : states) {
        bringAbout(person);
        person.sync();
        client.forget();
        const auto locks = lockedModifiers(person);
        Program phone(server.display());
        phone.type(manyScripts);
        phone.press("a");
        phone.press("A");
        phone.press("1");
        EXPECT_TRUE(types(client, std::string(manyScripts) + "aA1"));
        EXPECT_TRUE(phone.hangUp());
        EXPECT_EQ(lockedModifiers(person), locks);
    }
    unsetenv("XKB_CONFIG_ROOT");
}

TEST_F(InputToAWindow, WhatWasSentBeforeHangingUpStillArrives) {
    const std::string text(2000, 'x');
    Program phone(server.display());
    phone.type(text);
    EXPECT_TRUE(phone.hangUp());
    EXPECT_TRUE(types(client, text));
}

TEST_F(InputToAWindow, AServerThatIsGrabbedKeepsNobodyWaiting) {
    Program phone(server.display());
    phone.press("x");
    ASSERT_TRUE(types(client, "x"));
    xcb_grab_server(client.client().connection());
    client.client().sync();
    phone.send({{"t", "click"}});
    phone.press("y");
    EXPECT_TRUE(phone.hangUp()) << "the control lines were not read to their end";
}

TEST_F(InputToAWindow, PressedKeysAreShortcutsOnEveryLayout) {
    struct Case {
        std::string key;
        std::vector<std::string> mods;
        std::string name; // of the keysym
        unsigned state;
        unsigned mask = 0xff;
    };
    std::vector<Case> cases{
        {"a", {"ctrl", "shift"}, "A", controlMask | shiftMask},
        {"z", {"ctrl"}, "z", controlMask},
        {"q", {"cmd"}, "q", superMask},
        {"m", {"option", "fn"}, "m", altMask},
        {"tab", {"option"}, "Tab", altMask},
        {"delete", {"ctrl", "option"}, "BackSpace", controlMask | altMask},
        {"f12", {"shift"}, "F12", shiftMask},
        // On some layouts these need Shift or AltGr to be what they are.
        {"1", {"ctrl"}, "1", controlMask, controlMask},
        {"/", {"ctrl"}, "slash", controlMask, controlMask},
        {"[", {"ctrl"}, "bracketleft", controlMask, controlMask},
        {"\\", {"ctrl"}, "backslash", controlMask, controlMask},
    };
    std::istringstream named("return Return escape Escape enter KP_Enter space space home Home "
                             "end End pageup Prior pagedown Next left Left right Right up Up "
                             "down Down forwarddelete Delete f1 F1 f2 F2 f3 F3 f4 F4 f5 F5 f6 F6 "
                             "f7 F7 f8 F8 f9 F9 f10 F10 f11 F11");
    for (std::string key, name; named >> key >> name;)
        cases.push_back({key, {}, name, 0});
    Program phone(server.display());
    for (const auto* layout : {"us", "de", "fr", "ru,us"}) {
        setLayout(layout);
        client.forget();
        for (const auto& each : cases)
            phone.press(each.key, each.mods);
        const auto keys = [&](Kind kind) {
            auto events = client.events(kind);
            std::erase_if(events, [](const XInput& event) { return isModifier(event); });
            return events;
        };
        ASSERT_TRUE(eventually([&] { return keys(Kind::keyRelease).size() == cases.size(); }));
        for (const auto kind : {Kind::keyPress, Kind::keyRelease}) {
            const auto arrived = keys(kind);
            ASSERT_EQ(arrived.size(), cases.size());
            for (std::size_t at = 0; at < cases.size(); ++at) {
                EXPECT_EQ(arrived[at].name, cases[at].name) << layout;
                EXPECT_EQ(arrived[at].state & cases[at].mask, cases[at].state)
                    << layout << cases[at].name;
            }
        }
    }
}

TEST_F(InputToAWindow, KeysThatEveryKeyboardHasAreTaken) {
    // What reads scancodes, such as a virtual machine, knows no others.
    constexpr int shift = 50, rightAlt = 108, leftWindows = 133;
    for (const auto& [setUp, text, keycodes] :
         std::vector<std::tuple<std::vector<std::string>, std::string, std::vector<int>>>{
             {{"setxkbmap", "us"}, "(<", {leftWindows, 24, shift, 18, 59}},
             {{"setxkbmap", "de"}, "@", {leftWindows, 24, rightAlt, 24}},
             {{"setxkbmap", "us,ru"}, "\u043f", {leftWindows, 24, 42}},
             {{"setxkbmap", "us", "-option", "altwin:hyper_win"}, "x", {leftWindows, 24, 53}},
             // Without a key for the modifier the letter alone would be another thing.
             {{"sh", "-c", "for key in 133 134 206 207; do xmodmap -e \"keycode $key =\"; done"},
              "x",
              {53}},
         }) {
        run(setUp);
        client.forget();
        Program phone(server.display());
        phone.press("q", {"cmd"});
        phone.type(text);
        EXPECT_TRUE(phone.hangUp());
        ASSERT_TRUE(eventually([&] { return client.text().ends_with(text); }));
        EXPECT_EQ(details(client.events(Kind::keyPress), &XInput::detail), keycodes);
    }
}

TEST_F(InputToAWindow, PointerEventsArriveAtTheirPlaces) {
    Program phone(server.display());
    phone.send({{"t", "move"}, {"x", 0.25}, {"y", 1}});
    phone.send({{"t", "down"}, {"b", "left"}});
    phone.send({{"t", "move"}, {"x", 1}, {"y", 0}});
    phone.send({{"t", "up"}, {"b", "left"}});
    phone.send({{"t", "click"}, {"b", "right"}, {"n", 2}});
    phone.send({{"t", "click"}, {"b", "middle"}});
    ASSERT_TRUE(eventually([&] { return client.events(Kind::buttonRelease).size() == 3; }));
    const auto all = client.events();
    EXPECT_EQ(details(all, &XInput::detail), (std::vector{0, 1, 0, 1, 3, 3, 2, 2}));
    EXPECT_EQ(details(all, &XInput::x), (std::vector{160, 160, 639, 639, 639, 639, 639, 639}));
    EXPECT_EQ(details(all, &XInput::y), (std::vector{479, 479, 0, 0, 0, 0, 0, 0}));
    EXPECT_TRUE(all.at(2).state & leftButtonMask) << "the move was no drag";

    client.client().movePointer(300, 200); // as a person does
    client.client().sync();
    client.forget();
    phone.send({{"t", "click"}});
    ASSERT_TRUE(eventually([&] { return client.events(Kind::buttonRelease).size() == 1; }));
    EXPECT_EQ(client.events(Kind::buttonPress).at(0).x, 639);
    EXPECT_EQ(client.events(Kind::buttonPress).at(0).y, 0);
}

TEST_F(InputToAWindow, ALeftHandedPersonsButtonsAndWheelMeanTheSameAndSlowScrollsAddUp) {
    Program phone(server.display());
    phone.send({{"t", "click"}});
    ASSERT_TRUE(eventually([&] { return client.events(Kind::buttonRelease).size() == 1; }));
    run({"xmodmap", "-e", "pointer = 3 2 1 5 4 6 7"});
    phone.send({{"t", "click"}});
    phone.send({{"t", "down"}, {"b", "right"}});
    phone.send({{"t", "up"}, {"b", "right"}});
    for (int step = 0; step < 10; ++step)
        phone.send({{"t", "scroll"}, {"dy", 9.6}, {"dx", -8}});
    phone.send({{"t", "scroll"}, {"dy", -100}, {"dx", 40}});
    phone.press("a");
    ASSERT_TRUE(types(client, "a"));
    for (const auto kind : {Kind::buttonPress, Kind::buttonRelease})
        EXPECT_EQ(details(client.events(kind), &XInput::detail),
                  (std::vector{1, 1, 3, 5, 6, 5, 6, 4, 4, 7}));
}

TEST_F(InputToAWindow, TheSecondMonitorsPlacesAreItsOwn) {
    run({"xrandr", "--setmonitor", "left", "320/80x480/120+0+0", "screen"});
    run({"xrandr", "--setmonitor", "right", "320/80x480/120+320+0", "none"});
    Process info({ORVEL_SCREEN, "info"}, {{"DISPLAY", server.display()}});
    const auto displays = nlohmann::json::parse(info.restText())["displays"];
    ASSERT_EQ(displays.size(), 2u);
    const auto& right = displays[displays[0]["name"] == "right" ? 0 : 1];
    Program phone(server.display(), {"--display", right["id"]});
    phone.send({{"t", "move"}, {"x", 0}, {"y", 0}});
    phone.send({{"t", "move"}, {"x", 1}, {"y", 1}});
    ASSERT_TRUE(eventually([&] { return client.events(Kind::motion).size() == 2; }));
    EXPECT_EQ(details(client.events(), &XInput::x), (std::vector{320, 639}));
    EXPECT_EQ(details(client.events(), &XInput::y), (std::vector{0, 479}));

    // Off for a moment; then elsewhere, and half as wide: the video has a black bar on either side.
    client.forget();
    run({"xrandr", "--delmonitor", "right"});
    phone.send({{"t", "move"}, {"x", 0.5}, {"y", 1}});
    ASSERT_TRUE(eventually([&] { return client.events(Kind::motion).size() == 1; }));
    run({"xrandr", "--setmonitor", "right", "160/40x480/120+200+0", "none"});
    for (const double x : {0.0, 0.3, 0.5, 1.0})
        phone.send({{"t", "move"}, {"x", x}, {"y", 1}});
    ASSERT_TRUE(eventually([&] { return client.events(Kind::motion).size() == 5; }));
    EXPECT_EQ(details(client.events(), &XInput::x), (std::vector{480, 200, 216, 280, 359}));
}

TEST_F(InputToAWindow, NothingStaysPressedOrBoundAndTheKeyboardOnTheDeskKeepsItsLayout) {
    run({"setxkbmap", "-device", std::to_string(deskKeyboard), "-layout", "de"});
    const auto before = keymap();
    const auto onDesk = keymap(deskKeyboard);
    const auto text = mixedText(400);
    const auto endings = {+[](Program& phone) { phone.signal(SIGTERM); },
                          +[](Program& phone) { phone.signal(SIGINT); },
                          +[](Program& phone) { phone.signal(SIGHUP); },
                          +[](Program& phone) { phone.closeInput(); },
                          +[](Program& phone) { phone.closeOutput(); }};
    for (const auto& ending : endings) {
        client.forget();
        Program phone(server.display());
        phone.send({{"t", "move"}});
        phone.send({{"t", "down"}, {"b", "right"}});
        phone.type(text);
        ASSERT_TRUE(eventually([&] { return client.text().size() > 20; }));
        EXPECT_FALSE(keymap() == before) << "there was nothing to be put back";
        EXPECT_TRUE(keymap(deskKeyboard) == onDesk) << "while it is typed";
        ending(phone);
        // A frame tells the program that nobody reads any more.
        client.client().fill(client.window(), {0, 0, 640, 480}, 0xffffff);
        client.client().sync();
        EXPECT_EQ(phone.wait(), 0);
        EXPECT_TRUE(keymap() == before);
        EXPECT_TRUE(keymap(deskKeyboard) == onDesk);
        EXPECT_TRUE(eventually([&] { return client.events(Kind::buttonRelease).size() == 1; }));
        EXPECT_TRUE(eventually([&] {
            return client.events(Kind::keyPress).size() == client.events(Kind::keyRelease).size();
        }));
    }

    // What a process leaves that was killed is no layout of the user's.
    {
        Program phone(server.display());
        phone.type(text);
        ASSERT_TRUE(eventually([&] { return client.text().size() > 100; }));
        phone.signal(SIGKILL);
        phone.wait();
    }
    ASSERT_FALSE(keymap() == before);
    // Nor is a key that it was just about to release.
    client.client().fakeInput(XCB_KEY_PRESS, spareKey);
    client.client().sync();
    ASSERT_TRUE(eventually([&] { return client.events().back().detail == spareKey; }));
    client.forget();
    Program phone(server.display());
    phone.type(text);
    EXPECT_TRUE(types(client, text));
    EXPECT_TRUE(eventually([&] { return keymap() == before; })) << "a while after the last text";
    EXPECT_TRUE(phone.hangUp());
}

TEST_F(InputToAWindow, APersonAtTheMachineSilencesThePhoneUnlessItComesFirstAndTakesOver) {
    Program phone(server.display());
    phone.send({{"t", "first"}, {"on", "yes"}});
    ASSERT_TRUE(eventually([&] { return millisecondsIdle(client) > 2100; }));
    // The program's own events are no person's, not even those of a text that takes its time.
    const auto slowly = mixedText(300);
    phone.type(slowly);
    for (int step = 0; step < 10; ++step) {
        phone.send({{"t", "move"}, {"x", step / 10.0}});
        usleep(30000);
    }
    ASSERT_TRUE(eventually([&] { return client.events(Kind::motion).size() == 10; }));
    EXPECT_EQ(client.text(), slowly);

    usleep(200000); // Later than an echo would be.
    xcb_force_screen_saver(client.client().connection(), XCB_SCREEN_SAVER_RESET);
    client.client().sync();
    phone.press("z");
    EXPECT_TRUE(types(client, slowly + "z")) << "a film that keeps the screen on is no person";

    // A key that the program was given before it heard of the person is no failure.
    EXPECT_TRUE(eventually([&] {
        usleep(200000);
        client.client().movePointer(5, 5);
        client.client().sync();
        usleep(50000);
        phone.press("x");
        const auto report = phone.frame(orvel::FrameType::error, 1ms);
        return report && report->json()["error"] == "local_input";
    }));
    client.forget();

    phone.send({{"t", "first"}, {"on", true}});
    phone.press("y");
    EXPECT_TRUE(eventually([&] { return !client.text().empty(); }));
    EXPECT_EQ(client.text(), "y");

    usleep(2'100'000); // Nobody is at the machine any more.
    phone.send({{"t", "first"}});
    phone.send({{"t", "down"}});
    phone.type(mixedText(2000));
    ASSERT_TRUE(eventually([&] { return client.text().size() > 100; }));
    use(client.client(), mouse, XCB_INPUT_DEVICE_BUTTON_PRESS, 3);
    EXPECT_TRUE(eventually([&] { return !client.events(Kind::buttonRelease).empty(); }))
        << "the phone's drag goes on";
    use(client.client(), deskKeyboard, XCB_INPUT_DEVICE_KEY_PRESS, aKey);
    phone.send({{"t", "first"}, {"on", true}});
    phone.press("return");
    EXPECT_TRUE(eventually([&] { return client.text().ends_with("\n"); }));
    EXPECT_LT(client.text().size(), mixedText(1000).size()) << "the phone's text went on";
    phone.closeInput();
    EXPECT_FALSE(phone.frame(orvel::FrameType::error)) << "reported twice";
}

TEST_F(InputTest, WithoutPermissionThereIsOneReportAndTheStreamGoesOn) {
    XServer bare("640x480x24", {"-extension", "XTEST"});
    Program phone(bare.display());
    EXPECT_EQ(phone.announcement["input"], false);
    for (int step = 0; step < 100; ++step)
        phone.press("x");
    const auto report = phone.frame(orvel::FrameType::error);
    ASSERT_TRUE(report);
    EXPECT_EQ(report->json()["error"], "input_permission");
    phone.closeInput();
    EXPECT_FALSE(phone.frame(orvel::FrameType::error));
    EXPECT_EQ(phone.wait(), 0);
}

TEST_F(InputTest, AServerOfOldTakesAnyTextAndNoticesAPerson) {
    // One without XInput 2.1, such as people have behind X2Go.
    const auto display = ":1" + server.display().substr(1);
    Process old({"nxagent", "-ac", "-nolisten", "tcp", "-geometry", "320x240", display},
                {{"DISPLAY", server.display()}}, true);
    std::optional<XRecorder> client;
    ASSERT_TRUE(eventually([&] {
        try {
            client.emplace(display, Box{0, 0, 320, 240});
        } catch (const std::runtime_error&) {
        }
        return client.has_value();
    }));
    {
        const XClient person(server.display());
        Program phone(display);
        phone.type(manyScripts);
        EXPECT_TRUE(types(*client, manyScripts));
        phone.send({{"t", "first"}, {"on", false}});
        EXPECT_TRUE(eventually([&] {
            usleep(200000);
            person.movePointer(100, 100);
            person.movePointer(120, 120);
            person.sync();
            usleep(300000);
            phone.press("x");
            const auto report = phone.frame(orvel::FrameType::error, 1ms);
            return report && report->json()["error"] == "local_input";
        }));
    }
    client.reset();
    old.signal(SIGTERM);
    old.wait();
}

TEST_F(InputTest, TextAndKeysReachAToolkitThroughAnInputMethodToo) {
    const std::string entry = "zenity --entry --text '?'";
    const std::string withInputMethod =
        "exec 2>/dev/null; export XDG_CONFIG_HOME=$(mktemp -d) GTK_IM_MODULE=ibus; "
        "ibus-daemon --xim --panel=disable --config=disable >/dev/null & "
        "until ibus engine xkb:us::eng && xprop -root XIM_SERVERS | grep ibus; do sleep 0.1; "
        "done >/dev/null; " +
        entry + "; kill $!; rm -r $XDG_CONFIG_HOME";
    const XClient desktop(server.display());
    const auto wanted = "\u00e4\u00d6\u0436" + mixedText(150);
    desktop.tap(capsLockKey); // Toolkits apply it by themselves where the map does not.
    for (const auto& command : {entry, withInputMethod}) {
        Process dialog({"dbus-run-session", "--", "sh", "-c", command},
                       {{"DISPLAY", server.display()}, {"LC_ALL", "C.UTF-8"}}, true);
        // In the place of a window manager.
        ASSERT_TRUE(eventually([&] { return desktop.focusTopmost(); }));
        Program phone(server.display());
        phone.type("to be replaced");
        phone.press("a", {"ctrl"});
        phone.type(wanted);
        phone.press("return");
        EXPECT_TRUE(dialog.restText().ends_with(wanted + "\n")) << command;
    }
}
