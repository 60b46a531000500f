// Serial ports.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ombrel::platform {

enum class serial_parity : uint8_t { none, odd, even, mark, space };
enum class serial_flow : uint8_t { none, hardware, software };

struct serial_mode {
    uint32_t speed; ///< bits in a second
    uint8_t data_bits, stop_bits;
    serial_parity parity;
    serial_flow flow;
};

/// A port, given back as it was found when it is closed.
struct serial_port;

/// Null with its fault.
serial_port* open_serial_port(const char* name, const serial_mode& mode, bool shared);
void close_serial_port(serial_port* port);

/// False, with its fault and the mode as it was, for one that the port cannot have.
bool set_serial_mode(serial_port& port, const serial_mode& mode);
bool get_serial_mode(serial_port& port, serial_mode& mode);

/// Bytes, at least 1; 0 when the other side is gone; -1 with its fault, `timed_out` too.
int read_serial(serial_port& port, void* buffer, size_t size, int timeout_milliseconds);
/// Bytes, at least 1, or -1 with its fault, `timed_out` too.
int write_serial(serial_port& port, const void* data, size_t size, int timeout_milliseconds);

struct serial_waiting {
    size_t input, output;
};
bool get_serial_waiting(serial_port& port, serial_waiting& waiting);
/// Whether bytes that the port has taken over may still be on their way, as far as the host tells.
bool is_sending(serial_port& port);
bool discard_serial(serial_port& port, bool input, bool output);

inline constexpr uint32_t line_dtr = 1, line_rts = 2, line_cts = 4, line_dsr = 8, line_dcd = 16, line_ri = 32;
bool get_serial_lines(serial_port& port, uint32_t& lines);
/// Of those in `which` the ones that are in `on` go on, the others off: dtr and rts only.
bool set_serial_lines(serial_port& port, uint32_t which, uint32_t on);
bool set_serial_break(serial_port& port, bool on);

/// -1, with its fault, where there is none that can be waited for.
int serial_descriptor(const serial_port& port);

/// What is known of a port; texts are empty where nothing is, numbers -1.
struct serial_description {
    char name[128];
    char text[256];
    char driver[64];
    char serial[128];
    int vendor, product;
};

/// A walk over the ports of the host, in no order.
struct serial_walk;
/// Null with its fault.
serial_walk* open_serial_walk();
void close_serial_walk(serial_walk* walk);
/// 1 for a port, 0 at the end, -1 with its fault.
int next_serial_port(serial_walk& walk, serial_description& port);

} // namespace ombrel::platform
