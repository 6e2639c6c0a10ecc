#pragma once

#include "app/host/FileDescriptor.h"

#include <chrono>
#include <cstdint>
#include <string>

struct addrinfo;

namespace orvel {

/// Connects to the first address of the list that answers; each gets the whole timeout. The
/// connection is blocking and sends small messages at once; reads and writes fail once the peer has
/// not been heard of for a minute. Returns an empty descriptor if no address answers.
FileDescriptor connectToFirst(const addrinfo* addresses, std::chrono::milliseconds timeout);

/// Likewise for the addresses of a host, IPv4 and IPv6, in the order in which the system resolves
/// them. Throws RFBError::unreachable.
FileDescriptor connectTCP(const std::string& host, std::int64_t port,
                          std::chrono::milliseconds timeout);

} // namespace orvel
