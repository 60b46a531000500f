#include "crypto/cipher_support.h"

#include <cstring>

using namespace ombrel_test;

TEST(Seed, Rfc4269Examples) {
    const ecb_example examples[] = {
        {"seed", "00000000000000000000000000000000", "000102030405060708090A0B0C0D0E0F",
         "5EBAC6E0054E166819AFF1CC6D346CDB"},
        {"seed", "000102030405060708090A0B0C0D0E0F", "00000000000000000000000000000000",
         "C11F22F20140505084483597E4370F43"},
        {"seed", "4706480851E61BE85D74BFB3FD956185", "83A2F8A288641FB9A4E9A5CC2F131C7D",
         "EE54D13EBCAE706D226BC3142CD40D4A"},
        {"seed", "28DBC3BC49FFD87DCFA509B11D422BE7", "B41E6BE2EBA84A148E2EED84593C5EC7",
         "9B9B7BFCD1813CB95D0B3618F40F5122"},
    };
    for (const ecb_example& example : examples)
        expect_ecb(example);
}

TEST(Seed, RoundKeysAreWordsOfTheMachine) {
    const byte_string keys = find_cipher("seed").round_key(byte_string(16));
    const uint32_t first_rounds[] = {0x7C8F8C7E, 0xC737A22C, 0xFF276CDB, 0xA7CA684A};
    EXPECT_EQ(0, memcmp(keys.data(), first_rounds, sizeof first_rounds));
}
