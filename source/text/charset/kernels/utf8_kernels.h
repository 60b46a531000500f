// The kernels of each processor.
#pragma once

#include <cstddef>

namespace ombrel::charset {

size_t ascii_run_plain(const char* text, size_t size);
size_t utf8_run_plain(const char* text, size_t size);
size_t utf8_count_plain(const char* text, size_t size);

#if defined(__x86_64__) || defined(__i386__)
size_t ascii_run_ssse3(const char* text, size_t size);
size_t utf8_run_ssse3(const char* text, size_t size);
size_t utf8_count_ssse3(const char* text, size_t size);
size_t ascii_run_avx2(const char* text, size_t size);
size_t utf8_run_avx2(const char* text, size_t size);
size_t utf8_count_avx2(const char* text, size_t size);
size_t utf8_run_avx512(const char* text, size_t size);
#elif defined(__aarch64__) && defined(__ARM_NEON)
#define OMBREL_NEON_UTF8 1
size_t ascii_run_neon(const char* text, size_t size);
size_t utf8_run_neon(const char* text, size_t size);
size_t utf8_count_neon(const char* text, size_t size);
#endif

} // namespace ombrel::charset
