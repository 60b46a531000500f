#include "crypto/cipher_support.h"

#include <algorithm>

#include "crypto/aes_kernel.h"
#include "platform/processor.h"

using namespace ombrel_test;
using namespace ombrel;

namespace {

struct example {
    const char *cipher, *key, *last_round_key, *coded;
};
const example examples[] = {
    {"aes128", "2b7e151628aed2a6abf7158809cf4f3c", "d014f9a8c9ee2589e13f0cc8b6630ca6",
     "3b79424c9c0dd436bace9e0ed4586a4f32b9"},
    {"aes192", "8e73b0f7da0e6452c810f32b809079e562f8ead2522c6b7b", "e98ba06f448c773c8ecc720401002202",
     "cda2521ef0a905ca44cd057cbf0d47a0678a"},
    {"aes256", "603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4",
     "fe4890d1e6188d0b046df344706c631e", "dc1f1a8520a64db55fcc8ac554844e889700"},
};

} // namespace

// CFB-8 that its standard shows, over the keys that the cipher's own does.
TEST(Aes, KeysExpandAndCodeAsPublished) {
    const byte_string plain = from_hex("6bc1bee22e409f96e93d7e117393172aae2d");
    const byte_string start = from_hex("000102030405060708090a0b0c0d0e0f");
    for (const example& row : examples) {
        const cipher& c = find_cipher(row.cipher);
        const byte_string key = from_hex(row.key), keys = c.round_key(key);
        EXPECT_TRUE(std::equal(key.begin(), key.end(), keys.begin())) << row.cipher;
        EXPECT_EQ(from_hex(row.last_round_key), byte_string(keys.end() - 16, keys.end()));
        byte_string data = plain, iv = start;
        c.encrypt_cfb8(data.data(), data.size(), keys.data(), iv.data());
        EXPECT_EQ(from_hex(row.coded), data);
        iv = start;
        c.decrypt_cfb8(data.data(), data.size(), keys.data(), iv.data());
        EXPECT_EQ(plain, data);
    }
}

// The library uses one of the kernels; all of them must give the same bytes.
TEST(Aes, KernelsAgreeWithThePlainOne) {
    byte_source source;
    const crypto::aes_kernel& plain = crypto::aes_plain;
    for (const auto& candidate : crypto::aes_kernels) {
        if ((candidate.needs & ~platform::processor_features()) != 0)
            continue;
        const crypto::aes_kernel* const kernel = candidate.run;
        SCOPED_TRACE(candidate.name);
        for (int turn = 0; turn < 150; turn++) {
            const byte_string keys = source.bytes(240);
            const crypto::aes_key key{keys.data(), 10 + 2 * static_cast<unsigned>(source.number(3))};
            const size_t shift = source.number(17), blocks = source.number(70);
            const byte_string start = source.bytes(shift + 16 * blocks), start_iv = source.bytes(16);
            byte_string expected = start, data = start, expected_iv = start_iv, iv = start_iv;
            for (const auto work : {&crypto::aes_kernel::encrypt_ecb, &crypto::aes_kernel::decrypt_ecb}) {
                (plain.*work)(key, expected.data() + shift, blocks);
                (kernel->*work)(key, data.data() + shift, blocks);
                ASSERT_EQ(expected, data) << blocks << " blocks at " << shift;
            }
            for (const auto work : {&crypto::aes_kernel::encrypt_cfb8, &crypto::aes_kernel::decrypt_cfb8,
                                    &crypto::aes_kernel::run_ofb8}) {
                (plain.*work)(key, expected.data() + shift, blocks, expected_iv.data());
                (kernel->*work)(key, data.data() + shift, blocks, iv.data());
                ASSERT_EQ(expected, data) << blocks << " bytes at " << shift;
                ASSERT_EQ(expected_iv, iv);
            }
        }
    }
}
