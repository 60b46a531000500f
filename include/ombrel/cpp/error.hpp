/**
 * @file error.hpp
 * @brief Why something failed, and the throwing form of every call.
 *
 * Nothing here throws unasked: calls return what the C functions return, an owner that is `false`, a
 * `std::optional` without a value or a number below 0, and ombrel::last_fault() tells why. A caller who wants
 * an exception instead wraps the call:
 *
 * @code
 * auto stream = ombrel::check(ombrel::file_stream::open("notes.txt", "r"));
 * @endcode
 *
 * ombrel::check() and ombrel::error exist where exceptions are on (`__cpp_exceptions`).
 */
#ifndef OMBREL_CPP_ERROR_HPP
#define OMBREL_CPP_ERROR_HPP

#include <cstring>
#include <exception>
#include <type_traits>
#include <utility>

#include <ombrel/fault.h>
#include <ombrel/printf.h>

namespace ombrel {

/** Why a call failed: a `def_ombrel_fault_*` number. */
class fault {
public:
    /** @brief A fault by its number. */
    constexpr explicit fault(int code) noexcept : code_(code) {}
    /** @brief The number. @return a `def_ombrel_fault_*` */
    constexpr int code() const noexcept { return code_; }
    /** @brief Its name for logs, such as "not_found". @return a static text */
    const char* name() const noexcept { return ombrel_fault_name(code_); }
    /** Whether something failed. */
    constexpr explicit operator bool() const noexcept { return code_ != def_ombrel_fault_none; }
    /** Whether both are one. */
    friend constexpr bool operator==(fault left, fault right) noexcept { return left.code_ == right.code_; }
    /** Whether they are not. */
    friend constexpr bool operator!=(fault left, fault right) noexcept { return left.code_ != right.code_; }
    /** Whether it is the fault of that number. */
    friend constexpr bool operator==(fault left, int right) noexcept { return left.code_ == right; }
    /** Whether it is another one. */
    friend constexpr bool operator!=(fault left, int right) noexcept { return left.code_ != right; }

private:
    int code_;
};

/** @brief ombrel_last_fault(): why this thread's last call failed; ask before another call. @return the fault
 */
inline fault last_fault() noexcept {
    return fault(ombrel_last_fault());
}

#if defined(__cpp_exceptions)

/** The exception of ombrel::check(): a code and its message, kept by value. */
class error : public std::exception {
public:
    /** @brief An error of this thread's last fault. */
    error() noexcept : error(ombrel_last_fault(), ombrel_fault_text()) {}
    /** @brief An error of a code with its message, which is cut to 255 bytes. */
    error(int code, const char* words) noexcept : code_(code) {
        ombrel_snprintf(words_, sizeof words_, "%s", words);
    }

    /** @brief The code. @return a `def_ombrel_fault_*`, or of a context a `def_ombrel_ctx_error_*` */
    int code() const noexcept { return code_; }
    /** @brief The message, such as "No such file or directory". @return it */
    const char* what() const noexcept override { return words_; }

private:
    int code_;
    char words_[256] = "";
};

/**
 * @brief Returns a result, or throws ombrel::error when it is a failure.
 *
 * A number fails when it is below 0, everything else (pointers, owners, optionals) when it is `false`.
 * @param result the result of a call @return the same
 */
template<class T>
std::decay_t<T> check(T&& result) {
    using plain = std::decay_t<T>;
    static_assert(!std::is_same_v<plain, fault>, "a fault is true when something failed");
    if constexpr (std::is_arithmetic_v<plain> && !std::is_same_v<plain, bool>) {
        if (result < plain())
            throw error();
    } else if (!static_cast<bool>(result)) {
        throw error();
    }
    return std::forward<T>(result);
}

#endif

} // namespace ombrel

#endif
