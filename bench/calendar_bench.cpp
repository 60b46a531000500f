// The calendar and its texts beside the C library's, identifiers beside libuuid's.

#include <benchmark/benchmark.h>
#include <ctime>
#include <random>
#include <uuid/uuid.h>
#include <vector>

#include <ombrel/calendar.h>
#include <ombrel/uuid.h>

namespace {

/// Moments of a hundred years, in no order.
const std::vector<int64_t>& moments() {
    static const std::vector<int64_t> all = [] {
        std::mt19937_64 source(1);
        std::vector<int64_t> made(1024);
        for (int64_t& moment : made)
            moment = static_cast<int64_t>(source() % 3'155'760'000);
        return made;
    }();
    return all;
}

std::vector<ombrel_civil_time_t> civil_times() {
    std::vector<ombrel_civil_time_t> times(moments().size());
    for (size_t i = 0; i < times.size(); i++) {
        const ombrel_instant_t instant{moments()[i], 0};
        ombrel_make_utc_time(&instant, &times[i]);
    }
    return times;
}

std::vector<tm> broken_down_times() {
    std::vector<tm> times(moments().size());
    for (size_t i = 0; i < times.size(); i++)
        gmtime_r(&moments()[i], &times[i]);
    return times;
}

void to_civil(benchmark::State& state) {
    for (auto _ : state)
        for (const int64_t moment : moments()) {
            const ombrel_instant_t instant{moment, 0};
            ombrel_civil_time_t time;
            ombrel_make_utc_time(&instant, &time);
            benchmark::DoNotOptimize(time);
        }
}

void with_gmtime(benchmark::State& state) {
    for (auto _ : state)
        for (const time_t moment : moments()) {
            tm time;
            gmtime_r(&moment, &time);
            benchmark::DoNotOptimize(time);
        }
}

void from_civil(benchmark::State& state) {
    const std::vector<ombrel_civil_time_t> times = civil_times();
    for (auto _ : state)
        for (const ombrel_civil_time_t& time : times) {
            ombrel_instant_t instant;
            ombrel_get_civil_instant(&time, &instant);
            benchmark::DoNotOptimize(instant);
        }
}

void with_timegm(benchmark::State& state) {
    std::vector<tm> times = broken_down_times();
    for (auto _ : state)
        for (tm& time : times)
            benchmark::DoNotOptimize(timegm(&time));
}

constexpr const char* formats[] = {"%Y-%m-%d %H:%M:%S", "%a, %d %b %Y %H:%M:%S GMT", "%A %B %e %I:%M %p"};

void to_text(benchmark::State& state) {
    const std::vector<ombrel_civil_time_t> times = civil_times();
    char text[64];
    for (auto _ : state)
        for (size_t i = 0; i < times.size(); i++) {
            ombrel_format_time(text, sizeof text, formats[i % 3], &times[i]);
            benchmark::DoNotOptimize(text);
        }
}

void with_strftime(benchmark::State& state) {
    const std::vector<tm> times = broken_down_times();
    char text[64];
    for (auto _ : state)
        for (size_t i = 0; i < times.size(); i++) {
            strftime(text, sizeof text, formats[i % 3], &times[i]);
            benchmark::DoNotOptimize(text);
        }
}

void parse_http(benchmark::State& state) {
    for (auto _ : state) {
        ombrel_instant_t instant;
        ombrel_parse_http_date("Sun, 06 Nov 1994 08:49:37 GMT", nullptr, &instant, nullptr);
        benchmark::DoNotOptimize(instant);
    }
}

void with_strptime(benchmark::State& state) {
    for (auto _ : state) {
        tm time{};
        strptime("Sun, 06 Nov 1994 08:49:37 GMT", "%a, %d %b %Y %H:%M:%S GMT", &time);
        benchmark::DoNotOptimize(timegm(&time));
    }
}

BENCHMARK(to_civil)->Name("calendar from seconds|ombrel");
BENCHMARK(with_gmtime)->Name("calendar from seconds|gmtime_r");
BENCHMARK(from_civil)->Name("calendar to seconds|ombrel");
BENCHMARK(with_timegm)->Name("calendar to seconds|timegm");
BENCHMARK(to_text)->Name("calendar to text|ombrel");
BENCHMARK(with_strftime)->Name("calendar to text|strftime");
BENCHMARK(parse_http)->Name("calendar from HTTP date|ombrel");
BENCHMARK(with_strptime)->Name("calendar from HTTP date|strptime");

constexpr const char* uuid_text = "c232ab00-9414-11ec-b3c8-9f6bdeced846";

void print_uuid(benchmark::State& state) {
    ombrel_uuid_t uuid;
    ombrel_parse_uuid(uuid_text, 0, &uuid, nullptr);
    char text[def_ombrel_uuid_text_size];
    for (auto _ : state) {
        ombrel_format_uuid(text, sizeof text, &uuid, 0);
        benchmark::DoNotOptimize(text);
        benchmark::DoNotOptimize(uuid);
    }
}

void with_uuid_unparse(benchmark::State& state) {
    uuid_t uuid;
    uuid_parse(uuid_text, uuid);
    char text[37];
    for (auto _ : state) {
        uuid_unparse_lower(uuid, text);
        benchmark::DoNotOptimize(text);
        benchmark::DoNotOptimize(uuid);
    }
}

void parse_uuid(benchmark::State& state) {
    for (auto _ : state) {
        ombrel_uuid_t uuid;
        ombrel_parse_uuid(uuid_text, 0, &uuid, nullptr);
        benchmark::DoNotOptimize(uuid);
    }
}

void with_uuid_parse(benchmark::State& state) {
    for (auto _ : state) {
        uuid_t uuid;
        uuid_parse(uuid_text, uuid);
        benchmark::DoNotOptimize(uuid);
    }
}

void make_uuid(benchmark::State& state) {
    for (auto _ : state) {
        ombrel_uuid_t uuid;
        ombrel_make_uuid(4, &uuid);
        benchmark::DoNotOptimize(uuid);
    }
}

void with_uuid_generate(benchmark::State& state) {
    for (auto _ : state) {
        uuid_t uuid;
        uuid_generate_random(uuid);
        benchmark::DoNotOptimize(uuid);
    }
}

BENCHMARK(print_uuid)->Name("uuid to text|ombrel");
BENCHMARK(with_uuid_unparse)->Name("uuid to text|libuuid");
BENCHMARK(parse_uuid)->Name("uuid from text|ombrel");
BENCHMARK(with_uuid_parse)->Name("uuid from text|libuuid");
BENCHMARK(make_uuid)->Name("uuid random|ombrel");
BENCHMARK(with_uuid_generate)->Name("uuid random|libuuid");

} // namespace
