/**
 * @file format.hpp
 * @brief Formatted texts whose formats are checked against their arguments by the rules of printf.h.
 *
 * In C++20 this happens while the program is compiled: `%zu`, `%e`, an argument of another width or sign, one
 * too few or too many do not compile, and the compiler's message names what is wrong. In C++17 nothing is
 * checked.
 *
 * | conversion | takes |
 * |---|---|
 * | d, i | `int` and what promotes to it; with `l` `long`, with `ll` signed integers of 64 bits |
 * | u, o, x, X | `unsigned`, `unsigned char`, `unsigned short`; with `l` and `ll` as above, unsigned |
 * | c | `char`, `int` and what promotes to it |
 * | s | terminated texts, `std::string`, `std::string_view`, ombrel::text; `bool` as "true" or "false" |
 * | p, P | pointers to objects |
 * | f | `float`, `double` |
 * | * | `int` |
 *
 * A `bool` goes only with "s". `size_t` has no conversion of its own: ombrel::wide() makes 64 bits of any
 * integer, for "%lld" and "%llu". A `std::string_view` is copied, for its terminator, and ends at a zero
 * byte.
 */
#ifndef OMBREL_CPP_FORMAT_HPP
#define OMBREL_CPP_FORMAT_HPP

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>
#include <utility>

#include <ombrel/buffer.h>
#include <ombrel/output.h>
#include <ombrel/printf.h>

#include <ombrel/cpp/text.hpp>

#if defined(__cpp_consteval) || (__cplusplus >= 202002L && defined(__clang__) && __clang_major__ >= 14)
/** Formats are checked while the program is compiled. (Clang supported that before it announced it.) */
#define OMBREL_CPP_CHECKS_FORMATS 1
#endif

namespace ombrel {

/** @brief An integer as one of 64 bits, for "%lld" or "%llu". @param value any @return the same value */
template<class T>
constexpr auto wide(T value) noexcept {
    static_assert(std::is_integral_v<T>, "an integer is made wide");
    return static_cast<std::conditional_t<std::is_signed_v<T>, long long, unsigned long long>>(value);
}

/** @cond */
namespace detail {

/// What an argument can stand for.
struct argument_kind {
    unsigned signed_size = 0;   ///< bytes as a signed integer, once promoted
    unsigned unsigned_size = 0; ///< bytes as an unsigned one
    bool text = false;
    bool pointer = false;
    bool floating = false;
};

template<class T, class = void>
struct has_c_str : std::false_type {};
template<class T>
struct has_c_str<T, std::void_t<decltype(std::declval<const T&>().c_str())>> : std::true_type {};

template<class T>
constexpr bool is_plain_number = (std::is_integral_v<T> && !std::is_same_v<T, bool>) ||
                                 (std::is_enum_v<T> && std::is_convertible_v<T, long long>);

template<class T>
constexpr argument_kind kind_of() {
    argument_kind kind;
    if constexpr (is_plain_number<T>) {
        using promoted = decltype(+std::declval<T>());
        if constexpr (std::is_signed_v<promoted>)
            kind.signed_size = sizeof(promoted);
        if constexpr (std::is_unsigned_v<T> || std::is_unsigned_v<promoted>)
            kind.unsigned_size = sizeof(promoted);
    }
    kind.floating = std::is_same_v<T, float> || std::is_same_v<T, double>;
    kind.pointer = std::is_same_v<T, std::nullptr_t> ||
                   (std::is_pointer_v<T> && !std::is_function_v<std::remove_pointer_t<T>>);
    kind.text = std::is_same_v<T, const char*> || std::is_same_v<T, char*> || std::is_same_v<T, bool> ||
                std::is_same_v<T, std::string_view> || has_c_str<T>::value;
    return kind;
}

// What the compiler names when a format is wrong: none can be called while a program is compiled.
inline void format_has_an_unknown_conversion() {}
inline void format_has_too_few_arguments() {}
inline void format_has_too_many_arguments() {}
inline void format_argument_has_the_wrong_type() {}
inline void format_length_does_not_go_with_the_conversion() {}

/// Walks through a format as ombrel_vsnprintf() does and takes the arguments' kinds one by one.
class format_checker {
public:
    constexpr format_checker(const char* format, const argument_kind* kinds, std::size_t count)
        : at_(format), kinds_(kinds), count_(count) {}

