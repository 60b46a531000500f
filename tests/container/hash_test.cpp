#include <ombrel/hash.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include <ombrel/fault.h>

#include "container/kernels/hash_kernels.h"
#include "platform/processor.h"
#include "support/heap_balance.h"
#include "support/no_copy.h"

namespace {

using Hash = ombrel_test::balanced_test;
using bytes = std::string;

struct form {
    const char* name;
    uint32_t flags;
    size_t value_size, alignment; // 0 for pointers
};

constexpr form forms[] = {
    {"pointers", 0, 0, 0},
    {"borrowed keys", def_ombrel_hash_borrow, 0, 0},
    {"either case", def_ombrel_hash_any_case, 4, 0},
    {"bytes as values", 0, 1, 0},
    {"aligned values", def_ombrel_hash_borrow | def_ombrel_hash_any_case, 40, 64},
    {"numbers to pointers", def_ombrel_hash_numbers, 0, 0},
    {"numbers to large values", def_ombrel_hash_numbers, def_ombrel_hash_value_max, 0},
    {"numbers to odd values", def_ombrel_hash_numbers, 13, 1},
};

bytes small_letters(bytes key) {
    for (char& c : key)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return key;
}

uint64_t number_of(const bytes& key) {
    uint64_t number = 0;
    memcpy(&number, key.data(), std::min(key.size(), sizeof number));
    return number;
}

/// A table of any form and its model, by keys and values as bytes.
class pair_of_tables {
public:
    pair_of_tables(const form& which, const ombrel::hash_kernels& kernels, unsigned seed)
        : form_(which), value_size_(which.value_size != 0 ? which.value_size : sizeof(void*)), random_(seed) {
        ombrel_hash_options_t options;
        ombrel_init_hash_options(&options);
        options.m_flags = which.flags;
        options.m_value_size = which.value_size;
        options.m_value_alignment = which.alignment;
        options.m_release = [](void* value, void* self) {
            static_cast<pair_of_tables*>(self)->note_release(value);
        };
        options.m_context = this;
        table_ = ombrel_open_hash(&options);
        table_->kernel = kernels.of(which.flags);
    }
    ~pair_of_tables() {
        for (const auto& [key, value] : model_)
            expected_.insert(value);
        ombrel_close_hash(table_);
        EXPECT_EQ(expected_, released_) << "each value is released once";
    }

    void step() {
        const bytes& key = any_key();
        switch (random_() % 8) {
        case 0:
        case 1:
            return put(key);
        case 2:
            return obtain(key);
        case 3:
            return remove(key);
        case 4:
            return take(key);
        default:
            return find(key);
        }
    }
    void keep_house() {
        switch (random_() % 4) {
        case 0:
            ASSERT_EQ(0, ombrel_hash_shrink(table_));
            break;
        case 1:
            ASSERT_EQ(0, ombrel_hash_reserve(table_, model_.size() + random_() % 3000));
            break;
        case 2:
            walk(random_() % 3);
            break;
        default:
            if (random_() % 4 == 0)
                clear();
        }
        compare();
    }
    void choose_keys(size_t most) { keys_most_ = most; }

private:
    bool has_numbers() const { return (form_.flags & def_ombrel_hash_numbers) != 0; }
    bytes known_as(const bytes& key) const {
        return (form_.flags & def_ombrel_hash_any_case) != 0 ? small_letters(key) : key;
    }
    // Keys live as long as the table, as it may borrow them.
    const bytes& any_key() {
        const auto which = static_cast<unsigned>(random_()) % keys_most_;
        bytes key = has_numbers() ? bytes(8, '\0') : bytes(which % 61 + (which % 97 == 0 ? 300 : 0), 'K');
        memcpy(key.data(), &which, std::min(key.size(), sizeof which));
        if (!key.empty() && random_() % 2 == 0 && !has_numbers())
            key.back() = key.back() == 'K' ? 'k' : key.back();
        return *keys_.insert(key).first;
    }
    bytes any_value() {
        bytes value(value_size_, static_cast<char>(random_() % 255 + 1));
        const uint32_t id = ++id_;
        memcpy(value.data(), &id, std::min(value.size(), sizeof id));
        return value;
    }
    bytes bytes_at(const void* value) const { return {static_cast<const char*>(value), value_size_}; }
    void note_release(void* value) {
        released_.insert(form_.value_size != 0 ? bytes_at(value)
                                               : bytes(reinterpret_cast<const char*>(&value), sizeof value));
    }

