#include "platform/FakeEvents.h"

#include "platform/Permissions.h"
#include "platform/Screens.h"

#include <limits>

namespace test {

FakeEvents& fakeEvents() {
    static FakeEvents events;
    return events;
}

} // namespace test

namespace platform {
namespace {

bool record(const test::PostedEvent& event) {
    test::fakeEvents().posted.push_back(event);
    return true;
}

} // namespace

Rect displayBounds(DisplayID) {
    return {};
}

bool preflightPostEventAccess() {
    return true;
}

struct EventSource::State {};

std::unique_ptr<EventSource> EventSource::create() {
    if (!test::fakeEvents().available)
        return nullptr;
    return std::unique_ptr<EventSource>(new EventSource(nullptr));
}

EventSource::EventSource(std::unique_ptr<State> state) : state(std::move(state)) {}
EventSource::~EventSource() = default;

bool EventSource::post(const MouseEvent& event) {
    return record(event);
}
bool EventSource::post(const ScrollWheelEvent& event) {
    return record(event);
}
bool EventSource::post(KeyboardEvent event) {
    return record(event);
}

void EventSource::flush() {}
void EventSource::yieldToPeople(double) {}
void EventSource::finish(std::chrono::milliseconds) {}

double EventSource::secondsSinceLastInput() {
    return std::numeric_limits<double>::infinity();
}

} // namespace platform
