// Copies of 1 GiB beside cp, whose start is part of what is measured, as a program that calls it waits for
// that too. They lie in memory where there is room, so that no disk is measured.

#include <cstdlib>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <ombrel/file.h>

namespace {

constexpr int64_t mib = int64_t{1} << 20, size = 1024 * mib;

std::string folder() {
    ombrel_file_space_t space;
    const bool fits = ombrel_get_file_space("/dev/shm", &space) == 0 && space.m_available > 3 * size;
    return fits ? "/dev/shm/ombrel_bench" : "ombrel_bench";
}

/// The original, made once, and the path of its copy; both are gone at the end.
class files {
public:
    /// @param step of each so many MiB one has bytes
    explicit files(int64_t step) : from_(folder() + std::to_string(step)), to_(from_ + ".copy") {
        const std::vector<char> bytes(mib, 'x');
        const int fd = ombrel_open_file(
            from_.c_str(), def_ombrel_file_write | def_ombrel_file_create | def_ombrel_file_truncate, 0600);
        for (int64_t at = 0; at < size; at += step * mib)
            ombrel_file_write_all_at(fd, bytes.data(), bytes.size(), at);
        ombrel_file_set_size(fd, size);
        ombrel_close_file(fd);
    }
    ~files() { ombrel_remove_file(from_.c_str()); }
    files(const files&) = delete;
    files& operator=(const files&) = delete;

    const char* from() const { return from_.c_str(); }
    const char* to() const { return to_.c_str(); }

private:
    std::string from_, to_;
};

template<int64_t step>
const files& original() {
    static const files made(step);
    return made;
}

bool copy(const files& paths) {
    return ombrel_copy_file(paths.from(), paths.to(), 0, nullptr, nullptr) == 0;
}

bool run_cp(const files& paths) {
    std::string words[] = {"cp", paths.from(), paths.to()};
    char* arguments[] = {words[0].data(), words[1].data(), words[2].data(), nullptr};
    pid_t child;
    int status = -1;
    return posix_spawnp(&child, "cp", nullptr, nullptr, arguments, environ) == 0 &&
           waitpid(child, &status, 0) == child && status == 0;
}

template<int64_t step, bool (*work)(const files&)>
void copy_file(benchmark::State& state) {
    const files& paths = original<step>();
    for (auto _ : state) {
        if (!work(paths))
            state.SkipWithError("the copy failed");
        state.PauseTiming();
        ombrel_remove_file(paths.to());
        state.ResumeTiming();
    }
}

BENCHMARK(copy_file<1, copy>)->Name("Copy of 1 GiB|ombrel")->UseRealTime();
BENCHMARK(copy_file<1, run_cp>)->Name("Copy of 1 GiB|cp")->UseRealTime();
BENCHMARK(copy_file<20, copy>)->Name("Copy of 1 GiB with holes|ombrel")->UseRealTime();
BENCHMARK(copy_file<20, run_cp>)->Name("Copy of 1 GiB with holes|cp")->UseRealTime();

} // namespace
