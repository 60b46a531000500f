// What the system tells of its processes, all at once.
#include "platform/process_list.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <new>

#include <winternl.h>

#include "platform/fault.h"
#include "platform/host_block.h"
#include "platform/windows/child_table.h"
#include "platform/windows/host_error.h"
#include "platform/windows/wide_text.h"

namespace ombrel::platform {

namespace {

// Names of these are in headers for drivers alone.
constexpr auto system_process_information = static_cast<SYSTEM_INFORMATION_CLASS>(5);
constexpr auto system_processor_times = static_cast<SYSTEM_INFORMATION_CLASS>(8);
constexpr auto process_command_line = static_cast<PROCESSINFOCLASS>(60);
constexpr NTSTATUS length_mismatch = static_cast<NTSTATUS>(0xC0000004);

struct system_process {
    ULONG next, threads;
    LARGE_INTEGER private_size;
    ULONG hard_faults, most_threads;
    ULONGLONG cycles;
    LARGE_INTEGER creation, user, kernel;
    UNICODE_STRING name;
    LONG priority;
    HANDLE number, parent;
    ULONG handles, session;
    ULONG_PTR key;
    SIZE_T peak_virtual_size, virtual_size;
    ULONG faults;
    SIZE_T peak_working_set, working_set;
};

struct processor_times {
    LARGE_INTEGER idle, kernel, user, deferred, interrupt;
    ULONG interrupts;
};

/// The system counts hundreds of nanoseconds, moments since 1601.
constexpr uint64_t ticks_per_second = 10'000'000;
constexpr int64_t seconds_to_1970 = 11'644'473'600;

/// What a call gives that wants a large enough block; null with the fault.
template<typename Query>
char* query_block(const Query& query) {
    for (ULONG room = 65536; room <= 64u * 1024 * 1024; room *= 2) {
        auto* const block = static_cast<char*>(malloc(room));
        if (block == nullptr)
            break;
        const NTSTATUS status = query(block, room);
        if (NT_SUCCESS(status))
            return block;
        free(block);
        if (status != length_mismatch) {
            leave_fault(fault_code::not_supported);
            return nullptr;
        }
    }
    leave_fault(fault_code::no_memory);
    return nullptr;
}

int number_of_handle(HANDLE number) {
    return static_cast<int>(reinterpret_cast<UINT_PTR>(number));
}

} // namespace

struct process_walk {
    char* block = nullptr;
    const system_process* next = nullptr;
    char* arguments = nullptr;
    char name[1024];
};

namespace {

const system_process* behind(const system_process* one) {
    if (one->next == 0)
        return nullptr;
    return reinterpret_cast<const system_process*>(reinterpret_cast<const char*>(one) + one->next);
}

void copy_name(process_walk& walk, const UNICODE_STRING& name) {
    const narrow_text text(name.Buffer, name.Length / sizeof(wchar_t));
    const size_t size = text ? std::min(text.size(), sizeof walk.name - 1) : 0;
    if (size > 0)
        memcpy(walk.name, text.get(), size);
    walk.name[size] = '\0';
}

void describe(process_walk& walk, const system_process& one, listed_process& found) {
    copy_name(walk, one.name);
    const auto birth = static_cast<uint64_t>(one.creation.QuadPart);
    found.number = number_of_handle(one.number);
    found.parent = number_of_handle(one.parent);
    found.group = 0;
    found.threads = static_cast<int>(one.threads);
    found.state = '?';
    found.name = walk.name;
    found.birth = birth;
    found.start_seconds = static_cast<int64_t>(birth / ticks_per_second) - seconds_to_1970;
    found.start_nanoseconds = static_cast<int32_t>(birth % ticks_per_second * 100);
    found.user_ticks = static_cast<uint64_t>(one.user.QuadPart);
    found.system_ticks = static_cast<uint64_t>(one.kernel.QuadPart);
    found.resident = static_cast<int64_t>(one.working_set);
    found.address_space = static_cast<int64_t>(one.virtual_size);
}

/// Null where it may not be seen.
char* read_line(int number, size_t limit) {
    HANDLE const process = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, static_cast<DWORD>(number));
    if (process == nullptr)
        return nullptr;
    const auto room = static_cast<ULONG>(std::min<size_t>(limit, 65536 + sizeof(UNICODE_STRING)));
    const host_block<char> block(room);
    const bool is_told = block && NT_SUCCESS(NtQueryInformationProcess(process, process_command_line,
                                                                       block.get(), room, nullptr));
    CloseHandle(process);
    if (!is_told)
        return nullptr;
    const auto& line = *reinterpret_cast<const UNICODE_STRING*>(block.get());
    const narrow_text text(line.Buffer, line.Length / sizeof(wchar_t));
    return text ? _strdup(text.get()) : nullptr;
}

} // namespace

