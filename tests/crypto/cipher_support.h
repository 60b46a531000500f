// The ciphers as a table, and bytes to try them on.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/aes.h>
#include <ombrel/cipher_mode.h>
#include <ombrel/des.h>
#include <ombrel/seed.h>

namespace ombrel_test {

using byte_string = std::vector<uint8_t>;
using mode_function = void* (*)(void* data, size_t size, const void* round_key, void* iv);

struct cipher {
    const char* name;
    size_t block_size, key_size, round_key_size;
    void* (*make_round_key)(void* round_key, const void* key);
    ombrel_ecb_t encrypt_ecb, decrypt_ecb;
    mode_function encrypt_cfb8, decrypt_cfb8, encrypt_ofb8, decrypt_ofb8;

    byte_string round_key(const byte_string& key) const {
        byte_string result(round_key_size);
        make_round_key(result.data(), key.data());
        return result;
    }
};

// clang-format off
#define OMBREL_TEST_CIPHER(name, block_size, key_size, round_key_size)                                       \
    {#name, block_size, key_size, round_key_size, ombrel_make_round_key_##name,                              \
     ombrel_encrypt_##name##_ecb, ombrel_decrypt_##name##_ecb, ombrel_encrypt_##name##_cfb8,                 \
     ombrel_decrypt_##name##_cfb8, ombrel_encrypt_##name##_ofb8, ombrel_decrypt_##name##_ofb8}
// clang-format on
inline const cipher ciphers[] = {
    OMBREL_TEST_CIPHER(seed, 16, 16, 128),   OMBREL_TEST_CIPHER(des, 8, 8, 768),
    OMBREL_TEST_CIPHER(3des, 8, 24, 2304),   OMBREL_TEST_CIPHER(aes128, 16, 16, 176),
    OMBREL_TEST_CIPHER(aes192, 16, 24, 208), OMBREL_TEST_CIPHER(aes256, 16, 32, 240),
};
#undef OMBREL_TEST_CIPHER

inline const cipher& find_cipher(const std::string& name) {
    const cipher* found = ciphers;
    while (name != found->name)
        ++found;
    return *found;
}

/// Bytes of hexadecimal digits.
inline byte_string from_hex(const std::string& text) {
    byte_string result;
    for (size_t i = 0; i < text.size(); i += 2)
        result.push_back(static_cast<uint8_t>(std::stoul(text.substr(i, 2), nullptr, 16)));
    return result;
}

class byte_source {
public:
    size_t number(size_t below) { return engine_() % below; }
    byte_string bytes(size_t size) {
        byte_string result(size);
        for (uint8_t& byte : result)
            byte = static_cast<uint8_t>(engine_());
        return result;
    }

private:
    std::mt19937 engine_{20090501};
};

} // namespace ombrel_test
