#include "platform/random.h"

#include <unistd.h>
#if defined(__APPLE__)
#include <sys/random.h>
#endif

namespace ombrel::platform {

bool ask_for_random(void* bytes, size_t size) {
    return getentropy(bytes, size) == 0;
}

} // namespace ombrel::platform