process_walk* open_process_walk() {
    void* const memory = malloc(sizeof(process_walk));
    if (memory == nullptr) {
        leave_fault(fault_code::no_memory);
        return nullptr;
    }
    auto* const walk = new (memory) process_walk;
    walk->block = query_block([](char* block, ULONG room) {
        return NtQuerySystemInformation(system_process_information, block, room, nullptr);
    });
    if (walk->block == nullptr) {
        const fault_keeper kept;
        free(memory);
        return nullptr;
    }
    walk->next = reinterpret_cast<const system_process*>(walk->block);
    return walk;
}

void close_process_walk(process_walk* walk) {
    if (walk == nullptr)
        return;
    free(walk->arguments);
    free(walk->block);
    free(walk);
}

// The one of number 0 stands for processors without work.
int next_process(process_walk& walk, listed_process& found) {
    while (walk.next != nullptr && walk.next->number == nullptr)
        walk.next = behind(walk.next);
    if (walk.next == nullptr)
        return 0;
    describe(walk, *walk.next, found);
    walk.next = behind(walk.next);
    return 1;
}

bool find_listed_process(process_walk& walk, int number, listed_process& found) {
    const auto* one = reinterpret_cast<const system_process*>(walk.block);
    while (one != nullptr && (number <= 0 || number_of_handle(one->number) != number))
        one = behind(one);
    if (one == nullptr) {
        leave_fault(fault_code::no_process);
        return false;
    }
    describe(walk, *one, found);
    return true;
}

bool read_arguments(process_walk& walk, int number, size_t limit, argument_text& arguments) {
    free(walk.arguments);
    walk.arguments = read_line(number, limit);
    arguments = {walk.arguments, walk.arguments != nullptr ? strlen(walk.arguments) : 0, true};
    return true;
}

bool signal_listed_process(process_walk&, const listed_process& process, int signal_number) {
    constexpr DWORD rights = PROCESS_TERMINATE | PROCESS_QUERY_LIMITED_INFORMATION | SYNCHRONIZE;
    HANDLE const handle = OpenProcess(rights, FALSE, static_cast<DWORD>(process.number));
    if (handle == nullptr) {
        fail_by_last_error();
        errno = errno == EINVAL ? ESRCH : errno;
        return false;
    }
    FILETIME creation{}, unused;
    GetProcessTimes(handle, &creation, &unused, &unused, &unused);
    const uint64_t birth = (static_cast<uint64_t>(creation.dwHighDateTime) << 32) | creation.dwLowDateTime;
    bool was_sent = false;
    if (birth == process.birth)
        was_sent = signal_by_handle(handle, signal_number);
    else
        leave_fault(fault_code::no_process);
    CloseHandle(handle);
    return was_sent;
}

uint32_t processor_ticks_per_second() {
    return ticks_per_second;
}

bool get_processor_ticks(int processor, processor_ticks& ticks) {
    SYSTEM_INFO host;
    GetSystemInfo(&host);
    const auto count = static_cast<int>(host.dwNumberOfProcessors);
    const host_block<processor_times> times(static_cast<size_t>(count));
    if (!times)
        return false;
    if (processor >= count) {
        leave_fault(fault_code::not_found);
        return false;
    }
    const auto room = static_cast<ULONG>(sizeof(processor_times) * static_cast<size_t>(count));
    if (!NT_SUCCESS(NtQuerySystemInformation(system_processor_times, times.get(), room, nullptr))) {
        leave_fault(fault_code::not_supported);
        return false;
    }
    ticks = {};
    for (int i = std::max(processor, 0); i < (processor < 0 ? count : processor + 1); i++) {
        const processor_times& one = times[static_cast<size_t>(i)];
        const int64_t in_interrupts = one.deferred.QuadPart + one.interrupt.QuadPart;
        ticks.user += static_cast<uint64_t>(one.user.QuadPart);
        ticks.idle += static_cast<uint64_t>(one.idle.QuadPart);
        ticks.interrupt += static_cast<uint64_t>(in_interrupts);
        // What the system counts for itself has idle time and interrupts in it.
        ticks.system += static_cast<uint64_t>(
            std::max<int64_t>(one.kernel.QuadPart - one.idle.QuadPart - in_interrupts, 0));
    }
    return true;
}

bool get_system_load(system_load&) {
    leave_fault(fault_code::not_supported);
    return false;
}

} // namespace ombrel::platform
