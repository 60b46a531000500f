#include "platform/network_news.h"

#include <algorithm>
#include <cstdlib>
#include <new>

#include "platform/fault.h"
#include "platform/linux/netlink_record.h"
#include "platform/linux/netlink_socket.h"

namespace ombrel::platform {

/// A datagram may bring several pieces of news.
struct network_news {
    netlink_socket kernel;
    byte_pile datagram;
    message_walk messages{netlink_bytes{}};
    netlink_link link;
    netlink_address address;
    netlink_route route;
};

namespace {

constexpr struct {
    uint32_t kind;
    uint32_t groups;
} groups_of_kinds[] = {
    {def_ombrel_network_interfaces, RTMGRP_LINK},
    {def_ombrel_network_addresses, RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR},
    {def_ombrel_network_routes, RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE},
    {def_ombrel_network_neighbours, RTMGRP_NEIGH},
};

netlink_reading take_interface(network_news& news, netlink_bytes message, network_news_item& item) {
    const netlink_reading how = read_link(message, news.link);
    item.kind = def_ombrel_network_interfaces;
    item.link = news.link.interface;
    item.statistics = news.link.statistics;
    item.has_statistics = news.link.has_statistics;
    return how;
}

netlink_reading take_address(network_news& news, netlink_bytes message, network_news_item& item) {
    const netlink_reading how = read_address(message, news.address);
    item.kind = def_ombrel_network_addresses;
    item.interface_index = news.address.interface_index;
    item.address = news.address.address;
    return how;
}

netlink_reading take_route(network_news& news, netlink_bytes message, network_news_item& item) {
    const netlink_reading how = read_route(message, news.route);
    item.kind = def_ombrel_network_routes;
    item.route = news.route.route;
    // Answers to look-ups are no entries of a table.
    const bool is_entry = (item.route.m_flags & def_ombrel_route_cached) == 0;
    return how == netlink_reading::taken && !is_entry ? netlink_reading::passed_over : how;
}

netlink_reading take_neighbour(network_news&, netlink_bytes message, network_news_item& item) {
    item.kind = def_ombrel_network_neighbours;
    return read_neighbour(message, item.neighbour);
}

news_change route_change(uint16_t flags) {
    return (flags & NLM_F_REPLACE) != 0 ? news_change::changed : news_change::appeared;
}

/// What the messages are, and what the kernel says by them.
struct news_type {
    uint16_t type;
    netlink_reading (*take)(network_news&, netlink_bytes, network_news_item&);
    news_change change;
};

constexpr news_type types[] = {
    {RTM_NEWLINK, take_interface, news_change::entered},  {RTM_DELLINK, take_interface, news_change::gone},
    {RTM_NEWADDR, take_address, news_change::entered},    {RTM_DELADDR, take_address, news_change::gone},
    {RTM_NEWROUTE, take_route, news_change::appeared},    {RTM_DELROUTE, take_route, news_change::gone},
    {RTM_NEWNEIGH, take_neighbour, news_change::entered}, {RTM_DELNEIGH, take_neighbour, news_change::gone},
};

/// What one message tells; none when it tells nothing.
news_change read_news(network_news& news, const nlmsghdr& head, netlink_bytes content,
                      network_news_item& item) {
    const auto* const known = std::find_if(std::begin(types), std::end(types), [&head](const news_type& one) {
        return one.type == head.nlmsg_type;
    });
    if (known == std::end(types))
        return news_change::none;
    switch (known->take(news, content, item)) {
    case netlink_reading::taken:
        return known->type == RTM_NEWROUTE ? route_change(head.nlmsg_flags) : known->change;
    case netlink_reading::passed_over:
        return news_change::none;
    case netlink_reading::malformed:
        break;
    }
    return news_change::lost;
}

/// Whether another datagram is there; news that were lost are told by `is_lost`.
bool take_datagram(network_news& news, bool& is_lost) {
    news.datagram.cut(0);
    const bool is_there = news.kernel.receive(news.datagram, false);
    is_lost = !is_there && !failed_by(-1, fault_code::would_block);
    news.messages = message_walk(news.datagram.bytes());
    return is_there;
}

} // namespace

uint32_t network_news_kinds(uint32_t wanted) {
    return wanted & def_ombrel_network_all;
}

network_news* open_network_news(uint32_t kinds, size_t queue_size, const int*) {
    void* const memory = malloc(sizeof(network_news));
    if (memory == nullptr)
        return nullptr;
    auto* const news = new (memory) network_news;
    uint32_t groups = 0;
    for (const auto& one : groups_of_kinds)
        groups |= (kinds & one.kind) != 0 ? one.groups : 0;
    if (news->kernel.open(groups)) {
        news->kernel.set_queue(static_cast<int>(queue_size));
        return news;
    }
    const fault_keeper kept;
    close_network_news(news);
    return nullptr;
}

void close_network_news(network_news* news) {
    if (news == nullptr)
        return;
    news->~network_news();
    free(news);
}

int descriptor_of(const network_news& news) {
    return news.kernel.descriptor();
}

bool news_need_wakeups() {
    return false;
}

bool news_tell_new() {
    return false;
}

news_change next_news(network_news& news, network_news_item& item, bool takes_more) {
    while (true) {
        nlmsghdr head;
        netlink_bytes content;
        while (news.messages.next(head, content)) {
            const news_change change = read_news(news, head, content, item);
            if (change != news_change::none)
                return change;
        }
        bool is_lost = news.messages.is_malformed();
        news.messages = message_walk(netlink_bytes{});
        if (is_lost)
            return news_change::lost;
        if (!takes_more)
            return news_change::none;
        if (!take_datagram(news, is_lost))
            return is_lost ? news_change::lost : news_change::none;
    }
}

bool next_news_hop(network_news& news, ombrel_route_hop_t& hop) {
    return news.route.hops.next(hop);
}

} // namespace ombrel::platform
