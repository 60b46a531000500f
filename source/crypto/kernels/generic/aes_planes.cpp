#include "crypto/kernels/generic/aes_planes.h"

namespace ombrel::crypto {
namespace {

void exchange(uint64_t& a, uint64_t& b, unsigned shift, uint64_t mask) {
    const uint64_t difference = (a >> shift ^ b) & mask;
    b ^= difference;
    a ^= difference << shift;
}

// The S-box below is the circuit of Boyar and Peralta, "A depth-16 circuit for the AES S-box", with their
// names: x and s count bits from the highest.

using circuit_inputs = std::array<uint64_t, 22>;   // y0 is x7
using circuit_products = std::array<uint64_t, 18>; // z

circuit_inputs expand(const bit_planes& planes) {
    const auto [x7, x6, x5, x4, x3, x2, x1, x0] = planes;
    circuit_inputs y;
    y[0] = x7;
    y[14] = x3 ^ x5;
    y[13] = x0 ^ x6;
    y[9] = x0 ^ x3;
    y[8] = x0 ^ x5;
    const uint64_t t0 = x1 ^ x2;
    y[1] = t0 ^ x7;
    y[4] = y[1] ^ x3;
    y[12] = y[13] ^ y[14];
    y[2] = y[1] ^ x0;
    y[5] = y[1] ^ x6;
    y[3] = y[5] ^ y[8];
    const uint64_t t1 = x4 ^ y[12];
    y[15] = t1 ^ x5;
    y[20] = t1 ^ x1;
    y[6] = y[15] ^ x7;
    y[10] = y[15] ^ t0;
    y[11] = y[20] ^ y[9];
    y[7] = x7 ^ y[11];
    y[17] = y[10] ^ y[11];
    y[19] = y[10] ^ y[8];
    y[16] = t0 ^ y[11];
    y[21] = y[13] ^ y[16];
    y[18] = x0 ^ y[16];
    return y;
}

// The inversion in the field of 16 elements, with what it needs before.
struct inverse_bits {
    uint64_t t29, t33, t37, t40;
};

inverse_bits invert(const circuit_inputs& y) {
    const uint64_t t2 = y[12] & y[15], t7 = y[13] & y[16], t12 = y[9] & y[11];
    const uint64_t t14 = (y[14] & y[17]) ^ t12, t16 = (y[8] & y[10]) ^ t12;
    const uint64_t t21 = (y[3] & y[6]) ^ t2 ^ t14 ^ y[20];
    const uint64_t t22 = (y[4] & y[0]) ^ t2 ^ t16 ^ y[19];
    const uint64_t t23 = (y[5] & y[1]) ^ t7 ^ t14 ^ y[21];
    const uint64_t t24 = (y[2] & y[7]) ^ t7 ^ t16 ^ y[18];
    const uint64_t t25 = t21 ^ t22, t26 = t21 & t23, t27 = t24 ^ t26;
    const uint64_t t29 = (t25 & t27) ^ t22;
    const uint64_t t33 = ((t22 ^ t26) & (t23 ^ t24)) ^ t24;
    const uint64_t t36 = t24 & (t27 ^ t33);
    const uint64_t t37 = t36 ^ t23 ^ t33;
    const uint64_t t40 = t25 ^ (t29 & (t27 ^ t36));
    return {t29, t33, t37, t40};
}

circuit_products multiply(const inverse_bits& inverse, const circuit_inputs& y) {
    const auto [t29, t33, t37, t40] = inverse;
    const uint64_t t41 = t40 ^ t37, t42 = t29 ^ t33, t43 = t29 ^ t40, t44 = t33 ^ t37, t45 = t42 ^ t41;
    return {t44 & y[15], t37 & y[6],  t33 & y[0],  t43 & y[16], t40 & y[1],  t29 & y[7],
            t42 & y[11], t45 & y[17], t41 & y[10], t44 & y[12], t37 & y[3],  t33 & y[4],
            t43 & y[13], t40 & y[5],  t29 & y[2],  t42 & y[9],  t45 & y[14], t41 & y[8]};
}

bit_planes compress(const circuit_products& z) {
    const uint64_t t46 = z[15] ^ z[16], t48 = z[5] ^ z[13], t54 = z[6] ^ z[7];
    const uint64_t t53 = z[0] ^ z[3], t57 = z[2] ^ z[12] ^ t53, t58 = z[4] ^ t46;
    const uint64_t t59 = z[3] ^ t54, t62 = z[7] ^ z[8] ^ t58, t63 = z[9] ^ z[10] ^ t58;
    const uint64_t t64 = z[4] ^ t59, t65 = z[14] ^ t57 ^ t62, t66 = z[1] ^ t63;
    const uint64_t s3 = t53 ^ t66;
    return {~(t48 ^ t46 ^ t57),           // s7
            ~(z[12] ^ t48 ^ t62),         // s6
            z[10] ^ z[11] ^ t65,          // s5
            z[2] ^ z[5] ^ t66,            // s4
            s3,                           //
            ~(z[16] ^ z[17] ^ t64 ^ t65), // s2
            ~(t64 ^ s3),                  // s1
            t59 ^ t63};                   // s0
}

} // namespace

void transpose_planes(bit_planes& planes) {
    for (unsigned i = 0; i < 8; i += 2)
        exchange(planes[i], planes[i + 1], 1, 0x5555555555555555);
    for (unsigned i : {0u, 1u, 4u, 5u})
        exchange(planes[i], planes[i + 2], 2, 0x3333333333333333);
    for (unsigned i = 0; i < 4; i++)
        exchange(planes[i], planes[i + 4], 4, 0x0F0F0F0F0F0F0F0F);
}

void substitute_planes(bit_planes& planes) {
    const circuit_inputs y = expand(planes);
    planes = compress(multiply(invert(y), y));
}

} // namespace ombrel::crypto
