/**
 * @file callable.hpp
 * @brief What keeps the callables that are handlers: one block of the library's heap each.
 *
 * Handlers are called by the library, which knows no exceptions: one that leaves a handler ends the program
 * by `std::terminate()`.
 */
#ifndef OMBREL_CPP_CALLABLE_HPP
#define OMBREL_CPP_CALLABLE_HPP

#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>

#include <ombrel/heap.h>

#include <ombrel/cpp/owner.hpp>

namespace ombrel {

/**
 * A method of an object as a callable: `ombrel::bound<&session::on_ready>(session)`. It holds only the
 * object's address; the object must outlive whatever calls it.
 */
template<auto Method, class T>
class bound_method {
public:
    /** @brief Binds an object. */
    explicit bound_method(T& object) noexcept : object_(&object) {}
    /** Calls the method. */
    template<class... Args>
    auto operator()(Args&&... args) const
        -> decltype((std::declval<T&>().*Method)(std::forward<Args>(args)...)) {
        return (object_->*Method)(std::forward<Args>(args)...);
    }

private:
    T* object_;
};

/** @brief Binds a method to an object. @param object the object, which must outlive the handler @return the
 * callable */
template<auto Method, class T>
bound_method<Method, T> bound(T& object) noexcept {
    return bound_method<Method, T>(object);
}

/** @cond */
namespace detail {

/// The block of a callable, by an interface that does not know its type.
struct callable_box {
    void (*destroy)(callable_box*) noexcept;
};

inline int free_memory(void* memory) {
    return ombrel_free_tag(memory, "ombrel::callable", 0);
}

inline int destroy_callable(callable_box* box) {
    box->destroy(box);
    return 0;
}

template<class Head, class F>
struct box_of : Head {
    static_assert(alignof(F) <= 2 * sizeof(void*), "the library's heap does not align so");

    explicit box_of(F&& from) : callable(std::move(from)) {}
    explicit box_of(const F& from) : callable(from) {}

    F callable;
};

/// Makes the block: null when memory runs out. `Head` begins with a callable_box.
template<class Head, class F>
box_of<Head, std::decay_t<F>>* make_box(F&& callable, caller from) {
    using box = box_of<Head, std::decay_t<F>>;
    owner<&free_memory> memory(ombrel_alloc_tag(sizeof(box), from.function, from.line));
    if (!memory)
        return nullptr;
    box* made = new (memory.get()) box(std::forward<F>(callable)); // copying may throw
    static_cast<void>(memory.release());
    made->destroy = [](callable_box* base) noexcept {
        static_cast<box*>(base)->~box();
        free_memory(base);
    };
    return made;
}

/// Owns the callable of an object that is closed before it.
using callable_owner = owner<&destroy_callable>;

/// What a handler answers: 0 where the callable gives nothing.
template<class F, class... Args>
int answer_of(F& callable, Args&&... args) noexcept {
    if constexpr (std::is_void_v<std::invoke_result_t<F&, Args...>>) {
        callable(std::forward<Args>(args)...);
        return 0;
    } else {
        return callable(std::forward<Args>(args)...);
    }
}

} // namespace detail
/** @endcond */

} // namespace ombrel

#endif
