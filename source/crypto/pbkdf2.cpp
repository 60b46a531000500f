#include <ombrel/hmac.h>

#include <algorithm>
#include <cstring>

#include "core/fault.h"
#include "crypto/kernels/byte_order.h"
#include "crypto/pbkdf2_part.h"

using namespace ombrel;
using namespace ombrel::crypto;

namespace ombrel::crypto {

void pbkdf2_part::begin_openly(const ombrel_hmac_t& keyed, const void* salt, size_t salt_size,
                               uint32_t number, uint32_t iterations) {
    const ombrel_digest_algorithm_t* const algorithm = keyed.m_inner.m_algorithm;
    unsigned char counter[sizeof number];
    store_big(counter, number);
    ombrel_hmac_t first = keyed;
    ombrel_hmac_push(&first, salt, salt_size);
    ombrel_hmac_push(&first, counter, sizeof counter);
    ombrel_hmac_result(&first, first_);
    shape_ = find_digest_shape(algorithm);
    words_ = algorithm->m_size / sizeof(uint32_t);
    left_ = iterations - 1;
    std::copy_n(shape_->state(keyed.m_inner), words_, inner_);
    std::copy_n(shape_->state(keyed.m_outer), words_, outer_);
    std::fill(std::begin(sum_), std::end(sum_), 0);
    const padding end = shape_->pad((block_size + algorithm->m_size) * 8);
    memcpy(block_, first_, algorithm->m_size);
    memcpy(block_ + algorithm->m_size, end.bytes, end.size);
}

void pbkdf2_part::digest_block(const uint32_t* first_state, uint32_t (&state)[most_digest_words]) {
    std::copy_n(first_state, words_, state);
    (kernels().*shape_->kernel)(state, block_, 1);
    for (size_t i = 0; i < words_; i++)
        shape_->store(block_ + i * sizeof(uint32_t), state[i]);
}

/// The keyed digest of a result of the same digest, over and over: two blocks each time, where the functions
/// for any message would make text of each as well.
void pbkdf2_part::step_openly(uint32_t most) {
    uint32_t digest[most_digest_words] = {};
    const uint32_t times = std::min(most, left_);
    for (uint32_t i = 0; i < times; i++) {
        digest_block(inner_, digest);
        digest_block(outer_, digest);
        for (size_t word = 0; word < most_digest_words; word++)
            sum_[word] ^= digest[word];
    }
    left_ -= times;
}

void pbkdf2_part::get_openly(unsigned char* part) const {
    for (size_t i = 0; i < words_ * sizeof(uint32_t); i += sizeof(uint32_t)) {
        unsigned char bytes[sizeof(uint32_t)];
        shape_->store(bytes, sum_[i / sizeof(uint32_t)]);
        for (size_t at = 0; at < sizeof bytes; at++)
            part[i + at] = first_[i + at] ^ bytes[at];
    }
}

void pbkdf2_part::begin(const ombrel_hmac_t& keyed, const void* salt, size_t salt_size, uint32_t number,
                        uint32_t iterations) {
    without_trace([&, this] { begin_openly(keyed, salt, salt_size, number, iterations); });
}

bool pbkdf2_part::step(uint32_t most) {
    without_trace([=, this] { step_openly(most); });
    return left_ == 0;
}

void pbkdf2_part::get(unsigned char* part) const {
    without_trace([=, this] { get_openly(part); });
}

} // namespace ombrel::crypto

int ombrel_make_pbkdf2(const ombrel_digest_algorithm_t* algorithm, const void* password, size_t password_size,
                       const void* salt, size_t salt_size, uint32_t iterations, void* key, size_t key_size) {
    ombrel_hmac_t keyed;
    if (find_digest_shape(algorithm) == nullptr || iterations == 0 || key == nullptr || key_size == 0 ||
        key_size / algorithm->m_size >= UINT32_MAX || (salt == nullptr && salt_size > 0) ||
        ombrel_init_hmac(&keyed, algorithm, password, password_size) != 0) {
        leave_fault(fault_code::invalid);
        return -1;
    }
    unsigned char bytes[def_ombrel_digest_size_max];
    const wipe_guard wiped_key(keyed), wiped_bytes(bytes);
    pbkdf2_part part;
    for (size_t at = 0; at < key_size; at += algorithm->m_size) {
        part.begin(keyed, salt, salt_size, static_cast<uint32_t>(at / algorithm->m_size + 1), iterations);
        part.step(UINT32_MAX);
        part.get(bytes);
        memcpy(static_cast<unsigned char*>(key) + at, bytes, std::min(algorithm->m_size, key_size - at));
    }
    return 0;
}
