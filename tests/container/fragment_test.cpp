#include <algorithm>
#include <cstring>
#include <random>

#include <gtest/gtest.h>

#include <ombrel/fault.h>

#include "fragment_model.h"

namespace ombrel_test {
namespace {

std::vector<std::string> split(uint32_t identifier, const std::string& data, size_t size) {
    std::vector<std::string> all;
    ombrel_fragment_splitter_t splitter;
    std::string fragment(size, '\0');
    EXPECT_EQ(0, ombrel_init_fragment_splitter(&splitter, identifier, data.data(), data.size(), size));
    int64_t taken;
    while ((taken = ombrel_fragment_splitter_next(&splitter, fragment.data())) > 0)
        all.push_back(fragment.substr(0, static_cast<size_t>(taken)));
    EXPECT_EQ(static_cast<int64_t>(all.size()), ombrel_get_fragment_count(data.size(), size));
    return all;
}

class Fragment : public testing::Test {
protected:
    Fragment() { ombrel_init_fragment_options(&options_); }
    ~Fragment() override { ombrel_close_fragment_assembler(assembler_); }

    void open() {
        ombrel_close_fragment_assembler(assembler_);
        assembler_ = ombrel_open_fragment_assembler(&options_);
        ASSERT_NE(nullptr, assembler_);
    }
    int take(const std::string& fragment, const char* sender = "s", int64_t now = 0) {
        return ombrel_fragment_assembler_take(assembler_, sender, strlen(sender), fragment.data(),
                                              fragment.size(), now, &datagram_);
    }
    std::string whole() const { return {static_cast<const char*>(datagram_.m_data), datagram_.m_size}; }
    ombrel_fragment_statistics_t statistics() const {
        ombrel_fragment_statistics_t result;
        ombrel_fragment_assembler_get_statistics(assembler_, &result);
        return result;
    }

