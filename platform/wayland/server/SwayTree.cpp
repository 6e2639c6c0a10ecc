#include "platform/wayland/server/SwayTree.h"

#include <nlohmann/json.hpp>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string_view>

namespace platform::wayland {
namespace {

using nlohmann::json;

/// A message of sway's begins with these words and goes on with its payload.
struct Header {
    std::array<char, 6> magic{'i', '3', '-', 'i', 'p', 'c'};
    std::array<std::uint8_t, 4> length{};
    std::array<std::uint8_t, 4> type{};
};
constexpr std::uint8_t getTree = 4;
/// Some hundred times what a desktop full of windows takes.
constexpr std::uint32_t maxLength = 16 << 20;

/// The process at the other end of a socket, where it was listened for this one; 0 if unknown.
pid_t peerOf(int descriptor) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 ? peer.pid : 0;
}

class Socket {
public:
    explicit Socket(const std::string& path)
        : descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        if (path.size() >= sizeof address.sun_path)
            return;
        path.copy(address.sun_path, path.size());
        const timeval limit{1, 0};
        setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
        connected =
            connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }
    ~Socket() { close(descriptor); }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    /// Whether it is this compositor's. Another one, in whose window it may run, has other windows.
    bool isOf(const Connection& connection) const {
        const auto peer = connected ? peerOf(descriptor) : 0;
        return peer != 0 && peer == peerOf(connection.descriptor());
    }
    bool write(const Header& header) const {
        return send(descriptor, &header, sizeof header, MSG_NOSIGNAL) == sizeof header;
    }
    bool read(void* to, std::size_t size) const {
        return recv(descriptor, to, size, MSG_WAITALL) == static_cast<ssize_t>(size);
    }

private:
    int descriptor;
    bool connected = false;
};

/// The payload of the answer; empty if none came.
std::string askForTree(const std::string& path, const Connection& connection) {
    const Socket sway(path);
    Header header;
    header.type[0] = getTree;
    Header answer;
    if (!sway.isOf(connection) || !sway.write(header) || !sway.read(&answer, sizeof answer) ||
        answer.magic != header.magic)
        return {};
    std::uint32_t length = 0;
    std::memcpy(&length, answer.length.data(), sizeof length);
    std::string text(length <= maxLength ? length : 0, '\0');
    return sway.read(text.data(), text.size()) ? text : std::string{};
}

std::string_view textIn(const json& object, const char* name) {
    const auto found = object.is_object() ? object.find(name) : object.end();
    return object.is_object() && found != object.end() && found->is_string()
               ? std::string_view(found->get_ref<const std::string&>())
               : std::string_view{};
}

bool belongsTo(const std::vector<std::string>& applications, const json& window) {
    const auto properties = window.find("window_properties");
    const json none;
    const json& ofX = properties != window.end() ? *properties : none;
    return std::ranges::any_of(applications, [&](const std::string& each) {
        return each == textIn(window, "app_id") || each == textIn(ofX, "class") ||
               each == textIn(ofX, "instance");
    });
}

Rect rectangle(const json& node, const char* name) {
    const auto& found = node.at(name);
    return {found.at("x"), found.at("y"), found.at("width"), found.at("height")};
}

/// Whether any window in this part of the tree is shown, and leaves room for bars of titles.
/// Throws json::exception.
bool showsWindows(const json& node) {
    const bool isShown = node.value("visible", false) && node.at("fullscreen_mode") == 0;
    return isShown || std::ranges::any_of(node.at("nodes"), showsWindows);
}

/// Throws json::exception.
WindowPlace placeOf(const json& window, const json& siblings, std::string_view layout) {
    WindowPlace place{rectangle(window, "rect")};
    // The rectangle begins under the titles of all that are stacked with the window.
    const auto rows = static_cast<double>(layout == "stacked" ? siblings.size() : 1);
    const double titles = rectangle(window, "deco_rect").height * rows;
    place.area.y -= titles;
    if (window.at("visible").get<bool>()) {
        place.area.height += titles;
        place.mayHavePopups =
            window.at("focused").get<bool>() || textIn(window, "shell") == "xwayland";
    } else if (titles > 0 && std::ranges::any_of(siblings, showsWindows)) {
        place.area.height = titles;
    } else {
        place.area = {};
    }
    return place;
}

/// Adds the places of windows in `node`. Throws json::exception.
void addPlaces(const json& node, const std::vector<std::string>& applications,
               std::vector<WindowPlace>& places) {
    for (const auto* kind : {"nodes", "floating_nodes"})
        for (const auto& children = node.at(kind); const auto& child : children) {
            if (belongsTo(applications, child))
                places.push_back(placeOf(child, children, textIn(node, "layout")));
            addPlaces(child, applications, places);
        }
}

/// Throws json::exception.
bool hasFocusedXClient(const json& node) {
    if (node.at("focused").get<bool>() && textIn(node, "shell") == "xwayland")
        return true;
    const auto isIn = [&](const char* children) {
        return std::ranges::any_of(node.at(children), hasFocusedXClient);
    };
    return isIn("nodes") || isIn("floating_nodes");
}

/// Throws json::exception, or std::length_error for one whose branches would take all of the stack.
json parsedTree(const std::string& text) {
    return json::parse(text, [](int depth, json::parse_event_t, const json&) {
        constexpr int maxDepth = 1000; // two for each container in another
        if (depth > maxDepth)
            throw std::length_error("a tree of windows too deep");
        return true;
    });
}

/// What `read` makes of the tree; nullopt if there is none, or `read` throws json::exception.
template<class Read>
auto readTree(const Connection& connection, Read read) -> std::optional<decltype(read(json{}))> {
    const char* const path = std::getenv("SWAYSOCK"); // NOLINT(concurrency-mt-unsafe)
    if (!path)
        return std::nullopt;
    try {
        return read(parsedTree(askForTree(path, connection)));
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

} // namespace

std::optional<std::vector<WindowPlace>> placesInSway(const Connection& connection,
                                                     const std::vector<std::string>& applications) {
    return readTree(connection, [&](const json& tree) {
        std::vector<WindowPlace> places;
        addPlaces(tree, applications, places);
        return places;
    });
}

std::optional<bool> xClientHasFocusInSway(const Connection& connection) {
    return readTree(connection, hasFocusedXClient);
}

} // namespace platform::wayland
