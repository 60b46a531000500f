#include <ombrel/slab.h>

#include <cstdlib>

#include <benchmark/benchmark.h>

namespace {

constexpr size_t object_size = 64;
constexpr size_t held = 64;

void with_slab(benchmark::State& state) {
    alignas(16) static char area[held * 80 + 64];
    ombrel_slab_t* slab = ombrel_init_slab(area, sizeof area, object_size);
    void* objects[held];
    for (auto _ : state) {
        for (void*& object : objects)
            benchmark::DoNotOptimize(object = ombrel_slab_alloc(slab));
        for (void* object : objects)
            ombrel_slab_free(slab, object);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(held));
}

void with_malloc(benchmark::State& state) {
    void* objects[held];
    for (auto _ : state) {
        for (void*& object : objects)
            benchmark::DoNotOptimize(object = malloc(object_size));
        for (void* object : objects)
            free(object);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(held));
}

BENCHMARK(with_slab)->Name("slab alloc and free|ombrel");
BENCHMARK(with_malloc)->Name("slab alloc and free|malloc");

} // namespace
