#include <ombrel/cipher_mode.h>

#include <cstdint>
#include <cstring>

#include <ombrel/heap.h>
#include <ombrel/short_lock.h>

#include "core/heap_ptr.h"
#include "core/wipe.h"
#include "crypto/block_modes.h"

namespace {

// A block's worth of scratch memory, which is always there in the end: a mode has no way to fail half-way.
class work_block {
public:
    work_block(size_t size, const char* tag) : size_(size) {
        while (size > sizeof small_ && !large_) {
            large_.reset(static_cast<uint8_t*>(ombrel_alloc_tag(size, tag, __LINE__)));
            if (!large_)
                ombrel_load_balance();
        }
    }
    ~work_block() { ombrel::wipe(bytes(), size_); }
    work_block(const work_block&) = delete;
    work_block& operator=(const work_block&) = delete;
    uint8_t* bytes() { return large_ ? large_.get() : small_; }

private:
    size_t size_;
    uint8_t small_[32];
    ombrel::heap_ptr<uint8_t> large_;
};

using ombrel::crypto::direction;

struct mode_call {
    ombrel_ecb_t ecb_encrypt;
    size_t block_size;
    uint8_t* data;
    size_t size;
    const void* round_key;
    uint8_t* iv;

    bool valid() const {
        return ecb_encrypt != nullptr && block_size > 0 && data != nullptr && iv != nullptr;
    }
};

void* run_cfb8(const mode_call& call, direction way, const char* tag) {
    if (!call.valid())
        return nullptr;
    if (call.size == 0)
        return call.data;
    work_block work(call.block_size, tag);
    for (uint8_t *byte = call.data, *end = call.data + call.size; byte != end; byte++) {
        memcpy(work.bytes(), call.iv, call.block_size);
        call.ecb_encrypt(work.bytes(), call.block_size, call.round_key);
        const auto changed = static_cast<uint8_t>(*byte ^ work.bytes()[0]);
        const uint8_t feedback = way == direction::encrypt ? changed : *byte;
        *byte = changed;
        memmove(call.iv, call.iv + 1, call.block_size - 1);
        call.iv[call.block_size - 1] = feedback;
    }
    return call.data;
}

// The whole block is fed back and one byte of it used: meant so.
void* run_ofb8(const mode_call& call) {
    if (!call.valid())
        return nullptr;
    for (uint8_t *byte = call.data, *end = call.data + call.size; byte != end; byte++) {
        call.ecb_encrypt(call.iv, call.block_size, call.round_key);
        *byte ^= call.iv[0];
    }
    return call.data;
}

mode_call make_call(ombrel_ecb_t ecb_encrypt, size_t block_size, void* data, size_t size,
                    const void* round_key, void* iv) {
    return {ecb_encrypt, block_size, static_cast<uint8_t*>(data), size, round_key, static_cast<uint8_t*>(iv)};
}

} // namespace

void* ombrel_encrypt_mode_cfb8(ombrel_ecb_t ecb_encrypt, size_t block_size, void* data, size_t size,
                               const void* round_key, void* iv) {
    return run_cfb8(make_call(ecb_encrypt, block_size, data, size, round_key, iv), direction::encrypt,
                    "ombrel_encrypt_mode_cfb8");
}

void* ombrel_decrypt_mode_cfb8(ombrel_ecb_t ecb_encrypt, size_t block_size, void* data, size_t size,
                               const void* round_key, void* iv) {
    return run_cfb8(make_call(ecb_encrypt, block_size, data, size, round_key, iv), direction::decrypt,
                    "ombrel_decrypt_mode_cfb8");
}

void* ombrel_encrypt_mode_ofb8(ombrel_ecb_t ecb_encrypt, size_t block_size, void* data, size_t size,
                               const void* round_key, void* iv) {
    return run_ofb8(make_call(ecb_encrypt, block_size, data, size, round_key, iv));
}

void* ombrel_decrypt_mode_ofb8(ombrel_ecb_t ecb_encrypt, size_t block_size, void* data, size_t size,
                               const void* round_key, void* iv) {
    return run_ofb8(make_call(ecb_encrypt, block_size, data, size, round_key, iv));
}
