// The key schedule of DES and the print-outs of its result.
#include <ombrel/des.h>

#include <cstdint>

#include <ombrel/output.h>
#include <ombrel/printf.h>

#include "core/wipe.h"
#include "crypto/des_tables.h"
#include "crypto/kernels/byte_order.h"

namespace ombrel::crypto {
namespace {

constexpr unsigned rounds = 16;
constexpr unsigned round_bytes = 48;
constexpr unsigned half_bits = 28;

uint32_t rotate_half(uint32_t half, unsigned shift) {
    return (half << shift | half >> (half_bits - shift)) & ((1u << half_bits) - 1);
}

void make_schedule(uint8_t* round_key, const uint8_t* key) {
    const uint64_t bits = load_big64(key);
    uint64_t chosen = 0;
    for (const uint8_t bit : des_key_choice_1)
        chosen = chosen << 1 | (bits >> (64 - bit) & 1);
    auto left = static_cast<uint32_t>(chosen >> half_bits);
    auto right = static_cast<uint32_t>(chosen & ((1u << half_bits) - 1));
    for (const uint8_t shift : des_key_shifts) {
        left = rotate_half(left, shift);
        right = rotate_half(right, shift);
        const uint64_t halves = static_cast<uint64_t>(left) << half_bits | right;
        for (const uint8_t bit : des_key_choice_2)
            *round_key++ = static_cast<uint8_t>(halves >> (2 * half_bits - bit) & 1);
    }
}

// A line of 48 subkey bits in groups of eight after its label, printed in one piece.
void print_row(const char* label, const uint8_t* bits) {
    char line[256];
    const wipe_guard wiping(line);
    size_t used = static_cast<size_t>(ombrel_snprintf(line, sizeof line, "%s", label));
    for (const uint8_t* const end = bits + round_bytes; bits != end; bits += 8)
        used += static_cast<size_t>(ombrel_snprintf(line + used, sizeof line - used, "%u%u%u%u%u%u%u%ub ",
                                                    bits[0], bits[1], bits[2], bits[3], bits[4], bits[5],
                                                    bits[6], bits[7]));
    ombrel_snprintf(line + used, sizeof line - used, "\n");
    ombrel_puts(line);
}

} // namespace
} // namespace ombrel::crypto

using namespace ombrel::crypto;

void* ombrel_make_round_key_des(void* round_key, const void* key) {
    if (round_key == nullptr || key == nullptr)
        return nullptr;
    ombrel::without_trace(
        [=] { make_schedule(static_cast<uint8_t*>(round_key), static_cast<const uint8_t*>(key)); });
    return round_key;
}

void* ombrel_make_round_key_3des(void* round_key, const void* key) {
    if (round_key == nullptr || key == nullptr)
        return nullptr;
    ombrel::without_trace([=] {
        // Last first, so that the keys may stand at the start of the buffer.
        for (unsigned schedule = 3; schedule-- > 0;)
            make_schedule(static_cast<uint8_t*>(round_key) + schedule * def_ombrel_des_round_key_size,
                          static_cast<const uint8_t*>(key) + schedule * def_ombrel_des_key_size);
    });
    return round_key;
}

// The row of a round starts at the byte of the round's number, so that rows overlap: meant so, here and
// below.
int ombrel_dump_round_key_des(const void* round_key) {
    if (round_key == nullptr)
        return -1;
    ombrel_puts("round key:\n");
    for (unsigned round = 0; round < rounds; round++) {
        char label[16];
        ombrel_snprintf(label, sizeof label, "[%2d] ", static_cast<int>(round));
        print_row(label, static_cast<const uint8_t*>(round_key) + round);
    }
    ombrel_puts("\n");
    return 0;
}

int ombrel_dump_round_key_3des(const void* round_key) {
    if (round_key == nullptr)
        return -1;
    ombrel_puts("triple round key:\n");
    for (unsigned schedule = 0; schedule < 3; schedule++)
        for (unsigned round = 0; round < rounds; round++) {
            char label[16];
            ombrel_snprintf(label, sizeof label, "[%d][%2d] ", static_cast<int>(schedule),
                            static_cast<int>(round));
            print_row(label, static_cast<const uint8_t*>(round_key) +
                                 schedule * def_ombrel_des_round_key_size + round);
        }
    ombrel_puts("\n");
    return 0;
}
