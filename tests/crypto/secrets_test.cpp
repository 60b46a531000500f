// What ciphers and digests leave behind of keys and messages.
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
