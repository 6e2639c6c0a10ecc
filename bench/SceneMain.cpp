#include "bench/Scenes.h"

#include <chrono>
#include <cstdio>
#include <stdexcept>
#include <thread>

/// Shows a scene on an X server at 30 steps a second until it is killed:
/// `bench-scene :7 typing`.
int main(int count, char** arguments) {
    const auto kind = count == 3 ? bench::sceneKind(arguments[2]) : std::nullopt;
    if (!kind) {
        std::fputs("usage: bench-scene DISPLAY "
                   "still|typing|scrolling|wheel|window|opening|page|whole|video\n",
                   stderr);
        return 2;
    }
    try {
        bench::Scene scene(arguments[1], *kind);
        for (std::uint16_t number = 0;; ++number) {
            scene.step(number);
            std::this_thread::sleep_for(std::chrono::milliseconds(33));
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
