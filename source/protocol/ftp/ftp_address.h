// The addresses of data connections, which are those of the two ends of the control connection.
#pragma once

#include <cstddef>

#include "network/endpoint.h"

namespace ombrel::protocol {

/// Room for the argument of EPRT or PORT.
inline constexpr size_t ftp_address_room = 96;

/// An IPv4 address that is written as an IPv6 one ("::ffff:192.0.2.1") as itself; others as they are.
endpoint plain_ftp_address(const endpoint& address);

/// "|2|2001:db8::1|6446|", for EPRT.
void write_ftp_extended_address(const endpoint& address, int port, char (&text)[ftp_address_room]);

/// "192,0,2,1,25,46", for PORT. False for an address that is not of IPv4.
bool write_ftp_address(const endpoint& address, int port, char (&text)[ftp_address_room]);

/// Whether four bytes are the address, which may be an IPv4 one written as IPv6.
bool is_ftp_address(const endpoint& address, const uint8_t* bytes);

} // namespace ombrel::protocol
