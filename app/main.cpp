#include "app/CommandLine.h"
#include "app/Signals.h"
#include "app/host/HostChannel.h"

int main(int count, char** arguments) {
    orvel::exitOnSignals();
    orvel::outQueue();
    return orvel::runCommand({arguments + (count > 0 ? 1 : 0), arguments + count});
}
