#include "platform/route.h"

#include <cstdlib>
#include <cstring>
#include <utility>

#include "platform/fault.h"
#include "platform/windows/host_error.h"
#include "platform/windows/network_row.h"

namespace ombrel::platform {

namespace {

/// Whether a call, or a family, is one that the host does not have.
bool is_lacking(ULONG error) {
    return error == ERROR_CALL_NOT_IMPLEMENTED || error == ERROR_NOT_SUPPORTED ||
           error == ERROR_INVALID_FUNCTION;
}

/// False, with the fault of a call of the IP helper.
bool refuse(ULONG error) {
    if (is_lacking(error))
        leave_fault(fault_code::not_supported);
    else if (error == ERROR_NETWORK_UNREACHABLE || error == ERROR_HOST_UNREACHABLE)
        leave_fault(fault_code::unreachable);
    else
        fail_by(error);
    return false;
}

bool refuse_size() {
    leave_fault(fault_code::too_large);
    return false;
}

ADDRESS_FAMILY family_of(int family) {
    return static_cast<ADDRESS_FAMILY>(family);
}

} // namespace

/// A table of the host's, or one row that was looked up.
struct route_list::state {
    MIB_IPFORWARD_TABLE2* table;
    ULONG at;
    MIB_IPFORWARD_ROW2 row;
    SOCKADDR_INET source;
    SOCKADDR_INET destination;
    bool is_one, is_told;
};

namespace {

SOCKADDR_INET inet_of(const sockaddr* address) {
    SOCKADDR_INET inet{};
    if (address != nullptr)
        memcpy(&inet, address, address->sa_family == AF_INET6 ? sizeof inet.Ipv6 : sizeof inet.Ipv4);
    return inet;
}

} // namespace

route_list::~route_list() {
    if (state_ != nullptr && state_->table != nullptr)
        FreeMibTable(state_->table);
    free(state_);
}

bool route_list::list(int family, size_t most) {
    state_ = static_cast<state*>(calloc(1, sizeof(state)));
    if (state_ == nullptr)
        return false;
    const ULONG error = GetIpForwardTable2(family_of(family), &state_->table);
    if (error != NO_ERROR)
        return refuse(error);
    return state_->table->NumEntries <= most || refuse_size();
}

bool route_list::look_up(const sockaddr& destination, const sockaddr* source, uint32_t interface_index) {
    state_ = static_cast<state*>(calloc(1, sizeof(state)));
    if (state_ == nullptr)
        return false;
    state_->is_one = true;
    state_->destination = inet_of(&destination);
    const SOCKADDR_INET from = inet_of(source);
    const ULONG error = GetBestRoute2(nullptr, interface_index, source != nullptr ? &from : nullptr,
                                      &state_->destination, 0, &state_->row, &state_->source);
    return error == NO_ERROR || refuse(error);
}

void route_list::rewind() {
    state_->at = 0;
    state_->is_told = false;
}

int route_list::next(ombrel_route_t& route) {
    if (state_->is_one) {
        if (std::exchange(state_->is_told, true))
            return 0;
        route = route_of(state_->row);
        route.m_destination = ip_address_of(reinterpret_cast<const sockaddr&>(state_->destination));
        route.m_prefix_length = route.m_family == AF_INET6 ? 128 : 32;
        route.m_source = ip_address_of(reinterpret_cast<const sockaddr&>(state_->source));
        route.m_flags |= def_ombrel_route_cached;
        return 1;
    }
    if (state_->at == state_->table->NumEntries)
        return 0;
    route = route_of(state_->table->Table[state_->at++]);
    return 1;
}

bool route_list::next_hop(ombrel_route_hop_t&) {
    return false;
}

bool route_list::has_hop_by(uint32_t) const {
    return false;
}

struct neighbour_list::state {
    MIB_IPNET_TABLE2* table;
    ULONG at;

    // A call that fails may leave a part of the table.
    ULONG read(int family) {
        if (table != nullptr)
            FreeMibTable(table);
        table = nullptr;
        return GetIpNetTable2(family_of(family), &table);
    }
};

neighbour_list::~neighbour_list() {
    if (state_ != nullptr && state_->table != nullptr)
        FreeMibTable(state_->table);
    free(state_);
}

bool neighbour_list::list(int family, size_t most) {
    state_ = static_cast<state*>(calloc(1, sizeof(state)));
    if (state_ == nullptr)
        return false;
    ULONG error = state_->read(family);
    // A family that is not there is left out.
    if (family == AF_UNSPEC && is_lacking(error))
        error = state_->read(AF_INET);
    // A table without rows is not there.
    if (error == ERROR_NOT_FOUND)
        return true;
    if (error != NO_ERROR)
        return refuse(error);
    return state_->table->NumEntries <= most || refuse_size();
}

void neighbour_list::rewind() {
    state_->at = 0;
}

int neighbour_list::next(ombrel_neighbour_t& neighbour) {
    if (state_->table == nullptr || state_->at == state_->table->NumEntries)
        return 0;
    neighbour = neighbour_of(state_->table->Table[state_->at++]);
    return 1;
}

} // namespace ombrel::platform
