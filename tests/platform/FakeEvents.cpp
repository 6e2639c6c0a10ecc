#include "platform/FakeEvents.h"

#include "platform/Permissions.h"
#include "platform/Screens.h"

namespace test {

FakeEvents& fakeEvents() {
    static FakeEvents events;
    return events;
}

} // namespace test

namespace platform {
namespace {

bool record(const test::PostedEvent& event) {
    auto& fake = test::fakeEvents();
    if (fake.accepting)
        fake.posted.push_back(event);
    return fake.accepting;
}

} // namespace

Rect displayBounds(DisplayID) {
    return {};
}

bool preflightPostEventAccess() {
    return test::fakeEvents().permitted;
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
bool EventSource::post(const KeyboardEvent& event) {
    return record(event);
}

void EventSource::flush() {}
void EventSource::yieldToPeople(double) {}
void EventSource::finish(std::chrono::milliseconds) {}

double EventSource::secondsSinceLastInput() {
    return test::fakeEvents().secondsSinceLastInput;
}

} // namespace platform