    ombrel_fragment_options_t options_;
    ombrel_fragment_assembler_t* assembler_ = nullptr;
    ombrel_datagram_t datagram_;
};

TEST_F(Fragment, PutsTogetherWhatComesInAnyOrder) {
    open();
    std::mt19937 random(5);
    for (const size_t size : {0, 1, 79, 80, 81, 5000, 65536}) {
        std::string data(size, '\0');
        std::generate(data.begin(), data.end(), [&] { return static_cast<char>(random()); });
        auto fragments = split(static_cast<uint32_t>(size), data, 100);
        std::shuffle(fragments.begin(), fragments.end(), random);
        for (size_t i = 0; i < fragments.size(); i++) {
            const bool is_last = i + 1 == fragments.size();
            ASSERT_EQ(is_last ? 1 : 0, take(fragments[i]));
            if (!is_last) {
                ASSERT_EQ(0, take(fragments[i]));
            }
        }
        EXPECT_EQ(data, whole());
        EXPECT_EQ(size, datagram_.m_identifier);
        if (fragments.size() > 1) {
            EXPECT_EQ(0, take(fragments[0]));
        }
    }
}

TEST_F(Fragment, RefusesWhatIsMalformedAlone) {
    open();
    const auto good = split(1, "0123456789", 25);
    ASSERT_EQ(0, take(good[1]));
    for (size_t i = 0; i < good[0].size(); i++)
        for (const int bit : {1, 0x80}) {
            std::string bad = good[0];
            bad[i] = static_cast<char>(bad[i] ^ bit);
            EXPECT_EQ(-1, take(bad));
            EXPECT_EQ(def_ombrel_fault_violation, ombrel_last_fault());
        }
    for (size_t size = 0; size < def_ombrel_fragment_head_size; size++)
        EXPECT_EQ(-1, take(good[0].substr(0, size)));
    const sent_fragment empty = {0, 1, 5, 10, ""};
    EXPECT_EQ(-1, take(make_fragment(empty)));
    EXPECT_EQ(-1, take(make_fragment({0, 1, 0, 70000, "x"})));
    EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
    EXPECT_EQ(1, take(good[0]));
    EXPECT_EQ("0123456789", whole());
    EXPECT_EQ(2 * static_cast<int64_t>(good[0].size()) + def_ombrel_fragment_head_size + 2,
              statistics().m_malformed);
    EXPECT_EQ(0, statistics().m_refused);
}

TEST_F(Fragment, DoesWhatTheModelSays) {
    options_.m_time_limit = 50;
    open();
    std::mt19937 random(9);
    fragment_model model(50);
    int64_t now = 0, taken = 0, outcomes[3] = {};
    for (int i = 0; i < 30000; i++) {
        now += random() % 3 == 0 ? 1 : 0;
        now += random() % 100 == 0 ? 51 : 0; // all that is held is too old then
        const uint32_t total = random() % 8 == 0 ? 12 : 16, offset = random() % 4 * 4;
        // Drawn one after the other, as compilers evaluate arguments in orders of their own.
        const size_t size = std::min<size_t>(random() % 5 == 0 ? 8 : 4, total - std::min(offset, total));
        const std::string data(size, random() % 9 == 0 ? 'b' : 'a');
        if (data.empty())
            continue;
        const sent_fragment sent = {static_cast<int>(random() % 2), static_cast<uint32_t>(random() % 4),
                                    offset, total, data};
        std::string expected;
        const int outcome = model.take(sent, now, expected);
        ASSERT_EQ(outcome, take(make_fragment(sent), sent.sender == 0 ? "s" : "t", now)) << i;
        taken++;
        outcomes[outcome + 1]++;
        if (outcome == 1) {
            ASSERT_EQ(expected, whole());
        }
        ASSERT_EQ(static_cast<int64_t>(model.held()), statistics().m_held_datagrams);
    }
    const ombrel_fragment_statistics_t all = statistics();
    for (const int64_t met :
         {all.m_overlapped, all.m_contradicted, all.m_expired, all.m_datagrams, all.m_duplicates})
        EXPECT_GT(met, 0);
    EXPECT_EQ(taken, all.m_fragments);
    EXPECT_EQ(outcomes[0], all.m_refused);
    EXPECT_EQ(outcomes[2], all.m_datagrams);
    EXPECT_EQ(0, all.m_malformed + all.m_crumbled + all.m_evicted + all.m_forgotten);
    EXPECT_EQ(static_cast<int64_t>(model.held()), ombrel_fragment_assembler_expire(assembler_, now + 50));
    const ombrel_fragment_statistics_t end = statistics();
    EXPECT_EQ(0, end.m_held_datagrams + end.m_held_bytes + end.m_held_senders);
}

// By bytes who holds most of them loses, however few datagrams they are; by places it is the other way round.
TEST_F(Fragment, AFloodTakesNothingFromOthers) {
    for (const bool is_for_places : {false, true}) {
        ombrel_init_fragment_options(&options_);
        (is_for_places ? options_.m_datagram_limit : options_.m_memory_limit) = is_for_places ? 100 : 100000;
        open();
        const std::string data(20000, 'x');
        const auto slow = split(1, data, 1020);
        for (size_t i = 0; i + 1 < slow.size(); i++)
            ASSERT_EQ(0, take(slow[i], "slow"));
        for (uint32_t i = 0; i < 30; i++)
            ASSERT_EQ(0, take(make_fragment({0, i, 0, 2, "m"}), "many"));
        for (uint32_t i = 0; i < 1000; i++) {
            take(make_fragment({0, i, 1, 60000, std::string(is_for_places ? 1 : 4000, 'f')}), "flood");
            EXPECT_LE(statistics().m_held_bytes, static_cast<int64_t>(options_.m_memory_limit));
            EXPECT_LE(statistics().m_held_datagrams, static_cast<int64_t>(options_.m_datagram_limit));
        }
        ASSERT_EQ(1, take(slow.back(), "slow"));
        EXPECT_EQ(data, whole());
        for (uint32_t i = 0; i < 30; i++)
            ASSERT_EQ(1, take(make_fragment({0, i, 1, 2, "n"}), "many"));
        EXPECT_EQ("mn", whole());
        EXPECT_GT(statistics().m_evicted, 900);
        EXPECT_EQ(0, ombrel_fragment_assembler_forget(assembler_, "other", 5));
        const int64_t held = statistics().m_held_datagrams;
        EXPECT_EQ(held - 31, ombrel_fragment_assembler_forget(assembler_, "flood", 5));
        EXPECT_EQ(2, statistics().m_held_senders);
        EXPECT_EQ(31, statistics().m_held_datagrams);
    }
    options_.m_fragment_limit = 2;
    open();
    for (const uint32_t offset : {0, 2, 4})
        EXPECT_EQ(offset < 4 ? 0 : -1, take(make_fragment({0, 1, offset, 9, "a"})));
    EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
    EXPECT_EQ(1, statistics().m_crumbled);
}

TEST_F(Fragment, WhatWasGivenIsForgottenBeforeWhatIsMissing) {
    options_.m_datagram_limit = 2;
    open();
    ASSERT_EQ(0, take(make_fragment({0, 1, 0, 2, "a"}), "first"));
    ASSERT_EQ(0, take(make_fragment({0, 2, 0, 2, "a"}), "second"));
    ASSERT_EQ(1, take(make_fragment({0, 2, 1, 2, "b"}), "second"));
    ASSERT_EQ(0, take(make_fragment({0, 3, 0, 2, "c"}), "third"));
    EXPECT_EQ(1, statistics().m_forgotten);
    EXPECT_EQ(0, statistics().m_evicted);
    // Of equals who came first loses.
    ASSERT_EQ(0, take(make_fragment({0, 4, 0, 2, "e"}), "fourth"));
    EXPECT_EQ(1, statistics().m_evicted);
    ASSERT_EQ(1, take(make_fragment({0, 3, 1, 2, "d"}), "third"));
    EXPECT_EQ("cd", whole());
    ASSERT_EQ(-1, take(make_fragment({0, 4, 0, 3, "e"}), "fourth")) << "of another size";
    ASSERT_EQ(0, take(make_fragment({0, 5, 0, 2, "g"}), "fifth"));
    ASSERT_EQ(0, take(make_fragment({0, 6, 0, 2, "i"}), "sixth"));
    EXPECT_EQ(3, statistics().m_forgotten) << "the one that was refused, too";
    EXPECT_EQ(1, statistics().m_evicted);
    EXPECT_EQ(2, statistics().m_held_datagrams);
}

TEST_F(Fragment, ADatagramMayNeedMoreThanThereIs) {
    options_.m_memory_limit = 3000;
    open();
    const std::string piece(1000, 'p');
    EXPECT_EQ(-1, take(make_fragment({0, 1, 0, 9000, std::string(3000, 'p')})));
    EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
    EXPECT_EQ(0, statistics().m_held_datagrams + statistics().m_held_bytes);
    EXPECT_EQ(0, take(make_fragment({0, 1, 0, 9000, piece})));
    EXPECT_EQ(0, take(make_fragment({0, 1, 1000, 9000, piece})));
    EXPECT_EQ(-1, take(make_fragment({0, 1, 2000, 9000, piece}))) << "it was given up itself";
    EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
    EXPECT_EQ(1, statistics().m_evicted);
    EXPECT_EQ(0, statistics().m_held_datagrams + statistics().m_held_bytes + statistics().m_held_senders);
    for (const char* sender : {"a", "b", "c"}) // there is room for two
        EXPECT_EQ(0, take(make_fragment({0, 1, 0, 9000, piece}), sender));
    for (const char* sender : {"a", "b", "c"})
        EXPECT_EQ(sender[0] == 'a' ? 0 : 1, ombrel_fragment_assembler_forget(assembler_, sender, 1))
            << "of equals who came first loses";
}

TEST_F(Fragment, WhatMakesNoSenseIsRefused) {
    open();
    ombrel_fragment_splitter_t splitter = {};
    unsigned char buffer[100] = {};
    ombrel_fragment_statistics_t figures;
    const char sender[def_ombrel_fragment_sender_max + 1] = {};
    const std::string good = make_fragment({0, 1, 0, 2, "a"});
    const auto give = [&](ombrel_fragment_assembler_t* to, const void* from, size_t size, const void* data,
                          ombrel_datagram_t* datagram) {
        return ombrel_fragment_assembler_take(to, from, size, data, good.size(), 0, datagram);
    };
    const auto invalid = [](bool is_refused, int line = __builtin_LINE()) {
        EXPECT_TRUE(is_refused) << "line " << line;
        EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault()) << "line " << line;
        ombrel_leave_fault(def_ombrel_fault_none);
    };
    constexpr size_t head = def_ombrel_fragment_head_size;
    invalid(ombrel_init_fragment_splitter(nullptr, 1, "a", 1, head + 1) == -1);
    invalid(ombrel_init_fragment_splitter(&splitter, 1, nullptr, 1, head + 1) == -1);
    invalid(ombrel_init_fragment_splitter(&splitter, 1, "a", 1, head) == -1);
    invalid(ombrel_fragment_splitter_next(nullptr, buffer) == -1);
    invalid(ombrel_fragment_splitter_next(&splitter, nullptr) == -1);
    invalid(ombrel_get_fragment_count(1, head) == -1);
    invalid(ombrel_init_fragment_options(nullptr) == -1);
    invalid(give(nullptr, "s", 1, good.data(), &datagram_) == -1);
    invalid(give(assembler_, nullptr, 1, good.data(), &datagram_) == -1);
    invalid(give(assembler_, sender, sizeof sender, good.data(), &datagram_) == -1);
    invalid(give(assembler_, "s", 1, nullptr, &datagram_) == -1);
    invalid(give(assembler_, "s", 1, good.data(), nullptr) == -1);
    invalid(ombrel_fragment_assembler_expire(nullptr, 0) == -1);
    invalid(ombrel_fragment_assembler_expire(assembler_, -2) == -1);
    invalid(ombrel_fragment_assembler_get_wait(nullptr, 0) == -1);
    invalid(ombrel_fragment_assembler_get_wait(assembler_, -2) == -1);
    invalid(ombrel_fragment_assembler_forget(nullptr, "s", 1) == -1);
    invalid(ombrel_fragment_assembler_forget(assembler_, nullptr, 1) == -1);
    invalid(ombrel_fragment_assembler_forget(assembler_, sender, sizeof sender) == -1);
    invalid(ombrel_fragment_assembler_get_statistics(nullptr, &figures) == -1);
    invalid(ombrel_fragment_assembler_get_statistics(assembler_, nullptr) == -1);
    EXPECT_EQ(0, statistics().m_fragments);
#if SIZE_MAX > UINT32_MAX
    invalid(ombrel_init_fragment_splitter(&splitter, 1, "a", size_t{UINT32_MAX} + 1, head + 1) == -1);
    invalid(ombrel_get_fragment_count(size_t{UINT32_MAX} + 1, head + 1) == -1);
#endif
    EXPECT_EQ(UINT32_MAX, ombrel_get_fragment_count(UINT32_MAX, head + 1));
    EXPECT_EQ(0, ombrel_close_fragment_assembler(nullptr));
    // The longest sender, and none.
    EXPECT_EQ(0, give(assembler_, sender, sizeof sender - 1, good.data(), &datagram_));
    EXPECT_EQ(0, give(assembler_, nullptr, 0, good.data(), &datagram_));
    EXPECT_EQ(2, statistics().m_held_senders);
    EXPECT_EQ(1, ombrel_fragment_assembler_forget(assembler_, nullptr, 0));
    size_t* const limits[] = {&options_.m_memory_limit, &options_.m_datagram_limit,
                              &options_.m_fragment_limit, &options_.m_size_limit};
    for (size_t* const limit : limits) {
        const size_t before = std::exchange(*limit, 0);
        invalid(ombrel_open_fragment_assembler(&options_) == nullptr);
        *limit = before;
    }
    for (const int64_t time : {0, -1}) {
        options_.m_time_limit = time;
        invalid(ombrel_open_fragment_assembler(&options_) == nullptr);
    }
    options_.m_time_limit = 1;
#if SIZE_MAX > UINT32_MAX
    options_.m_size_limit = size_t{UINT32_MAX} + 1;
    invalid(ombrel_open_fragment_assembler(&options_) == nullptr);
#endif
    options_.m_size_limit = UINT32_MAX;
    open();
}

TEST_F(Fragment, LimitsAreAsDescribed) {
    EXPECT_EQ(30000, options_.m_time_limit);
    EXPECT_EQ(4194304u, options_.m_memory_limit);
    EXPECT_EQ(1024u, options_.m_datagram_limit);
    EXPECT_EQ(1024u, options_.m_fragment_limit);
    EXPECT_EQ(65536u, options_.m_size_limit);
    assembler_ = ombrel_open_fragment_assembler(nullptr);
    EXPECT_EQ(1, take(split(1, std::string(65536, 'x'), 70000)[0]));
    EXPECT_EQ(-1, take(split(1, std::string(65537, 'x'), 70000)[0]));
    options_.m_fragment_limit = options_.m_size_limit = 3;
    open();
    for (const uint32_t offset : {0, 1, 2})
        EXPECT_EQ(offset < 2 ? 0 : 1, take(make_fragment({0, 1, offset, 3, "a"})));
}

TEST_F(Fragment, TimeIsTheCallersOrTheHosts) {
    options_.m_time_limit = 1000;
    open();
    EXPECT_EQ(-1, ombrel_fragment_assembler_get_wait(assembler_, 5));
    EXPECT_EQ(0, take(make_fragment({0, 1, 0, 9, "a"}), "s", 100));
    EXPECT_EQ(0, take(make_fragment({0, 2, 0, 9, "a"}), "s", 50)); // counts as 100
    EXPECT_EQ(300, ombrel_fragment_assembler_get_wait(assembler_, 800));
    EXPECT_EQ(0, ombrel_fragment_assembler_expire(assembler_, 1099));
    EXPECT_EQ(2, ombrel_fragment_assembler_expire(assembler_, 1100));
    open();
    EXPECT_EQ(0, take(make_fragment({0, 1, 0, 2, "a"}), "s", def_ombrel_fragment_now));
    EXPECT_EQ(1, take(make_fragment({0, 1, 1, 2, "b"}), "s", def_ombrel_fragment_now));
    EXPECT_EQ(-1, take(make_fragment({0, 1, 1, 2, "b"}), "s", -2));
    options_.m_size_limit = 0;
    EXPECT_EQ(nullptr, ombrel_open_fragment_assembler(&options_));
}

} // namespace
} // namespace ombrel_test
