// The scanner beside the C library's over log lines like those of the formatter's benchmark.

#include <benchmark/benchmark.h>
#include <cstdio>

#include <ombrel/scan.h>

namespace {

using scanner = int (*)(const char*, const char*, ...);

struct log_entry {
    const char* place;
    const char* status;
    const char* session;
    const char* duration;
    const char* whole;
};

constexpr log_entry entries[] = {
    {"accept_client:118", "status 0", "session 007F3A01 is open", "request took 0.004 s",
     "[accept_client:118] status 0 session 007F3A01 after 0.004 s"},
    {"read_request:2045", "status -11", "session 00000001 is open", "request took 12.750 s",
     "[read_request:2045] status -11 session 00000001 after 12.750 s"},
    {"resolver_cache:77", "status 200", "session DEADBEEF is open", "request took 1.500 s",
     "[resolver_cache:77] status 200 session DEADBEEF after 1.500 s"},
    {"flush_queue:390217", "status 404", "session 00C0FFEE is open", "request took 845.063 s",
     "[flush_queue:390217] status 404 session 00C0FFEE after 845.063 s"},
};

void scan_lines(benchmark::State& state, scanner scan) {
    char source[64];
    unsigned long line = 0, session = 0;
    int status = 0, seconds = 0, milliseconds = 0;
    for (auto _ : state) {
        int fields = 0;
        for (const log_entry& entry : entries) {
            fields += scan(entry.place, "%63[^:]:%lu", source, &line);
            fields += scan(entry.status, "status %d", &status);
            fields += scan(entry.session, "session %lx is open", &session);
            fields += scan(entry.duration, "request took %d.%d s", &seconds, &milliseconds);
            fields += scan(entry.whole, "[%63[^:]:%lu] status %d session %lx after %d.%d s", source, &line,
                           &status, &session, &seconds, &milliseconds);
            benchmark::DoNotOptimize(source);
            benchmark::ClobberMemory();
        }
        if (fields != 48)
            state.SkipWithError("a field was not read");
    }
}

void with_ombrel(benchmark::State& state) {
    scan_lines(state, ombrel_sscanf);
}

void with_sscanf(benchmark::State& state) {
    scan_lines(state, sscanf);
}

BENCHMARK(with_ombrel)->Name("scanner log lines|ombrel");
BENCHMARK(with_sscanf)->Name("scanner log lines|sscanf");

} // namespace
