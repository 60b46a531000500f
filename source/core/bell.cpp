#include "core/bell.h"

#include <ombrel/pipe.h>
#include <ombrel/short_lock.h>

#include "core/wakeup.h"
#include "platform/wait_word.h"

namespace ombrel {

namespace {

bool send_byte(int write_end) {
    constexpr unsigned char byte = 1;
    for (int attempt = 0; attempt < attempt_limit; attempt++) {
        if (attempt > 0)
            ombrel_load_balance_short();
        if (ombrel_pipe_write(write_end, &byte, 1) == 1)
            return true;
    }
    return false;
}

} // namespace

bool ringing::send() {
    if (word_ == nullptr)
        return true;
    if (found_ == bell::asleep)
        platform::wake_waiter(word_);
    if (found_ < 0)
        return found_ != bell::unhung;
    const bool sent = send_byte(found_);
    int ends[2] = {-1, found_};
    ombrel_destroy_pipe(ends);
    return sent;
}

void bell::sleep(int milliseconds) {
    if (!step(awake, asleep))
        return;
    platform::wait_while_equal(&value_, asleep, static_cast<uint32_t>(milliseconds));
    step(asleep, awake);
}

bool bell::connect(int write_end) {
    if (is_rung())
        return false;
    __atomic_store_n(&value_, write_end < 0 ? int{unhung} : write_end, __ATOMIC_RELAXED);
    return true;
}

} // namespace ombrel
