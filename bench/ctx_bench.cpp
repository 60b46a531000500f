// What contexts cost: an operation beside a call through the plug-in's own table, and opening among 20
// plug-ins beside a search of their hints by the platform's matcher.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <fnmatch.h>

#include <ombrel/ctx_interface.h>

namespace {

constexpr int plugin_count = 20;
constexpr const char wanted_type[] = "bench/stream_0";

/// Copies of the plug-in under different names, each for a type of its own; the oldest serves the wanted one.
class plugins {
public:
    plugins() {
        builtin_ = ombrel_load_plugin(nullptr, nullptr);
        folder_ = std::filesystem::temp_directory_path() / ("ombrel_bench_" + std::to_string(std::rand()));
        std::filesystem::create_directories(folder_);
        for (int i = 0; i < plugin_count; i++) {
            const auto copy = folder_ / ("copy_" + std::to_string(i) + ".so");
            std::filesystem::copy_file(OMBREL_BENCH_PLUGIN, copy);
            setenv("BENCH_HINT",
                   ("bench/frame_" + std::to_string(i) + ";bench/stream_" + std::to_string(i)).c_str(), 1);
            handles_.push_back(ombrel_load_plugin(copy.c_str(), nullptr));
        }
    }
    ~plugins() {
        for (const int handle : handles_)
            ombrel_unload_plugin(handle);
        ombrel_unload_plugin(builtin_);
        std::filesystem::remove_all(folder_);
    }

    const ombrel_ctx0_v0_interface_t* table(int i) const {
        return static_cast<const ombrel_ctx0_v0_interface_t*>(
            ombrel_plugin_get_interface(handles_[static_cast<size_t>(i)]));
    }
    const char* hint(int i) const {
        return ombrel_plugin_get_mime_type_hint(handles_[static_cast<size_t>(i)]);
    }

private:
    int builtin_;
    std::filesystem::path folder_;
    std::vector<int> handles_;
};

void write_through_context(benchmark::State& state) {
    const plugins loaded;
    const int ctx = ombrel_new_ctx();
    if (ombrel_open_ctx(ctx, wanted_type) != 0)
        state.SkipWithError("the context does not open");
    for (auto _ : state)
        benchmark::DoNotOptimize(ombrel_ctx_write(ctx, "x", 1));
    ombrel_destroy_ctx(ctx);
}

void write_through_pointer(benchmark::State& state) {
    const plugins loaded;
    const auto* table = loaded.table(0);
    for (auto _ : state) {
        benchmark::DoNotOptimize(table);
        benchmark::DoNotOptimize(table->m_write(1, "x", 1));
    }
}

void open_context(benchmark::State& state) {
    const plugins loaded;
    const int ctx = ombrel_new_ctx();
    for (auto _ : state) {
        if (ombrel_open_ctx(ctx, wanted_type) != 0)
            state.SkipWithError("the context does not open");
        ombrel_close_ctx(ctx);
    }
    ombrel_destroy_ctx(ctx);
}

// Whether one of the patterns between semicolons matches.
bool covers(std::string hint, const char* type) {
    for (size_t at = 0; at < hint.size();) {
        const size_t end = std::min(hint.find(';', at), hint.size());
        if (fnmatch(hint.substr(at, end - at).c_str(), type, 0) == 0)
            return true;
        at = end + 1;
    }
    return false;
}

void search_hints(benchmark::State& state) {
    const plugins loaded;
    for (auto _ : state) {
        int i = plugin_count - 1;
        while (i > 0 && !covers(loaded.hint(i), wanted_type))
            i--;
        benchmark::DoNotOptimize(loaded.table(i)->m_open(1, wanted_type));
        loaded.table(i)->m_close(1);
    }
}

} // namespace

BENCHMARK(write_through_context)->Name("write of a context|ombrel");
BENCHMARK(write_through_pointer)->Name("write of a context|peer");
BENCHMARK(open_context)->Name("open and close among 20 plug-ins|ombrel");
BENCHMARK(search_hints)->Name("open and close among 20 plug-ins|peer");
