#include "platform/random.h"

#include <algorithm>
#include <climits>

#include "platform/fault.h"
#include "platform/windows/windows_host.h"

#include <bcrypt.h>

namespace ombrel::platform {

bool ask_for_random(void* bytes, size_t size) {
    auto* at = static_cast<unsigned char*>(bytes);
    while (size > 0) {
        const auto part = static_cast<ULONG>(std::min<size_t>(size, LONG_MAX));
        if (BCryptGenRandom(nullptr, at, part, BCRYPT_USE_SYSTEM_PREFERRED_RNG) != 0) {
            leave_fault(fault_code::input_output);
            return false;
        }
        at += part;
        size -= part;
    }
    return true;
}

} // namespace ombrel::platform
