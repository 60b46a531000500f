#include "platform/linux/ethtool_socket.h"

#include <cstring>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <linux/if.h>
#include <linux/sockios.h>

#include <ombrel/network_interface.h>

#include "platform/fault.h"

namespace ombrel::platform {

namespace {

/// The settings, and behind them the sets of modes, whose sizes the kernel tells when it is first asked.
union settings_room {
    ethtool_link_settings settings;
    uint32_t words[sizeof(ethtool_link_settings) / 4 + 3 * 127];
};

} // namespace

ethtool_socket::~ethtool_socket() {
    const fault_keeper kept;
    if (s_ >= 0)
        close(s_);
}

bool ethtool_socket::ask(const char* name, void* command) {
    if (s_ < 0)
        s_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request{};
    const size_t length = strlen(name);
    if (s_ < 0 || length >= sizeof request.ifr_name)
        return s_ >= 0 ? (leave_fault(fault_code::not_found), false) : false;
    memcpy(request.ifr_name, name, length);
    request.ifr_data = static_cast<char*>(command);
    return ioctl(s_, SIOCETHTOOL, &request) == 0;
}

bool ethtool_socket::ask_for_settings(const char* name, ethtool_link_settings& settings) {
    settings_room room{};
    room.settings.cmd = ETHTOOL_GLINKSETTINGS;
    // The first answer is minus the number of words that the kernel wants for each set.
    if (!ask(name, &room) || room.settings.link_mode_masks_nwords >= 0)
        return false;
    const auto words = static_cast<int8_t>(-room.settings.link_mode_masks_nwords);
    room = {};
    room.settings.cmd = ETHTOOL_GLINKSETTINGS;
    room.settings.link_mode_masks_nwords = words;
    if (!ask(name, &room))
        return false;
    memcpy(static_cast<void*>(&settings), &room, sizeof settings);
    return true;
}

void ethtool_socket::ask_for_speed(const char* name, int64_t& speed, int& duplex) {
    ethtool_link_settings settings;
    const fault_keeper kept;
    if (!ask_for_settings(name, settings))
        return;
    speed = speed_of(settings);
    duplex = duplex_of(settings);
}

int64_t speed_of(const ethtool_link_settings& settings) {
    constexpr int64_t mega = 1000000;
    const bool is_known = settings.speed != 0 && settings.speed <= INT32_MAX;
    return is_known ? settings.speed * mega : -1;
}

int duplex_of(const ethtool_link_settings& settings) {
    return settings.duplex == DUPLEX_FULL   ? def_ombrel_duplex_full
           : settings.duplex == DUPLEX_HALF ? def_ombrel_duplex_half
                                            : def_ombrel_duplex_unknown;
}

} // namespace ombrel::platform
