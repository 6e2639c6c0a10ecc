#include "support/Phone.h"
#include "support/XOwner.h"
#include "support/XRecorder.h"
#include "support/XServer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>

using namespace test;
using orvel::FrameType;

namespace {

class ClipboardTest : public testing::Test {
protected:
    /// Copies a text as another program would.
    void copy(const std::string& text) {
        copier = std::make_unique<Process>(
            std::vector<std::string>{"xclip", "-selection", "clipboard", "-in", "-quiet"},
            std::vector<Variable>{{"DISPLAY", server.display()}}, true);
        copier->write(text);
        copier->closeInput();
    }

    std::string paste(const std::string& target = "UTF8_STRING") {
        // An owner that never answers would keep xclip waiting for ever.
        Process paster(
            {"timeout", "2", "xclip", "-selection", "clipboard", "-out", "-target", target},
            {{"DISPLAY", server.display()}}, true);
        return paster.restText();
    }

    std::optional<std::string> nextText(std::chrono::milliseconds limit = patience) {
        const auto frame = phone.process.frame(FrameType::clipboard, limit);
        if (!frame)
            return std::nullopt;
        return std::string(frame->payload.begin(), frame->payload.end());
    }

    void share(bool on) { phone.send({{"t", "clipsync"}, {"on", on}}); }

    /// Returns when everything sent to the program so far is done.
    void settle() {
        phone.send({{"t", "move"}, {"x", 0.5}});
        phone.send({{"t", "click"}});
        EXPECT_TRUE(
            eventually([&] { return !recorder.events(XInput::Kind::buttonRelease).empty(); }));
        recorder.forget();
    }

    XServer server{"640x480x24"};
    XRecorder recorder{server.display(), {0, 0, 640, 480}};
    Phone phone{ORVEL_SCREEN, server.display()};
    std::unique_ptr<Process> copier;
};

std::string numbered(std::size_t bytes) {
    std::string text;
    while (text.size() < bytes)
        text += std::to_string(text.size()) + " ";
    text.resize(bytes);
    return text;
}

} // namespace

TEST_F(ClipboardTest, WhatIsCopiedGoesToThePhoneWhileItWantsIt) {
    share(true);
    settle();
    copy("before");
    ASSERT_EQ(nextText(), "before");
    share(false);
    share(true);
    settle();
    EXPECT_EQ(nextText(1500ms), std::nullopt) << "it was there already";
    copy("gr\u00fc\u00dfe \U0001F600");
    EXPECT_EQ(nextText(), "gr\u00fc\u00dfe \U0001F600");
    const auto large = numbered(60000);
    copy(large);
    EXPECT_EQ(nextText(), large.substr(0, 49152));
    share(false);
    settle();
    copy("after");
    EXPECT_EQ(nextText(1500ms), std::nullopt);
}

TEST_F(ClipboardTest, ThePhonesTextIsThereForOtherProgramsAndIsNotSentBack) {
    share(true);
    const std::string text = "na\u00efve \u20ac \U0001F469\u200D\U0001F467";
    phone.send({{"t", "clip"}, {"s", text}});
    EXPECT_TRUE(eventually([&] { return paste() == text; }));
    EXPECT_EQ(paste("text/plain;charset=utf-8"), text);
    EXPECT_EQ(paste("STRING"), "na\xefve ? ???");
    EXPECT_EQ(paste("image/png"), "");
    const auto targets = paste("TARGETS");
    for (const auto* target : {"TARGETS", "TIMESTAMP", "MULTIPLE", "UTF8_STRING", "STRING"})
        EXPECT_NE(targets.find(target), std::string::npos) << target;

    phone.send({{"t", "clip"}, {"s", numbered(49150) + "\u20ac"}});
    EXPECT_TRUE(eventually([&] { return paste() == numbered(49150); }));
    phone.send({{"t", "clip"}});
    EXPECT_TRUE(eventually([&] { return paste().empty(); }));
    EXPECT_EQ(nextText(1500ms), std::nullopt) << "an echo";
    copy("somebody else's");
    EXPECT_EQ(nextText(), "somebody else's");
}

