#include "support/XServer.h"

#include <stdexcept>

namespace test {
namespace {

std::vector<std::string> command(const std::string& screen,
                                 const std::vector<std::string>& options) {
    // Not -terminate or -reset: clients come and go within a test.
    std::vector<std::string> words{"Xvfb",      "-displayfd", "1",        "-screen", "0", screen,
                                   "-nolisten", "tcp",        "-noreset", "-dpi",    "96"};
    words.insert(words.end(), options.begin(), options.end());
    return words;
}

} // namespace

XServer::XServer(const std::string& screen, const std::vector<std::string>& options)
    : process(command(screen, options), {}, true) {
    const auto number = process.firstLine();
    if (number.empty())
        throw std::runtime_error("Xvfb: " + process.errorText());
    name = ":" + number;
}

} // namespace test
