#include <ombrel/hmac.h>

#include <algorithm>
#include <cstring>

#include "core/fault.h"
#include "core/wipe.h"
#include "crypto/digest_internal.h"
#include "crypto/kernels/byte_order.h"

using namespace ombrel;
using namespace ombrel::crypto;

namespace {

constexpr size_t most_words = def_ombrel_digest_size_max / sizeof(uint32_t);

/// What is inside a message digest, for those who run its blocks themselves.
struct shape {
    const char* name;
    block_kernel kernel_slots::*kernel;
    padding (*pad)(uint64_t message_bits);
    void (*store)(unsigned char* to, uint32_t word);
    const uint32_t* (*state)(const ombrel_digest_t& digest);
};

constexpr shape shapes[] = {
    {"sha256", &kernel_slots::sha256, pad_big, store_big,
     [](const ombrel_digest_t& digest) { return digest.m_state.m_sha256.m_state; }},
    {"sha1", &kernel_slots::sha1, pad_big, store_big,
     [](const ombrel_digest_t& digest) { return digest.m_state.m_sha1.m_state; }},
    {"md5", &kernel_slots::md5, pad_little, store_little,
     [](const ombrel_digest_t& digest) { return digest.m_state.m_md5.m_state; }},
};

/// Null for a checksum and for what is no algorithm.
const shape* shape_of(const ombrel_digest_algorithm_t* algorithm) {
    for (const shape& each : shapes)
        if (algorithm != nullptr && ombrel_find_digest_algorithm(each.name) == algorithm)
            return &each;
    return nullptr;
}

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
        const wipe_guard wiped(digest);
        ombrel_init_digest(&digest, algorithm);
        ombrel_digest_push(&digest, key, size);
        ombrel_digest_result(&digest, bytes);
    }
    ~key_block() { wipe(bytes, sizeof bytes); }
    key_block(const key_block&) = delete;
    key_block& operator=(const key_block&) = delete;

    /// Combines each byte with a value in place of the one it was combined with before.
    void change(unsigned char before, unsigned char now) {
        for (unsigned char& byte : bytes)
            byte ^= before ^ now;
    }

    unsigned char bytes[block_size] = {};
};

void start(ombrel_hmac_t& hmac, const ombrel_digest_algorithm_t* algorithm, const void* key, size_t size) {
    constexpr unsigned char inner_pad = 0x36, outer_pad = 0x5C;
    key_block block(algorithm, key, size);
    block.change(0, inner_pad);
    ombrel_init_digest(&hmac.m_inner, algorithm);
    ombrel_digest_push(&hmac.m_inner, block.bytes, sizeof block.bytes);
    block.change(inner_pad, outer_pad);
    ombrel_init_digest(&hmac.m_outer, algorithm);
    ombrel_digest_push(&hmac.m_outer, block.bytes, sizeof block.bytes);
}

/// The keyed digest of a result of the same digest, over and over: two blocks each time, where the functions
/// for any message would make text of each as well.
class repeated_hmac {
public:
    repeated_hmac(const shape& shape, const ombrel_hmac_t& keyed, size_t size)
        : shape_(shape), kernel_(kernels().*shape.kernel), words_(size / sizeof(uint32_t)) {
        copy(shape.state(keyed.m_inner), inner_);
        copy(shape.state(keyed.m_outer), outer_);
        const padding end = shape.pad((block_size + size) * 8);
        memcpy(block_ + size, end.bytes, end.size);
    }
    ~repeated_hmac() {
        wipe(inner_, sizeof inner_);
        wipe(outer_, sizeof outer_);
        wipe(block_, sizeof block_);
    }
    repeated_hmac(const repeated_hmac&) = delete;
    repeated_hmac& operator=(const repeated_hmac&) = delete;

    /// Starts with a result, to which so many further ones are added without carries.
    void run(uint32_t times, unsigned char* result) {
        const size_t size = words_ * sizeof(uint32_t);
        memcpy(block_, result, size);
        uint32_t sum[most_words] = {}, digest[most_words] = {};
        for (uint32_t i = 0; i < times; i++) {
            digest_block(inner_, digest);
            digest_block(outer_, digest);
            for (size_t word = 0; word < most_words; word++)
                sum[word] ^= digest[word];
        }
        for (size_t i = 0; i < words_; i++) {
            unsigned char bytes[sizeof(uint32_t)];
            shape_.store(bytes, sum[i]);
            for (size_t at = 0; at < sizeof bytes; at++)
                result[i * sizeof bytes + at] ^= bytes[at];
        }
        wipe(sum, sizeof sum);
        wipe(digest, sizeof digest);
    }

private:
    void copy(const uint32_t* from, uint32_t* to) const { std::copy_n(from, words_, to); }

    void digest_block(const uint32_t* first_state, uint32_t (&state)[most_words]) {
        copy(first_state, state);
        kernel_(state, block_, 1);
        for (size_t i = 0; i < words_; i++)
            shape_.store(block_ + i * sizeof(uint32_t), state[i]);
    }

    const shape& shape_;
    block_kernel kernel_;
    size_t words_;
    uint32_t inner_[most_words], outer_[most_words];
    unsigned char block_[block_size];
};

/// The part of a key with a number, from 1.
void make_part(const shape& shape, const ombrel_hmac_t& keyed, const void* salt, size_t salt_size,
               uint32_t number, uint32_t iterations, unsigned char* part) {
    unsigned char counter[sizeof number];
    store_big(counter, number);
    const size_t size = keyed.m_inner.m_algorithm->m_size;
    ombrel_hmac_t first = keyed;
    ombrel_hmac_push(&first, salt, salt_size);
    ombrel_hmac_push(&first, counter, sizeof counter);
    ombrel_hmac_result(&first, part);
    repeated_hmac(shape, keyed, size).run(iterations - 1, part);
}

} // namespace

int ombrel_init_hmac(ombrel_hmac_t* hmac, const ombrel_digest_algorithm_t* algorithm, const void* key,
                     size_t key_size) {
    if (hmac == nullptr)
        return refuse();
    memset(hmac, 0, sizeof *hmac);
    if (shape_of(algorithm) == nullptr || (key == nullptr && key_size > 0))
        return refuse();
    without_trace([=] { start(*hmac, algorithm, key, key_size); });
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

int ombrel_make_pbkdf2(const ombrel_digest_algorithm_t* algorithm, const void* password, size_t password_size,
                       const void* salt, size_t salt_size, uint32_t iterations, void* key, size_t key_size) {
    const shape* const found = shape_of(algorithm);
    ombrel_hmac_t keyed;
    if (found == nullptr || iterations == 0 || key == nullptr || key_size == 0 ||
        key_size / algorithm->m_size >= UINT32_MAX || (salt == nullptr && salt_size > 0) ||
        ombrel_init_hmac(&keyed, algorithm, password, password_size) != 0)
        return refuse();
    unsigned char part[def_ombrel_digest_size_max];
    const wipe_guard wiped_key(keyed), wiped_part(part);
    auto* const bytes = static_cast<unsigned char*>(key);
    for (size_t at = 0; at < key_size; at += algorithm->m_size) {
        const auto number = static_cast<uint32_t>(at / algorithm->m_size + 1);
        make_part(*found, keyed, salt, salt_size, number, iterations, part);
        memcpy(bytes + at, part, std::min(algorithm->m_size, key_size - at));
    }
    return 0;
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