    void put(const bytes& key) {
        const bytes value = any_value();
        void* pointer;
        memcpy(&pointer, value.data(), std::min(value.size(), sizeof pointer));
        const int result =
            form_.value_size == 0 && random_() % 2 == 0
                ? (has_numbers() ? ombrel_hash_set_at(table_, number_of(key), pointer)
                                 : ombrel_hash_set(table_, key.data(), key.size(), pointer))
                : (has_numbers() ? ombrel_hash_put_at(table_, number_of(key), value.data())
                                 : ombrel_hash_put(table_, key.data(), key.size(), value.data()));
        ASSERT_EQ(0, result);
        const auto [at, is_new] = model_.try_emplace(known_as(key), value);
        if (!is_new)
            expected_.insert(std::exchange(at->second, value));
    }
    void obtain(const bytes& key) {
        int is_new = 2;
        void* const value = has_numbers() ? ombrel_hash_obtain_at(table_, number_of(key), &is_new)
                                          : ombrel_hash_obtain(table_, key.data(), key.size(), &is_new);
        ASSERT_NE(nullptr, value);
        const auto [at, added] = model_.try_emplace(known_as(key), value_size_, '\0');
        ASSERT_EQ(added ? 1 : 0, is_new);
        ASSERT_EQ(at->second, bytes_at(value));
        if (added)
            memcpy(value, (at->second = any_value()).data(), value_size_);
        ASSERT_EQ(0u, reinterpret_cast<uintptr_t>(value) % std::max<size_t>(form_.alignment, 1));
    }
    void find(const bytes& key) {
        const void* const value = has_numbers() ? ombrel_hash_find_at(table_, number_of(key))
                                                : ombrel_hash_find(table_, key.data(), key.size());
        const auto at = model_.find(known_as(key));
        ASSERT_EQ(at != model_.end(), value != nullptr);
        if (value == nullptr)
            return;
        ASSERT_EQ(at->second, bytes_at(value));
        if (form_.value_size == 0) {
            const void* const pointer = has_numbers() ? ombrel_hash_get_at(table_, number_of(key))
                                                      : ombrel_hash_get(table_, key.data(), key.size());
            ASSERT_EQ(0, memcmp(&pointer, at->second.data(), sizeof pointer));
        }
    }
    void remove(const bytes& key) {
        const auto at = model_.find(known_as(key));
        ASSERT_EQ(at != model_.end() ? 1 : 0, has_numbers()
                                                  ? ombrel_hash_remove_at(table_, number_of(key))
                                                  : ombrel_hash_remove(table_, key.data(), key.size()));
        if (at == model_.end())
            return;
        expected_.insert(at->second);
        model_.erase(at);
    }
    void take(const bytes& key) {
        bytes value(value_size_, 'x');
        const auto at = model_.find(known_as(key));
        ASSERT_EQ(at != model_.end() ? 1 : 0,
                  has_numbers() ? ombrel_hash_take_at(table_, number_of(key), value.data())
                                : ombrel_hash_take(table_, key.data(), key.size(), value.data()));
        ASSERT_EQ(at != model_.end() ? at->second : bytes(value_size_, 'x'), value);
        if (at != model_.end())
            model_.erase(at);
    }
    bytes key_of(const ombrel_hash_walk_t& walk) const {
        if (!has_numbers())
            return known_as({static_cast<const char*>(walk.m_key), walk.m_key_size});
        return {reinterpret_cast<const char*>(&walk.m_number), sizeof walk.m_number};
    }
    // Removes one in so many of the entries, by the walk or by the key.
    void walk(size_t one_in) {
        std::set<bytes> met;
        ombrel_hash_walk_t walk;
        const size_t count = model_.size();
        for (ombrel_init_hash_walk(&walk, table_); ombrel_hash_walk_step(&walk) == 1;) {
            const bytes key = key_of(walk);
            ASSERT_TRUE(met.insert(key).second) << "met twice";
            ASSERT_EQ(model_.at(key), bytes_at(walk.m_value));
            if (one_in == 0 || random_() % one_in != 0)
                continue;
            if (random_() % 2 == 0) {
                remove(key);
                continue;
            }
            ASSERT_EQ(0, ombrel_hash_walk_remove(&walk));
            ASSERT_EQ(-1, ombrel_hash_walk_remove(&walk));
            ASSERT_EQ(def_ombrel_fault_not_found, ombrel_last_fault());
            expected_.insert(model_.at(key));
            model_.erase(key);
        }
        ASSERT_EQ(count, met.size());
        ASSERT_EQ(0, ombrel_hash_walk_step(&walk));
    }
    void clear() {
        ASSERT_EQ(0, ombrel_hash_clear(table_));
        for (const auto& [key, value] : model_)
            expected_.insert(value);
        model_.clear();
    }
    void compare() {
        walk(0);
        ombrel_hash_statistics_t statistics;
        ASSERT_EQ(0, ombrel_hash_get_statistics(table_, &statistics));
        ASSERT_EQ(model_.size(), static_cast<size_t>(statistics.m_count));
        ASSERT_EQ(model_.size(), ombrel_hash_get_count(table_));
        ASSERT_LE(statistics.m_count, statistics.m_room);
        ASSERT_LE(statistics.m_longest_probe, 16);
    }

