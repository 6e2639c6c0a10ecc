#include "bench/RectangleFile.h"
#include "rfb/Inflater.h"
#include "rfb/RFBHandshake.h"
#include "rfb/TCPConnection.h"
#include "rfb/VNCSession.h"
#include "support/Files.h"
#include "support/VNCServers.h"
#include "support/XClient.h"
#include "support/XOwner.h"

#include <nlohmann/json.hpp>

#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <thread>

/// Makes the seeds of the corpora of what servers send, from real ones: `fuzz-record DIRECTORY`,
/// from the root of the sources. Its standard output is of no use.
namespace fuzz {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// The parameters that a target takes off the end of its input, the first one first.
Bytes withParameters(std::span<const std::uint8_t> bytes, std::initializer_list<int> parameters) {
    Bytes input(bytes.begin(), bytes.end());
    for (auto parameter = std::rbegin(parameters); parameter != std::rend(parameters); ++parameter)
        input.push_back(static_cast<std::uint8_t>(*parameter));
    return input;
}

void writeFile(const std::filesystem::path& path, const Bytes& bytes) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), std::ssize(bytes));
}

/// Stands between a client and a server and keeps what the server says.
class Wiretap {
public:
    explicit Wiretap(int port)
        : server(orvel::connectTCP("127.0.0.1", port, std::chrono::seconds(8))) {
        std::array<int, 2> ends{};
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
            throw std::runtime_error("no socket pair");
        clientEnd = orvel::FileDescriptor(ends[0]);
        ourEnd = orvel::FileDescriptor(ends[1]);
        thread = std::jthread([this] { relay(); });
    }

    orvel::FileDescriptor client() { return std::move(clientEnd); }
    Bytes heard() {
        const std::lock_guard guard(lock);
        return bytes;
    }

private:
    void relay() {
        std::array<pollfd, 2> ends{{{ourEnd.get(), POLLIN, 0}, {server.get(), POLLIN, 0}}};
        Bytes chunk(65536);
        while (poll(ends.data(), ends.size(), -1) > 0)
            for (std::size_t from = 0; from < ends.size(); ++from) {
                if (ends[from].revents == 0)
                    continue;
                const auto count = read(ends[from].fd, chunk.data(), chunk.size());
                if (count <= 0)
                    return;
                if (from == 1) {
                    const std::lock_guard guard(lock);
                    bytes.insert(bytes.end(), chunk.begin(), chunk.begin() + count);
                }
                if (write(ends[1 - from].fd, chunk.data(), static_cast<std::size_t>(count)) < 0)
                    return;
            }
    }

    orvel::FileDescriptor server;
    orvel::FileDescriptor clientEnd;
    orvel::FileDescriptor ourEnd;
    std::mutex lock;
    Bytes bytes; // under lock
    std::jthread thread;
};

using Scene = std::vector<std::function<void()>>;

/// Signs in and watches while the scene is played, step by step.
void record(const std::filesystem::path& directory, const std::string& name, int port,
            const std::string& password, const Scene& scene) {
    Wiretap tap(port);
    auto socket = std::make_unique<orvel::RFBSocket>(tap.client());
    const auto server = orvel::rfbHandshake(*socket, password);
    const auto handshake = tap.heard();
    writeFile(directory / "handshake" / name,
              withParameters(handshake, {1, password.empty() ? 0 : 1}));
    orvel::rfbSetup(*socket);
    orvel::VNCSession session(std::move(socket), server, 60, 4000, 1920);
    std::jthread reader([&] {
        try {
            session.run();
        } catch (const std::exception&) {
            session.stop();
        }
    });
    const auto waitForMore = [&](std::size_t than) {
        test::eventually([&] { return tap.heard().size() > than; }, std::chrono::seconds(1));
    };
    waitForMore(handshake.size());
    for (const auto& step : scene) {
        const auto before = tap.heard().size();
        step();
        waitForMore(before);
    }
    session.stop();
    const auto all = tap.heard();
    const bool large = server.width > 100;
    writeFile(directory / "session" / name,
              withParameters(std::span(all).subspan(handshake.size()), {1, large ? 1 : 0}));
}

void recordXvnc(const std::filesystem::path& directory, const std::string& password) {
    const test::Xvnc server(password.empty() ? std::nullopt : std::optional(password), "100x75");
    const test::XClient client(server.display());
    const auto window = client.createWindow({4, 4, 20, 20}, {.colour = 0x3366CC});
    std::optional<test::XOwner> owner;
    std::vector<std::uint32_t> noise(24 * 16);
    for (std::size_t at = 0; at < noise.size(); ++at)
        noise[at] = static_cast<std::uint32_t>(at * 2654435761U >> 8);
    record(directory, password.empty() ? "Xvnc" : "Xvnc-password", server.port(), password,
           {[&] { client.map(window), client.sync(); },
            [&] {
                client.putImage(client.root(), {70, 50, 24, 16}, noise), client.sync();
            },
            [&] { client.move(window, 40, 30), client.sync(); },
            [&] { xcb_bell(client.connection(), 50), client.sync(); },
            [&] {
                owner.emplace(server.display(),
                              test::Copied{{{"UTF8_STRING", "naïve"}, {"STRING", "na\xEFve"}}});
            },
            [&] {
                test::Process resize({"xrandr", "--fb", "120x90"}, {{"DISPLAY", server.display()}});
                resize.wait();
            },
            [&] {
                client.fill(client.root(), {100, 60, 20, 20}, 0xFF8800), client.sync();
            }});
}

void recordX11vnc(const std::filesystem::path& directory) {
    const test::X11vnc server;
    const test::XClient client(server.display());
    record(directory, "x11vnc", server.port(), "", {[&] {
               client.fill(client.root(), {10, 10, 30, 12}, 0x3366CC);
               client.sync();
           }});
}

/// The rectangles of a recorded session, as far as they are small enough for a target.
void takeApart(const std::filesystem::path& directory, const std::string& name) {
    constexpr std::size_t maxRectangles = 40;
    constexpr std::size_t maxStream = 3000;
    const auto rectangles = bench::readRectangles("bench/recordings/" + name + ".zrle");
    const auto& first = rectangles.front().data;
    writeFile(directory / "inflater" / name,
              withParameters(std::span(first).first(std::min(first.size(), maxStream)),
                             {255, 1, 15, 255, 255, 0, 6, 0}));
    orvel::Inflater inflater;
    std::size_t taken = 0;
    for (const auto& [x, y, width, height, data] : rectangles) {
        const auto pixels = inflater.inflate(data, std::ptrdiff_t{width} * height * 4);
        if (width > 130 || height > 130 || pixels.size() > 4000 || ++taken > maxRectangles)
            continue;
        writeFile(directory / "zrle" / (name + std::to_string(taken)),
                  withParameters(pixels, {width - 1, height - 1}));
    }
}

} // namespace
} // namespace fuzz

int main(int count, char** arguments) {
    if (count != 2) {
        std::fputs("usage: fuzz-record DIRECTORY\n", stderr);
        return 2;
    }
    try {
        const std::filesystem::path directory = arguments[1];
        for (const auto* target : {"handshake", "session", "inflater", "zrle"})
            std::filesystem::create_directories(directory / target);
        fuzz::recordXvnc(directory, "");
        fuzz::recordXvnc(directory, "geheim");
        fuzz::recordX11vnc(directory);
        const test::QEMU machine("geheim");
        fuzz::record(directory, "QEMU", machine.port(), "geheim", {});
        for (const auto* name : {"scrolling", "terminal", "window", "video"})
            fuzz::takeApart(directory, name);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
