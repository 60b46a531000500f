/**
 * @file export.h
 * @brief What every public header needs: linkage and visibility.
 */
#ifndef OMBREL_EXPORT_H
#define OMBREL_EXPORT_H

#if defined(_WIN32) && defined(OMBREL_BUILDING_LIBRARY)
#define OMBREL_API __declspec(dllexport)
#elif defined(_WIN32) && defined(OMBREL_STATIC)
#define OMBREL_API
#elif defined(_WIN32)
#define OMBREL_API __declspec(dllimport)
#else
/**
 * Marks a function or variable that the dynamic library exports. On Windows a program that links the archive
 * instead defines OMBREL_STATIC before it includes a header; the CMake package and pkg-config do that.
 */
#define OMBREL_API __attribute__((visibility("default")))
#endif

#if defined(OMBREL_CHECK_FORMATS) && defined(__clang__)
#define OMBREL_PRINTF_LIKE(format, first) __attribute__((__format__(__printf__, format, first)))
#define OMBREL_SCANF_LIKE(format, first) __attribute__((__format__(__scanf__, format, first)))
#elif defined(OMBREL_CHECK_FORMATS) && defined(__GNUC__)
#define OMBREL_PRINTF_LIKE(format, first) __attribute__((__format__(__gnu_printf__, format, first)))
#define OMBREL_SCANF_LIKE(format, first) __attribute__((__format__(__gnu_scanf__, format, first)))
#else
/**
 * After a function whose arguments go by a format: in a program that defines OMBREL_CHECK_FORMATS before it
 * includes a header, GCC and clang hold the arguments against the format, by the rules of the C library. What
 * they let through and printf.h or scan.h do not know ("%zu", "%e") is not found so.
 */
#define OMBREL_PRINTF_LIKE(format, first)
/** The same after a function that scans. */
#define OMBREL_SCANF_LIKE(format, first)
#endif

#if defined(__cplusplus)
#define OMBREL_BEGIN_C extern "C" {
#define OMBREL_END_C }
#else
/** Opens the part of a header that has C linkage. */
#define OMBREL_BEGIN_C
/** Closes the part of a header that has C linkage. */
#define OMBREL_END_C
#endif

#endif