    const form& form_;
    const size_t value_size_;
    std::mt19937 random_;
    ombrel_hash_t* table_;
    std::unordered_map<bytes, bytes> model_;
    std::set<bytes> keys_;
    std::multiset<bytes> expected_, released_;
    size_t keys_most_ = 1;
    uint32_t id_ = 0;
};

TEST_F(Hash, RandomOperationsMatchAModelInAllFormsAndByAllKernels) {
    for (const auto& kernels : ombrel::all_hash_kernels)
        for (const form& which : forms) {
            if ((kernels.needs & ~ombrel::platform::processor_features()) != 0)
                continue;
            SCOPED_TRACE(std::string(kernels.name) + ", " + which.name);
            pair_of_tables tables(which, *kernels.run, 11);
            for (const size_t keys : {1u, 20u, 400u, 3000u, 30u}) {
                tables.choose_keys(keys);
                for (int i = 0; i < 4; i++) {
                    for (size_t n = 0; n < keys; n++)
                        tables.step();
                    tables.keep_house();
                    if (HasFatalFailure())
                        return;
                }
            }
        }
}

/// A table whose functions tell what they refuse.
class table_of : ombrel_test::no_copy {
public:
    explicit table_of(uint32_t flags, size_t limit = 0, const uint8_t* seed = nullptr) {
        ombrel_hash_options_t options;
        ombrel_init_hash_options(&options);
        options.m_flags = flags;
        options.m_limit = limit;
        options.m_seed = seed;
        table_ = ombrel_open_hash(&options);
    }
    ~table_of() { ombrel_close_hash(table_); }
    operator ombrel_hash_t*() const { return table_; }
    ombrel_hash_t* operator->() const { return table_; }

    ombrel_hash_statistics_t figures() const {
        ombrel_hash_statistics_t figures;
        EXPECT_EQ(0, ombrel_hash_get_statistics(table_, &figures));
        return figures;
    }

private:
    ombrel_hash_t* table_;
};

/// What the growth of all tables looked at since it was asked: entries that were moved or might have been,
/// and words of directories.
struct work_of_growth {
    static inline ombrel::hash_upkeep real;
    static inline size_t entries = 0;

