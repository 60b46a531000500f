#include <ombrel/wake_on_lan.h>

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <ombrel/fault.h>

namespace ombrel_test {
namespace {

TEST(WakeOnLan, ReadsAddressesAndPasswordsStrictly) {
    constexpr size_t good = 99;
    const struct {
        const char* text;
        size_t mac_fault, password_fault;
    } cases[] = {{"01:23:45:67:89:ab", good, good},
                 {"01-23-45-67-89-AB", good, good},
                 {"01.23.45.67.89.ab", good, good},
                 {"0123.4567.89aB", good, good},
                 {"0123456789ab", good, good},
                 {"1.35.69.103", 1, good},
                 {"1.35.69.256", 1, 8},
                 {"1.35.69", 1, 1},
                 {"1.35..1", 1, 5},
                 {"", 0, 0},
                 {"01:23:45:67:89", 14, 14},
                 {"01:23:45:67:89:ab:", 17, 17},
                 {"01:23-45:67:89:ab", 5, 5},
                 {"0123:4567:89ab", 4, 4},
                 {"0123.45.67.89ab", 7, 13},
                 {"01234567890", 11, 11},
                 {"0123456789abc", 12, 12},
                 {"01:23:45:67:89:ag", 16, 16},
                 {" 0123456789ab", 0, 0}};
    for (const auto& [text, mac_fault, password_fault] : cases) {
        uint8_t mac[6] = {9, 9, 9, 9, 9, 9};
        ombrel_wake_password_t password = {1, {}};
        size_t at = good, password_at = good;
        EXPECT_EQ(mac_fault == good ? 0 : -1, ombrel_parse_mac_address(text, mac, &at)) << text;
        EXPECT_EQ(mac_fault, at) << text;
        EXPECT_EQ(0, memcmp(mac, mac_fault == good ? "\x01\x23\x45\x67\x89\xab" : "\t\t\t\t\t\t", 6)) << text;
        EXPECT_EQ(password_fault == good ? 0 : -1, ombrel_parse_wake_password(text, &password, &password_at))
            << text;
        EXPECT_EQ(password_fault, password_at) << text;
        EXPECT_EQ(password_fault != good ? 1u : mac_fault == good ? 6u : 4u, password.m_size) << text;
        EXPECT_TRUE(password_fault != good || memcmp(password.m_bytes, "\x01\x23\x45\x67", 4) == 0) << text;
    }
}

TEST(WakeOnLan, PacketsHaveTheirLayout) {
    const uint8_t mac[] = {0x01, 0x02, 0x03, 0xa4, 0x05, 0xff};
    char text[def_ombrel_mac_address_text_size];
    EXPECT_EQ(17, ombrel_format_mac_address(text, sizeof text, mac));
    EXPECT_STREQ("01:02:03:a4:05:ff", text);
    EXPECT_EQ(4, ombrel_format_mac_address(text, 5, mac));
    EXPECT_STREQ("01:0", text);
    for (const size_t extra : {0u, 4u, 6u}) {
        const ombrel_wake_password_t password = {extra, {6, 5, 4, 3, 2, 1}};
        std::string packet(def_ombrel_wake_packet_max, 'x'), expected(6, '\xff');
        for (int i = 0; i < 16; i++)
            expected.append(reinterpret_cast<const char*>(mac), sizeof mac);
        expected.append("\6\5\4\3\2\1", extra);
        const int64_t size = ombrel_make_wake_packet(mac, &password, packet.data(), packet.size());
        EXPECT_EQ(static_cast<int64_t>(102 + extra), size);
        EXPECT_EQ(expected.append(6 - extra, 'x'), packet);
        EXPECT_EQ(-1, ombrel_make_wake_packet(mac, &password, packet.data(), 101 + extra));
        EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
    }
    const ombrel_wake_password_t wrong = {5, {}};
    char room[200];
    EXPECT_EQ(-1, ombrel_make_wake_packet(mac, &wrong, room, sizeof room));
    ombrel_wake_options_t options;
    ASSERT_EQ(0, ombrel_init_wake_options(&options));
    options.m_port = 0;
    EXPECT_EQ(-1, ombrel_send_wake_packet(mac, &options));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
}

} // namespace
} // namespace ombrel_test
