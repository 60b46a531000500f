// Where a server on an event base takes its clients: listening sockets, limits on clients in all and of one
// address, and what happens when there is no room or no descriptor for one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include <ombrel/event.h>

#include "network/endpoint.h"

namespace ombrel::protocol {

/// A client's place among those that are there, part of the server's record of the client. All zero before it
/// is taken.
struct client_place {
    client_place* previous;
    client_place** list; ///< null when it is not taken
    client_place* next;
    uint8_t network[ipv6_size]; ///< the address, of which an IPv6 one counts as its /64
};

struct listener_settings {
    const char* scheme;       ///< of the URLs, as "http"
    std::string_view refusal; ///< sent to clients for whom there is no room; lives as long as the listener
    size_t client_limit;      ///< at a time
    size_t address_limit;     ///< of one address; 0 for no limit
    /// Given a client, whose socket, which does not block, it owns from then on.
    void (*on_client)(int socket, const endpoint& peer, void* context);
    void* context;
};

/// Part of the server's record; all zero before it is opened. Everything happens on the base's thread.
class listener {
public:
    /// False, with the fault left; close() is then due as well.
    bool open(ombrel_event_base_t* base, const listener_settings& settings);
    /// Listens at a numeric address, or at both loop-backs for "localhost" and null.
    /// @return the port, or -1 with the fault left
    int listen(const char* address, int port);
    /// Takes no more clients; those that have a place keep it.
    void stop();
    void close();

    bool has_room_for(const endpoint& peer) const;
    /// Counts a client in, and out when it goes.
    void take_place(client_place& place, const endpoint& peer);
    void leave_place(client_place& place);

    size_t clients() const { return clients_; }
    uint64_t accepted() const { return accepted_; }
    uint64_t refused() const { return refused_; }
    bool is_listening() const { return count_ > 0; }

    /// As the public functions named ombrel_alloc_*_server_url_tag() give it.
    char* alloc_url(size_t index, const char* function, unsigned long line) const;

private:
    static constexpr size_t most_listeners = 16; // "localhost" takes two
    static constexpr size_t place_lists = 64;

    struct door {
        listener* owner;
        int socket;
        bool is_shown; ///< has a URL of its own
        bool rests;    ///< its event is not registered
        ombrel_event_t event;
        endpoint own;
    };

    int listen_at_loopbacks(int port);
    int open_door(const endpoint& at, bool is_shown);
    bool watch(door& added);
    void shut_last_door();
    void accept_some(door& from);
    bool accept_one(door& from);
    bool cope_with_failure(door& from);
    void greet(int socket, const endpoint& peer);
    void refuse(int socket);
    void rest(door& tired);
    void resume();
    void keep_reserve();

    ombrel_event_base_t* base_;
    listener_settings settings_;
    bool network_;
    int reserve_; ///< a descriptor kept to answer with when no other is left
    size_t count_;
    door doors_[most_listeners];
    ombrel_event_t rest_event_;
    client_place* places_[place_lists];
    size_t clients_;
    uint64_t accepted_, refused_;
};

} // namespace ombrel::protocol