    static void watch(ombrel_hash_t* table) {
        real = std::exchange(table->kernel.upkeep,
                             {table->kernel.upkeep.detach_at, move, split, table->kernel.upkeep.distance});
    }
    static size_t words(const ombrel_hash_t* table) {
        return 2 * (table->directory.size() + table->directory.made);
    }

private:
    static void move(const ombrel_hash_ts& table, const ombrel::hash_part& from,
                     const ombrel::hash_part& to) {
        entries += from.capacity();
        real.move(table, from, to);
    }
    static void split(const ombrel_hash_ts& table, const ombrel::hash_part& from, const ombrel::hash_part& to,
                      uint32_t bit) {
        entries += from.capacity();
        real.split(table, from, to, bit);
    }
};

// However large a table is: this is what bounds the time of a call.
TEST_F(Hash, NoAdditionMovesMoreThanOnePart) {
    const table_of table(def_ombrel_hash_numbers);
    work_of_growth::watch(table);
    size_t words = work_of_growth::words(table);
    for (uint64_t i = 0; i < 300000; i++) {
        work_of_growth::entries = 0;
        ASSERT_EQ(0, ombrel_hash_set_at(table, i, table));
        ASSERT_LE(work_of_growth::entries, 64u * ombrel::hash_group_slots) << "addition " << i;
        ASSERT_LE(work_of_growth::words(table) - words, 2u * 64) << "addition " << i;
        words = work_of_growth::words(table);
    }
    EXPECT_GE(table->directory.depth, 8u);
    EXPECT_EQ(0, ombrel_hash_clear(table));
    EXPECT_EQ(0u, table.figures().m_count);
    EXPECT_EQ(nullptr, ombrel_hash_get_at(table, 1));
}

TEST_F(Hash, AWalkMeetsAllThatStaysThoughTheTableGrows) {
    const table_of table(def_ombrel_hash_numbers);
    for (const size_t start : {3u, 40u, 1000u, 4000u}) {
        ASSERT_EQ(0, ombrel_hash_clear(table));
        ASSERT_EQ(0, ombrel_hash_shrink(table));
        for (uint64_t i = 0; i < start; i++)
            ombrel_hash_set_at(table, i, table);
        std::set<uint64_t> met;
        ombrel_hash_walk_t walk;
        uint64_t next = start;
        for (ombrel_init_hash_walk(&walk, table); ombrel_hash_walk_step(&walk) == 1;) {
            met.insert(walk.m_number);
            for (int i = 0; i < 5 && next < 8 * start; i++) {
                ASSERT_EQ(0, ombrel_hash_set_at(table, next++, table));
                if (next % 16 == 0 && walk.m_value != nullptr && walk.m_number >= start) {
                    ASSERT_EQ(0, ombrel_hash_walk_remove(&walk)) << "after growth, too";
                }
            }
            if (next % 500 == 0) {
                ASSERT_EQ(0, ombrel_hash_shrink(table));
            }
        }
        for (uint64_t i = 0; i < start; i++)
            ASSERT_EQ(1u, met.count(i)) << i << " of " << start;
    }
}

TEST_F(Hash, AWalkRemovesNothingInTheSteadOfWhatIsGone) {
    const struct {
        const char* name;
        uint32_t flags;
        size_t size;
    } cases[] = {{"a copy whose room is taken again", 0, 20},
                 {"a copy of its own", 0, 400},
                 {"bytes of the caller", def_ombrel_hash_borrow, 20}};
    for (const auto& form : cases) {
        SCOPED_TRACE(form.name);
        const table_of table(form.flags);
        auto key = std::make_unique<std::string>(form.size, 'a');
        const std::string other(form.size, 'b'), third(form.size, 'c');
        ombrel_hash_set(table, key->data(), form.size, table);
        ombrel_hash_walk_t walk;
        ombrel_init_hash_walk(&walk, table);
        ASSERT_EQ(1, ombrel_hash_walk_step(&walk));
        ASSERT_EQ(1, ombrel_hash_remove(table, key->data(), form.size));
        key.reset();
        ombrel_hash_set(table, other.data(), form.size, table);
        EXPECT_EQ(-1, ombrel_hash_walk_remove(&walk));
        EXPECT_EQ(def_ombrel_fault_not_found, ombrel_last_fault());
        EXPECT_EQ(table, ombrel_hash_get(table, other.data(), form.size));
        ombrel_init_hash_walk(&walk, table);
        ASSERT_EQ(1, ombrel_hash_walk_step(&walk));
        ombrel_hash_set(table, third.data(), form.size, table);
        EXPECT_EQ(0, ombrel_hash_walk_remove(&walk)) << "it is there still";
        EXPECT_EQ(nullptr, ombrel_hash_get(table, other.data(), form.size));
    }
}

TEST_F(Hash, ChosenNumbersMeetOnlyWhereTheSeedIsKnown) {
    const uint8_t seed[def_ombrel_hash_seed_size] = {1, 2, 3};
    const table_of known(def_ombrel_hash_numbers, 0, seed), unknown(def_ombrel_hash_numbers);
    known->kernel = ombrel::plain_hash_kernels.of(def_ombrel_hash_numbers);
    const auto secret = ombrel::hash_secret::from(seed);
    size_t count = 0;
    for (uint64_t number = 0; count < 4000; number++)
        if (ombrel::sip_hash::of_number(secret.words, number) >> 56 == 7) {
            ASSERT_EQ(0, ombrel_hash_set_at(known, number, known));
            ASSERT_EQ(0, ombrel_hash_set_at(unknown, number, known));
            ASSERT_EQ(known, ombrel_hash_get_at(known, number));
            count++;
        }
    EXPECT_LE(unknown.figures().m_longest_probe, 12);
    EXPECT_LE(unknown.figures().m_displaced, 800);
    EXPECT_LE(known.figures().m_bytes, 3 * unknown.figures().m_bytes) << "memory is bound all the same";
}

TEST_F(Hash, CopiedKeysEndWithZeroAndBorrowedOnesStayWhereTheyAre) {
    const table_of copies(0), borrowed(def_ombrel_hash_borrow);
    char key[] = "key";
    ombrel_hash_walk_t walk;
    for (ombrel_hash_t* const table :
         {static_cast<ombrel_hash_t*>(copies), static_cast<ombrel_hash_t*>(borrowed)})
        ASSERT_EQ(0, ombrel_hash_set(table, key, 2, key));
    ombrel_init_hash_walk(&walk, copies);
    ASSERT_EQ(1, ombrel_hash_walk_step(&walk));
    EXPECT_STREQ("ke", static_cast<const char*>(walk.m_key));
    EXPECT_EQ(key, ombrel_hash_get(copies, "ke", def_ombrel_hash_text));
    ombrel_init_hash_walk(&walk, borrowed);
    ASSERT_EQ(1, ombrel_hash_walk_step(&walk));
    EXPECT_EQ(key, walk.m_key);
    ASSERT_EQ(0, ombrel_hash_shrink(copies));
    const std::string longer(200, 'k');
    ASSERT_EQ(0, ombrel_hash_set(copies, longer.c_str(), def_ombrel_hash_text, key));
    EXPECT_GE(copies.figures().m_key_bytes, 201)
        << "the next room holds one copy, however little the last one had";
}

void expect_invalid(bool is_refused, int line) {
    EXPECT_TRUE(is_refused) << "line " << line;
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault()) << "line " << line;
    ombrel_leave_fault(def_ombrel_fault_none);
}

