#include <cerrno>
#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include <ombrel/fault.h>
#include <ombrel/hmac.h>

#include "text/digits.h"

namespace {

std::string hex(const std::string& bytes) {
    std::string text(2 * bytes.size(), 0);
    for (size_t i = 0; i < bytes.size(); i++)
        ombrel::put_hex(&text[2 * i], static_cast<uint8_t>(bytes[i]), ombrel::lower_digits);
    return text;
}

const ombrel_digest_algorithm_t* algorithm(const char* name) {
    return ombrel_find_digest_algorithm(name);
}

// RFC 4231 and RFC 2202.
TEST(Hmac, GivesThePublishedValuesInOnePieceAndInMany) {
    const std::string long_key(131, '\xaa'),
        counting("\1\2\3\4\5\6\7\10\11\12\13\14\15\16\17\20\21\22\23\24\25"
                 "\26\27\30\31");
    const struct {
        const char* algorithm;
        std::string key, message, expected;
    } cases[] = {
        {"sha256", std::string(20, 11), "Hi There",
         "b0344c61d8db38535ca8afceaf0bf12b881dc200c9833da726e9376c2e32cff7"},
        {"sha256", "Jefe", "what do ya want for nothing?",
         "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843"},
        {"sha256", std::string(20, '\xaa'), std::string(50, '\xdd'),
         "773ea91e36800e46854db8ebd09181a72959098b3ef8c122d9635514ced565fe"},
        {"sha256", counting, std::string(50, '\xcd'),
         "82558a389a443c0ea4cc819899f2083a85f0faa3e578f8077a2e3ff46729665b"},
        {"sha256", long_key, "Test Using Larger Than Block-Size Key - Hash Key First",
         "60e431591ee0b67f0d8a26aacbf5b77f8e0bc6213728c5140546040f0ee37f54"},
        {"sha256", long_key,
         "This is a test using a larger than block-size key and a larger than block-size data. The key needs "
         "to be hashed before being used by the HMAC algorithm.",
         "9b09ffa71b942fcb27635fbcd5b0e944bfdc63644f0713938a7f51535c3a35e2"},
        {"sha1", std::string(20, 11), "Hi There", "b617318655057264e28bc0b6fb378c8ef146be00"},
        {"md5", "Jefe", "what do ya want for nothing?", "750c783e6ab0b503eaa86e310a5db738"},
    };
    for (const auto& each : cases) {
        std::string whole(each.expected.size() / 2, 0), pieces = whole;
        EXPECT_EQ(0, ombrel_make_hmac(algorithm(each.algorithm), each.key.data(), each.key.size(),
                                      each.message.data(), each.message.size(), whole.data()));
        EXPECT_EQ(each.expected, hex(whole));
        ombrel_hmac_t hmac;
        ombrel_init_hmac(&hmac, algorithm(each.algorithm), each.key.data(), each.key.size());
        for (const char& c : each.message)
            ombrel_hmac_push(&hmac, &c, 1);
        EXPECT_EQ(0, ombrel_hmac_result(&hmac, pieces.data()));
        EXPECT_EQ(whole, pieces);
        EXPECT_EQ(std::string(sizeof hmac, 0), std::string(reinterpret_cast<char*>(&hmac), sizeof hmac));
        EXPECT_EQ(-1, ombrel_hmac_result(&hmac, pieces.data()));
    }
}

// RFC 6070, and RFC 7914 for SHA-256; the last is hashlib's.
TEST(Hmac, MakesThePublishedKeysOfPasswords) {
    const struct {
        const char* algorithm;
        std::string password, salt;
        uint32_t iterations;
        std::string expected;
    } cases[] = {
        {"sha1", "password", "salt", 1, "0c60c80f961f0e71f3a9b524af6012062fe037a6"},
        {"sha1", "password", "salt", 4096, "4b007901b765489abead49d926f721d065a429c1"},
        {"sha1", "passwordPASSWORDpassword", "saltSALTsaltSALTsaltSALTsaltSALTsalt", 4096,
         "3d2eec4fe41c849b80c8d83662c0e44a8b291a964cf2f07038"},
        {"sha1", std::string("pass\0word", 9), std::string("sa\0lt", 5), 4096,
         "56fa6aa75548099dcc37d7f03425e0c3"},
        {"sha256", "passwd", "salt", 1,
         "55ac046e56e3089fec1691c22544b605f94185216dde0465e68b9d57c20dacbc"
         "49ca9cccf179b645991664b39d77ef317c71b845b1e30bd509112041d3a19783"},
        {"md5", "password", "salt", 1000, "8d189946a32d883622a16ae18af0632f"},
    };
    for (const auto& each : cases) {
        std::string key(each.expected.size() / 2, 0);
        ASSERT_EQ(0, ombrel_make_pbkdf2(algorithm(each.algorithm), each.password.data(), each.password.size(),
                                        each.salt.data(), each.salt.size(), each.iterations, key.data(),
                                        key.size()));
        EXPECT_EQ(each.expected, hex(key));
    }
}

TEST(Hmac, RefusesChecksumsAndNothing) {
    char out[32];
    const auto refused = [](int line, int result) {
        EXPECT_EQ(-1, result) << "line " << line;
        EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault()) << "line " << line;
        errno = 0;
    };
    const auto* const sha256 = algorithm("sha256");
    ombrel_hmac_t hmac;
    errno = 0;
    for (const char* name : {"crc32", "crc64", "none"}) {
        refused(__LINE__, ombrel_make_hmac(algorithm(name), "k", 1, "d", 1, out));
        refused(__LINE__, ombrel_make_pbkdf2(algorithm(name), "p", 1, "s", 1, 1, out, 1));
        EXPECT_EQ(0, ombrel_init_hmac(&hmac, sha256, "k", 1));
        refused(__LINE__, ombrel_init_hmac(&hmac, algorithm(name), "k", 1));
        refused(__LINE__, ombrel_hmac_result(&hmac, out));
    }
    refused(__LINE__, ombrel_init_hmac(nullptr, sha256, "k", 1));
    refused(__LINE__, ombrel_init_hmac(&hmac, sha256, nullptr, 1));
    refused(__LINE__, ombrel_hmac_push(nullptr, "d", 1));
    refused(__LINE__, ombrel_hmac_result(nullptr, out));
    EXPECT_EQ(0, ombrel_init_hmac(&hmac, sha256, nullptr, 0));
    refused(__LINE__, ombrel_hmac_result(&hmac, nullptr));
    refused(__LINE__, ombrel_make_hmac(sha256, "k", 1, nullptr, 1, out));
    refused(__LINE__, ombrel_make_hmac(sha256, nullptr, 1, "d", 1, out));
    refused(__LINE__, ombrel_make_hmac(sha256, "k", 1, "d", 1, nullptr));
    refused(__LINE__, ombrel_make_pbkdf2(sha256, "p", 1, "s", 1, 0, out, 1));
    refused(__LINE__, ombrel_make_pbkdf2(sha256, "p", 1, nullptr, 1, 1, out, 1));
    refused(__LINE__, ombrel_make_pbkdf2(sha256, nullptr, 1, "s", 1, 1, out, 1));
    refused(__LINE__, ombrel_make_pbkdf2(sha256, "p", 1, "s", 1, 1, nullptr, 1));
    refused(__LINE__, ombrel_make_pbkdf2(sha256, "p", 1, "s", 1, 1, out, 0));
    if constexpr (sizeof(size_t) > sizeof(uint32_t)) // parts are counted by 32 bits
        refused(__LINE__, ombrel_make_pbkdf2(sha256, "p", 1, "s", 1, 1, out, SIZE_MAX));
}

