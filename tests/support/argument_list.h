// Calls of functions that take their arguments as a list.
#pragma once

#include <cstdarg>

namespace ombrel_test {

// By its address, as compilers disagree on where arguments begin behind an object without fields.
template<typename Call>
auto with_list_behind(const Call* call, ...) {
    va_list arguments;
    va_start(arguments, call);
    const auto result = (*call)(arguments);
    va_end(arguments);
    return result;
}

/// call(arguments), with a list of the arguments behind it.
template<typename Call, typename... Arguments>
auto with_list(const Call& call, Arguments... arguments) {
    return with_list_behind(&call, arguments...);
}

} // namespace ombrel_test