    constexpr void run() {
        while (*at_ != '\0')
            if (*at_++ == '%' && !accept('%'))
                conversion();
        if (count_ != 0)
            format_has_too_many_arguments();
    }

private:
    constexpr bool accept(char wanted) {
        if (*at_ != wanted)
            return false;
        at_++;
        return true;
    }
    constexpr void digits() {
        while (*at_ >= '0' && *at_ <= '9')
            at_++;
    }
    constexpr argument_kind take() {
        if (count_ == 0) {
            format_has_too_few_arguments();
            return {};
        }
        count_--;
        return *kinds_++;
    }
    static constexpr void want(bool fits) {
        if (!fits)
            format_argument_has_the_wrong_type();
    }

    constexpr void conversion() {
        accept('#');
        accept('-');
        accept('.');
        accept('0');
        if (accept('*'))
            want(take().signed_size == sizeof(int));
        digits();
        if (accept('.'))
            digits();
        unsigned level = 0;
        while (level < 2 && accept('l'))
            level++;
        convert(*at_ != '\0' ? *at_++ : '\0', level);
    }

    constexpr void convert(char letter, unsigned level) {
        const unsigned sizes[] = {sizeof(int), sizeof(long), sizeof(std::int64_t)};
        switch (letter) {
        case 'd':
        case 'i':
            return want(take().signed_size == sizes[level]);
        case 'u':
        case 'o':
        case 'x':
        case 'X':
            return want(has_unsigned(take(), sizes[level]));
        case 'c':
            plain(level == 0);
            return want(take().signed_size == sizeof(int));
        case 's':
            plain(level == 0);
            return want(take().text);
        case 'p':
        case 'P':
            plain(level == 0);
            return want(take().pointer);
        case 'f':
            plain(level < 2);
            return want(take().floating);
        default:
            format_has_an_unknown_conversion();
        }
    }

    static constexpr bool has_unsigned(argument_kind kind, unsigned size) {
        return kind.unsigned_size == size;
    }
    static constexpr void plain(bool is_so) {
        if (!is_so)
            format_length_does_not_go_with_the_conversion();
    }

    const char* at_;
    const argument_kind* kinds_;
    std::size_t count_;
};

template<class... Args>
constexpr void check_format(const char* format) {
    const argument_kind kinds[] = {kind_of<std::decay_t<const Args&>>()..., argument_kind()};
    format_checker(format, kinds, sizeof...(Args)).run();
}

/// A copy of a text with a terminator: in itself when it is short.
class terminated_text {
public:
    explicit terminated_text(std::string_view from) {
        char* to = from.size() < sizeof short_ ? short_ : allocate(from.size() + 1);
        if (to == nullptr)
            return;
        if (!from.empty())
            std::memcpy(to, from.data(), from.size());
        to[from.size()] = '\0';
        text_ = to;
    }
    terminated_text(const terminated_text&) = delete;
    terminated_text& operator=(const terminated_text&) = delete;

    const char* get() const noexcept { return text_; }
    bool is_there() const noexcept { return text_ != nullptr; }

private:
    char* allocate(std::size_t size) {
        long_.reset(ombrel_alloc_tag(size, "ombrel::format", 0));
        return static_cast<char*>(long_.get());
    }

