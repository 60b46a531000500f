// What the library was built for and what it runs on.
#pragma once

namespace ombrel::platform {

/// A dotted release number; parts that are not given are 0.
struct release_number {
    unsigned long part[4];
};

const char* os_name();
/// The running system's release.
release_number os_release();

const char* libc_name();
/// The release of the C library that this was built against.
release_number libc_release();

/// The codeset of the program's locale; valid until the program changes its locale.
const char* locale_codeset();

} // namespace ombrel::platform
