/**
 * @file owner.hpp
 * @brief One template that owns every object of the library: it holds what a C function opened and calls the
 * C function that closes it.
 *
 * `ombrel::owner<&ombrel_close_xml_path>` owns an `ombrel_xml_path_t*`. An owner is moved, never copied; it
 * has the size of the pointer or number it holds, and costs nothing besides the call that closes. A
 * moved-from owner holds nothing, nor does one made from a failed open: it is `false`.
 *
 * Owners with functions of their own derive from a *reference*, such as `ombrel::buffer_ref`, that has those
 * functions and owns nothing. Functions that only use an object take the reference, by value.
 *
 * Threads: as those of the C object; an owner itself belongs to one thread at a time.
 */
#ifndef OMBREL_CPP_OWNER_HPP
#define OMBREL_CPP_OWNER_HPP

#include <type_traits>
#include <utility>

namespace ombrel {

/** The caller, as passed to the C functions whose names end in `_tag`, for reports on the heap and on locks.
 */
struct caller {
    const char* function; /**< the calling function's name; a static text */
    unsigned long line;   /**< its source line */

    /** @brief As a default argument: the place of the call. @return it */
    static constexpr caller current(const char* function = __builtin_FUNCTION(),
                                    unsigned long line = __builtin_LINE()) noexcept {
        return {function, line};
    }
};

/** What a reference to an object behind a pointer holds: null is none. */
template<class T>
class pointer_ref {
public:
    /** What is held. */
    using value_type = T*;

    /** Refers to none. */
    constexpr pointer_ref() noexcept = default;
    /** @brief Refers to an object, or with null to none. */
    constexpr explicit pointer_ref(T* object) noexcept : value_(object) {}

    /** @brief The C object, for the C functions. @return it, or null */
    constexpr T* get() const noexcept { return value_; }
    /** Whether there is an object. */
    constexpr explicit operator bool() const noexcept { return value_ != nullptr; }

private:
    template<auto Close, class Ref>
    friend class owner;
    T* value_ = nullptr;
};

/** What a reference to an object behind a number holds: numbers below `Least` are none. */
template<int Least>
class number_ref {
public:
    /** What is held. */
    using value_type = int;

    /** Refers to none. */
    constexpr number_ref() noexcept = default;
    /** @brief Refers to an object; a number below `Least` refers to none, and may be an error code. */
    constexpr explicit number_ref(int number) noexcept : value_(number) {}

    /** @brief The number, for the C functions. @return it; -1 or the result of the failed open when there is
     * none
     */
    constexpr int get() const noexcept { return value_; }
    /** Whether there is an object. */
    constexpr explicit operator bool() const noexcept { return value_ >= Least; }

private:
    template<auto Close, class Ref>
    friend class owner;
    int value_ = -1;
};

/** @cond */
namespace detail {

template<class Function>
struct ref_of_close;
template<class Result, class T>
struct ref_of_close<Result (*)(T*)> {
    using type = pointer_ref<T>;
};

} // namespace detail
/** @endcond */

/**
 * Owns what `Close` closes.
 * @tparam Close the C function that closes, with one argument, or any other such function
 * @tparam Ref   the reference that it is beside; without one a plain pointer_ref
 */
template<auto Close, class Ref = typename detail::ref_of_close<decltype(Close)>::type>
class [[nodiscard]] owner : public Ref {
public:
    using typename Ref::value_type;

    /** Holds nothing. */
    constexpr owner() noexcept = default;
    /** @brief Takes over what a C function opened; null or a failed number is nothing. */
    constexpr explicit owner(value_type opened) noexcept : Ref(opened) {}
    /** Takes over what another owner holds, which then holds nothing. */
    owner(owner&& from) noexcept : Ref(from.release()) {}
    /** Closes what it holds and takes over what another owner holds. */
    owner& operator=(owner&& from) noexcept {
        if (this != &from)
            reset(from.release());
        return *this;
    }
    owner(const owner&) = delete;
    owner& operator=(const owner&) = delete;
    ~owner() { close_held(); }

    /** @brief Gives the object up without closing it. @return it; the caller closes it */
    [[nodiscard]] value_type release() noexcept {
        return std::exchange(static_cast<Ref&>(*this).value_, Ref().value_);
    }

    /** @brief Closes what it holds, and takes over another object or nothing. */
    void reset(value_type opened = Ref().get()) noexcept {
        owner old(std::exchange(static_cast<Ref&>(*this).value_, opened));
    }

    /** Swaps what two owners hold. */
    friend void swap(owner& left, owner& right) noexcept {
        owner held(std::move(left));
        left = std::move(right);
        right = std::move(held);
    }

private:
    void close_held() noexcept {
        if (static_cast<bool>(*this))
            static_cast<void>(Close(this->get()));
    }
};

} // namespace ombrel

#endif
