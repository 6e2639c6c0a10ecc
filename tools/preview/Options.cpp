#include "tools/preview/Options.h"

#include <charconv>
#include <string>

namespace preview {
namespace {

bool parsePort(const std::string& text, std::uint16_t& port) {
    const auto* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, port);
    return error == std::errc() && stop == end;
}

} // namespace

std::optional<Options> parseOptions(const Words& words, const std::filesystem::path& folder) {
    Options options;
    options.command = {folder / "orvel-screen"};
    auto word = words.begin();
    for (; word != words.end() && word->starts_with("--"); ++word) {
        const auto& name = *word;
        if (++word == words.end())
            return std::nullopt;
        if (name == "--program")
            options.command = {*word};
        else if (name == "--token")
            options.tokenFile = *word;
        else if (name != "--port" || !parsePort(*word, options.port))
            return std::nullopt;
    }
    options.command.insert(options.command.end(), word, words.end());
    if (options.command.size() == 1)
        options.command.emplace_back("stream");
    return options;
}

} // namespace preview
