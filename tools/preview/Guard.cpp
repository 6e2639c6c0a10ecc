#include "tools/preview/Guard.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace preview {
namespace {

constexpr std::size_t tokenBytes = 16;

std::string randomToken() {
    std::array<std::uint8_t, tokenBytes> bytes{};
    if (getentropy(bytes.data(), bytes.size()) != 0)
        throw std::system_error(errno, std::generic_category(), "getentropy");
    constexpr std::string_view digits = "0123456789abcdef";
    std::string token;
    for (const auto byte : bytes) {
        token += digits[byte >> 4];
        token += digits[byte & 15];
    }
    return token;
}

std::string keptToken(const std::filesystem::path& file) {
    if (!exists(file)) {
        const auto mask = umask(S_IRWXG | S_IRWXO);
        std::ofstream(file) << randomToken() << '\n';
        umask(mask);
    }
    std::string token;
    std::ifstream(file) >> token;
    if (token.size() < tokenBytes ||
        !std::ranges::all_of(token, [](unsigned char one) { return std::isalnum(one) != 0; }))
        throw std::runtime_error(file.string() + " is not a file with a token of at least " +
                                 std::to_string(tokenBytes) + " letters and digits");
    return token;
}

/// Takes the same time wherever the texts differ, so that a token can't be found digit by digit.
bool beginsWith(std::string_view text, std::string_view beginning) {
    if (text.size() < beginning.size())
        return false;
    int difference = 0;
    for (std::size_t index = 0; index < beginning.size(); ++index)
        difference |= text[index] ^ beginning[index];
    return difference == 0;
}

} // namespace

Guard::Guard(const std::optional<std::filesystem::path>& tokenFile) : root("/") {
    root += tokenFile ? keptToken(*tokenFile) : randomToken();
    root += '/';
}

bool Guard::admits(std::string_view path, std::string_view host) const {
    // Any port: somebody may look at it through a tunnel.
    const auto name = host.substr(0, host.find(':'));
    return (name == "127.0.0.1" || name == "localhost") && beginsWith(path, root);
}

} // namespace preview