// The values are those of hashlib and hmac.
TEST(Hmac, TakesNothingForNoBytes) {
    std::string out(16, 0), key = out;
    ombrel_hmac_t hmac;
    EXPECT_EQ(0, ombrel_init_hmac(&hmac, algorithm("md5"), nullptr, 0));
    EXPECT_EQ(0, ombrel_hmac_push(&hmac, nullptr, 5));
    EXPECT_EQ(0, ombrel_hmac_result(&hmac, out.data()));
    EXPECT_EQ("74e6f7298a9c2d168935f58c001bad88", hex(out));
    EXPECT_EQ(0, ombrel_make_hmac(algorithm("md5"), nullptr, 0, nullptr, 0, out.data()));
    EXPECT_EQ("74e6f7298a9c2d168935f58c001bad88", hex(out));
    EXPECT_EQ(0, ombrel_make_pbkdf2(algorithm("md5"), nullptr, 0, nullptr, 0, 2, key.data(), key.size()));
    EXPECT_EQ("12163fdc7290a567066b80296434130f", hex(key));
}

TEST(Hmac, ComparesEachBit) {
    const std::string one(33, 'a');
    EXPECT_EQ(1, ombrel_is_same_secret(one.data(), std::string(one).data(), one.size()));
    for (size_t bit = 0; bit < one.size() * 8; bit++) {
        std::string other = one;
        other[bit / 8] = static_cast<char>(other[bit / 8] ^ 1 << bit % 8);
        EXPECT_EQ(0, ombrel_is_same_secret(one.data(), other.data(), one.size()));
    }
    EXPECT_EQ(1, ombrel_is_same_secret("a", "b", 0));
    EXPECT_EQ(0, ombrel_is_same_secret(nullptr, "b", 1));
    EXPECT_EQ(0, ombrel_is_same_secret("a", nullptr, 1));
    char secret[] = "secret";
    EXPECT_EQ(secret, ombrel_wipe_secret(secret, 3));
    EXPECT_EQ(std::string("\0\0\0ret", 6), std::string(secret, 6));
    EXPECT_EQ(nullptr, ombrel_wipe_secret(nullptr, 3));
}

} // namespace
