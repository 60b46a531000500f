/**
 * @file version.h
 * @brief What this build of the library is, and what it runs on.
 *
 * A version word holds the major number in bits 31-24, the minor in 23-16, extra in 15-8 and build in 7-0.
 * All strings are the library's own, stay valid for the life of the process (where nothing else is said) and
 * are never null. All functions may be called from any thread.
 */
#ifndef OMBREL_VERSION_H
#define OMBREL_VERSION_H

#include <stdint.h>

#include <ombrel/buffer.h>
#include <ombrel/export.h>

OMBREL_BEGIN_C

/** Packs four numbers of 0 to 255 into a version word. */
#define def_ombrel_version_word(major, minor, extra, build)                                                  \
    ((major)*0x1000000u + (minor)*0x10000u + (extra)*0x100u + (build))

/** The version of these headers: 5.0.1.3. */
#define def_ombrel_tuk_version def_ombrel_version_word(5, 0, 1, 3)

/** @brief A banner of several lines that shows the library's name. */
OMBREL_API const char* ombrel_get_tuk_sign(void);

/** @brief The day of the build, such as "Aug 25 2016"; that of SOURCE_DATE_EPOCH when the build had one. */
OMBREL_API const char* ombrel_get_tuk_build_date(void);

/** @brief The time of the build, such as "16:18:37"; that of SOURCE_DATE_EPOCH (in UTC) when the build had
 * one. */
OMBREL_API const char* ombrel_get_tuk_build_time(void);

/** @brief The version word of the library in use. */
OMBREL_API uint32_t ombrel_get_tuk_version(void);

/** @brief The version of the library in use, such as "5.0.1.3". */
OMBREL_API const char* ombrel_get_tuk_version_string(void);

/** @brief Who makes the library. */
OMBREL_API const char* ombrel_get_tuk_company(void);

/** @brief The copyright line. */
OMBREL_API const char* ombrel_get_tuk_copyrights(void);

/** @brief The machine that built the library; "localhost" for builds with SOURCE_DATE_EPOCH. */
OMBREL_API const char* ombrel_get_build_hostname(void);

/** @brief The architecture that this code runs as: "x86_64", "i386", "aarch64", ... */
OMBREL_API const char* ombrel_get_runtime_architecture(void);

/** @brief The architecture that the library was built for. */
OMBREL_API const char* ombrel_get_target_architecture(void);

/** @brief The target as architecture, vendor, system and interface: "x86_64-pc-linux-gnu". */
OMBREL_API const char* ombrel_get_target_build_profile(void);

/** @brief The compiler: "gcc", "clang", ... */
OMBREL_API const char* ombrel_get_compiler_name(void);

/** @brief The compiler's version word. */
OMBREL_API uint32_t ombrel_get_compiler_version(void);

/** @brief The C library: "glibc", or "libc" for others. */
OMBREL_API const char* ombrel_get_libc_name(void);

/** @brief The version word of the C library that this was built against; 0 when it has none. */
OMBREL_API uint32_t ombrel_get_libc_version(void);

/** @brief The operating system: "Linux", ... */
OMBREL_API const char* ombrel_get_os_name(void);

/** @brief The version word of the running system (its kernel); numbers above 255 show as 255. */
OMBREL_API uint32_t ombrel_get_os_version(void);

/** @brief The running system's version in two, three or four numbers, as many as are not 0: "6.1". */
OMBREL_API const char* ombrel_get_os_version_string(void);

/**
 * @brief The codeset of the program's locale: "UTF-8", "ANSI_X3.4-1968", ...
 * @return the name, valid until the program changes its locale
 */
OMBREL_API const char* ombrel_get_langinfo_codeset(void);

/**
 * @brief Writes an XML document that describes this build and the heap's figures.
 * @param buffer receives the document at its end; null prints it through ombrel_puts() instead
 * @param name   the application's name, put into the document as it is; null means the library's company
 * @return 0, or -1 when memory runs out before the document is complete
 */
OMBREL_API int ombrel_push_version_xml(ombrel_buffer_t* buffer, const char* name);

OMBREL_END_C

#endif
