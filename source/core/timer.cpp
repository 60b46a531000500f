#include <ombrel/timer.h>

#include <ombrel/time.h>

int ombrel_init_timer(ombrel_timer_t* timer, uint64_t msec) {
    if (timer == nullptr)
        return -1;
    *timer = {ombrel_time_stamp_msec(), msec};
    return 0;
}

int ombrel_check_timer(const ombrel_timer_t* timer) {
    return ombrel_check_timer_ex(timer, nullptr);
}

int ombrel_check_timer_ex(const ombrel_timer_t* timer, uint64_t* remaining) {
    if (timer == nullptr)
        return -1;
    const uint64_t elapsed = ombrel_time_stamp_msec() - timer->m_start;
    const uint64_t left = elapsed < timer->m_duration ? timer->m_duration - elapsed : 0;
    if (remaining != nullptr)
        *remaining = left;
    return left == 0 ? 1 : 0;
}

int ombrel_update_timer(ombrel_timer_t* timer, uint64_t msec) {
    if (timer == nullptr)
        return -1;
    const uint64_t room = UINT64_MAX - timer->m_duration;
    timer->m_duration += msec < room ? msec : room;
    return 0;
}
