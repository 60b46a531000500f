// Whether there is anybody to lock out.
#pragma once

#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#define OMBREL_HOST_COUNTS_THREADS 1
#else
#define OMBREL_HOST_COUNTS_THREADS 0
#endif

namespace ombrel::platform {

/// True only while the process has one thread; false where the host does not tell.
inline bool has_one_thread() {
#if OMBREL_HOST_COUNTS_THREADS
    return __libc_single_threaded != 0;
#else
    return false;
#endif
}

} // namespace ombrel::platform
