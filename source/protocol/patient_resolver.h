// The addresses of a host, looked up within a deadline.
#pragma once

#include <ombrel/resolver_cache.h>

#include "core/deadline.h"
#include "network/endpoint.h"
#include "protocol/transfer_error.h"

namespace ombrel::protocol {

/// The platform's look-up cannot be interrupted: with a limit it runs on the thread of a cache of its own,
/// which is left behind when it hangs.
class patient_answers {
public:
    patient_answers(const char* host, int port, const deadline& limit)
        : first_(resolve(host, port, limit)), timed_out_(first_ == nullptr && limit.passed()) {}
    ~patient_answers() { ombrel_close_resolver(first_); }
    patient_answers(const patient_answers&) = delete;
    patient_answers& operator=(const patient_answers&) = delete;

    /// Null when there is none.
    const ombrel_resolver_t* first() const { return first_; }

    /// Makes it the error that there is none. @return false
    bool refuse(transfer_error& error) const {
        return timed_out_ ? error.set(fault_code::timed_out, "the host's name is not answered in time")
                          : error.set(fault_code::unknown_host, "the host has no address");
    }

private:
    static ombrel_resolver_t* resolve(const char* host, int port, const deadline& limit) {
        // An address needs no look-up.
        if (limit.left() < 0 || endpoint().parse(AF_UNSPEC, host, port))
            return ombrel_open_resolver(host, port);
        ombrel_resolver_cache_t* const cache = ombrel_open_resolver_cache_ex(0);
        ombrel_resolver_t* const found = ombrel_get_resolver_cache(cache, host, port, limit.left());
        ombrel_close_resolver_cache(cache);
        return found;
    }

    ombrel_resolver_t* first_;
    bool timed_out_;
};

} // namespace ombrel::protocol
