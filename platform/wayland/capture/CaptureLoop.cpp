#include "platform/wayland/capture/CaptureLoop.h"

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
    if (!connection || !ScreenCopy::isOfferedBy(*connection) || !Outputs::areOfferedBy(*connection))
        fail("there is no compositor that can be asked for its picture");
    return connection;
}

/// The memory of an output is as the hardware wants it. wl_output.transform says what was done to
/// the upright picture: mirrored left to right or not, then turned counterclockwise.
picture::Orientation orientationOf(int transform, bool isUpsideDown) {
    picture::Orientation result;
    switch (transform) {
    case WL_OUTPUT_TRANSFORM_90:
        result = {true, true, false};
        break;
    case WL_OUTPUT_TRANSFORM_180:
        result = {false, true, true};
        break;
    case WL_OUTPUT_TRANSFORM_270:
        result = {true, false, true};
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
      queueDepth(static_cast<std::size_t>(configuration.queueDepth)),
      maker(static_cast<int>(configuration.width), static_cast<int>(configuration.height)) {
    connection->roundTrip();
    followOutput(hostTime());
    if (!filmed)
        fail("the display is not there");
    sample.valid = true;
    sample.attachments = {{FrameStatus::complete}};
}

bool CaptureLoop::run(const CaptureStream::OutputHandler& output) {
    loop.run([&](MediaTime now) { return makeTurn(now, output); });
    return !hasEnded;
}

void CaptureLoop::end() {
    hasEnded = true;
    loop.stop();
}

std::optional<MediaTime> CaptureLoop::makeTurn(MediaTime now,
                                               const CaptureStream::OutputHandler& output) {
    if (connection->lost()) {
        end();
        return std::nullopt;
    }
    followOutput(now);
    followCopy(now);
    if (maker.hasDirtyBlocks() && maker.framesInFlight() < queueDepth)
        deliver(now, output);
    return askForMore(now);
}

void CaptureLoop::followOutput(MediaTime now) {
    outputs.update();
    const auto present = outputs.present();
    const auto found = std::ranges::find(present, display, &Output::id);
    const bool isThere = found != present.end();
    filmed = isThere ? std::optional(*found) : std::nullopt;
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
    const picture::TurnedPicture fresh{copy.data(), shape.bytesPerRow, shape.width, shape.height,
                                       orientationOf(filmed->transform, copy.isUpsideDown())};
    auto drawn = fresh.upright(copy.damage());
    const Area whole{0, 0, fresh.uprightWidth(), fresh.uprightHeight()};
    if (!film || film->picture.whole() != whole) {
        film.emplace(whole.width, whole.height);
        maker.setSourceSize(whole.width, whole.height);
        drawn = whole;
    }
    if (film->orientation != fresh.orientation)
        drawn = whole;
    film->orientation = fresh.orientation;
    film->picture.take(fresh, copy.layout(), {drawn}, film->changed);
    film->changed.forEachRun([&](const Area& area) { maker.mark(area); });
    film->changed.clear();
    schedule.endLook(now, false);
}

void CaptureLoop::deliver(MediaTime now, const CaptureStream::OutputHandler& output) {
    sample.image = maker.make(film->picture.view());
    sample.presentationTime = now;
    output(SampleType::screen, sample);
    sample.image.reset();
}

std::optional<MediaTime> CaptureLoop::askForMore(MediaTime now) {
    // Frames that are with others come back without a word.
    const auto later = maker.hasDirtyBlocks() ? std::optional(now + interval) : std::nullopt;
    if (copy.state() == ScreenCopy::State::asked)
        return later;
    const auto plan = schedule.next(true);
    const auto due = std::max(*plan.due, nextTry);
    if (now < due)
        return later ? std::min(*later, due) : due;
    if (plan.step == FrameSchedule::Step::giveUp)
        end();
    else
        copy.ask(filmed->proxy);
    return later;
}

} // namespace platform::wayland
