#pragma once

#include "bench/RectangleFile.h"

#include <vector>

/// The whole program as the client of a server in this process, over loopback.
namespace bench {

/// Of one run, in milliseconds.
struct SessionFigures {
    double wall; ///< From the connection until the last frame was here.
    double cpu;  ///< Of all the program's threads in that time.
    int frames;
};

/// Plays a recording to the program, each rectangle as an update of its own that is sent when the
/// program asks for it. Sizes are those of the screen.
SessionFigures playSession(const Rectangles& rectangles, int width, int height);

struct UpdateFigures {
    std::vector<double> latencies; ///< From an update until its frame is here, each.
    double cpu;                    ///< Of the program, for an update and its frame, on average.
    double start;                  ///< From the start line to the first key frame.
    double memory;                 ///< The largest, in MiB.
};

/// Sends updates of a small part of a screen of this size, each after a pause. Times are in
/// milliseconds.
UpdateFigures playUpdates(int count, int width, int height);

} // namespace bench
