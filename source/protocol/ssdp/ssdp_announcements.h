// What a service announces, when each thing is told again, and who waits for answers.
#pragma once

#include <cstddef>
#include <cstdint>

#include "network/endpoint.h"
#include "protocol/ssdp/ssdp_message.h"

namespace ombrel::protocol {

/// Moments are those of ombrel_time_stamp_msec().
struct ssdp_announcement {
    ssdp_announcement* next;
    int64_t number;
    uint64_t due;    ///< when it is told the next time
    unsigned left;   ///< tellings at the beginning, or withdrawals, that are still to come
    bool is_leaving; ///< it is being withdrawn
    int max_age_s;
    char type[def_ombrel_ssdp_type_size];
    char usn[def_ombrel_ssdp_usn_size];
    char location[def_ombrel_ssdp_location_size];
};

class ssdp_announcements {
public:
    ssdp_announcements() = default;
    ~ssdp_announcements();
    ssdp_announcements(const ssdp_announcements&) = delete;
    ssdp_announcements& operator=(const ssdp_announcements&) = delete;

    /// @return null with the fault left
    ssdp_announcement* add(const char* type, const char* usn, const char* location, int max_age_s,
                           size_t limit, uint64_t now);
    /// Has it withdrawn from now on. @return whether it was announced
    bool leave(int64_t number, uint64_t now);
    void leave_all(uint64_t now);
    /// Frees one that was never told.
    void forget(int64_t number);
    /// Has all told anew, at another location if there is one.
    void renew(const char* location, uint64_t now);

    ssdp_announcement* first() const { return first_; }
    /// One whose time has come, or null.
    ssdp_announcement* find_due(uint64_t now) const;
    /// Notes that it has been told; frees it when it has been withdrawn for good.
    void note_telling(ssdp_announcement& one, uint64_t now);
    uint64_t next_due() const;
    /// Those that are not leaving.
    size_t count() const;
    bool is_empty() const { return first_ == nullptr; }

private:
    ssdp_announcement** find_link(int64_t number);
    void remove(ssdp_announcement** link);

    ssdp_announcement* first_ = nullptr;
    int64_t last_number_ = 0;
};

/// A number from 0 to `below` - 1 that need not be hard to guess.
uint32_t random_below(uint32_t below);

} // namespace ombrel::protocol
