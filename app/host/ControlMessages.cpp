#include "app/host/ControlMessages.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <span>
#include <utility>

namespace orvel {
namespace {

const nlohmann::json* field(const nlohmann::json& message, const char* key) {
    if (!message.is_object())
        return nullptr;
    const auto found = message.find(key);
    return found == message.end() ? nullptr : &*found;
}

std::optional<std::int64_t> wholeNumber(double value) {
    constexpr double beyond = 9223372036854775808.0; // 2^63, exactly
    if (std::trunc(value) != value || value < -beyond || value >= beyond)
        return std::nullopt;
    return static_cast<std::int64_t>(value);
}

/// Whether JSON text holds no more values than any message needs, however long its strings are:
/// each value takes up to 64 times its length in memory. False where lists are nested as none is.
bool isSmall(std::string_view text) {
    constexpr int maxDepth = 64;
    constexpr int maxValues = 10'000;
    int depth = 0;
    int values = 1;
    bool inString = false;
    for (std::size_t at = 0; at < text.size() && depth <= maxDepth && values <= maxValues; ++at) {
        const char c = text[at];
        if (c == '"') {
            inString = !inString;
        } else if (inString) {
            at += c == '\\' ? 1 : 0;
        } else if (c == '[' || c == '{') {
            ++depth;
            ++values;
        } else if (c == ']' || c == '}') {
            --depth;
        } else if (c == ',') {
            ++values;
        }
    }
    return depth <= maxDepth && values <= maxValues;
}

/// Waits for some bytes, even if the parent has made the descriptor non-blocking. 0 at the end.
std::size_t readSome(int fd, std::span<char> target) {
    while (true) {
        const auto count = read(fd, target.data(), target.size());
        if (count >= 0)
            return static_cast<std::size_t>(count);
        if (errno == EAGAIN) {
            pollfd input{fd, POLLIN, 0};
            poll(&input, 1, -1);
        } else if (errno != EINTR) {
            return 0;
        }
    }
}

} // namespace

std::optional<std::string> LineReader::next() {
    while (true) {
        const auto lineFeed = buffer.find('\n', scanned);
        if (lineFeed != std::string::npos) {
            auto line = take(lineFeed);
            start = scanned = lineFeed + 1;
            return line;
        }
        scanned = buffer.size();
        if (scanned - start > maxLength) {
            take(scanned);
            tooLong = true;
        }
        if (fill())
            continue;
        if (start == buffer.size())
            return std::nullopt;
        return take(buffer.size());
    }
}

std::string LineReader::take(std::size_t end) {
    const auto first = std::exchange(start, end);
    std::string line;
    if (!std::exchange(tooLong, false) && end - first <= maxLength)
        line.assign(buffer, first, end - first);
    std::fill_n(&buffer[first], end - first, '\0');
    return line;
}

bool LineReader::fill() {
    constexpr std::size_t room = 65536;
    buffer.erase(0, start);
    scanned -= std::exchange(start, 0);
    const auto end = buffer.size();
    buffer.resize(end + room);
    const auto count = readSome(fd, std::span(buffer).subspan(end));
    buffer.resize(end + count);
    return count > 0;
}

std::optional<nlohmann::json> controlMessage(std::string_view line) {
    // The parser would take a NUL for the end of the text.
    if (line.find('\0') != std::string_view::npos || !isSmall(line))
        return std::nullopt;
    auto message = nlohmann::json::parse(line, nullptr, /*allow_exceptions=*/false);
    if (!message.is_object())
        return std::nullopt;
    return message;
}

std::optional<std::string> stringField(const nlohmann::json& message, const char* key) {
    const auto* value = field(message, key);
    if (!value || !value->is_string())
        return std::nullopt;
    return value->get<std::string>();
}

std::optional<bool> booleanField(const nlohmann::json& message, const char* key) {
    const auto* value = field(message, key);
    if (!value || !value->is_boolean())
        return std::nullopt;
    return value->get<bool>();
}

std::optional<double> numberField(const nlohmann::json& message, const char* key) {
    const auto* value = field(message, key);
    if (!value || !value->is_number())
        return std::nullopt;
    return value->get<double>();
}

std::optional<std::int64_t> integerField(const nlohmann::json& message, const char* key) {
    const auto* value = field(message, key);
    if (!value)
        return std::nullopt;
    if (value->is_number_float())
        return wholeNumber(value->get<double>());
    if (value->is_number_unsigned()) {
        const auto number = value->get<std::uint64_t>();
        return std::in_range<std::int64_t>(number) ? std::optional<std::int64_t>(number)
                                                   : std::nullopt;
    }
    if (value->is_number_integer())
        return value->get<std::int64_t>();
    return std::nullopt;
}

std::vector<std::string> stringsField(const nlohmann::json& message, const char* key) {
    const auto* value = field(message, key);
    if (!value || !value->is_array())
        return {};
    if (!std::ranges::all_of(*value, [](const auto& element) { return element.is_string(); }))
        return {};
    return value->get<std::vector<std::string>>();
}

std::optional<StartMessage> startMessage(const nlohmann::json& message) {
    if (messageType(message) != "start")
        return std::nullopt;
    const auto bounded = [&](const char* key, int standard, std::int64_t low, std::int64_t high) {
        const auto value = integerField(message, key).value_or(standard);
        return static_cast<int>(std::clamp(value, low, high));
    };
    StartMessage start;
    start.fps = bounded("fps", start.fps, 1, 60);
    start.kbps = bounded("kbps", start.kbps, lowestKbps, highestKbps);
    start.maxw = bounded("maxw", start.maxw, 320, 7680);
    return start;
}

} // namespace orvel
