#include "platform/serial.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "platform/clock.h"
#include "platform/fault.h"
#include "platform/windows/host_error.h"
#include "platform/windows/wide_text.h"
#include "platform/windows/windows_host.h"

namespace ombrel::platform {

struct serial_port {
    HANDLE handle;
    HANDLE read_done, write_done; ///< events of the two transfers that may be under way
    DCB found;
    COMMTIMEOUTS found_limits;
    uint32_t own_lines; ///< which of DTR and RTS are on, as the host does not tell
};

namespace {

struct parity_code {
    serial_parity parity;
    BYTE code;
};
constexpr parity_code parities[] = {{serial_parity::none, NOPARITY},
                                    {serial_parity::odd, ODDPARITY},
                                    {serial_parity::even, EVENPARITY},
                                    {serial_parity::mark, MARKPARITY},
                                    {serial_parity::space, SPACEPARITY}};

bool not_supported() {
    leave_fault({fault_code::not_supported, ENOTSUP});
    return false;
}

bool fail() {
    fail_by_last_error();
    return false;
}

/// For settings that the driver refuses, and requests that it does not know.
bool refused() {
    const DWORD error = GetLastError();
    return error == ERROR_INVALID_PARAMETER || error == ERROR_INVALID_FUNCTION || error == ERROR_NOT_SUPPORTED
               ? not_supported()
               : fail();
}

void put_flow(DCB& settings, serial_flow flow) {
    const bool is_hardware = flow == serial_flow::hardware, is_software = flow == serial_flow::software;
    settings.fOutxCtsFlow = is_hardware;
    settings.fRtsControl = is_hardware ? RTS_CONTROL_HANDSHAKE : RTS_CONTROL_ENABLE;
    settings.fDtrControl = DTR_CONTROL_ENABLE;
    settings.fOutX = settings.fInX = is_software;
    settings.XonChar = 17;
    settings.XoffChar = 19;
    settings.fOutxDsrFlow = settings.fDsrSensitivity = FALSE;
}

DCB with_mode(DCB settings, const serial_mode& mode) {
    settings.DCBlength = sizeof settings;
    settings.BaudRate = mode.speed;
    settings.ByteSize = mode.data_bits;
    settings.StopBits = mode.stop_bits == 1 ? ONESTOPBIT : mode.data_bits == 5 ? ONE5STOPBITS : TWOSTOPBITS;
    for (const parity_code& one : parities)
        if (one.parity == mode.parity)
            settings.Parity = one.code;
    settings.fBinary = TRUE;
    settings.fParity = mode.parity != serial_parity::none;
    settings.fErrorChar = settings.fParity; // a byte with a wrong parity comes as 0
    settings.ErrorChar = 0;
    settings.fNull = settings.fAbortOnError = FALSE;
    put_flow(settings, mode.flow);
    return settings;
}

/// Names such as "COM10" are found in a folder of devices only.
HANDLE open_handle(const char* name) {
    const wide_text wide(name);
    wchar_t path[256] = L"\\\\.\\";
    constexpr size_t prefix = 4;
    if (!wide)
        return INVALID_HANDLE_VALUE;
    const bool is_path = wcspbrk(wide.get(), L"\\/") != nullptr;
    if (!is_path && wide.size() + prefix < sizeof path / sizeof *path)
        wmemcpy(path + prefix, wide.get(), wide.size() + 1);
    HANDLE const handle = CreateFileW(is_path ? wide.get() : path, GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                      OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr);
    if (handle != INVALID_HANDLE_VALUE)
        return handle;
    if (GetLastError() == ERROR_ACCESS_DENIED) // another has it, as ports have no owners here
        leave_fault(fault_code::busy);
    else
        fail_by_last_error();
    return INVALID_HANDLE_VALUE;
}

/// Reads end with the first bytes, writes when all is taken over; both are given up by their caller's limit.
bool set_limits(serial_port& port) {
    COMMTIMEOUTS limits{};
    limits.ReadIntervalTimeout = limits.ReadTotalTimeoutMultiplier = MAXDWORD;
    limits.ReadTotalTimeoutConstant = MAXDWORD - 1;
    return SetCommTimeouts(port.handle, &limits) != 0 || fail();
}

bool find_mode(serial_port& port) {
    port.found.DCBlength = sizeof port.found;
    if (GetFileType(port.handle) != FILE_TYPE_CHAR || GetCommState(port.handle, &port.found) == 0)
        return not_supported();
    return GetCommTimeouts(port.handle, &port.found_limits) != 0 || fail();
}

void close_event(HANDLE event) {
    if (event != nullptr)
        CloseHandle(event);
}

void free_port(serial_port* port) {
    const fault_keeper kept;
    close_event(port->read_done);
    close_event(port->write_done);
    if (port->handle != INVALID_HANDLE_VALUE)
        CloseHandle(port->handle);
    free(port);
}

bool prepare(serial_port& port, const char* name) {
    port.handle = open_handle(name);
    if (port.handle == INVALID_HANDLE_VALUE)
        return false;
    port.read_done = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    port.write_done = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    return port.read_done != nullptr && port.write_done != nullptr ? true : fail();
}

/// Results are ints, so one call moves no more than an int can count.
DWORD countable(size_t size) {
    return static_cast<DWORD>(std::min<size_t>(size, INT_MAX));
}

/// Ends a transfer that was begun, at the limit by giving it up. What was moved until then counts.
int finish_transfer(serial_port& port, OVERLAPPED& transfer, bool is_begun, int timeout_milliseconds) {
    DWORD moved = 0;
    if (!is_begun && GetLastError() != ERROR_IO_PENDING)
        return fail_transfer();
    const DWORD limit = timeout_milliseconds < 0 ? INFINITE : static_cast<DWORD>(timeout_milliseconds);
    const bool is_late = WaitForSingleObject(transfer.hEvent, limit) == WAIT_TIMEOUT;
    if (is_late)
        CancelIoEx(port.handle, &transfer);
    const bool is_good = GetOverlappedResult(port.handle, &transfer, &moved, TRUE) != 0;
    if (moved > 0)
        return static_cast<int>(moved);
    if (!is_good && GetLastError() != ERROR_OPERATION_ABORTED)
        return fail_transfer();
    leave_fault(fault_code::timed_out);
    return -1;
}

} // namespace

serial_port* open_serial_port(const char* name, const serial_mode& mode, bool) {
    auto* port = static_cast<serial_port*>(calloc(1, sizeof(serial_port)));
    if (port == nullptr)
        return nullptr;
    port->own_lines = line_dtr | line_rts;
    if (prepare(*port, name) && find_mode(*port) && set_serial_mode(*port, mode) && set_limits(*port))
        return port;
    free_port(port);
    return nullptr;
}

void close_serial_port(serial_port* port) {
    PurgeComm(port->handle, PURGE_TXABORT | PURGE_TXCLEAR);
    SetCommTimeouts(port->handle, &port->found_limits);
    SetCommState(port->handle, &port->found);
    free_port(port);
}

bool set_serial_mode(serial_port& port, const serial_mode& mode) {
    DCB settings = with_mode(port.found, mode);
    return SetCommState(port.handle, &settings) != 0 || refused();
}

bool get_serial_mode(serial_port& port, serial_mode& mode) {
    DCB settings{};
    settings.DCBlength = sizeof settings;
    if (GetCommState(port.handle, &settings) == 0)
        return fail();
    mode = {settings.BaudRate, settings.ByteSize,
            static_cast<uint8_t>(settings.StopBits == ONESTOPBIT ? 1 : 2), serial_parity::none,
            serial_flow::none};
    for (const parity_code& one : parities)
        if (one.code == settings.Parity)
            mode.parity = one.parity;
    if (settings.fOutxCtsFlow)
        mode.flow = serial_flow::hardware;
    else if (settings.fOutX)
        mode.flow = serial_flow::software;
    return true;
}

int read_serial(serial_port& port, void* buffer, size_t size, int timeout_milliseconds) {
    OVERLAPPED transfer{};
    transfer.hEvent = port.read_done;
    const bool is_begun = ReadFile(port.handle, buffer, countable(size), nullptr, &transfer) != 0;
    return finish_transfer(port, transfer, is_begun, timeout_milliseconds);
}

int write_serial(serial_port& port, const void* data, size_t size, int timeout_milliseconds) {
    OVERLAPPED transfer{};
    transfer.hEvent = port.write_done;
    const bool is_begun = WriteFile(port.handle, data, countable(size), nullptr, &transfer) != 0;
    return finish_transfer(port, transfer, is_begun, timeout_milliseconds);
}

bool get_serial_waiting(serial_port& port, serial_waiting& waiting) {
    DWORD errors;
    COMSTAT state;
    if (ClearCommError(port.handle, &errors, &state) == 0)
        return fail();
    waiting = {state.cbInQue, state.cbOutQue};
    return true;
}

bool is_sending(serial_port&) {
    return false;
}

bool discard_serial(serial_port& port, bool input, bool output) {
    const DWORD what =
        (input ? DWORD{PURGE_RXCLEAR} : 0u) | (output ? DWORD{PURGE_TXABORT | PURGE_TXCLEAR} : 0u);
    return PurgeComm(port.handle, what) != 0 || fail();
}

bool get_serial_lines(serial_port& port, uint32_t& lines) {
    DWORD state;
    if (GetCommModemStatus(port.handle, &state) == 0)
        return refused();
    lines = port.own_lines | ((state & MS_CTS_ON) != 0 ? line_cts : 0) |
            ((state & MS_DSR_ON) != 0 ? line_dsr : 0) | ((state & MS_RLSD_ON) != 0 ? line_dcd : 0) |
            ((state & MS_RING_ON) != 0 ? line_ri : 0);
    return true;
}

bool set_serial_lines(serial_port& port, uint32_t which, uint32_t on) {
    const bool is_good =
        ((which & line_dtr) == 0 ||
         EscapeCommFunction(port.handle, (on & line_dtr) != 0 ? SETDTR : CLRDTR)) &&
        ((which & line_rts) == 0 || EscapeCommFunction(port.handle, (on & line_rts) != 0 ? SETRTS : CLRRTS));
    if (!is_good)
        return refused();
    port.own_lines = (port.own_lines & ~which) | (which & on);
    return true;
}

bool set_serial_break(serial_port& port, bool on) {
    return (on ? SetCommBreak(port.handle) : ClearCommBreak(port.handle)) != 0 || refused();
}

int serial_descriptor(const serial_port&) {
    not_supported();
    return -1;
}

} // namespace ombrel::platform
