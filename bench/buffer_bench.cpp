// The buffer chain beside libevent's evbuffer: the same bytes through both.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <event2/buffer.h>

#include <ombrel/buffer.h>
#include <ombrel/heap.h>

namespace {

struct ombrel_queue {
    ombrel_buffer_t* buffer = ombrel_open_buffer();
    ~ombrel_queue() { ombrel_close_buffer(buffer); }
    void push(const void* data, size_t size) { ombrel_push_buffer(buffer, data, size); }
    size_t pop(void* dest, size_t size) { return ombrel_pop_buffer(buffer, dest, size); }
    char* line() { return ombrel_pop_buffer_line(buffer); }
    static void release(char* line) { ombrel_free(line); }
};

struct libevent_queue {
    evbuffer* buffer = evbuffer_new();
    ~libevent_queue() { evbuffer_free(buffer); }
    void push(const void* data, size_t size) { evbuffer_add(buffer, data, size); }
    size_t pop(void* dest, size_t size) { return static_cast<size_t>(evbuffer_remove(buffer, dest, size)); }
    char* line() { return evbuffer_readln(buffer, nullptr, EVBUFFER_EOL_ANY); }
    static void release(char* line) { free(line); }
};

constexpr size_t filled = 256 * 1024;

// Bytes to push and room to pop them, each at its own distance from the start of a page: addresses that agree
// in their low twelve bits slow a copy down, and must not by chance do so for one of the two.
struct ends {
    explicit ends(size_t bytes) : size(bytes), memory(2 * (size + 2 * page), 'x') {
        const auto start = reinterpret_cast<uintptr_t>(memory.data());
        from = memory.data() + (page - start % page) + page / 4;
        to = from + (size + page - 1) / page * page + page / 4;
    }
    static constexpr size_t page = 4096;
    size_t size;
    std::vector<char> memory;
    char *from, *to;
};

// One piece in, the same piece out.
template<typename queue_t>
void push_and_pop(benchmark::State& state) {
    const ends piece(static_cast<size_t>(state.range(0)));
    queue_t queue;
    for (auto _ : state) {
        queue.push(piece.from, piece.size);
        benchmark::DoNotOptimize(queue.pop(piece.to, piece.size));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

// Many pieces in, then all of them out.
template<typename queue_t>
void fill_and_drain(benchmark::State& state) {
    const ends piece(static_cast<size_t>(state.range(0)));
    queue_t queue;
    for (auto _ : state) {
        for (size_t size = 0; size < filled; size += piece.size)
            queue.push(piece.from, piece.size);
        while (queue.pop(piece.to, piece.size) != 0)
            benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(filled));
}

// Text arrives in pieces of 4 KiB and leaves in lines.
template<typename queue_t>
void take_lines(benchmark::State& state) {
    std::string text;
    while (text.size() < filled)
        text += std::string(static_cast<size_t>(state.range(0)) - 2, 'x') + "\r\n";
    queue_t queue;
    for (auto _ : state) {
        for (size_t at = 0; at < text.size(); at += 4096)
            queue.push(text.data() + at, std::min<size_t>(4096, text.size() - at));
        while (char* line = queue.line())
            queue_t::release(line);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}

void sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->RangeMultiplier(4)->Range(64, 65536);
}

BENCHMARK(push_and_pop<ombrel_queue>)->Name("buffer push and pop|ombrel")->Apply(sizes);
BENCHMARK(push_and_pop<libevent_queue>)->Name("buffer push and pop|libevent")->Apply(sizes);
BENCHMARK(fill_and_drain<ombrel_queue>)->Name("buffer fill and drain|ombrel")->Apply(sizes);
BENCHMARK(fill_and_drain<libevent_queue>)->Name("buffer fill and drain|libevent")->Apply(sizes);
BENCHMARK(take_lines<ombrel_queue>)->Name("buffer take lines|ombrel")->Apply(sizes);
BENCHMARK(take_lines<libevent_queue>)->Name("buffer take lines|libevent")->Apply(sizes);

} // namespace
