#include "support/Program.h"
#include "support/ScriptedServer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <sstream>

using namespace test;

namespace {

/// Everything that a process has written to its memory.
std::string writtenMemory(pid_t process) {
    const auto folder = "/proc/" + std::to_string(process);
    std::ifstream maps(folder + "/maps");
    std::ifstream memory(folder + "/mem", std::ios::binary);
    std::string all;
    for (std::string line; std::getline(maps, line);) {
        std::size_t from = 0;
        std::size_t to = 0;
        char dash = 0;
        std::string rights;
        std::istringstream(line) >> std::hex >> from >> dash >> to >> rights;
        if (!rights.starts_with("rw"))
            continue;
        std::string bytes(to - from, '\0');
        memory.clear();
        memory.seekg(static_cast<std::streamoff>(from));
        memory.read(bytes.data(), std::ssize(bytes));
        all += bytes;
    }
    return all;
}

class PasswordTest : public testing::Test {
protected:
    void SetUp() override {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
        GTEST_SKIP() << "sanitizers keep freed memory as it was";
#endif
        // The loader's late look-ups leave the vector registers, and what was copied with them, on
        // the stack, where no program can wipe it.
        ASSERT_EQ(setenv("LD_BIND_NOW", "1", 1), 0);
    }

    static std::string linesWith(const std::string& password) {
        return nlohmann::json{{"t", "auth"}, {"password", password}}.dump() + "\n" +
               R"({"t":"start"})" + "\n";
    }

    const std::string beginning = "Qz7!vK2#";
    const Wire challenge = Wire().text("RFB 003.008\n").u16(0x0102).zeros(16);
};

} // namespace

TEST_F(PasswordTest, IsNowhereInMemoryOnceItHasServed) {
    for (const auto& password : {beginning, beginning + " correct horse battery staple"}) {
        const ListeningServer server(
            sending(Wire(challenge).u32(0).u16(64).u16(64).zeros(16).string("a desk")));
        Program remote(server.port(), linesWith(password));
        EXPECT_EQ(remote.announced(), Program::Size(64, 64));
        const auto memory = writtenMemory(remote.id());
        EXPECT_NE(memory.find("a desk"), std::string::npos) << "the memory could not be read";
        // To clear a text without wiping it overwrites its first byte.
        EXPECT_EQ(memory.find(beginning.substr(1)), std::string::npos);
    }
}

TEST_F(PasswordTest, LeavesNoKeyOnceTheChallengeIsAnswered) {
    std::atomic<bool> answered = false;
    const ListeningServer server([&](ServerSide& side) {
        side.send(challenge);
        for (std::size_t left = 12 + 1 + 16; left > 0;)
            left -= side.receive().size();
        answered = true;
    });
    const Program remote(server.port(), linesWith(beginning));
    ASSERT_TRUE(eventually([&] { return answered.load(); }));
    const auto memory = writtenMemory(remote.id());
    EXPECT_NE(memory.find(beginning), std::string::npos) << "the memory could not be read";
    // The password with the bits of each byte backwards.
    EXPECT_EQ(memory.find("\x8a\x5e\xec\x84\x6e\xd2\x4c\xc4"), std::string::npos);
}
