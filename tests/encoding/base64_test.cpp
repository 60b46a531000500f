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

class base64 : public ombrel_test::balanced_test {
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

TEST_F(base64, goes_there_and_back_in_one_call) {
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

TEST_F(base64, decodes_by_its_rules) {
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
            EXPECT_EQ(decode(one.text), 0);
            EXPECT_EQ(decode(""), 0);
            EXPECT_EQ(get(), lenient != 0 ? one.lenient : one.strict) << one.text;
        }
    }
}

TEST_F(base64, breaks_lines) {
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
            EXPECT_EQ(encode(std::string(1, *byte)), 0);
        EXPECT_EQ(encode("") | encode(""), 0); // the second end adds no break
        EXPECT_EQ(get(), one.text);
    }
}

TEST_F(base64, encodes_url_safe) {
    coder_->m_alphabet = def_ombrel_base64_alphabet_url_safe;
    const std::string bytes = "\xFB\xFF\xBF\xFF";
    EXPECT_EQ(encode(bytes) | encode(""), 0);
    EXPECT_EQ(get(), "-_-__w==");
}

TEST_F(base64, takes_nothing_over_the_input_limit) {
    coder_->m_input_limit = 4;
    EXPECT_EQ(encode("12345"), -1);
    EXPECT_EQ(encode("ManM"), 0);
    EXPECT_EQ(encode("anMa"), -1); // one waits
    EXPECT_EQ(encode("an"), 0);
    EXPECT_EQ(get(), "TWFuTWFu");
    coder_.reset(ombrel_open_base64());
    coder_->m_input_limit = 8192;
    coder_->m_lenient = 1;
    EXPECT_EQ(decode("TW" + std::string(8000, ' ')), 0);
    EXPECT_EQ(decode(std::string(191, 'F')), -1); // skipped characters wait with their group
    EXPECT_EQ(decode(std::string(187, ' ') + "Fu"), 0);
    EXPECT_EQ(decode(std::string(8192, ' ')), 0);
    EXPECT_EQ(get(), "Man");
}

TEST_F(base64, stops_at_the_output_limit_and_goes_on) {
    coder_->m_output_limit = 7;
    EXPECT_EQ(encode("ManMan"), -1);
    EXPECT_EQ(get(), "TWFu");
    EXPECT_EQ(encode("M"), 0);
    EXPECT_EQ(encode(""), -1);
    EXPECT_EQ(encode("ignored"), -1);
    EXPECT_EQ(get(), "TWFu");
    EXPECT_EQ(encode(""), 0);
    EXPECT_EQ(get(), "TQ==");
    EXPECT_EQ(encode("more") | encode(""), 0);
    EXPECT_EQ(get(), "");
    coder_.reset(ombrel_open_base64());
    coder_->m_output_limit = 5;
    EXPECT_EQ(decode("TWFuTQ=="), -1); // room for a whole group is due
    EXPECT_EQ(get(), "Man");
    EXPECT_EQ(decode(""), 0);
    EXPECT_EQ(get(), "M");
}

TEST_F(base64, keeps_no_endless_run_of_skipped_characters) {
    coder_->m_lenient = 1;
    const size_t before = ombrel_get_alloc_size();
    EXPECT_EQ(decode("TWF"), 0);
    for (int i = 0; i < 1000; i++)
        EXPECT_EQ(decode(std::string(1000, ' ')), 0);
    EXPECT_LT(ombrel_get_alloc_size(), before + 50000);
    EXPECT_EQ(decode("u"), 0);
    EXPECT_EQ(get(), "Man");
}

TEST_F(base64, takes_null) {
    size_t size = 1;
    EXPECT_EQ(ombrel_push_encode_base64(nullptr, "", 0), -1);
    EXPECT_EQ(ombrel_push_decode_base64(nullptr, "x", 1), -1);
    EXPECT_EQ(ombrel_get_base64(nullptr, &size), nullptr);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(ombrel_close_base64(nullptr), 0);
}

TEST_F(base64, does_as_the_model) {
    std::mt19937 random(20240611);
    for (int round = 0; round < 3000; round++) {
        std::vector<uint8_t> code(10 + random() % 60);
        for (uint8_t& byte : code)
            byte = static_cast<uint8_t>(random());
        const char* fault =
            ombrel_test::coder_program<ombrel_test::base64_functions>(code.data(), code.size()).run();
        ASSERT_STREQ(fault == nullptr ? "" : fault, "") << "round " << round;
    }
}

// In blocks of exact size, so that a sanitizer sees a kernel that reaches too far.
TEST(base64_kernels, agree) {
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
