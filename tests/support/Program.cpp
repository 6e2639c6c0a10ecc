#include "support/Program.h"

#include <stdexcept>

namespace test {
namespace {

using orvel::FrameType;

Program::Words command(const Program::Words& words, const Program::Words& options = {}) {
    return joined(joined({ORVEL_SCREEN}, words), options);
}

} // namespace

Program::Program(const Words& words, const std::optional<std::string>& display, Streams streams)
    : Process(command(words), {{"DISPLAY", display}}, false, streams) {}

Program::Program(const std::string& display, const Words& options, const nlohmann::json& start)
    : Process(command({"stream"}, options), {{"DISPLAY", display}}) {
    auto message = start;
    message["t"] = "start";
    send(message);
    if (announced() == Size{})
        throw std::runtime_error("no announcement");
    send({{"t", "first"}, {"on", true}});
}

Program::Program(int port, const std::string& lines)
    : Process(command({"vnc", "--host", "127.0.0.1", "--port", std::to_string(port)}),
              {{"DISPLAY", std::nullopt}}) {
    write(lines);
}

std::optional<Frame> Program::frameOfFilm(std::chrono::milliseconds limit) {
    auto next = frame(limit);
    if (!next || next->type != FrameType::video)
        return next;
    film.push_back(video(*next));
    if (!film.front().key)
        throw std::runtime_error("the film does not begin with a key frame");
    return next;
}

std::optional<Frame> Program::next(std::chrono::milliseconds limit) {
    while (auto next = frameOfFilm(limit))
        if (next->type != FrameType::video)
            return next;
    return std::nullopt;
}

std::optional<Video> Program::nextVideo(std::chrono::milliseconds limit) {
    while (const auto next = frameOfFilm(limit)) {
        if (next->type == FrameType::video)
            return film.back();
        if (next->type == FrameType::error)
            throw std::runtime_error(next->json().dump());
    }
    return std::nullopt;
}

Program::Size Program::announced() {
    const auto frame = next();
    if (!frame || frame->type != FrameType::announcement)
        return {};
    pictures();
    film.clear();
    announcement = frame->json();
    return {announcement["w"], announcement["h"]};
}

std::string Program::error() {
    const auto frame = next();
    if (!frame || frame->type != FrameType::error)
        return "no error";
    const auto json = frame->json();
    const auto text = json["error"].get<std::string>() + ": " + json["message"].get<std::string>();
    return ends() ? text : text + " (and does not end)";
}

bool Program::ends() {
    return !next() && rest().empty() && wait() == 0;
}

bool Program::hangUp() {
    closeInput();
    return ends();
}

bool Program::shows(int x, int y, std::uint32_t colour) {
    while (true) {
        while (nextVideo(std::chrono::milliseconds(100))) {
        }
        if (!film.empty() && pictures().back().shows(x, y, colour))
            return true;
        if (!nextVideo())
            return false;
    }
}

std::vector<Picture> Program::pictures() const {
    if (film.empty())
        return {};
    auto decoded = decode(stream(), announcement["w"], announcement["h"], Decoded::bgra);
    if (decoded.size() != film.size())
        throw std::runtime_error("not every access unit is a picture");
    return decoded;
}

std::vector<std::uint8_t> Program::stream() const {
    std::vector<std::uint8_t> all;
    for (const auto& each : film)
        all.insert(all.end(), each.stream.begin(), each.stream.end());
    return all;
}

} // namespace test
