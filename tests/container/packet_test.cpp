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
