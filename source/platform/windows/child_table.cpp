#include "platform/windows/child_table.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <iterator>
#include <new>
#include <utility>

#include <winternl.h>

#include "platform/fault.h"
#include "platform/file.h"
#include "platform/process.h"
#include "platform/windows/descriptor.h"
#include "platform/windows/host_error.h"

namespace ombrel::platform {

namespace {

struct child {
    child* next;
    int number;
    HANDLE process;
    HANDLE job;          ///< null for one that others started
    unsigned watches;    ///< descriptors that stand for it
    bool was_collected;  ///< then it stays for the watches alone
    int asked_by_signal; ///< by which its end was asked for last; 0 for none
};

/// A descriptor of a process: the read end of a pipe that nothing is written to, and that ends with the
/// process.
struct process_watch {
    process_watch* next;
    child* subject;
    int descriptor;
    std::atomic<HANDLE> writer;
    HANDLE wait;
};

SRWLOCK table_lock = SRWLOCK_INIT;
child* children;
process_watch* watches;

class table_guard {
public:
    table_guard() { AcquireSRWLockExclusive(&table_lock); }
    ~table_guard() { ReleaseSRWLockExclusive(&table_lock); }
    table_guard(const table_guard&) = delete;
    table_guard& operator=(const table_guard&) = delete;
};

template<typename Record>
void unlink(Record*& head, const Record* record) {
    Record** link = &head;
    while (*link != record)
        link = &(*link)->next;
    *link = record->next;
}

void close_handle(HANDLE handle) {
    if (handle != nullptr)
        CloseHandle(handle);
}

child* insert_child(int number, HANDLE process, HANDLE job) {
    auto* const fresh = static_cast<child*>(malloc(sizeof(child)));
    if (fresh == nullptr) {
        close_handle(process);
        close_handle(job);
        leave_fault(fault_code::no_memory);
        return nullptr;
    }
    *fresh = {children, number, process, job, 0, false, 0};
    children = fresh;
    return fresh;
}

void release(child* one) {
    if (!one->was_collected || one->watches > 0)
        return;
    unlink(children, one);
    close_handle(one->process);
    close_handle(one->job);
    free(one);
}

bool is_own(HANDLE process) {
    PROCESS_BASIC_INFORMATION about;
    if (!NT_SUCCESS(
            NtQueryInformationProcess(process, ProcessBasicInformation, &about, sizeof about, nullptr)))
        return false;
    return about.InheritedFromUniqueProcessId == GetCurrentProcessId();
}

/// Its number, and when it began, which together no other process has.
struct identity {
    int number;
    FILETIME beginning;

