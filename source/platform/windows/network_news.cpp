#include "platform/network_news.h"

#include <algorithm>
#include <cstdlib>
#include <new>

#include "platform/fault.h"
#include "platform/socket.h"
#include "platform/windows/host_error.h"
#include "platform/windows/network_row.h"

namespace ombrel::platform {

namespace {

/// What the system said on one of its threads, for the thread that asks.
struct queued_news {
    uint32_t kind;
    news_change change;
    union {
        uint32_t interface_index;
        MIB_UNICASTIPADDRESS_ROW address;
        MIB_IPFORWARD_ROW2 route;
    };
};

} // namespace

/// Filled by the system's threads, emptied by the owner's.
struct network_news {
    SRWLOCK lock;
    queued_news* queue; ///< a ring
    size_t room, first, count;
    bool is_lost;
    int wakeup[2];
    HANDLE registrations[3];
};

namespace {

void post(network_news& news, const queued_news& one) {
    AcquireSRWLockExclusive(&news.lock);
    const bool was_empty = news.count == 0 && !news.is_lost;
    if (news.count < news.room)
        news.queue[(news.first + news.count++) % news.room] = one;
    else
        news.is_lost = true;
    ReleaseSRWLockExclusive(&news.lock);
    if (was_empty)
        post_wakeup(news.wakeup[1]);
}

news_change change_of(MIB_NOTIFICATION_TYPE type) {
    return type == MibAddInstance      ? news_change::appeared
           : type == MibDeleteInstance ? news_change::gone
                                       : news_change::changed;
}

VOID NETIOAPI_API_ on_interface(PVOID context, PMIB_IPINTERFACE_ROW row, MIB_NOTIFICATION_TYPE type) {
    if (row == nullptr)
        return;
    queued_news one{};
    one.kind = def_ombrel_network_interfaces;
    one.change = change_of(type);
    one.interface_index = row->InterfaceIndex;
    post(*static_cast<network_news*>(context), one);
}

VOID NETIOAPI_API_ on_address(PVOID context, PMIB_UNICASTIPADDRESS_ROW row, MIB_NOTIFICATION_TYPE type) {
    if (row == nullptr)
        return;
    queued_news one{};
    one.kind = def_ombrel_network_addresses;
    one.change = change_of(type);
    one.address = *row;
    post(*static_cast<network_news*>(context), one);
}

VOID NETIOAPI_API_ on_route(PVOID context, PMIB_IPFORWARD_ROW2 row, MIB_NOTIFICATION_TYPE type) {
    if (row == nullptr)
        return;
    queued_news one{};
    one.kind = def_ombrel_network_routes;
    one.change = change_of(type);
    one.route = *row;
    post(*static_cast<network_news*>(context), one);
}

/// What registers for a kind, and is ended by the handle that it gives.
ULONG listen(network_news& news, uint32_t kind, HANDLE& registration) {
    switch (kind) {
    case def_ombrel_network_interfaces:
        return NotifyIpInterfaceChange(AF_UNSPEC, on_interface, &news, FALSE, &registration);
    case def_ombrel_network_addresses:
        return NotifyUnicastIpAddressChange(AF_UNSPEC, on_address, &news, FALSE, &registration);
    default:
        return NotifyRouteChange2(AF_UNSPEC, on_route, &news, FALSE, &registration);
    }
}

bool listen_to_all(network_news& news, uint32_t kinds) {
    HANDLE* registration = news.registrations;
    for (const uint32_t kind :
         {def_ombrel_network_interfaces, def_ombrel_network_addresses, def_ombrel_network_routes}) {
        const ULONG error = (kinds & kind) != 0 ? listen(news, kind, *registration++) : NO_ERROR;
        if (error != NO_ERROR)
            return fail_by(error), false;
    }
    return true;
}

/// Of an interface that is gone the index alone is known.
void fill_interface(uint32_t index, network_news_item& item) {
    MIB_IF_ROW2 row;
    item.link = {};
    item.link.m_index = index;
    item.link.m_speed = -1;
    item.has_statistics = find_row(index, row);
    if (!item.has_statistics)
        return;
    describe_row(row, item.link);
    item.statistics = statistics_of(row);
}

// Rows of news may have no more than what tells them from others: the rest is asked for where it is there.
void fill_address(MIB_UNICASTIPADDRESS_ROW row, network_news_item& item) {
    GetUnicastIpAddressEntry(&row);
    item.interface_index = row.InterfaceIndex;
    describe_address(reinterpret_cast<const sockaddr&>(row.Address),
                     {row.OnLinkPrefixLength, row.DadState, row.ValidLifetime, row.PreferredLifetime,
                      row.PrefixOrigin != IpPrefixOriginDhcp},
                     item.address);
}

void fill_route(MIB_IPFORWARD_ROW2 row, network_news_item& item) {
    GetIpForwardEntry2(&row);
    item.route = route_of(row);
}

void fill(const queued_news& one, network_news_item& item) {
    item.kind = one.kind;
    if (one.kind == def_ombrel_network_interfaces)
        fill_interface(one.interface_index, item);
    else if (one.kind == def_ombrel_network_addresses)
        fill_address(one.address, item);
    else
        fill_route(one.route, item);
}

/// The oldest piece; lost when there is none but some were.
news_change take(network_news& news, queued_news& one) {
    AcquireSRWLockExclusive(&news.lock);
    news_change change = news_change::none;
    if (news.count != 0) {
        one = news.queue[news.first];
        change = one.change;
        news.first = (news.first + 1) % news.room;
        news.count--;
    } else if (news.is_lost) {
        news.is_lost = false;
        change = news_change::lost;
    }
    ReleaseSRWLockExclusive(&news.lock);
    return change;
}

} // namespace

uint32_t network_news_kinds(uint32_t wanted) {
    return wanted &
           (def_ombrel_network_interfaces | def_ombrel_network_addresses | def_ombrel_network_routes);
}

bool news_need_wakeups() {
    return true;
}

bool news_tell_new() {
    return true;
}

network_news* open_network_news(uint32_t kinds, size_t queue_size, const int wakeup[2]) {
    auto* const news = static_cast<network_news*>(calloc(1, sizeof(network_news)));
    if (news == nullptr)
        return nullptr;
    InitializeSRWLock(&news->lock);
    news->room = std::max<size_t>(queue_size / sizeof(queued_news), 16);
    news->queue = static_cast<queued_news*>(malloc(news->room * sizeof(queued_news)));
    std::copy_n(wakeup, 2, news->wakeup);
    if (news->queue != nullptr && listen_to_all(*news, kinds))
        return news;
    const fault_keeper kept;
    close_network_news(news);
    return nullptr;
}

// Cancelling waits for calls that are under way, which take the lock for moments alone.
void close_network_news(network_news* news) {
    if (news == nullptr)
        return;
    for (const HANDLE registration : news->registrations)
        if (registration != nullptr)
            CancelMibChangeNotify2(registration);
    free(news->queue);
    free(news);
}

int descriptor_of(const network_news& news) {
    return news.wakeup[0];
}

news_change next_news(network_news& news, network_news_item& item, bool takes_more) {
    if (!takes_more) {
        // The descriptor tells of the rest again.
        post_wakeup(news.wakeup[1]);
        return news_change::none;
    }
    drain_wakeups(news.wakeup[0]);
    queued_news one;
    const news_change change = take(news, one);
    if (change != news_change::none && change != news_change::lost)
        fill(one, item);
    return change;
}

bool next_news_hop(network_news&, ombrel_route_hop_t&) {
    return false;
}

} // namespace ombrel::platform
