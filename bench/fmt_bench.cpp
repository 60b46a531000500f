// The formatter beside {fmt}, whose formats are read at run time, as ours are, or turned into code by the
// compiler.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <benchmark/benchmark.h>
#include <fmt/compile.h>
#include <fmt/format.h>

#include <ombrel/printf.h>
#include <ombrel_tuk.hpp>

namespace {

constexpr size_t room = 128;

struct values {
    const char* text;
    unsigned long line;
    int status;
    unsigned address;
    unsigned long long count;
    double seconds;
};

constexpr values given[] = {
    {"accept_client", 118, 0, 0x7f3a01, 7, 0.004},
    {"read_request", 2045, -11, 0x1, 281474976710656, 12.75},
    {"resolver_cache", 77, 200, 0xdeadbeef, 1000000007, 1.5},
    {"flush_queue", 390217, 404, 0xc0ffee, 45, 845.0625},
};

/// One of the ways to write a line: `write(to, values)` gives its length.
struct way {
    const char* who;
    size_t (*write)(char* to, const values& of);
};

struct work {
    const char* name;
    way ours, at_run_time, compiled;
};

template<typename... Args>
size_t format_at_run_time(char* to, const char* format, const Args&... args) {
    return static_cast<size_t>(fmt::vformat_to(to, format, fmt::make_format_args(args...)) - to);
}

// A line of code is what differs, so that a macro says it once for each side.
#define LINE(name, our_format, their_format, ...)                                                            \
    work {                                                                                                   \
        name,                                                                                                \
            {"ombrel",                                                                                       \
             [](char* to, const values& of) {                                                                \
                 return static_cast<size_t>(ombrel_snprintf(to, room, our_format, __VA_ARGS__));             \
             }},                                                                                             \
            {"fmt, at run time",                                                                             \
             [](char* to, const values& of) { return format_at_run_time(to, their_format, __VA_ARGS__); }},  \
        {                                                                                                    \
            "fmt, compiled", [](char* to, const values& of) {                                                \
                return static_cast<size_t>(fmt::format_to(to, FMT_COMPILE(their_format), __VA_ARGS__) - to); \
            }                                                                                                \
        }                                                                                                    \
    }

const work works[] = {
    LINE("one number", "%d", "{}", of.status),
    LINE("numbers", "%lu %llu %d", "{} {} {}", of.line, of.count, of.status),
    LINE("wide numbers", "%8d|%08u", "{:8}|{:08}", of.status, of.address),
    LINE("hexadecimal", "%x %08X %llx", "{:x} {:08X} {:x}", of.address, of.address, of.count),
    LINE("texts", "%s and %s", "{} and {}", of.text, of.text),
    LINE("wide text", "%20s|%-20s|", "{:>20}|{:<20}|", of.text, of.text),
    LINE("fixed point", "%.3f", "{:.3f}", of.seconds),
    LINE("mixed line", "[%s:%lu] status %d session %08X of %llu", "[{}:{}] status {} session {:08X} of {}",
         of.text, of.line, of.status, of.address, of.count),
    LINE("mixed line with a time", "[%s:%lu] status %d session %08X after %.3f s",
         "[{}:{}] status {} session {:08X} after {:.3f} s", of.text, of.line, of.status, of.address,
         of.seconds),
};

#undef LINE

void require_same_text(const work& one) {
    for (const values& of : given) {
        char mine[room], theirs[room];
        const size_t size = one.ours.write(mine, of);
        for (const way* other : {&one.at_run_time, &one.compiled})
            if (other->write(theirs, of) != size || memcmp(mine, theirs, size) != 0)
                fprintf(stderr, "%s: \"%.*s\" is not what %s gives\n", one.name, static_cast<int>(size), mine,
                        other->who),
                    exit(1);
    }
}

void write_lines(benchmark::State& state, const way& chosen) {
    char line[room];
    for (auto _ : state)
        for (const values& of : given) {
            benchmark::DoNotOptimize(chosen.write(line, of));
            benchmark::ClobberMemory();
        }
}

// The objects of C++: a text of its own for each line.

void make_text_by_ombrel(benchmark::State& state) {
    for (auto _ : state)
        for (const values& of : given)
            benchmark::DoNotOptimize(
                ombrel::format("[%s:%lu] status %d session %08X", of.text, of.line, of.status, of.address)
                    .get());
}
void make_text_by_fmt(benchmark::State& state) {
    for (auto _ : state)
        for (const values& of : given)
            benchmark::DoNotOptimize(
                fmt::format("[{}:{}] status {} session {:08X}", of.text, of.line, of.status, of.address)
                    .data());
}

[[maybe_unused]] const int registered = [] {
    for (const work& one : works) {
        require_same_text(one);
        for (const way* each : {&one.ours, &one.at_run_time, &one.compiled})
            benchmark::RegisterBenchmark((std::string("formatter, ") + one.name + "|" + each->who).c_str(),
                                         [each](benchmark::State& state) { write_lines(state, *each); });
    }
    return 0;
}();

BENCHMARK(make_text_by_ombrel)->Name("formatter, a text of C++|ombrel");
BENCHMARK(make_text_by_fmt)->Name("formatter, a text of C++|fmt");

} // namespace
