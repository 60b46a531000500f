#include "platform/identity.h"

#include <charconv>
#include <cstring>
#include <langinfo.h>
#include <sys/utsname.h>

namespace ombrel::platform {

const char* os_name() {
#if defined(__linux__)
    return "Linux";
#elif defined(__APPLE__)
    return "Darwin";
#elif defined(__FreeBSD__)
    return "FreeBSD";
#else
    return "POSIX";
#endif
}

release_number os_release() {
    release_number result{};
    utsname names;
    if (uname(&names) < 0)
        return result;
    const char *cursor = names.release, *const end = cursor + strlen(cursor);
    for (unsigned long& part : result.part) {
        const auto [behind, fault] = std::from_chars(cursor, end, part);
        if (fault != std::errc() || *behind != '.') // "6.1.0-13-amd64" ends at the dash
            break;
        cursor = behind + 1;
    }
    return result;
}

const char* libc_name() {
#if defined(__GLIBC__)
    return "glibc";
#else
    return "libc";
#endif
}

release_number libc_release() {
#if defined(__GLIBC__)
    return {{__GLIBC__, __GLIBC_MINOR__, 0, 0}};
#else
    return {};
#endif
}

const char* locale_codeset() {
    return nl_langinfo(CODESET);
}

} // namespace ombrel::platform