TEST_F(Hash, NoTableIsRefusedByAll) {
    void* pointer = nullptr;
    int is_new = 2;
    ombrel_hash_walk_t walk;
    ombrel_hash_statistics_t figures;
    memset(&figures, 1, sizeof figures);
    const auto invalid = [](bool is_refused, int line = __builtin_LINE()) {
        expect_invalid(is_refused, line);
    };
    invalid(ombrel_init_hash_options(nullptr) == -1);
    invalid(ombrel_hash_set(nullptr, "a", 1, &pointer) == -1);
    invalid(ombrel_hash_set_at(nullptr, 1, &pointer) == -1);
    invalid(ombrel_hash_get(nullptr, "a", 1) == nullptr);
    invalid(ombrel_hash_get_at(nullptr, 1) == nullptr);
    invalid(ombrel_hash_put(nullptr, "a", 1, &pointer) == -1);
    invalid(ombrel_hash_put_at(nullptr, 1, &pointer) == -1);
    invalid(ombrel_hash_find(nullptr, "a", 1) == nullptr);
    invalid(ombrel_hash_find(nullptr, "a", size_t{def_ombrel_hash_key_max} + 1) == nullptr);
    invalid(ombrel_hash_find_at(nullptr, 1) == nullptr);
    invalid(ombrel_hash_obtain(nullptr, "a", 1, &is_new) == nullptr && is_new == 0);
    invalid(ombrel_hash_obtain_at(nullptr, 1, nullptr) == nullptr);
    invalid(ombrel_hash_remove(nullptr, "a", 1) == -1);
    invalid(ombrel_hash_remove_at(nullptr, 1) == -1);
    invalid(ombrel_hash_take(nullptr, "a", 1, &pointer) == -1);
    invalid(ombrel_hash_take_at(nullptr, 1, &pointer) == -1);
    invalid(ombrel_hash_get_count(nullptr) == 0);
    invalid(ombrel_hash_clear(nullptr) == -1);
    invalid(ombrel_hash_reserve(nullptr, 1) == -1);
    invalid(ombrel_hash_shrink(nullptr) == -1);
    invalid(ombrel_hash_get_statistics(nullptr, &figures) == -1 && figures.m_room == 0);
    invalid(ombrel_hash_get_statistics(nullptr, nullptr) == -1);
    invalid(ombrel_init_hash_walk(nullptr, nullptr) == -1);
    invalid(ombrel_init_hash_walk(&walk, nullptr) == -1);
    invalid(ombrel_hash_walk_step(&walk) == -1);
    invalid(ombrel_hash_walk_step(nullptr) == -1);
    invalid(ombrel_hash_walk_remove(&walk) == -1);
    invalid(ombrel_hash_walk_remove(nullptr) == -1);
    EXPECT_EQ(0, ombrel_close_hash(nullptr));
}

