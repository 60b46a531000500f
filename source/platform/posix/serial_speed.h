// Speeds that have no constant of their own.
#pragma once

#include <cstdint>

namespace ombrel::platform {

/// Sets any speed; false with its fault, `not_supported` where the host knows its constants only.
bool set_exact_speed(int descriptor, uint32_t speed);

/// The speed in bits in a second; false where the host does not tell.
bool get_exact_speed(int descriptor, uint32_t& speed);

/// Whether the last bit has left the port, as far as the host tells.
bool has_sent_all(int descriptor);

/// Whether somebody has the port alone.
bool is_taken_alone(int descriptor);

} // namespace ombrel::platform
