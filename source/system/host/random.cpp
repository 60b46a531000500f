#include <ombrel/random.h>

#include "core/fault.h"
#include "platform/random.h"

int ombrel_get_random_bytes(void* bytes, size_t size) {
    if (bytes == nullptr && size != 0) {
        ombrel::leave_fault(ombrel::fault_code::invalid);
        return -1;
    }
    return ombrel::platform::ask_for_random(bytes, size) ? 0 : -1;
}
