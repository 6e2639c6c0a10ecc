#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>

/// Descriptor 1 belongs to the program under test; what the test runner has to say goes to a
/// duplicate of it, so that a test may put something else in its place.
int main(int count, char** arguments) {
    stdout = fdopen(dup(STDOUT_FILENO), "w");
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    testing::InitGoogleTest(&count, arguments);
    return RUN_ALL_TESTS();
}
