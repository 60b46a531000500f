#include "platform/identity.h"

#include <cstdio>
#include <locale.h>

#include "platform/windows/windows_host.h"

// What GetVersionEx() tells depends on the program's manifest; this tells the truth. It is no part of the
// headers.
extern "C" LONG WINAPI RtlGetVersion(RTL_OSVERSIONINFOEXW* version);

namespace ombrel::platform {

const char* os_name() {
    return "Windows";
}

// The number of the build has more bits than a part of a release may have, so it is no part of it.
release_number os_release() {
    RTL_OSVERSIONINFOEXW version{};
    version.dwOSVersionInfoSize = sizeof version;
    if (RtlGetVersion(&version) != 0)
        return {};
    return {{version.dwMajorVersion, version.dwMinorVersion, version.wServicePackMajor,
             version.wServicePackMinor}};
}

const char* libc_name() {
#if defined(_UCRT)
    return "ucrt";
#else
    return "msvcrt";
#endif
}

release_number libc_release() {
    return {{__MSVCRT_VERSION__ >> 8, __MSVCRT_VERSION__ & 0xFF, 0, 0}};
}

namespace {

/// "CP1252" and the like, in one place as long as the code page is the same.
const char* code_page_name(unsigned code_page) {
    static SRWLOCK lock = SRWLOCK_INIT;
    static unsigned named = 0;
    static char name[16];
    AcquireSRWLockExclusive(&lock);
    if (named != code_page)
        snprintf(name, sizeof name, "CP%u", code_page);
    named = code_page;
    ReleaseSRWLockExclusive(&lock);
    return name;
}

} // namespace

const char* locale_codeset() {
    const unsigned code_page = ___lc_codepage_func();
    if (code_page == 0)
        return "ANSI_X3.4-1968"; // the locale "C"
    return code_page == CP_UTF8 ? "UTF-8" : code_page_name(code_page);
}

} // namespace ombrel::platform
