#include "support/Phone.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace test {
namespace {

std::vector<std::string> command(const std::string& program,
                                 const std::vector<std::string>& options) {
    std::vector<std::string> words{program, "stream"};
    words.insert(words.end(), options.begin(), options.end());
    return words;
}

} // namespace

Phone::Phone(const std::string& program, const std::string& display,
             const std::vector<std::string>& options)
    : process(command(program, options), {{"DISPLAY", display}}) {
    send({{"t", "start"}, {"fps", 1}, {"maxw", 320}});
    const auto frame = process.frame(orvel::FrameType::announcement);
    if (!frame)
        throw std::runtime_error("no announcement");
    announcement = frame->json();
    send({{"t", "first"}, {"on", true}});
}

void Phone::hangUp() {
    process.closeInput();
    process.rest();
    EXPECT_EQ(process.wait(), 0);
}

} // namespace test