    identity(int its_number, HANDLE process) : number(its_number), beginning{} {
        FILETIME unused;
        GetProcessTimes(process, &beginning, &unused, &unused, &unused);
    }
    constexpr identity() : number(0), beginning{} {}
    bool operator==(const identity& other) const {
        return number == other.number && CompareFileTime(&beginning, &other.beginning) == 0;
    }
};

/// The children that were collected last: somebody else may hold on to one of them for a while, so that it
/// can still be opened.
identity last_collected[64];
size_t collected_count;

void note_collected(const child& one) {
    last_collected[collected_count++ % std::size(last_collected)] = identity(one.number, one.process);
}

bool was_collected(int number, HANDLE process) {
    const identity wanted(number, process);
    return std::find(std::begin(last_collected), std::end(last_collected), wanted) !=
           std::end(last_collected);
}

/// A child that the program started by itself and holds a handle of.
child* adopt_foreign(int number) {
    constexpr DWORD rights = PROCESS_QUERY_LIMITED_INFORMATION | PROCESS_TERMINATE | SYNCHRONIZE;
    HANDLE const process = OpenProcess(rights, FALSE, static_cast<DWORD>(number));
    if (process != nullptr && is_own(process) && !was_collected(number, process))
        return insert_child(number, process, nullptr);
    close_handle(process);
    return nullptr;
}

/// A child whose end was not collected yet; null, with its fault, when it is none.
child* find_child(int number) {
    child* found = children;
    while (found != nullptr && found->number != number)
        found = found->next;
    if (found == nullptr && number > 0)
        found = adopt_foreign(number);
    if (found != nullptr && !found->was_collected)
        return found;
    errno = ESRCH;
    return nullptr;
}

process_watch* find_watch(int descriptor) {
    process_watch* found = watches;
    while (found != nullptr && found->descriptor != descriptor)
        found = found->next;
    return found;
}

bool has_ended(const child& one) {
    return WaitForSingleObject(one.process, 0) == WAIT_OBJECT_0;
}

struct meaning {
    DWORD code;
    int signal_number;
};

// Codes by which the system ends programs, and the signals that POSIX systems end them by for the same
// reason.
constexpr meaning meanings[] = {
    {0xC0000005u, SIGSEGV}, // access to memory that is not there
    {0xC00000FDu, SIGSEGV}, // no more stack
    {0xC000001Du, SIGILL},  // illegal instruction
    {0xC0000096u, SIGILL},  // privileged instruction
    {0xC0000094u, SIGFPE},  // division of an integer by zero
    {0xC000008Eu, SIGFPE},  // and of other numbers
    {0xC0000409u, SIGABRT}, // the program ended itself
};

constexpr DWORD ended_by_break = 0xC000013Au, ended_at_once = 0xC0000000u | 0x20000000u | SIGTERM;

int signal_of(const child& one, DWORD code) {
    if (code == ended_by_break || code == ended_at_once)
        return one.asked_by_signal != 0 ? one.asked_by_signal : SIGINT;
    for (const meaning& known : meanings)
        if (known.code == code)
            return known.signal_number;
    return 0;
}

process_end end_of(const child& one) {
    DWORD code;
    if (!GetExitCodeProcess(one.process, &code))
        return {-1, 0};
    const int signal_number = signal_of(one, code);
    return {signal_number != 0 ? -1 : static_cast<int>(code), signal_number};
}

child_state collect(child& one, process_end& end) {
    if (!has_ended(one))
        return child_state::running;
    end = end_of(one);
    one.was_collected = true;
    note_collected(one);
    release(&one);
    return child_state::ended;
}

void CALLBACK end_watch(void* watch, BOOLEAN) {
    close_handle(static_cast<process_watch*>(watch)->writer.exchange(nullptr));
}

/// The writer's handle alone, as nothing but its end is needed.
bool open_watch_pipe(process_watch& watch) {
    int ends[2];
    if (!open_pipe(ends))
        return false;
    HANDLE const writer = copy_handle(handle_of(ends[1]), false);
    close_number(ends[1]);
    watch.writer = writer;
    watch.descriptor = ends[0];
    return writer != nullptr;
}

void destroy_watch(process_watch* watch) {
    if (watch->wait != nullptr)
        UnregisterWaitEx(watch->wait, INVALID_HANDLE_VALUE); // and waits for end_watch() if that runs
    end_watch(watch, FALSE);
    if (watch->descriptor >= 0)
        close_number(watch->descriptor);
    free(watch);
}

process_watch* new_watch(HANDLE process) {
    void* const memory = malloc(sizeof(process_watch));
    if (memory == nullptr) {
        leave_fault(fault_code::no_memory);
        return nullptr;
    }
    auto* const watch = new (memory) process_watch{nullptr, nullptr, -1, nullptr, nullptr};
    const bool is_made = open_watch_pipe(*watch);
    if (is_made &&
        RegisterWaitForSingleObject(&watch->wait, process, end_watch, watch, INFINITE, WT_EXECUTEONLYONCE))
        return watch;
    if (is_made)
        fail_by_last_error();
    const fault_keeper kept;
    destroy_watch(watch);
    return nullptr;
}

bool fail_by_number(int number) {
    errno = number;
    return false;
}

/// Signals that end a process here.
bool is_end(int signal_number) {
    return signal_number == SIGINT || signal_number == SIGTERM || signal_number == SIGBREAK ||
           signal_number == kill_signal;
}

bool is_any_running(const child& one) {
    JOBOBJECT_BASIC_ACCOUNTING_INFORMATION about;
    if (!has_ended(one))
        return true;
    return one.job != nullptr &&
           QueryInformationJobObject(one.job, JobObjectBasicAccountingInformation, &about, sizeof about,
                                     nullptr) &&
           about.ActiveProcesses > 0;
}

child_state look(child& one, process_end& end) {
    if (!has_ended(one))
        return child_state::running;
    end = end_of(one);
    return child_state::ended;
}

} // namespace

bool signal_by_handle(HANDLE process, int signal_number) {
    if (WaitForSingleObject(process, 0) == WAIT_OBJECT_0)
        return fail_by_number(ESRCH);
    if (signal_number == 0)
        return true;
    if (!is_end(signal_number))
        return fail_by_number(signal_number > 0 ? ENOSYS : EINVAL);
    return TerminateProcess(process, ended_at_once) || fail_by_last_error() == 0;
}

bool note_child(int number, HANDLE process, HANDLE job) {
    const table_guard guard;
    return insert_child(number, process, job) != nullptr;
}

bool is_child(int process) {
    const table_guard guard;
    return find_child(process) != nullptr;
}

bool collect_process(int process, process_end& end) {
    const table_guard guard;
    child* const found = find_child(process);
    if (found != nullptr)
        return collect(*found, end) == child_state::ended;
    end = {-1, 0};
    return true;
}

bool can_open_processes() {
    return true;
}

int open_process(int process) {
    const table_guard guard;
    child* const subject = find_child(process);
    process_watch* const watch = subject != nullptr ? new_watch(subject->process) : nullptr;
    if (watch == nullptr)
        return -1;
    watch->subject = subject;
    subject->watches++;
    watch->next = std::exchange(watches, watch);
    return watch->descriptor;
}

child_state look_at_process(int process, process_end& end) {
    const table_guard guard;
    end = {-1, 0};
    child* const found = find_child(process);
    return found != nullptr ? look(*found, end) : child_state::unknown;
}

child_state look_at_child(int descriptor, process_end& end) {
    const table_guard guard;
    end = {-1, 0};
    const process_watch* const watch = find_watch(descriptor);
    if (watch == nullptr || watch->subject->was_collected)
        return child_state::unknown;
    return look(*watch->subject, end);
}

child_state collect_child(int descriptor, process_end& end) {
    const table_guard guard;
    end = {-1, 0};
    const process_watch* const watch = find_watch(descriptor);
    if (watch == nullptr || watch->subject->was_collected)
        return child_state::unknown;
    return collect(*watch->subject, end);
}

void abandon_process(int process, int descriptor) {
    if (descriptor >= 0)
        close_process_descriptor(descriptor);
    const table_guard guard;
    child* const found = find_child(process);
    if (found == nullptr)
        return;
    found->was_collected = true;
    note_collected(*found);
    release(found);
}

// The system keeps nothing about a process that nobody holds a handle of.
void collect_abandoned_processes() {}

bool signal_process(int process, int signal_number) {
    const table_guard guard;
    child* const own = find_child(process);
    constexpr DWORD rights = PROCESS_TERMINATE | PROCESS_QUERY_LIMITED_INFORMATION | SYNCHRONIZE;
    HANDLE const handle = OpenProcess(rights, FALSE, static_cast<DWORD>(process));
    if (handle == nullptr) {
        fail_by_last_error();
        errno = errno == EINVAL ? ESRCH : errno;
        return false;
    }
    if (own != nullptr)
        own->asked_by_signal = signal_number;
    const bool was_sent = signal_by_handle(handle, signal_number);
    CloseHandle(handle);
    return was_sent;
}

bool signal_group(int leader, int signal_number) {
    const table_guard guard;
    child* const found = find_child(leader);
    if (found == nullptr)
        return false;
    if (signal_number == 0)
        return is_any_running(*found) || fail_by_number(ESRCH);
    if (!is_end(signal_number))
        return fail_by_number(ENOSYS);
    found->asked_by_signal = signal_number;
    // A program that shares no console cannot be asked.
    if (signal_number != kill_signal &&
        GenerateConsoleCtrlEvent(CTRL_BREAK_EVENT, static_cast<DWORD>(leader)))
        return true;
    if (found->job != nullptr && TerminateJobObject(found->job, ended_at_once))
        return true;
    return has_ended(*found) || TerminateProcess(found->process, ended_at_once) || fail_by_last_error() == 0;
}

bool group_runs(int leader) {
    const table_guard guard;
    const fault_keeper kept;
    const child* const found = find_child(leader);
    return found != nullptr && is_any_running(*found);
}

bool close_process_descriptor(int descriptor) {
    process_watch* watch;
    {
        const table_guard guard;
        watch = find_watch(descriptor);
        if (watch == nullptr)
            return false;
        unlink(watches, watch);
    }
    child* const subject = watch->subject;
    destroy_watch(watch); // which ends the wait for the process before its handle may go
    const table_guard guard;
    subject->watches--;
    release(subject);
    return true;
}

} // namespace ombrel::platform
