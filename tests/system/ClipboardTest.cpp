#include "platform/Clock.h"
#include "support/Program.h"
#include "support/XOwner.h"
#include "support/XRecorder.h"
#include "support/XServer.h"

#include <gtest/gtest.h>

#include <poll.h>

#include <array>
#include <fstream>
#include <iterator>
#include <list>

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
        const auto frame = phone.frame(FrameType::clipboard, limit);
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

    /// Whether no text comes until the program has looked at the clipboard once more. It does so
    /// every second, and sends a change of the screen again after 1.2 s.
    bool staysSilent() {
        const auto until = platform::hostTime() + 1200ms;
        recorder.client().fill(recorder.window(), {0, 0, 640, 480}, ++colour);
        recorder.client().sync();
        while (const auto frame = phone.frame()) {
            if (frame->type == FrameType::clipboard)
                return false;
            if (frame->type == FrameType::video &&
                video(*frame).microseconds * 1000 >= static_cast<std::uint64_t>(until.nanoseconds))
                return true;
        }
        return false;
    }

    XServer server{"640x480x24"};
    XRecorder recorder{server.display(), {0, 0, 640, 480}};
    Program phone{server.display()};
    std::unique_ptr<Process> copier;
    std::uint32_t colour = 0x406080;
};

std::string numbered(std::size_t bytes) {
    std::string text;
    while (text.size() < bytes)
        text += std::to_string(text.size()) + " ";
    text.resize(bytes);
    return text;
}

/// A program that pastes.
struct Paster {
    explicit Paster(const std::string& display)
        : client(display),
          window(client.createWindow({-1, -1, 1, 1})) {}

    void ask() const { convert(utf8, text); }
    /// The way clipboard managers ask, for several forms at a time.
    void askForSeveral() const {
        const std::array forms{utf8, text};
        const auto list = client.atom("FORMS");
        xcb_change_property(client.connection(), XCB_PROP_MODE_REPLACE, window, list,
                            client.atom("ATOM_PAIR"), 32, 2, forms.data());
        convert(client.atom("MULTIPLE"), list);
    }
    void convert(xcb_atom_t target, xcb_atom_t property) const {
        xcb_convert_selection(client.connection(), window, clipboard, target, property,
                              XCB_CURRENT_TIME);
        xcb_flush(client.connection());
    }

    std::string answer() const {
        pollfd more{xcb_get_file_descriptor(client.connection()), POLLIN, 0};
        auto event = owned(xcb_poll_for_event(client.connection()));
        while (!event && poll(&more, 1, patience / 1ms) == 1)
            event = owned(xcb_poll_for_event(client.connection()));
        const auto got = owned(xcb_get_property_reply(
            client.connection(),
            xcb_get_property(client.connection(), 1, window, text, XCB_ATOM_ANY, 0, 100), nullptr));
        return {static_cast<const char*>(xcb_get_property_value(got.get())),
                static_cast<std::size_t>(xcb_get_property_value_length(got.get()))};
    }

    XClient client;
    xcb_window_t window;
    xcb_atom_t clipboard = client.atom("CLIPBOARD");
    xcb_atom_t utf8 = client.atom("UTF8_STRING");
    xcb_atom_t text = client.atom("PASTED");
};

} // namespace

TEST_F(ClipboardTest, WhatIsCopiedGoesToThePhoneWhileItWantsIt) {
    share(true);
    settle();
    copy("before");
    ASSERT_EQ(nextText(), "before");
    share(false);
    settle();
    copy("while off");
    ASSERT_TRUE(eventually([&] { return paste() == "while off"; }));
    share(true);
    EXPECT_TRUE(staysSilent()) << "it was there already";
    const std::vector<std::pair<Copied, std::string>> programs{
        {{.contents = {{"UTF8_STRING", "gr\u00fc\u00dfe \U0001F600"}, {"STRING", "?"}}},
         "gr\u00fc\u00dfe \U0001F600"},
        {{.contents = {{"text/plain;charset=utf-8", "\xff!"}, {"STRING", "?"}}}, "\ufffd!"},
        {{.contents = {{"STRING", "caf\xe9"}}, .increment = 2}, "caf\u00e9"},
        {{.contents = {{"UTF8_STRING", numbered(60000)}}, .increment = 10000},
         numbered(60000).substr(0, 49152)},
    };
    for (const auto& [copied, text] : programs) {
        XOwner program(server.display(), copied);
        EXPECT_EQ(nextText(), text);
    }
    XOwner slow(server.display(), {.contents = {{"UTF8_STRING", numbered(5000)}}, .increment = 1});
    ASSERT_TRUE(eventually([&] { return slow.requests().size() == 2; }));
    share(false);
    EXPECT_TRUE(staysSilent()) << "what was asked for came too late";
    copy("after");
    EXPECT_TRUE(staysSilent());
}

TEST_F(ClipboardTest, OfAVeryLongTextNoMoreIsTakenThanThePhoneGets) {
    share(true);
    settle();
    XOwner editor(server.display(),
                  {.contents = {{"UTF8_STRING", numbered(2000000)}}, .increment = 10000});
    EXPECT_EQ(nextText(), numbered(49152));
    EXPECT_TRUE(eventually([&] { return editor.requests().back() == "cut short"; }));
    // An owner that can serve one program at a time must still be there for others.
    copy(numbered(3000000));
    EXPECT_EQ(nextText(), numbered(49152));
    EXPECT_EQ(paste(), numbered(3000000));
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
    EXPECT_TRUE(staysSilent()) << "an echo";
    copy(numbered(49150));
    EXPECT_TRUE(staysSilent()) << "a clipboard manager has taken it over";
    copy("somebody else's");
    EXPECT_EQ(nextText(), "somebody else's");
    copy(numbered(49150));
    EXPECT_EQ(nextText(), numbered(49150)) << "the phone has another one by now";
    phone.send({{"t", "clip"}});
    EXPECT_TRUE(eventually([&] { return paste().empty(); }));
}

