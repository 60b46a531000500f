// Places for descriptors in tables. On Windows sockets are handles, which are multiples of 4, so that tables
// by descriptor would mostly be empty; files have small numbers of another kind, few of which are multiples
// of 4.
#pragma once

#include <cstddef>

namespace ombrel::platform {

/// Each descriptor, from 0 on, has a place of its own.
inline size_t slot_of(int descriptor) {
    const auto number = static_cast<size_t>(descriptor);
#if defined(_WIN32)
    return number % 4 == 0 ? number / 2 : number * 2 + 1;
#else
    return number;
#endif
}

inline int descriptor_at(size_t slot) {
#if defined(_WIN32)
    return static_cast<int>(slot % 2 == 0 ? slot * 2 : slot / 2);
#else
    return static_cast<int>(slot);
#endif
}

} // namespace ombrel::platform
