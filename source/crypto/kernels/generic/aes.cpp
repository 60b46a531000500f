// AES on four blocks at a time in bit planes. The bit of row r and column c of block b is bit 16r + 4c + b of
// its plane.
#include "crypto/aes_kernel.h"

#include <bit>
#include <cstring>

#include "crypto/block_modes.h"
#include "crypto/kernels/byte_order.h"
#include "crypto/kernels/generic/aes_planes.h"

namespace ombrel::crypto {
namespace {

struct aes_block {
    uint8_t bytes[aes_block_size];
};

uint64_t spread_bytes(uint64_t word) {
    word = (word | word << 16) & 0x0000FFFF0000FFFF;
    return (word | word << 8) & 0x00FF00FF00FF00FF;
}

uint32_t squeeze_bytes(uint64_t word) {
    word &= 0x00FF00FF00FF00FF;
    word = (word | word >> 8) & 0x0000FFFF0000FFFF;
    return static_cast<uint32_t>(word | word >> 16);
}

bit_planes pack(const aes_block* blocks, size_t count) {
    bit_planes planes{};
    for (size_t i = 0; i < count; i++)
        for (size_t column = 0; column < 2; column++) {
            const uint8_t* bytes = blocks[i].bytes + 4 * column;
            planes[i + 4 * column] = spread_bytes(load_little(bytes)) | spread_bytes(load_little(bytes + 8))
                                                                            << 8;
        }
    transpose_planes(planes);
    return planes;
}

void unpack(bit_planes planes, aes_block* blocks, size_t count) {
    transpose_planes(planes);
    for (size_t i = 0; i < count; i++)
        for (size_t column = 0; column < 2; column++) {
            uint8_t* bytes = blocks[i].bytes + 4 * column;
            store_little(bytes, squeeze_bytes(planes[i + 4 * column]));
            store_little(bytes + 8, squeeze_bytes(planes[i + 4 * column] >> 8));
        }
}

void add_planes(bit_planes& planes, const bit_planes& others) {
    for (size_t i = 0; i < planes.size(); i++)
        planes[i] ^= others[i];
}

// Moves the rows of a plane, which are words of 16 bits, by a column for each row.
uint64_t rotate_rows(uint64_t plane, unsigned columns) {
    uint64_t result = 0;
    for (unsigned row = 0; row < 4; row++) {
        const auto bits = static_cast<uint16_t>(plane >> 16 * row);
        result |= static_cast<uint64_t>(std::rotr(bits, static_cast<int>(4 * columns * row % 16)))
                  << 16 * row;
    }
    return result;
}

void shift_rows(bit_planes& planes) {
    for (uint64_t& plane : planes)
        plane = rotate_rows(plane, 1);
}
void unshift_rows(bit_planes& planes) {
    for (uint64_t& plane : planes)
        plane = rotate_rows(plane, 3);
}

bit_planes doubled(const bit_planes& p) {
    return {p[7], p[0] ^ p[7], p[1], p[2] ^ p[7], p[3] ^ p[7], p[4], p[5], p[6]};
}

void mix_columns(bit_planes& planes) {
    bit_planes pairs;
    for (size_t i = 0; i < planes.size(); i++)
        pairs[i] = planes[i] ^ std::rotr(planes[i], 16);
    const bit_planes twice = doubled(pairs);
    for (size_t i = 0; i < planes.size(); i++)
        planes[i] ^= pairs[i] ^ twice[i] ^ std::rotr(pairs[i], 32);
}

// The inverse matrix is the matrix itself times a sparse one, whose rows are 5, 0, 4, 0.
void unmix_columns(bit_planes& planes) {
    bit_planes pairs;
    for (size_t i = 0; i < planes.size(); i++)
        pairs[i] = planes[i] ^ std::rotr(planes[i], 32);
    add_planes(planes, doubled(doubled(pairs)));
    mix_columns(planes);
}

// The inverse of the affine map in the S-box.
void unmap(bit_planes& planes) {
    const bit_planes p = planes;
    for (size_t i = 0; i < planes.size(); i++)
        planes[i] = p[(i + 2) % 8] ^ p[(i + 5) % 8] ^ p[(i + 7) % 8];
    planes[0] = ~planes[0];
    planes[2] = ~planes[2];
}

// The S-box is an inversion, which is its own inverse, and then the affine map.
void unsubstitute(bit_planes& planes) {
    unmap(planes);
    substitute_planes(planes);
    unmap(planes);
}

template<direction way>
class plane_cipher {
public:
    using block = aes_block;
    static constexpr size_t block_size = aes_block_size;
    static constexpr size_t lanes = 4;

    explicit plane_cipher(const aes_key& key) : rounds_(key.rounds) {
        for (unsigned round = 0; round <= rounds_; round++) {
            const block bytes = load(key.bytes + block_size * round);
            keys_[round] = pack(&bytes, 1);
            for (uint64_t& plane : keys_[round])
                plane *= 0xF; // the same for all four blocks
        }
    }

    template<size_t count>
    void transform(block (&blocks)[count]) const {
        static_assert(count <= lanes);
        bit_planes planes = pack(blocks, count);
        if constexpr (way == direction::encrypt)
            encrypt(planes);
        else
            decrypt(planes);
        unpack(planes, blocks, count);
    }

    static block load(const uint8_t* from) {
        block b;
        memcpy(b.bytes, from, block_size);
        return b;
    }
    static void store(uint8_t* to, const block& b) { memcpy(to, b.bytes, block_size); }
    static uint8_t first_byte(const block& b) { return b.bytes[0]; }
    static block push_byte(const block& b, uint8_t byte) {
        block next;
        memcpy(next.bytes, b.bytes + 1, block_size - 1);
        next.bytes[block_size - 1] = byte;
        return next;
    }

private:
    void encrypt(bit_planes& planes) const {
        add_planes(planes, keys_[0]);
        for (unsigned round = 1; round <= rounds_; round++) {
            substitute_planes(planes);
            shift_rows(planes);
            if (round < rounds_)
                mix_columns(planes);
            add_planes(planes, keys_[round]);
        }
    }
    void decrypt(bit_planes& planes) const {
        for (unsigned round = rounds_; round > 0; round--) {
            add_planes(planes, keys_[round]);
            if (round < rounds_)
                unmix_columns(planes);
            unshift_rows(planes);
            unsubstitute(planes);
        }
        add_planes(planes, keys_[0]);
    }

    unsigned rounds_;
    bit_planes keys_[aes_most_rounds + 1];
};

// 32-bit processors have few registers for planes, and put many aside.
constexpr size_t depth = 4096;

using plane_encryptor = plane_cipher<direction::encrypt>;

template<direction way>
void ecb(const aes_key& key, uint8_t* data, size_t blocks) {
    without_trace<depth>([=] { run_ecb(plane_cipher<way>(key), data, blocks); });
}
template<byte_mode<plane_encryptor> run>
void bytes(const aes_key& key, uint8_t* data, size_t size, uint8_t* iv) {
    without_trace<depth>([=] { run(plane_encryptor(key), data, size, iv); });
}

} // namespace

constinit const aes_kernel aes_plain = {ecb<direction::encrypt>, ecb<direction::decrypt>,
                                        bytes<run_encrypt_cfb8>, bytes<run_decrypt_cfb8>, bytes<run_ofb8>};

} // namespace ombrel::crypto
