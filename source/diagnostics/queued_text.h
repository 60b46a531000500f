// Documents that go into a buffer of the caller's, or are printed.
#pragma once

#include <ombrel/buffer.h>
#include <ombrel/output.h>

namespace ombrel {

/// Prints all that is queued as one text. Its memory is allocated under `tag`. @return 0 or -1
int print_queued(ombrel_buffer_t* buffer, const char* tag);

/// Runs `push(buffer)`; where there is none, with one of its own, which is printed when that gave 0. `tag` is
/// the documented function's name. @return 0 or -1
template<typename Push>
int push_or_print(ombrel_buffer_t* buffer, const char* tag, Push push) {
    if (buffer != nullptr)
        return push(buffer);
    ombrel_buffer_t* own = ombrel_open_buffer_ex(0);
    if (own == nullptr)
        return -1;
    int result = push(own);
    if (result == 0)
        result = print_queued(own, tag);
    ombrel_close_buffer(own);
    return result;
}

} // namespace ombrel
