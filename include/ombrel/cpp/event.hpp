/**
 * @file event.hpp
 * @brief Events and their loops as objects, with any callable as the handler.
 *
 * An ombrel::event owns its callable: both lie in one block, and both end with the event, or, when the event
 * ends in its own handler, as soon as the handler has returned. A callable is called as `callable(event,
 * result)`, `callable(event)` or `callable()`, whichever compiles; it is not called for the notice of an
 * assignment. A callable that throws ends the program.
 *
 * @code
 * auto base = ombrel::event_base::open();
 * auto tick = ombrel::event::open_timer(base, [&](ombrel::event_ref self) { self.add(100); });
 * tick.add(100);
 * base.dispatch();
 * @endcode
 *
 * Without a stored callable, for objects that have methods: `ombrel::event::open(base, fd, flags,
 * ombrel::bound<&session::on_ready>(session))`, or ombrel::event_handler<&session::on_ready> with an
 * `ombrel_event_t` that is embedded and the C functions; neither costs more than the C functions do.
 *
 * An event is declared after its base, so that it ends before it. Threads: as event.h.
 */
#ifndef OMBREL_CPP_EVENT_HPP
#define OMBREL_CPP_EVENT_HPP

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>

#include <ombrel/event.h>
#include <ombrel/event_base.h>
#include <ombrel/event_buffer.h>
#include <ombrel/timer.h>

#include <ombrel/cpp/buffer.hpp>
#include <ombrel/cpp/callable.hpp>
#include <ombrel/cpp/format.hpp>
#include <ombrel/cpp/owner.hpp>

namespace ombrel {

/** A reference to a loop, which it does not own. */
class event_base_ref : public pointer_ref<ombrel_event_base_t> {
public:
    using pointer_ref::pointer_ref;

    /** @brief Runs the loop until it is ended. @return 0, or -1 as ombrel_event_base_loop() */
    int dispatch() const noexcept { return ombrel_event_base_dispatch(get()); }
    /** @brief Runs the loop. @param flags `def_ombrel_event_loop_*` @return 0 or -1 */
    int loop(std::uint32_t flags) const noexcept { return ombrel_event_base_loop(get(), flags); }
    /** @brief Ends the running loop after the present handler. @return 0 or -1 */
    int break_loop() const noexcept { return ombrel_event_base_break_loop(get()); }
    /** @brief Ends the loop after a time; may be called before the loop runs. @param timeout_ms milliseconds
     * @return 0 or -1 */
    int exit_loop(int timeout_ms = 0) const noexcept {
        return ombrel_event_base_exit_loop(get(), timeout_ms);
    }
    /** @brief What is in the base. @return the figures, zeros for none */
    ombrel_event_counts_t counts() const noexcept {
        ombrel_event_counts_t counts = {};
        ombrel_event_base_get_counts(get(), &counts);
        return counts;
    }
};

/** Owns a loop. */
class [[nodiscard]] event_base : public owner<&ombrel_free_event_base, event_base_ref> {
public:
    using owner::owner;
    /** @brief A loop. @return it; nothing when memory or descriptors run out */
    static event_base open() noexcept { return event_base(ombrel_new_event_base()); }
};

/** A reference to an event, which it does not own: what handlers are given. */
class event_ref : public pointer_ref<ombrel_event_t> {
public:
    using pointer_ref::pointer_ref;

    /** @brief Has the loop watch the event. @param timeout_ms milliseconds, negative for no limit @return 0
     * or -1 */
    int add(int timeout_ms = -1) const noexcept { return ombrel_add_event(get(), timeout_ms); }
    /** @brief Takes the event from the loop. @return 0 or -1 */
    int remove() const noexcept { return ombrel_del_event(get()); }
    /** @brief Has its handler called. @param result the result that the handler gets @return 0 or -1 */
    int activate(std::uint32_t result) const noexcept { return ombrel_active_event(get(), result); }
    /** @brief Which kinds it waits for. @param flags the kinds to ask about @return those that are pending,
     * or -1 */
    int pending(std::uint32_t flags) const noexcept { return ombrel_event_pending(get(), flags, nullptr); }
    /** @brief Its priority. @param priority 0 is the most urgent @return 0 or -1 */
    int set_priority(std::uint32_t priority) const noexcept {
        return ombrel_event_set_priority(get(), priority);
    }
    /** @brief What it watches. @return the socket or signal number, -1 for none */
    int fd() const noexcept { return get() != nullptr ? get()->m_fd : -1; }
    /** @brief Its loop. @return it; may be none */
    event_base_ref base() const noexcept {
        return event_base_ref(get() != nullptr ? get()->m_base : nullptr);
    }

