// Calls of functions that take their arguments as a list.
#pragma once

#include <cstdarg>

namespace ombrel_test {

/// call(arguments), with a list of the arguments behind it.
template<typename Call>
auto with_list(Call call, ...) {
    va_list arguments;
    va_start(arguments, call);
    const auto result = call(arguments);
    va_end(arguments);
    return result;
}

} // namespace ombrel_test
