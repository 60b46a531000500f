#include <ombrel/base64.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/wipe.h"
#include "encoding/kernels/base64.h"
#include "encoding/kernels/kernels.h"
#include "platform/processor.h"
#include "support/capture.h"
#include "support/coder_program.h"
#include "support/heap_balance.h"
#include "support/own_stack.h"

namespace {

using ombrel_test::take_string;

class Base64 : public ombrel_test::balanced_test {
protected:
    int decode(const std::string& data) {
        return ombrel_push_decode_base64(coder_.get(), data.data(), data.size());
    }
    std::string get() {
        size_t size = 1;
        char* block = ombrel_get_base64(coder_.get(), &size);
        return take_string(block, size);
    }
    struct close {
        void operator()(ombrel_base64_t* coder) const { ombrel_close_base64(coder); }
    };
    std::unique_ptr<ombrel_base64_t, close> coder_{ombrel_open_base64()};
};

std::string encoded(const std::string& data) {
    size_t size = 0;
    char* block = ombrel_encode_base64(data.data(), data.size(), &size);
    return take_string(block, size);
}

std::string from_base64(const std::string& text) {
    size_t size = 0;
    char* block = ombrel_decode_base64(text.data(), text.size(), &size);
    return take_string(block, size);
}

TEST_F(Base64, GoesThereAndBackInOneCall) {
    static constexpr const char* pairs[][2] = {{"", ""},
                                               {"f", "Zg=="},
                                               {"fo", "Zm8="},
                                               {"foo", "Zm9v"},
                                               {"foob", "Zm9vYg=="},
                                               {"fooba", "Zm9vYmE="},
                                               {"\xFB\xFF\xBF", "+/+/"}};
    for (const auto& [bytes, text] : pairs) {
        EXPECT_EQ(encoded(bytes), text);
        EXPECT_EQ(from_base64(text), bytes);
    }
    const std::string zeros(5, '\0');
    char* block = ombrel_encode_base64(nullptr, zeros.size(), nullptr);
    EXPECT_EQ(encoded(zeros), block);
    ombrel_free(block);
}

TEST_F(Base64, DecodesByItsRules) {
    static constexpr struct {
        const char *text, *strict, *lenient;
    } cases[] = {
        {"TW\r\nFu\n", "Man", "Man"}, // line ends are skipped
        {"TW Fu", "", "Man"},         // others end the input
        {"TWFuTW Fu", "Man", "ManMan"},
        {"TWFu TWFu", "Man", "ManMan"},
        {"-_-_TWFu", "", "Man"},              // the other alphabet is foreign
        {"TQ==TWE=TWFu", "MMaMan", "MMaMan"}, // groups go on behind padding
        {"TQ=xTWFu", "MMan", "MMan"},         // the first "=" ends its group of four
        {"T===TWFu", "Man", "Man"},
        {"====TWFu", "Man", "Man"},
        {"TWFuTWE", "Man", "Man"}, // an incomplete group gives nothing
        {"TWFu\x80TWFu", "Man", "ManMan"},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(from_base64(one.text), one.strict) << one.text;
        for (uint32_t lenient : {0u, 7u}) {
            coder_.reset(ombrel_open_base64());
            coder_->m_lenient = lenient;
            coder_->m_alphabet = def_ombrel_base64_alphabet_url_safe;
            EXPECT_EQ(0, decode(one.text) | decode(""));
            EXPECT_EQ(get(), lenient != 0 ? one.lenient : one.strict) << one.text;
        }
    }
}

TEST_F(Base64, KeepsNoEndlessRunOfSkippedCharacters) {
    coder_->m_lenient = 1;
    const size_t before = ombrel_get_alloc_size();
    EXPECT_EQ(0, decode("TWF"));
    for (int i = 0; i < 1000; i++)
        EXPECT_EQ(0, decode(std::string(1000, ' ')));
    EXPECT_LT(ombrel_get_alloc_size(), before + 50000);
    EXPECT_EQ(0, decode("u"));
    EXPECT_EQ("Man", get());
}

TEST_F(Base64, TellsTheColumn) {
    coder_->m_line_width = 6;
    const auto column_after = [&](const char* data) {
        EXPECT_EQ(0, ombrel_push_encode_base64(coder_.get(), data, strlen(data)));
        return coder_->m_column;
    };
    EXPECT_EQ(4u, column_after("abc"));
    EXPECT_EQ(2u, column_after("def"));
    EXPECT_EQ(6u, column_after("ghi")) << "a line that is full";
    EXPECT_EQ(0u, column_after("")) << "behind the last break";
    EXPECT_EQ("YWJjZG\nVmZ2hp\n", get());
}

TEST_F(Base64, TakesNull) {
    size_t size = 1;
    EXPECT_EQ(-1, ombrel_push_encode_base64(nullptr, "", 0));
    EXPECT_EQ(-1, ombrel_push_decode_base64(nullptr, "x", 1));
    EXPECT_EQ(nullptr, ombrel_get_base64(nullptr, &size));
    EXPECT_EQ(0u, size);
    EXPECT_EQ(0, ombrel_close_base64(nullptr));
}

TEST_F(Base64, SizesBeyondAllMemoryAreRefused) {
    // Of what cannot be had no byte is looked at.
    constexpr size_t most_groups = SIZE_MAX / 4;
    const ombrel_test::capture errors(stderr);
    for (const size_t size : {3 * most_groups, 3 * most_groups + 1, SIZE_MAX - 1, SIZE_MAX}) {
        size_t made = 1;
        EXPECT_EQ(nullptr, ombrel_encode_base64("x", size, &made)) << size;
        EXPECT_EQ(0u, made);
    }
}

// Passwords are sent in base64.
TEST_F(Base64, LeavesNothingOfSecrets) {
    for (const size_t size : {1, 2, 3, 4, 5}) {
        const std::string secrets[] = {std::string(size, 's'), std::string(size, 'T')};
        const auto encode = [](const std::string& secret) {
            size_t made;
            char* const text = ombrel_encode_base64(secret.data(), secret.size(), &made);
            ombrel::wipe(text, made);
            ombrel_free(text);
        };
        EXPECT_EQ(0u, ombrel_test::bytes_left_on_stack(secrets[0], secrets[1], encode)) << size;
    }
    // A result that is much shorter than was thought is handed out in a block of its own.
    const std::string text = "cGFzc3dvcmQh" + std::string(1000, '\n');
    EXPECT_EQ("password!", from_base64(text));
    EXPECT_EQ(std::string::npos, ombrel_test::freed_bytes(text.size() / 4 * 3 + 1).find("password"));
}

TEST_F(Base64, NullStandsForZeros) {
    size_t size = 1;
    char* const bytes = ombrel_decode_base64(nullptr, 8, &size);
    EXPECT_EQ("", take_string(bytes, size)) << "which are foreign";
    EXPECT_EQ(0, ombrel_push_encode_base64(coder_.get(), nullptr, 3));
    EXPECT_EQ("AAAA", get());
}

// Alphabets, lines, limits and both directions in pieces.
TEST_F(Base64, DoesAsTheModel) {
    std::mt19937 random(20240611);
    for (int round = 0; round < 3000; round++) {
        std::vector<uint8_t> code(10 + random() % 60);
        for (uint8_t& byte : code)
            byte = static_cast<uint8_t>(random());
        const char* fault =
            ombrel_test::coder_program<ombrel_test::base64_functions>(code.data(), code.size()).run();
        ASSERT_STREQ("", fault == nullptr ? "" : fault) << "round " << round;
    }
}

// In blocks of exact size, so that a sanitizer sees a kernel that reaches too far.
TEST(Base64Kernels, Agree) {
    using namespace ombrel::encoding;
    std::mt19937 random(11);
    const auto fits = [](const auto& kernel) {
        return (kernel.needs & ~ombrel::platform::processor_features()) == 0;
    };
    for (size_t groups = 0; groups < 400; groups++) {
        std::vector<unsigned char> bytes(3 * groups), back(3 * groups), made(3 * groups);
        std::generate(bytes.begin(), bytes.end(), std::ref(random));
        std::vector<char> plain(4 * groups), text(4 * groups);
        for (const base64_alphabet* alphabet : {&base64_url_safe, &base64_standard}) {
            encode_base64_plain(plain.data(), bytes.data(), groups, *alphabet);
            for (const auto& kernel : all_kernels.encode) {
                if (!fits(kernel))
                    continue;
                kernel.run(text.data(), bytes.data(), groups, *alphabet);
                EXPECT_EQ(text, plain) << kernel.name;
            }
        }
        const size_t foreign = random() % (4 * groups + 1); // at the end there is none
        std::vector<unsigned char> input(plain.begin(), plain.end());
        for (unsigned fault = 0; fault < (foreign < input.size() ? 256 : 1); fault++) {
            if (foreign < input.size())
                input[foreign] = static_cast<unsigned char>(fault);
            const size_t expected = decode_base64_plain(back.data(), input.data(), groups);
            for (const auto& kernel : all_kernels.decode) {
                if (!fits(kernel))
                    continue;
                ASSERT_EQ(expected, kernel.run(made.data(), input.data(), groups)) << kernel.name;
                ASSERT_TRUE(std::equal(made.data(), made.data() + 3 * expected, back.data())) << kernel.name;
            }
        }
    }
}

} // namespace
