#pragma once

#include "tools/preview/Guard.h"
#include "tools/preview/Options.h"
#include "tools/preview/Seat.h"

#include <httplib.h>

#include <filesystem>
#include <string>

namespace preview {

/// Shows one browser on this machine a page that plays the phone, and is the parent application of
/// the child behind it.
///
///     GET  ./        the page and its modules
///     GET  command   the words the child is started with, for people
///     POST frames    starts a child with these lines on its standard input, and answers with its
///                    standard output, byte for byte, until either side ends. `?display=ID` chooses
///                    the display, `?viewer=NAME` says who watches
///     POST control   whole lines for its standard input
class Server {
public:
    /// `page` is the page's folder. Throws std::runtime_error if it is not there, if the port is
    /// not free, or as `Guard` does.
    Server(const Options& options, const std::filesystem::path& page);

    /// The page's address, the only one that is answered.
    std::string address() const;
    /// Answers requests. Does not return.
    void run();

private:
    void giveCommand(httplib::Response& response) const;
    void giveFrames(const httplib::Request& request, httplib::Response& response);
    void takeControl(const httplib::Request& request, httplib::Response& response) const;

    Words command;
    Seat seat;
    Guard guard;
    httplib::Server server;
    int port = 0;
};

} // namespace preview
