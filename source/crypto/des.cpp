#include <ombrel/des.h>

#include <bit>
#include <cstdint>
#include <utility>

#include "crypto/block_modes.h"
#include "crypto/des_tables.h"
#include "crypto/kernels/byte_order.h"

namespace ombrel::crypto {
namespace {

constexpr unsigned rounds = 16;
constexpr unsigned round_bytes = 48;

// The 48 bits of a round, six in the low end of each byte: those of boxes 1, 3, 5, 7 and of 2, 4, 6, 8.
struct subkey {
    uint32_t odd, even;
};

// Eight bytes of 0 or 1, the first the highest bit of the result.
uint64_t gather_bits(const uint8_t* bytes) {
    return (load_big64(bytes) & 0x0101010101010101) * 0x0102040810204080 >> 56;
}

// Four values of six bits, each in the low end of 16, to the bytes of a word.
uint32_t squeeze_sixes(uint64_t lanes) {
    lanes &= 0x003F003F003F003F;
    lanes = (lanes | lanes >> 8) & 0x0000FFFF0000FFFF;
    return static_cast<uint32_t>(lanes | lanes >> 16);
}

subkey pack_round(const uint8_t* bits) {
    uint64_t packed = 0;
    for (unsigned i = 0; i < round_bytes; i += 8)
        packed = packed << 8 | gather_bits(bits + i);
    // Twelve bits, for two boxes, to each 16.
    const uint64_t halves = (packed << 8 & 0x00FFFFFF00000000) | (packed & 0x0000000000FFFFFF);
    const uint64_t lanes = (halves << 4 & 0x0FFF00000FFF0000) | (halves & 0x00000FFF00000FFF);
    return {squeeze_sixes(lanes >> 6), squeeze_sixes(lanes)};
}

struct des_block {
    uint32_t left, right;
};

void exchange_bits(uint32_t& a, uint32_t& b, unsigned shift, uint32_t mask) {
    const uint32_t difference = (a >> shift ^ b) & mask;
    b ^= difference;
    a ^= difference << shift;
}

// The initial permutation, with both halves rotated left by one bit for the rounds.
des_block permute_in(des_block b) {
    exchange_bits(b.left, b.right, 4, 0x0F0F0F0F);
    exchange_bits(b.left, b.right, 16, 0x0000FFFF);
    exchange_bits(b.right, b.left, 2, 0x33333333);
    exchange_bits(b.right, b.left, 8, 0x00FF00FF);
    b.right = std::rotl(b.right, 1);
    exchange_bits(b.left, b.right, 0, 0xAAAAAAAA);
    b.left = std::rotl(b.left, 1);
    return b;
}

des_block permute_out(des_block b) {
    b.left = std::rotr(b.left, 1);
    exchange_bits(b.left, b.right, 0, 0xAAAAAAAA);
    b.right = std::rotr(b.right, 1);
    exchange_bits(b.right, b.left, 8, 0x00FF00FF);
    exchange_bits(b.right, b.left, 2, 0x33333333);
    exchange_bits(b.left, b.right, 16, 0x0000FFFF);
    exchange_bits(b.left, b.right, 4, 0x0F0F0F0F);
    return b;
}

uint32_t round_function(uint32_t half, const subkey& key) {
    const uint32_t odd = std::rotr(half, 4) ^ key.odd, even = half ^ key.even;
    return des_tables[0][odd >> 24 & 0x3F] ^ des_tables[1][even >> 24 & 0x3F] ^ //
           des_tables[2][odd >> 16 & 0x3F] ^ des_tables[3][even >> 16 & 0x3F] ^ //
           des_tables[4][odd >> 8 & 0x3F] ^ des_tables[5][even >> 8 & 0x3F] ^   //
           des_tables[6][odd & 0x3F] ^ des_tables[7][even & 0x3F];
}

// One schedule is DES; three are the triple form, which encrypts with each of them in turn and never decrypts
// in between: meant so.
template<unsigned schedules, direction way>
class des_cipher {
public:
    using block = des_block;
    static constexpr size_t block_size = def_ombrel_des_block_size;
    static constexpr size_t lanes = 3;

