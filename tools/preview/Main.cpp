#include "tools/preview/Options.h"
#include "tools/preview/Server.h"

#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <iostream>

namespace {

constexpr auto usage =
    "usage: orvel-preview [--port N] [--token FILE] [--program FILE] [COMMAND ARGUMENT...]\n"
    "\n"
    "Prints the address of a page that plays the phone, and serves it to this machine alone until\n"
    "it is interrupted. COMMAND is `stream [--display ID]` or `vnc --host H --port P`.\n"
    "  --port N        the port to listen at, rather than any free one\n"
    "  --token FILE    keeps the address's secret in this file, which is made if it is missing\n"
    "  --program FILE  what is started in the place of orvel-screen\n";

/// The page's folder: beside the program where it was built, below share/ where it was installed.
std::filesystem::path findPage(const std::filesystem::path& folder) {
    const auto beside = folder / "page";
    return exists(beside) ? beside : folder.parent_path() / "share/orvel-screen/page";
}

} // namespace

int main(int count, char** arguments) {
    const preview::Words words(arguments + 1, arguments + count);
    if (words == preview::Words{"--help"}) {
        std::fputs(usage, stdout);
        return 0;
    }
    // A child that is gone is an error where it is written to, not the end.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        const auto folder = std::filesystem::canonical("/proc/self/exe").parent_path();
        const auto options = preview::parseOptions(words, folder);
        if (!options) {
            std::fputs(usage, stderr);
            return 2;
        }
        preview::Server server(*options, findPage(folder));
        std::cout << server.address() << std::endl;
        server.run();
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
