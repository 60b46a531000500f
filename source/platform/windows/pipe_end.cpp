#include "platform/windows/pipe_end.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include <winternl.h>

#include "platform/fault.h"
#include "platform/windows/host_error.h"

namespace ombrel::platform {

namespace {

// Kinds of information and their records that the headers for programs leave out.
constexpr auto mode_information = static_cast<FILE_INFORMATION_CLASS>(16);
constexpr auto local_pipe_information = static_cast<FILE_INFORMATION_CLASS>(24);

constexpr ULONG synchronous_modes = 0x10 | 0x20; // with and without alerts

struct local_pipe {
    ULONG type, configuration, most_instances, instances, inbound_quota, bytes_to_read, outbound_quota,
        write_quota;
    ULONG state, end;
};

constexpr ULONG is_connected = 3;

template<typename Record>
bool ask(HANDLE handle, FILE_INFORMATION_CLASS kind, Record& answer) {
    IO_STATUS_BLOCK unused;
    return NT_SUCCESS(NtQueryInformationFile(handle, &unused, &answer, sizeof answer, kind));
}

int refuse(fault_code why) {
    leave_fault(why);
    return -1;
}

/// One transfer of its own, which may be waited for or called off.
class overlapped_transfer {
public:
    explicit overlapped_transfer(HANDLE handle)
        : handle_(handle), event_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
        // The lowest bit keeps the result from a completion port that others may have the handle at.
        record_.hEvent = reinterpret_cast<HANDLE>(reinterpret_cast<uintptr_t>(event_) | 1);
    }
    ~overlapped_transfer() {
        if (event_ != nullptr)
            CloseHandle(event_);
    }
    overlapped_transfer(const overlapped_transfer&) = delete;
    overlapped_transfer& operator=(const overlapped_transfer&) = delete;

    explicit operator bool() const { return event_ != nullptr; }
    OVERLAPPED* get() { return &record_; }

    /// Whether it succeeded in the end.
    /// @param begun what the call that began it gave
    bool finish(bool begun, bool may_wait, DWORD& bytes) {
        if (!begun && GetLastError() != ERROR_IO_PENDING)
            return false;
        if (!begun && !may_wait)
            CancelIoEx(handle_, &record_);
        if (GetOverlappedResult(handle_, &record_, &bytes, TRUE))
            return true;
        if (!may_wait && GetLastError() == ERROR_OPERATION_ABORTED)
            SetLastError(ERROR_IO_PENDING);
        return false;
    }

private:
    HANDLE handle_, event_;
    OVERLAPPED record_{};
};

/// The other side is gone, which is the end of what there is to read.
bool is_end(DWORD error) {
    return error == ERROR_BROKEN_PIPE || error == ERROR_HANDLE_EOF || error == ERROR_PIPE_NOT_CONNECTED;
}

int fail_to_read() {
    return is_end(GetLastError()) ? 0 : fail_transfer();
}

int read_overlapped(HANDLE end, void* buffer, DWORD size, bool may_wait) {
    overlapped_transfer transfer(end);
    DWORD bytes = 0;
    if (transfer && transfer.finish(ReadFile(end, buffer, size, nullptr, transfer.get()), may_wait, bytes))
        return static_cast<int>(bytes);
    return fail_to_read();
}

int read_synchronous(HANDLE end, void* buffer, DWORD size, bool may_wait) {
    if (!may_wait && look_for_input(end) == pipe_input::none)
        return refuse(fault_code::would_block);
    DWORD bytes = 0;
    return ReadFile(end, buffer, size, &bytes, nullptr) ? static_cast<int>(bytes) : fail_to_read();
}

/// Lets a write end take what it has room for and no more, as long as the scope lasts. Such scopes take
/// turns, as the first to end would have the others wait.
class no_wait_mode {
public:
    explicit no_wait_mode(HANDLE end) : end_(end) {
        AcquireSRWLockExclusive(&lock_of(end_));
        is_set_ = set(PIPE_NOWAIT);
    }
    ~no_wait_mode() {
        set(PIPE_WAIT);
        ReleaseSRWLockExclusive(&lock_of(end_));
    }
    no_wait_mode(const no_wait_mode&) = delete;
    no_wait_mode& operator=(const no_wait_mode&) = delete;

    explicit operator bool() const { return is_set_; }

private:
    /// Ends with one remainder take turns together.
    static SRWLOCK& lock_of(HANDLE end) {
        static SRWLOCK locks[64] = {};
        return locks[reinterpret_cast<uintptr_t>(end) / 4 % std::size(locks)];
    }

    bool set(DWORD wait) {
        DWORD mode = PIPE_READMODE_BYTE | wait;
        return SetNamedPipeHandleState(end_, &mode, nullptr, nullptr);
    }

    HANDLE end_;
    bool is_set_;
};

/// Whether the write succeeded, with the bytes that were taken.
bool write_part(HANDLE end, const void* data, DWORD size, DWORD& bytes) {
    if (!is_overlapped(end))
        return WriteFile(end, data, size, &bytes, nullptr);
    overlapped_transfer transfer(end);
    return transfer && transfer.finish(WriteFile(end, data, size, nullptr, transfer.get()), true, bytes);
}

/// A pipe that lets nobody wait may take all or nothing, so less and less is tried.
int write_what_fits(HANDLE end, const void* data, DWORD size) {
    constexpr DWORD most = 4096;
    const no_wait_mode mode(end);
    if (!mode)
        return fail_transfer();
    DWORD bytes = 0;
    for (DWORD part = std::min(size, most); part > 0 && bytes == 0; part /= 2)
        if (!write_part(end, data, part, bytes))
            return fail_transfer();
    return bytes > 0 ? static_cast<int>(bytes) : refuse(fault_code::would_block);
}

/// Goes on where another thread let the end take less for a moment.
int write_all(HANDLE end, const void* data, DWORD size) {
    DWORD bytes = 0;
    while (bytes == 0)
        if (!write_part(end, data, size, bytes))
            return fail_transfer();
    return static_cast<int>(bytes);
}

} // namespace

bool is_overlapped(HANDLE handle) {
    ULONG mode;
    return ask(handle, mode_information, mode) && (mode & synchronous_modes) == 0;
}

pipe_input look_for_input(HANDLE read_end) {
    DWORD bytes;
    if (!PeekNamedPipe(read_end, nullptr, 0, nullptr, &bytes, nullptr))
        return pipe_input::ended;
    return bytes > 0 ? pipe_input::some : pipe_input::none;
}

bool is_alone(HANDLE end) {
    local_pipe pipe;
    return ask(end, local_pipe_information, pipe) && pipe.state != is_connected;
}

// The quota that is left is less by what a waiting reader asked for.
pipe_room look_for_room(HANDLE write_end) {
    local_pipe pipe;
    if (!ask(write_end, local_pipe_information, pipe))
        return pipe_room::unclear;
    return pipe.write_quota > 0 || pipe.state != is_connected ? pipe_room::some : pipe_room::unclear;
}

int read_pipe(HANDLE end, void* buffer, DWORD size, bool may_wait) {
    const auto read = is_overlapped(end) ? read_overlapped : read_synchronous;
    return size > 0 ? read(end, buffer, size, may_wait) : 0;
}

// A write of no bytes would look like the end to some readers.
int write_pipe(HANDLE end, const void* data, DWORD size, bool may_wait) {
    if (size == 0)
        return 0;
    return may_wait ? write_all(end, data, size) : write_what_fits(end, data, size);
}

} // namespace ombrel::platform
