#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

/// A mutex of which clang knows what it guards: `clang++ -Wthread-safety`, which `.ci/run` has
/// pass, reports every use of a guarded member without its mutex. Other compilers see the plain
/// standard library. Take these in the place of std::mutex wherever a comment would say "under
/// lock":
///
///     platform::Mutex lock;
///     platform::Condition changed;            // of `commands`
///     std::deque<Command> commands GUARDED_BY(lock);
///     void runCommands() REQUIRES(lock);      // the caller holds it
///
///     const platform::MutexLock locked(lock);
///     while (commands.empty())
///         changed.wait(lock);
///
/// A condition is waited for in a loop, without a predicate: the compiler looks into each lambda as
/// if nothing were held. One that runs with the mutex held says so: `[&]() REQUIRES(lock) {…}`.
/// Constructors and destructors are not looked at.
#ifdef __clang__
#define THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define THREAD_SAFETY(attribute)
#endif

/// Of a member or a static variable: touched only while `mutex` is held.
#define GUARDED_BY(mutex) THREAD_SAFETY(guarded_by(mutex))
/// Of a pointer: touched freely, but what it points to only while `mutex` is held.
#define PT_GUARDED_BY(mutex) THREAD_SAFETY(pt_guarded_by(mutex))
/// Of a function: called, and left, with the mutex held.
#define REQUIRES(...) THREAD_SAFETY(requires_capability(__VA_ARGS__))
/// Of a function: takes the mutex itself, so that whoever calls it must not hold it.
#define EXCLUDES(...) THREAD_SAFETY(locks_excluded(__VA_ARGS__))

namespace platform {

/// Lets one thread at a time past. Not recursive.
class THREAD_SAFETY(capability("mutex")) Mutex final {
public:
    void lock() THREAD_SAFETY(acquire_capability()) { mutex.lock(); }
    void unlock() THREAD_SAFETY(release_capability()) { mutex.unlock(); }

private:
    friend class Condition;
    std::mutex mutex;
};

/// Holds a mutex from its construction to the end of its scope.
class THREAD_SAFETY(scoped_lockable) MutexLock final {
public:
    explicit MutexLock(Mutex& mutex) THREAD_SAFETY(acquire_capability(mutex)) : mutex(mutex) {
        mutex.lock();
    }
    ~MutexLock() THREAD_SAFETY(release_capability()) { mutex.unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Mutex& mutex;
};

/// What one thread waits for and another reports. A wait gives up the mutex and holds it again when
/// it returns, which it may do without a reason.
class Condition final {
public:
    void wait(Mutex& mutex) REQUIRES(mutex) {
        Adopted held(mutex);
        condition.wait(held.lock);
    }

    /// Returns false once the time has come.
    template<class Clock, class Duration>
    bool waitUntil(Mutex& mutex, std::chrono::time_point<Clock, Duration> time) REQUIRES(mutex) {
        Adopted held(mutex);
        return condition.wait_until(held.lock, time) == std::cv_status::no_timeout;
    }

    void notifyAll() { condition.notify_all(); }

private:
    /// The standard condition waits with a lock of its own kind, which must not end the caller's.
    struct Adopted {
        explicit Adopted(Mutex& mutex) : lock(mutex.mutex, std::adopt_lock) {}
        ~Adopted() { lock.release(); }
        Adopted(const Adopted&) = delete;
        Adopted& operator=(const Adopted&) = delete;

        std::unique_lock<std::mutex> lock;
    };

    std::condition_variable condition;
};

} // namespace platform
