#include <ombrel/instance.h>

#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/fault.h>

#include "support/refused.h"
#include "support/threads.h"

using ombrel_test::expect_refused;

namespace {

struct thing {
    int finished = 0;
    int destroyed = 0;
    std::atomic<int> users{0};
};

void finish(void* object) {
    static_cast<thing*>(object)->finished++;
}

void destroy(void* object) {
    static_cast<thing*>(object)->destroyed++;
}

constexpr ombrel_instance_type_t things = {"test/thing", destroy, finish};
constexpr ombrel_instance_type_t others = {"test/other", nullptr, nullptr};

int fault_of(bool failed) {
    return failed ? ombrel_last_fault() : def_ombrel_fault_none;
}

TEST(Instances, LiveUntilTheLastPinGoes) {
    thing one;
    const int32_t handle = ombrel_register_instance(&things, &one);
    ASSERT_GT(handle, 0);
    EXPECT_EQ(def_ombrel_fault_not_found, fault_of(ombrel_pin_instance(&others, handle) == nullptr));
    EXPECT_EQ(def_ombrel_fault_not_found, fault_of(ombrel_retire_instance(&others, handle) == -1));
    EXPECT_EQ(def_ombrel_fault_not_found, fault_of(ombrel_unpin_instance(handle) == -1));
    EXPECT_EQ(&one, ombrel_pin_instance(&things, handle));
    EXPECT_EQ(&one, ombrel_pin_instance(&things, handle));
    EXPECT_EQ(0, ombrel_retire_instance(&things, handle));
    EXPECT_EQ(-1, ombrel_retire_instance(&things, handle));
    EXPECT_EQ(nullptr, ombrel_pin_instance(&things, handle));
    EXPECT_EQ(0, ombrel_unpin_instance(handle));
    EXPECT_EQ(0, one.destroyed);
    EXPECT_EQ(0, ombrel_unpin_instance(handle));
    EXPECT_EQ(1, one.destroyed);
    EXPECT_EQ(-1, ombrel_unpin_instance(handle));
    EXPECT_EQ(0, one.finished);
    const int32_t next = ombrel_register_instance(&others, &one); // in the same slot, and nothing to destroy
    EXPECT_NE(handle, next);
    EXPECT_EQ(nullptr, ombrel_pin_instance(&things, handle));
    EXPECT_EQ(0, ombrel_end_instance(&others, next));
    EXPECT_EQ(-1, ombrel_end_instance(&others, next));
}

TEST(Instances, EndWhenNoCallIsInside) {
    thing one;
    const int32_t handle = ombrel_register_instance(&things, &one);
    constexpr int query = def_ombrel_instance_query, use = def_ombrel_instance_use,
                  alone = def_ombrel_instance_alone;
    const auto enter = [=](int how) { return ombrel_enter_instance(&things, handle, how) != nullptr; };
    ASSERT_TRUE(enter(alone));
    for (const int how : {query, use, alone})
        EXPECT_EQ(def_ombrel_fault_busy, fault_of(!enter(how))) << how;
    EXPECT_EQ(0, ombrel_leave_instance(handle));
    EXPECT_TRUE(enter(use) && enter(query));
    EXPECT_EQ(def_ombrel_fault_busy, fault_of(!enter(alone)));
    EXPECT_EQ(0, ombrel_end_instance(&things, handle));
    EXPECT_EQ(def_ombrel_fault_busy, fault_of(ombrel_end_instance(&things, handle) == -1));
    EXPECT_EQ(def_ombrel_fault_busy, fault_of(!enter(use)));
    EXPECT_TRUE(enter(query));
    for (int calls = 3; calls > 0; calls--) {
        EXPECT_EQ(0, one.finished);
        EXPECT_EQ(0, ombrel_leave_instance(handle));
    }
    EXPECT_EQ(1, one.finished);
    EXPECT_EQ(1, one.destroyed);
    EXPECT_EQ(def_ombrel_fault_not_found, fault_of(ombrel_leave_instance(handle) == -1));
    EXPECT_EQ(def_ombrel_fault_not_found, fault_of(!enter(query)));
}

TEST(Instances, AreBusyWhenTheirPinsRunOut) {
    thing one;
    EXPECT_EQ(def_ombrel_fault_invalid, fault_of(ombrel_register_instance(&things, nullptr) == -1));
    const int32_t handle = ombrel_register_instance(&things, &one);
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault()) << "as before: nothing failed";
    int pins = 0;
    while (ombrel_pin_instance(&things, handle) != nullptr)
        pins++;
    EXPECT_EQ(def_ombrel_fault_busy, ombrel_last_fault());
    EXPECT_LE(1000, pins);
    for (; pins > 0; pins--)
        EXPECT_EQ(0, ombrel_unpin_instance(handle));
    EXPECT_EQ(0, ombrel_retire_instance(&things, handle));
    EXPECT_EQ(1, one.destroyed);
}

