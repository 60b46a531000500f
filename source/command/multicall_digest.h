// The digests and checksums that the command "digest" knows.
#pragma once

#include <cstddef>
#include <string_view>

#include <ombrel/crc.h>
#include <ombrel/md5.h>
#include <ombrel/sha1.h>
#include <ombrel/sha256.h>

namespace ombrel::command {

union digest_state {
    ombrel_md5_t md5;
    ombrel_sha1_t sha1;
    ombrel_sha256_t sha256;
    uint32_t crc32;
    uint64_t crc64;
};

struct digest_algorithm {
    const char* name;
    size_t size;
    void (*start)(digest_state& state);
    void (*push)(digest_state& state, const void* data, size_t size);
    void (*finish)(digest_state& state, unsigned char* result);
};

template<typename Word>
void put_big_endian(Word word, unsigned char* to) {
    for (size_t i = sizeof word; i-- > 0; word = static_cast<Word>(word >> 8))
        to[i] = static_cast<unsigned char>(word);
}

constexpr size_t longest_digest = def_ombrel_sha256_size;

constexpr digest_algorithm digest_algorithms[] = {
    {"sha256", def_ombrel_sha256_size, [](digest_state& state) { ombrel_init_sha256(&state.sha256); },
     [](digest_state& state, const void* data, size_t size) {
         ombrel_sha256_push(&state.sha256, data, size);
     },
     [](digest_state& state, unsigned char* result) { ombrel_sha256_digest(&state.sha256, result); }},
    {"sha1", def_ombrel_sha1_size, [](digest_state& state) { ombrel_init_sha1(&state.sha1); },
     [](digest_state& state, const void* data, size_t size) { ombrel_sha1_push(&state.sha1, data, size); },
     [](digest_state& state, unsigned char* result) { ombrel_sha1_digest(&state.sha1, result); }},
    {"md5", def_ombrel_md5_size, [](digest_state& state) { ombrel_init_md5(&state.md5); },
     [](digest_state& state, const void* data, size_t size) { ombrel_md5_push(&state.md5, data, size); },
     [](digest_state& state, unsigned char* result) { ombrel_md5_digest(&state.md5, result); }},
    {"crc32", sizeof(uint32_t), [](digest_state& state) { state.crc32 = 0; },
     [](digest_state& state, const void* data, size_t size) {
         state.crc32 = ombrel_crc32_ieee_802_3(0, state.crc32, data, size);
     },
     [](digest_state& state, unsigned char* result) { put_big_endian(state.crc32, result); }},
    {"crc64", sizeof(uint64_t), [](digest_state& state) { state.crc64 = 0; },
     [](digest_state& state, const void* data, size_t size) {
         state.crc64 = ombrel_crc64_iso(0, state.crc64, data, size);
     },
     [](digest_state& state, unsigned char* result) { put_big_endian(state.crc64, result); }},
};

inline const digest_algorithm* find_digest_algorithm(std::string_view name) {
    for (const digest_algorithm& algorithm : digest_algorithms)
        if (name == algorithm.name)
            return &algorithm;
    return nullptr;
}

} // namespace ombrel::command