    /** @brief Has the loop receive and send for the event. @param which `def_ombrel_event_buffer_*` @return 0
     * or -1
     */
    int enable_buffer(int which = def_ombrel_event_buffer_both) const noexcept {
        return ombrel_event_enable_buffer(get(), which);
    }
    /** @brief What was received. @return the queue; none while it is not enabled */
    buffer_ref input() const noexcept {
        return buffer_ref(get() != nullptr ? get()->m_input_buffer : nullptr);
    }
    /** @brief What is still to be sent. @return the queue; none while it is not enabled */
    buffer_ref output() const noexcept {
        return buffer_ref(get() != nullptr ? get()->m_output_buffer : nullptr);
    }
    /** @brief Queues bytes to send. @param bytes them @return bytes queued, or -1 */
    std::ptrdiff_t send(std::string_view bytes) const noexcept {
        return bytes.empty() ? 0
                             : ombrel_event_push_buffer(get(), def_ombrel_event_buffer_output, bytes.data(),
                                                        bytes.size());
    }
    /** @brief Takes received bytes. @param to receives them @param size the most to take @return bytes taken,
     * or -1 */
    std::ptrdiff_t receive(void* to, std::size_t size) const noexcept {
        return ombrel_event_pop_buffer(get(), def_ombrel_event_buffer_input, to, size);
    }
};

/** @cond */
namespace detail {

/// An event with its callable behind it, in one block.
struct event_box : callable_box {
    ombrel_event_t event = {};
    unsigned depth = 0;        ///< handlers under way: a handler may run the loop of another base
    bool is_abandoned = false; ///< its owner is gone, and the handler that runs frees it
};

inline ombrel_event_t* event_of(event_box* box) noexcept {
    return box != nullptr ? &box->event : nullptr;
}

inline int close_event(event_box* box) {
    const int result = ombrel_unassign_event(&box->event);
    if (box->depth != 0)
        box->is_abandoned = true;
    else
        box->destroy(box);
    return result;
}

template<class F>
void call_with_event(F& callable, ombrel_event_t* event, std::uint32_t result) noexcept {
    if constexpr (std::is_invocable_v<F&, event_ref, std::uint32_t>) {
        callable(event_ref(event), result);
    } else if constexpr (std::is_invocable_v<F&, event_ref>) {
        callable(event_ref(event));
    } else {
        static_assert(std::is_invocable_v<F&>,
                      "a handler is called with an event_ref and a uint32_t, or fewer");
        callable();
    }
}

template<class Box>
void handle_event(ombrel_event_t* event, int, std::uint32_t result, void* context) noexcept {
    if (result == def_ombrel_event_assigned)
        return;
    auto* box = static_cast<Box*>(context);
    box->depth++;
    call_with_event(box->callable, event, result);
    if (--box->depth == 0 && box->is_abandoned)
        box->destroy(box);
}

/// Refers to the event in a block, whose owner it is made for.
class event_box_ref {
public:
    using value_type = event_box*;

