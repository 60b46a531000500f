// The inner loops that run over plain text: the plain ones, and beside them those for particular processors.
#pragma once

#include <cstddef>
#include <span>

#include "core/kernel_choice.h"

namespace ombrel::document {

/// Bytes at the front that content may have as they are: up to the first of "<", "&", "]", CR, another
/// control character than tab and LF, or 0xEF, which may begin one of two characters that XML does not allow.
using text_run_kernel = size_t (*)(const char* text, size_t size);

/// Bytes at the front that a value may have as they are: up to the first of the quotation mark, "<", "&", a
/// control character or 0xEF.
using value_run_kernel = size_t (*)(const char* text, size_t size, char quote);

/// LFs, and CRs that no LF follows; one at the end of the text counts.
using line_count_kernel = size_t (*)(const char* text, size_t size);

size_t text_run_plain(const char* text, size_t size);
size_t value_run_plain(const char* text, size_t size, char quote);
size_t line_count_plain(const char* text, size_t size);

#if defined(__x86_64__) || defined(__i386__)
size_t text_run_sse2(const char* text, size_t size);
size_t value_run_sse2(const char* text, size_t size, char quote);
size_t line_count_sse2(const char* text, size_t size);
size_t text_run_avx2(const char* text, size_t size);
size_t value_run_avx2(const char* text, size_t size, char quote);
size_t line_count_avx2(const char* text, size_t size);
#elif defined(__aarch64__) && defined(__AARCH64EL__) && defined(__ARM_NEON)
#define OMBREL_NEON_XML 1
size_t text_run_neon(const char* text, size_t size);
size_t value_run_neon(const char* text, size_t size, char quote);
size_t line_count_neon(const char* text, size_t size);
#endif

/// All kernels of this build, the fastest of each list first.
struct scan_candidates {
    std::span<const candidate<text_run_kernel>> text_run;
    std::span<const candidate<value_run_kernel>> value_run;
    std::span<const candidate<line_count_kernel>> line_count;
};
extern const scan_candidates all_scans;

/// The kernels in use.
struct scan_slots {
    text_run_kernel text_run;
    value_run_kernel value_run;
    line_count_kernel line_count;
};

/// Chosen on the first call, for the life of the process.
const scan_slots& scans();

} // namespace ombrel::document
