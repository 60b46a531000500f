#include "platform/network_interface.h"

#include "platform/windows/windows_host.h"

#include <cstdlib>
#include <cstring>

#include <iphlpapi.h>
#include <netioapi.h>

#include "platform/fault.h"
#include "platform/windows/host_error.h"
#include "platform/windows/network_row.h"
#include "platform/windows/wide_text.h"

namespace ombrel::platform {

/// What the system says of its adapters, and where the walks are.
struct interface_list::state {
    IP_ADAPTER_ADDRESSES* first;
    const IP_ADAPTER_ADDRESSES* at;
    const IP_ADAPTER_ADDRESSES* home; ///< that of the address
    const IP_ADAPTER_UNICAST_ADDRESS* address;
};

namespace {

/// Null with its fault.
IP_ADAPTER_ADDRESSES* ask_for_adapters() {
    constexpr ULONG flags = GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST | GAA_FLAG_SKIP_DNS_SERVER;
    constexpr int most_tries = 8; // adapters may come between two calls
    ULONG size = 16384;
    for (int tries = 0; tries < most_tries; tries++) {
        auto* const adapters = static_cast<IP_ADAPTER_ADDRESSES*>(malloc(size));
        if (adapters == nullptr)
            return nullptr;
        const ULONG error = GetAdaptersAddresses(AF_UNSPEC, flags, nullptr, adapters, &size);
        if (error == ERROR_SUCCESS)
            return adapters;
        free(adapters);
        fail_by(error);
        if (error != ERROR_BUFFER_OVERFLOW)
            return nullptr;
    }
    leave_fault(fault_code::busy);
    return nullptr;
}

uint32_t index_of(const IP_ADAPTER_ADDRESSES& adapter) {
    return adapter.IfIndex != 0 ? adapter.IfIndex : adapter.Ipv6IfIndex;
}

uint32_t flags_of(const IP_ADAPTER_ADDRESSES& adapter) {
    const bool is_loopback = adapter.IfType == IF_TYPE_SOFTWARE_LOOPBACK;
    const bool is_point_to_point = adapter.IfType == IF_TYPE_PPP || adapter.IfType == IF_TYPE_TUNNEL;
    const bool is_up = adapter.OperStatus == IfOperStatusUp;
    return (is_up ? def_ombrel_interface_up | def_ombrel_interface_running : 0u) |
           (adapter.OperStatus == IfOperStatusDormant ? def_ombrel_interface_dormant : 0u) |
           (is_loopback ? def_ombrel_interface_loopback : 0u) |
           (is_point_to_point ? def_ombrel_interface_point_to_point : 0u) |
           (!is_loopback && !is_point_to_point ? def_ombrel_interface_broadcast : 0u) |
           ((adapter.Flags & IP_ADAPTER_NO_MULTICAST) == 0 ? def_ombrel_interface_multicast : 0u);
}

void describe(const IP_ADAPTER_ADDRESSES& adapter, ombrel_network_interface_t& one) {
    constexpr ULONG no_limit = 0xFFFFFFFF;
    one = {};
    one.m_index = index_of(adapter);
    one.m_flags = flags_of(adapter);
    copy_name(adapter.FriendlyName, one.m_name, sizeof one.m_name);
    copy_name(adapter.Description, one.m_description, sizeof one.m_description);
    one.m_mtu = adapter.Mtu == no_limit ? 0 : adapter.Mtu;
    one.m_state = state_of(adapter.OperStatus);
    one.m_type = type_of(static_cast<IFTYPE>(adapter.IfType));
    one.m_host_type = adapter.IfType;
    one.m_hardware_size = static_cast<int>(adapter.PhysicalAddressLength);
    memcpy(one.m_hardware, adapter.PhysicalAddress, adapter.PhysicalAddressLength);
    one.m_speed = -1;
}

} // namespace

interface_list::interface_list() {
    IP_ADAPTER_ADDRESSES* const adapters = ask_for_adapters();
    if (adapters == nullptr)
        return;
    state_ = static_cast<state*>(malloc(sizeof(state)));
    if (state_ == nullptr)
        free(adapters);
    else
        state_->first = adapters;
    rewind();
}

interface_list::~interface_list() {
    if (state_ != nullptr)
        free(state_->first);
    free(state_);
}

void interface_list::rewind() {
    if (state_ == nullptr)
        return;
    state_->at = state_->home = state_->first;
    state_->address = state_->first->FirstUnicastAddress;
}

int interface_list::next(ombrel_network_interface_t& one, ombrel_interface_statistics_t& statistics,
                         bool& has_statistics) {
    if (state_->at == nullptr)
        return 0;
    describe(*state_->at, one);
    MIB_IF_ROW2 row;
    has_statistics = find_row(one.m_index, row);
    if (has_statistics) {
        add_row(row, one);
        statistics = statistics_of(row);
    }
    state_->at = state_->at->Next;
    return 1;
}

int interface_list::next_address(uint32_t& interface_index, ombrel_interface_address_t& address) {
    while (state_->home != nullptr && state_->address == nullptr) {
        state_->home = state_->home->Next;
        state_->address = state_->home != nullptr ? state_->home->FirstUnicastAddress : nullptr;
    }
    if (state_->address == nullptr)
        return 0;
    const IP_ADAPTER_UNICAST_ADDRESS& one = *state_->address;
    interface_index = index_of(*state_->home);
    describe_address(*one.Address.lpSockaddr,
                     {one.OnLinkPrefixLength, static_cast<NL_DAD_STATE>(one.DadState), one.ValidLifetime,
                      one.PreferredLifetime, one.PrefixOrigin != IpPrefixOriginDhcp},
                     address);
    if ((flags_of(*state_->home) & def_ombrel_interface_broadcast) != 0)
        add_broadcast(address);
    state_->address = one.Next;
    return 1;
}

// The row told it.
void interface_list::ask_for_speed(ombrel_network_interface_t&) {}

// By the name that users see, which is that of the list, or the system's own one, such as "ethernet_7".
uint32_t interface_index(const char* name) {
    const wide_text alias(name);
    NET_LUID luid;
    NET_IFINDEX index = 0;
    if (alias && ConvertInterfaceAliasToLuid(alias.get(), &luid) == NO_ERROR &&
        ConvertInterfaceLuidToIndex(&luid, &index) == NO_ERROR)
        return index;
    return if_nametoindex(name);
}

bool interface_name(uint32_t index, char* name, size_t size) {
    wchar_t alias[IF_MAX_STRING_SIZE + 1];
    NET_LUID luid;
    if (ConvertInterfaceIndexToLuid(index, &luid) != NO_ERROR ||
        ConvertInterfaceLuidToAlias(&luid, alias, IF_MAX_STRING_SIZE + 1) != NO_ERROR)
        return leave_fault(fault_code::not_found), false;
    const narrow_text narrow(alias);
    if (!narrow)
        return false;
    if (narrow.size() >= size)
        return leave_fault(fault_code::too_large), false;
    memcpy(name, narrow.get(), narrow.size() + 1);
    return true;
}

} // namespace ombrel::platform