TEST_F(ClipboardTest, PrivateContentsAreNotEvenAskedFor) {
    share(true);
    settle();
    for (const auto* mark : {"x-kde-passwordManagerHint", "org.nspasteboard.TransientType"}) {
        XOwner keeper(server.display(),
                      {.contents = {{"UTF8_STRING", "hunter2"}, {mark, "secret"}}});
        ASSERT_TRUE(eventually([&] { return !keeper.requests().empty(); }));
        EXPECT_EQ(nextText(1500ms), std::nullopt) << mark;
        EXPECT_EQ(keeper.requests(), std::vector<std::string>{"TARGETS"});
    }
    {
        XOwner silent(server.display(),
                      {.contents = {{"UTF8_STRING", "hunter2"}}, .stalls = {"TARGETS"}});
        ASSERT_TRUE(eventually([&] { return !silent.requests().empty(); }));
        EXPECT_EQ(nextText(3500ms), std::nullopt) << "nobody knows whether it is private";
        EXPECT_EQ(silent.requests(), std::vector<std::string>{"TARGETS"});
    }
    XOwner painter(server.display(), {.contents = {{"image/png", "\x89PNG"}}});
    ASSERT_TRUE(eventually([&] { return !painter.requests().empty(); }));
    EXPECT_EQ(nextText(1500ms), std::nullopt);
    EXPECT_EQ(painter.requests(), std::vector<std::string>{"TARGETS"});
}

TEST_F(ClipboardTest, LargeTextsArriveInIncrements) {
    share(true);
    settle();
    const auto text = numbered(300000);
    XOwner editor(server.display(), {.contents = {{"UTF8_STRING", text}}, .increment = 10000});
    EXPECT_EQ(nextText(), text.substr(0, 49152));
    XOwner small(server.display(), {.contents = {{"STRING", "caf\xe9"}}, .increment = 2});
    EXPECT_EQ(nextText(), "caf\u00e9");
}

TEST_F(ClipboardTest, AnOwnerThatStallsOrDiesStallsNothing) {
    share(true);
    settle();
    const std::vector<Copied> owners{
        {.contents = {{"UTF8_STRING", "x"}}, .stalls = {"TARGETS", "UTF8_STRING", "STRING"}},
        {.contents = {{"UTF8_STRING", "x"}}, .stalls = {"UTF8_STRING"}},
        {.contents = {{"UTF8_STRING", numbered(40000)}},
         .increment = 100,
         .stalls = {"UTF8_STRING"}},
    };
    for (const auto& behaviour : owners) {
        {
            XOwner owner(server.display(), behaviour);
            ASSERT_TRUE(eventually([&] { return !owner.requests().empty(); }));
            for (int step = 0; step < 5; ++step)
                settle();
            phone.send({{"t", "clip"}, {"s", "from the phone"}});
            EXPECT_TRUE(eventually([&] { return paste() == "from the phone"; }));
        }
        XOwner dying(server.display(), behaviour);
        ASSERT_TRUE(eventually([&] { return !dying.requests().empty(); }));
    }
    copy("alive");
    EXPECT_EQ(nextText(), "alive");
}

TEST_F(ClipboardTest, ATerminalsSelectionGoesToThePhoneAndThePhonesTextIntoTheTerminal) {
    share(true);
    TemporaryDirectory directory;
    const auto file = (directory.path / "typed").string();
    Process terminal({"xterm", "-geometry", "80x24+0+0", "-xrm", "*selectToClipboard: true", "-e",
                      "stty -echo; printf '\\033[2J\\033[Hselected\\n'; printf ready > '" + file +
                          ".ready'; exec cat > '" + file + "'"},
                     {{"DISPLAY", server.display()}, {"LC_ALL", "C.UTF-8"}}, true);
    ASSERT_TRUE(eventually([&] { return std::filesystem::exists(file + ".ready"); }));
    xcb_set_input_focus(recorder.client().connection(), XCB_INPUT_FOCUS_POINTER_ROOT,
                        XCB_INPUT_FOCUS_POINTER_ROOT, XCB_CURRENT_TIME);
    recorder.client().unmap(recorder.window());
    recorder.client().sync();

    phone.send({{"t", "move"}, {"x", 20 / 639.0}, {"y", 8 / 479.0}});
    for (int click = 1; click <= 2; ++click)
        phone.send({{"t", "click"}, {"n", click}});
    EXPECT_EQ(nextText(), "selected");

    phone.send({{"t", "clip"}, {"s", "pasted \u20ac\n"}});
    phone.send({{"t", "press"}, {"k", "a"}});
    phone.type("\u4f60");
    ASSERT_TRUE(eventually([&] { return paste() == "pasted \u20ac\n"; }));
    phone.send({{"t", "click"}, {"b", "middle"}});
    const auto typed = [&] {
        std::ifstream stream(file);
        return std::string(std::istreambuf_iterator<char>(stream), {});
    };
    EXPECT_TRUE(eventually([&] { return typed() == "a\u4f60pasted \u20ac\n"; })) << typed();
}
