#pragma once

#include "support/Decoder.h"
#include "support/Process.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace test {

/// The program as the client of a VNC server, on a machine without a desktop of its own, with this
/// test in the place of the phone.
class Remote {
public:
    /// The lines go to its standard input; without others only the start message.
    Remote(const std::string& program, int port,
           const std::string& lines = R"({"t":"start","fps":30})"
                                      "\n");

    /// The next frame that is not video; the video is collected.
    std::optional<Frame> next();
    /// Waits for the announcement, and begins a new film with it. The one before is checked: it
    /// began with a key frame, and all of its pictures decode and have the size announced.
    void expectAnnouncement(int w, int h);
    /// Whether the pixel comes to have this colour (0xRRGGBB), within what the coding leaves.
    bool shows(int x, int y, std::uint32_t colour);
    void expectError(const std::string& code, const std::string& beginning);
    /// The process ends by itself and soon, and nothing but video comes before.
    void expectEnd();

    /// The presentation times of the film in microseconds.
    const std::vector<std::uint64_t>& times() const { return presentationTimes; }
    /// In bytes.
    std::size_t filmSize() const { return film.size(); }

    Process process;

private:
    void collect(const Frame& frame);
    std::vector<Picture> pictures() const;

    std::vector<std::uint8_t> film;
    std::vector<std::uint64_t> presentationTimes;
    std::pair<int, int> size;
};

} // namespace test
