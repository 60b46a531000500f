#include "platform/random.h"

#include <algorithm>
#include <unistd.h>
#if defined(__APPLE__)
#include <sys/random.h>
#endif

namespace ombrel::platform {

bool ask_for_random(void* bytes, size_t size) {
    constexpr size_t most_at_once = 256;
    auto* at = static_cast<char*>(bytes);
    while (size > 0) {
        const size_t part = std::min(size, most_at_once);
        if (getentropy(at, part) != 0)
            return false;
        at += part;
        size -= part;
    }
    return true;
}

} // namespace ombrel::platform
