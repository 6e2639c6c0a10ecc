#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace platform {

using Task = std::function<void()>;

/// Runs tasks one at a time, in the order they were handed in, on a thread of its own.
/// Every operation may be called from any thread.
class SerialQueue final {
public:
    /// Starts the thread; `label` becomes its name as far as the system has room (15 bytes).
    explicit SerialQueue(const std::string& label);
    /// Runs what is due already, drops what is delayed, and ends the thread. Never from a task of
    /// this queue.
    ~SerialQueue();
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    /// Appends a task and returns at once.
    void async(Task task);
    /// Appends a task once `delay` has passed (at once if it is not positive).
    void asyncAfter(std::chrono::nanoseconds delay, Task task);
    /// Appends a task and waits until it has run. Never from a task of this queue.
    void sync(const Task& task);

private:
    struct State;
    std::unique_ptr<State> state;
};

/// The main queue: its tasks run on the thread that is in `runMainLoop`.
void mainQueue(Task task);
/// Serves the main queue and its timers until `stopMainLoop`. Called on the main thread.
void runMainLoop();
/// Makes `runMainLoop` return after the task it is running. Callable from any thread.
void stopMainLoop();

/// The shared pool for short delayed or asynchronous tasks without an order among them.
void globalQueue(Task task);
void globalQueueAfter(std::chrono::nanoseconds delay, Task task);

/// Runs an action on the main queue every `interval`, the first time one interval from now.
/// Belongs to the main thread; destroying it there ends it, and no action runs afterwards.
class RepeatingTimer final {
public:
    RepeatingTimer(std::chrono::nanoseconds interval, Task action);
    ~RepeatingTimer();
    RepeatingTimer(const RepeatingTimer&) = delete;
    RepeatingTimer& operator=(const RepeatingTimer&) = delete;

private:
    struct State;
    std::shared_ptr<State> state;
};

} // namespace platform
