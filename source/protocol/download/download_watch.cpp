#include "protocol/download/download_watch.h"

#include <ombrel/global_break.h>

namespace ombrel::protocol {

bool download_watch::goes_on() {
    if (reason_ != def_ombrel_download_reason_none)
        return false;
    if (ombrel_get_global_break() != 0)
        return stop(def_ombrel_download_reason_broken);
    if (whole_.passed())
        return stop(def_ombrel_download_reason_time);
    if (handler_ == nullptr || !next_.passed())
        return true;
    next_ = deadline(interval);
    result_ = handler_(&state_, context_);
    return result_ == 0 || stop(def_ombrel_download_reason_broken);
}

bool download_watch::enter(int phase) {
    state_.m_phase = phase;
    next_ = deadline(0);
    return goes_on();
}

} // namespace ombrel::protocol
