#include "container/hash_secret.h"

#include <array>
#include <cstring>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#define OMBREL_HASH_TARGET
#include "container/aes_hash.h"
#include "container/hash_entries.h"
#include "container/kernels/hash_kernels.h"
#include "platform/processor.h"

namespace {

using namespace ombrel;

// What CPython 3.11 makes of bytes(range(n)) when its own seed is 0: SipHash-1-3 with a key of zeros.
TEST(SipHash, IsThatOfOthers) {
    constexpr struct {
        size_t size;
        uint64_t hash;
    } cases[] = {{1, 0x68a914128e01e473},  {3, 0x4d4c9a4a8ef6e0ad},  {7, 0x2f098ab0c751325a},
                 {8, 0xead411e67ebe2eea},  {9, 0x75927f9d95124362},  {15, 0xf30eb725bb91c9ea},
                 {16, 0x8972188433a5c5b7}, {17, 0x4883c49a2c009c1d}, {63, 0x385d3e39e5f37359}};
    constexpr uint64_t zeros[2] = {};
    unsigned char bytes[64];
    for (unsigned i = 0; i < sizeof bytes; i++)
        bytes[i] = static_cast<unsigned char>(i);
    for (const auto& one : cases)
        EXPECT_EQ(one.hash, sip_hash::of_bytes(zeros, bytes, one.size)) << one.size << " bytes";
}

/// AES as its standard describes it, byte by byte.
struct plain_block {
    using vector = std::array<uint8_t, 16>;

    static vector load(const unsigned char* bytes) {
        vector block;
        memcpy(block.data(), bytes, block.size());
        return block;
    }
    static vector load_key(const unsigned char* bytes) { return load(bytes); }
    static vector of_words(uint64_t low, uint64_t high) {
        vector block;
        for (unsigned i = 0; i < 8; i++) {
            block[i] = static_cast<uint8_t>(low >> (8 * i));
            block[i + 8] = static_cast<uint8_t>(high >> (8 * i));
        }
        return block;
    }
    static uint64_t low(const vector& block) { return load_word(block.data()); }
    static vector add(vector a, const vector& b) {
        for (unsigned i = 0; i < 16; i++)
            a[i] ^= b[i];
        return a;
    }
    static vector fold(vector block) {
        for (uint8_t& byte : block)
            byte = byte >= 'A' && byte <= 'Z' ? static_cast<uint8_t>(byte + 32) : byte;
        return block;
    }
    static uint8_t times(uint8_t a, uint8_t b) {
        unsigned product = 0;
        for (unsigned bit = 0; bit < 8; bit++)
            product ^= (b >> bit & 1) != 0 ? unsigned{a} << bit : 0;
        for (unsigned bit = 15; bit >= 8; bit--)
            product ^= (product >> bit & 1) != 0 ? 0x11Bu << (bit - 8) : 0;
        return static_cast<uint8_t>(product);
    }
    static uint8_t substitute(uint8_t byte) {
        unsigned inverse = byte; // to the power of 254
        for (int i = 0; i < 253; i++)
            inverse = times(static_cast<uint8_t>(inverse), byte);
        unsigned sum = 0x63 ^ inverse;
        for (unsigned turn = 1; turn < 5; turn++)
            sum ^= (inverse << turn | inverse >> (8 - turn)) & 0xFF;
        return static_cast<uint8_t>(sum);
    }
    static vector round(const vector& block, const vector& key) {
        static const auto box = [] {
            std::array<uint8_t, 256> all;
            for (unsigned i = 0; i < 256; i++)
                all[i] = substitute(static_cast<uint8_t>(i));
            return all;
        }();
        vector mixed{};
        for (unsigned column = 0; column < 4; column++)
            for (unsigned row = 0; row < 4; row++)
                for (unsigned from = 0; from < 4; from++) {
                    constexpr uint8_t factors[4] = {2, 3, 1, 1};
                    mixed[4 * column + row] ^=
                        times(box[block[4 * ((column + from) % 4) + from]], factors[(from - row) % 4]);
                }
        return add(mixed, key);
    }
};

uint32_t place_in(const ombrel_hash_t* table) {
    uint32_t place = 0;
    for_each_entry(*table, [&](const hash_position& at) { place = bytes_head_of(table->slot_of(at)).place; });
    return place;
}

TEST(AesHash, IsTheSameByInstructionsAndByTheStandardsWords) {
    if ((all_hash_kernels.front().needs & ~platform::processor_features()) != 0 ||
        all_hash_kernels.size() < 2)
        GTEST_SKIP() << "without AES instructions";
    std::mt19937 random(4);
    uint8_t seed[def_ombrel_hash_seed_size] = {9};
    ombrel_hash_options_t options;
    ombrel_init_hash_options(&options);
    options.m_seed = seed;
    const hash_secret secret = hash_secret::from(seed);
    for (const uint32_t flags : {0u, def_ombrel_hash_any_case}) {
        options.m_flags = flags;
        ombrel_hash_t* const table = ombrel_open_hash(&options);
        table->kernel = all_hash_kernels.front().run->of(flags);
        for (size_t size = 0; size < 100; size++) {
            std::vector<unsigned char> key(size); // so that a sanitizer sees what reaches too far
            for (unsigned char& byte : key)
                byte = static_cast<unsigned char>(random() % 128);
            ASSERT_EQ(0, ombrel_hash_set(table, key.data(), size, nullptr));
            const uint64_t expected = flags == 0
                                          ? aes_hash<plain_block>::of_bytes<false>(secret, key.data(), size)
                                          : aes_hash<plain_block>::of_bytes<true>(secret, key.data(), size);
            ASSERT_EQ(hash_home::of(expected).place, place_in(table)) << size << " bytes, flags " << flags;
            ombrel_hash_clear(table);
        }
        ombrel_close_hash(table);
    }
}

} // namespace
