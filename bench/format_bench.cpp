// The formatter beside the C library's over the lines that a server writes into its log.

#include <benchmark/benchmark.h>
#include <cstdio>

#include <ombrel/printf.h>

namespace {

using formatter = int (*)(char*, size_t, const char*, ...);

struct log_entry {
    const char* source;
    unsigned long line;
    int status;
    unsigned long address;
    double seconds;
};

constexpr log_entry entries[] = {
    {"accept_client", 118, 0, 0x7f3a01ul, 0.004},
    {"read_request", 2045, -11, 0x1ul, 12.75},
    {"resolver_cache", 77, 200, 0xdeadbeeful, 1.5},
    {"flush_queue", 390217, 404, 0xc0ffeeul, 845.0625},
};

void format_lines(benchmark::State& state, formatter format) {
    char line[128];
    for (auto _ : state) {
        for (const log_entry& entry : entries) {
            format(line, sizeof line, "%s:%lu", entry.source, entry.line);
            benchmark::DoNotOptimize(line);
            format(line, sizeof line, "connection closed with status %d", entry.status);
            benchmark::DoNotOptimize(line);
            format(line, sizeof line, "session %08lX is open", entry.address);
            benchmark::DoNotOptimize(line);
            format(line, sizeof line, "request took %.3f s", entry.seconds);
            benchmark::DoNotOptimize(line);
            format(line, sizeof line, "[%s:%lu] status %d session %08lX after %.3f s", entry.source,
                   entry.line, entry.status, entry.address, entry.seconds);
            benchmark::DoNotOptimize(line);
        }
    }
}

void with_ombrel(benchmark::State& state) {
    format_lines(state, ombrel_snprintf);
}

void with_snprintf(benchmark::State& state) {
    format_lines(state, snprintf);
}

BENCHMARK(with_ombrel)->Name("formatter log lines|ombrel");
BENCHMARK(with_snprintf)->Name("formatter log lines|snprintf");

} // namespace
