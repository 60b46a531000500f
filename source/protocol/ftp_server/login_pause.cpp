#include "protocol/ftp_server/login_pause.h"

#include <algorithm>
#include <cstring>

#include <ombrel/time.h>

namespace ombrel::protocol {

namespace {

constexpr uint64_t memory_ms = 10 * 60 * 1000;
constexpr int most_doublings = 4;

} // namespace

login_pauses::failing& login_pauses::place_of(const client_place& of) {
    failing* oldest = places_;
    for (failing& place : places_) {
        if (place.failures > 0 && memcmp(place.network, of.network, sizeof of.network) == 0)
            return place;
        if (place.last < oldest->last)
            oldest = &place;
    }
    memset(oldest, 0, sizeof *oldest);
    memcpy(oldest->network, of.network, sizeof of.network);
    return *oldest;
}

int login_pauses::after_failure(const client_place& of, int first_ms) {
    const uint64_t now = ombrel_time_stamp_msec();
    failing& place = place_of(of);
    if (now - place.last > memory_ms)
        place.failures = 0;
    place.last = now;
    return first_ms << std::min(place.failures++, most_doublings);
}

} // namespace ombrel::protocol
