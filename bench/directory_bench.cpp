// Walks over a tree of 20,000 files beside find, whose start is part of what is measured, as a program that
// calls it waits for that too, and beside fts(), which find uses. The tree lies in memory where there is
// room.

#include <cstdlib>
#include <fts.h>
#include <string>

#include <benchmark/benchmark.h>

#include <ombrel/directory.h>

namespace {

/// Made once and gone at the end.
class tree {
public:
    tree() {
        constexpr int tops = 100, directories = 10, files = 20;
        for (int top = 0; top < tops; top++) {
            for (int directory = 0; directory < directories; directory++) {
                const std::string path =
                    root_ + "/top" + std::to_string(top) + "/directory" + std::to_string(directory);
                ombrel_make_directories(path.c_str(), 0700);
                for (int file = 0; file < files; file++)
                    ombrel_store_file((path + "/file" + std::to_string(file)).c_str(), "", 0,
                                      def_ombrel_file_no_sync, 0600);
            }
        }
    }
    ~tree() { ombrel_remove_tree(root_.c_str(), nullptr, nullptr); }
    tree(const tree&) = delete;
    tree& operator=(const tree&) = delete;

    const std::string& root() const { return root_; }

private:
    const std::string root_ =
        ombrel_file_exists("/dev/shm") == 1 ? "/dev/shm/ombrel_bench_tree" : "ombrel_bench_tree";
};

const std::string& root() {
    static const tree made;
    return made.root();
}

constexpr int entries = 1 + 100 + 1000 + 20000;

int walk(const std::string& root) {
    ombrel_walk_t* const opened = ombrel_open_walk(root.c_str(), nullptr);
    ombrel_walk_entry_t entry;
    int count = 0;
    while (ombrel_walk_next(opened, &entry) == 1)
        count++;
    ombrel_close_walk(opened);
    return count;
}

int walk_by_fts(const std::string& root) {
    std::string path = root;
    char* roots[] = {path.data(), nullptr};
    FTS* const opened = fts_open(roots, FTS_PHYSICAL | FTS_NOSTAT, nullptr);
    int count = 0;
    while (const FTSENT* entry = fts_read(opened))
        count += entry->fts_info != FTS_DP;
    fts_close(opened);
    return count;
}

int run(const std::string& command) {
    return std::system(command.c_str()) == 0 ? entries : -1;
}

int run_find(const std::string& root) {
    return run("find " + root + " >/dev/null");
}

template<int (*work)(const std::string&)>
void walk_tree(benchmark::State& state) {
    const std::string& path = root();
    for (auto _ : state) {
        if (work(path) != entries)
            state.SkipWithError("the walk failed");
    }
}

BENCHMARK(walk_tree<walk>)->Name("Walk over 21,101 names|ombrel")->UseRealTime();
BENCHMARK(walk_tree<run_find>)->Name("Walk over 21,101 names|find")->UseRealTime();
BENCHMARK(walk_tree<walk_by_fts>)->Name("Walk over 21,101 names|fts")->UseRealTime();

} // namespace
