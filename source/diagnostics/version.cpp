#include <ombrel/version.h>

#include <cstddef>

#include <ombrel/printf.h>
#include <ombrel/string.h>

#include "core/short_lock_guard.h"
#include "platform/identity.h"

using namespace ombrel;

namespace {

constexpr uint32_t version_word(uint32_t major, uint32_t minor, uint32_t extra, uint32_t build) {
    return def_ombrel_version_word(major, minor, extra, build);
}
static_assert(def_ombrel_tuk_version == version_word(OMBREL_PROJECT_VERSION),
              "the header and the build disagree on the version");

constexpr const char sign[] = R"(
                 _              _     _         _
  ___  _ __ ___ | |__  _ __ ___| |   | |_ _   _| | __
 / _ \| '_ ` _ \| '_ \| '__/ _ \ |   | __| | | | |/ /
| (_) | | | | | | |_) | | |  __/ |   | |_| |_| |   <
 \___/|_| |_| |_|_.__/|_|  \___|_|____\__|\__,_|_|\_\
                                 |____|
)";

#if defined(OMBREL_BUILD_DATE)
constexpr const char build_date[] = OMBREL_BUILD_DATE;
constexpr const char build_time[] = OMBREL_BUILD_TIME;
#else
constexpr const char build_date[] = __DATE__;
constexpr const char build_time[] = __TIME__;
#endif

#if defined(__x86_64__) || defined(_M_X64)
#define OMBREL_ARCHITECTURE "x86_64"
#define OMBREL_VENDOR "pc"
#elif (defined(__i386__) || defined(_M_IX86)) && defined(_WIN32)
#define OMBREL_ARCHITECTURE "x86"
#define OMBREL_VENDOR "pc"
#elif defined(__i386__) || defined(_M_IX86)
#define OMBREL_ARCHITECTURE "i386"
#define OMBREL_VENDOR "pc"
#elif defined(__aarch64__) || defined(_M_ARM64)
#define OMBREL_ARCHITECTURE "aarch64"
#elif defined(__arm__)
#define OMBREL_ARCHITECTURE "arm"
#elif defined(__riscv)
#define OMBREL_ARCHITECTURE "riscv" OMBREL_TEXT(__riscv_xlen)
#elif defined(__mips__)
#define OMBREL_ARCHITECTURE "mips"
#elif defined(__powerpc64__)
#define OMBREL_ARCHITECTURE "powerpc64"
#else
#define OMBREL_ARCHITECTURE "unknown"
#endif
#if !defined(OMBREL_VENDOR)
#define OMBREL_VENDOR "unknown"
#endif
#define OMBREL_TEXT_OF(word) #word
#define OMBREL_TEXT(word) OMBREL_TEXT_OF(word)

#if defined(__ANDROID__)
#define OMBREL_SYSTEM "linux-android"
#elif defined(__linux__) && defined(__GLIBC__)
#define OMBREL_SYSTEM "linux-gnu"
#elif defined(__linux__)
#define OMBREL_SYSTEM "linux-musl"
#elif defined(__MINGW32__)
#define OMBREL_SYSTEM "windows-gnu"
#elif defined(_WIN32)
#define OMBREL_SYSTEM "windows-msvc"
#elif defined(__APPLE__)
#define OMBREL_SYSTEM "darwin"
#else
#define OMBREL_SYSTEM "unknown"
#endif

#if defined(__clang__)
constexpr const char compiler_name[] = "clang";
constexpr uint32_t compiler_version =
    def_ombrel_version_word(__clang_major__, __clang_minor__, __clang_patchlevel__, 0);
#elif defined(__GNUC__)
constexpr const char compiler_name[] = "gcc";
constexpr uint32_t compiler_version =
    def_ombrel_version_word(__GNUC__, __GNUC_MINOR__, __GNUC_PATCHLEVEL__, 0);
#else
constexpr const char compiler_name[] = "unknown";
constexpr uint32_t compiler_version = 0;
#endif

unsigned long field(uint32_t version, unsigned shift) {
    return version >> shift & 0xFFu;
}

uint32_t pack(const platform::release_number& number) {
    uint32_t word = 0;
    for (const unsigned long part : number.part)
        word = word << 8 | static_cast<uint32_t>(part < 255 ? part : 255);
    return word;
}

// A version's text, made once.
struct version_text {
    ombrel_short_lock_t lock;
    char text[16] OMBREL_GUARDED_BY(lock);
};

version_text tuk_version_text, os_version_text;

void write_version(char (&text)[16], uint32_t version, unsigned fields) {
    constexpr const char* formats[] = {"%lu.%lu", "%lu.%lu.%lu", "%lu.%lu.%lu.%lu"};
    ombrel_snprintf(text, sizeof text, formats[fields - 2], field(version, 24), field(version, 16),
                    field(version, 8), field(version, 0));
}

const char* cached_version(version_text& cache, uint32_t version, unsigned fields) {
    const short_lock_guard guard(cache.lock);
    if (cache.text[0] == '\0')
        write_version(cache.text, version, fields);
    return ombrel_check_string(cache.text);
}

} // namespace

const char* ombrel_get_tuk_sign(void) {
    return ombrel_check_string(sign);
}

const char* ombrel_get_tuk_build_date(void) {
    return ombrel_check_string(build_date);
}

const char* ombrel_get_tuk_build_time(void) {
    return ombrel_check_string(build_time);
}

uint32_t ombrel_get_tuk_version(void) {
    return def_ombrel_tuk_version;
}

const char* ombrel_get_tuk_version_string(void) {
    return cached_version(tuk_version_text, def_ombrel_tuk_version, 4);
}

const char* ombrel_get_tuk_company(void) {
    return ombrel_check_string("The libombrel_tuk authors");
}

const char* ombrel_get_tuk_copyrights(void) {
    return ombrel_check_string("Copyright (C) The libombrel_tuk authors");
}

const char* ombrel_get_build_hostname(void) {
    return ombrel_check_string(OMBREL_BUILD_HOSTNAME);
}

const char* ombrel_get_runtime_architecture(void) {
    return ombrel_check_string(OMBREL_ARCHITECTURE);
}

const char* ombrel_get_target_architecture(void) {
    return ombrel_check_string(OMBREL_ARCHITECTURE);
}

const char* ombrel_get_target_build_profile(void) {
    return ombrel_check_string(OMBREL_ARCHITECTURE "-" OMBREL_VENDOR "-" OMBREL_SYSTEM);
}

const char* ombrel_get_compiler_name(void) {
    return ombrel_check_string(compiler_name);
}

uint32_t ombrel_get_compiler_version(void) {
    return compiler_version;
}

const char* ombrel_get_libc_name(void) {
    return ombrel_check_string(platform::libc_name());
}

uint32_t ombrel_get_libc_version(void) {
    return pack(platform::libc_release());
}

const char* ombrel_get_os_name(void) {
    return ombrel_check_string(platform::os_name());
}

uint32_t ombrel_get_os_version(void) {
    return pack(platform::os_release());
}

const char* ombrel_get_os_version_string(void) {
    const uint32_t version = ombrel_get_os_version();
    const unsigned fields = field(version, 0) != 0 ? 4 : field(version, 8) != 0 ? 3 : 2;
    return cached_version(os_version_text, version, fields);
}

const char* ombrel_get_langinfo_codeset(void) {
    return ombrel_check_string(platform::locale_codeset());
}
