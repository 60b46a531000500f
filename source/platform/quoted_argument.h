// How an argument stands in a command line of Windows, which each program takes apart by itself.
#pragma once

#include <cstddef>
#include <string_view>

namespace ombrel::platform {

/// Whether it can stand there as it is.
template<typename Unit>
constexpr bool is_plain_argument(std::basic_string_view<Unit> text) {
    constexpr Unit special[] = {' ', '\t', '\n', '\v', '"', 0};
    return !text.empty() && text.find_first_of(special) == text.npos;
}

/// Hands out an argument unit by unit, in quotes where it needs them, until `put(unit)` gives false.
/// Backslashes stand for themselves, but before a quote each two of them stand for one.
template<typename Unit, typename Put>
constexpr bool put_quoted_argument(std::basic_string_view<Unit> text, Put put) {
    const Unit quote = is_plain_argument(text) ? Unit{} : Unit{'"'};
    const auto put_backslashes = [&](size_t count) {
        while (count > 0 && put(Unit{'\\'}))
            count--;
        return count == 0;
    };
    if (quote != 0 && !put(quote))
        return false;
    size_t backslashes = 0;
    for (const Unit unit : text) {
        if ((unit == '"' && !put_backslashes(backslashes + 1)) || !put(unit))
            return false;
        backslashes = unit == '\\' ? backslashes + 1 : 0;
    }
    return quote == 0 || (put_backslashes(backslashes) && put(quote));
}

} // namespace ombrel::platform
