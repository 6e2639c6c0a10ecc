#include "support/XServer.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

using namespace test;

namespace {

nlohmann::json info(const std::optional<std::string>& display) {
    Process process({ORVEL_SCREEN, "info", "--display", "7"}, {{"DISPLAY", display}});
    const auto text = process.restText();
    EXPECT_EQ(process.wait(), 0);
    return nlohmann::json::parse(text);
}

} // namespace

TEST(CommandLine, WithoutAKnownCommandSaysHowToUseIt) {
    for (const auto& words :
         {std::vector<std::string>{}, {"INFO"}, {"Stream"}, {"--display", "1"}}) {
        Process process(joined({ORVEL_SCREEN}, words), {}, true);
        EXPECT_EQ(process.errorText(), "usage: orvel-screen info | stream [--display ID] | "
                                       "vnc|vnc-test --host H --port P\n");
        EXPECT_EQ(process.restText(), "");
        EXPECT_EQ(process.wait(), 2);
    }
}

TEST(Info, ListsTheServersMonitorsIfThereIsOne) {
    for (const auto& display : {std::optional<std::string>(), std::optional<std::string>(":4711")})
        EXPECT_EQ(info(display).dump(), R"({"displays":[],"input":false,"screen":false})");
    const XServer server("800x600x24");
    auto answer = info(server.display());
    EXPECT_EQ(info(server.display()), answer) << "the id is not stable";
    EXPECT_TRUE(answer["displays"][0]["id"].is_string());
    answer["displays"][0].erase("id");
    EXPECT_EQ(answer.dump(), R"({"displays":[{"h":600,"main":true,"name":"screen","w":800}],)"
                             R"("input":true,"screen":true})");
}
