#include "platform/network_interface.h"

#include "platform/windows/windows_host.h"

#include <cstdlib>
#include <cstring>

#include <iphlpapi.h>
#include <netioapi.h>

#include "platform/windows/wide_text.h"

namespace ombrel::platform {

namespace {

/// What the system says of its adapters, or null.
IP_ADAPTER_ADDRESSES* ask_for_adapters() {
    constexpr ULONG flags = GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST | GAA_FLAG_SKIP_DNS_SERVER;
    constexpr int most_tries = 4; // adapters may come between two calls
    ULONG size = 16384;
    for (int tries = 0; tries < most_tries; tries++) {
        auto* const adapters = static_cast<IP_ADAPTER_ADDRESSES*>(malloc(size));
        if (adapters == nullptr)
            return nullptr;
        const ULONG error = GetAdaptersAddresses(AF_UNSPEC, flags, nullptr, adapters, &size);
        if (error == ERROR_SUCCESS)
            return adapters;
        free(adapters);
        if (error != ERROR_BUFFER_OVERFLOW)
            return nullptr;
    }
    return nullptr;
}

size_t entries_of(const IP_ADAPTER_ADDRESSES& adapter) {
    size_t count = 0;
    for (const auto* address = adapter.FirstUnicastAddress; address != nullptr; address = address->Next)
        count++;
    return count != 0 ? count : 1;
}

/// Entries and their names in one block, which ends with an entry without a name; beside it lie the
/// addresses.
struct listing {
    IP_ADAPTER_ADDRESSES* adapters;
    interface_entry entries[1];
};

/// The most bytes that an adapter's name becomes, with its end.
size_t name_room(const IP_ADAPTER_ADDRESSES& adapter) {
    return wcslen(adapter.FriendlyName) * 3 + 1;
}

listing* make_listing(IP_ADAPTER_ADDRESSES* adapters, char*& names) {
    size_t entries = 0, text = 0;
    for (const IP_ADAPTER_ADDRESSES* one = adapters; one != nullptr; one = one->Next) {
        entries += entries_of(*one);
        text += name_room(*one);
    }
    const size_t records = sizeof(listing) + entries * sizeof(interface_entry);
    auto* const made = static_cast<listing*>(malloc(records + text));
    if (made != nullptr) {
        made->adapters = adapters;
        names = reinterpret_cast<char*>(made) + records;
    }
    return made;
}

interface_entry describe(const IP_ADAPTER_ADDRESSES& adapter, const char* name) {
    const bool is_loopback = adapter.IfType == IF_TYPE_SOFTWARE_LOOPBACK;
    const bool is_point_to_point = adapter.IfType == IF_TYPE_PPP || adapter.IfType == IF_TYPE_TUNNEL;
    return {
        .name = name,
        .index = adapter.IfIndex != 0 ? adapter.IfIndex : adapter.Ipv6IfIndex,
        .up = adapter.OperStatus == IfOperStatusUp,
        .loopback = is_loopback,
        .broadcast = !is_loopback && !is_point_to_point,
        .point_to_point = is_point_to_point,
        .multicast = (adapter.Flags & IP_ADAPTER_NO_MULTICAST) == 0,
        .all_multicast = false,
        .address = nullptr,
    };
}

/// One entry for each address, or one without; returns what stands behind them.
interface_entry* fill(interface_entry* entry, const IP_ADAPTER_ADDRESSES& adapter, const char* name) {
    *entry = describe(adapter, name);
    const auto* address = adapter.FirstUnicastAddress;
    if (address == nullptr)
        return entry + 1;
    for (; address != nullptr; address = address->Next, entry++) {
        *entry = describe(adapter, name);
        entry->address = address->Address.lpSockaddr;
    }
    return entry;
}

listing* list_adapters(IP_ADAPTER_ADDRESSES* adapters) {
    char* names = nullptr;
    listing* const made = make_listing(adapters, names);
    if (made == nullptr)
        return nullptr;
    interface_entry* entry = made->entries;
    for (const IP_ADAPTER_ADDRESSES* one = adapters; one != nullptr; one = one->Next) {
        const narrow_text name(one->FriendlyName);
        if (!name)
            continue;
        memcpy(names, name.get(), name.size() + 1);
        entry = fill(entry, *one, names);
        names += name.size() + 1;
    }
    *entry = {};
    return made;
}

} // namespace

interface_list::interface_list() {
    IP_ADAPTER_ADDRESSES* const adapters = ask_for_adapters();
    listing* const made = adapters != nullptr ? list_adapters(adapters) : nullptr;
    if (made == nullptr) {
        free(adapters);
        return;
    }
    opened_ = true;
    first_ = position_ = made->entries;
}

interface_list::~interface_list() {
    if (!opened_)
        return;
    auto* const made = reinterpret_cast<listing*>(static_cast<char*>(first_) - offsetof(listing, entries));
    free(made->adapters);
    free(made);
}

bool interface_list::next(interface_entry& entry) {
    const auto* const current = static_cast<const interface_entry*>(position_);
    if (current == nullptr || current->name == nullptr)
        return false;
    entry = *current;
    position_ = const_cast<interface_entry*>(current + 1);
    return true;
}

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

} // namespace ombrel::platform
