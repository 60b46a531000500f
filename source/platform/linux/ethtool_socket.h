// What drivers of network cards answer.
#pragma once

#include <cstddef>
#include <cstdint>

#include <linux/ethtool.h>

namespace ombrel::platform {

/// A socket by which drivers are asked, opened when it is first needed.
class ethtool_socket {
public:
    ethtool_socket() = default;
    ~ethtool_socket();
    ethtool_socket(const ethtool_socket&) = delete;
    ethtool_socket& operator=(const ethtool_socket&) = delete;

    /// Has a driver carry out a command; false, with the fault left.
    bool ask(const char* name, void* command);
    /// The settings of a link; false when they are not told.
    bool ask_for_settings(const char* name, ethtool_link_settings& settings);
    /// Bits a second and def_ombrel_duplex_*, left alone when they are not told.
    void ask_for_speed(const char* name, int64_t& speed, int& duplex);

private:
    int s_ = -1;
};

int64_t speed_of(const ethtool_link_settings& settings);
int duplex_of(const ethtool_link_settings& settings);

} // namespace ombrel::platform
