#include "tools/preview/Server.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <ctime>
#include <iomanip>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>

namespace preview {
namespace {

using httplib::Request;
using httplib::Response;

/// The largest text for the clipboard, every character escaped, is shorter.
constexpr std::size_t maxControl = 1 << 20;
constexpr std::size_t maxViewerName = 60;
constexpr std::size_t maxDisplayDigits = 10;
/// A browser keeps up to six connections, each of which keeps a thread for a while. A page that
/// waits for the seat must not keep those of the one that watches from being served.
constexpr std::size_t threadCount = 32;
/// How soon a page that is gone is noticed while the child writes nothing.
constexpr auto noticeTime = std::chrono::milliseconds(100);
/// How long a page may leave its frames unread, in seconds.
constexpr int readingTime = 30;

enum Status { badRequest = 400, forbidden = 403, conflict = 409, failure = 500, unavailable = 503 };

void refuse(Response& response, Status status, const std::string& sentence) {
    response.status = status;
    response.set_content(sentence + "\n", "text/plain");
}

/// Passes on what the child writes; false once nobody wants it any more.
bool relay(const Child& child, httplib::DataSink& sink) {
    if (!child.waitForOutput(noticeTime))
        return sink.is_writable();
    std::array<char, 65536> room{};
    const auto bytes = child.read(room);
    if (!bytes.empty())
        return sink.write(bytes.data(), bytes.size());
    sink.done();
    return true;
}

/// The command with this display in the place of any other. Other commands than `stream` have none.
Words withDisplay(Words command, const std::string& display) {
    const bool number = !display.empty() && display.size() <= maxDisplayDigits &&
                        display.find_first_not_of("0123456789") == std::string::npos;
    if (!number || command.size() < 2 || command[1] != "stream")
        return command;
    command.resize(2);
    command.insert(command.end(), {"--display", display});
    return command;
}

/// What a viewer calls itself, as far as a sentence can take it.
std::string printable(std::string name) {
    std::erase_if(name, [](char one) { return one < ' ' || one > '~'; });
    name.resize(std::min(name.size(), maxViewerName));
    return name;
}

std::string occupied(const std::optional<Seat::Viewer>& viewer) {
    if (!viewer)
        return "Another page was watching just now.";
    const auto since = std::chrono::system_clock::to_time_t(viewer->since);
    std::tm local{};
    localtime_r(&since, &local);
    std::ostringstream sentence;
    sentence << (viewer->name.empty() ? "Another page" : viewer->name)
             << " has been watching since " << std::put_time(&local, "%H:%M") << ".";
    return sentence.str();
}

} // namespace

Server::Server(const Options& options, const std::filesystem::path& page)
    : command(options.command),
      guard(options.tokenFile) {
    server.set_default_headers({
        {"Content-Security-Policy",
         "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; "
         "img-src data:; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
        {"Cross-Origin-Resource-Policy", "same-origin"},
        {"X-Content-Type-Options", "nosniff"},
        {"Referrer-Policy", "no-referrer"},
        {"Cache-Control", "no-store"},
    });
    server.set_pre_routing_handler([this](const Request& request, Response& response) {
        if (guard.admits(request.path, request.get_header_value("Host")))
            return httplib::Server::HandlerResponse::Unhandled;
        refuse(response, forbidden,
               "Only the whole address that orvel-preview printed is answered.");
        return httplib::Server::HandlerResponse::Handled;
    });
    server.set_exception_handler(
        [](const Request&, Response& response, const std::exception_ptr& failed) {
            try {
                std::rethrow_exception(failed);
            } catch (const std::exception& error) {
                refuse(response, failure, error.what());
            }
        });

    if (!server.set_mount_point(guard.prefix(), page))
        throw std::runtime_error("no page in " + page.string());
    server.Get(guard.prefix() + "command",
               [this](const Request&, Response& response) { giveCommand(response); });
    // Some browsers tell a page of an answer once its first byte is there, and the child writes
    // none before it has read its first lines: so they come with the request.
    server.Post(guard.prefix() + "frames", [this](const Request& request, Response& response) {
        giveFrames(request, response);
    });
    server.Post(guard.prefix() + "control", [this](const Request& request, Response& response) {
        takeControl(request, response);
    });

    server.new_task_queue = [] {
        return std::make_unique<httplib::ThreadPool>(threadCount).release();
    };
    // The library's own options let a second server share the port and take half of the requests.
    server.set_socket_options([](int socket) {
        const int yes = 1;
        setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
    });
    // A movement of the pointer must not wait for the next one, nor for a connection.
    server.set_tcp_nodelay(true);
    server.set_keep_alive_max_count(100'000);
    server.set_payload_max_length(maxControl);
    server.set_write_timeout(readingTime);
    const auto host = "127.0.0.1";
    port = options.port == 0                         ? server.bind_to_any_port(host)
           : server.bind_to_port(host, options.port) ? options.port
                                                     : -1;
    if (port < 0)
        throw std::runtime_error("port " + std::to_string(options.port) + " can't be had");
}

std::string Server::address() const {
    return "http://127.0.0.1:" + std::to_string(port) + guard.prefix();
}

void Server::run() {
    server.listen_after_bind();
}

void Server::giveCommand(Response& response) const {
    std::string text;
    for (const auto& word : command)
        text += (text.empty() ? "" : " ") + word;
    response.set_content(text, "text/plain; charset=utf-8");
}

void Server::giveFrames(const Request& request, Response& response) {
    const auto child = seat.take(withDisplay(command, request.get_param_value("display")),
                                 printable(request.get_param_value("viewer")));
    if (!child) {
        refuse(response, conflict, occupied(seat.viewer()));
        return;
    }
    child->write(request.body);
    response.set_chunked_content_provider(
        "application/octet-stream",
        [child](std::size_t, httplib::DataSink& sink) { return relay(*child, sink); },
        [this](bool) { seat.leave(); });
}

void Server::takeControl(const Request& request, Response& response) const {
    if (!request.body.ends_with('\n')) {
        refuse(response, badRequest, "Control messages are whole lines.");
        return;
    }
    const auto child = seat.child();
    if (!child)
        refuse(response, conflict, "Nobody is watching, so there is no program to control.");
    else if (!child->write(request.body))
        refuse(response, unavailable, "The program takes no more control messages.");
}

} // namespace preview
