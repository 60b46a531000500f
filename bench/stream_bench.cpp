// Streams of contexts beside the C library's: files in blocks, and the way from a context to its plug-in.

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <unistd.h>

#include <benchmark/benchmark.h>

#include <ombrel/builtin_stream.h>

namespace {

constexpr size_t block_size = 64 * 1024;
constexpr int blocks = 256;

/// A file in memory where the system has such, so that no disk is measured.
class scratch_file {
public:
    scratch_file() {
        char name[] = "/dev/shm/ombrel_bench_XXXXXX";
        char other[] = "/tmp/ombrel_bench_XXXXXX";
        int descriptor = mkstemp(name);
        path_ = name;
        if (descriptor < 0) {
            descriptor = mkstemp(other);
            path_ = other;
        }
        const std::vector<char> block(block_size, 'x');
        for (int i = 0; i < blocks; i++)
            benchmark::DoNotOptimize(write(descriptor, block.data(), block.size()));
        close(descriptor);
    }
    ~scratch_file() { unlink(path_.c_str()); }
    const char* path() const { return path_.c_str(); }

private:
    std::string path_;
};

void count_bytes(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(block_size) * blocks);
}

void our_reads(benchmark::State& state) {
    const scratch_file file;
    std::vector<char> block(block_size);
    const int ctx = ombrel_new_ctx();
    ombrel_open_ctx_stream(ctx, file.path(), "r", 0);
    for (auto _ : state) {
        ombrel_ctx_rewind(ctx);
        for (int i = 0; i < blocks; i++)
            benchmark::DoNotOptimize(ombrel_ctx_read(ctx, block.data(), block.size()));
    }
    ombrel_destroy_ctx(ctx);
    count_bytes(state);
}

void their_reads(benchmark::State& state) {
    const scratch_file file;
    std::vector<char> block(block_size);
    std::FILE* const stream = fopen(file.path(), "r");
    for (auto _ : state) {
        std::rewind(stream);
        for (int i = 0; i < blocks; i++)
            benchmark::DoNotOptimize(fread(block.data(), 1, block.size(), stream));
    }
    fclose(stream);
    count_bytes(state);
}

void our_writes(benchmark::State& state) {
    const scratch_file file;
    const std::vector<char> block(block_size, 'y');
    const int ctx = ombrel_new_ctx();
    ombrel_open_ctx_stream(ctx, file.path(), "r+", 0);
    for (auto _ : state) {
        ombrel_ctx_rewind(ctx);
        for (int i = 0; i < blocks; i++)
            benchmark::DoNotOptimize(ombrel_ctx_write(ctx, block.data(), block.size()));
    }
    ombrel_destroy_ctx(ctx);
    count_bytes(state);
}

void their_writes(benchmark::State& state) {
    const scratch_file file;
    const std::vector<char> block(block_size, 'y');
    std::FILE* const stream = fopen(file.path(), "r+");
    for (auto _ : state) {
        std::rewind(stream);
        for (int i = 0; i < blocks; i++)
            benchmark::DoNotOptimize(fwrite(block.data(), 1, block.size(), stream));
    }
    fclose(stream);
    count_bytes(state);
}

void our_open_and_close(benchmark::State& state) {
    const scratch_file file;
    const int ctx = ombrel_new_ctx();
    for (auto _ : state) {
        ombrel_open_ctx_stream(ctx, file.path(), "r", 0);
        ombrel_close_ctx(ctx);
    }
    ombrel_destroy_ctx(ctx);
}

void their_open_and_close(benchmark::State& state) {
    const scratch_file file;
    for (auto _ : state)
        fclose(fopen(file.path(), "r"));
}

BENCHMARK(our_reads)->Name("File stream, read 64 KiB blocks|ombrel");
BENCHMARK(their_reads)->Name("File stream, read 64 KiB blocks|stdio");
BENCHMARK(our_writes)->Name("File stream, write 64 KiB blocks|ombrel");
BENCHMARK(their_writes)->Name("File stream, write 64 KiB blocks|stdio");
BENCHMARK(our_open_and_close)->Name("File stream, open and close|ombrel");
BENCHMARK(their_open_and_close)->Name("File stream, open and close|stdio");

} // namespace
