#include "platform/power.h"

#include "platform/windows/host_error.h"
#include "platform/windows/windows_host.h"

namespace ombrel::platform {

namespace {

/// Users who may shut down have the right, but switched off.
bool switch_right_on() {
    HANDLE token;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &token))
        return false;
    TOKEN_PRIVILEGES wanted{};
    wanted.PrivilegeCount = 1;
    wanted.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    const bool was_asked =
        LookupPrivilegeValueW(nullptr, L"SeShutdownPrivilege", &wanted.Privileges[0].Luid) &&
        AdjustTokenPrivileges(token, FALSE, &wanted, 0, nullptr, nullptr);
    // Who has it not is told so by the error of a call that succeeds.
    const DWORD error = GetLastError();
    CloseHandle(token);
    SetLastError(error == ERROR_NOT_ALL_ASSIGNED ? ERROR_PRIVILEGE_NOT_HELD : error);
    return was_asked && error == ERROR_SUCCESS;
}

constexpr UINT flags_of(host_end how) {
    return how == host_end::restart ? EWX_REBOOT : EWX_POWEROFF;
}

} // namespace

bool end_host(host_end how) {
    constexpr DWORD planned_by_program = SHTDN_REASON_MAJOR_APPLICATION | SHTDN_REASON_FLAG_PLANNED;
    if (switch_right_on() && ExitWindowsEx(flags_of(how) | EWX_FORCEIFHUNG, planned_by_program))
        return true;
    fail_by_last_error();
    return false;
}

} // namespace ombrel::platform
