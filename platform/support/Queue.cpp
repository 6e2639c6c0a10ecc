#include "platform/Queue.h"

#include <asio.hpp>

#include <pthread.h>

#include <future>
#include <thread>
#include <utility>

namespace platform {
namespace {

void nameThisThread(const std::string& label) {
    constexpr std::size_t maxNameLength = 15;
    pthread_setname_np(pthread_self(), label.substr(0, maxNameLength).c_str());
}

/// The timer lives as long as its handler waits.
template<class Executor>
void postAfter(Executor executor, std::chrono::nanoseconds delay, Task task) {
    auto timer = std::make_shared<asio::steady_timer>(executor, delay);
    timer->async_wait([timer, task = std::move(task)](const asio::error_code& error) {
        if (!error)
            task();
    });
}

asio::io_context& mainContext() {
    static asio::io_context context{1};
    return context;
}

asio::thread_pool& globalPool() {
    // Two, so that one task waiting for a busy encoder does not hold up the next.
    static asio::thread_pool pool{2};
    return pool;
}

} // namespace

struct SerialQueue::State {
    asio::io_context context{1};
    asio::executor_work_guard<asio::io_context::executor_type> work{context.get_executor()};
    std::thread thread;
};

SerialQueue::SerialQueue(const std::string& label) : state(std::make_unique<State>()) {
    state->thread = std::thread([this, label] {
        nameThisThread(label);
        state->context.run();
    });
}

SerialQueue::~SerialQueue() {
    asio::post(state->context, [this] { state->context.stop(); });
    state->thread.join();
}

void SerialQueue::async(Task task) {
    asio::post(state->context, std::move(task));
}

void SerialQueue::asyncAfter(std::chrono::nanoseconds delay, Task task) {
    if (delay.count() <= 0)
        return async(std::move(task));
    postAfter(state->context.get_executor(), delay, std::move(task));
}

void SerialQueue::sync(const Task& task) {
    std::promise<void> done;
    asio::post(state->context, [&] {
        task();
        done.set_value();
    });
    done.get_future().wait();
}

void mainQueue(Task task) {
    asio::post(mainContext(), std::move(task));
}

void runMainLoop() {
    const auto work = asio::make_work_guard(mainContext());
    mainContext().restart();
    mainContext().run();
}

void stopMainLoop() {
    mainContext().stop();
}

void globalQueue(Task task) {
    asio::post(globalPool(), std::move(task));
}

void globalQueueAfter(std::chrono::nanoseconds delay, Task task) {
    postAfter(globalPool().get_executor(), delay, std::move(task));
}

struct RepeatingTimer::State : std::enable_shared_from_this<State> {
    State(std::chrono::nanoseconds interval, Task action)
        : interval(interval),
          action(std::move(action)),
          timer(mainContext(), interval) {}

    void wait() {
        timer.async_wait([weak = weak_from_this()](const asio::error_code& error) {
            const auto self = weak.lock();
            if (error || !self)
                return;
            // From the last due time, not from now, so that late actions do not add up.
            self->timer.expires_at(self->timer.expiry() + self->interval);
            self->wait();
            self->action();
        });
    }

    const std::chrono::nanoseconds interval;
    const Task action;
    asio::steady_timer timer;
};

RepeatingTimer::RepeatingTimer(std::chrono::nanoseconds interval, Task action)
    : state(std::make_shared<State>(interval, std::move(action))) {
    state->wait();
}

RepeatingTimer::~RepeatingTimer() = default;

} // namespace platform