// What is not there is no fault; null is a value, and a pointer that stays is not released.
TEST_F(Hash, WhatIsSetAgainIsReleasedOnceOrNotAtAll) {
    int released = 0;
    ombrel_hash_options_t options;
    ombrel_init_hash_options(&options);
    options.m_release = [](void* value, void* count) {
        EXPECT_NE(nullptr, value);
        ++*static_cast<int*>(count);
    };
    options.m_context = &released;
    int one = 1, two = 2;
    void* pointer = &two;
    ombrel_hash_t* table = ombrel_open_hash(&options);
    ombrel_leave_fault(def_ombrel_fault_none);
    for (const auto& [value, so_far] : {std::pair<int*, int>{&one, 0}, {&one, 0}, {&two, 1}, {nullptr, 2}}) {
        EXPECT_EQ(0, ombrel_hash_set(table, nullptr, 0, value));
        EXPECT_EQ(so_far, released);
        EXPECT_EQ(value, ombrel_hash_get(table, "", def_ombrel_hash_text));
    }
    EXPECT_EQ(0, ombrel_hash_put(table, "k", 1, &pointer));
    EXPECT_EQ(0, ombrel_hash_put(table, "k", 1, nullptr));
    EXPECT_EQ(3, released);
    EXPECT_EQ(nullptr, ombrel_hash_get(table, "k", 1));
    EXPECT_EQ(1, ombrel_hash_take(table, "k", 1, &pointer));
    EXPECT_EQ(nullptr, pointer);
    EXPECT_EQ(0, ombrel_hash_take(table, "k", 1, &pointer) + ombrel_hash_remove(table, "k", 1));
    EXPECT_EQ(nullptr, ombrel_hash_get(table, "k", 1));
    ombrel_close_hash(table);
    EXPECT_EQ(3, released) << "null is never released";
    options.m_value_size = sizeof one;
    table = ombrel_open_hash(&options);
    EXPECT_EQ(0, ombrel_hash_put(table, "k", 1, &one));
    EXPECT_EQ(0, ombrel_hash_put(table, "k", 1, nullptr));
    EXPECT_EQ(4, released);
    EXPECT_EQ(0, *static_cast<int*>(ombrel_hash_find(table, "k", 1)));
    EXPECT_EQ(def_ombrel_fault_none, ombrel_last_fault());
    ombrel_close_hash(table);
    EXPECT_EQ(5, released);
}

