#include "crypto/cipher_support.h"

#include <cstdio>
#include <iomanip>
#include <sstream>

#include <ombrel/output.h>

#include "support/capture.h"

using namespace ombrel_test;

namespace {

// Rounds in lines of 48 digits, as a key dump would read with rows that do not overlap.
std::string round_bits(const byte_string& keys, size_t round) {
    std::string text;
    for (size_t i = 0; i < 48; i++)
        text += static_cast<char>('0' + keys[48 * round + i]);
    return text;
}

void add_row(std::ostream& text, const uint8_t* bits) {
    for (int i = 0; i < 48; i++)
        text << unsigned{bits[i]} << (i % 8 == 7 ? "b " : "");
    text << "\n";
}

std::string printed_by(int (*dump)(const void*), const void* keys) {
    capture output(stdout);
    EXPECT_EQ(0, dump(keys));
    ombrel_puts(nullptr);
    return output.text();
}

} // namespace

TEST(Des, PublishedExamples) {
    const ecb_example examples[] = {
        {"des", "133457799BBCDFF1", "0123456789ABCDEF", "85E813540F0AB405"},
        {"des", "0E329232EA6D0D73", "8787878787878787", "0000000000000000"},
        {"des", "0101010101010101", "8000000000000000", "95F8A5E5DD31D900"},
        {"des", "8001010101010101", "0000000000000000", "95A8D72813DAA94D"},
        {"des", "7CA110454A1A6E57", "01A1D6D039776742", "690F5B0D9A26939B"},
    };
    for (const ecb_example& example : examples)
        expect_ecb(example);
}

TEST(Des, RoundKeysHoldABitInEachByte) {
    const byte_string keys = find_cipher("des").round_key(from_hex("133457799BBCDFF1"));
    EXPECT_EQ("000110110000001011101111111111000111000001110010", round_bits(keys, 0));
    EXPECT_EQ("110010110011110110001011000011100001011111110101", round_bits(keys, 15));
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

TEST(Des, DumpShowsOverlappingRows) {
    byte_source source;
    byte_string keys = find_cipher("des").round_key(source.bytes(8));
    keys[20] = 207; // values print in full, whatever they are
    std::ostringstream expected("round key:\n", std::ios::ate);
    for (int round = 0; round < 16; round++) {
        expected << "[" << std::setw(2) << round << "] ";
        add_row(expected, keys.data() + round);
    }
    expected << "\n";
    EXPECT_EQ(printed_by(ombrel_dump_round_key_des, keys.data()), expected.str());
}

TEST(Des, TripleDumpShowsOverlappingRows) {
    byte_source source;
    const byte_string keys = find_cipher("3des").round_key(source.bytes(24));
    std::ostringstream expected("triple round key:\n", std::ios::ate);
    for (int k = 0; k < 3; k++)
        for (int round = 0; round < 16; round++) {
            expected << "[" << k << "][" << std::setw(2) << round << "] ";
            add_row(expected, keys.data() + k * 768 + round);
        }
    expected << "\n";
    EXPECT_EQ(printed_by(ombrel_dump_round_key_3des, keys.data()), expected.str());
}

TEST(Des, DumpOfNothing) {
    EXPECT_EQ(-1, ombrel_dump_round_key_des(nullptr));
    EXPECT_EQ(-1, ombrel_dump_round_key_3des(nullptr));
}
