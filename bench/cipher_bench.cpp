// The block ciphers beside OpenSSL's libcrypto, on the same bytes in place.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include <openssl/evp.h>
#include <openssl/provider.h>

#include <ombrel/aes.h>
#include <ombrel/cipher_mode.h>
#include <ombrel/des.h>
#include <ombrel/seed.h>

namespace {

struct work {
    const char* name;
    size_t round_key_size;
    void* (*make_round_key)(void* round_key, const void* key);
    ombrel_ecb_t ecb;
    void* (*mode)(void* data, size_t size, const void* round_key, void* iv); // used when `ecb` is null
    const char* peer;
    bool encrypt;
};

const work works[] = {
    {"AES-128 ECB encrypt", 176, ombrel_make_round_key_aes128, ombrel_encrypt_aes128_ecb, nullptr,
     "AES-128-ECB", true},
    {"AES-128 ECB decrypt", 176, ombrel_make_round_key_aes128, ombrel_decrypt_aes128_ecb, nullptr,
     "AES-128-ECB", false},
    {"AES-192 ECB encrypt", 208, ombrel_make_round_key_aes192, ombrel_encrypt_aes192_ecb, nullptr,
     "AES-192-ECB", true},
    {"AES-192 ECB decrypt", 208, ombrel_make_round_key_aes192, ombrel_decrypt_aes192_ecb, nullptr,
     "AES-192-ECB", false},
    {"AES-256 ECB encrypt", 240, ombrel_make_round_key_aes256, ombrel_encrypt_aes256_ecb, nullptr,
     "AES-256-ECB", true},
    {"AES-256 ECB decrypt", 240, ombrel_make_round_key_aes256, ombrel_decrypt_aes256_ecb, nullptr,
     "AES-256-ECB", false},
    {"AES-128 CFB-8 encrypt", 176, ombrel_make_round_key_aes128, nullptr, ombrel_encrypt_aes128_cfb8,
     "AES-128-CFB8", true},
    {"AES-128 CFB-8 decrypt", 176, ombrel_make_round_key_aes128, nullptr, ombrel_decrypt_aes128_cfb8,
     "AES-128-CFB8", false},
    {"DES ECB encrypt", 768, ombrel_make_round_key_des, ombrel_encrypt_des_ecb, nullptr, "DES-ECB", true},
    {"DES ECB decrypt", 768, ombrel_make_round_key_des, ombrel_decrypt_des_ecb, nullptr, "DES-ECB", false},
    // The peer decrypts in the middle: the same work.
    {"triple DES ECB encrypt", 2304, ombrel_make_round_key_3des, ombrel_encrypt_3des_ecb, nullptr,
     "DES-EDE3-ECB", true},
    {"triple DES ECB decrypt", 2304, ombrel_make_round_key_3des, ombrel_decrypt_3des_ecb, nullptr,
     "DES-EDE3-ECB", false},
    {"SEED ECB encrypt", 128, ombrel_make_round_key_seed, ombrel_encrypt_seed_ecb, nullptr, "SEED-ECB", true},
    {"SEED ECB decrypt", 128, ombrel_make_round_key_seed, ombrel_decrypt_seed_ecb, nullptr, "SEED-ECB",
     false},
};

uint8_t key[32] = {7, 3, 250, 91, 18, 77, 4, 200, 33, 5, 66, 1, 90, 41, 8, 111,
                   2, 9, 34,  60, 13, 88, 6, 101, 31, 0, 64, 3, 95, 47, 7, 119};

void by_ombrel(benchmark::State& state, const work& w) {
    std::vector<uint8_t> data(static_cast<size_t>(state.range(0)), 'x'), round_key(w.round_key_size);
    uint8_t iv[16] = {};
    w.make_round_key(round_key.data(), key);
    for (auto _ : state) {
        if (w.ecb != nullptr)
            w.ecb(data.data(), data.size(), round_key.data());
        else
            w.mode(data.data(), data.size(), round_key.data(), iv);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void by_libcrypto(benchmark::State& state, const work& w) {
    EVP_CIPHER* cipher = EVP_CIPHER_fetch(nullptr, w.peer, nullptr);
    if (cipher == nullptr) {
        state.SkipWithError("this libcrypto has no such cipher");
        return;
    }
    std::vector<uint8_t> data(static_cast<size_t>(state.range(0)), 'x');
    const int size = static_cast<int>(data.size());
    const uint8_t iv[16] = {};
    int done = 0;
    EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
    EVP_CipherInit_ex2(context, cipher, key, iv, w.encrypt ? 1 : 0, nullptr);
    EVP_CIPHER_CTX_set_padding(context, 0);
    for (auto _ : state) {
        EVP_CipherUpdate(context, data.data(), &done, data.data(), size);
        benchmark::ClobberMemory();
    }
    EVP_CIPHER_CTX_free(context);
    EVP_CIPHER_free(cipher);
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void register_pair(const work& w) {
    const std::string name = w.name;
    for (const int64_t size : {16 << 10, 1 << 20}) {
        benchmark::RegisterBenchmark((name + "|ombrel").c_str(), by_ombrel, w)->Arg(size);
        benchmark::RegisterBenchmark((name + "|libcrypto").c_str(), by_libcrypto, w)->Arg(size);
    }
}

[[maybe_unused]] const bool registered = [] {
    OSSL_PROVIDER_load(nullptr, "default");
    OSSL_PROVIDER_load(nullptr, "legacy"); // DES and SEED
    for (const work& w : works)
        register_pair(w);
    return true;
}();

} // namespace
