#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "platform/processor.h"
#include "text/charset/kernels/kernels.h"
#include "text/charset/kernels/utf8_kernels.h"
#include "text/charset/utf8_run.h"

namespace {

using namespace ombrel;
using namespace ombrel::charset;

// Texts of pieces of all kinds, each at the end of a block of its own, so that a sanitizer sees a kernel that
// reaches too far.
class texts {
public:
    size_t below(size_t limit) { return static_cast<size_t>(random_() % limit); }

    std::string make(bool may_be_faulty) {
        static constexpr std::string_view valid[] = {"a",
                                                     "\xC2\x80",
                                                     "\xDF\xBF",
                                                     "\xE0\xA0\x80",
                                                     "\xED\x9F\xBF",
                                                     "\xEE\x80\x80",
                                                     "\xEF\xBF\xBF",
                                                     "\xF0\x90\x80\x80",
                                                     "\xF3\xBF\xBF\xBF",
                                                     "\xF4\x8F\xBF\xBF"};
        const size_t wanted = below(600), kinds = 1 + below(std::size(valid));
        std::string text;
        while (text.size() < wanted) {
            if (below(6) == 0)
                text.append(below(150), 'x');
            text += valid[below(kinds)];
        }
        // One or two bytes that are others, and an end anywhere.
        for (size_t i = below(3); may_be_faulty && i > 0 && !text.empty(); i--)
            text[below(text.size())] = static_cast<char>(random_());
        if (may_be_faulty && below(3) == 0)
            text.resize(text.size() - below(std::min<size_t>(text.size(), 4) + 1));
        return text;
    }

    const char* place(const std::string& text) {
        const size_t shift = below(64);
        block_ = std::make_unique<char[]>(shift + text.size());
        memcpy(block_.get() + shift, text.data(), text.size());
        return block_.get() + shift;
    }

private:
    std::mt19937_64 random_{20260301};
    std::unique_ptr<char[]> block_;
};

template<typename Kernel, typename Model>
void check(std::span<const candidate<Kernel>> list, const Model& model) {
    for (const auto& kernel : list) {
        texts source;
        for (int round = 0; round < 4000 && (kernel.needs & ~platform::processor_features()) == 0; round++) {
            const std::string text = source.make(true);
            ASSERT_EQ(model(text), kernel.run(source.place(text), text.size()))
                << kernel.name << ", " << testing::PrintToString(text);
        }
    }
}

TEST(Utf8Kernels, FindTheSameFirstFault) {
    check(all_kernels.utf8, [](const std::string& text) {
        size_t at = 0;
        for (utf8_reading next; at < text.size(); at += next.size)
            if (next = read_utf8(text.data() + at, text.size() - at); next.kind != utf8_reading::valid)
                break;
        return at;
    });
}

TEST(Utf8Kernels, FindTheSameEndOfAscii) {
    check(all_kernels.ascii, [](const std::string& text) {
        return static_cast<size_t>(
            std::find_if(text.begin(), text.end(), [](char c) { return (c & 0x80) != 0; }) - text.begin());
    });
}

TEST(Utf8Kernels, CountTheSame) {
    const auto count = [](const std::string& text) {
        return static_cast<size_t>(
            std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
    };
    check(all_kernels.count, count);
    const std::string all(100000, 'x'); // more than a byte counts to
    EXPECT_EQ(all.size(), utf8_count(all.data(), all.size()));
}

// Pairs of bytes at each place of a vector: all that look-ups by halves of bytes could confuse.
TEST(Utf8Kernels, KnowEachSequenceOfBytes) {
    for (const auto& kernel : all_kernels.utf8) {
        if ((kernel.needs & ~platform::processor_features()) != 0)
            continue;
        std::string text(192, 'x');
        for (uint32_t bytes = 0; bytes < 0x20000; bytes++) {
            const size_t at = 60 + bytes % 8; // about the seam between two vectors
            const bool is_long = bytes >= 0x10000;
            const char sequence[] = {static_cast<char>(bytes >> 8), static_cast<char>(bytes), '\x80',
                                     is_long ? '\xBF' : 'x'};
            memcpy(text.data() + at, sequence, sizeof sequence);
            ASSERT_EQ(utf8_run_plain(text.data(), text.size()), kernel.run(text.data(), text.size()))
                << kernel.name << ", " << std::hex << bytes;
            memset(text.data() + at, 'x', sizeof sequence);
        }
    }
}

template<typename To, typename From>
void check_copy(size_t (*copy)(To*, const From*, size_t), uint32_t other) {
    for (size_t size = 0; size < 130; size++)
        for (const size_t stop : {size, size / 2, size * 7 / 8}) {
            std::vector<From> from(size, 'a');
            std::vector<To> to(size);
            if (stop < size)
                from[stop] = static_cast<From>(other);
            ASSERT_EQ(stop, copy(to.data(), from.data(), size));
            ASSERT_EQ(std::vector<To>(stop, 'a'),
                      std::vector<To>(to.begin(), to.begin() + static_cast<long>(stop)));
        }
}

TEST(Utf8Kernels, CopyUpToTheFirstOther) {
    check_copy<char, char>(copy_ascii, 0x80);
    check_copy<uint16_t, char>(widen_ascii, 0xFF);
    check_copy<uint32_t, char>(widen_ascii, 0x80);
    for (const uint32_t other : {0x80u, 0xFF00u}) {
        check_copy<char, uint16_t>(narrow_ascii, other);
        check_copy<char, uint32_t>(narrow_ascii, other << 16);
    }
}

} // namespace
