// A list of variable arguments that can be handed on by reference.
#pragma once

#include <cstdarg>

namespace ombrel {

/// A bare va_list is an array on some platforms and decays as a parameter. Starting the list in here saves
/// the copy that keeping it would otherwise take.
struct argument_list {
    va_list next;
};

} // namespace ombrel
