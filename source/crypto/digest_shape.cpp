#include "crypto/digest_shape.h"

#include "crypto/kernels/byte_order.h"

namespace ombrel::crypto {

namespace {

constexpr digest_shape shapes[] = {
    {"sha256", &kernel_slots::sha256, pad_big, store_big,
     [](const ombrel_digest_t& digest) { return digest.m_state.m_sha256.m_state; }},
    {"sha1", &kernel_slots::sha1, pad_big, store_big,
     [](const ombrel_digest_t& digest) { return digest.m_state.m_sha1.m_state; }},
    {"md5", &kernel_slots::md5, pad_little, store_little,
     [](const ombrel_digest_t& digest) { return digest.m_state.m_md5.m_state; }},
};

} // namespace

const digest_shape* find_digest_shape(const ombrel_digest_algorithm_t* algorithm) {
    for (const digest_shape& each : shapes)
        if (algorithm != nullptr && ombrel_find_digest_algorithm(each.name) == algorithm)
            return &each;
    return nullptr;
}

} // namespace ombrel::crypto
