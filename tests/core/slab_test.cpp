#include <ombrel/slab.h>

#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/heap.h>

#include "support/heap_balance.h"

namespace {

constexpr size_t header = sizeof(ombrel_slab_t);

class Slab : public ombrel_test::balanced_test {};

TEST_F(Slab, HoldsWhatFits) {
    const struct {
        size_t area_size, object_size, count;
    } cases[] = {
        {header + 48, 12, 3}, // the first estimate of 4 does not leave room for the indices
        {header, 1, 0},
        {header + 4, 1, 0},
        {header + 5, 1, 1},
        {header + 100, 96, 1},
        {header + 99, 96, 0},
        {header + 64, SIZE_MAX, 0},
        {header + 64, SIZE_MAX - 3, 0},
    };
    for (const auto& c : cases) {
        std::vector<size_t> area(1 + c.area_size / sizeof(size_t));
        ombrel_slab_t* slab = ombrel_init_slab(area.data(), c.area_size, c.object_size);
        ASSERT_EQ(static_cast<void*>(slab), area.data());
        EXPECT_EQ(slab->m_object_count, c.count) << c.area_size << " bytes for objects of " << c.object_size;
        for (size_t i = 0; i < c.count; i++) {
            auto* object = static_cast<unsigned char*>(ombrel_slab_alloc(slab));
            ASSERT_EQ(object, static_cast<unsigned char*>(slab->m_objects) + i * c.object_size);
            ASSERT_LE(object + c.object_size, reinterpret_cast<unsigned char*>(area.data()) + c.area_size);
            memset(object, 0xFF, c.object_size);
        }
        EXPECT_EQ(nullptr, ombrel_slab_alloc(slab));
    }
    size_t area[16];
    EXPECT_EQ(nullptr, ombrel_init_slab(nullptr, sizeof area, 4));
    EXPECT_EQ(nullptr, ombrel_init_slab(area, header - 1, 4));
    EXPECT_EQ(nullptr, ombrel_init_slab(area, sizeof area, 0));
}

TEST_F(Slab, HandsTheLastFreedOutFirst) {
    size_t area[32];
    ombrel_slab_t* slab = ombrel_init_slab(area, sizeof area, 16);
    auto* first = static_cast<char*>(ombrel_slab_alloc(slab));
    auto* second = static_cast<char*>(ombrel_slab_alloc(slab));
    EXPECT_EQ(nullptr, ombrel_slab_free(slab, first));
    EXPECT_EQ(nullptr, ombrel_slab_free(slab, second + 7)); // the middle of an object is that object
    EXPECT_EQ(ombrel_slab_alloc(slab), second);
    EXPECT_EQ(ombrel_slab_alloc(slab), first);
}

// Sizes that are powers of two and others are found in different ways.
TEST_F(Slab, KnowsEachByteOfItsObjects) {
    for (const size_t size : {1u, 3u, 8u, 12u, 16u, 20u}) {
        size_t area[64];
        ombrel_slab_t* slab = ombrel_init_slab(area, sizeof area, size);
        std::vector<char*> objects;
        while (auto* object = static_cast<char*>(ombrel_slab_alloc(slab)))
            objects.push_back(object);
        ASSERT_LT(5u, objects.size());
        EXPECT_EQ(0, ombrel_is_slab_object(slab, objects.front() - 1)) << size;
        EXPECT_EQ(0, ombrel_is_slab_object(slab, objects.back() + size)) << size;
        for (char* const object : objects)
            for (size_t at = 0; at < size; at++) {
                EXPECT_EQ(1, ombrel_is_slab_object(slab, object + at));
                EXPECT_EQ(nullptr, ombrel_slab_free(slab, object + at));
                EXPECT_EQ(object, ombrel_slab_alloc(slab)) << size;
            }
    }
}

TEST_F(Slab, FallsBackToTheHeapOnRequest) {
    size_t area[header / sizeof(size_t) + 3];
    ombrel_slab_t* slab = ombrel_init_slab(area, sizeof area, 8);
    void* object = ombrel_slab_alloc(slab);
    EXPECT_EQ(1, ombrel_is_slab_object(slab, object));
    while (ombrel_slab_alloc(slab) != nullptr) {
    }
    const size_t before = ombrel_get_alloc_count();
    void* block = ombrel_slab_alloc_ex(slab, 1);
    EXPECT_EQ(ombrel_get_alloc_count(), before + 1);
    EXPECT_EQ(0, ombrel_is_slab_object(slab, block));
    EXPECT_EQ(ombrel_slab_free(slab, block), block);
    EXPECT_EQ(nullptr, ombrel_slab_free_ex(slab, block, 1));
    EXPECT_EQ(ombrel_get_alloc_count(), before);

    EXPECT_EQ(nullptr, ombrel_slab_free_ex(slab, nullptr, 1));
    EXPECT_EQ(nullptr, ombrel_slab_alloc_ex(nullptr, 1));
    EXPECT_EQ(nullptr, ombrel_slab_free(nullptr, object));
    EXPECT_EQ(nullptr, ombrel_slab_free_ex(nullptr, ombrel_alloc(4), 1));
    EXPECT_EQ(0, ombrel_is_slab_object(nullptr, object));
}

} // namespace
