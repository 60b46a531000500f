#include <ombrel/hmac.h>

#include <cstring>

#include "core/fault.h"
#include "core/wipe.h"
#include "crypto/digest_internal.h"
#include "crypto/digest_shape.h"

using namespace ombrel;
using namespace ombrel::crypto;

namespace {

int refuse() {
    leave_fault(fault_code::invalid);
    return -1;
}

/// A key as a block: zeros behind it, a long one digested.
struct key_block {
    key_block(const ombrel_digest_algorithm_t* algorithm, const void* key, size_t size) {
        if (size <= sizeof bytes) {
            if (size > 0)
                memcpy(bytes, key, size);
            return;
        }
        ombrel_digest_t digest;
        ombrel_init_digest(&digest, algorithm);
        ombrel_digest_push(&digest, key, size);
        ombrel_digest_result(&digest, bytes);
    }
    key_block(const key_block&) = delete;
    key_block& operator=(const key_block&) = delete;

    /// Combines each byte with a value in place of the one it was combined with before.
    void change(unsigned char before, unsigned char now) {
        for (unsigned char& byte : bytes)
            byte ^= before ^ now;
    }

    unsigned char bytes[block_size] = {};
};

/// Leaves the key on the stack.
void start_openly(ombrel_hmac_t& hmac, const ombrel_digest_algorithm_t* algorithm, const void* key,
                  size_t size) {
    constexpr unsigned char inner_pad = 0x36, outer_pad = 0x5C;
    key_block block(algorithm, key, size);
    block.change(0, inner_pad);
    ombrel_init_digest(&hmac.m_inner, algorithm);
    ombrel_digest_push(&hmac.m_inner, block.bytes, sizeof block.bytes);
    block.change(inner_pad, outer_pad);
    ombrel_init_digest(&hmac.m_outer, algorithm);
    ombrel_digest_push(&hmac.m_outer, block.bytes, sizeof block.bytes);
}

} // namespace

int ombrel_init_hmac(ombrel_hmac_t* hmac, const ombrel_digest_algorithm_t* algorithm, const void* key,
                     size_t key_size) {
    if (hmac == nullptr)
        return refuse();
    memset(hmac, 0, sizeof *hmac);
    if (find_digest_shape(algorithm) == nullptr || (key == nullptr && key_size > 0))
        return refuse();
    without_trace([=] { start_openly(*hmac, algorithm, key, key_size); });
    return 0;
}

int ombrel_hmac_push(ombrel_hmac_t* hmac, const void* data, size_t size) {
    if (hmac == nullptr)
        return refuse();
    ombrel_digest_push(&hmac->m_inner, data, size);
    return 0;
}

int ombrel_hmac_result(ombrel_hmac_t* hmac, void* out) {
    if (hmac == nullptr || out == nullptr || hmac->m_inner.m_algorithm == nullptr)
        return refuse();
    unsigned char inner[def_ombrel_digest_size_max];
    const wipe_guard wiped_result(inner), wiped_record(*hmac);
    ombrel_digest_result(&hmac->m_inner, inner);
    ombrel_digest_push(&hmac->m_outer, inner, hmac->m_inner.m_algorithm->m_size);
    ombrel_digest_result(&hmac->m_outer, out);
    return 0;
}

int ombrel_make_hmac(const ombrel_digest_algorithm_t* algorithm, const void* key, size_t key_size,
                     const void* data, size_t size, void* out) {
    ombrel_hmac_t hmac;
    if (out == nullptr || (data == nullptr && size > 0) ||
        ombrel_init_hmac(&hmac, algorithm, key, key_size) != 0)
        return refuse();
    ombrel_hmac_push(&hmac, data, size);
    return ombrel_hmac_result(&hmac, out);
}

int ombrel_is_same_secret(const void* left, const void* right, size_t size) {
    if (left == nullptr || right == nullptr)
        return 0;
    const auto *a = static_cast<const volatile unsigned char*>(left),
               *b = static_cast<const volatile unsigned char*>(right);
    unsigned different = 0;
    for (size_t i = 0; i < size; i++)
        different |= static_cast<unsigned>(a[i] ^ b[i]);
    return static_cast<int>((different - 1u) >> 31);
}

void* ombrel_wipe_secret(void* memory, size_t size) {
    if (memory != nullptr)
        wipe(memory, size);
    return memory;
}
