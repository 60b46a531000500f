// The objects of C++ beside the same work by the C functions: what lies between them is to cost nothing.

#include <cstdint>
#include <string_view>

#include <benchmark/benchmark.h>

#include <ombrel_tuk.hpp>

namespace {

void format_by_object(benchmark::State& state) {
    int number = 1;
    for (auto _ : state)
        benchmark::DoNotOptimize(ombrel::format("%d %s %08llX", number++, "text", 0xbeefull).get());
}
void format_by_call(benchmark::State& state) {
    int number = 1;
    for (auto _ : state) {
        char* const text = ombrel_alloc_sprintf("%d %s %08llX", number++, "text", 0xbeefull);
        benchmark::DoNotOptimize(text);
        ombrel_free(text);
    }
}

void queue_by_object(benchmark::State& state) {
    const auto queue = ombrel::buffer::open();
    char bytes[64];
    for (auto _ : state) {
        queue.push("a line of some bytes\n");
        benchmark::DoNotOptimize(queue.pop(bytes, sizeof bytes));
    }
}
void queue_by_call(benchmark::State& state) {
    ombrel_buffer_t* const queue = ombrel_open_buffer();
    char bytes[64];
    for (auto _ : state) {
        ombrel_push_buffer(queue, "a line of some bytes\n", 21);
        benchmark::DoNotOptimize(ombrel_pop_buffer(queue, bytes, sizeof bytes));
    }
    ombrel_close_buffer(queue);
}

void lock_by_object(benchmark::State& state) {
    ombrel::lock lock;
    for (auto _ : state)
        const ombrel::guard held(lock);
}
void lock_by_call(benchmark::State& state) {
    ombrel_lock_t lock;
    ombrel_init_lock(&lock);
    for (auto _ : state) {
        ombrel_lock(&lock);
        ombrel_unlock(&lock);
    }
    ombrel_uninit_lock(&lock);
}

// A persistent chain: each handler adds its event again, as the next iteration's.
constexpr uint32_t once = def_ombrel_event_loop_once | def_ombrel_event_loop_non_block;

void event_by_object(benchmark::State& state) {
    const auto base = ombrel::event_base::open();
    uint64_t calls = 0;
    const auto event = ombrel::event::open_timer(base, [&calls](ombrel::event_ref) { calls++; });
    for (auto _ : state) {
        event.add(0);
        base.loop(once);
    }
    benchmark::DoNotOptimize(calls);
}
void count_call(ombrel_event_t*, int, uint32_t result, void* context) {
    if (result != def_ombrel_event_assigned)
        ++*static_cast<uint64_t*>(context);
}
void event_by_call(benchmark::State& state) {
    ombrel_event_base_t* const base = ombrel_new_event_base();
    uint64_t calls = 0;
    ombrel_event_t* const event = ombrel_new_event(base, -1, 0, count_call, &calls);
    for (auto _ : state) {
        ombrel_add_event(event, 0);
        ombrel_event_base_loop(base, once);
    }
    benchmark::DoNotOptimize(calls);
    ombrel_free_event(event);
    ombrel_free_event_base(base);
}

void open_by_object(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(ombrel::buffer::open().get());
}
void open_by_call(benchmark::State& state) {
    for (auto _ : state) {
        ombrel_buffer_t* const queue = ombrel_open_buffer();
        benchmark::DoNotOptimize(queue);
        ombrel_close_buffer(queue);
    }
}

BENCHMARK(open_by_object)->Name("cpp: open and close a queue|ombrel");
BENCHMARK(open_by_call)->Name("cpp: open and close a queue|peer");
BENCHMARK(queue_by_object)->Name("cpp: push and pop|ombrel");
BENCHMARK(queue_by_call)->Name("cpp: push and pop|peer");
BENCHMARK(format_by_object)->Name("cpp: format a text|ombrel");
BENCHMARK(format_by_call)->Name("cpp: format a text|peer");
BENCHMARK(lock_by_object)->Name("cpp: lock and unlock|ombrel");
BENCHMARK(lock_by_call)->Name("cpp: lock and unlock|peer");
BENCHMARK(event_by_object)->Name("cpp: add an event and handle it|ombrel");
BENCHMARK(event_by_call)->Name("cpp: add an event and handle it|peer");

} // namespace
