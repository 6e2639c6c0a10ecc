#include "app/CommandLine.h"
#include "app/HostChannel.h"

int main(int count, char** arguments) {
    orvel::outQueue();
    return orvel::runCommand({arguments + (count > 0 ? 1 : 0), arguments + count});
}
