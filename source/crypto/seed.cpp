#include <ombrel/seed.h>

#include <bit>
#include <cstdint>

#include "crypto/block_modes.h"
#include "crypto/kernels/byte_order.h"
#include "crypto/seed_tables.h"

namespace ombrel::crypto {
namespace {

constexpr unsigned rounds = 16;

uint32_t mix(uint32_t word) {
    return seed_tables[0][word & 0xFF] ^ seed_tables[1][word >> 8 & 0xFF] ^
           seed_tables[2][word >> 16 & 0xFF] ^ seed_tables[3][word >> 24];
}

struct seed_block {
    uint64_t left, right;
};

uint64_t round_function(uint64_t half, uint64_t key) {
    half ^= key;
    auto high = static_cast<uint32_t>(half >> 32);
    uint32_t low = mix(static_cast<uint32_t>(half) ^ high);
    high = mix(high + low);
    low = mix(low + high);
    return static_cast<uint64_t>(high + low) << 32 | low;
}

// Decryption is encryption with the rounds' keys in reverse order.
template<direction way>
class seed_cipher {
public:
    using block = seed_block;
    static constexpr size_t block_size = def_ombrel_seed_block_size;
    static constexpr size_t lanes = 3;

    explicit seed_cipher(const uint8_t* round_key) {
        for (unsigned i = 0; i < rounds; i++) {
            const uint8_t* words = round_key + 8 * i;
            keys_[way == direction::encrypt ? i : rounds - 1 - i] =
                static_cast<uint64_t>(load_native(words)) << 32 | load_native(words + 4);
        }
    }

    template<size_t count>
    void transform(block (&blocks)[count]) const {
        for (unsigned round = 0; round < rounds; round += 2) {
            for (block& b : blocks)
                b.left ^= round_function(b.right, keys_[round]);
            for (block& b : blocks)
                b.right ^= round_function(b.left, keys_[round + 1]);
        }
        for (block& b : blocks)
            b = {b.right, b.left};
    }

    static block load(const uint8_t* from) { return {load_big64(from), load_big64(from + 8)}; }
    static void store(uint8_t* to, const block& b) {
        store_big64(to, b.left);
        store_big64(to + 8, b.right);
    }
    static uint8_t first_byte(const block& b) { return static_cast<uint8_t>(b.left >> 56); }
    static block push_byte(const block& b, uint8_t byte) {
        return {b.left << 8 | b.right >> 56, b.right << 8 | byte};
    }

private:
    uint64_t keys_[rounds];
};

using seed_encryptor = seed_cipher<direction::encrypt>;
using seed_decryptor = seed_cipher<direction::decrypt>;

void make_schedule(uint8_t* words, const uint8_t* key) {
    seed_block halves = seed_encryptor::load(key);
    constexpr uint32_t golden_ratio = 0x9E3779B9;
    for (unsigned round = 0; round < rounds; ++round, words += 8) {
        const uint32_t constant = std::rotl(golden_ratio, static_cast<int>(round));
        const auto a = static_cast<uint32_t>(halves.left >> 32), b = static_cast<uint32_t>(halves.left);
        const auto c = static_cast<uint32_t>(halves.right >> 32), d = static_cast<uint32_t>(halves.right);
        store_native(words, mix(a + c - constant));
        store_native(words + 4, mix(b - d + constant));
        if (round % 2 == 0)
            halves.left = std::rotr(halves.left, 8);
        else
            halves.right = std::rotl(halves.right, 8);
    }
}

} // namespace
} // namespace ombrel::crypto

using namespace ombrel::crypto;

void* ombrel_make_round_key_seed(void* round_key, const void* key) {
    if (round_key == nullptr || key == nullptr)
        return nullptr;
    ombrel::without_trace(
        [=] { make_schedule(static_cast<uint8_t*>(round_key), static_cast<const uint8_t*>(key)); });
    return round_key;
}

void* ombrel_encrypt_seed_ecb(void* data, size_t size, const void* round_key) {
    return apply_ecb<seed_encryptor>(data, size, round_key);
}
void* ombrel_decrypt_seed_ecb(void* data, size_t size, const void* round_key) {
    return apply_ecb<seed_decryptor>(data, size, round_key);
}

void* ombrel_encrypt_seed_cfb8(void* data, size_t size, const void* round_key, void* iv) {
    return apply_mode<seed_encryptor, run_encrypt_cfb8>(data, size, round_key, iv);
}
void* ombrel_decrypt_seed_cfb8(void* data, size_t size, const void* round_key, void* iv) {
    return apply_mode<seed_encryptor, run_decrypt_cfb8>(data, size, round_key, iv);
}
void* ombrel_encrypt_seed_ofb8(void* data, size_t size, const void* round_key, void* iv) {
    return apply_mode<seed_encryptor, run_ofb8>(data, size, round_key, iv);
}
void* ombrel_decrypt_seed_ofb8(void* data, size_t size, const void* round_key, void* iv) {
    return apply_mode<seed_encryptor, run_ofb8>(data, size, round_key, iv);
}
