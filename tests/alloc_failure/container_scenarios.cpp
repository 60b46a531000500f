// The buffer chain, the stack and file loading.
#include <atomic>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <mutex>
#include <unistd.h>
#include <vector>

#include <ombrel/buffer.h>
#include <ombrel/fault.h>
#include <ombrel/hash.h>
#include <ombrel/short_lock.h>
#include <ombrel/stack.h>

#include "alloc_failure/injection.h"
#include "support/scratch_directory.h"

namespace ombrel_test {
namespace {

/// An open buffer with a short text queued.
class queue : no_copy {
public:
    explicit queue(const char* text = "") : buffer_(ombrel_open_buffer_ex(0)) {
        ombrel_push_puts_ex(buffer_, text, 0);
    }
    ~queue() { ombrel_close_buffer(buffer_); }

    operator ombrel_buffer_t*() const { return buffer_; }

    std::string text() const {
        std::string result(ombrel_get_buffer_size(buffer_), '\0');
        EXPECT_EQ(result.size(), ombrel_peek_buffer_ex(buffer_, result.data(), result.size(), 0, 1));
        return result;
    }

private:
    ombrel_buffer_t* buffer_;
};

OMBREL_FAILURES(Container, open_buffer) {
    null_when_hit(fail, ombrel_close_buffer, [] { return ombrel_open_buffer_ex(0); });
}

OMBREL_FAILURE_ONCE(Container, open_buffer_with_handler) {
    const auto ignore = [](void*, const void*, size_t, uint32_t, uint32_t, size_t) { return 0; };
    opened_or_hit(fail, ombrel_close_buffer, [&] { return ombrel_open_buffer_ex2(0, ignore, nullptr); });
}

// What is told to be queued is queued, and it is the beginning of the data.
template<typename Push>
void queues_what_it_tells(injection& fail, const std::string& data, Push push) {
    queue buffer("start ");
    const auto pushed = static_cast<size_t>(fail.during([&] { return push(buffer); }));
    EXPECT_EQ("start " + data.substr(0, pushed), buffer.text());
    EXPECT_TRUE(fail.hit() ? pushed <= data.size() : pushed == data.size()) << pushed;
}

OMBREL_FAILURES(Container, push) {
    const std::string data(10'000, 'x');
    for (const uint32_t flags : {0u, 2u}) // copied and referenced
        queues_what_it_tells(fail, data, [&](ombrel_buffer_t* buffer) {
            return ombrel_push_buffer_ex(buffer, data.data(), data.size(), flags);
        });
    queues_what_it_tells(
        fail, "7 of 9", [](ombrel_buffer_t* buffer) { return ombrel_push_printf(buffer, "%d of %d", 7, 9); });
}

// A block that could not be queued stays the caller's.
OMBREL_FAILURES(Container, push_owned) {
    auto* block = static_cast<char*>(ombrel_alloc(4));
    memcpy(block, "1234", 4);
    {
        queue buffer;
        const size_t pushed = fail.during([&] { return ombrel_push_buffer_ex(buffer, block, 4, 2 | 4); });
        EXPECT_EQ(fail.hit() ? 0u : 4u, pushed);
        EXPECT_EQ(pushed, ombrel_get_buffer_size(buffer));
    }
    if (fail.hit())
        ombrel_free(block);
}

// The lock takes memory too: a push that cannot have it leaves the tail alone, which has room here.
OMBREL_FAILURES(Container, push_to_handler) {
    struct gate {
        std::mutex handler_waits;
        std::atomic<bool> is_reached = false;
    } entry;
    const auto handler = [](void* context, const void*, size_t, uint32_t, uint32_t, size_t) {
        auto& at = *static_cast<gate*>(context);
        at.is_reached = true;
        const std::lock_guard<std::mutex> wait(at.handler_waits);
        return 0;
    };
    auto* buffer = ombrel_open_buffer_ex2(0, handler, &entry);
    {
        const std::lock_guard<std::mutex> wait(entry.handler_waits);
        ombrel_push_puts_ex(buffer, "held", 0);
        while (!entry.is_reached)
            ombrel_load_balance_short();
        ombrel_end_buffer(buffer);
        ombrel_push_puts_ex(buffer, "tail", 0);
        const bool for_good = fail.mode() == injection::failing::from_then_on;
        const size_t pushed = fail.during([&] { return ombrel_push_puts_ex(buffer, " text", 0); });
        EXPECT_EQ(fail.hit() && for_good ? 0u : 5u, pushed);
        EXPECT_EQ(4 + pushed, ombrel_get_buffer_size(buffer));
    }
    ombrel_close_buffer(buffer);
}

OMBREL_FAILURES(Container, read_file) {
    const std::string contents = std::string(30'000, 'f') + "end"; // for several nodes
    const scratch_directory folder;
    const std::string path = folder.file("nodes", contents);
    queue buffer;
    const ptrdiff_t pushed =
        fail.during([&] { return ombrel_push_buffer_from_file(buffer, path.c_str(), 0, 0); });
    EXPECT_TRUE(fail.hit() ? pushed >= 0 : pushed == static_cast<ptrdiff_t>(contents.size())) << pushed;
    EXPECT_EQ(contents.substr(0, static_cast<size_t>(pushed)), buffer.text());
    size_t size = 1;
    char* bytes =
        static_cast<char*>(fail.during([&] { return ombrel_load_file(path.c_str(), 0, 0, &size); }));
    EXPECT_EQ(fail.hit(), bytes == nullptr);
    EXPECT_EQ(std::string(bytes != nullptr ? bytes : "", size), fail.hit() ? "" : contents);
    ombrel_check_free(bytes);
}

constexpr const char both_lines[] = "first line\nsecond line\n";

// Taking without memory takes nothing.
template<typename Take>
void takes_or_leaves(injection& fail, const char* expected, Take take) {
    queue buffer(both_lines);
    void* taken = fail.during([&] { return take(static_cast<ombrel_buffer_t*>(buffer)); });
    EXPECT_EQ(fail.hit(), taken == nullptr);
    if (taken != nullptr) {
        EXPECT_EQ(0, memcmp(taken, expected, strlen(expected)));
    } else {
        EXPECT_EQ(both_lines, buffer.text());
        EXPECT_EQ(0u, ombrel_get_buffer_offset(buffer));
    }
    ombrel_check_free(taken);
}

OMBREL_FAILURES(Container, take) {
    size_t size;
    takes_or_leaves(fail, "first", [](auto* buffer) { return ombrel_alloc_pop_buffer_ex(buffer, 5, 0); });
    takes_or_leaves(fail, "first line", [](auto* buffer) { return ombrel_pop_buffer_line(buffer); });
    takes_or_leaves(fail, both_lines, [&](auto* buffer) { return ombrel_get_buffer_node(buffer, &size); });
}

void free_stack(ombrel_stack_t* stack) {
    while (stack != nullptr)
        stack = ombrel_pop_stack(stack, nullptr, 4096);
}

OMBREL_FAILURES(Container, push_stack) {
    const std::string data = std::string(30'000, 's') + "end"; // for several chunks
    for (const size_t size : {size_t{6}, data.size()})
        null_when_hit(fail, free_stack, [&] { return ombrel_push_stack(nullptr, data.data(), size); });
    ombrel_stack_t* stack = ombrel_push_stack(nullptr, "bottom", 6);
    stack = fail.during([&] { return ombrel_push_stack(stack, data.data(), data.size()); });
    std::string taken(fail.hit() ? 6 : data.size(), '\0');
    stack = ombrel_pop_stack(stack, taken.data(), taken.size());
    EXPECT_EQ(fail.hit() ? "bottom" : data, taken);
    free_stack(stack);
}

// Whatever of the growth failed, a table has what it said that it took, and takes more when there is memory.
OMBREL_FAILURES(Container, hash) {
    for (const uint32_t flags : {0u, def_ombrel_hash_borrow, def_ombrel_hash_numbers}) {
        ombrel_hash_options_t options;
        ombrel_init_hash_options(&options);
        options.m_flags = flags;
        options.m_reserve = 10;
        ombrel_hash_t* const table = fail.during([&] { return ombrel_open_hash(&options); });
        if (table == nullptr) {
            EXPECT_TRUE(fail.hit());
            continue;
        }
        uint32_t keys[3000];
        std::vector<bool> is_there;
        const auto set = [&](uint32_t& key) {
            return flags == def_ombrel_hash_numbers ? ombrel_hash_set_at(table, key, &key)
                                                    : ombrel_hash_set(table, &key, sizeof key, &key);
        };
        const auto get = [&](uint32_t& key) {
            return flags == def_ombrel_hash_numbers ? ombrel_hash_get_at(table, key)
                                                    : ombrel_hash_get(table, &key, sizeof key);
        };
        fail.during([&] {
            for (uint32_t i = 0; i < std::size(keys); i++) {
                keys[i] = i;
                is_there.push_back(set(keys[i]) == 0);
            }
            ombrel_hash_reserve(table, 8000);
            return ombrel_hash_shrink(table);
        });
        for (uint32_t i = 0; i < std::size(keys); i++)
            EXPECT_EQ(is_there[i], get(keys[i]) == &keys[i]) << i;
        for (uint32_t& key : keys)
            EXPECT_EQ(0, set(key));
        EXPECT_EQ(std::size(keys), ombrel_hash_get_count(table));
        ombrel_close_hash(table);
    }
}

/// A table of keys from 0 on that points to nothing but itself.
class filled_table : no_copy {
public:
    filled_table(uint32_t flags, uint32_t count) {
        ombrel_hash_options_t options;
        ombrel_init_hash_options(&options);
        options.m_flags = flags;
        table_ = ombrel_open_hash(&options);
        for (uint32_t key = 0; key < count; key++)
            EXPECT_EQ(0, ombrel_hash_set(table_, name(key), def_ombrel_hash_text, table_));
        count_ = count;
    }
    ~filled_table() { ombrel_close_hash(table_); }
    operator ombrel_hash_t*() const { return table_; }

    void keep(uint32_t count) {
        while (count_ > count)
            EXPECT_EQ(1, ombrel_hash_remove(table_, name(--count_), def_ombrel_hash_text));
    }
    void expect_whole() {
        EXPECT_EQ(count_, ombrel_hash_get_count(table_));
        for (uint32_t key = 0; key < count_; key++)
            EXPECT_EQ(table_, ombrel_hash_get(table_, name(key), def_ombrel_hash_text)) << key;
    }

private:
    // Short names, and some that are long enough for blocks of their own.
    const char* name(uint32_t key) {
        snprintf(name_, sizeof name_, "%0*u", key % 50 == 0 ? 300 : 5, key);
        return name_;
    }

    ombrel_hash_t* table_;
    uint32_t count_;
    char name_[400];
};

template<typename Call>
void changes_room_or_says_why(injection& fail, filled_table& table, Call call) {
    ombrel_leave_fault(def_ombrel_fault_none);
    const bool good = refused_when_hit(fail, [&] { return call(table); });
    EXPECT_EQ(good ? def_ombrel_fault_none : def_ombrel_fault_no_memory, ombrel_last_fault());
    table.expect_whole();
    EXPECT_EQ(0, call(table)) << "once there is memory again";
    table.expect_whole();
}

// Parts are joined, the directory shrinks, what is left is fitted, and the keys are packed.
OMBREL_FAILURES(Container, shrink_hash) {
    constexpr struct {
        uint32_t before, left;
    } cases[] = {{2500, 10}, {2500, 700}, {600, 10}}; // of many parts, of which many stay; of one
    for (const auto& [before, left] : cases) {
        filled_table table(0, before);
        table.keep(left);
        changes_room_or_says_why(fail, table, [](ombrel_hash_t* t) { return ombrel_hash_shrink(t); });
    }
}

OMBREL_FAILURES(Container, reserve_hash) {
    for (const uint32_t there : {0u, 40u, 1200u}) {
        filled_table table(0, there);
        changes_room_or_says_why(fail, table, [](ombrel_hash_t* t) { return ombrel_hash_reserve(t, 5000); });
    }
    for (const size_t room : {size_t{0}, size_t{10}, size_t{5000}}) {
        ombrel_hash_options_t options;
        ombrel_init_hash_options(&options);
        options.m_reserve = room;
        ombrel_leave_fault(def_ombrel_fault_none);
        null_when_hit(
            fail,
            [](ombrel_hash_t* made) {
                EXPECT_EQ(0, ombrel_hash_set(made, "key", 3, made));
                ombrel_close_hash(made);
            },
            [&] { return ombrel_open_hash(&options); });
        EXPECT_EQ(fail.hit() ? def_ombrel_fault_no_memory : def_ombrel_fault_none, ombrel_last_fault());
    }
}

// A key that cannot be kept changes nothing, and its failure is told.
OMBREL_FAILURES(Container, add_to_hash) {
    for (const uint32_t there : {0u, 15u}) {
        filled_table table(0, there);
        for (const size_t size : {20, 400}) {
            const std::string key(size, 'k');
            int is_new = 2;
            void* const value =
                fail.during([&] { return ombrel_hash_obtain(table, key.data(), key.size(), &is_new); });
            EXPECT_EQ(value != nullptr ? 1 : 0, is_new);
            EXPECT_EQ(value, ombrel_hash_find(table, key.data(), key.size()));
            if (value == nullptr) {
                EXPECT_TRUE(fail.hit());
                EXPECT_EQ(def_ombrel_fault_no_memory, ombrel_last_fault());
            } else {
                EXPECT_EQ(1, ombrel_hash_remove(table, key.data(), key.size()));
            }
            table.expect_whole();
        }
    }
}

TEST(AllocationFailureContainer, AHashTableIsFilledToTheLastSlotWithoutMemory) {
    ombrel_hash_options_t options;
    ombrel_init_hash_options(&options);
    options.m_flags = def_ombrel_hash_numbers;
    options.m_reserve = 500; // one part
    ombrel_hash_t* const table = ombrel_open_hash(&options);
    ombrel_hash_statistics_t figures;
    ombrel_hash_get_statistics(table, &figures);
    injection fail(1, injection::failing::from_then_on);
    size_t taken = 0;
    fail.during([&] {
        while (ombrel_hash_set_at(table, taken, table) == 0)
            taken++;
        return 0;
    });
    EXPECT_EQ(static_cast<size_t>(figures.m_room), taken);
    EXPECT_EQ(0, ombrel_hash_set_at(table, taken, table));
    ombrel_close_hash(table);
}

} // namespace
} // namespace ombrel_test
