#include <ombrel/nic.h>

#include <cstring>

#include "core/fault.h"
#include "platform/network_card.h"
#include "platform/network_interface.h"

using namespace ombrel;

namespace {

bool fill(const char* name, ombrel_nic_t& nic) {
    const size_t length = strnlen(name, sizeof nic.m_name);
    nic.m_index = length < sizeof nic.m_name ? platform::interface_index(name) : 0;
    if (nic.m_index == 0)
        return leave_fault(fault_code::not_found), false;
    memcpy(nic.m_name, name, length);
    nic.m_link = nic.m_negotiates = -1;
    nic.m_speed = -1;
    return platform::describe_card(nic);
}

} // namespace

int ombrel_get_nic(const char* name, ombrel_nic_t* nic) {
    if (nic != nullptr)
        *nic = {};
    if (name == nullptr || nic == nullptr)
        return leave_fault(fault_code::invalid), -1;
    if (fill(name, *nic))
        return 0;
    *nic = {};
    return -1;
}
