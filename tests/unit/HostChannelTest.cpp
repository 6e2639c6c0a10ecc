#include "app/host/HostChannel.h"
#include "support/Frames.h"

#include <gtest/gtest.h>

#include <future>

using namespace orvel;

TEST(HostChannel, FramesWaitInOrderButOfTheClipboardOnlyTheNewest) {
    test::CapturedOutput output;
    std::promise<void> read;
    outQueue().async([&] { read.get_future().wait(); });
    for (const std::string frame : {"Vkey", "Cold", "Vnext", "Cnew", "Eproblem"})
        emit(FrameType(frame[0]), Bytes(frame.begin() + 1, frame.end()));
    emitJSON(FrameType::announcement, {{"name", "no UTF-8: \xff"}});
    read.set_value();
    std::string all;
    for (const auto& frame : output.frames())
        all +=
            static_cast<char>(frame.type) + std::string(frame.payload.begin(), frame.payload.end());
    EXPECT_EQ(all, "VkeyCnewVnextEproblem");
}
