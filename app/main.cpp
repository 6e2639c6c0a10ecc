#include "app/CommandLine.h"
#include "app/Signals.h"
#include "app/host/HostChannel.h"

#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

namespace {

/// Gives each standard stream that the parent has closed an end of its own: nothing can be read
/// there, and nothing written. Otherwise the next file or socket to be opened would get its number,
/// and be read or written in its place.
void endClosedStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fcntl(stream, F_GETFD) < 0)
            open("/dev/null", O_RDONLY); // Takes the lowest number that is free, which is this one.
}

/// Makes large blocks go back to the system as soon as they are free. The C library would keep more
/// and more of them for later ones, which are of other sizes once the screen has another one.
void returnFreeMemory() {
    constexpr int largeBlock = 1 << 20;
    mallopt(M_MMAP_THRESHOLD, largeBlock);
}

} // namespace

int main(int count, char** arguments) {
    endClosedStreams();
    returnFreeMemory();
    orvel::exitOnSignals();
    orvel::outQueue();
    return orvel::runCommand({arguments + (count > 0 ? 1 : 0), arguments + count});
}
