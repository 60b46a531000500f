#include <ombrel/regular.h>

#include <cstring>
#include <iterator>
#include <regex.h>

#include <benchmark/benchmark.h>

namespace {

// The same meaning in both dialects: { ours, POSIX extended }.
constexpr const char* patterns[][2] = {
    {"error", "error"},
    {"^2026", "^2026"},
    {"\\d+", "[0-9]+"},
    {"(\\d+)-(\\d+)-(\\d+)", "([0-9]+)-([0-9]+)-([0-9]+)"},
    {"GET (.*) HTTP", "GET (.*) HTTP"},
    {"user=(\\S+)", "user=([^ ]+)"},
    {"timeout|refused", "timeout|refused"},
    {"ms$", "ms$"},
    {"[abc]+d", "[abc]+d"},
    {"\\[\\d+\\]", "\\[[0-9]+\\]"},
    {"code=\\d\\d\\d", "code=[0-9][0-9][0-9]"},
    {"a.c", "a.c"},
    {"(warn|error): ", "(warn|error): "},
    {"\\s\\d+ms", " [0-9]+ms"},
    {"/index.html?", "/index.html?"},
    {"^.*$", "^.*$"},
    {"x*y", "x*y"},
    {"port \\d+", "port [0-9]+"},
    {"[^ ]+@[^ ]+", "[^ ]+@[^ ]+"},
    {"zzz", "zzz"},
};

constexpr const char* lines[] = {
    "2026-11-21 08:00:01 [4711] info: GET /index.html HTTP/1.1 code=200 12ms",
    "2026-11-21 08:00:02 [4711] error: connection refused by 192.0.2.7 port 8080",
    "2026-11-21 08:00:03 [4712] warn: user=ann@example.org timeout after 3000ms",
};

void ours(benchmark::State& state) {
    ombrel_regular_capture_t captures[8];
    for (auto _ : state)
        for (const auto& pattern : patterns)
            for (const char* line : lines)
                benchmark::DoNotOptimize(ombrel_regular_match(0, pattern[0], line,
                                                              static_cast<int>(strlen(line)), captures,
                                                              static_cast<int>(std::size(captures))));
}

void peer(benchmark::State& state) {
    regmatch_t captures[8];
    for (auto _ : state)
        for (const auto& pattern : patterns)
            for (const char* line : lines) {
                regex_t compiled;
                regcomp(&compiled, pattern[1], REG_EXTENDED);
                benchmark::DoNotOptimize(regexec(&compiled, line, std::size(captures), captures, 0));
                regfree(&compiled);
            }
}

BENCHMARK(ours)->Name("regular expressions over log lines|ombrel");
BENCHMARK(peer)->Name("regular expressions over log lines|regcomp+regexec");

} // namespace