TEST_F(Hash, WhatMakesNoSenseIsRefused) {
    const table_of numbers(def_ombrel_hash_numbers, 2), bytes_to(0);
    ombrel_hash_options_t options;
    ombrel_init_hash_options(&options);
    options.m_value_size = 4;
    ombrel_hash_t* const values = ombrel_open_hash(&options);
    const auto refused = [](bool is_refused, int fault) {
        EXPECT_TRUE(is_refused);
        EXPECT_EQ(fault, ombrel_last_fault());
        ombrel_leave_fault(def_ombrel_fault_none);
    };
    constexpr int invalid = def_ombrel_fault_invalid, too_large = def_ombrel_fault_too_large;
    void* pointer = nullptr;
    refused(ombrel_hash_get(numbers, "a", 1) == nullptr, invalid);
    refused(ombrel_hash_get_at(bytes_to, 1) == nullptr, invalid);
    refused(ombrel_hash_get(values, "a", 1) == nullptr, invalid);
    refused(ombrel_hash_set(values, "a", 1, pointer) == -1, invalid);
    refused(ombrel_hash_find(bytes_to, nullptr, 1) == nullptr, invalid);
    refused(ombrel_hash_find(bytes_to, nullptr, def_ombrel_hash_text) == nullptr, invalid);
    refused(ombrel_hash_obtain(numbers, "a", 1, nullptr) == nullptr, invalid);
    refused(ombrel_hash_put_at(bytes_to, 1, nullptr) == -1, invalid);
    refused(ombrel_hash_remove(numbers, "a", 1) == -1, invalid);
    refused(ombrel_hash_take_at(numbers, 1, nullptr) == -1, invalid);
    refused(ombrel_hash_take(bytes_to, nullptr, 1, &pointer) == -1, invalid);
    refused(ombrel_hash_remove(bytes_to, nullptr, 1) == -1, invalid);
    refused(ombrel_hash_get_statistics(numbers, nullptr) == -1, invalid);
    refused(ombrel_hash_reserve(numbers, 3) == -1, too_large);
    // Nobody looks at a byte of what is longer than all keys.
    refused(ombrel_hash_set(bytes_to, "x", size_t{def_ombrel_hash_key_max} + 1, nullptr) == -1, too_large);
    refused(ombrel_hash_find(bytes_to, "x", size_t{def_ombrel_hash_key_max} + 1) == nullptr, too_large);
    refused(ombrel_hash_reserve(bytes_to, SIZE_MAX) == -1, too_large);
    refused(ombrel_hash_set_at(numbers, 1, pointer) + ombrel_hash_set_at(numbers, 2, pointer) +
                    ombrel_hash_set_at(numbers, 3, pointer) ==
                -1,
            too_large);
    EXPECT_EQ(0, ombrel_hash_set_at(numbers, 1, pointer)) << "what is there may be set at the limit";
    struct {
        uint32_t flags;
        size_t size, alignment, reserve, limit;
        int fault;
    } const wrong[] = {
        {8, 0, 0, 0, 0, invalid},
        {def_ombrel_hash_numbers | def_ombrel_hash_borrow, 0, 0, 0, 0, invalid},
        {0, 4, 3, 0, 0, invalid},
        {0, 4, 128, 0, 0, invalid},
        {0, def_ombrel_hash_value_max + 1, 0, 0, 0, too_large},
        {0, 0, 0, 5, 4, too_large},
    };
    for (const auto& one : wrong) {
        options = {one.flags, one.size, one.alignment, one.reserve, one.limit, nullptr, nullptr, nullptr};
        refused(ombrel_open_hash(&options) == nullptr, one.fault);
    }
    EXPECT_EQ(0, ombrel_close_hash(nullptr));
    ombrel_close_hash(values);
}

} // namespace
