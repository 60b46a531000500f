#include <ombrel/base64.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "encoding/kernels/base64.h"
#include "encoding/kernels/kernels.h"
#include "platform/processor.h"
#include "support/coder_program.h"
#include "support/heap_balance.h"

namespace {

using ombrel_test::take_string;

class Base64 : public ombrel_test::balanced_test {
protected:
    int encode(const std::string& data) {
        return ombrel_push_encode_base64(coder_.get(), data.data(), data.size());
    }
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

std::string decoded(const std::string& text) {
    size_t size = 0;
    char* block = ombrel_decode_base64(text.data(), text.size(), &size);
    return take_string(block, size);
}

TEST_F(Base64, GoesThereAndBackInOneCall) {
    static constexpr const char* pairs[][2] = {
        {"", ""},
        {"f", "Zg=="},
        {"fo", "Zm8="},
        {"foo", "Zm9v"},
        {"foob", "Zm9vYg=="},
        {"fooba", "Zm9vYmE="},
        {"foobar", "Zm9vYmFy"},
        {"\xFB\xFF\xBF", "+/+/"},
    };
    for (const auto& [bytes, text] : pairs) {
        EXPECT_EQ(encoded(bytes), text);
        EXPECT_EQ(decoded(text), bytes);
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
        EXPECT_EQ(decoded(one.text), one.strict) << one.text;
        for (uint32_t lenient : {0u, 7u}) {
            coder_.reset(ombrel_open_base64());
            coder_->m_lenient = lenient;
            coder_->m_alphabet = def_ombrel_base64_alphabet_url_safe;
            EXPECT_EQ(0, decode(one.text));
            EXPECT_EQ(0, decode(""));
            EXPECT_EQ(get(), lenient != 0 ? one.lenient : one.strict) << one.text;
        }
    }
}

TEST_F(Base64, BreaksLines) {
    static constexpr struct {
        uint32_t width, continued;
        const char *bytes, *text;
    } cases[] = {
        {4, 1, "ManMan", "TWFu\\\nTWFu\\\n"},
        {4, 0, "ManMan", "TWFu\nTWFu\n"},
        {6, 0, "ManMan", "TWFuTW\nFu\n"},
        {1, 0, "M", "T\nQ\n=\n=\n"},
        {76, 0, "M", "TQ==\n"},
        {76, 1, "", "\\\n"},
        {0, 1, "ManMan", "TWFuTWFu"},
    };
    for (const auto& one : cases) {
        coder_.reset(ombrel_open_base64());
        coder_->m_line_width = one.width;
        coder_->m_continuation = one.continued;
        for (const char* byte = one.bytes; *byte != '\0'; byte++)
            EXPECT_EQ(0, encode(std::string(1, *byte)));
        EXPECT_EQ(0, encode("") | encode("")); // the second end adds no break
        EXPECT_EQ(get(), one.text);
    }
}

TEST_F(Base64, EncodesUrlSafe) {
    coder_->m_alphabet = def_ombrel_base64_alphabet_url_safe;
    const std::string bytes = "\xFB\xFF\xBF\xFF";
    EXPECT_EQ(0, encode(bytes) | encode(""));
    EXPECT_EQ("-_-__w==", get());
}

TEST_F(Base64, TakesNothingOverTheInputLimit) {
    coder_->m_input_limit = 4;
    EXPECT_EQ(-1, encode("12345"));
    EXPECT_EQ(0, encode("ManM"));
    EXPECT_EQ(-1, encode("anMa")); // one waits
    EXPECT_EQ(0, encode("an"));
    EXPECT_EQ("TWFuTWFu", get());
    coder_.reset(ombrel_open_base64());
    coder_->m_input_limit = 8192;
    coder_->m_lenient = 1;
    EXPECT_EQ(0, decode("TW" + std::string(8000, ' ')));
    EXPECT_EQ(-1, decode(std::string(191, 'F'))); // skipped characters wait with their group
    EXPECT_EQ(0, decode(std::string(187, ' ') + "Fu"));
    EXPECT_EQ(0, decode(std::string(8192, ' ')));
    EXPECT_EQ("Man", get());
}

TEST_F(Base64, StopsAtTheOutputLimitAndGoesOn) {
    coder_->m_output_limit = 7;
    EXPECT_EQ(-1, encode("ManMan"));
    EXPECT_EQ("TWFu", get());
    EXPECT_EQ(0, encode("M"));
    EXPECT_EQ(-1, encode(""));
    EXPECT_EQ(-1, encode("ignored"));
    EXPECT_EQ("TWFu", get());
    EXPECT_EQ(0, encode(""));
    EXPECT_EQ("TQ==", get());
    EXPECT_EQ(0, encode("more") | encode(""));
    EXPECT_EQ("", get());
    coder_.reset(ombrel_open_base64());
    coder_->m_output_limit = 5;
    EXPECT_EQ(-1, decode("TWFuTQ==")); // room for a whole group is due
    EXPECT_EQ("Man", get());
    EXPECT_EQ(0, decode(""));
    EXPECT_EQ("M", get());
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

TEST_F(Base64, TakesNull) {
    size_t size = 1;
    EXPECT_EQ(-1, ombrel_push_encode_base64(nullptr, "", 0));
    EXPECT_EQ(-1, ombrel_push_decode_base64(nullptr, "x", 1));
    EXPECT_EQ(nullptr, ombrel_get_base64(nullptr, &size));
    EXPECT_EQ(0u, size);
    EXPECT_EQ(0, ombrel_close_base64(nullptr));
}

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
    const uint32_t features = ombrel::platform::processor_features();
    std::mt19937 random(11);
    for (size_t groups = 0; groups < 400; groups++) {
        std::vector<unsigned char> bytes(3 * groups), back(3 * groups);
        for (unsigned char& byte : bytes)
            byte = static_cast<unsigned char>(random());
        std::vector<char> plain(4 * groups), text(4 * groups);
        for (const base64_alphabet* alphabet : {&base64_url_safe, &base64_standard}) {
            encode_base64_plain(plain.data(), bytes.data(), groups, *alphabet);
            for (const auto& kernel : all_kernels.encode) {
                if ((kernel.needs & ~features) != 0)
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
            std::vector<unsigned char> made(3 * groups);
            for (const auto& kernel : all_kernels.decode) {
                if ((kernel.needs & ~features) != 0)
                    continue;
                ASSERT_EQ(kernel.run(made.data(), input.data(), groups), expected) << kernel.name;
                ASSERT_TRUE(std::equal(made.data(), made.data() + 3 * expected, back.data())) << kernel.name;
            }
        }
    }
}

} // namespace
