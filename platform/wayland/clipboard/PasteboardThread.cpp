#include "platform/wayland/clipboard/PasteboardThread.h"

#include <asio/buffer.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/read.hpp>
#include <asio/write.hpp>

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace platform::wayland {
namespace {

constexpr TextTarget plainText{"text/plain", TextForm::utf8};

std::optional<TextTarget> targetAmong(const std::vector<std::string>& types) {
    if (types.empty())
        return std::nullopt;
    const auto usual = targetsToAsk(types);
    if (!usual.empty())
        return usual.front();
    const bool isPlain = std::ranges::find(types, plainText.name) != types.end();
    return isPlain ? std::optional(plainText) : std::nullopt;
}

} // namespace

/// A text on its way from the program that was asked for it. Lives as long as that takes.
struct PasteboardThread::Reading {
    Reading(asio::io_context& context, int file, TextForm form, Pasteboard::TextHandler done)
        : source(context, file),
          form(form),
          done(std::move(done)) {}

    asio::posix::stream_descriptor source;
    TextForm form;
    Pasteboard::TextHandler done;
    std::vector<std::uint8_t> bytes;
};

std::unique_ptr<PasteboardThread> PasteboardThread::start() {
    auto connection = Connection::open();
    if (!connection || !Selection::isOfferedBy(*connection))
        return nullptr;
    return std::unique_ptr<PasteboardThread>(new PasteboardThread(std::move(connection)));
}

PasteboardThread::PasteboardThread(std::unique_ptr<Connection> open)
    : connection(std::move(open)),
      seat(connection->bind<wl_seat>(wl_seat_interface)),
      loop(*connection),
      selection(*connection, seat.get(),
                {.changed = [this] { changed(); },
                 .pasted = [this](const std::string& text, int file) { write(text, file); }}),
      thread([this] {
          pthread_setname_np(pthread_self(), "orvel.clipboard");
          loop.run([](MediaTime) { return EventLoop::Rest{}; });
      }) {}

PasteboardThread::~PasteboardThread() {
    loop.stop();
    thread.join();
}

void PasteboardThread::changed() {
    ++count;
    cancelReading();
}

void PasteboardThread::types(std::int64_t change, const Pasteboard::TypesHandler& done) {
    loop.post([this, change, done] {
        done(change == count ? withCommonNames(selection.types()) : std::vector<std::string>{});
    });
}

void PasteboardThread::string(std::int64_t change, std::size_t limit,
                              const Pasteboard::TextHandler& done) {
    loop.post([this, change, limit, done] {
        const auto target = targetAmong(selection.types());
        if (change != count || !target)
            done(std::nullopt);
        else if (selection.ownText())
            done(selection.ownText());
        else
            read(*target, limit, done);
    });
}

void PasteboardThread::setString(const std::string& text) {
    ++count;
    loop.post([this, text] {
        cancelReading();
        selection.offer(text);
    });
}

void PasteboardThread::read(const TextTarget& target, std::size_t limit,
                            const Pasteboard::TextHandler& done) {
    cancelReading();
    std::array<int, 2> pipe{};
    if (pipe2(pipe.data(), O_CLOEXEC) != 0)
        return done(std::nullopt);
    selection.receive(std::string(target.name), pipe[1]);
    close(pipe[1]);
    const auto started = std::make_shared<Reading>(loop.context(), pipe[0], target.form, done);
    reading = started;
    // A character more than the limit, so that the one at the limit is whole. What the owner has
    // beyond that is not read: it finds the pipe closed.
    constexpr std::size_t maxCharacterLength = 4;
    asio::async_read(started->source,
                     asio::dynamic_buffer(started->bytes, limit + maxCharacterLength),
                     [started](const asio::error_code& error, std::size_t) {
                         if (error == asio::error::operation_aborted)
                             started->done(std::nullopt);
                         else
                             started->done(textFrom(started->bytes, started->form));
                     });
}

void PasteboardThread::cancelReading() {
    if (const auto underWay = reading.lock())
        underWay->source.cancel();
}

/// The reader may be slow, or gone, or may have sent a file that can't be waited for, which nobody
/// but itself has to care about.
void PasteboardThread::write(const std::string& text, int file) {
    struct Writing {
        Writing(asio::io_context& context, std::string text)
            : sink(context),
              text(std::move(text)) {}

        asio::posix::stream_descriptor sink;
        std::string text;
    };
    const auto writing = std::make_shared<Writing>(loop.context(), text);
    asio::error_code refusal;
    writing->sink.assign(file, refusal);
    if (refusal) {
        close(file);
        return;
    }
    asio::async_write(writing->sink, asio::buffer(writing->text),
                      [writing](const asio::error_code&, std::size_t) {});
}

} // namespace platform::wayland
