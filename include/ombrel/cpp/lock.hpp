/**
 * @file lock.hpp
 * @brief The lock of lock.h for `std::lock_guard`, `std::unique_lock` and `std::scoped_lock`, and its
 * condition.
 *
 * Reports of dead-locks name the function that locked. With the standard guards that is one of their own;
 * ombrel::guard passes on its own caller's name and line.
 */
#ifndef OMBREL_CPP_LOCK_HPP
#define OMBREL_CPP_LOCK_HPP

#include <chrono>
#include <cstdint>
#include <exception>

#include <ombrel/lock.h>
#include <ombrel/lock_condition.h>

#include <ombrel/cpp/owner.hpp>

namespace ombrel {

/** @cond */
namespace detail {

/// The longest limit in milliseconds, about 49 days.
constexpr std::uint32_t longest_wait = def_ombrel_infinite - 1;

/// Milliseconds as the C functions take them: rounded up, so that no wait is too short; at most all but for
/// ever.
template<class Rep, class Period>
std::uint32_t milliseconds_of(const std::chrono::duration<Rep, Period>& length) noexcept {
    using namespace std::chrono;
    if (length <= length.zero())
        return 0;
    if (duration<double, std::milli>(length).count() >= 4294967294.0)
        return longest_wait;
    const auto cut = duration_cast<milliseconds>(length);
    return static_cast<std::uint32_t>(cut.count() + (cut < length ? 1 : 0));
}

} // namespace detail
/** @endcond */

/** A lock, embedded: neither copied nor moved. The standard's guards take it, and ombrel::guard. */
class mutex {
public:
    /** @brief A free lock. @param from who makes it, for reports */
    explicit mutex(caller from = caller::current()) noexcept {
        ombrel_init_lock_tag(&lock_, from.function, from.line);
    }
    mutex(const mutex&) = delete;
    mutex& operator=(const mutex&) = delete;
    /** Waits until the lock is free. */
    ~mutex() { ombrel_uninit_lock_tag(&lock_, "ombrel::mutex", 0); }

    /** @brief Takes it, however long that takes. Where no memory can be had for it the program ends, as no
     * caller goes on without. @param from the caller */
    void lock(caller from = caller::current()) noexcept {
        if (ombrel_lock_timeout_tag(&lock_, def_ombrel_infinite, from.function, from.line) != 0)
            std::terminate();
    }
    /** @brief Takes it if it is free. @param from the caller @return whether it was taken */
    bool try_lock(caller from = caller::current()) noexcept {
        return ombrel_try_lock_tag(&lock_, from.function, from.line) == 1;
    }
    /** @brief Takes it within a time. @param length the time @param from the caller @return whether it was
     * taken */
    template<class Rep, class Period>
    bool try_lock_for(const std::chrono::duration<Rep, Period>& length,
                      caller from = caller::current()) noexcept {
        return ombrel_lock_timeout_tag(&lock_, detail::milliseconds_of(length), from.function, from.line) ==
               0;
    }
    /** @brief Takes it until a moment. @param moment the moment @param from the caller @return whether it was
     * taken
     */
    template<class Clock, class Duration>
    bool try_lock_until(const std::chrono::time_point<Clock, Duration>& moment,
                        caller from = caller::current()) noexcept {
        return try_lock_for(moment - Clock::now(), from);
    }
    /** @brief Releases it. @param from who does */
    void unlock(caller from = caller::current()) noexcept {
        ombrel_unlock_tag(&lock_, from.function, from.line);
    }

    /** @brief The thread that holds it may take it again. Before it is shared. */
    void set_thread_aware() noexcept { lock_.m_flags |= def_ombrel_lock_flag_thread_aware; }
    /** @brief The C lock, for the C functions. @return it */
    ombrel_lock_t* get() noexcept { return &lock_; }

private:
    ombrel_lock_t lock_;
};

/** The same by the library's own word. */
using lock = mutex;

/** Holds a lock for its scope, under its caller's name. */
class [[nodiscard]] guard {
public:
    /** @brief Takes a lock. @param held the lock @param from the caller */
    explicit guard(ombrel::mutex& held, caller from = caller::current()) noexcept : held_(held) {
        held_.lock(from);
    }
    guard(const guard&) = delete;
    guard& operator=(const guard&) = delete;
    ~guard() { held_.unlock(); }

    /** @brief The lock, for condition::wait(). @return it */
    ombrel::mutex* mutex() const noexcept { return &held_; }

private:
    ombrel::mutex& held_;
};

/**
 * The condition that belongs to the lock, embedded. `Guard` is an ombrel::guard or a `std::unique_lock` of a
 * mutex that holds it once. A wait may end without a wake-up: give it a predicate.
 */
class condition {
public:
    /** @brief A condition. @param from who makes it */
    explicit condition(caller from = caller::current()) noexcept {
        ombrel_init_lock_condition_tag(&condition_, from.function, from.line);
    }
    condition(const condition&) = delete;
    condition& operator=(const condition&) = delete;
    /** Wakes every waiter and waits until they are gone. */
    ~condition() { ombrel_uninit_lock_condition_tag(&condition_, "ombrel::condition", 0); }

    /** @brief Waits until a predicate holds. @param held the guard @param is_done the predicate, looked at
     * under the lock @param from who waits */
    template<class Guard, class Predicate>
    void wait(Guard& held, Predicate is_done, caller from = caller::current()) {
        while (!is_done())
            wait_once(held, def_ombrel_infinite, from);
    }
    /** @brief Waits until a predicate holds or a time has passed. @param held the guard @param length the
     * time; one of 49 days or more does not pass
     * @param is_done the predicate @param from who waits @return whether it holds */
    template<class Guard, class Rep, class Period, class Predicate>
    bool wait_for(Guard& held, const std::chrono::duration<Rep, Period>& length, Predicate is_done,
                  caller from = caller::current()) {
        if (detail::milliseconds_of(length) == detail::longest_wait) // the sum below could overflow
            return wait(held, is_done, from), true;
        const auto end = std::chrono::steady_clock::now() + length;
        while (!is_done()) {
            const auto left = end - std::chrono::steady_clock::now();
            if (left <= left.zero())
                return false;
            wait_once(held, detail::milliseconds_of(left), from);
        }
        return true;
    }
    /** @brief Wakes the thread that has waited longest. @return 0, or -1 when no thread waits */
    int notify_one() noexcept { return ombrel_lock_condition_wakeup_tag(&condition_); }
    /** @brief Wakes all that wait. @return 0, or -1 when no thread waits */
    int notify_all() noexcept { return ombrel_lock_condition_wakeup_broadcast_tag(&condition_); }

private:
    template<class Guard>
    void wait_once(Guard& held, std::uint32_t timeout_ms, caller from) {
        if (ombrel_lock_condition_wait_timeout_tag(&condition_, held.mutex()->get(), timeout_ms,
                                                   from.function, from.line) != 0)
            std::terminate(); // the lock is not held any more, and the caller relies on it
    }

    ombrel_lock_condition_t condition_;
};

} // namespace ombrel

#endif