TEST(Instances, AreWalkedByType) {
    std::vector<thing> made(5);
    std::vector<int32_t> handles;
    for (thing& each : made)
        handles.push_back(ombrel_register_instance(handles.size() == 2 ? &others : &things, &each));
    int met = 0;
    const auto retire = [](int32_t handle, void*, void* count) {
        ++*static_cast<int*>(count);
        return ombrel_retire_instance(&things, handle);
    };
    const auto stop = [](int32_t handle, void*, void*) { return int{handle}; };
    EXPECT_EQ(handles[2], ombrel_walk_instances(&others, stop, nullptr));
    EXPECT_EQ(0, ombrel_walk_instances(&things, retire, &met));
    EXPECT_EQ(4, met);
    EXPECT_EQ(1, made[4].destroyed);
    EXPECT_EQ(0, ombrel_retire_instance(&others, handles[2]));
}

TEST(Instances, AreWalkedBeyondThoseThatAreGone) {
    std::vector<thing> made(5);
    for (thing& each : made)
        ombrel_register_instance(&things, &each);
    const auto note = [](int32_t handle, void*, void* context) {
        static_cast<std::vector<int32_t>*>(context)->push_back(handle);
        return 0;
    };
    std::vector<int32_t> all;
    EXPECT_EQ(0, ombrel_walk_instances(&things, note, &all));
    ASSERT_EQ(5u, all.size());
    for (const size_t gone : {0, 2, 1, 0}) {
        EXPECT_EQ(0, ombrel_retire_instance(&things, all[gone]));
        all.erase(all.begin() + static_cast<ptrdiff_t>(gone));
        std::vector<int32_t> left;
        EXPECT_EQ(0, ombrel_walk_instances(&things, note, &left));
        EXPECT_EQ(all, left);
    }
    EXPECT_EQ(0, ombrel_retire_instance(&things, all[0]));
}

TEST(Instances, OfManyThreadsAreEachTheirOwn) {
    constexpr int rounds = 20000;
    std::atomic<int> wrong{0};
    ombrel_test::in_threads(4, [&](int) {
        thing own[3];
        for (int i = 0; i < rounds; i++) {
            int32_t handles[3];
            for (int k = 0; k < 3; k++)
                handles[k] = ombrel_register_instance(&things, &own[k]);
            for (int k = 0; k < 3; k++) {
                wrong += ombrel_pin_instance(&things, handles[k]) != &own[k];
                wrong += ombrel_unpin_instance(handles[k]) != 0;
            }
            for (int k = 0; k < 3; k++)
                wrong += ombrel_retire_instance(&things, handles[k]) != 0;
        }
        for (const thing& each : own)
            wrong += each.destroyed != rounds;
    });
    EXPECT_EQ(0, wrong);
}

TEST(Instances, RefuseWhatMakesNoSense) {
    constexpr ombrel_instance_type_t nameless = {"", destroy, nullptr};
    thing one;
    for (const ombrel_instance_type_t* type :
         {static_cast<const ombrel_instance_type_t*>(nullptr), &nameless}) {
        expect_refused(
            {[&] { return ombrel_register_instance(type, &one); },
             [&] { return ombrel_pin_instance(type, 1) == nullptr ? -1 : 0; },
             [&] { return ombrel_enter_instance(type, 1, def_ombrel_instance_use) == nullptr ? -1 : 0; },
             [&] { return ombrel_retire_instance(type, 1); }, [&] { return ombrel_end_instance(type, 1); },
             [&] { return ombrel_walk_instances(type, nullptr, nullptr); }});
    }
    expect_refused({[] { return ombrel_register_instance(&things, nullptr); },
                    [] { return ombrel_walk_instances(&things, nullptr, nullptr); },
                    [] { return ombrel_enter_instance(&things, 1, 99) == nullptr ? -1 : 0; }});
    for (const int32_t handle : {0, -1, INT32_MIN, INT32_MAX})
        EXPECT_EQ(nullptr, ombrel_pin_instance(&things, handle));
}

TEST(Instances, AreNeverUsedWhenTheyAreGone) {
    std::atomic<int32_t> shared{0};
    std::atomic<bool> done{false};
    std::vector<std::thread> users;
    std::atomic<int> wrong{0}, pins{0};
    for (int i = 0; i < 3; i++)
        users.emplace_back([&] {
            while (!done) {
                const int32_t handle = shared;
                auto* const used = static_cast<thing*>(ombrel_pin_instance(&things, handle));
                if (used == nullptr) {
                    std::this_thread::yield();
                    continue;
                }
                used->users++;
                pins++;
                wrong += used->destroyed != 0;
                used->users--;
                wrong += ombrel_unpin_instance(handle) != 0;
            }
        });
    constexpr ombrel_instance_type_t kept = {"test/thing",
                                             [](void* object) {
                                                 EXPECT_EQ(0, static_cast<thing*>(object)->users);
                                                 static_cast<thing*>(object)->destroyed++;
                                             },
                                             nullptr};
    std::vector<thing> made(100);
    for (thing& each : made) {
        const int32_t handle = ombrel_register_instance(&kept, &each);
        const int before = pins;
        shared = handle;
        for (int waits = 0; waits < 100 && pins == before; waits++)
            std::this_thread::yield();
        EXPECT_EQ(0, ombrel_retire_instance(&kept, handle));
    }
    done = true;
    for (std::thread& each : users)
        each.join();
    EXPECT_EQ(0, wrong);
    for (const thing& each : made)
        EXPECT_EQ(1, each.destroyed);
}

} // namespace
