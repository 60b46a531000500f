#include "platform/pseudo_terminal.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <initializer_list>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include "platform/fault.h"
#include "platform/file.h"
#include "platform/terminal.h"

namespace ombrel::platform {

namespace {

void close_if_open(int& descriptor) {
    const fault_keeper kept;
    if (descriptor >= 0)
        close(descriptor);
    descriptor = -1;
}

// ptsname() has its text in memory that threads share.
bool tell_name(int master, char* name, size_t room) {
    const int error = ptsname_r(master, name, room);
    if (error > 0)
        errno = error;
    return error == 0;
}

bool open_sides(int& master, int& slave, char* name, size_t room) {
    master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0 || !tell_name(master, name, room))
        return false;
    slave = open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
    return slave >= 0 && set_size_of_terminal(slave, 80, 24);
}

pid_t foreground_of(const pseudo_terminal& terminal) {
    const pid_t group = tcgetpgrp(terminal.output);
    return group > 0 ? group : terminal.process;
}

/// A number that is void since the program was collected reaches nobody.
bool send(pid_t group, int signal_number) {
    return kill(-group, signal_number) == 0;
}

} // namespace

bool open_terminal_pair(int& master, int& slave, char* name, size_t name_room) {
    master = slave = -1;
    if (open_sides(master, slave, name, name_room))
        return true;
    close_if_open(slave);
    close_if_open(master);
    return false;
}

bool start_in_terminal(const terminal_start& start, pseudo_terminal& made) {
    char name[64];
    int slave;
    if (!open_terminal_pair(made.output, slave, name, sizeof name))
        return false;
    const int streams[] = {slave, slave, slave};
    process_plan plan;
    plan.arguments = start.arguments;
    plan.environment = start.environment;
    plan.directory = start.directory;
    plan.descriptors = streams;
    plan.descriptor_count = 3;
    plan.own_session = plan.takes_terminal = true;
    process_part failed;
    if (set_size_of_terminal(slave, start.columns, start.rows))
        made.process = start_process(plan, failed);
    close_if_open(slave);
    if (made.process < 0) {
        close_if_open(made.output);
        return false;
    }
    set_descriptor_blocking(made.output, false);
    made.input = made.output;
    return true;
}

int read_shown(const pseudo_terminal& terminal, void* buffer, size_t size) {
    const int bytes = read_descriptor(terminal.output, buffer, size);
    return bytes < 0 && errno == EIO ? 0 : bytes; // nobody has the other side any more
}

int write_typed(const pseudo_terminal& terminal, const void* data, size_t size) {
    pollfd state{terminal.input, POLLOUT, 0};
    if (poll(&state, 1, 0) > 0 && (state.revents & POLLHUP) != 0) {
        leave_fault(fault_code::closed);
        return -1;
    }
    return write_file(terminal.input, data, size);
}

bool resize(const pseudo_terminal& terminal, int columns, int rows) {
    return set_size_of_terminal(terminal.output, columns, rows);
}

bool get_size(const pseudo_terminal& terminal, int& columns, int& rows) {
    return size_of_terminal(terminal.output, columns, rows);
}

bool signal_foreground(const pseudo_terminal& terminal, int signal_number) {
    const pid_t group = foreground_of(terminal);
    return send(group, signal_number) || (group != terminal.process && send(terminal.process, signal_number));
}

// What is stopped cannot end before it goes on.
void announce_hang_up(const pseudo_terminal& terminal) {
    const fault_keeper kept;
    for (const int signal_number : {SIGHUP, SIGCONT}) {
        const pid_t group = foreground_of(terminal);
        send(group, signal_number);
        if (group != terminal.process)
            send(terminal.process, signal_number);
    }
}

void hang_up(pseudo_terminal& terminal) {
    close_if_open(terminal.output);
    terminal.input = -1;
}

} // namespace ombrel::platform
