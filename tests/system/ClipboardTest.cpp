#include "platform/Clock.h"
#include "support/Program.h"
#include "support/XOwner.h"
#include "support/XServer.h"

#include <gtest/gtest.h>

#include <array>
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

    std::string nextText() {
        const auto frame = phone.frame(FrameType::clipboard);
        return frame ? std::string(frame->payload.begin(), frame->payload.end()) : "none";
    }

    /// Returns when the text is there, and everything that was sent before is done.
    void copyOnThePhone(const std::string& text) {
        phone.send({{"t", "clip"}, {"s", text}});
        EXPECT_TRUE(eventually([&] { return paste() == text; }));
    }

    void share(bool on) {
        phone.send({{"t", "clipsync"}, {"on", on}});
        copyOnThePhone(on ? "on" : "off");
    }

    /// Whether no text comes until the program has looked at the clipboard once more. It does so
    /// every second, and sends a change of the screen again after 1.2 s.
    bool staysSilent() {
        const auto until = platform::hostTime() + 1200ms;
        desktop.fill(desktop.root(), {0, 0, 640, 480}, ++colour);
        desktop.sync();
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
    XClient desktop{server.display()};
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
    explicit Paster(const std::string& display) : client(display) {}

    /// `several`: the way clipboard managers ask, for several forms at a time.
    void ask(bool several) const {
        xcb_change_property(client.connection(), XCB_PROP_MODE_REPLACE, window, list, pair, 32, 2,
                            form.data());
        xcb_convert_selection(client.connection(), window, clipboard, several ? multiple : form[0],
                              several ? list : form[1], XCB_CURRENT_TIME);
        xcb_flush(client.connection());
    }

    std::string answer() const {
        auto* const open = client.connection();
        EXPECT_TRUE(eventually([&] { return owned(xcb_poll_for_event(open)) != nullptr; }));
        const auto got = owned(xcb_get_property_reply(
            open, xcb_get_property(open, 1, window, form[1], XCB_ATOM_ANY, 0, 100), nullptr));
        return {static_cast<const char*>(xcb_get_property_value(got.get())),
                static_cast<std::size_t>(xcb_get_property_value_length(got.get()))};
    }

    XClient client;
    xcb_window_t window = client.createWindow({-1, -1, 1, 1});
    xcb_atom_t clipboard = client.atom("CLIPBOARD");
    xcb_atom_t multiple = client.atom("MULTIPLE");
    xcb_atom_t list = client.atom("LIST");
    xcb_atom_t pair = client.atom("ATOM_PAIR");
    std::array<xcb_atom_t, 2> form{client.atom("UTF8_STRING"), client.atom("PASTED")};
};

} // namespace

TEST_F(ClipboardTest, WhatIsCopiedGoesToThePhoneWhileItWantsIt) {
    share(true);
    copy("before");
    ASSERT_EQ(nextText(), "before");
    share(false);
    copy("while off");
    ASSERT_TRUE(eventually([&] { return paste() == "while off"; }));
    phone.send({{"t", "clipsync"}, {"on", true}});
    EXPECT_TRUE(staysSilent()) << "it was there already";
    const std::vector<std::pair<Copied, std::string>> programs{
        {{.contents = {{"UTF8_STRING", "gr\u00fc\u00dfe \U0001F600"}, {"STRING", "?"}}},
         "gr\u00fc\u00dfe \U0001F600"},
        {{.contents = {{"text/plain;charset=utf-8", "\xff!"}, {"STRING", "?"}}}, "\ufffd!"},
        {{.contents = {{"STRING", "caf\xe9"}}, .increment = 2}, "caf\u00e9"},
    };
    for (const auto& [copied, text] : programs) {
        XOwner program(server.display(), copied);
        EXPECT_EQ(nextText(), text);
    }
    XOwner slow(server.display(), {.contents = {{"UTF8_STRING", numbered(5000)}}, .increment = 1});
    ASSERT_TRUE(eventually([&] { return slow.requests().size() == 2; }));
    phone.send({{"t", "clipsync"}});
    EXPECT_TRUE(staysSilent()) << "what was asked for came too late";
    copy("after");
    EXPECT_TRUE(staysSilent());
}

