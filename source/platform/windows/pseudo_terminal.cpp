// The pseudo-consoles of Windows 10, looked up where the host has them.
#include "platform/pseudo_terminal.h"

#include <csignal>
#include <cstdlib>
#include <initializer_list>

#include "platform/fault.h"
#include "platform/file.h"
#include "platform/terminal.h"
#include "platform/windows/descriptor.h"
#include "platform/windows/host_error.h"

namespace ombrel::platform {

namespace {

using create_call = HRESULT(WINAPI*)(COORD, HANDLE, HANDLE, DWORD, void**);
using resize_call = HRESULT(WINAPI*)(void*, COORD);
using close_call = void(WINAPI*)(void*);

struct console_calls {
    create_call create;
    resize_call resize;
    close_call close;
};

template<typename Call>
Call find_call(const char* name) {
    HMODULE const module = GetModuleHandleW(L"kernel32.dll");
    FARPROC const found = module != nullptr ? GetProcAddress(module, name) : nullptr;
    return reinterpret_cast<Call>(reinterpret_cast<void*>(found));
}

bool find_calls(console_calls& calls) {
    calls = {find_call<create_call>("CreatePseudoConsole"), find_call<resize_call>("ResizePseudoConsole"),
             find_call<close_call>("ClosePseudoConsole")};
    if (calls.create != nullptr && calls.resize != nullptr && calls.close != nullptr)
        return true;
    leave_fault(fault_code::not_supported);
    return false;
}

COORD coordinates(int columns, int rows) {
    return {static_cast<SHORT>(columns), static_cast<SHORT>(rows)};
}

/// A console with its size, which nobody can be asked for.
struct played_console {
    void* handle;
    int columns, rows;
};

void close_if_open(int& descriptor) {
    if (descriptor >= 0)
        close_descriptor(descriptor);
    descriptor = -1;
}

/// Both pipes of a console, whose own ends it has copied once it is there.
struct console_pipes {
    int typed[2] = {-1, -1}, shown[2] = {-1, -1};

    ~console_pipes() {
        const fault_keeper kept;
        for (int* end : {&typed[0], &typed[1], &shown[0], &shown[1]})
            close_if_open(*end);
    }
    bool open() { return open_pipe(typed, pipe_side::read) && open_pipe(shown, pipe_side::write); }
};

bool make_console(const console_calls& calls, const terminal_start& start, console_pipes& pipes,
                  played_console& made) {
    if (!pipes.open())
        return false;
    const HRESULT result = calls.create(coordinates(start.columns, start.rows), handle_of(pipes.typed[0]),
                                        handle_of(pipes.shown[1]), 0, &made.handle);
    made.columns = start.columns;
    made.rows = start.rows;
    if (SUCCEEDED(result))
        return true;
    if (result == E_NOTIMPL)
        leave_fault(fault_code::not_supported);
    else
        fail_by(static_cast<uint32_t>(HRESULT_CODE(result)));
    return false;
}

int start_in_console(const terminal_start& start, void* console) {
    process_plan plan;
    plan.arguments = start.arguments;
    plan.environment = start.environment;
    plan.directory = start.directory;
    plan.console = console;
    process_part failed;
    return start_process(plan, failed);
}

played_console& console_of(const pseudo_terminal& terminal) {
    return *static_cast<played_console*>(terminal.console);
}

/// Keys that make a signal.
bool type_key(const pseudo_terminal& terminal, char key) {
    return write_typed(terminal, &key, 1) == 1;
}

} // namespace

bool open_terminal_pair(int& master, int& slave, char*, size_t) {
    master = slave = -1;
    leave_fault(fault_code::not_supported);
    return false;
}

bool start_in_terminal(const terminal_start& start, pseudo_terminal& made) {
    console_calls calls;
    console_pipes pipes;
    played_console console;
    if (!find_calls(calls) || !make_console(calls, start, pipes, console))
        return false;
    auto* const kept_console = static_cast<played_console*>(malloc(sizeof console));
    made.process = kept_console != nullptr ? start_in_console(start, console.handle) : -1;
    if (made.process < 0) {
        const fault_keeper kept;
        calls.close(console.handle);
        free(kept_console);
        return false;
    }
    *kept_console = console;
    made.console = kept_console;
    made.input = pipes.typed[1];
    made.output = pipes.shown[0];
    pipes.typed[1] = pipes.shown[0] = -1;
    set_descriptor_blocking(made.input, false);
    set_descriptor_blocking(made.output, false);
    return true;
}

int read_shown(const pseudo_terminal& terminal, void* buffer, size_t size) {
    return read_at_once(terminal.output, buffer, size);
}

int write_typed(const pseudo_terminal& terminal, const void* data, size_t size) {
    return write_at_once(terminal.input, data, size);
}

bool resize(const pseudo_terminal& terminal, int columns, int rows) {
    console_calls calls;
    played_console& console = console_of(terminal);
    if (!find_calls(calls))
        return false;
    if (FAILED(calls.resize(console.handle, coordinates(columns, rows)))) {
        leave_fault(fault_code::not_supported);
        return false;
    }
    console.columns = columns;
    console.rows = rows;
    return true;
}

bool get_size(const pseudo_terminal& terminal, int& columns, int& rows) {
    columns = console_of(terminal).columns;
    rows = console_of(terminal).rows;
    return true;
}

bool signal_foreground(const pseudo_terminal& terminal, int signal_number) {
    constexpr char interrupt_key = 3;
    if (signal_number == SIGINT)
        return type_key(terminal, interrupt_key);
    if (signal_number == kill_signal || signal_number == terminate_signal)
        return signal_group(terminal.process, kill_signal);
    if (signal_number == 0)
        return true;
    leave_fault(fault_code::not_supported);
    return false;
}

// The system tells the programs of a console only by closing it, after which it shows nothing more.
void announce_hang_up(const pseudo_terminal& terminal) {
    const fault_keeper kept;
    signal_foreground(terminal, SIGINT);
}

// Closing waits until everything is shown, which nobody reads any more once the pipe is closed.
void hang_up(pseudo_terminal& terminal) {
    const fault_keeper kept;
    console_calls calls;
    close_if_open(terminal.output);
    close_if_open(terminal.input);
    if (terminal.console != nullptr && find_calls(calls))
        calls.close(console_of(terminal).handle);
    free(terminal.console);
    terminal.console = nullptr;
}

} // namespace ombrel::platform
