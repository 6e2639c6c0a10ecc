#include "support/Program.h"
#include "support/Sway.h"

#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <iterator>
#include <random>
#include <regex>
#include <thread>

using namespace test;

namespace {

/// A compositor with a terminal all over its screen, which writes down what it is sent, mouse
/// reports included, and the program, once the terminal has heard of its keyboard.
class WaylandInputTest : public testing::Test {
protected:
    WaylandInputTest() {
        program.line(R"({"t":"start","fps":1})");
        program.announced();
        program.send({{"t", "first"}, {"on", true}});
        EXPECT_TRUE(eventually([&] {
            program.type(".");
            return received().ends_with(".");
        }));
    }

    std::string received() const {
        std::ifstream file(sent);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    /// Whether the terminal comes to be sent this; what was sent before is passed over.
    testing::AssertionResult gets(const std::string& expected) {
        const auto found = [&] { return received().find(expected, seen) != std::string::npos; };
        if (!eventually(found))
            return testing::AssertionFailure() << expected << " is not in " << received();
        seen = received().find(expected, seen) + expected.size();
        return testing::AssertionSuccess();
    }
    /// The same of a mouse report: the column where the button or what it stands for was used.
    int getsMouse(int button, char action) {
        const std::regex report("\033\\[<" + std::to_string(button) + R"(;(\d+);\d+)" + action);
        std::smatch match;
        std::string rest;
        const auto found = [&] {
            rest = received().substr(seen);
            return std::regex_search(rest, match, report);
        };
        if (!eventually(found))
            return -1;
        seen += static_cast<std::size_t>(match.position() + match.length());
        return std::stoi(match[1]);
    }
    void point(double x) { program.send({{"t", "move"}, {"x", x}, {"y", 0.5}}); }
    void use(const std::string& type, const std::string& button = "left") {
        program.send({{"t", type}, {"b", button}, {"dy", 80}});
    }

    Sway sway{"xwayland enable\nfor_window [app_id=\"foot\"] fullscreen"};
    TemporaryDirectory directory;
    const std::string sent = directory.path / "sent";
    Process terminal{{"foot", "-d", "none", "sh", "-c",
                      "stty raw -echo; printf '\\033[?1003h\\033[?1006h'; exec cat > " + sent}};
    Program program{Program::Words{"stream"}};
    std::size_t seen = 0;
};

/// A text in many scripts, of which no keymap has half.
std::string mixedText(int characters) {
    constexpr const char* ideograph = "\xE4\xB8\x80"; // U+4E00, the first of many
    const std::vector<std::string> some{"a", "Z", "7", " ",  "@", "<", "ä", "ß",
                                        "é", "€", "Ж", "あ", "😀", "🚲", "م"};
    std::minstd_rand random;
    std::string text;
    for (int i = 0; i < characters; ++i) {
        text += i % 3 != 0 ? some[random() % some.size()] : ideograph;
        if (i % 3 == 0)
            text.back() = static_cast<char>(0x80 + random() % 64);
    }
    return text;
}

} // namespace

TEST_F(WaylandInputTest, TapsDragsTheWheelKeysAndTextOfAnyScriptArrive) {
    EXPECT_EQ(program.announcement["input"], true);
    point(0.25);
    use("click");
    const int left = getsMouse(0, 'M');
    EXPECT_EQ(getsMouse(0, 'm'), left);
    use("down");
    EXPECT_EQ(getsMouse(0, 'M'), left);
    point(0.75);
    use("up");
    EXPECT_NEAR(getsMouse(32, 'M'), 3 * left, 2) << "dragged";
    EXPECT_NEAR(getsMouse(0, 'm'), 3 * left, 2);
    use("click", "right");
    EXPECT_NEAR(getsMouse(2, 'm'), 3 * left, 2);
    use("scroll");
    for (int click = 0; click < 2; ++click)
        EXPECT_NEAR(getsMouse(65, 'M'), 3 * left, 2);
    program.press("c", {"ctrl"});
    program.press("up");
    EXPECT_TRUE(gets("\003\033[A"));
    const auto text = mixedText(2000);
    program.type(text);
    EXPECT_TRUE(gets(text));
    use("down", "right");
    EXPECT_GT(getsMouse(2, 'M'), 0);
    EXPECT_TRUE(program.hangUp());
    EXPECT_GT(getsMouse(2, 'm'), 0) << "the button is still down";
}

TEST_F(WaylandInputTest, AProgramThatHangsIsNotDrownedInText) {
    terminal.signal(SIGSTOP);
    const std::string text(2000, 'x');
    program.type(text + "y");
    std::this_thread::sleep_for(3s); // What the text takes, so that the test has its point.
    terminal.signal(SIGCONT);
    EXPECT_TRUE(gets(text + "y"));
}

TEST_F(WaylandInputTest, APersonGoesBeforeThePhone) {
    program.send({{"t", "first"}, {"on", false}});
    use("down");
    EXPECT_GT(getsMouse(0, 'M'), 0);
    // Who begins in the very moment of an event of the phone's can't be told from it.
    EXPECT_TRUE(eventually([&] {
        Process({"wtype", "person"}).wait();
        return std::regex_search(received(), std::regex("<0;\\d+;\\d+m"));
    })) << "the button that the phone held";
    std::optional<Frame> report;
    EXPECT_TRUE(eventually([&] {
        Process({"wtype", "person"}).wait();
        program.type("phone");
        report = program.frame(orvel::FrameType::error, 20ms);
        return report.has_value();
    }));
    EXPECT_EQ(report->json()["error"], "local_input");
}

TEST_F(WaylandInputTest, TheClipboardGoesBothWaysWithoutWhatIsPrivate) {
    program.send({{"t", "clip"}, {"s", "vom Händy"}});
    EXPECT_TRUE(eventually([] { return Process({"wl-paste", "-n"}).restText() == "vom Händy"; }));
    program.send({{"t", "clipsync"}, {"on", true}});
    program.send({{"t", "clip"}, {"s", "again"}});
    EXPECT_TRUE(eventually([] { return Process({"wl-paste", "-n"}).restText() == "again"; }));
    const auto copy = [](const std::vector<std::string>& command, const std::string& text) {
        Process copying(command);
        copying.write(text);
        copying.closeInput();
        EXPECT_EQ(copying.wait(), 0);
    };
    copy({"wl-copy", "-t", "x-kde-passwordManagerHint"}, "secret");
    copy({"wl-copy"}, "grüße");
    const auto text = program.frame(orvel::FrameType::clipboard);
    ASSERT_TRUE(text);
    EXPECT_EQ(std::string(text->payload.begin(), text->payload.end()), "grüße");
}
