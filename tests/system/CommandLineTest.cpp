#include "support/Program.h"
#include "support/XClient.h"
#include "support/XServer.h"

#include <gtest/gtest.h>
#include <xcb/randr.h>

#include <algorithm>
#include <map>
#include <ranges>

using namespace test;

namespace {

nlohmann::json info(const std::optional<std::string>& display) {
    Program program(Program::Words{"info", "--display", "7"}, display);
    const auto text = program.restText();
    EXPECT_EQ(program.wait(), 0);
    return nlohmann::json::parse(text);
}

/// Lets the only monitor of the server say that it has this name.
void setProductName(const XClient& client, std::string name) {
    auto* const connection = client.connection();
    const auto resources = owned(xcb_randr_get_screen_resources_current_reply(
        connection, xcb_randr_get_screen_resources_current(connection, client.root()), nullptr));
    name.resize(13, ' ');
    std::string edid(128, '\0');
    edid.replace(0, 8, "\0\xFF\xFF\xFF\xFF\xFF\xFF\0", 8);
    edid.replace(108, 18, std::string("\0\0\0\xFC\0", 5) + name);
    xcb_randr_change_output_property(
        connection, *xcb_randr_get_screen_resources_current_outputs(resources.get()),
        client.atom("EDID"), XCB_ATOM_INTEGER, 8, XCB_PROP_MODE_REPLACE, 128, edid.data());
    client.sync();
}

} // namespace

TEST(CommandLine, WithoutAKnownCommandSaysHowToUseIt) {
    for (const auto& words : {Program::Words{}, {"INFO"}, {"Stream"}, {"--display", "1"}}) {
        Program::Words command{ORVEL_SCREEN};
        command.insert(command.end(), words.begin(), words.end());
        Process process(command, {{"DISPLAY", std::nullopt}}, true);
        EXPECT_EQ(process.errorText(),
                  "usage: orvel-screen info | stream [--display ID] | vnc|vnc-test --host H --port "
                  "P\n");
        EXPECT_EQ(process.restText(), "");
        EXPECT_EQ(process.wait(), 2);
    }
}

TEST(CommandLine, AStandardStreamThatIsClosedIsAtItsEnd) {
    const XServer server;
    for (const std::string words :
         {"stream <&-", "vnc <&-", "vnc-test <&-", "stream >&-", "info >&-"}) {
        Process program({"sh", "-c", "exec " ORVEL_SCREEN " " + words},
                        {{"DISPLAY", server.display()}});
        program.line(R"({"t":"start"})");
        EXPECT_EQ(program.wait(), 0) << words;
    }
}

TEST(CommandLine, InfoSaysWhatThereIs) {
    nlohmann::json nothing{
        {"screen", false}, {"input", false}, {"displays", nlohmann::json::array()}};
    EXPECT_EQ(info(std::nullopt), nothing);
    EXPECT_EQ(info(":4711"), nothing);

    const XServer server("800x600x24");
    auto answer = info(server.display());
    EXPECT_EQ(info(server.display()), answer) << "the id is not stable";
    EXPECT_TRUE(answer["displays"][0]["id"].is_string());
    answer["displays"][0].erase("id");
    const nlohmann::json display{{"name", "screen"}, {"w", 800}, {"h", 600}, {"main", true}};
    EXPECT_EQ(answer, (nlohmann::json{{"screen", true}, {"input", true}, {"displays", {display}}}));
}

TEST(CommandLine, DisplaysHaveTheirMonitorsNamesAndTheSameIdsInEverySession) {
    const auto displays = [](const std::vector<std::string>& madeUp) {
        const XServer server("800x600x24");
        const XClient client(server.display());
        for (const auto& name : madeUp) {
            Process xrandr({"xrandr", "-d", server.display(), "--setmonitor", name,
                            "400/99x600/149+0+0", "none"});
            EXPECT_EQ(xrandr.wait(), 0);
        }
        setProductName(client, "Orbit Q24\n");
        std::map<std::string, std::string> names;
        const auto answer = info(server.display());
        for (const auto& display : answer["displays"])
            names[display["id"]] = display["name"];
        return names;
    };
    // Two names with the same hash.
    const auto names = displays({"yicrs", "gtbxe"});
    EXPECT_EQ(names.size(), 3u);
    EXPECT_TRUE(std::ranges::count(names | std::views::values, "Orbit Q24"));
    EXPECT_EQ(displays({"gtbxe", "yicrs"}), names);
}
