// What every wait of a download looks at: the handler, the global break, the time as a whole.
#pragma once

#include <ombrel/download.h>

#include "core/deadline.h"

namespace ombrel::protocol {

class download_watch {
public:
    explicit download_watch(const ombrel_download_options_t& options)
        : handler_(options.m_handler), context_(options.m_context), whole_(options.m_whole_ms) {
        state_.m_total = -1;
    }

    /// Between two looks, in milliseconds.
    static constexpr int interval = 100;

    /// What the handler is told; whoever changes it looks afterwards.
    ombrel_download_state_t& state() { return state_; }

    /// Looks; false when the download is to end.
    bool goes_on();
    /// The same, and the handler is told for certain.
    bool enter(int phase);

    /// def_ombrel_download_reason_none while the download goes on.
    int reason() const { return reason_; }
    /// What the handler ended it with; 0 when it did not.
    int result() const { return result_; }

    const deadline& whole() const { return whole_; }
    /// The shorter of a time and what is left of the whole.
    int within_whole(int limit_ms) const { return shorter_wait(limit_ms, whole_.left()); }

private:
    bool stop(int reason) {
        reason_ = reason;
        return false;
    }

    ombrel_download_handler_t handler_;
    void* context_;
    deadline whole_;
    deadline next_{0};
    ombrel_download_state_t state_{};
    int reason_ = def_ombrel_download_reason_none;
    int result_ = 0;
};

} // namespace ombrel::protocol
