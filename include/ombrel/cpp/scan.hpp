/**
 * @file scan.hpp
 * @brief Scanning of texts with formats that are checked against their arguments by the rules of scan.h.
 *
 * As with format.hpp this happens in C++20 while the program is compiled. Texts go to arrays whose size is
 * checked:
 * "%15s" fits a `char[16]`, and without a width an array has 4097 bytes.
 *
 * | conversion | goes to |
 * |---|---|
 * | d, u, x | `int` or `unsigned`; with `hh`, `h`, `l`, `ll` integers of that size, signed or not |
 * | s, [set] | `char[N]`, N above the width |
 * | n | `int` |
 *
 * After "%*" nothing is assigned and no argument is taken.
 */
#ifndef OMBREL_CPP_SCAN_HPP
#define OMBREL_CPP_SCAN_HPP

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include <ombrel/scan.h>

#include <ombrel/cpp/format.hpp>

namespace ombrel {

/** @cond */
namespace detail {

/// What a place can take.
struct place_kind {
    std::size_t integer_size = 0; ///< bytes of an integer
    std::size_t room = 0;         ///< bytes of an array of characters
};

template<class T>
constexpr place_kind place_kind_of() {
    static_assert(!std::is_const_v<T>, "what is scanned goes to variables");
    place_kind kind;
    if constexpr (std::is_array_v<T>) {
        static_assert(std::is_same_v<std::remove_extent_t<T>, char>, "texts go to arrays of char");
        kind.room = sizeof(T);
    } else {
        static_assert(std::is_integral_v<T> && !std::is_same_v<T, bool> && !std::is_same_v<T, char>,
                      "numbers go to integers");
        kind.integer_size = sizeof(T);
    }
    return kind;
}

/// Walks through a format as ombrel_vsscanf() does and takes the places' kinds one by one.
class scan_checker {
public:
    constexpr scan_checker(const char* format, const place_kind* kinds, std::size_t count)
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

    constexpr place_kind take() {
        if (count_ == 0) {
            format_has_too_few_arguments();
            return {};
        }
        count_--;
        return *kinds_++;
    }

    constexpr void conversion() {
        const bool is_skipped = accept('*');
        std::size_t width = 0;
        while (*at_ >= '0' && *at_ <= '9' && width < max_width)
            width = width * 10 + static_cast<std::size_t>(*at_++ - '0');
        int level = 0;
        for (; *at_ == 'h' || *at_ == 'l'; at_++)
            level += *at_ == 'l' ? 1 : -1;
        const char letter = *at_ != '\0' ? *at_++ : '\0';
        if (letter == '[')
            skip_set();
        if (needed(letter, width, level) && !is_skipped)
            take_place(letter, width, level);
    }

    // A "]" that comes first belongs to the set.
    constexpr void skip_set() {
        accept('^');
        accept(']');
        while (*at_ != '\0' && *at_ != ']')
            at_++;
        if (!accept(']'))
            format_has_an_unknown_conversion();
    }

    constexpr bool needed(char letter, std::size_t width, int level) {
        const bool is_number = letter == 'd' || letter == 'u' || letter == 'x';
        const bool is_other = letter == 's' || letter == '[' || letter == 'n';
        if (!is_number && !is_other)
            format_has_an_unknown_conversion();
        if (level < -2 || level > 2 || (is_other && level != 0) || width >= max_width)
            format_length_does_not_go_with_the_conversion();
        return is_number || is_other;
    }

    constexpr void take_place(char letter, std::size_t width, int level) {
        const std::size_t sizes[] = {1, sizeof(short), sizeof(int), sizeof(long), sizeof(std::int64_t)};
        const place_kind kind = take();
        const bool is_text = letter == 's' || letter == '[';
        if (is_text ? kind.room <= (width != 0 ? width : def_ombrel_scan_limit)
                    : kind.integer_size != sizes[letter == 'n' ? 2 : level + 2])
            format_argument_has_the_wrong_type();
    }

    static constexpr std::size_t max_width = std::size_t(1) << 28;

    const char* at_;
    const place_kind* kinds_;
    std::size_t count_;
};

template<class... Places>
constexpr void check_scan(const char* format) {
    const place_kind kinds[] = {place_kind_of<Places>()..., place_kind()};
    scan_checker(format, kinds, sizeof...(Places)).run();
}

template<class T>
T* place_of(T& variable) noexcept {
    return &variable;
}
template<std::size_t N>
char* place_of(char (&array)[N]) noexcept {
    return array;
}

} // namespace detail
/** @endcond */

/** A format that goes with places of these types. Made of a text, in C++20 while the program is compiled. */
template<class... Places>
class basic_scan_string {
public:
#if defined(OMBREL_CPP_CHECKS_FORMATS)
    /** @brief Checks the format. */
    consteval basic_scan_string(const char* format) : format_(format) {
        detail::check_scan<Places...>(format);
    }
#else
    /** @brief Takes the format as it is. */
    constexpr basic_scan_string(const char* format) noexcept : format_(format) {}
#endif
    /** @brief The format. @return it */
    constexpr const char* get() const noexcept {
        return format_;
    }

private:
    const char* format_;
};

/** The format's type in functions that take places of the types `Places`. */
template<class... Places>
using scan_string = basic_scan_string<typename detail::same<Places>::type...>;

#if defined(__GNUC__)
// The formats were checked by rules that the compiler does not have.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#endif

/** @brief ombrel_sscanf(): scans a text. @param from the text @param format the format @param places receive
 * the fields
 * @return the fields assigned */
template<class... Places>
int scan(c_text from, scan_string<Places...> format, Places&... places) {
    return ombrel_sscanf(from.get(), format.get(), detail::place_of(places)...);
}

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

} // namespace ombrel

#endif
