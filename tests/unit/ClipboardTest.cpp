#include "clipboard/Clipboard.h"

#include "platform/FakePasteboard.h"
#include "platform/Queue.h"
#include "support/Frames.h"

#include <gtest/gtest.h>

#include <functional>

using namespace orvel;
using test::fakePasteboard;
using namespace std::chrono_literals;

namespace {

/// Serves the main queue until the clipboard has looked at the pasteboard once more.
void letItLook() {
    platform::globalQueueAfter(1100ms, [] { platform::stopMainLoop(); });
    platform::runMainLoop();
}

} // namespace

TEST(Clipboard, AnAnswerThatComesTooLateIsDropped) {
    test::CapturedOutput output;
    auto clipboard = std::make_shared<Clipboard>();
    auto& pasteboard = fakePasteboard();
    const auto answerLate = [&](const std::function<void(Clipboard&)>& overtake,
                                int answersBefore) {
        pasteboard.slow = false;
        clipboard->sync(true);
        pasteboard.slow = true;
        pasteboard.copy({"UTF8_STRING"}, "late");
        letItLook();
        ASSERT_EQ(pasteboard.unanswered.size(), 1u);
        for (int answer = 0; answer < 2; ++answer) { // First with the types, then with the text.
            if (answer == answersBefore)
                overtake(*clipboard);
            pasteboard.answer();
        }
    };
    for (const int answersBefore : {0, 1}) {
        answerLate([](Clipboard& it) { it.sync(false); }, answersBefore);
        answerLate([](Clipboard& it) { it.sync(true); }, answersBefore);
        answerLate([](Clipboard& it) { it.write("newer"); }, answersBefore);
    }
    EXPECT_TRUE(output.frames().empty());
    answerLate([](Clipboard&) {}, 0);
    pasteboard.copy({"UTF8_STRING"}, "gone");
    clipboard->sync(true);
    clipboard.reset();
    letItLook();
    const auto frames = output.frames();
    ASSERT_EQ(frames.size(), 1u);
    EXPECT_EQ(frames[0].type, FrameType::clipboard);
    EXPECT_EQ(frames[0].payload, (Bytes{'l', 'a', 't', 'e'}));
}
