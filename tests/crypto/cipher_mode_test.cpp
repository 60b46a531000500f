#include "crypto/cipher_support.h"

#include <cstring>
#include <numeric>

#include "support/heap_balance.h"
#include "support/heap_block.h"

using namespace ombrel_test;

namespace {

// A cipher of any block size that is no more than different for each key, place and byte.
void* toy_ecb(void* data, size_t size, const void* round_key) {
    auto* bytes = static_cast<uint8_t*>(data);
    uint8_t carry = *static_cast<const uint8_t*>(round_key);
    for (size_t i = size; i-- > 0;)
        bytes[i] = carry = static_cast<uint8_t>(bytes[i] * 5 + carry + i);
    return data;
}

const char* noted_tag = nullptr;
void* noting_ecb(void* data, size_t size, const void* round_key) {
    noted_tag = newest_tag();
    return toy_ecb(data, size, round_key);
}

// CFB-8 by its definition.
void feed_back(byte_string& data, const void* key, byte_string& iv) {
    for (uint8_t& byte : data) {
        byte_string work = iv;
        toy_ecb(work.data(), work.size(), key);
        byte ^= work[0];
        iv.erase(iv.begin());
        iv.push_back(byte);
    }
}

struct mode_pair {
    const char* name;
    mode_function cipher::*own;
    void* (*generic)(ombrel_ecb_t, size_t, void*, size_t, const void*, void*);
};
const mode_pair modes[] = {
    {"encrypt_cfb8", &cipher::encrypt_cfb8, ombrel_encrypt_mode_cfb8},
    {"decrypt_cfb8", &cipher::decrypt_cfb8, ombrel_decrypt_mode_cfb8},
    {"encrypt_ofb8", &cipher::encrypt_ofb8, ombrel_encrypt_mode_ofb8},
    {"decrypt_ofb8", &cipher::decrypt_ofb8, ombrel_decrypt_mode_ofb8},
};

} // namespace

using CipherMode = balanced_test;

TEST_F(CipherMode, DriversWorkOverAnyBlockSize) {
    byte_source source;
    for (const size_t block_size : {1u, 2u, 8u, 32u, 33u, 500u}) {
        SCOPED_TRACE(block_size);
        const byte_string key = source.bytes(1), plain = source.bytes(700), start = source.bytes(block_size);
        byte_string expected = plain, expected_iv = start, data = plain, iv = start;
        feed_back(expected, key.data(), expected_iv);
        const auto run = [&](auto mode) {
            iv = start;
            return mode(toy_ecb, block_size, data.data(), data.size(), key.data(), iv.data());
        };
        EXPECT_EQ(data.data(), run(ombrel_encrypt_mode_cfb8));
        EXPECT_EQ(expected, data);
        EXPECT_EQ(expected_iv, iv);
        run(ombrel_decrypt_mode_cfb8);
        EXPECT_EQ(plain, data);
        EXPECT_EQ(expected_iv, iv);
        run(ombrel_encrypt_mode_ofb8);
        byte_string model = start; // the whole block is fed back
        for (size_t i = 0; i < plain.size(); i++) {
            toy_ecb(model.data(), model.size(), key.data());
            ASSERT_EQ(plain[i] ^ model[0], data[i]) << i;
        }
        EXPECT_EQ(model, iv);
    }
}

TEST_F(CipherMode, LargeWorkBlockCarriesTheNameOfItsDriver) {
    byte_string data(1), key(1), iv(33);
    ombrel_encrypt_mode_cfb8(noting_ecb, iv.size(), data.data(), 1, key.data(), iv.data());
    EXPECT_STREQ("ombrel_encrypt_mode_cfb8", noted_tag);
    ombrel_decrypt_mode_cfb8(noting_ecb, iv.size(), data.data(), 1, key.data(), iv.data());
    EXPECT_STREQ("ombrel_decrypt_mode_cfb8", noted_tag);
}

TEST_F(CipherMode, OwnFormsGiveWhatTheDriversGiveInAnyPieces) {
    byte_source source;
    for (const cipher& c : ciphers)
        for (const mode_pair& mode : modes) {
            SCOPED_TRACE(std::string(c.name) + " " + mode.name);
            byte_string keys = c.round_key(source.bytes(c.key_size));
            keys.insert(keys.begin(), 0); // an odd address
            const byte_string plain = source.bytes(400), start = source.bytes(c.block_size);
            byte_string expected = plain, expected_iv = start, data = plain, iv = start;
            mode.generic(c.encrypt_ecb, c.block_size, expected.data(), expected.size(), keys.data() + 1,
                         expected_iv.data());
            for (size_t at = 0, part; at < data.size(); at += part) {
                part = std::min(data.size() - at, source.number(50));
                EXPECT_EQ((c.*mode.own)(data.data() + at, part, keys.data() + 1, iv.data()),
                          data.data() + at);
            }
            EXPECT_EQ(data, expected);
            EXPECT_EQ(iv, expected_iv);
        }
}

