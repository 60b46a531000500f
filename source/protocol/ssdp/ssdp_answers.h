// Searchers that wait for their answers, and how many answers may be sent.
#pragma once

#include <cstddef>
#include <cstdint>

#include "network/endpoint.h"
#include "protocol/ssdp/ssdp_channel.h"
#include "protocol/ssdp/ssdp_message.h"

namespace ombrel::protocol {

/// Moments are those of ombrel_time_stamp_msec().
struct ssdp_answer {
    bool is_used;
    const ssdp_channel* channel;
    endpoint to;
    uint64_t due, end; ///< when it goes on, and when it is given up
    int64_t after;     ///< number of the announcement that was answered last
    char target[def_ombrel_ssdp_type_size];
};

/// A second's answers, to all and to each address. A table of so many addresses is enough: those beyond it
/// are bound by the limit for all.
class ssdp_answer_limit {
public:
    void open(size_t of_all, size_t of_address) { of_all_ = of_all, of_address_ = of_address; }
    /// Counts one more. False when the second has had its share.
    bool take(const endpoint& to, uint64_t now);

private:
    static constexpr size_t most_addresses = 64;
    struct share {
        endpoint address;
        size_t count;
    };
    share& share_of(const endpoint& to);

    size_t of_all_ = 0, of_address_ = 0, count_ = 0;
    uint64_t second_ = 0;
    share shares_[most_addresses]{};
    size_t share_count_ = 0;
};

class ssdp_answers {
public:
    /// Has a searcher wait a random part of the time that he allows. False when too many wait already; a
    /// search that came again changes nothing.
    bool add(const ssdp_channel& channel, const endpoint& to, const ssdp_message& search, uint64_t now);
    /// One whose time has come, or null.
    ssdp_answer* find_due(uint64_t now);
    uint64_t next_due() const;

private:
    static constexpr size_t most_answers = 64;
    ssdp_answer answers_[most_answers]{};
};

} // namespace ombrel::protocol
