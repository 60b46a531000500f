#include <algorithm>
#include <random>

#include <gtest/gtest.h>

#include <ombrel/crc.h>
#include <ombrel/fault.h>

#include "packet_model.h"
#include "support/wine.h"

namespace ombrel_test {
namespace {

TEST(Packet, HasItsLayout) {
    ombrel_buffer_t* const buffer = ombrel_open_buffer();
    EXPECT_EQ(21, ombrel_push_packet(buffer, 0, 0x0102, "hello", 5));
    unsigned char bytes[21];
    ombrel_pop_buffer(buffer, bytes, sizeof bytes);
    const unsigned char start[] = {0xF5, 0xA7, 1, 2, 0, 0, 0, 5, 0x36, 0x10, 0xA6, 0x86};
    EXPECT_EQ(0, memcmp(start, bytes, sizeof start));
    const uint32_t sum = ombrel_crc32_ieee_802_3(0, 0, bytes, 12);
    EXPECT_EQ(sum,
              uint32_t{bytes[12]} << 24 | uint32_t{bytes[13]} << 16 | uint32_t{bytes[14]} << 8 | bytes[15]);
    EXPECT_EQ(0, memcmp("hello", bytes + 16, 5));
    ombrel_close_buffer(buffer);
}

TEST(Packet, LeavesInTheChainWhatFollows) {
    ombrel_buffer_t* const buffer = ombrel_open_buffer();
    ombrel_packet_reader_t* const reader = ombrel_open_packet_reader(nullptr);
    ombrel_push_packet(buffer, 0, 1, nullptr, 0);
    ombrel_push_packet(buffer, 0, 2, "ab", 2);
    ombrel_push_buffer(buffer, "\xF5more", 5);
    ombrel_packet_t packet;
    EXPECT_EQ(1, ombrel_packet_reader_next(reader, buffer, &packet));
    EXPECT_EQ(0u, packet.m_size);
    EXPECT_NE(nullptr, packet.m_data);
    EXPECT_EQ(1, ombrel_packet_reader_next(reader, buffer, &packet));
    EXPECT_EQ(16, packet.m_offset);
    EXPECT_EQ(5u, ombrel_get_buffer_size(buffer));
    EXPECT_EQ(0, ombrel_packet_reader_reset(reader));
    ombrel_flush_buffer(buffer);
    ombrel_push_packet(buffer, 0, 3, "c", 1);
    EXPECT_EQ(1, ombrel_packet_reader_next(reader, buffer, &packet));
    EXPECT_EQ(0, packet.m_offset);
    EXPECT_EQ(-1, ombrel_packet_reader_next(reader, buffer, nullptr));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    ombrel_close_packet_reader(reader);
    ombrel_close_buffer(buffer);
    const size_t most = std::min(size_t{0xFFFFFFFF}, static_cast<size_t>(PTRDIFF_MAX / 4));
    for (const size_t limit : {size_t{0}, most, most + 1, SIZE_MAX}) {
        ombrel_packet_options_t options;
        EXPECT_EQ(0, ombrel_init_packet_options(&options));
        options.m_size_limit = limit;
        ombrel_packet_reader_t* const limited = ombrel_open_packet_reader(&options);
        EXPECT_EQ(limit == most, limited != nullptr) << limit;
        ombrel_close_packet_reader(limited);
    }
}

std::string record(uint16_t type, const std::string& data, uint32_t channel = 0) {
    unsigned char head[def_ombrel_packet_head_size];
    ombrel_make_packet_head(head, channel, type, data.data(), data.size());
    return std::string(reinterpret_cast<const char*>(head), sizeof head) + data;
}

std::string changed(std::string bytes, size_t at) {
    bytes[at] = static_cast<char>(bytes[at] ^ 1);
    return bytes;
}

TEST(Packet, WhatIsNotGivenIsCounted) {
    const std::string good = record(1, "good"); // 20 bytes
    const struct {
        const char* name;
        std::string stream;
        int64_t given, skipped, gaps, bad_heads, bad_payloads, too_large;
    } cases[] = {
        {"nothing", "", 0, 0, 0, 0, 0, 0},
        {"whole records", good + good, 2, 0, 0, 0, 0, 0},
        {"other bytes between", "ab" + good + "c" + good + "d", 2, 4, 3, 0, 0, 0},
        {"half of a first pair", "\xF5\x01" + good + "\xF5", 1, 3, 2, 1, 0, 0},
        {"a changed head", good + changed(good, 5) + good, 2, 20, 1, 1, 0, 0},
        {"a changed payload", good + changed(good, 17) + good, 2, 20, 1, 0, 1, 0},
        {"a payload that never comes", good + record(2, "lost").substr(0, 19), 1, 19, 1, 0, 1, 0},
        {"a record hidden by one that never comes", record(2, std::string(50, 'x')).substr(0, 16) + good, 1,
         16, 1, 0, 1, 0},
        {"one above the limit", good + record(2, std::string(101, 'x')) + good, 2, 117, 1, 0, 0, 1},
        {"another channel", good + record(1, "good", 5) + good, 2, 20, 1, 1, 0, 0},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.name);
        const ombrel_packet_options_t options = {0, 100};
        ombrel_packet_reader_t* const reader = ombrel_open_packet_reader(&options);
        ombrel_buffer_t* const buffer = ombrel_open_buffer();
        for (int round = 0; round < 2; round++) { // the same after the end of a stream, and a reset
            ombrel_push_buffer(buffer, one.stream.data(), one.stream.size());
            int64_t given = 0;
            const auto drain = [&] {
                ombrel_packet_t packet;
                for (int result; (result = ombrel_packet_reader_next(reader, buffer, &packet)) != 0;) {
                    const auto* const data = static_cast<const char*>(packet.m_data);
                    if (result > 0) {
                        EXPECT_EQ("good", std::string(data, packet.m_size));
                        given++;
                        continue;
                    }
                    EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
                    EXPECT_EQ(101u, packet.m_size);
                    EXPECT_EQ(2, packet.m_type);
                    EXPECT_EQ(20, packet.m_offset);
                    EXPECT_STREQ("", data);
                }
            };
            drain();
            EXPECT_EQ(0, ombrel_packet_reader_end(reader));
            drain();
            ombrel_packet_statistics_t all;
            EXPECT_EQ(0, ombrel_packet_reader_get_statistics(reader, &all));
            EXPECT_EQ(one.given, given);
            EXPECT_EQ(one.given, all.m_records);
            EXPECT_EQ(20 * one.given, all.m_record_bytes);
            EXPECT_EQ(static_cast<int64_t>(one.stream.size()), all.m_taken);
            EXPECT_EQ(one.skipped, all.m_skipped);
            EXPECT_EQ(one.gaps, all.m_gaps);
            EXPECT_EQ(one.bad_heads, all.m_bad_heads);
            EXPECT_EQ(one.bad_payloads, all.m_bad_payloads);
            EXPECT_EQ(one.too_large, all.m_too_large);
            EXPECT_EQ(0, ombrel_packet_reader_get_held(reader));
            EXPECT_EQ(0, ombrel_packet_reader_reset(reader));
        }
        ombrel_close_packet_reader(reader);
        ombrel_close_buffer(buffer);
    }
}

// What the reader holds, and what stays in the chain, while a record comes in pieces.
TEST(Packet, TakesNoMoreThanARecordNeeds) {
    ombrel_packet_reader_t* const reader = ombrel_open_packet_reader(nullptr);
    ombrel_buffer_t* const buffer = ombrel_open_buffer();
    const std::string stream = record(1, "good") + "x" + record(2, "more") + record(3, "last");
    const struct {
        size_t pushed;
        int outcome;
        int64_t held, left, offset, skipped;
    } steps[] = {
        {15, 0, 15, 0, 0, 0}, {1, 0, 16, 0, 0, 0},   {4, 1, 0, 0, 0, 0},
        {1, 0, 0, 0, 0, 0},   {40, 1, 20, 0, 21, 1}, {0, 1, 0, 0, 41, 0},
    };
    size_t at = 0;
    ombrel_packet_t packet;
    for (const auto& step : steps) {
        SCOPED_TRACE("at " + std::to_string(at));
        ombrel_push_buffer(buffer, stream.data() + at, step.pushed);
        at += step.pushed;
        EXPECT_EQ(step.outcome, ombrel_packet_reader_next(reader, buffer, &packet));
        EXPECT_EQ(step.held, ombrel_packet_reader_get_held(reader));
        EXPECT_EQ(step.left, static_cast<int64_t>(ombrel_get_buffer_size(buffer)));
        if (step.outcome == 1) {
            EXPECT_EQ(step.offset, packet.m_offset);
            EXPECT_EQ(step.skipped, packet.m_skipped);
        }
    }
    EXPECT_EQ(3, packet.m_type);
    // What was lost on the way is forgotten with a reset; the place counts from there.
    ombrel_push_buffer(buffer, "junk\xF5", 5);
    EXPECT_EQ(0, ombrel_packet_reader_next(reader, buffer, &packet));
    EXPECT_EQ(1, ombrel_packet_reader_get_held(reader));
    EXPECT_EQ(0, ombrel_packet_reader_reset(reader));
    EXPECT_EQ(0, ombrel_packet_reader_get_held(reader));
    ombrel_push_buffer(buffer, stream.data(), 20);
    ombrel_push_buffer(buffer, "rest", 4);
    EXPECT_EQ(1, ombrel_packet_reader_next(reader, buffer, &packet));
    EXPECT_EQ(0, packet.m_offset + packet.m_skipped);
    EXPECT_EQ(4u, ombrel_get_buffer_size(buffer));
    ombrel_close_packet_reader(reader);
    ombrel_close_buffer(buffer);
}

// What was summed up of one stream says nothing of the next.
TEST(Packet, AResetForgetsTheSumsOfWhatWasSearched) {
    ombrel_packet_reader_t* const reader = ombrel_open_packet_reader(nullptr);
    ombrel_buffer_t* const buffer = ombrel_open_buffer();
    for (const char letter : {'x', 'y', 'z'}) {
        const std::string inner = record(1, std::string(700, letter));
        const std::string outer = changed(record(2, inner + inner), 2 * inner.size());
        ombrel_push_buffer(buffer, outer.data(), outer.size());
        ombrel_packet_t packet;
        ASSERT_EQ(1, ombrel_packet_reader_next(reader, buffer, &packet)) << letter;
        EXPECT_EQ(16, packet.m_offset);
        EXPECT_EQ(std::string(700, letter), std::string(static_cast<const char*>(packet.m_data), 700));
        EXPECT_EQ(0, ombrel_packet_reader_next(reader, buffer, &packet));
        EXPECT_EQ(0, ombrel_packet_reader_reset(reader));
    }
    ombrel_close_packet_reader(reader);
    ombrel_close_buffer(buffer);
}

TEST(Packet, WhatMakesNoSenseIsRefused) {
    ombrel_packet_reader_t* const reader = ombrel_open_packet_reader(nullptr);
    ombrel_buffer_t* const buffer = ombrel_open_buffer();
    char head[def_ombrel_packet_head_size];
    ombrel_packet_t packet;
    ombrel_packet_statistics_t figures;
    ombrel_packet_options_t options;
    EXPECT_EQ(0, ombrel_init_packet_options(&options));
    EXPECT_EQ(0u, options.m_channel);
    EXPECT_EQ(1048576u, options.m_size_limit);
    const auto invalid = [](bool is_refused, int line = __builtin_LINE()) {
        EXPECT_TRUE(is_refused) << "line " << line;
        EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault()) << "line " << line;
        ombrel_leave_fault(def_ombrel_fault_none);
    };
    invalid(ombrel_make_packet_head(nullptr, 0, 1, "a", 1) == -1);
    invalid(ombrel_make_packet_head(head, 0, 1, nullptr, 1) == -1);
    invalid(ombrel_push_packet(nullptr, 0, 1, "a", 1) == -1);
    invalid(ombrel_push_packet(buffer, 0, 1, nullptr, 1) == -1);
    invalid(ombrel_init_packet_options(nullptr) == -1);
    invalid(ombrel_packet_reader_next(nullptr, buffer, &packet) == -1);
    invalid(ombrel_packet_reader_next(reader, buffer, nullptr) == -1);
    invalid(ombrel_packet_reader_end(nullptr) == -1);
    invalid(ombrel_packet_reader_reset(nullptr) == -1);
    invalid(ombrel_packet_reader_get_held(nullptr) == -1);
    invalid(ombrel_packet_reader_get_statistics(nullptr, &figures) == -1);
    invalid(ombrel_packet_reader_get_statistics(reader, nullptr) == -1);
#if SIZE_MAX > UINT32_MAX
    invalid(ombrel_make_packet_head(head, 0, 1, "a", size_t{UINT32_MAX} + 1) == -1);
    invalid(ombrel_push_packet(buffer, 0, 1, "a", size_t{UINT32_MAX} + 1) == -1);
#endif
    EXPECT_EQ(0u, ombrel_get_buffer_size(buffer));
    EXPECT_EQ(0, ombrel_packet_reader_next(reader, nullptr, &packet)) << "without a chain nothing comes";
    EXPECT_EQ(0, ombrel_close_packet_reader(nullptr));
    ombrel_close_packet_reader(reader);
    ombrel_close_buffer(buffer);
}