    // Decryption takes all rounds of all schedules in reverse order.
    explicit des_cipher(const uint8_t* round_key) {
        for (unsigned i = 0; i < total_rounds; i++)
            keys_[way == direction::encrypt ? i : total_rounds - 1 - i] =
                pack_round(round_key + round_bytes * i);
    }

    template<size_t count>
    void transform(block (&blocks)[count]) const {
        for (block& b : blocks)
            b = permute_in(b);
        // The permutations between two schedules cancel out, which leaves the exchange of the halves.
        for (unsigned first = 0; first < total_rounds; first += rounds)
            run_schedule(blocks, keys_ + first);
        for (block& b : blocks)
            b = permute_out(b);
    }

    static block load(const uint8_t* from) { return {load_big(from), load_big(from + 4)}; }
    static void store(uint8_t* to, const block& b) {
        store_big(to, b.left);
        store_big(to + 4, b.right);
    }
    static uint8_t first_byte(const block& b) { return static_cast<uint8_t>(b.left >> 24); }
    static block push_byte(const block& b, uint8_t byte) {
        return {b.left << 8 | b.right >> 24, b.right << 8 | byte};
    }

private:
    static constexpr unsigned total_rounds = schedules * rounds;

    template<size_t count>
    static void run_schedule(block (&blocks)[count], const subkey* keys) {
        for (unsigned round = 0; round < rounds; round += 2) {
            for (block& b : blocks)
                b.left ^= round_function(b.right, keys[round]);
            for (block& b : blocks)
                b.right ^= round_function(b.left, keys[round + 1]);
        }
        for (block& b : blocks)
            std::swap(b.left, b.right);
    }

    subkey keys_[total_rounds];
};

using des_encryptor = des_cipher<1, direction::encrypt>;
using des_decryptor = des_cipher<1, direction::decrypt>;
using triple_encryptor = des_cipher<3, direction::encrypt>;
using triple_decryptor = des_cipher<3, direction::decrypt>;

} // namespace
} // namespace ombrel::crypto

using namespace ombrel::crypto;

void* ombrel_encrypt_des_ecb(void* data, size_t size, const void* round_key) {
    return apply_ecb<des_encryptor>(data, size, round_key);
}
void* ombrel_decrypt_des_ecb(void* data, size_t size, const void* round_key) {
    return apply_ecb<des_decryptor>(data, size, round_key);
}
void* ombrel_encrypt_des_cfb8(void* data, size_t size, const void* round_key, void* iv) {
    return apply_mode<des_encryptor, run_encrypt_cfb8>(data, size, round_key, iv);
}
void* ombrel_decrypt_des_cfb8(void* data, size_t size, const void* round_key, void* iv) {
    return apply_mode<des_encryptor, run_decrypt_cfb8>(data, size, round_key, iv);
}
void* ombrel_encrypt_des_ofb8(void* data, size_t size, const void* round_key, void* iv) {
    return apply_mode<des_encryptor, run_ofb8>(data, size, round_key, iv);
}
void* ombrel_decrypt_des_ofb8(void* data, size_t size, const void* round_key, void* iv) {
    return apply_mode<des_encryptor, run_ofb8>(data, size, round_key, iv);
}

void* ombrel_encrypt_3des_ecb(void* data, size_t size, const void* round_key) {
    return apply_ecb<triple_encryptor>(data, size, round_key);
}
void* ombrel_decrypt_3des_ecb(void* data, size_t size, const void* round_key) {
    return apply_ecb<triple_decryptor>(data, size, round_key);
}
void* ombrel_encrypt_3des_cfb8(void* data, size_t size, const void* round_key, void* iv) {
    return apply_mode<triple_encryptor, run_encrypt_cfb8>(data, size, round_key, iv);
}
void* ombrel_decrypt_3des_cfb8(void* data, size_t size, const void* round_key, void* iv) {
    return apply_mode<triple_encryptor, run_decrypt_cfb8>(data, size, round_key, iv);
}
void* ombrel_encrypt_3des_ofb8(void* data, size_t size, const void* round_key, void* iv) {
    return apply_mode<triple_encryptor, run_ofb8>(data, size, round_key, iv);
}
void* ombrel_decrypt_3des_ofb8(void* data, size_t size, const void* round_key, void* iv) {
    return apply_mode<triple_encryptor, run_ofb8>(data, size, round_key, iv);
}
