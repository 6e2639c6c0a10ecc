#include "app/host/ControlMessages.h"
#include "app/host/FileDescriptor.h"
#include "fuzz/Fuzz.h"
#include "input/Input.h"
#include "input/TextChunks.h"
#include "platform/FakeEvents.h"
#include "platform/Text.h"

#include <sys/mman.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace {

/// All lines of a text, as a reader of the text finds them in a file.
std::vector<std::string> linesRead(std::string_view text) {
    const orvel::FileDescriptor file(memfd_create("lines", MFD_CLOEXEC));
    fuzz::require(write(file.get(), text.data(), text.size()) == std::ssize(text) &&
                      lseek(file.get(), 0, SEEK_SET) == 0,
                  "there is a file");
    orvel::LineReader reader(file.get());
    std::vector<std::string> lines;
    while (auto line = reader.next())
        lines.push_back(*std::move(line));
    return lines;
}

std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const auto& line : lines)
        text += line + '\n';
    return text;
}

void requireStartInBounds(const nlohmann::json& message) {
    const auto start = orvel::startMessage(message);
    if (!start)
        return;
    fuzz::require(start->fps >= 1 && start->fps <= 60, "frame rates have bounds");
    fuzz::require(start->kbps >= 200 && start->kbps <= 20000, "bit rates have bounds");
    fuzz::require(start->maxw >= 320 && start->maxw <= 7680, "widths have bounds");
}

/// A number is whole or is none, however it is asked for.
void requireSameNumbers(const nlohmann::json& message) {
    for (const auto& [key, value] : message.items()) {
        const auto number = orvel::numberField(message, key.c_str());
        const auto integer = orvel::integerField(message, key.c_str());
        if (integer)
            fuzz::require(number == static_cast<double>(*integer), "both have the same value");
    }
}

/// What a message does to the keyboard: the text in pieces, each pressed and released.
void requireTyped(const std::vector<platform::KeyboardEvent>& events, const std::string& text) {
    std::u16string typed;
    for (std::size_t at = 0; at < events.size(); ++at) {
        fuzz::require(events[at].keyDown == (at % 2 == 0), "what is pressed is released");
        fuzz::require(events[at].unicodeString.size() <= orvel::TextChunks::maxUnits,
                      "an event has room for its text");
        if (events[at].keyDown)
            typed += events[at].unicodeString;
    }
    fuzz::require(typed == platform::utf16Units(text), "all of the text is typed");
}

template<class Event>
std::vector<Event> only(const std::vector<test::PostedEvent>& events) {
    std::vector<Event> some;
    for (const auto& each : events)
        if (const auto* event = std::get_if<Event>(&each))
            some.push_back(*event);
    return some;
}

void handle(orvel::Input& input, const nlohmann::json& message) {
    input.handle(message);
    const auto posted = std::exchange(test::fakeEvents().posted, {});
    const auto type = orvel::messageType(message);
    if (type == "text")
        requireTyped(only<platform::KeyboardEvent>(posted),
                     orvel::stringField(message, "s").value_or(""));
    for (const auto& event : only<platform::MouseEvent>(posted))
        fuzz::require(event.clickState.value_or(1) >= 1 && event.clickState.value_or(1) <= 3,
                      "a click is one of up to three");
}

} // namespace

/// Whatever comes on standard input is lines, and whatever is on a line does nothing worse than
/// what a message may do.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto lines = linesRead(text);
    const bool ends = text.empty() || text.back() == '\n';
    fuzz::require(joined(lines) == text + (ends ? "" : "\n"), "the lines are the text");
    orvel::Input input({1, "right", {1920, 100, 1280, 720}, false});
    for (const auto& line : lines) {
        fuzz::require(line.find('\n') == std::string::npos, "a line is one line");
        const auto message = orvel::controlMessage(line);
        if (!message)
            continue;
        requireStartInBounds(*message);
        requireSameNumbers(*message);
        handle(input, *message);
    }
    return 0;
}
