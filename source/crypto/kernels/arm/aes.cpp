// AES by the AES instructions of 64-bit Arm processors.
#include "crypto/aes_kernel.h"

#if defined(OMBREL_ARM_KERNELS)

#include <arm_neon.h>

#define OMBREL_WITH_AES OMBREL_ARM_TARGET("+crypto")
#include "crypto/kernels/aes_loops.h"

namespace ombrel::crypto {
namespace {

struct arm_machine {
    using vector = uint8x16_t;
    static constexpr size_t lanes = 8;

    struct round_keys {
        unsigned rounds;
        vector round[aes_most_rounds + 1];
    };

    OMBREL_PART_OF_LOOP static vector load(const uint8_t* from) { return vld1q_u8(from); }
    OMBREL_PART_OF_LOOP static void store(uint8_t* to, vector block) { vst1q_u8(to, block); }
    OMBREL_PART_OF_LOOP static vector one_byte(uint8_t byte) { return vsetq_lane_u8(byte, vdupq_n_u8(0), 0); }
    OMBREL_PART_OF_LOOP static uint8_t first_byte(vector block) { return vgetq_lane_u8(block, 0); }
    // The state of CFB-8 after one more byte, which is the first one of `feedback`.
    OMBREL_PART_OF_LOOP static vector push_byte(vector state, vector feedback) {
        return vextq_u8(state, feedback, 1);
    }

    OMBREL_PART_OF_LOOP static void load_keys(round_keys& keys, const aes_key& key) {
        keys.rounds = key.rounds;
        for (unsigned i = 0; i <= key.rounds; i++)
            keys.round[i] = load(key.bytes + aes_block_size * i);
    }
    // The order and the mixed form that the decrypting instructions want.
    OMBREL_PART_OF_LOOP static void load_inverse_keys(round_keys& keys, const aes_key& key) {
        keys.rounds = key.rounds;
        for (unsigned i = 0; i <= key.rounds; i++) {
            const vector block = load(key.bytes + aes_block_size * (key.rounds - i));
            keys.round[i] = i == 0 || i == key.rounds ? block : vaesimcq_u8(block);
        }
    }

    // Here an instruction adds its key before the substitution, so that the last key stands alone.
    template<size_t count>
    OMBREL_PART_OF_LOOP static void encrypt(const round_keys& keys, vector (&blocks)[count]) {
        for (unsigned round = 0; round + 1 < keys.rounds; round++)
            for (vector& block : blocks)
                block = vaesmcq_u8(vaeseq_u8(block, keys.round[round]));
        for (vector& block : blocks)
            block = veorq_u8(vaeseq_u8(block, keys.round[keys.rounds - 1]), keys.round[keys.rounds]);
    }
    template<size_t count>
    OMBREL_PART_OF_LOOP static void decrypt(const round_keys& keys, vector (&blocks)[count]) {
        for (unsigned round = 0; round + 1 < keys.rounds; round++)
            for (vector& block : blocks)
                block = vaesimcq_u8(vaesdq_u8(block, keys.round[round]));
        for (vector& block : blocks)
            block = veorq_u8(vaesdq_u8(block, keys.round[keys.rounds - 1]), keys.round[keys.rounds]);
    }
};

} // namespace

constinit const aes_kernel aes_arm = {loop_encrypt_ecb<arm_machine>, loop_decrypt_ecb<arm_machine>,
                                      loop_encrypt_cfb8<arm_machine>, loop_decrypt_cfb8<arm_machine>,
                                      loop_ofb8<arm_machine>};

} // namespace ombrel::crypto

#endif
