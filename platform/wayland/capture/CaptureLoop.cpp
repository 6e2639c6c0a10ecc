#include "platform/wayland/capture/CaptureLoop.h"

#include "platform/wayland/server/Screens.h"

#include <algorithm>
#include <chrono>
#include <string>

namespace platform::wayland {
namespace {

using namespace std::chrono_literals;

/// Copies fail while a screen sleeps; nobody tells when it is awake again.
constexpr auto retryPause = 500ms;

[[noreturn]] void fail(const std::string& why) {
    throw CaptureError("orvel.wayland", 1, why);
}

std::unique_ptr<Connection> openOrFail() {
    auto connection = Connection::open();
    if (!connection || !offersCapture(*connection))
        fail("there is no compositor that can be asked for its picture");
    return connection;
}

/// The memory of an output is as the hardware wants it. wl_output.transform says what was done to
/// the upright picture: mirrored left to right or not, then turned counterclockwise.
picture::Orientation orientationOf(int transform, bool isUpsideDown) {
    picture::Orientation result;
    switch (transform) {
    case WL_OUTPUT_TRANSFORM_90:
        result = {true, false, true};
        break;
    case WL_OUTPUT_TRANSFORM_180:
        result = {false, true, true};
        break;
    case WL_OUTPUT_TRANSFORM_270:
        result = {true, true, false};
        break;
    case WL_OUTPUT_TRANSFORM_FLIPPED:
        result = {false, true, false};
        break;
    case WL_OUTPUT_TRANSFORM_FLIPPED_90:
        result = {true, false, false};
        break;
    case WL_OUTPUT_TRANSFORM_FLIPPED_180:
        result = {false, false, true};
        break;
    case WL_OUTPUT_TRANSFORM_FLIPPED_270:
        result = {true, true, true};
        break;
    default:
        break;
    }
    result.fromBottom = result.fromBottom != isUpsideDown;
    return result;
}

} // namespace

CaptureLoop::CaptureLoop(const ContentFilter& filter, const StreamConfiguration& configuration)
    : display(filter.display),
      interval(configuration.minimumFrameInterval),
      connection(openOrFail()),
      loop(*connection),
      outputs(*connection),
      copy(*connection, configuration.showsCursor),
      schedule(interval, {}),
      maxFramesInFlight(static_cast<std::size_t>(configuration.queueDepth)),
      maker(static_cast<int>(configuration.width), static_cast<int>(configuration.height)) {
    if (!filter.excludedApplications.empty())
        exclusion.emplace(*connection, filter.excludedApplications);
    connection->roundTrip();
    followOutput(hostTime());
    if (!source)
        fail("the display is not there");
    sample.valid = true;
    sample.attachments = {{FrameStatus::complete}};
}

bool CaptureLoop::run(const CaptureStream::OutputHandler& output) {
    loop.run([&](MediaTime now) { return EventLoop::Rest{makeTurn(now, output)}; });
    return !gaveUp;
}

void CaptureLoop::giveUp() {
    gaveUp = true;
    loop.stop();
}

std::optional<MediaTime> CaptureLoop::makeTurn(MediaTime now,
                                               const CaptureStream::OutputHandler& output) {
    if (connection->lost()) {
        giveUp();
        return std::nullopt;
    }
    followOutput(now);
    followCopy(now);
    if (maker.hasDirtyBlocks() && maker.framesInFlight() < maxFramesInFlight)
        deliver(now, output);
    return askForMore(now);
}

void CaptureLoop::followOutput(MediaTime now) {
    outputs.update();
    const auto present = outputs.present();
    const auto found = std::ranges::find(present, display, &Output::id);
    const bool isThere = found != present.end();
    source = isThere ? std::optional(*found) : std::nullopt;
    schedule.setScreenIsThere(isThere, now);
    if (!isThere)
        copy.cancel();
}

void CaptureLoop::followCopy(MediaTime now) {
    if (copy.state() == ScreenCopy::State::arrived)
        take(now);
    else if (copy.state() == ScreenCopy::State::failed)
        nextTry = now + retryPause;
    else
        return;
    copy.cancel();
}

void CaptureLoop::take(MediaTime now) {
    schedule.startLook(now);
    const auto& shape = copy.shape();
    const picture::TurnedFrame fresh{copy.data(), shape.bytesPerRow, shape.width, shape.height,
                                     orientationOf(source->transform, copy.isUpsideDown())};
    const Area whole{0, 0, fresh.uprightWidth(), fresh.uprightHeight()};
    std::vector<Area> drawn{fresh.upright(copy.damage())};
    std::vector<Area> hidden;
    if (exclusion) {
        exclusion->look(*source, now);
        hidden = exclusion->hiddenAreas(*source, whole);
    }
    if (!captured || captured->frame.whole() != whole) {
        captured.emplace(whole.width, whole.height);
        maker.setSourceSize(whole.width, whole.height);
        drawn = {whole};
    }
    if (captured->orientation != fresh.orientation || captured->hidden != hidden) {
        drawn = {whole};
        for (const auto& area : hidden)
            captured->frame.fill(area, Exclusion::plainColour, captured->dirty);
    }
    for (const auto& area : hidden)
        subtract(drawn, area);
    captured->orientation = fresh.orientation;
    captured->hidden = std::move(hidden);
    captured->frame.take(fresh, copy.layout(), drawn, captured->dirty);
    captured->dirty.forEachRun([&](const Area& area) { maker.mark(area); });
    captured->dirty.clear();
    schedule.endLook(now, false);
}

void CaptureLoop::deliver(MediaTime now, const CaptureStream::OutputHandler& output) {
    sample.image = maker.make(captured->frame.view());
    sample.presentationTime = now;
    output(SampleType::screen, sample);
    sample.image.reset();
}

std::optional<MediaTime> CaptureLoop::askForMore(MediaTime now) {
    // What was told of windows to be hidden shows at once, drawn on or not.
    const bool mustLook = exclusion && exclusion->lookIsDue(now);
    std::optional<MediaTime> due;
    if (copy.state() != ScreenCopy::State::asked || mustLook) {
        const auto plan = schedule.next(true);
        due = std::max(*plan.due, nextTry);
        if (now >= *due) {
            due.reset();
            if (plan.step == FrameSchedule::Step::giveUp)
                giveUp();
            else
                ask(now, mustLook);
        }
    }
    if (exclusion && exclusion->settlesAt() > now)
        due = std::min(due.value_or(*exclusion->settlesAt()), *exclusion->settlesAt());
    // Frames that are with others come back without a word.
    if (maker.hasDirtyBlocks())
        due = std::min(due.value_or(now + interval), now + interval);
    return due;
}

void CaptureLoop::ask(MediaTime now, bool atOnce) {
    if (exclusion)
        exclusion->look(*source, now);
    copy.ask(source->proxy, atOnce);
}

} // namespace platform::wayland
