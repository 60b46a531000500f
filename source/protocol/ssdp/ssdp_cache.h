// What others announce, for as long as they say.
#pragma once

#include <cstddef>
#include <cstdint>

#include "network/endpoint.h"
#include "protocol/ssdp/ssdp_message.h"

namespace ombrel::protocol {

class ssdp_cache {
public:
    struct limits {
        size_t entries, of_address;
        int max_age_s;
        const char* wanted; ///< null for all
    };
    /// What has happened, if anything, to the entry that `told` then is; 0 for nothing.
    struct change {
        int event = 0; ///< a def_ombrel_ssdp_added and the like
        ombrel_ssdp_entry_t told;
    };

    ssdp_cache() = default;
    ~ssdp_cache() { clear(); }
    ssdp_cache(const ssdp_cache&) = delete;
    ssdp_cache& operator=(const ssdp_cache&) = delete;

    void open(const limits& most) { limits_ = most; }

    /// Takes an announcement or answer, an update or a withdrawal.
    void take(const ssdp_message& message, const endpoint& from, uint64_t now, change& done);
    /// Takes one entry out whose time has passed. False when there is none.
    bool take_expired(uint64_t now, change& done);
    /// When the next entry's time passes, in ombrel_time_stamp_msec(); UINT64_MAX for never.
    uint64_t next_expiry() const;

    bool get_at(size_t index, uint64_t now, ombrel_ssdp_entry_t& entry) const;
    bool find(const char* usn, uint64_t now, ombrel_ssdp_entry_t& entry) const;
    void clear();
    size_t count() const { return count_; }
    /// Entries that were not kept for their limits.
    uint64_t dropped() const { return dropped_; }

private:
    struct node {
        node* next;
        uint64_t expiry;
        endpoint from;
        ombrel_ssdp_entry_t entry;
    };

    node** find_link(const char* usn);
    node* add(const ssdp_message& message, const endpoint& from);
    bool has_room_for(const endpoint& from) const;
    static bool may_speak_for(const node& known, const ssdp_message& message, const endpoint& from);
    void remove(node** link, change& done);
    static ombrel_ssdp_entry_t told(const node& one, uint64_t now);

    limits limits_{};
    node* first_ = nullptr;
    size_t count_ = 0;
    uint64_t dropped_ = 0;
};

} // namespace ombrel::protocol