TEST_F(ClipboardTest, OfALongTextNoMoreIsTakenThanThePhoneGets) {
    share(true);
    XOwner editor(server.display(),
                  {.contents = {{"UTF8_STRING", numbered(300000)}}, .increment = 10000});
    EXPECT_EQ(nextText(), numbered(49152));
    EXPECT_TRUE(eventually([&] { return editor.requests().back() == "cut short"; }));
    // An owner that can serve one program at a time must still be there for others.
    copy(numbered(3000000));
    EXPECT_EQ(nextText(), numbered(49152));
    EXPECT_EQ(paste(), numbered(3000000));
}

TEST_F(ClipboardTest, ThePhonesTextIsThereForOtherProgramsAndIsNotSentBack) {
    share(true);
    copyOnThePhone("na\u00efve \u20ac \U0001F469\u200D\U0001F467");
    EXPECT_EQ(paste("text/plain;charset=utf-8"), paste());
    EXPECT_EQ(paste("STRING"), "na\xefve ? ???");
    EXPECT_EQ(paste("image/png"), "");
    EXPECT_EQ(paste("TARGETS"), "TARGETS\nTIMESTAMP\nMULTIPLE\nUTF8_STRING\n"
                                "text/plain;charset=utf-8\nSTRING\n");

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
    copyOnThePhone("wanted");
    std::list<Paster> programs;
    while (programs.size() < 8)
        programs.emplace_back(server.display());
    for (int round = 0; round < 1000; ++round) {
        for (const auto& program : programs)
            program.ask(false);
        for (const auto& program : programs)
            ASSERT_EQ(program.answer(), "wanted") << round;
    }
}

TEST_F(ClipboardTest, AClipboardManagerKeepsThePhonesTextWhenTheProgramEnds) {
    std::optional<XOwner> keeper;
    const auto keep = [&] {
        const Paster reader(server.display());
        reader.ask(true);
        keeper.emplace(server.display(), Copied{.contents = {{"UTF8_STRING", reader.answer()}}});
    };
    XOwner manager(server.display(), {.contents = {{"SAVE_TARGETS", ""}},
                                      .selection = "CLIPBOARD_MANAGER",
                                      .beforeAnswer = keep});
    Program another(server.display());
    copyOnThePhone("until the end of its input");
    EXPECT_TRUE(phone.hangUp());
    EXPECT_EQ(paste(), "until the end of its input");
    another.send({{"t", "clip"}, {"s", "until a signal"}});
    EXPECT_TRUE(eventually([&] { return paste() == "until a signal"; }));
    another.signal(SIGTERM);
    EXPECT_TRUE(another.ends());
    EXPECT_EQ(paste(), "until a signal");
}

TEST_F(ClipboardTest, PrivateContentsAreNotAskedForAndWhoStallsOrDiesStallsNothing) {
    share(true);
    const std::vector<std::string> types{"TARGETS"};
    const std::vector<std::string> text{"TARGETS", "UTF8_STRING"};
    const std::vector<std::pair<Copied, std::vector<std::string>>> programs{
        {{.contents = {{"UTF8_STRING", "hunter2"}, {"x-kde-passwordManagerHint", "secret"}}},
         types},
        {{.contents = {{"UTF8_STRING", "hunter2"}, {"org.nspasteboard.TransientType", ""}}}, types},
        {{.contents = {{"UTF8_STRING", "x"}, {"org.nspasteboard.AutoGeneratedType", ""}}}, types},
        {{.contents = {{"image/png", "\x89PNG"}}}, types},
        {{.contents = {{"UTF8_STRING", "perhaps private"}}, .stalls = "TARGETS"}, types},
        {{.contents = {{"UTF8_STRING", "x"}}, .stalls = "UTF8_STRING"}, text},
        {{.contents = {{"UTF8_STRING", numbered(40000)}}, .increment = 9, .stalls = "UTF8_STRING"},
         text},
    };
    for (const auto& [copied, asked] : programs) {
        std::optional<XOwner> program;
        for (int life = 0; life < 2; ++life) {
            program.emplace(server.display(), copied);
            ASSERT_TRUE(eventually([&] { return program->requests() == asked; }));
        }
        copy("next");
        EXPECT_EQ(nextText(), "next");
        EXPECT_EQ(program->requests(), asked);
    }
}
