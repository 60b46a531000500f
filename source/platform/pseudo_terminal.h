// Terminals that this process plays: pairs, and programs in them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/process.h"

namespace ombrel::platform {

/// Opens a pair of 80 by 24 characters and tells the name of the terminal; false with its fault.
bool open_terminal_pair(int& master, int& slave, char* name, size_t name_room);

/// A program in a terminal.
struct pseudo_terminal {
    int process = -1;
    int output = -1;         ///< what the program shows; polls readable, also when it has ended
    int input = -1;          ///< what is typed; may be the same as the output
    void* console = nullptr; ///< the host's own
};

struct terminal_start {
    const char* const* arguments;
    const char* const* environment; ///< null: that of this process
    const char* directory;          ///< null: that of this process
    int columns, rows;
};

/// Starts a program with a terminal of its own; false with its fault.
bool start_in_terminal(const terminal_start& start, pseudo_terminal& made);

/// Bytes that the program shows, without a wait; 0 at the end, -1 with its fault.
int read_shown(const pseudo_terminal& terminal, void* buffer, size_t size);

/// Bytes that the program is typed, without a wait, or -1 with its fault.
int write_typed(const pseudo_terminal& terminal, const void* data, size_t size);

bool resize(const pseudo_terminal& terminal, int columns, int rows);
bool get_size(const pseudo_terminal& terminal, int& columns, int& rows);

/// Sends a signal to those who are in the terminal's foreground, or else to the program's own group; false
/// with its fault.
bool signal_foreground(const pseudo_terminal& terminal, int signal_number);

/// Tells the program that its terminal goes; it is still read and written.
void announce_hang_up(const pseudo_terminal& terminal);

/// Takes the terminal away, of which its programs are told. The program itself is still to be collected.
void hang_up(pseudo_terminal& terminal);

} // namespace ombrel::platform
