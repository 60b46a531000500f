// The datagrams that an assembler has in hand, by sender and by age.
#pragma once

#include <array>

#include <ombrel/fragment.h>
#include <ombrel/hash.h>

#include "container/packet/fragment_pieces.h"
#include "core/node_list.h"

namespace ombrel {

struct fragment_sender;

enum class datagram_state : uint8_t { gathering, refused, given };

/// A datagram, or what is remembered of it.
struct held_datagram {
    held_datagram *m_prev, *m_next;     ///< of one state, the oldest first
    held_datagram *m_before, *m_behind; ///< of one sender, likewise
    fragment_sender* sender;
    std::array<unsigned char, 12> key; ///< the sender's number and the identifier
    datagram_state state;
    int64_t since; ///< it came, was refused or was given
    uint32_t total;
    fragment_pieces pieces;

    size_t held() const { return sizeof(held_datagram) + pieces.held(); }
};

struct fragment_sender {
    fragment_sender *m_prev, *m_next;
    held_datagram *first, *last;
    size_t count, bytes;
    uint64_t number;
    size_t key_size;
    std::array<unsigned char, def_ombrel_fragment_sender_max> key;
};

class fragment_store {
public:
    fragment_store(const ombrel_fragment_options_t& limits, ombrel_fragment_statistics_t& statistics,
                   call_site caller)
        : limits_(limits), statistics_(statistics), caller_(caller) {}
    ~fragment_store();

    fragment_sender* find_sender(const void* key, size_t size) const;
    /// Null when the sender is null or has none such.
    held_datagram* find(const fragment_sender* sender, uint32_t identifier) const;

    /// Gives up others until there is room for so many bytes and places. False when there never can be.
    bool make_room(size_t bytes, size_t places);
    /// A new datagram, for which there is room; null when memory has run out.
    held_datagram* add(const void* sender, size_t sender_size, uint32_t identifier, uint32_t total,
                       int64_t now);
    /// Adds a piece for which there is room. False when memory has run out.
    bool add_piece(held_datagram& datagram, uint32_t offset, const void* data, size_t size);
    /// Keeps no more of it than that it was refused or given.
    void settle(held_datagram& datagram, datagram_state state, int64_t now);
    void remove(held_datagram& datagram);

    /// Gives up what is too old; the number of places that became free.
    int64_t expire(int64_t now);
    /// Milliseconds until the next is; -1 for none.
    int64_t wait(int64_t now) const;

    static size_t cost_of_new() { return sizeof(held_datagram) + sizeof(fragment_sender); }
    size_t bytes() const { return bytes_; }
    size_t count() const { return count_; }
    size_t sender_count() const { return sender_count_; }

private:
    struct by_age {
        held_datagram *first = nullptr, *last = nullptr;
    };

    auto list_of(datagram_state state) {
        by_age& ends = ages_[static_cast<size_t>(state)];
        return node_list<held_datagram>(ends.first, &ends.last);
    }
    fragment_sender* obtain_sender(const void* key, size_t size);
    void drop_if_idle(fragment_sender& sender);
    bool open_tables();
    void evict_one(bool for_place);
    void count_bytes(fragment_sender& sender, size_t before, size_t after);

    const ombrel_fragment_options_t& limits_;
    ombrel_fragment_statistics_t& statistics_;
    call_site caller_;
    ombrel_hash_t *datagrams_ = nullptr, *senders_ = nullptr;
    std::array<by_age, 3> ages_{};
    fragment_sender* first_sender_ = nullptr;
    uint64_t next_number_ = 0;
    size_t bytes_ = 0, count_ = 0, sender_count_ = 0;
};

} // namespace ombrel
