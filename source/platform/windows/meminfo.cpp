#include "platform/meminfo.h"

#include <algorithm>

#include "platform/fault.h"
#include "platform/windows/host_error.h"
#include "platform/windows/windows_host.h"

#include <psapi.h>

namespace ombrel::platform {

namespace {

int64_t bytes_of(uint64_t bytes) {
    return static_cast<int64_t>(std::min<uint64_t>(bytes, INT64_MAX));
}

int64_t cached_memory() {
    PERFORMANCE_INFORMATION figures;
    figures.cb = sizeof figures;
    if (!K32GetPerformanceInfo(&figures, sizeof figures))
        return unknown_memory;
    return bytes_of(uint64_t{figures.SystemCache} * figures.PageSize);
}

/// A process, closed at the end of the scope.
class process_handle {
public:
    explicit process_handle(int process)
        : handle_(process == 0
                      ? GetCurrentProcess()
                      : OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, static_cast<DWORD>(process))) {}
    ~process_handle() {
        if (handle_ != nullptr)
            CloseHandle(handle_);
    }
    process_handle(const process_handle&) = delete;
    process_handle& operator=(const process_handle&) = delete;
    HANDLE get() const { return handle_; }

private:
    HANDLE handle_;
};

bool refuse(fault_code why) {
    leave_fault(why);
    return false;
}

bool fail_for_process() {
    if (GetLastError() == ERROR_INVALID_PARAMETER)
        return refuse(fault_code::no_process);
    fail_by_last_error();
    return false;
}

/// What the job uses now, where the system tells.
int64_t used_by_job() {
    JOBOBJECT_LIMIT_VIOLATION_INFORMATION figures{};
    const bool is_told = QueryInformationJobObject(nullptr, JobObjectLimitViolationInformation, &figures,
                                                   sizeof figures, nullptr);
    return is_told ? bytes_of(figures.JobMemory) : unknown_memory;
}

} // namespace

bool get_machine_memory(machine_memory& memory) {
    MEMORYSTATUSEX status;
    status.dwLength = sizeof status;
    if (!GlobalMemoryStatusEx(&status)) {
        fail_by_last_error();
        return false;
    }
    // What may be committed is memory and swap in one.
    const int64_t total = bytes_of(status.ullTotalPhys), available = bytes_of(status.ullAvailPhys);
    const int64_t swap_total = std::max<int64_t>(bytes_of(status.ullTotalPageFile) - total, 0);
    const int64_t swap_free =
        std::clamp<int64_t>(bytes_of(status.ullAvailPageFile) - available, 0, swap_total);
    memory = {total,          available,       available,  unknown_memory,
              unknown_memory, cached_memory(), swap_total, swap_free};
    return true;
}

bool get_process_memory(int process, process_memory& memory) {
    const process_handle handle(process);
    PROCESS_MEMORY_COUNTERS figures;
    if (handle.get() == nullptr || !K32GetProcessMemoryInfo(handle.get(), &figures, sizeof figures))
        return fail_for_process();
    memory = {bytes_of(figures.WorkingSetSize), bytes_of(figures.PeakWorkingSetSize),
              bytes_of(figures.PagefileUsage), bytes_of(figures.PeakPagefileUsage), unknown_memory};
    return true;
}

bool get_container_memory(container_memory& memory) {
    BOOL is_in_job = FALSE;
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    const bool is_told = IsProcessInJob(GetCurrentProcess(), nullptr, &is_in_job) && is_in_job &&
                         QueryInformationJobObject(nullptr, JobObjectExtendedLimitInformation, &limits,
                                                   sizeof limits, nullptr);
    if (!is_told)
        return refuse(fault_code::not_supported);
    const bool is_limited = (limits.BasicLimitInformation.LimitFlags & JOB_OBJECT_LIMIT_JOB_MEMORY) != 0;
    memory = {is_limited ? bytes_of(limits.JobMemoryLimit) : unlimited_memory, used_by_job(),
              bytes_of(limits.PeakJobMemoryUsed)};
    return true;
}

} // namespace ombrel::platform
