#include "support/Remote.h"

#include <gtest/gtest.h>

namespace test {

using orvel::FrameType;

Remote::Remote(const std::string& program, int port, const std::string& lines)
    : process({program, "vnc", "--host", "127.0.0.1", "--port", std::to_string(port)},
              {{"DISPLAY", std::nullopt}}) {
    process.write(lines);
}

std::optional<Frame> Remote::next() {
    while (auto frame = process.frame()) {
        if (frame->type != FrameType::video)
            return frame;
        collect(*frame);
    }
    return std::nullopt;
}

void Remote::expectAnnouncement(int w, int h) {
    const auto frame = next();
    ASSERT_TRUE(frame && frame->type == FrameType::announcement);
    pictures();
    film.clear();
    presentationTimes.clear();
    size = {w, h};
    EXPECT_EQ(frame->json()["w"], w);
    EXPECT_EQ(frame->json()["h"], h);
}

bool Remote::shows(int x, int y, std::uint32_t colour) {
    while (true) {
        while (const auto more = process.frame(FrameType::video, 100ms))
            collect(*more);
        if (const auto shown = pictures(); !shown.empty() && shown.back().shows(x, y, colour))
            return true;
        const auto frame = process.frame(FrameType::video);
        if (!frame)
            return false;
        collect(*frame);
    }
}

void Remote::expectError(const std::string& code, const std::string& beginning) {
    const auto frame = next();
    ASSERT_TRUE(frame && frame->type == FrameType::error);
    EXPECT_EQ(frame->json()["error"], code);
    EXPECT_TRUE(frame->json()["message"].get<std::string>().starts_with(beginning))
        << frame->json();
    expectEnd();
}

void Remote::expectEnd() {
    EXPECT_EQ(next(), std::nullopt);
    EXPECT_EQ(process.wait(), 0);
}

void Remote::collect(const Frame& frame) {
    const auto picture = video(frame);
    EXPECT_TRUE(picture.key || !film.empty());
    presentationTimes.push_back(picture.microseconds);
    const auto unit = accessUnit(frame);
    film.insert(film.end(), unit.begin(), unit.end());
}

std::vector<Picture> Remote::pictures() const {
    if (film.empty())
        return {};
    return decode(film, size.first, size.second, Decoded::bgra);
}

} // namespace test
