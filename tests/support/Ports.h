#pragma once

#include "app/host/FileDescriptor.h"

#include <vector>

namespace test {

/// A TCP port of this machine, IPv4, that is taken, but nobody listens there.
class DeafPort {
public:
    DeafPort();

    int port() const { return number; }

protected:
    orvel::FileDescriptor bound;

private:
    int number = 0;
};

/// A port on which somebody listens who has no time for anybody: connecting is never answered.
class BusyPort : public DeafPort {
public:
    BusyPort();

private:
    std::vector<orvel::FileDescriptor> queue;
};

} // namespace test