TEST_F(ClipboardTest, ThePhonesTextIsThereForSeveralProgramsAtATime) {
    phone.send({{"t", "clip"}, {"s", "wanted"}});
    ASSERT_TRUE(eventually([&] { return paste() == "wanted"; }));
    std::list<Paster> programs;
    while (programs.size() < 8)
        programs.emplace_back(server.display());
    for (int round = 0; round < 1500; ++round) {
        for (const auto& program : programs)
            program.ask();
        for (const auto& program : programs)
            ASSERT_EQ(program.answer(), "wanted") << round;
    }
}

TEST_F(ClipboardTest, AClipboardManagerKeepsThePhonesTextWhenTheProgramEnds) {
    for (const bool signalled : {false, true}) {
        const auto text = signalled ? "until a signal" : "until the end of its input";
        XOwner manager(server.display(), {.contents = {{"SAVE_TARGETS", ""}},
                                          .selection = "CLIPBOARD_MANAGER",
                                          .beforeAnswer = [&] {
                                              const Paster reader(server.display());
                                              reader.askForSeveral();
                                              copy(reader.answer());
                                          }});
        Program program(server.display());
        program.send({{"t", "clip"}, {"s", text}});
        ASSERT_TRUE(eventually([&] { return paste() == text; }));
        if (signalled)
            program.signal(SIGTERM);
        EXPECT_TRUE(program.hangUp());
        EXPECT_EQ(paste(), text);
    }
}

TEST_F(ClipboardTest, PrivateContentsAreNotEvenAskedFor) {
    share(true);
    settle();
    const std::vector<Copied> programs{
        {.contents = {{"UTF8_STRING", "hunter2"}, {"x-kde-passwordManagerHint", "secret"}}},
        {.contents = {{"UTF8_STRING", "hunter2"}, {"org.nspasteboard.TransientType", ""}}},
        {.contents = {{"UTF8_STRING", "hunter2"}, {"org.nspasteboard.AutoGeneratedType", ""}}},
        {.contents = {{"UTF8_STRING", "perhaps private"}}, .stalls = "TARGETS"},
        {.contents = {{"image/png", "\x89PNG"}}},
    };
    for (const auto& copied : programs) {
        XOwner program(server.display(), copied);
        ASSERT_TRUE(eventually([&] { return !program.requests().empty(); }));
        EXPECT_TRUE(staysSilent());
        EXPECT_EQ(program.requests(), std::vector<std::string>{"TARGETS"});
    }
}

TEST_F(ClipboardTest, AnOwnerThatStallsOrDiesStallsNothing) {
    share(true);
    settle();
    const std::vector<Copied> programs{
        {.contents = {{"UTF8_STRING", "x"}}, .stalls = "TARGETS"},
        {.contents = {{"UTF8_STRING", "x"}}, .stalls = "UTF8_STRING"},
        {.contents = {{"UTF8_STRING", numbered(40000)}}, .increment = 100, .stalls = "UTF8_STRING"},
    };
    for (const auto& copied : programs) {
        XOwner stalling(server.display(), copied);
        ASSERT_TRUE(eventually([&] { return !stalling.requests().empty(); }));
        phone.send({{"t", "clip"}, {"s", "from the phone"}});
        EXPECT_TRUE(eventually([&] { return paste() == "from the phone"; }));
        XOwner dying(server.display(), copied);
        ASSERT_TRUE(eventually([&] { return !dying.requests().empty(); }));
    }
    copy("alive");
    EXPECT_EQ(nextText(), "alive");
}

TEST_F(ClipboardTest, GoesFromATerminalToThePhoneAndFromThePhoneIntoTheTerminal) {
    share(true);
    const TemporaryDirectory directory;
    const auto file = (directory.path / "pasted").string();
    Process terminal({"xterm", "-geometry", "80x24+0+0", "-xrm", "*selectToClipboard: true", "-e",
                      "printf selected; exec cat > '" + file + "'"},
                     {{"DISPLAY", server.display()}, {"LC_ALL", "C.UTF-8"}}, true);
    recorder.client().unmap(recorder.window());
    recorder.client().sync();
    phone.send({{"t", "move"}, {"x", 20 / 639.0}, {"y", 8 / 479.0}});
    EXPECT_TRUE(eventually([&] {
        for (int click = 1; click <= 2; ++click)
            phone.send({{"t", "click"}, {"n", click}});
        return nextText(1500ms) == "selected";
    }));
    phone.send({{"t", "clip"}, {"s", "pasted \u20ac\n"}});
    ASSERT_TRUE(eventually([&] { return paste() == "pasted \u20ac\n"; }));
    phone.send({{"t", "click"}, {"b", "middle"}});
    EXPECT_TRUE(eventually([&] {
        std::ifstream stream(file);
        return std::string(std::istreambuf_iterator<char>(stream), {}) == "pasted \u20ac\n";
    }));
}
