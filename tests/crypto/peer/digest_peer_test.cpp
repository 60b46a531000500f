// Checksums and digests beside those of zlib and libcrypto, on random messages pushed in random pieces.
#include <algorithm>
#include <random>
#include <vector>

#include <gtest/gtest.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <zlib.h>

#include <ombrel/crc.h>

#include "crypto/digest_family.h"

namespace {

using namespace ombrel_test;

class random_messages {
public:
    const std::vector<unsigned char>& next() {
        message_.resize(below(5001));
        std::generate(message_.begin(), message_.end(),
                      [this] { return static_cast<unsigned char>(random_()); });
        return message_;
    }
    size_t below(size_t limit) { return random_() % limit; }

    // Calls `push` with parts that together are the message; now and then a part is empty.
    template<typename Push>
    void in_pieces(const std::vector<unsigned char>& message, Push push) {
        for (size_t done = 0; done < message.size();) {
            const size_t piece = std::min(below(200) * below(10), message.size() - done);
            push(message.data() + done, piece);
            done += piece;
        }
    }

private:
    std::minstd_rand random_{7};
    std::vector<unsigned char> message_;
};

TEST(peer, crc32_is_that_of_zlib) {
    random_messages messages;
    for (int round = 0; round < 1000; round++) {
        const auto& message = messages.next();
        uint32_t crc = 0;
        messages.in_pieces(message, [&](const unsigned char* data, size_t size) {
            crc = ombrel_crc32_ieee_802_3(0, crc, data, size);
        });
        ASSERT_EQ(crc, crc32_z(0, message.data(), message.size())) << message.size();
    }
}

// In a context of its own, whatever other tests load into the common one and unload.
class libcrypto_digest {
public:
    explicit libcrypto_digest(const char* name) : digest_(EVP_MD_fetch(context_, name, nullptr)) {}
    ~libcrypto_digest() {
        EVP_MD_free(digest_);
        OSSL_LIB_CTX_free(context_);
    }
    libcrypto_digest(const libcrypto_digest&) = delete;
    libcrypto_digest& operator=(const libcrypto_digest&) = delete;
    const EVP_MD* get() const { return digest_; }

private:
    OSSL_LIB_CTX* context_ = OSSL_LIB_CTX_new();
    EVP_MD* digest_;
};

template<typename Family>
void expect_libcrypto() {
    const libcrypto_digest peer(Family::name);
    random_messages messages;
    for (int round = 0; round < 1000; round++) {
        const auto& message = messages.next();
        typename Family::context ctx;
        Family::init(&ctx);
        messages.in_pieces(message,
                           [&](const unsigned char* data, size_t size) { Family::push(&ctx, data, size); });
        std::vector<unsigned char> ours(Family::size), theirs(Family::size);
        Family::digest(&ctx, ours.data());
        ASSERT_EQ(EVP_Digest(message.data(), message.size(), theirs.data(), nullptr, peer.get(), nullptr), 1);
        ASSERT_EQ(ours, theirs) << Family::name << ", " << message.size() << " bytes";
    }
}

TEST(peer, digests_are_those_of_libcrypto) {
    expect_libcrypto<md5>();
    expect_libcrypto<sha1>();
    expect_libcrypto<sha256>();
}

} // namespace