/// Records with bytes lost, changed and put in between; some are records within records.
TEST(Packet, FindsWhatTryingEveryPlaceFinds) {
    std::mt19937 random(11);
    // Wine takes a fifth of a millisecond for a look at memory that may be damaged.
    for (int round = 0; round < (is_wine() ? 15 : 60); round++) {
        std::string stream;
        for (int i = 0; i < 12; i++) {
            const bool is_nested = random() % 4 == 0 && stream.size() < 3000;
            std::string payload =
                is_nested ? stream : std::string(random() % 700, static_cast<char>(random()));
            unsigned char head[def_ombrel_packet_head_size];
            ombrel_make_packet_head(head, random() % 8 == 0 ? 1 : 0, static_cast<uint16_t>(i), payload.data(),
                                    payload.size());
            stream.append(reinterpret_cast<const char*>(head), sizeof head).append(payload);
            if (random() % 3 == 0)
                stream.erase(random() % stream.size(), random() % 60);
            if (random() % 3 == 0)
                stream[random() % stream.size()] ^= 4;
            if (random() % 4 == 0)
                stream.insert(random() % stream.size(), std::string(random() % 40, '\xF5'));
        }
        bool is_accounted = false;
        const auto expected = find_packets(stream, 0, 2500);
        for (const size_t piece : {size_t{1}, size_t{100}, stream.size()}) {
            EXPECT_EQ(expected, read_packets(stream, 0, 2500, piece, is_accounted));
            EXPECT_TRUE(is_accounted);
        }
    }
}

/// Each of them lays claim to a megabyte: summing them up one by one would take hours.
TEST(Packet, IsNotHeldUpByRightHeadsOfWrongPayloads) {
    constexpr size_t claim = def_ombrel_packet_default_limit;
    const std::string payload(claim, 'p');
    unsigned char head[def_ombrel_packet_head_size];
    ombrel_make_packet_head(head, 0, 1, payload.data(), claim);
    std::string stream;
    for (size_t i = 0; i < 3 * claim / sizeof head; i++)
        stream.append(reinterpret_cast<const char*>(head), sizeof head);
    stream += payload.substr(1);
    ombrel_make_packet_head(head, 0, 2, "true", 4);
    stream.append(reinterpret_cast<const char*>(head), sizeof head).append("true");
    bool is_accounted = false;
    const auto found = read_packets(stream, 0, claim, 65536, is_accounted);
    ASSERT_EQ(1u, found.size());
    EXPECT_EQ("true", found[0].data);
    EXPECT_TRUE(is_accounted);
}

} // namespace
} // namespace ombrel_test
