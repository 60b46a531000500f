// What a hash table takes of the heap, and what it gives back.
#include <ombrel/hash.h>

#include <cstring>
#include <string>
#include <vector>

#include <ombrel/fault.h>

#include "container/hash_table.h"
#include "support/heap_balance.h"
#include "support/no_copy.h"

namespace {

using HashRoom = ombrel_test::balanced_test;

class sized_table : ombrel_test::no_copy {
public:
    explicit sized_table(uint32_t flags, size_t value_size = 0)
        : blocks_(ombrel_get_alloc_count()), bytes_(ombrel_get_alloc_size()) {
        ombrel_hash_options_t options;
        EXPECT_EQ(0, ombrel_init_hash_options(&options));
        options.m_flags = flags;
        options.m_value_size = value_size;
        table_ = ombrel_open_hash(&options);
    }
    ~sized_table() { ombrel_close_hash(table_); }
    operator ombrel_hash_t*() const { return table_; }

    bool has_numbers() const { return table_->has_numbers(); }
    int add(const std::string& key) {
        return has_numbers() ? ombrel_hash_put_at(table_, std::stoul(key), nullptr)
                             : ombrel_hash_put(table_, key.data(), key.size(), nullptr);
    }
    bool has(const std::string& key) const {
        return (has_numbers() ? ombrel_hash_find_at(table_, std::stoul(key))
                              : ombrel_hash_find(table_, key.data(), key.size())) != nullptr;
    }
    int remove(const std::string& key) {
        return has_numbers() ? ombrel_hash_remove_at(table_, std::stoul(key))
                             : ombrel_hash_remove(table_, key.data(), key.size());
    }
    ombrel_hash_statistics_t figures() const {
        ombrel_hash_statistics_t figures;
        EXPECT_EQ(0, ombrel_hash_get_statistics(table_, &figures));
        return figures;
    }
    /// Whether that is what the heap has handed out since before the table; it rounds each block up to words.
    bool is_what_the_heap_says(int64_t bytes) const {
        const size_t blocks = ombrel_get_alloc_count() - blocks_;
        const auto handed_out =
            static_cast<int64_t>(ombrel_get_alloc_size() - bytes_ - blocks * def_ombrel_heap_overhead);
        return bytes <= handed_out && handed_out - bytes < static_cast<int64_t>(blocks * 4);
    }
    /// Neither parts nor a directory beyond the word that each table has.
    void expect_bare() const {
        const ombrel_hash_statistics_t now = figures();
        EXPECT_EQ(0, now.m_count + now.m_room + now.m_parts + now.m_key_bytes);
        EXPECT_TRUE(is_what_the_heap_says(now.m_bytes));
        EXPECT_EQ(1u, ombrel_get_alloc_count() - blocks_);
        EXPECT_EQ(0u, table_->directory.depth);
        EXPECT_EQ(0u, table_->directory.index_of(0xFFFFFFFF)) << "all places lead to the same part";
    }

private:
    size_t blocks_, bytes_;
    ombrel_hash_t* table_;
};

TEST_F(HashRoom, OfAnEmptyTableIsGivenBackAndTakenAgain) {
    std::vector<std::string> keys;
    for (int i = 0; i < 5000; i++)
        keys.push_back(std::to_string(i));
    for (const uint32_t flags : {0u, def_ombrel_hash_borrow, def_ombrel_hash_numbers})
        for (const bool one_by_one : {false, true}) {
            SCOPED_TRACE("flags " + std::to_string(flags));
            sized_table table(flags);
            table.expect_bare();
            for (int round = 0; round < 3; round++) {
                for (const std::string& key : keys)
                    ASSERT_EQ(0, table.add(key));
                for (const std::string& key : keys)
                    ASSERT_TRUE(table.has(key));
                if (one_by_one)
                    for (const std::string& key : keys)
                        ASSERT_EQ(1, table.remove(key));
                else
                    ASSERT_EQ(0, ombrel_hash_clear(table));
                EXPECT_EQ(0, ombrel_hash_shrink(table));
                table.expect_bare();
            }
        }
}

TEST_F(HashRoom, OfAPartIsWhatIsPromised) {
    const struct {
        size_t value_size;
        int64_t least, most;
    } cases[] = {
        {40, 1 << 14, 1 << 15},
        {100, 1 << 14, 1 << 15},
        {1000, 1 << 14, 1 << 15},
        {def_ombrel_hash_value_max, 1 << 15, 1 << 16},
    };
    for (const auto& one : cases) {
        const sized_table table(def_ombrel_hash_numbers, one.value_size);
        ASSERT_EQ(0, ombrel_hash_reserve(table, 3000));
        const ombrel_hash_statistics_t figures = table.figures();
        constexpr int64_t beside = 1024; // tags, and a share of the directory
        EXPECT_LT(one.least, figures.m_bytes / figures.m_parts) << one.value_size;
        EXPECT_GE(one.most + beside, figures.m_bytes / figures.m_parts) << one.value_size;
    }
}

TEST_F(HashRoom, IsToldAsTheHeapHasIt) {
    for (const uint32_t flags : {def_ombrel_hash_borrow, def_ombrel_hash_numbers}) {
        std::vector<std::string> keys;
        for (int i = 0; i < 50000; i++) // enough for a directory made ahead of time
            keys.push_back(std::to_string(i));
        sized_table table(flags);
        int64_t growths = 0;
        for (size_t i = 0; i < keys.size(); i++) {
            ASSERT_EQ(0, table.add(keys[i]));
            if (i % 1000 != 0 && i >= 20)
                continue;
            const ombrel_hash_statistics_t figures = table.figures();
            ASSERT_TRUE(table.is_what_the_heap_says(figures.m_bytes)) << i;
            ASSERT_GE(figures.m_growths, std::max<int64_t>(growths, figures.m_parts));
            growths = figures.m_growths;
        }
        while (keys.size() > 3000) {
            ASSERT_EQ(1, table.remove(keys.back()));
            keys.pop_back();
        }
        const ombrel_hash_statistics_t before = table.figures();
        ASSERT_EQ(0, ombrel_hash_shrink(table));
        const ombrel_hash_statistics_t behind = table.figures();
        EXPECT_TRUE(table.is_what_the_heap_says(behind.m_bytes));
        EXPECT_LT(behind.m_parts, before.m_parts);
        EXPECT_LT(behind.m_bytes, before.m_bytes / 3);
        for (const std::string& key : keys)
            ASSERT_TRUE(table.has(key));
    }
}

TEST_F(HashRoom, ThatWasReservedIsEnoughAndComesBack) {
    const sized_table table(def_ombrel_hash_numbers);
    ASSERT_EQ(0, ombrel_hash_reserve(table, 30000));
    const ombrel_hash_statistics_t before = table.figures();
    for (uint64_t i = 0; i < 30000; i++)
        ombrel_hash_set_at(table, i, table);
    for (const size_t enough : {0, 1, 30000})
        EXPECT_EQ(0, ombrel_hash_reserve(table, enough));
    EXPECT_EQ(before.m_growths, table.figures().m_growths);
    for (uint64_t i = 10; i < 30000; i++)
        ombrel_hash_remove_at(table, i);
    EXPECT_EQ(before.m_bytes, table.figures().m_bytes);
    ASSERT_EQ(0, ombrel_hash_shrink(table));
    EXPECT_EQ(15, table.figures().m_room);
    EXPECT_EQ(1, table.figures().m_parts);
    for (uint64_t i = 0; i < 10; i++)
        EXPECT_EQ(table, ombrel_hash_get_at(table, i));
}

TEST_F(HashRoom, OfCopiedKeysComesBackAndLongKeysStay) {
    sized_table table(0);
    const std::string long_key(1000, 'l');
    ASSERT_EQ(0, table.add(long_key));
    EXPECT_EQ(1008, table.figures().m_key_bytes) << "a long key has a block of its own";
    for (int i = 0; i < 1000; i++)
        ASSERT_EQ(0, table.add("key " + std::to_string(i)));
    for (int i = 10; i < 1000; i++)
        ASSERT_EQ(1, table.remove("key " + std::to_string(i)));
    ASSERT_EQ(0, ombrel_hash_shrink(table));
    EXPECT_EQ(1008 + 10 * 8, table.figures().m_key_bytes);
    ASSERT_EQ(1, table.remove(long_key));
    EXPECT_EQ(10 * 8, table.figures().m_key_bytes);
    for (int i = 0; i < 10; i++)
        EXPECT_TRUE(table.has("key " + std::to_string(i)));
}

} // namespace
