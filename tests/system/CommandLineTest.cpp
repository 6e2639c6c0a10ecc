#include "support/Program.h"
#include "support/XServer.h"

#include <gtest/gtest.h>

using namespace test;

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

TEST(CommandLine, InfoSaysWhatThereIs) {
    const auto info = [](const std::optional<std::string>& display) {
        Program program(Program::Words{"info", "--display", "7"}, display);
        const auto text = program.restText();
        EXPECT_EQ(program.wait(), 0);
        return nlohmann::json::parse(text);
    };
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
