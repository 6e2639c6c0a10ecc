#include "support/Process.h"
#include "support/ScriptedServer.h"
#include "support/Wire.h"

#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <sstream>

using namespace test;

namespace {

/// Everything that a process has written to its memory, mapping by mapping.
std::vector<std::string> writtenMemory(pid_t process) {
    const auto folder = "/proc/" + std::to_string(process);
    std::ifstream maps(folder + "/maps");
    std::ifstream memory(folder + "/mem", std::ios::binary);
    std::vector<std::string> found;
    for (std::string line; std::getline(maps, line);) {
        std::istringstream fields(line);
        std::uint64_t from = 0;
        std::uint64_t to = 0;
        char dash = 0;
        std::string rights;
        fields >> std::hex >> from >> dash >> to >> rights;
        if (!rights.starts_with("rw"))
            continue;
        std::string bytes(to - from, '\0');
        memory.clear();
        memory.seekg(static_cast<std::streamoff>(from));
        if (memory.read(bytes.data(), static_cast<std::streamsize>(bytes.size())))
            found.push_back(std::move(bytes));
    }
    return found;
}

} // namespace

TEST(Password, IsNowhereInMemoryOnceItHasServed) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "sanitizers keep freed memory as it was";
#endif
    const std::string beginning = "Qz7!vK2#";
    for (const auto& password : {beginning, beginning + " correct horse battery staple"}) {
        std::atomic<bool> over = false;
        ListeningServer server([&](ServerSide& side) {
            side.send(Wire()
                          .text("RFB 003.008\n")
                          .u8(1)
                          .u8(2)
                          .zeros(16)
                          .u32(0)
                          .u16(64)
                          .u16(64)
                          .zeros(16)
                          .string("a desk"));
            eventually([&] { return over.load(); });
        });
        // The loader's late look-ups leave the vector registers, and what was copied with them, on
        // the stack, where no program can wipe it.
        Process process(
            {ORVEL_SCREEN, "vnc", "--host", "127.0.0.1", "--port", std::to_string(server.port())},
            {{"LD_BIND_NOW", "1"}});
        process.line(nlohmann::json{{"t", "auth"}, {"password", password}}.dump());
        process.line(R"({"t":"start"})");
        EXPECT_TRUE(process.frame(orvel::FrameType::announcement));
        const auto memory = writtenMemory(process.id());
        const auto places = [&](const std::string& text) {
            return std::ranges::count_if(memory, [&](const std::string& bytes) {
                return bytes.find(text) != std::string::npos;
            });
        };
        EXPECT_GT(places("a desk"), 0) << "the memory could not be read";
        EXPECT_EQ(places(beginning), 0);
        over = true;
    }
}
