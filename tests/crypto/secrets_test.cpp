// What ciphers and digests leave behind of keys and messages.
#include <cstring>

#include <ombrel/hmac.h>
#include <ombrel/output.h>

#include "crypto/cipher_support.h"
#include "crypto/digest_family.h"
#include "support/capture.h"
#include "support/own_stack.h"

using namespace ombrel_test;

namespace {

const byte_string secrets[] = {byte_source().bytes(200), byte_string(200, 0x5A)};

TEST(Secrets, CiphersLeaveNoKeyOnTheStack) {
    for (const cipher& c : ciphers) {
        byte_string room(c.round_key_size), data, iv;
        EXPECT_EQ(0u, bytes_left_on_stack(
                          secrets[0], secrets[1],
                          [&](const byte_string& key) { c.make_round_key(room.data(), key.data()); }))
            << c.name;
        const byte_string round_keys[] = {c.round_key(secrets[0]), c.round_key(secrets[1])};
        const auto left_by = [&](auto work) {
            return bytes_left_on_stack(round_keys[0], round_keys[1], [&](const byte_string& round_key) {
                data.assign(20 * 16 + 8, 'd');
                iv.assign(16, 'v');
                work(round_key.data());
            });
        };
        for (const auto ecb : {c.encrypt_ecb, c.decrypt_ecb})
            EXPECT_EQ(0u, left_by([&](const void* key) { ecb(data.data(), data.size(), key); })) << c.name;
        for (const auto mode : {c.encrypt_cfb8, c.decrypt_cfb8, c.encrypt_ofb8})
            EXPECT_EQ(0u, left_by([&](const void* key) { mode(data.data(), data.size(), key, iv.data()); }))
                << c.name;
    }
}

// A cipher that changes nothing shows best where the block stood that was handed to it: the vector, and so
// what comes of it, of which the stack holds a small one and the heap any other.
TEST(Secrets, ModesOverAnyCipherLeaveNoBlock) {
    const ombrel_ecb_t same = [](void* data, size_t, const void*) { return data; };
    for (const auto mode : {ombrel_encrypt_mode_cfb8, ombrel_decrypt_mode_cfb8}) {
        uint8_t vector[100], byte;
        for (const size_t block_size : {8u, 32u})
            EXPECT_EQ(0u, bytes_left_on_stack(secrets[0], secrets[1],
                                              [&](const byte_string& secret) {
                                                  memcpy(vector, secret.data(), block_size);
                                                  mode(same, block_size, &(byte = 0), 1, nullptr, vector);
                                              }))
                << block_size;
        memset(vector, 's', sizeof vector);
        mode(same, sizeof vector, &(byte = 0), 1, nullptr, vector);
        EXPECT_EQ(std::string::npos, freed_bytes(sizeof vector).find("ssss"));
    }
}

// Single bits are handed to the formatter, so that a few of them stay where its arguments were; no row does.
TEST(Secrets, DumpsOfKeysLeaveNoRowOnTheStack) {
    const byte_string key = find_cipher("des").round_key(secrets[0]);
    const auto dump = [&] {
        ombrel_dump_round_key_des(key.data());
        ombrel_puts(nullptr);
    };
    capture output(stdout);
    dump();
    const std::string text = output.text(), last_row = text.substr(text.rfind("] ") + 2, 30);
    capture again(stdout);
    EXPECT_FALSE(stays_on_stack(last_row, dump)) << last_row;
}

template<typename Family>
void leaves_no_message() {
    uint8_t digest[Family::size];
    EXPECT_EQ(0u, bytes_left_on_stack(secrets[0], secrets[1],
                                      [&](const byte_string& message) {
                                          typename Family::context* const ctx = Family::open();
                                          Family::push(ctx, message.data(), message.size());
                                          Family::close(ctx, digest);
                                      }))
        << Family::name;
    typename Family::context* const ctx = Family::open();
    Family::push(ctx, std::string(60, 's').data(), 60);
    Family::close(ctx, nullptr);
    EXPECT_EQ(std::string::npos, freed_bytes(sizeof *ctx).find("ssss")) << Family::name;
}

TEST(Secrets, DigestsLeaveNoMessage) {
    leaves_no_message<md5>();
    leaves_no_message<sha1>();
    leaves_no_message<sha256>();
}

// What is digested may be a password, and its digest what logs in.
TEST(Secrets, ResultsOfDigestsAreHandedOutAlone) {
    for (size_t index = 0; const auto* algorithm = ombrel_get_digest_algorithm(index); index++) {
        ombrel_digest_t pushed[2], digest;
        for (size_t i = 0; i < 2; i++)
            ombrel_digest_push(ombrel_init_digest(&pushed[i], algorithm), secrets[i].data(), 70);
        unsigned char result[def_ombrel_digest_size_max];
        EXPECT_EQ(0u, bytes_left_on_stack(pushed[0], pushed[1],
                                          [&](const ombrel_digest_t& now) {
                                              memcpy(&digest, &now, sizeof digest);
                                              ombrel_digest_result(&digest, result);
                                          }))
            << algorithm->m_name;
    }
}

TEST(Secrets, KeyedDigestsLeaveNothingOfTheirKeys) {
    for (const char* name : {"sha256", "sha1", "md5"})
        for (const size_t size : {1u, 20u, 64u, 65u, 200u}) {
            const auto* const algorithm = ombrel_find_digest_algorithm(name);
            SCOPED_TRACE(std::string(name) + " " + std::to_string(size));
            ombrel_hmac_t hmac;
            unsigned char result[def_ombrel_digest_size_max];
            EXPECT_EQ(0u, bytes_left_on_stack(secrets[0], secrets[1], [&](const byte_string& key) {
                          ombrel_init_hmac(&hmac, algorithm, key.data(), size);
                      }));
            EXPECT_EQ(0u, bytes_left_on_stack(secrets[0], secrets[1], [&](const byte_string& key) {
                          ombrel_make_hmac(algorithm, key.data(), size, "message", 7, result);
                      }));
        }
}

TEST(Secrets, KeysOfPasswordsLeaveNothing) {
    for (size_t index = 0; const auto* digest = ombrel_get_digest_algorithm(index); index++) {
        byte_string key(2 * digest->m_size + 3, 0);
        EXPECT_EQ(0u, bytes_left_on_stack(secrets[0], secrets[1],
                                          [&](const byte_string& password) {
                                              ombrel_make_pbkdf2(digest, password.data(), password.size(),
                                                                 "salt", 4, 3, key.data(), key.size());
                                          }))
            << digest->m_name;
    }
}

} // namespace
