// What POSIX has no calls for.
#include "platform/fault.h"
#include "platform/network_card.h"
#include "platform/network_news.h"
#include "platform/route.h"

#if !defined(__linux__)

namespace ombrel::platform {

namespace {

bool refuse() {
    leave_fault(fault_code::not_supported);
    return false;
}

} // namespace

route_list::~route_list() = default;
void route_list::rewind() {}

bool route_list::list(int, size_t) {
    return refuse();
}
bool route_list::look_up(const sockaddr&, const sockaddr*, uint32_t) {
    return refuse();
}
int route_list::next(ombrel_route_t&) {
    return 0;
}
bool route_list::next_hop(ombrel_route_hop_t&) {
    return false;
}
bool route_list::has_hop_by(uint32_t) const {
    return false;
}

neighbour_list::~neighbour_list() = default;
void neighbour_list::rewind() {}

bool neighbour_list::list(int, size_t) {
    return refuse();
}
int neighbour_list::next(ombrel_neighbour_t&) {
    return 0;
}

bool describe_card(ombrel_nic_t&) {
    return refuse();
}

struct network_news {};

uint32_t network_news_kinds(uint32_t) {
    return 0;
}
network_news* open_network_news(uint32_t, size_t, const int*) {
    return refuse(), nullptr;
}
void close_network_news(network_news*) {}
int descriptor_of(const network_news&) {
    return -1;
}
bool news_need_wakeups() {
    return false;
}
bool news_tell_new() {
    return false;
}
news_change next_news(network_news&, network_news_item&, bool) {
    return news_change::none;
}
bool next_news_hop(network_news&, ombrel_route_hop_t&) {
    return false;
}

} // namespace ombrel::platform

#endif