    constexpr event_box_ref() noexcept = default;
    constexpr explicit event_box_ref(event_box* box) noexcept : value_(box) {}
    event_box* get() const noexcept { return value_; }
    constexpr explicit operator bool() const noexcept { return value_ != nullptr; }

private:
    template<auto Close, class Ref>
    friend class ombrel::owner;
    event_box* value_ = nullptr;
};

} // namespace detail
/** @endcond */

/**
 * A method as the handler of an event that the C functions assign, with the object as its context. The notice
 * of an assignment is kept from it.
 */
template<auto Method, class T>
void event_handler(ombrel_event_t* event, int, std::uint32_t result, void* context) noexcept {
    if (result == def_ombrel_event_assigned)
        return;
    bound_method<Method, T> callable(*static_cast<T*>(context));
    detail::call_with_event(callable, event, result);
}

/** Owns an event and the callable that is its handler. */
class [[nodiscard]] event {
public:
    /** Holds nothing. */
    event() noexcept = default;

    /**
     * @brief Makes an event, which waits until it is added.
     * @param base     its loop
     * @param fd       a socket, a signal number with `def_ombrel_event_signal`, or -1
     * @param flags    the kinds to watch, `def_ombrel_event_*`
     * @param callable the handler, copied or moved
     * @param from     who makes it
     * @return it; nothing when memory runs out
     */
    template<class F>
    static event open(event_base_ref base, int fd, std::uint32_t flags, F&& callable,
                      caller from = caller::current()) {
        auto* box = detail::make_box<detail::event_box>(std::forward<F>(callable), from);
        if (box == nullptr)
            return {};
        using box_type = std::remove_pointer_t<decltype(box)>;
        if (ombrel_assign_event(base.get(), &box->event, fd, flags, &detail::handle_event<box_type>, box) !=
            0) {
            box->destroy(box);
            return {};
        }
        event made;
        made.box_.reset(box);
        return made;
    }
    /** @brief open() for a time limit alone. @param base its loop @param callable the handler @param from who
     * makes it @return it; nothing when memory runs out */
    template<class F>
    static event open_timer(event_base_ref base, F&& callable, caller from = caller::current()) {
        return open(base, -1, 0, std::forward<F>(callable), from);
    }

    /** @brief The event, for what only uses it. @return a reference */
    event_ref ref() const noexcept { return event_ref(get()); }
    /** The same. */
    operator event_ref() const noexcept { return ref(); }
    /** @brief The C event, for the C functions, but for those that assign or free it. @return it, or null */
    ombrel_event_t* get() const noexcept { return detail::event_of(box_.get()); }
    /** Whether there is one. */
    explicit operator bool() const noexcept { return static_cast<bool>(box_); }
    /** @brief Ends it; also in its handler. */
    void reset() noexcept { box_.reset(); }

    /** @brief event_ref::add(). @param timeout_ms milliseconds, negative for no limit @return 0 or -1 */
    int add(int timeout_ms = -1) const noexcept { return ref().add(timeout_ms); }
    /** @brief event_ref::remove(). @return 0 or -1 */
    int remove() const noexcept { return ref().remove(); }

private:
    owner<&detail::close_event, detail::event_box_ref> box_;
};

/** A count-down on the monotonic clock, of timer.h. */
class timer {
public:
    /** @brief Starts. @param length milliseconds from now; one below 0 has run out */
    explicit timer(std::chrono::milliseconds length) noexcept {
        ombrel_init_timer(&timer_, count_of(length));
    }
    /** @brief Whether the time has run out. @return true if so */
    bool is_over() const noexcept { return ombrel_check_timer(&timer_) == 1; }
    /** @brief What is left. @return milliseconds, 0 when it has run out */
    std::chrono::milliseconds left() const noexcept {
        std::uint64_t left = 0;
        ombrel_check_timer_ex(&timer_, &left);
        return std::chrono::milliseconds(static_cast<std::chrono::milliseconds::rep>(left));
    }
    /** @brief Makes it longer. @param length by how much; below 0 counts as 0 */
    void extend(std::chrono::milliseconds length) noexcept { ombrel_update_timer(&timer_, count_of(length)); }

private:
    static std::uint64_t count_of(std::chrono::milliseconds length) noexcept {
        return length.count() > 0 ? static_cast<std::uint64_t>(length.count()) : 0;
    }

    ombrel_timer_t timer_;
};

} // namespace ombrel

#endif
