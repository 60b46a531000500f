// News of interfaces, addresses, routes and neighbours.
#pragma once

#include <cstddef>
#include <cstdint>

#include <ombrel/network_watch.h>

namespace ombrel::platform {

enum class news_change {
    none,    ///< there is nothing more at present
    entered, ///< it is there, whether it was before or not
    appeared,
    changed,
    gone,
    lost, ///< news were lost
};

/// One piece of news; what its kind does not name is not set. Pointers in records are null.
struct network_news_item {
    uint32_t kind; ///< one of def_ombrel_network_interfaces and the like
    ombrel_network_interface_t link;
    ombrel_interface_statistics_t statistics;
    bool has_statistics;
    uint32_t interface_index; ///< of the address
    ombrel_interface_address_t address;
    ombrel_route_t route;
    ombrel_neighbour_t neighbour;
};

/// Where news come from.
struct network_news;

/// The kinds of those wanted that the host tells of.
uint32_t network_news_kinds(uint32_t wanted);

/// Whether news come on threads of the host's, which wake the one that takes them.
bool news_need_wakeups();

/// Null, with the fault left.
/// @param wakeup a pair of wake-up sockets where news need them, which outlives the news
network_news* open_network_news(uint32_t kinds, size_t queue_size, const int wakeup[2]);
void close_network_news(network_news* news);

/// A descriptor that is readable while there are news.
int descriptor_of(const network_news& news);

/// Whether the host tells what is new from what has changed; else it says `entered`, but for routes.
bool news_tell_new();

/// The next piece, without a wait.
/// @param takes_more false only ends what has come already: whatever the descriptor does not tell of
news_change next_news(network_news& news, network_news_item& item, bool takes_more);

/// The next hop of the route that came last; false behind the last.
bool next_news_hop(network_news& news, ombrel_route_hop_t& hop);

} // namespace ombrel::platform
