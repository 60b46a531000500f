// Starting programs and waiting for them beside posix_spawn(), and a walk over all processes beside ps, whose
// own start is a part of what a program that calls it waits for.

#include <cstdlib>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <ombrel/process.h>
#include <ombrel/process_list.h>

extern char** environ;

namespace {

/// Memory of a program that has grown: what a copy of its map would cost.
const std::vector<char> ballast(256u << 20, 'x');

int spawn(std::vector<std::string> words) {
    std::vector<char*> arguments;
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDWR, 0);
    posix_spawn_file_actions_adddup2(&actions, 0, 1);
    posix_spawn_file_actions_addclosefrom_np(&actions, 3);
    pid_t process = -1;
    int status = -1;
    if (posix_spawn(&process, arguments[0], &actions, nullptr, arguments.data(), environ) == 0)
        waitpid(process, &status, 0);
    posix_spawn_file_actions_destroy(&actions);
    return status;
}

void our_start(benchmark::State& state) {
    benchmark::DoNotOptimize(ballast.data());
    const char* const arguments[] = {"/bin/true", nullptr};
    ombrel_process_options_t options;
    ombrel_init_process_options(&options);
    options.m_input.m_kind = options.m_output.m_kind = def_ombrel_process_nothing;
    for (auto _ : state) {
        ombrel_process_t* const process = ombrel_open_process(arguments, &options);
        ombrel_process_wait(process, -1, nullptr);
        ombrel_close_process(process);
    }
}

void their_start(benchmark::State& state) {
    for (auto _ : state)
        spawn({"/bin/true"});
}

void our_walk(benchmark::State& state) {
    for (auto _ : state) {
        ombrel_process_list_t* const list = ombrel_open_process_list(def_ombrel_process_list_arguments);
        ombrel_process_info_t info;
        while (ombrel_process_list_next(list, &info) == 1)
            benchmark::DoNotOptimize(info.m_resident);
        ombrel_close_process_list(list);
    }
}

void ps(benchmark::State& state) {
    for (auto _ : state)
        spawn({"/bin/ps", "-eo", "pid,ppid,comm,rss,args"});
}

BENCHMARK(our_start)->Name("Process, start and wait|ombrel")->UseRealTime();
BENCHMARK(their_start)->Name("Process, start and wait|posix_spawn")->UseRealTime();
BENCHMARK(our_walk)->Name("Processes, walk over all|ombrel")->UseRealTime();
BENCHMARK(ps)->Name("Processes, walk over all|ps")->UseRealTime();

} // namespace
