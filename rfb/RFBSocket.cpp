#include "rfb/RFBSocket.h"

#include "platform/Text.h"
#include "rfb/RFBError.h"
#include "rfb/TCPConnection.h"

#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace orvel {
namespace {

/// Longer than any name or reason that makes sense to a reader, and small enough to allocate.
constexpr std::uint32_t maxStringLength = 1048576;

/// Repeats a call that a signal interrupted. An orderly end of the stream counts as a failure,
/// because it is never expected.
template<class Call>
std::size_t transferred(Call call) {
    ssize_t count = 0;
    do {
        count = call();
    } while (count < 0 && errno == EINTR);
    if (count <= 0)
        throw RFBError::broken("The remote desktop closed the connection.");
    return static_cast<std::size_t>(count);
}

} // namespace

RFBSocket::RFBSocket(const std::string& host, std::int64_t port, std::chrono::milliseconds timeout)
    : RFBSocket(connectTCP(host, port, timeout)) {}

RFBSocket::RFBSocket(FileDescriptor connected) : fd(std::move(connected)) {}

std::span<const std::uint8_t> RFBSocket::bytes(std::ptrdiff_t n) {
    if (n <= 0)
        return {};
    const auto count = static_cast<std::size_t>(n);
    if (count <= end - start)
        return {buffer.data() + std::exchange(start, start + count), count};
    const auto target = assembled.take(count);
    read(target);
    return target;
}

std::string RFBSocket::string() {
    const auto length = u32();
    if (length > maxStringLength)
        throw RFBError::broken("The remote desktop sent a string too long.");
    std::string text(length, '\0');
    read({reinterpret_cast<std::uint8_t*>(text.data()), text.size()});
    if (!platform::isUTF8(text))
        text = platform::repairedUTF8(text);
    return text;
}

void RFBSocket::read(std::span<std::uint8_t> target) {
    const auto buffered = std::min(target.size(), end - start);
    std::copy_n(buffer.data() + start, buffered, target.data());
    start += buffered;
    target = target.subspan(buffered);
    while (!target.empty()) {
        // The buffer is drained. One call fills the target, and the buffer with what follows.
        std::array<iovec, 2> parts{{{target.data(), target.size()}, {buffer.data(), bufferSize}}};
        const auto count = transferred([&] { return readv(fd.get(), parts.data(), parts.size()); });
        const auto wanted = std::min(count, target.size());
        target = target.subspan(wanted);
        start = 0;
        end = count - wanted;
    }
}

void RFBSocket::write(std::span<const std::uint8_t> message) {
    const platform::MutexLock whole(writeLock);
    while (!message.empty())
        message = message.subspan(transferred([&] {
            // Else a connection that the server has dropped would end the process (SIGPIPE).
            return send(fd.get(), message.data(), message.size(), MSG_NOSIGNAL);
        }));
}

void RFBSocket::close() {
    shutdown(fd.get(), SHUT_RDWR);
}

} // namespace orvel
