// Tables of texts and of numbers beside GLib's and Abseil's, which hold the same pointers to keys and values.
// Texts are borrowed by all of them, or, in the works "of copied texts", copied by all.
// Times are those of one call, or of so many additions or removals. "mixed" is a look-up that hits, one that
// misses, an addition and a removal.
#include <ombrel/hash.h>

#include <algorithm>
#include <bit>
#include <chrono>
#include <cstring>
#include <ctime>
#include <limits>
#include <map>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <absl/container/flat_hash_map.h>
#include <benchmark/benchmark.h>
#include <glib.h>

namespace {

// More than a processor learns by heart, and few enough that those of a small table do not drive it out of
// the caches: a power of two.
constexpr size_t queries_for(size_t count) {
    return std::clamp(std::bit_ceil(8 * count), size_t{1} << 16, size_t{1} << 20);
}

/// Without an order that a hash could profit from, as those of SplitMix64.
uint64_t random_number(uint64_t index) {
    uint64_t mixed = (index + 1) * 0x9E3779B97F4A7C15;
    mixed = (mixed ^ mixed >> 30) * 0xBF58476D1CE4E5B9;
    mixed = (mixed ^ mixed >> 27) * 0x94D049BB133111EB;
    return mixed ^ mixed >> 31;
}

/// Keys of both kinds, of 12 to 27 characters or 64 bits.
class texts {
public:
    using key = const char*;
    explicit texts(size_t count) : all_(count) {
        for (size_t i = 0; i < count; i++)
            write(all_[i], i);
    }
    key at(size_t index) const { return all_[index].text; }
    size_t size() const { return all_.size(); }

private:
    struct record {
        char text[32];
    };
    static void write(record& to, size_t index) {
        const uint64_t mixed = random_number(index);
        snprintf(to.text, sizeof to.text, "%0*llx", 12 + static_cast<int>(mixed >> 60),
                 static_cast<unsigned long long>(mixed & 0xFFFFFFFFFFFF));
    }
    std::vector<record> all_;
};

class numbers {
public:
    using key = uint64_t;
    explicit numbers(size_t count) : count_(count) {}
    key at(size_t index) const { return random_number(index); }
    size_t size() const { return count_; }

private:
    size_t count_;
};

/// With one seed, so that the same additions make the same parts.
ombrel_hash_t* open_table(uint32_t flags) {
    constexpr uint8_t seed[def_ombrel_hash_seed_size] = {1};
    ombrel_hash_options_t options;
    ombrel_init_hash_options(&options);
    options.m_flags = flags;
    options.m_seed = seed;
    return ombrel_open_hash(&options);
}

template<uint32_t flags>
struct ombrel_texts {
    ombrel_hash_t* table = open_table(flags);
    ~ombrel_texts() { ombrel_close_hash(table); }
    void* get(const char* key) const { return ombrel_hash_get(table, key, def_ombrel_hash_text); }
    void set(const char* key, void* value) { ombrel_hash_set(table, key, def_ombrel_hash_text, value); }
    void remove(const char* key) { ombrel_hash_remove(table, key, def_ombrel_hash_text); }
};

struct ombrel_numbers {
    ombrel_hash_t* table = open_table(def_ombrel_hash_numbers);
    ~ombrel_numbers() { ombrel_close_hash(table); }
    void* get(uint64_t key) const { return ombrel_hash_get_at(table, key); }
    void set(uint64_t key, void* value) { ombrel_hash_set_at(table, key, value); }
    void remove(uint64_t key) { ombrel_hash_remove_at(table, key); }
};

struct glib_texts {
    GHashTable* table = g_hash_table_new(g_str_hash, g_str_equal);
    ~glib_texts() { g_hash_table_destroy(table); }
    void* get(const char* key) const { return g_hash_table_lookup(table, key); }
    void set(const char* key, void* value) { g_hash_table_insert(table, const_cast<char*>(key), value); }
    void remove(const char* key) { g_hash_table_remove(table, key); }
};

/// With copies of its own, as its manual advises.
struct glib_copies {
    GHashTable* table = g_hash_table_new_full(g_str_hash, g_str_equal, g_free, nullptr);
    ~glib_copies() { g_hash_table_destroy(table); }
    void* get(const char* key) const { return g_hash_table_lookup(table, key); }
    void set(const char* key, void* value) { g_hash_table_insert(table, g_strdup(key), value); }
    void remove(const char* key) { g_hash_table_remove(table, key); }
};

/// Numbers as pointers, which have 64 bits on some hosts only.
struct glib_pointers {
    static void* word(uint64_t key) { return reinterpret_cast<void*>(key); }
    GHashTable* table = g_hash_table_new(nullptr, nullptr);
    ~glib_pointers() { g_hash_table_destroy(table); }
    void* get(uint64_t key) const { return g_hash_table_lookup(table, word(key)); }
    void set(uint64_t key, void* value) { g_hash_table_insert(table, word(key), value); }
    void remove(uint64_t key) { g_hash_table_remove(table, word(key)); }
};

/// Its form for 64-bit numbers, which lie somewhere else.
struct glib_numbers {
    GHashTable* table = g_hash_table_new_full(g_int64_hash, g_int64_equal, free, nullptr);
    ~glib_numbers() { g_hash_table_destroy(table); }
    void* get(uint64_t key) const { return g_hash_table_lookup(table, &key); }
    void set(uint64_t key, void* value) {
        auto* const kept = static_cast<uint64_t*>(malloc(sizeof key));
        *kept = key;
        g_hash_table_insert(table, kept, value);
    }
    void remove(uint64_t key) { g_hash_table_remove(table, &key); }
};

template<typename Key>
struct absl_table {
    absl::flat_hash_map<Key, void*> table;
    template<typename Given>
    void* get(Given key) const {
        const auto at = table.find(Key(key));
        return at != table.end() ? at->second : nullptr;
    }
    template<typename Given>
    void set(Given key, void* value) {
        table.insert_or_assign(Key(key), value);
    }
    template<typename Given>
    void remove(Given key) {
        table.erase(Key(key));
    }
};

/// Keys enough for tables of a size and for misses; made once.
template<typename Keys>
const Keys& keys_for(size_t count) {
    static std::unique_ptr<Keys> made;
    if (made == nullptr || made->size() < 2 * count)
        made = std::make_unique<Keys>(2 * count);
    return *made;
}

std::vector<size_t> shuffled(size_t count) {
    std::vector<size_t> order(count);
    std::iota(order.begin(), order.end(), size_t{0});
    std::shuffle(order.begin(), order.end(), std::mt19937_64(1));
    return order;
}

/// Keys as they come from outside: in a row, and no part of the table.
template<typename Keys>
class query_list {
public:
    query_list(const Keys& keys, size_t first, size_t count);
    typename Keys::key next() { return list_.at(at_++ & mask_); }

private:
    struct any_text {
        char text[32];
    };
    struct text_list {
        std::vector<any_text> all;
        const char* at(size_t index) const { return all[index].text; }
    };
    struct number_list {
        std::vector<uint64_t> all;
        uint64_t at(size_t index) const { return all[index]; }
    };
    std::conditional_t<std::is_same_v<Keys, texts>, text_list, number_list> list_;
    size_t mask_, at_ = 0;
};

template<typename Keys>
query_list<Keys>::query_list(const Keys& keys, size_t first, size_t count) : mask_(queries_for(count) - 1) {
    std::mt19937_64 random(2);
    list_.all.resize(mask_ + 1);
    for (auto& query : list_.all) {
        const auto key = keys.at(first + random() % count);
        if constexpr (std::is_same_v<Keys, texts>)
            strcpy(query.text, key);
        else
            query = key;
    }
}

void* const value = const_cast<char*>("");

template<typename Table, typename Keys>
void fill(Table& table, const Keys& keys, size_t count) {
    for (size_t i = 0; i < count; i++)
        table.set(keys.at(i), value);
}

/// Filled once for all works that leave it as it is.
template<typename Table, typename Keys>
const Table& filled(size_t count) {
    static std::map<size_t, Table> tables;
    const auto [at, is_new] = tables.try_emplace(count);
    if (is_new)
        fill(at->second, keys_for<Keys>(count), count);
    return at->second;
}

template<typename Table, typename Keys, bool hits>
void look_up(benchmark::State& state) {
    const auto count = static_cast<size_t>(state.range(0));
    query_list<Keys> list(keys_for<Keys>(count), hits ? 0 : count, count);
    const Table& table = filled<Table, Keys>(count);
    for (auto _ : state)
        benchmark::DoNotOptimize(table.get(list.next()));
}

/// In microseconds: whoever else is at work on the machine does not count.
double processor_time() {
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

template<typename Table, typename Keys, bool removes>
void change(benchmark::State& state) {
    const auto count = static_cast<size_t>(state.range(0));
    const Keys& keys = keys_for<Keys>(count);
    const std::vector<size_t> order = shuffled(count);
    for (auto _ : state) {
        Table table;
        double start = processor_time();
        fill(table, keys, count);
        if (removes) {
            start = processor_time();
            for (const size_t index : order)
                table.remove(keys.at(index));
        }
        state.SetIterationTime((processor_time() - start) / 1e6);
    }
}

template<typename Table, typename Keys>
void mix(benchmark::State& state) {
    const auto count = static_cast<size_t>(state.range(0));
    const Keys& keys = keys_for<Keys>(count);
    query_list<Keys> hits(keys, 0, count), misses(keys, 0, 2 * count);
    Table table;
    fill(table, keys, count);
    size_t oldest = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(table.get(hits.next()));
        benchmark::DoNotOptimize(table.get(misses.next()));
        table.set(keys.at((oldest + count) % (2 * count)), value);
        table.remove(keys.at(oldest % (2 * count)));
        oldest++;
    }
}

/// How long single calls take, in microseconds. What others do on the machine, and its host, stops a thread
/// for longer than any call, and is counted as time of the processor too; but it does not come at the same
/// call each time. So the least of several rounds of the same calls is that of the call itself.
class call_times {
public:
    explicit call_times(size_t count) : least_(count, std::numeric_limits<float>::max()) {}
    template<typename Call>
    void measure(size_t index, Call call) {
        const double before = processor_time();
        const auto start = std::chrono::steady_clock::now();
        call();
        const std::chrono::duration<double, std::micro> wall = std::chrono::steady_clock::now() - start;
        longest_ = std::max(longest_, processor_time() - before);
        longest_wall_ = std::max(longest_wall_, wall.count());
        least_[index] = std::min(least_[index], static_cast<float>(wall.count()));
    }
    double longest_of_least() const { return *std::max_element(least_.begin(), least_.end()); }
    double longest() const { return longest_; }
    double longest_wall() const { return longest_wall_; }

private:
    std::vector<float> least_;
    double longest_ = 0, longest_wall_ = 0;
};

/// Of additions up to a size, in rounds with one seed; the longest of as many calls that do nothing tells
/// what the machine adds to a single call.
template<typename Table, typename Keys>
void pause(benchmark::State& state) {
    constexpr int rounds = 4;
    const auto count = static_cast<size_t>(state.range(0));
    const Keys& keys = keys_for<Keys>(count);
    call_times times(count), idle(count);
    for (auto _ : state)
        for (int round = 0; round < rounds; round++) {
            Table table;
            for (size_t i = 0; i < count; i++)
                times.measure(i, [&] { table.set(keys.at(i), value); });
            for (size_t i = 0; i < count; i++)
                idle.measure(i, [&] { benchmark::DoNotOptimize(keys.at(i)); });
        }
    state.counters["longest_us"] = times.longest_of_least();
    state.counters["once_us"] = times.longest();
    state.counters["once_wall_us"] = times.longest_wall();
    state.counters["idle_us"] = idle.longest_of_least();
    state.counters["idle_once_us"] = idle.longest();
    state.counters["idle_once_wall_us"] = idle.longest_wall();
}

void of_sizes(benchmark::internal::Benchmark* work) {
    work->Arg(1000)->Arg(100000)->Arg(1000000)->Arg(10000000);
}

#define WORKS(keys, kind, who, ...)                                                                          \
    {                                                                                                        \
        using table = __VA_ARGS__;                                                                           \
        const std::string rest = std::string(" of " keys "|") + who;                                         \
        benchmark::RegisterBenchmark(("hash hit" + rest).c_str(), look_up<table, kind, true>)                \
            ->Apply(of_sizes);                                                                               \
        benchmark::RegisterBenchmark(("hash miss" + rest).c_str(), look_up<table, kind, false>)              \
            ->Apply(of_sizes);                                                                               \
        benchmark::RegisterBenchmark(("hash addition" + rest).c_str(), change<table, kind, false>)           \
            ->Apply(of_sizes)                                                                                \
            ->UseManualTime();                                                                               \
        benchmark::RegisterBenchmark(("hash removal" + rest).c_str(), change<table, kind, true>)             \
            ->Apply(of_sizes)                                                                                \
            ->UseManualTime();                                                                               \
        benchmark::RegisterBenchmark(("hash mixed" + rest).c_str(), mix<table, kind>)->Apply(of_sizes);      \
        benchmark::RegisterBenchmark(("hash pauses" + rest).c_str(), pause<table, kind>)                     \
            ->Arg(10000000)                                                                                  \
            ->Iterations(1)                                                                                  \
            ->Unit(benchmark::kMillisecond);                                                                 \
    }

const bool are_registered = [] {
    WORKS("texts", texts, "ombrel", ombrel_texts<def_ombrel_hash_borrow>)
    WORKS("texts", texts, "GLib", glib_texts)
    WORKS("texts", texts, "absl", absl_table<std::string_view>)
    WORKS("copied texts", texts, "ombrel", ombrel_texts<0>)
    WORKS("copied texts", texts, "GLib", glib_copies)
    WORKS("copied texts", texts, "absl", absl_table<std::string>)
    WORKS("numbers", numbers, "ombrel", ombrel_numbers)
    WORKS("numbers", numbers, "GLib", glib_numbers)
    WORKS("numbers", numbers, "GLib_pointers", glib_pointers)
    WORKS("numbers", numbers, "absl", absl_table<uint64_t>)
    return true;
}();

} // namespace
