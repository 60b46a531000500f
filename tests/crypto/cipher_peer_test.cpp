// The same work done by OpenSSL's libcrypto, where it is installed.
#if defined(OMBREL_TEST_LIBCRYPTO)

#include "crypto/cipher_support.h"

#include <memory>

#include <openssl/evp.h>
#include <openssl/provider.h>

using namespace ombrel_test;

namespace {

struct peer {
    const char *cipher, *evp_name;
    mode_function cipher::*work; // null for ECB
};
const peer peers[] = {
    {"seed", "SEED-ECB", nullptr},
    {"des", "DES-ECB", nullptr},
    {"des", "DES-CFB8", &cipher::encrypt_cfb8},
    {"aes128", "AES-128-ECB", nullptr},
    {"aes192", "AES-192-ECB", nullptr},
    {"aes256", "AES-256-ECB", nullptr},
    {"aes128", "AES-128-CFB8", &cipher::encrypt_cfb8},
    {"aes192", "AES-192-CFB8", &cipher::encrypt_cfb8},
    {"aes256", "AES-256-CFB8", &cipher::encrypt_cfb8},
};

struct evp_free {
    void operator()(EVP_CIPHER* evp) const { EVP_CIPHER_free(evp); }
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};

// DES and SEED live in a provider of their own, which a host may lack.
class providers {
public:
    ~providers() {
        for (OSSL_PROVIDER* provider : loaded_)
            OSSL_PROVIDER_unload(provider);
    }

private:
    OSSL_PROVIDER* loaded_[2] = {OSSL_PROVIDER_load(nullptr, "default"),
                                 OSSL_PROVIDER_load(nullptr, "legacy")};
};

byte_string encrypted_by(const EVP_CIPHER* evp, const byte_string& key, const byte_string& iv,
                         const byte_string& plain) {
    const std::unique_ptr<EVP_CIPHER_CTX, evp_free> context(EVP_CIPHER_CTX_new());
    EVP_EncryptInit_ex2(context.get(), evp, key.data(), iv.data(), nullptr);
    EVP_CIPHER_CTX_set_padding(context.get(), 0);
    byte_string coded(plain.size() + 32);
    int size = 0;
    EVP_EncryptUpdate(context.get(), coded.data(), &size, plain.data(), static_cast<int>(plain.size()));
    coded.resize(static_cast<size_t>(size));
    return coded;
}

} // namespace

TEST(cipher_peer, libcrypto_gives_the_same_bytes) {
    const providers loaded;
    byte_source source;
    for (const peer& p : peers) {
        SCOPED_TRACE(p.evp_name);
        const std::unique_ptr<EVP_CIPHER, evp_free> evp(EVP_CIPHER_fetch(nullptr, p.evp_name, nullptr));
        if (!evp)
            continue; // a libcrypto without its old ciphers
        const cipher& c = find_cipher(p.cipher);
        for (int turn = 0; turn < 50; ++turn) {
            const byte_string key = source.bytes(c.key_size), keys = c.round_key(key);
            byte_string data = source.bytes(c.block_size * (1 + source.number(40))),
                        iv = source.bytes(c.block_size);
            const byte_string expected = encrypted_by(evp.get(), key, iv, data);
            if (p.work != nullptr)
                (c.*p.work)(data.data(), data.size(), keys.data(), iv.data());
            else
                c.encrypt_ecb(data.data(), data.size(), keys.data());
            EXPECT_EQ(data, expected);
        }
    }
}

#endif
