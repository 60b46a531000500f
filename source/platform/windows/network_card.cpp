#include "platform/network_card.h"

#include <algorithm>
#include <cstring>

#include "platform/fault.h"
#include "platform/windows/network_row.h"

namespace ombrel::platform {

namespace {

int link_of(const MIB_IF_ROW2& row) {
    switch (row.MediaConnectState) {
    case MediaConnectStateConnected:
        return 1;
    case MediaConnectStateDisconnected:
        return 0;
    default:
        return -1;
    }
}

} // namespace

bool describe_card(ombrel_nic_t& nic) {
    MIB_IF_ROW2 row;
    if (!find_row(nic.m_index, row))
        return leave_fault(fault_code::not_found), false;
    ombrel_network_interface_t one;
    describe_row(row, one);
    nic.m_link = link_of(row);
    nic.m_speed = one.m_speed;
    nic.m_hardware_size = one.m_hardware_size;
    memcpy(nic.m_hardware, one.m_hardware, sizeof nic.m_hardware);
    const size_t size = std::min<size_t>(row.PhysicalAddressLength, sizeof nic.m_permanent);
    const UCHAR* const permanent = row.PermanentPhysicalAddress;
    if (std::any_of(permanent, permanent + size, [](UCHAR byte) { return byte != 0; })) {
        memcpy(nic.m_permanent, permanent, size);
        nic.m_permanent_size = static_cast<int>(size);
    }
    copy_name(row.Description, nic.m_driver, sizeof nic.m_driver);
    return true;
}

} // namespace ombrel::platform
