// Frames of the link layer.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ombrel::platform {

inline constexpr size_t link_address_size = 6;

/// Sends one frame by an interface, whose own address it comes from. False, with the fault left, when that
/// fails: access_denied without the right to, not_supported where the host has no such sockets.
bool send_frame(uint32_t interface_index, const uint8_t* to, uint16_t ether_type, const void* data,
                size_t size);

} // namespace ombrel::platform
