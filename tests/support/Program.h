#pragma once

#include "support/Decoder.h"
#include "support/Process.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace test {

/// orvel-screen, with its caller in the place of the phone. The video it sends since its last
/// announcement is kept as the film. Throws std::runtime_error if a frame or the film is damaged.
class Program : public Process {
public:
    using Words = std::vector<std::string>;
    using Size = std::pair<int, int>;

    /// With these words of the command line; without a display on a machine without a desktop.
    explicit Program(const Words& words, const std::optional<std::string>& display = std::nullopt,
                     Streams streams = Streams::pipes);
    /// Streams an X server's display when the constructor returns, and has been told that the phone
    /// goes before people at the machine: a fresh X server looks as if it had just been used.
    explicit Program(const std::string& display, const Words& options = {},
                     const nlohmann::json& start = {{"fps", 1}, {"maxw", 320}});
    /// The client of a VNC server on a port of this machine. The lines go to its standard input.
    explicit Program(int port, const std::string& lines = R"({"t":"start","fps":30})"
                                                          "\n");

    void send(const nlohmann::json& message) { line(message.dump()); }
    void type(const std::string& text) { send({{"t", "text"}, {"s", text}}); }
    void press(const std::string& key, const Words& mods = {}) {
        send({{"t", "press"}, {"k", key}, {"mods", mods}});
    }

    /// The next frame that is not video. Nothing at the end, or when `limit` runs out.
    std::optional<Frame> next(std::chrono::milliseconds limit = patience);
    /// The next access unit; an error before it is thrown.
    std::optional<Video> nextVideo(std::chrono::milliseconds limit = patience);
    /// The size of the video announced next; 0 by 0 if something else comes. A new film begins.
    Size announced();
    /// "code: message" of the error that comes next and is the last thing to come; else what is
    /// wrong with it.
    std::string error();
    /// Whether the process ends by itself, with status 0 and nothing but video before.
    bool ends();
    /// The same once its input is closed.
    bool hangUp();

    /// Whether the pixel comes to have this colour (0xRRGGBB), within what the coding leaves.
    bool shows(int x, int y, std::uint32_t colour);
    /// All pictures of the film as an independent decoder shows them.
    std::vector<Picture> pictures() const;
    /// The film, without anything between its access units.
    std::vector<std::uint8_t> stream() const;

    nlohmann::json announcement;
    std::vector<Video> film;

private:
    std::optional<Frame> frameOfFilm(std::chrono::milliseconds limit);
};

} // namespace test
