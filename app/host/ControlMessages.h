#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What the phone sends: one JSON object per line, its type in the string field "t". A field that
/// is missing or of the wrong JSON type counts as not given; nothing here ever fails.
namespace orvel {

/// Reads a file descriptor line by line and keeps nothing of the lines it has handed out: a
/// password may be among them. Belongs to one thread at a time.
class LineReader {
public:
    /// The maximum length of a line in bytes, far beyond any text that people copy: a line without
    /// an end must not fill the memory.
    static constexpr std::size_t maxLength = 16 << 20;

    explicit LineReader(int fd) : fd(fd) {}

    /// Returns the next line without its line feed, which the last one may lack; nullopt at the end
    /// of input, and from then on. A line beyond `maxLength` comes back empty, so that it is no
    /// message. Blocks until a line is there.
    std::optional<std::string> next();

private:
    /// Takes the line from start to `end` out of the buffer.
    std::string take(std::size_t end);
    bool fill();

    int fd;
    std::string buffer;
    std::size_t start = 0;   // of the first line not yet handed out
    std::size_t scanned = 0; // no line feed from start up to here
    bool tooLong = false;    // the line at start is the rest of one that was dropped
};

/// The object on a line. Returns nullopt if the line is no valid JSON, no object, has anything else
/// behind it, or more values than a message can need; its texts may be as long as the line.
std::optional<nlohmann::json> controlMessage(std::string_view line);

std::optional<std::string> stringField(const nlohmann::json& message, const char* key);
std::optional<bool> booleanField(const nlohmann::json& message, const char* key);
std::optional<double> numberField(const nlohmann::json& message, const char* key);
/// A number with a whole value within 64 bits, however it is written: 30, 30.0 and 3e1 alike.
std::optional<std::int64_t> integerField(const nlohmann::json& message, const char* key);
/// The strings of an array; none unless every element is a string.
std::vector<std::string> stringsField(const nlohmann::json& message, const char* key);

/// The value of "t", if that is a string.
inline std::optional<std::string> messageType(const nlohmann::json& message) {
    return stringField(message, "t");
}

constexpr std::int64_t lowestKbps = 200;
constexpr std::int64_t highestKbps = 20000;

/// The message that opens a session; what is out of bounds is moved to the nearest bound.
struct StartMessage {
    int fps = 30;    ///< 1 to 60.
    int kbps = 4000; ///< 200 to 20000.
    int maxw = 1920; ///< Largest width of the video in pixels, 320 to 7680.
};

/// Returns nullopt if the message is of another type.
std::optional<StartMessage> startMessage(const nlohmann::json& message);

} // namespace orvel