    owner<&free_block> long_;
    const char* text_ = nullptr;
    char short_[120];
};

/// What is handed to the C function in an argument's place.
template<class T>
class passed_value {
public:
    explicit constexpr passed_value(T value) noexcept : value_(value) {}
    constexpr T get() const noexcept { return value_; }
    static constexpr bool is_there() noexcept { return true; }

private:
    T value_;
};

template<class T>
auto pass(const T& value) {
    using plain = std::decay_t<const T&>;
    if constexpr (std::is_same_v<plain, bool>) {
#if !defined(OMBREL_CPP_CHECKS_FORMATS)
        static_assert(!std::is_same_v<plain, bool>,
                      "without checked formats say what a bool is to be printed as");
#endif
        return passed_value<const char*>(value ? "true" : "false");
    } else if constexpr (is_plain_number<plain>) {
        return passed_value<decltype(+value)>(+value);
    } else if constexpr (std::is_floating_point_v<plain>) {
        return passed_value<double>(static_cast<double>(value));
    } else if constexpr (std::is_same_v<plain, std::nullptr_t>) {
        return passed_value<const void*>(nullptr);
    } else if constexpr (std::is_pointer_v<plain>) {
        return passed_value<plain>(value);
    } else if constexpr (has_c_str<plain>::value) {
        return passed_value<const char*>(value.c_str());
    } else {
        static_assert(std::is_same_v<plain, std::string_view>, "this cannot be formatted");
        return terminated_text(value);
    }
}

template<class Result, class Call, class... Passed>
Result call_passed(Result failed, Call call, const Passed&... passed) {
    if constexpr ((std::is_same_v<Passed, terminated_text> || ...)) {
        if (!(passed.is_there() && ...))
            return failed;
    }
    return call(passed.get()...);
}

/// Calls with the arguments as C has them; `failed` when memory for one of them runs out.
template<class Result, class Call, class... Args>
Result call_formatted(Result failed, Call call, const Args&... args) {
    return call_passed(failed, call, pass(args)...);
}

} // namespace detail
/** @endcond */

/** A format that goes with arguments of these types. Made of a text, in C++20 while the program is compiled.
 */
template<class... Args>
class basic_format_string {
public:
#if defined(OMBREL_CPP_CHECKS_FORMATS)
    /** @brief Checks the format. */
    consteval basic_format_string(const char* format) : format_(format) {
        detail::check_format<Args...>(format);
    }
#else
    /** @brief Takes the format as it is. */
    constexpr basic_format_string(const char* format) noexcept : format_(format) {}
#endif
    /** @brief The format. @return it */
    constexpr const char* get() const noexcept {
        return format_;
    }

private:
    const char* format_;
};

/** @cond */
namespace detail {
template<class T>
struct same {
    using type = T;
};
} // namespace detail
/** @endcond */

/** The format's type in functions that take arguments of the types `Args`. */
template<class... Args>
using format_string = basic_format_string<typename detail::same<Args>::type...>;

#if defined(__GNUC__)
// The formats were checked by rules that the compiler does not have.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#endif

/**
 * @brief ombrel_alloc_sprintf(): formats into a new text.
 * @param format the format
 * @param args   its arguments
 * @return the text; nothing when memory runs out or it has more than 65,278 characters
 */
template<class... Args>
text format(format_string<Args...> format, const Args&... args) {
    return text(detail::call_formatted(
        static_cast<char*>(nullptr),
        [&](auto... passed) { return ombrel_alloc_sprintf(format.get(), passed...); }, args...));
}

/** @brief ombrel_printf(): prints through ombrel_puts(). @param format the format @param args its arguments
 * @return its result, 0 when memory runs out */
template<class... Args>
unsigned print(format_string<Args...> format, const Args&... args) {
    return detail::call_formatted(
        0u, [&](auto... passed) { return ombrel_printf(format.get(), passed...); }, args...);
}

/** @brief ombrel_error_printf(): prints through ombrel_error_puts(). @param format the format @param args its
 * arguments @return its result, 0 when memory runs out */
template<class... Args>
unsigned print_error(format_string<Args...> format, const Args&... args) {
    return detail::call_formatted(
        0u, [&](auto... passed) { return ombrel_error_printf(format.get(), passed...); }, args...);
}

/** @brief ombrel_snprintf() into an array: cut to it, always terminated. @param to the array @param format
 * the format @param args its arguments @return the text there, without its terminator */
template<std::size_t N, class... Args>
std::string_view format_to(char (&to)[N], format_string<Args...> format, const Args&... args) {
    const int stored = detail::call_formatted(
        0, [&](auto... passed) { return ombrel_snprintf(to, N, format.get(), passed...); }, args...);
    return {to, static_cast<std::size_t>(stored)};
}

/** @brief ombrel_push_printf(): queues a formatted text. @param to the buffer, null for none @param format
 * the format @param args its arguments @return bytes queued, 0 on failure */
template<class... Args>
std::size_t format_to(ombrel_buffer_t* to, format_string<Args...> format, const Args&... args) {
    return detail::call_formatted(
        std::size_t(0), [&](auto... passed) { return ombrel_push_printf(to, format.get(), passed...); },
        args...);
}

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

} // namespace ombrel

#endif
