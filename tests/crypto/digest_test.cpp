#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include <ombrel/digest.h>
#include <ombrel/string.h>

#include "crypto/digest_family.h"
#include "crypto/kernels/kernels.h"
#include "platform/processor.h"
#include "support/heap_balance.h"
#include "support/scratch_directory.h"

namespace {

using namespace ombrel_test;

struct known {
    const char *message, *md5, *sha1, *sha256;
};

// From the standards; the digest of the digests of messages of 0 to 299 bytes is what other libraries come
// to.
const known published[] = {
    {"", "D41D8CD98F00B204E9800998ECF8427E", "DA39A3EE5E6B4B0D3255BFEF95601890AFD80709",
     "E3B0C44298FC1C149AFBF4C8996FB92427AE41E4649B934CA495991B7852B855"},
    {"abc", "900150983CD24FB0D6963F7D28E17F72", "A9993E364706816ABA3E25717850C26C9CD0D89D",
     "BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD"}};
const known of_every_length = {"", "3E1E751789A9292371F8A6AA174F0650",
                               "42E3590533E1BD0177ED34E017F54CE57AC725F9",
                               "1D4750D25B89C536F239A58FDCCADEEB57FB2FE66D0495C770B4A78A8F79462F"};

template<typename Family>
const char* expected(const known& k) {
    if constexpr (std::is_same_v<Family, md5>)
        return k.md5;
    else if constexpr (std::is_same_v<Family, sha1>)
        return k.sha1;
    else
        return k.sha256;
}

template<typename Family>
std::string text_of(const std::string& message) {
    typename Family::context ctx;
    Family::push(Family::init(&ctx), message.data(), message.size());
    return Family::digest(&ctx, nullptr);
}

std::string hex(const unsigned char* bytes, size_t size) {
    std::string text;
    for (size_t i = 0; i < size; i++) {
        char digits[3];
        snprintf(digits, sizeof digits, "%02X", bytes[i]);
        text += digits;
    }
    return text;
}

// All algorithms by their names, over messages in two pieces.
TEST(DigestByName, GivesWhatEachAlgorithmGives) {
    const struct {
        const char *name, *result; // of "123456789"
    } rows[] = {{"sha256", "15e2b0d3c33891ebb0f1ef609ec419420c20e320ce94c65fbc8c3312448eb225"},
                {"sha1", "f7c3bc1d808e04732adf679965ccc34ca7ae3441"},
                {"md5", "25f9e794323b453885f5181f1b624d0b"},
                {"crc32", "cbf43926"},
                {"crc64", "b90956c775a41001"},
                {"crc16-ibm", "bb3d"},
                {"crc16-ccitt", "2189"}};
    for (size_t i = 0; i < std::size(rows); i++) {
        const ombrel_digest_algorithm_t* const algorithm = ombrel_get_digest_algorithm(i);
        ASSERT_NE(nullptr, algorithm);
        EXPECT_STREQ(algorithm->m_name, rows[i].name);
        EXPECT_EQ(algorithm->m_size * 2, strlen(rows[i].result));
        EXPECT_EQ(ombrel_find_digest_algorithm(rows[i].name), algorithm);
        EXPECT_EQ(ombrel_find_digest_algorithm_by_size(algorithm->m_size),
                  ombrel_get_digest_algorithm(std::min<size_t>(i, 5)));
        ombrel_digest_t made;
        memset(&made, 0xff, sizeof made);
        EXPECT_EQ(ombrel_init_digest(&made, algorithm), &made);
        EXPECT_STREQ("1234", static_cast<const char*>(ombrel_digest_push(&made, "1234", 4)));
        ombrel_digest_push(&made, "56789", 5);
        unsigned char bytes[def_ombrel_digest_size_max + 1];
        memset(bytes, 0x5a, sizeof bytes);
        EXPECT_STREQ(ombrel_digest_result(&made, bytes), rows[i].result);
        EXPECT_EQ(0, ombrel_strcasecmp(hex(bytes, algorithm->m_size).c_str(), rows[i].result));
        EXPECT_EQ(0x5a, bytes[algorithm->m_size]);
    }
    EXPECT_EQ(nullptr, ombrel_get_digest_algorithm(std::size(rows)));
}

TEST(DigestByName, RefusesWhatItDoesNotKnow) {
    for (const char* name : {"SHA256", "crc", "", static_cast<const char*>(nullptr)})
        EXPECT_EQ(nullptr, ombrel_find_digest_algorithm(name));
    EXPECT_EQ(nullptr, ombrel_find_digest_algorithm_by_size(0));
    const ombrel_digest_algorithm_t foreign = {"sha256", 32};
    ombrel_digest_t made;
    for (const ombrel_digest_algorithm_t* algorithm : {&foreign, static_cast<decltype(&foreign)>(nullptr)}) {
        memset(&made, 0xff, sizeof made);
        EXPECT_EQ(nullptr, ombrel_init_digest(&made, algorithm));
        EXPECT_EQ(ombrel_digest_push(&made, &foreign, 1), &foreign);
        EXPECT_EQ(nullptr, ombrel_digest_result(&made, nullptr));
    }
    EXPECT_EQ(nullptr, ombrel_init_digest(nullptr, ombrel_get_digest_algorithm(0)));
    EXPECT_EQ(nullptr, ombrel_digest_result(nullptr, nullptr));
}

template<typename Family>
class Digest : public balanced_test {};

using families = testing::Types<md5, sha1, sha256>;
TYPED_TEST_SUITE(Digest, families);

TYPED_TEST(Digest, TakesMessagesOfEveryLength) {
    std::string all, message;
    for (; message.size() < 300; message += static_cast<char>(message.size() * 7))
        all += text_of<TypeParam>(message);
    EXPECT_EQ(expected<TypeParam>(of_every_length), text_of<TypeParam>(all));
    const std::string whole = text_of<TypeParam>(message);
    for (size_t piece = 1; piece < message.size(); piece++) {
        typename TypeParam::context ctx;
        TypeParam::init(&ctx);
        for (size_t done = 0; done < message.size(); done += piece)
            TypeParam::push(&ctx, message.data() + done, std::min(piece, message.size() - done));
        ASSERT_EQ(whole, TypeParam::digest(&ctx, nullptr)) << "pieces of " << piece;
    }
}

TYPED_TEST(Digest, WritesBytesAndText) {
    for (const known& k : published) {
        typename TypeParam::context ctx, *opened = TypeParam::open();
        memset(&ctx, 0xEE, sizeof ctx);
        ASSERT_EQ(&ctx, TypeParam::init(&ctx));
        EXPECT_EQ(k.message, TypeParam::push(&ctx, k.message, strlen(k.message)));
        TypeParam::push(opened, k.message, strlen(k.message));
        unsigned char out[TypeParam::size + 1], at_close[TypeParam::size];
        memset(out, 0xEE, sizeof out);
        const char* text = TypeParam::digest(&ctx, out);
        EXPECT_EQ(ctx.m_text, text);
        EXPECT_STREQ(expected<TypeParam>(k), text);
        EXPECT_EQ(text, hex(out, TypeParam::size));
        EXPECT_EQ(0xEE, out[TypeParam::size]);
        EXPECT_EQ(0, TypeParam::close(opened, at_close));
        EXPECT_EQ(text, hex(at_close, sizeof at_close));
    }
    EXPECT_EQ(0, TypeParam::close(TypeParam::open(), nullptr));
}

TYPED_TEST(Digest, IgnoresNothing) {
    typename TypeParam::context ctx;
    TypeParam::init(&ctx);
    EXPECT_EQ(nullptr, TypeParam::push(&ctx, nullptr, 5));
    EXPECT_EQ(TypeParam::push(&ctx, &ctx, 0), &ctx);
    EXPECT_STREQ(TypeParam::digest(&ctx, nullptr), expected<TypeParam>(published[0]));
    EXPECT_EQ(nullptr, TypeParam::init(nullptr));
    EXPECT_EQ(nullptr, TypeParam::digest(nullptr, nullptr));
    EXPECT_EQ(0, TypeParam::close(nullptr, nullptr));
    EXPECT_EQ(-1, TypeParam::push_file(nullptr, "/dev/null"));
}

TYPED_TEST(Digest, ReadsFiles) {
    const scratch_directory folder;
    std::string message(100001, 'x');
    for (size_t i = 0; i < message.size(); i++)
        message[i] = static_cast<char>(i * i >> 3);
    const std::string path = folder.file("message", message), missing = folder / "none";
    typename TypeParam::context ctx;
    TypeParam::push(TypeParam::init(&ctx), "head", 4);
    EXPECT_EQ(0, TypeParam::push_file(&ctx, path.c_str()));
    EXPECT_EQ(TypeParam::digest(&ctx, nullptr), text_of<TypeParam>(std::string("head").append(message)));
    TypeParam::init(&ctx);
    for (const char* bad : {missing.c_str(), "/tmp", "", static_cast<const char*>(nullptr)})
        EXPECT_EQ(-1, TypeParam::push_file(&ctx, bad));
    EXPECT_EQ(0, TypeParam::push_file(&ctx, "/dev/null"));
    EXPECT_STREQ(TypeParam::digest(&ctx, nullptr), expected<TypeParam>(published[0]));
}

// Asked again, MD5 gives the same and goes on; the others are finished, until they begin anew.
TYPED_TEST(Digest, Ends) {
    typename TypeParam::context ctx;
    TypeParam::push(TypeParam::init(&ctx), "a", 1);
    const std::string first = TypeParam::digest(&ctx, nullptr);
    EXPECT_EQ((std::is_same_v<TypeParam, md5>), first == TypeParam::digest(&ctx, nullptr));
    if constexpr (!std::is_same_v<TypeParam, md5>)
        TypeParam::push(TypeParam::init(&ctx), "a", 1);
    TypeParam::push(&ctx, "bc", 2);
    EXPECT_STREQ(expected<TypeParam>(published[1]), TypeParam::digest(&ctx, nullptr));
}

// The value is that of coreutils. Without instructions for it this takes too long for every run.
TEST(DigestLength, Passes4Gib) {
    const uint32_t features =
        ombrel::features_to_use(getenv("OMBREL_PLAIN_KERNELS"), ombrel::platform::processor_features());
    if (sizeof(void*) < 8 || (features & (ombrel::platform::x86_sha | ombrel::platform::arm_sha256)) == 0)
        GTEST_SKIP() << "this processor or build is too slow for gigabytes";
    const std::vector<unsigned char> zeros(size_t{1} << 20);
    ombrel_sha256_t ctx;
    ombrel_init_sha256(&ctx);
    for (int i = 0; i < 4096; i++)
        ombrel_sha256_push(&ctx, zeros.data(), zeros.size());
    ombrel_sha256_push(&ctx, zeros.data(), 3);
    EXPECT_STREQ("930FA067940FF8D9F427E3A116B7598503C70CE7380D66FF65F8DE33D558F7F3",
                 ombrel_sha256_digest(&ctx, nullptr));
}

// A context whose counter says that 4 GiB are done is as good as one that took them, but for the state.
TEST(DigestLength, CountsMd5BitsPast32) {
    ombrel_md5_t ctx;
    ombrel_init_md5(&ctx);
    ctx.m_total = 0xFFFFFFC0;
    ctx.m_bits_low = 0xFFFFFE00;
    ctx.m_bits_high = 7;
    const std::string piece(200, 'z');
    ombrel_md5_push(&ctx, piece.data(), piece.size());
    EXPECT_EQ(136u, ctx.m_total);
    EXPECT_EQ(ctx.m_bits_low, 136u * 8);
    EXPECT_EQ(8u, ctx.m_bits_high);

    // The same state by hand: the padding with its length is one block's data for a context at rest.
    unsigned char end[56] = {0x80};
    end[48] = 0x40, end[49] = 0x04, end[52] = 8;
    ombrel_md5_t by_hand = ctx;
    ombrel_md5_push(&by_hand, end, sizeof end);
    unsigned char out[16], state[16];
    ombrel_md5_digest(&ctx, out);
    for (size_t i = 0; i < 16; i++)
        state[i] = static_cast<unsigned char>(by_hand.m_state[i / 4] >> (8 * (i % 4)));
    EXPECT_EQ(0, memcmp(out, state, sizeof out));
}

} // namespace
