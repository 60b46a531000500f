// The tagged heap beside the platform's allocator, in a number of threads. One thread and two have programs
// of their own: both heaps save their locks as long as a process has one thread.
#pragma once

#include <benchmark/benchmark.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <ombrel/heap.h>

namespace {

struct tagged_heap {
    static constexpr const char name[] = "ombrel";
    static void* allocate(size_t size) { return ombrel_alloc(size); }
    static void release(void* block) { ombrel_free(block); }
};

struct platform_heap {
    static constexpr const char name[] = "malloc";
    static void* allocate(size_t size) { return malloc(size); }
    static void release(void* block) { free(block); }
};

template<typename Heap>
void allocate_and_free(benchmark::State& state, size_t size) {
    for (auto _ : state) {
        void* block = Heap::allocate(size);
        benchmark::DoNotOptimize(block);
        Heap::release(block);
    }
}

// Blocks of 16 to 4,096 bytes, replaced in no particular order.
template<typename Heap>
void replace_any(benchmark::State& state) {
    uint32_t random = 0x12345678u + static_cast<uint32_t>(state.thread_index());
    const auto next_size = [&random] {
        random = random * 1664525u + 1013904223u;
        return size_t{16} << ((random >> 8) % 9);
    };
    std::array<void*, 64> blocks;
    for (void*& block : blocks)
        block = Heap::allocate(next_size());
    for (auto _ : state) {
        void*& block = blocks[(random >> 20) % blocks.size()];
        Heap::release(block);
        block = Heap::allocate(next_size());
        benchmark::DoNotOptimize(block);
    }
    for (void* block : blocks)
        Heap::release(block);
}

template<typename Heap, typename Work>
void register_work(const std::string& name, int threads, Work work) {
    const std::string full = name + (threads == 1 ? " one thread|" : " two threads|") + Heap::name;
    auto* const made = benchmark::RegisterBenchmark(full.c_str(), work)->UseRealTime();
    if (threads > 1)
        made->Threads(threads);
}

template<typename Heap>
void register_heap(int threads) {
    for (const size_t size : {size_t{16}, size_t{256}, size_t{4096}})
        register_work<Heap>("heap " + std::to_string(size) + " B", threads,
                            [size](benchmark::State& state) { allocate_and_free<Heap>(state, size); });
    register_work<Heap>("heap mix", threads, replace_any<Heap>);
}

inline bool register_heaps(int threads) {
    register_heap<tagged_heap>(threads);
    register_heap<platform_heap>(threads);
    return true;
}

} // namespace
