#include "support/Process.h"
#include "support/XServer.h"

#include <gtest/gtest.h>

#include <csignal>

using namespace test;

namespace {

const std::vector<Variable> noDesktop{{"DISPLAY", std::nullopt}};

nlohmann::json info(const std::vector<Variable>& variables) {
    Process process({ORVEL_SCREEN, "info", "--display", "7"}, variables);
    const auto text = process.restText();
    EXPECT_EQ(process.wait(), 0);
    return nlohmann::json::parse(text);
}

} // namespace

TEST(CommandLine, WithoutAKnownCommandSaysHowToUseIt) {
    for (const auto& words :
         {std::vector<std::string>{}, {"INFO"}, {"Stream"}, {"--display", "1"}}) {
        std::vector<std::string> command{ORVEL_SCREEN};
        command.insert(command.end(), words.begin(), words.end());
        Process process(command, noDesktop, true);
        EXPECT_EQ(process.errorText(),
                  "usage: orvel-screen info | stream [--display ID] | vnc|vnc-test --host H --port "
                  "P\n");
        EXPECT_EQ(process.restText(), "");
        EXPECT_EQ(process.wait(), 2);
    }
}

TEST(Info, WithoutAServerThereIsNothingAndNothingIsAllowed) {
    const nlohmann::json nothing{
        {"screen", false}, {"input", false}, {"displays", nlohmann::json::array()}};
    EXPECT_EQ(info(noDesktop), nothing);
    EXPECT_EQ(info({{"DISPLAY", ":4711"}}), nothing);
}

TEST(Info, ListsTheServersMonitors) {
    XServer server("800x600x24");
    const auto answer = info({{"DISPLAY", server.display()}});
    EXPECT_EQ(answer["screen"], true);
    EXPECT_EQ(answer["input"], true);
    ASSERT_EQ(answer["displays"].size(), 1u);
    const auto& display = answer["displays"][0];
    EXPECT_TRUE(display["id"].is_string());
    EXPECT_EQ(display["name"], "screen");
    EXPECT_EQ(display["w"], 800);
    EXPECT_EQ(display["h"], 600);
    EXPECT_EQ(display["main"], true);
    EXPECT_EQ(info({{"DISPLAY", server.display()}}), answer) << "the id is not stable";
}
