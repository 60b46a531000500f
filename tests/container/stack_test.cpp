#include <ombrel/stack.h>

#include <cstdint>
#include <random>
#include <string>

#include "support/heap_balance.h"

namespace {

using Stack = ombrel_test::balanced_test;

constexpr size_t header = 3 * sizeof(void*);

std::string numbered(size_t size) {
    std::string bytes(size, '\0');
    for (size_t i = 0; i < size; i++)
        bytes[i] = static_cast<char>(i * 7 + i / 256);
    return bytes;
}

TEST_F(Stack, ALargeFirstPushTakesTwoChunks) {
    const std::string bytes = numbered(10000);
    const size_t count = ombrel_get_alloc_count(), size = ombrel_get_alloc_size();
    ombrel_stack_t* top = ombrel_push_stack(nullptr, bytes.data(), bytes.size());
    EXPECT_EQ(count + 2, ombrel_get_alloc_count());
    EXPECT_EQ(size + 10000 + 14096 + 2 * def_ombrel_heap_overhead, ombrel_get_alloc_size());
    std::string got(10000, '\0');
    ombrel_stack_t* first = ombrel_pop_stack(top, got.data(), got.size());
    EXPECT_EQ(bytes, got);
    EXPECT_NE(top, first);
    EXPECT_EQ(count + 1, ombrel_get_alloc_count()) << "the empty first chunk stays";
    EXPECT_EQ(first, ombrel_pop_stack(first, nullptr, 0));
    EXPECT_EQ(nullptr, ombrel_pop_stack(first, got.data(), 1));
}

TEST_F(Stack, AnEmptiedChunkStaysUntilBytesBelowItAreWanted) {
    ombrel_stack_t* first = ombrel_push_stack(nullptr, nullptr, 4096 - header);
    EXPECT_EQ(first, ombrel_push_stack(first, "", 0));
    ombrel_stack_t* second = ombrel_push_stack(first, "x", 1);
    EXPECT_NE(first, second);
    char byte = 0;
    EXPECT_EQ(second, ombrel_pop_stack(second, &byte, 1));
    EXPECT_EQ('x', byte);
    EXPECT_EQ(first, ombrel_pop_stack(second, &byte, 1));
    EXPECT_EQ('\0', byte);
    EXPECT_EQ(0, ombrel_free_stack(first)); // releases nothing
    char rest[4096] = {1};
    rest[4095] = 1;
    EXPECT_EQ(nullptr, ombrel_pop_stack(first, rest, sizeof rest));
    EXPECT_EQ(0, rest[0]);
    EXPECT_EQ(1, rest[4095]) << "beyond the bottom nothing is written";
    EXPECT_EQ(nullptr, ombrel_pop_stack(nullptr, rest, 1));
}

TEST_F(Stack, RandomPushesAndPopsMatchAString) {
    std::mt19937 random(3);
    std::string model; // the top at the front
    ombrel_stack_t* top = nullptr;
    for (int i = 0; i < 20000; i++) {
        const size_t size = random() % (i % 50 == 0 ? 9000 : 40);
        if (random() % 2 == 0) {
            const std::string bytes = numbered(size);
            top = ombrel_push_stack(top, bytes.data(), size);
            model.insert(0, bytes);
        } else if (size <= model.size()) {
            std::string got(size, '\0');
            top = ombrel_pop_stack(top, got.data(), size);
            ASSERT_EQ(model.substr(0, size), got);
            model.erase(0, size);
        }
    }
    EXPECT_EQ(nullptr, ombrel_pop_stack(top, nullptr, SIZE_MAX));
}

} // namespace
