/**
 * @file service.hpp
 * @brief Background services that run a callable.
 */
#ifndef OMBREL_CPP_SERVICE_HPP
#define OMBREL_CPP_SERVICE_HPP

#include <atomic>
#include <cstddef>
#include <utility>

#include <ombrel/service.h>

#include <ombrel/cpp/callable.hpp>
#include <ombrel/cpp/owner.hpp>
#include <ombrel/cpp/text.hpp>

namespace ombrel {

/** A reference to a service, which it does not own: what its callable is given. */
class service_ref : public pointer_ref<ombrel_service_t> {
public:
    using pointer_ref::pointer_ref;

    /** @brief For the callable: says that it runs. */
    void ack() const noexcept { ombrel_ack_service(get()); }
    /** @brief For the callable: says that it cannot run; it should then return. */
    void fail() const noexcept { ombrel_error_service(get()); }
    /** @brief Whether the callable is to return. @return true if it is */
    bool is_stopping() const noexcept { return ombrel_break_service(get()) != 0; }
    /** @brief Whether it runs. @return 1 or 0; -1 when it failed */
    int check() const noexcept { return ombrel_check_service(get()); }
};

/** @cond */
namespace detail {

/// A callable that its service's thread and its owner share: a failed open does not wait for the thread.
struct service_box : callable_box {
    std::atomic<int> users{2};
    std::atomic<bool> is_started{false};

    void leave(int count) noexcept {
        if (users.fetch_sub(count, std::memory_order_acq_rel) == count)
            destroy(this);
    }
};

template<class Box>
int run_service(ombrel_service_t* service, void* context) noexcept {
    auto* box = static_cast<Box*>(context);
    box->is_started.store(true, std::memory_order_relaxed);
    const int result = answer_of(box->callable, service_ref(service));
    box->leave(1);
    return result;
}

} // namespace detail
/** @endcond */

/** Owns a service and its callable. Its end asks the callable to return and waits for that. */
class [[nodiscard]] service {
public:
    /** Holds nothing. */
    service() noexcept = default;
    /** Takes over another one. */
    service(service&& from) noexcept
        : service_(std::move(from.service_)), box_(std::exchange(from.box_, nullptr)) {}
    /** Ends what it has and takes over another one. */
    service& operator=(service&& from) noexcept {
        if (this != &from) {
            reset();
            service_ = std::move(from.service_);
            box_ = std::exchange(from.box_, nullptr);
        }
        return *this;
    }
    ~service() { reset(); }

    /**
     * @brief Opens a service and waits until its callable has acknowledged or failed.
     * @param name     for reports
     * @param callable called once as `callable(ombrel::service_ref)` on a thread of its own: it acknowledges
     * by `ack()` and returns when `is_stopping()`; it must not throw
     * @param stack_size bytes of stack; 0 for the default
     * @param from     who opens
     * @return it; nothing when the callable failed, or memory or a thread cannot be had
     */
    template<class F>
    static service open(c_text name, F&& callable, std::size_t stack_size = 0,
                        caller from = caller::current()) {
        auto* box = detail::make_box<detail::service_box>(std::forward<F>(callable), from);
        if (box == nullptr)
            return {};
        using box_type = std::remove_pointer_t<decltype(box)>;
        service made;
        made.service_.reset(
            ombrel_open_service_ex(name.get(), &detail::run_service<box_type>, box, stack_size));
        if (!made.service_) {
            box->leave(box->is_started.load(std::memory_order_relaxed) ? 1 : 2);
            return {};
        }
        made.box_ = box;
        return made;
    }

    /** @brief The service. @return a reference */
    service_ref ref() const noexcept { return service_; }
    /** Whether there is one. */
    explicit operator bool() const noexcept { return static_cast<bool>(service_); }
    /** @brief Has the callable return, and waits for it. */
    void reset() noexcept {
        service_.reset();
        if (box_ != nullptr)
            std::exchange(box_, nullptr)->leave(1);
    }

private:
    owner<&ombrel_close_service, service_ref> service_;
    detail::service_box* box_ = nullptr;
};

} // namespace ombrel

#endif
