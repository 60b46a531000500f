// Events of a server as lines of a log.
#pragma once

#include <cstddef>

#include <ombrel/ftp_server.h>

namespace ombrel::protocol {

inline constexpr size_t event_line_room = 2048;

/// A line without an end, in which what a terminal would obey stands as "\x1B". What does not fit is cut off.
void put_event_line(char (&text)[event_line_room], const ombrel_ftp_server_event_t& event);

} // namespace ombrel::protocol