TEST_F(CipherMode, SeedRoundKeysAreWordsOfTheMachine) {
    const byte_string keys = find_cipher("seed").round_key(byte_string(16));
    const uint32_t first_rounds[] = {0x7C8F8C7E, 0xC737A22C, 0xFF276CDB, 0xA7CA684A};
    EXPECT_EQ(0, memcmp(keys.data(), first_rounds, sizeof first_rounds));
}

// Each block is the next plain text, and changes the next key: every entry of every table takes part. The
// last blocks are those that libcrypto comes to.
TEST_F(CipherMode, LongChainsEndAsWithOthers) {
    const struct {
        const char *name, *last;
    } chains[] = {{"seed", "FB97BD36D0ADF5333C4B682EC21CFABD"},
                  {"des", "3B83A56C144FB572"},
                  {"aes128", "9F57B094FD65D7EB8F37000E2BA0E0CA"},
                  {"aes192", "08D0F3D2062BBCCB12E170A6A63595FD"},
                  {"aes256", "983396D5CABA03BEC1BF10C85132DBC4"}};
    for (const auto& chain : chains) {
        const cipher& c = find_cipher(chain.name);
        byte_string key(c.key_size), block(c.block_size);
        std::iota(key.begin(), key.end(), uint8_t{0});
        for (int turn = 0; turn < 2000; turn++) {
            c.encrypt_ecb(block.data(), block.size(), c.round_key(key).data());
            for (size_t i = 0; i < key.size(); i++)
                key[i] ^= block[i % block.size()];
        }
        EXPECT_EQ(block, from_hex(chain.last)) << chain.name;
    }
}

// Any number of blocks gives each the same as alone, at any address, and nothing beyond them changes.
TEST_F(CipherMode, EcbWorksBlockByBlockAndLeavesTheRest) {
    byte_source source;
    for (const cipher& c : ciphers)
        for (size_t size = 0; size < 20 * c.block_size; size += 1 + source.number(c.block_size)) {
            SCOPED_TRACE(std::string(c.name) + " " + std::to_string(size));
            const byte_string keys = c.round_key(source.bytes(c.key_size)), plain = source.bytes(size + 3);
            byte_string expected = plain, data = plain;
            for (size_t at = 1; at + c.block_size <= size + 1; at += c.block_size)
                c.encrypt_ecb(expected.data() + at, c.block_size, keys.data());
            EXPECT_EQ(&data[1], c.encrypt_ecb(&data[1], size, keys.data()));
            EXPECT_EQ(expected, data);
            EXPECT_EQ(&data[1], c.decrypt_ecb(&data[1], size, keys.data()));
            EXPECT_EQ(plain, data);
        }
}

TEST_F(CipherMode, KeysMayStandWhereTheirRoundKeysGo) {
    byte_source source;
    for (const cipher& c : ciphers) {
        const byte_string key = source.bytes(c.key_size);
        byte_string buffer(c.round_key_size);
        std::copy(key.begin(), key.end(), buffer.begin());
        EXPECT_EQ(c.make_round_key(buffer.data(), buffer.data()), buffer.data());
        EXPECT_EQ(buffer, c.round_key(key)) << c.name;
    }
}

TEST_F(CipherMode, NullArgumentsDoNothing) {
    byte_string room(32, 'x'), block(16, 'v');
    void *const data = room.data(), *const key = room.data(), *const iv = block.data();
    for (const cipher& c : ciphers) {
        EXPECT_EQ(nullptr, c.make_round_key(nullptr, key));
        EXPECT_EQ(nullptr, c.make_round_key(data, nullptr));
        for (const ombrel_ecb_t ecb : {c.encrypt_ecb, c.decrypt_ecb}) {
            EXPECT_EQ(nullptr, ecb(nullptr, 32, key));
            EXPECT_EQ(nullptr, ecb(data, 32, nullptr));
        }
        for (const mode_pair& mode : modes) {
            EXPECT_EQ(nullptr, (c.*mode.own)(nullptr, 32, key, iv));
            EXPECT_EQ(nullptr, (c.*mode.own)(data, 32, nullptr, iv));
            EXPECT_EQ(nullptr, (c.*mode.own)(data, 32, key, nullptr));
        }
    }
    for (const mode_pair& mode : modes) {
        EXPECT_EQ(nullptr, mode.generic(nullptr, 16, data, 32, key, iv));
        EXPECT_EQ(nullptr, mode.generic(toy_ecb, 0, data, 32, key, iv));
        EXPECT_EQ(nullptr, mode.generic(toy_ecb, 16, nullptr, 32, key, iv));
        EXPECT_EQ(nullptr, mode.generic(toy_ecb, 16, data, 32, key, nullptr));
        EXPECT_EQ(data, mode.generic(toy_ecb, 16, data, 0, key, iv));
    }
    EXPECT_EQ(byte_string(32, 'x'), room);
    EXPECT_EQ(byte_string(16, 'v'), block);
}
