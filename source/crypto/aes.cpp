#include <ombrel/aes.h>

#include <cstdint>

#include "core/wipe.h"
#include "crypto/aes_kernel.h"

namespace ombrel::crypto {
namespace {

constexpr unsigned aes128_rounds = 10, aes192_rounds = 12, aes256_rounds = 14;

template<unsigned rounds>
void* apply_ecb(aes_kernel::blocks_function aes_kernel::*work, void* data, size_t size,
                const void* round_key) {
    if (data == nullptr || round_key == nullptr)
        return nullptr;
    without_trace([=] {
        (kernels().aes->*work)({static_cast<const uint8_t*>(round_key), rounds}, static_cast<uint8_t*>(data),
                               size / aes_block_size);
    });
    return data;
}

template<unsigned rounds>
void* apply_mode(aes_kernel::bytes_function aes_kernel::*work, void* data, size_t size, const void* round_key,
                 void* iv) {
    if (data == nullptr || round_key == nullptr || iv == nullptr)
        return nullptr;
    without_trace([=] {
        (kernels().aes->*work)({static_cast<const uint8_t*>(round_key), rounds}, static_cast<uint8_t*>(data),
                               size, static_cast<uint8_t*>(iv));
    });
    return data;
}

} // namespace
} // namespace ombrel::crypto

using namespace ombrel::crypto;

void* ombrel_encrypt_aes128_ecb(void* data, size_t size, const void* round_key) {
    return apply_ecb<aes128_rounds>(&aes_kernel::encrypt_ecb, data, size, round_key);
}
void* ombrel_decrypt_aes128_ecb(void* data, size_t size, const void* round_key) {
    return apply_ecb<aes128_rounds>(&aes_kernel::decrypt_ecb, data, size, round_key);
}
void* ombrel_encrypt_aes128_cfb8(void* data, size_t size, const void* round_key, void* iv) {
    return apply_mode<aes128_rounds>(&aes_kernel::encrypt_cfb8, data, size, round_key, iv);
}
void* ombrel_decrypt_aes128_cfb8(void* data, size_t size, const void* round_key, void* iv) {
    return apply_mode<aes128_rounds>(&aes_kernel::decrypt_cfb8, data, size, round_key, iv);
}
void* ombrel_encrypt_aes128_ofb8(void* data, size_t size, const void* round_key, void* iv) {
    return apply_mode<aes128_rounds>(&aes_kernel::run_ofb8, data, size, round_key, iv);
}
void* ombrel_decrypt_aes128_ofb8(void* data, size_t size, const void* round_key, void* iv) {
    return apply_mode<aes128_rounds>(&aes_kernel::run_ofb8, data, size, round_key, iv);
}

void* ombrel_encrypt_aes192_ecb(void* data, size_t size, const void* round_key) {
    return apply_ecb<aes192_rounds>(&aes_kernel::encrypt_ecb, data, size, round_key);
}
void* ombrel_decrypt_aes192_ecb(void* data, size_t size, const void* round_key) {
    return apply_ecb<aes192_rounds>(&aes_kernel::decrypt_ecb, data, size, round_key);
}
void* ombrel_encrypt_aes192_cfb8(void* data, size_t size, const void* round_key, void* iv) {
    return apply_mode<aes192_rounds>(&aes_kernel::encrypt_cfb8, data, size, round_key, iv);
}
void* ombrel_decrypt_aes192_cfb8(void* data, size_t size, const void* round_key, void* iv) {
    return apply_mode<aes192_rounds>(&aes_kernel::decrypt_cfb8, data, size, round_key, iv);
}
void* ombrel_encrypt_aes192_ofb8(void* data, size_t size, const void* round_key, void* iv) {
    return apply_mode<aes192_rounds>(&aes_kernel::run_ofb8, data, size, round_key, iv);
}
void* ombrel_decrypt_aes192_ofb8(void* data, size_t size, const void* round_key, void* iv) {
    return apply_mode<aes192_rounds>(&aes_kernel::run_ofb8, data, size, round_key, iv);
}

void* ombrel_encrypt_aes256_ecb(void* data, size_t size, const void* round_key) {
    return apply_ecb<aes256_rounds>(&aes_kernel::encrypt_ecb, data, size, round_key);
}
void* ombrel_decrypt_aes256_ecb(void* data, size_t size, const void* round_key) {
    return apply_ecb<aes256_rounds>(&aes_kernel::decrypt_ecb, data, size, round_key);
}
void* ombrel_encrypt_aes256_cfb8(void* data, size_t size, const void* round_key, void* iv) {
    return apply_mode<aes256_rounds>(&aes_kernel::encrypt_cfb8, data, size, round_key, iv);
}
void* ombrel_decrypt_aes256_cfb8(void* data, size_t size, const void* round_key, void* iv) {
    return apply_mode<aes256_rounds>(&aes_kernel::decrypt_cfb8, data, size, round_key, iv);
}
void* ombrel_encrypt_aes256_ofb8(void* data, size_t size, const void* round_key, void* iv) {
    return apply_mode<aes256_rounds>(&aes_kernel::run_ofb8, data, size, round_key, iv);
}
void* ombrel_decrypt_aes256_ofb8(void* data, size_t size, const void* round_key, void* iv) {
    return apply_mode<aes256_rounds>(&aes_kernel::run_ofb8, data, size, round_key, iv);
}
