#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace preview {

/// Keeps away whoever was not given the page's address: other users of this machine, who can
/// connect as well, and pages from elsewhere that know how to make a browser connect. Any thread.
class Guard {
public:
    /// With the token that this file keeps, so that the address stays the same. A file that is
    /// missing is made, for its owner alone, with a new random token; without a file there is a
    /// new one every time. Throws std::runtime_error if the file can't be made or has no token
    /// that is worth the name, or if the system has no random bytes.
    explicit Guard(const std::optional<std::filesystem::path>& tokenFile);

    /// What every path begins with and nobody can guess, such as "/3f…9c/".
    const std::string& prefix() const { return root; }

    /// Whether a request for this path, with this "Host" header, may be answered. The host counts
    /// since a page from elsewhere can have its own name resolve to this machine, and then reads
    /// the answers.
    bool admits(std::string_view path, std::string_view host) const;

private:
    std::string root;
};

} // namespace preview
