// What the IP helper's rows say, in the records of the library.
#pragma once

#include "platform/windows/windows_host.h"

#include <iphlpapi.h>
#include <netioapi.h>

#include <ombrel/neighbour.h>
#include <ombrel/network_interface.h>
#include <ombrel/route.h>

namespace ombrel::platform {

/// An IPv4 or IPv6 address, its port and flow left out; none for another family.
ombrel_ip_address_t ip_address_of(const sockaddr& address);

/// What an address of an interface is beside its bits.
struct address_properties {
    int prefix_length;
    NL_DAD_STATE state;
    ULONG valid_s, preferred_s;
    bool is_by_hand;
};
void describe_address(const sockaddr& address, const address_properties& properties,
                      ombrel_interface_address_t& one);

/// The broadcast address of an IPv4 network.
void add_broadcast(ombrel_interface_address_t& one);

int state_of(IF_OPER_STATUS host);
int type_of(IFTYPE host);

/// A name in UTF-8, cut between two characters where it does not fit.
void copy_name(const wchar_t* text, char* name, size_t size);

/// A row by its index; false when there is none.
bool find_row(uint32_t index, MIB_IF_ROW2& row);
/// What GetAdaptersAddresses() does not say.
void add_row(const MIB_IF_ROW2& row, ombrel_network_interface_t& one);
/// The whole of an interface.
void describe_row(const MIB_IF_ROW2& row, ombrel_network_interface_t& one);
ombrel_interface_statistics_t statistics_of(const MIB_IF_ROW2& row);

ombrel_route_t route_of(const MIB_IPFORWARD_ROW2& row);
ombrel_neighbour_t neighbour_of(const MIB_IPNET_ROW2& row);

} // namespace ombrel::platform
