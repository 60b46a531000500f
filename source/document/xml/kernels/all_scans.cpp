#include "core/kernel_table.h"
#include "document/xml/kernels/scan.h"
#include "platform/processor.h"

namespace ombrel::document {

namespace {

using namespace platform;

#if defined(__x86_64__) || defined(__i386__)
#define OMBREL_SCANS(name) {"avx2", x86_avx2, name##_avx2}, {"sse2", x86_ssse3, name##_sse2},
#elif defined(OMBREL_NEON_XML)
#define OMBREL_SCANS(name) {"neon", 0, name##_neon},
#else
#define OMBREL_SCANS(name)
#endif

constexpr candidate<text_run_kernel> text_runs[] = {OMBREL_SCANS(text_run){"plain", 0, text_run_plain}};
constexpr candidate<value_run_kernel> value_runs[] = {OMBREL_SCANS(value_run){"plain", 0, value_run_plain}};
constexpr candidate<line_count_kernel> line_counts[] = {
    OMBREL_SCANS(line_count){"plain", 0, line_count_plain}};

scan_slots choose_all(uint32_t features) {
    return {choose(all_scans.text_run, features), choose(all_scans.value_run, features),
            choose(all_scans.line_count, features)};
}

constinit kernel_table<scan_slots, choose_all> table;

} // namespace

constinit const scan_candidates all_scans = {text_runs, value_runs, line_counts};

const scan_slots& scans() {
    return table.get();
}

} // namespace ombrel::document
