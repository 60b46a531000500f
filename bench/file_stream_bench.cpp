// Buffered streams beside the C library's: bytes, lines and formatted text through files.

#include <cstdio>
#include <cstdlib>
#include <string>

#include <unistd.h>

#include <benchmark/benchmark.h>

#include <ombrel/file_stream.h>

namespace {

constexpr size_t file_size = 4 << 20;

/// Lines of 1 to 80 bytes, in memory where the system has a folder for that, so that no disk is measured.
class text_file {
public:
    text_file() {
        if (mkstemp(path_.data()) < 0) {
            path_ = "/tmp/ombrel_bench_XXXXXX";
            benchmark::DoNotOptimize(mkstemp(path_.data()));
        }
        std::string text;
        for (unsigned i = 0; text.size() < file_size; i++)
            text += std::string(1 + i * 2654435761u % 80, static_cast<char>('a' + i % 26)) + "\n";
        std::FILE* const file = fopen(path_.c_str(), "w");
        fwrite(text.data(), 1, text.size(), file);
        fclose(file);
    }
    ~text_file() { unlink(path_.c_str()); }
    const char* path() const { return path_.c_str(); }

private:
    std::string path_ = "/dev/shm/ombrel_bench_XXXXXX";
};

void count_bytes(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(file_size));
}

void our_bytes(benchmark::State& state) {
    const text_file file;
    for (auto _ : state) {
        ombrel_file_stream_t* const stream = ombrel_open_file_stream(file.path(), "r", nullptr);
        unsigned sum = 0;
        for (int byte; (byte = ombrel_file_stream_get_byte(stream)) >= 0;)
            sum += static_cast<unsigned>(byte);
        benchmark::DoNotOptimize(sum);
        ombrel_close_file_stream(stream);
    }
    count_bytes(state);
}

template<int (*get)(std::FILE*)>
void their_bytes(benchmark::State& state) {
    const text_file file;
    for (auto _ : state) {
        std::FILE* const stream = fopen(file.path(), "r");
        unsigned sum = 0;
        for (int byte; (byte = get(stream)) != EOF;)
            sum += static_cast<unsigned>(byte);
        benchmark::DoNotOptimize(sum);
        fclose(stream);
    }
    count_bytes(state);
}

int get_unlocked(std::FILE* stream) {
    return getc_unlocked(stream);
}

void our_puts(benchmark::State& state) {
    const text_file file;
    for (auto _ : state) {
        ombrel_file_stream_t* const stream = ombrel_open_file_stream(file.path(), "r+", nullptr);
        for (size_t i = 0; i < file_size; i++)
            ombrel_file_stream_put_byte(stream, static_cast<int>(i));
        ombrel_close_file_stream(stream);
    }
    count_bytes(state);
}

template<int (*put)(int, std::FILE*)>
void their_puts(benchmark::State& state) {
    const text_file file;
    for (auto _ : state) {
        std::FILE* const stream = fopen(file.path(), "r+");
        for (size_t i = 0; i < file_size; i++)
            put(static_cast<int>(i & 255), stream);
        fclose(stream);
    }
    count_bytes(state);
}

int put_unlocked(int byte, std::FILE* stream) {
    return putc_unlocked(byte, stream);
}

void our_lines(benchmark::State& state) {
    const text_file file;
    for (auto _ : state) {
        ombrel_file_stream_t* const stream = ombrel_open_file_stream(file.path(), "r", nullptr);
        char* line;
        size_t size, sum = 0;
        while (ombrel_file_stream_read_line(stream, &line, &size) > 0)
            sum += size;
        benchmark::DoNotOptimize(sum);
        ombrel_close_file_stream(stream);
    }
    count_bytes(state);
}

void their_lines(benchmark::State& state) {
    const text_file file;
    char* line = nullptr;
    size_t room = 0;
    for (auto _ : state) {
        std::FILE* const stream = fopen(file.path(), "r");
        ssize_t size, sum = 0;
        while ((size = getline(&line, &room, stream)) > 0)
            sum += size;
        benchmark::DoNotOptimize(sum);
        fclose(stream);
    }
    free(line);
    count_bytes(state);
}

constexpr char sample_line[] = "a line of a usual length, as programs write them one by one\n";
constexpr size_t lines = file_size / (sizeof sample_line - 1);

void our_written_lines(benchmark::State& state) {
    const text_file file;
    for (auto _ : state) {
        ombrel_file_stream_t* const stream = ombrel_open_file_stream(file.path(), "r+", nullptr);
        for (size_t i = 0; i < lines; i++)
            ombrel_file_stream_write_text(stream, sample_line);
        ombrel_close_file_stream(stream);
    }
    count_bytes(state);
}

void their_written_lines(benchmark::State& state) {
    const text_file file;
    for (auto _ : state) {
        std::FILE* const stream = fopen(file.path(), "r+");
        for (size_t i = 0; i < lines; i++)
            fputs(sample_line, stream);
        fclose(stream);
    }
    count_bytes(state);
}

void our_formatted_lines(benchmark::State& state) {
    const text_file file;
    for (auto _ : state) {
        ombrel_file_stream_t* const stream = ombrel_open_file_stream(file.path(), "r+", nullptr);
        for (int i = 0; i < 50000; i++)
            ombrel_file_stream_printf(stream, "%s: line %d of %x\n", "name", i, 50000);
        ombrel_close_file_stream(stream);
    }
}

void their_formatted_lines(benchmark::State& state) {
    const text_file file;
    for (auto _ : state) {
        std::FILE* const stream = fopen(file.path(), "r+");
        for (int i = 0; i < 50000; i++)
            fprintf(stream, "%s: line %d of %x\n", "name", i, 50000);
        fclose(stream);
    }
}

BENCHMARK(our_bytes)->Name("Buffered stream, read bytes|ombrel");
BENCHMARK(their_bytes<getc>)->Name("Buffered stream, read bytes|stdio");
BENCHMARK(our_bytes)->Name("Buffered stream, read bytes, no locks|ombrel");
BENCHMARK(their_bytes<get_unlocked>)->Name("Buffered stream, read bytes, no locks|stdio");
BENCHMARK(our_puts)->Name("Buffered stream, write bytes|ombrel");
BENCHMARK(their_puts<putc>)->Name("Buffered stream, write bytes|stdio");
BENCHMARK(our_puts)->Name("Buffered stream, write bytes, no locks|ombrel");
BENCHMARK(their_puts<put_unlocked>)->Name("Buffered stream, write bytes, no locks|stdio");
BENCHMARK(our_lines)->Name("Buffered stream, read lines|ombrel");
BENCHMARK(their_lines)->Name("Buffered stream, read lines|stdio");
BENCHMARK(our_written_lines)->Name("Buffered stream, write lines|ombrel");
BENCHMARK(their_written_lines)->Name("Buffered stream, write lines|stdio");
BENCHMARK(our_formatted_lines)->Name("Buffered stream, formatted lines|ombrel");
BENCHMARK(their_formatted_lines)->Name("Buffered stream, formatted lines|stdio");

} // namespace
