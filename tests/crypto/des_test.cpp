#include "crypto/cipher_support.h"

#include <iomanip>
#include <sstream>
#include <tuple>

#include <ombrel/output.h>

#include "support/capture.h"

using namespace ombrel_test;

namespace {

void add_row(std::ostream& text, const uint8_t* bits) {
    for (int i = 0; i < 48; i++)
        text << unsigned{bits[i]} << (i % 8 == 7 ? "b " : "");
    text << "\n";
}

} // namespace

TEST(Des, RoundKeysHoldABitInEachByte) {
    const byte_string keys = find_cipher("des").round_key(from_hex("133457799BBCDFF1"));
    std::string bits(keys.begin(), keys.end());
    for (char& bit : bits)
        bit = static_cast<char>(bit + '0');
    EXPECT_EQ("000110110000001011101111111111000111000001110010", bits.substr(0, 48));
    EXPECT_EQ("110010110011110110001011000011100001011111110101", bits.substr(15 * 48));
    EXPECT_EQ(keys, find_cipher("des").round_key(from_hex("123556789ABDDEF0")))
        << "parity bits are no key bits";
}

TEST(Des, TripleFormEncryptsThreeTimes) {
    const cipher &single = find_cipher("des"), &triple = find_cipher("3des");
    byte_source source;
    const byte_string key = source.bytes(24), plain = source.bytes(80);
    byte_string expected = plain, schedules;
    for (int i = 0; i < 3; i++) {
        const byte_string keys = single.round_key({key.begin() + 8 * i, key.begin() + 8 * (i + 1)});
        single.encrypt_ecb(expected.data(), expected.size(), keys.data());
        schedules.insert(schedules.end(), keys.begin(), keys.end());
    }
    const byte_string keys = triple.round_key(key);
    EXPECT_EQ(keys, schedules);
    byte_string data = plain;
    triple.encrypt_ecb(data.data(), data.size(), keys.data());
    EXPECT_EQ(data, expected);
    triple.decrypt_ecb(data.data(), data.size(), keys.data());
    EXPECT_EQ(data, plain);
}

TEST(Des, DumpsShowOverlappingRows) {
    const std::tuple<const char*, const char*, int (*)(const void*)> dumps[] = {
        {"des", "round key:\n", ombrel_dump_round_key_des},
        {"3des", "triple round key:\n", ombrel_dump_round_key_3des}};
    for (const auto& [name, title, dump] : dumps) {
        const cipher& c = find_cipher(name);
        byte_string keys = c.round_key(byte_source().bytes(c.key_size));
        keys[20] = 207; // values print in full, whatever they are
        std::ostringstream expected(title, std::ios::ate);
        for (size_t row = 0; row < keys.size() / 48; row++) {
            if (c.key_size > 8)
                expected << "[" << row / 16 << "]";
            expected << "[" << std::setw(2) << row % 16 << "] ";
            add_row(expected, &keys[row / 16 * 768 + row % 16]);
        }
        expected << "\n";
        capture output(stdout);
        EXPECT_EQ(0, dump(keys.data()));
        ombrel_puts(nullptr);
        EXPECT_EQ(expected.str(), output.text());
        EXPECT_EQ(-1, dump(nullptr));
    }
}
