#include "platform/network_card.h"

#include <algorithm>
#include <cstring>

#include "platform/fault.h"
#include "platform/linux/ethtool_socket.h"

namespace ombrel::platform {

namespace {

/// Texts of drivers need not be ended.
template<size_t room, size_t size>
void keep_text(char (&target)[room], const char (&text)[size]) {
    static_assert(size < room);
    memcpy(target, text, strnlen(text, size));
}

int port_of(const ethtool_link_settings& settings) {
    switch (settings.port) {
    case PORT_TP:
        return def_ombrel_nic_port_twisted_pair;
    case PORT_FIBRE:
        return def_ombrel_nic_port_fibre;
    case PORT_DA:
        return def_ombrel_nic_port_direct;
    case PORT_NONE:
        return def_ombrel_nic_port_backplane;
    case PORT_OTHER:
        return def_ombrel_nic_port_unknown;
    default:
        return def_ombrel_nic_port_other;
    }
}

void read_settings(ethtool_socket& cards, ombrel_nic_t& nic) {
    ethtool_link_settings settings;
    if (!cards.ask_for_settings(nic.m_name, settings))
        return;
    // What a link that does not work was set to is not what it does.
    if (nic.m_link != 0) {
        nic.m_speed = speed_of(settings);
        nic.m_duplex = duplex_of(settings);
    }
    nic.m_negotiates = settings.autoneg == AUTONEG_ENABLE ? 1 : 0;
    nic.m_port = port_of(settings);
}

void read_link(ethtool_socket& cards, ombrel_nic_t& nic) {
    ethtool_value link{};
    link.cmd = ETHTOOL_GLINK;
    if (cards.ask(nic.m_name, &link))
        nic.m_link = link.data != 0 ? 1 : 0;
}

void read_driver(ethtool_socket& cards, ombrel_nic_t& nic) {
    ethtool_drvinfo driver{};
    driver.cmd = ETHTOOL_GDRVINFO;
    if (!cards.ask(nic.m_name, &driver))
        return;
    keep_text(nic.m_driver, driver.driver);
    keep_text(nic.m_driver_version, driver.version);
    keep_text(nic.m_firmware, driver.fw_version);
    keep_text(nic.m_bus, driver.bus_info);
}

void read_permanent_address(ethtool_socket& cards, ombrel_nic_t& nic) {
    union {
        ethtool_perm_addr answer;
        uint8_t bytes[sizeof(ethtool_perm_addr) + sizeof nic.m_permanent];
    } room{};
    room.answer.cmd = ETHTOOL_GPERMADDR;
    room.answer.size = sizeof nic.m_permanent;
    if (!cards.ask(nic.m_name, &room))
        return;
    const uint8_t* const address = room.bytes + sizeof(ethtool_perm_addr);
    const size_t size = std::min<size_t>(room.answer.size, sizeof nic.m_permanent);
    // Nothing but zeroes is how drivers say that there is none.
    if (std::all_of(address, address + size, [](uint8_t byte) { return byte == 0; }))
        return;
    memcpy(nic.m_permanent, address, size);
    nic.m_permanent_size = static_cast<int>(size);
}

} // namespace

bool describe_card(ombrel_nic_t& nic) {
    const fault_keeper kept;
    ethtool_socket cards;
    read_link(cards, nic);
    read_settings(cards, nic);
    read_driver(cards, nic);
    read_permanent_address(cards, nic);
    return true;
}

} // namespace ombrel::platform
