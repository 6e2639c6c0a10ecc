#pragma once

#include "app/host/BigEndian.h"
#include "app/host/FileDescriptor.h"
#include "platform/Mutex.h"
#include "rfb/Scratch.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace orvel {

/// The connection to a remote desktop. One thread reads; any thread writes whole messages; any
/// thread may close. Every failure once connected is an RFBError::broken.
class RFBSocket final {
public:
    /// Connects; see connectTCP. Throws RFBError::unreachable.
    RFBSocket(const std::string& host, std::int64_t port,
              std::chrono::milliseconds timeout = std::chrono::seconds(8));
    /// Takes over a connected stream.
    explicit RFBSocket(FileDescriptor connected);

    /// The next n bytes, none if n is not positive; they stay where they are until the next read.
    /// Blocks until all have arrived. Allocates n bytes at most, so n must have been checked.
    std::span<const std::uint8_t> bytes(std::ptrdiff_t n);
    std::uint8_t u8() { return bytes(1).front(); }
    int u16() { return static_cast<int>(fromBigEndian(bytes(2))); }
    std::uint32_t u32() { return fromBigEndian(bytes(4)); }
    std::int32_t i32() { return static_cast<std::int32_t>(u32()); }
    /// A text behind its length (u32) of at most 1 MiB; invalid UTF-8 is repaired.
    std::string string();

    /// Hands one whole message to the system; messages of several threads don't mix.
    void write(std::span<const std::uint8_t> message) EXCLUDES(writeLock);

    /// Ends the connection, and with it the read that is waiting. The descriptor itself goes with
    /// the object, so that no thread ever meets its number in another's hands.
    void close();

private:
    void read(std::span<std::uint8_t> target);

    static constexpr std::size_t bufferSize = 262144;

    FileDescriptor fd;
    std::vector<std::uint8_t> buffer = std::vector<std::uint8_t>(bufferSize);
    std::size_t start = 0; // start to end: received and not yet consumed
    std::size_t end = 0;
    Scratch<std::uint8_t> assembled; // what does not lie in the buffer as a whole
    platform::Mutex writeLock;
};

} // namespace orvel
