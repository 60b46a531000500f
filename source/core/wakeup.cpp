#include "core/wakeup.h"

#include <ombrel/pipe.h>
#include <ombrel/short_lock.h>

namespace ombrel {

bool send_wakeup_byte(int write_end) {
    constexpr unsigned char byte = 1;
    for (int attempt = 0; attempt < attempt_limit; attempt++) {
        if (attempt > 0)
            ombrel_load_balance_short();
        if (ombrel_pipe_write(write_end, &byte, 1) == 1)
            return true;
    }
    return false;
}

int read_slice(uint64_t remaining_milliseconds, int longest) {
    return remaining_milliseconds < static_cast<uint64_t>(longest) ? static_cast<int>(remaining_milliseconds)
                                                                   : longest;
}

} // namespace ombrel
