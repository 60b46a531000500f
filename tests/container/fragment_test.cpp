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
}

TEST_F(Fragment, DoesWhatTheModelSays) {
    options_.m_time_limit = 50;
    open();
    std::mt19937 random(9);
    fragment_model model(50);
    int64_t now = 0;
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
        if (outcome == 1) {
            ASSERT_EQ(expected, whole());
        }
        ASSERT_EQ(static_cast<int64_t>(model.held()), statistics().m_held_datagrams);
    }
    const ombrel_fragment_statistics_t all = statistics();
    for (const int64_t met :
         {all.m_overlapped, all.m_contradicted, all.m_expired, all.m_datagrams, all.m_duplicates})
        EXPECT_GT(met, 0);
}

TEST_F(Fragment, AFloodTakesNothingFromOthers) {
    for (const bool is_for_places : {false, true}) {
        ombrel_init_fragment_options(&options_);
        (is_for_places ? options_.m_datagram_limit : options_.m_memory_limit) = is_for_places ? 20 : 30000;
        open();
        const std::string data(5000, 'x');
        const auto slow = split(1, data, 1020);
        ASSERT_EQ(0, take(slow[0], "slow"));
        for (uint32_t i = 0; i < 1000; i++) {
            take(make_fragment({0, i, 1, 60000, std::string(1000, 'f')}), "flood");
            EXPECT_LE(statistics().m_held_bytes, static_cast<int64_t>(options_.m_memory_limit));
        }
        for (size_t i = 1; i < slow.size(); i++)
            ASSERT_EQ(i + 1 == slow.size() ? 1 : 0, take(slow[i], "slow"));
        EXPECT_EQ(data, whole());
        EXPECT_GT(statistics().m_evicted, 900);
        EXPECT_GT(ombrel_fragment_assembler_forget(assembler_, "flood", 5), 0);
        EXPECT_EQ(1, statistics().m_held_senders);
    }
    options_.m_fragment_limit = 2;
    open();
    for (const uint32_t offset : {0, 2, 4})
        EXPECT_EQ(offset < 4 ? 0 : -1, take(make_fragment({0, 1, offset, 9, "a"})));
    EXPECT_EQ(1, statistics().m_crumbled);
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
