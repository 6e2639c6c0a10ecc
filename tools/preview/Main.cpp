#include "tools/preview/Server.h"

#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>

int main(int count, char** arguments) {
    if (count < 3) {
        std::fputs("usage: orvel-preview PROGRAM COMMAND [ARGUMENT...]\n", stderr);
        return 2;
    }
    // A child that is gone is an error where it is written to, not the end.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        preview::Server server({arguments + 1, arguments + count}, PREVIEW_PAGES);
        std::cout << server.address() << std::endl;
        server.run();
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
