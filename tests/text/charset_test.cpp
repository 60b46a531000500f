#include <ombrel/charset.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#if defined(__GLIBC__)
#include <iconv.h>
#endif

#include <ombrel/fault.h>
#include <ombrel/heap.h>

#include "platform/processor.h"
#include "text/charset/charset_decoder.h"
#include "text/charset/kernels/utf8_codes.h"

namespace {

using namespace std::string_view_literals;

constexpr int all_sets[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
static_assert(std::size(all_sets) == def_ombrel_charset_count);

int find(const char* name) {
    return ombrel_find_charset(name);
}

struct outcome {
    std::string text;
    ombrel_charset_fault_t fault{};
    ombrel_charset_counts_t counts{};

    bool operator==(const outcome& other) const {
        const auto all = [](const outcome& one) {
            const std::string bytes(reinterpret_cast<const char*>(one.fault.m_bytes),
                                    sizeof one.fault.m_bytes);
            return std::make_tuple(one.text, one.fault.m_reason, one.fault.m_offset, one.fault.m_size,
                                   one.fault.m_code, bytes, one.counts.m_malformed, one.counts.m_unencodable,
                                   one.counts.m_written);
        };
        return all(*this) == all(other);
    }
};

// Converts in pieces and rooms of random sizes up to those given.
outcome convert(int from, int to, std::string_view text, const ombrel_charset_options_t* options = nullptr,
                size_t piece = SIZE_MAX, size_t room = 4096) {
    static std::minstd_rand random(1);
    const auto up_to = [](size_t most) { return most > 4096 ? most : 1 + random() % most; };
    outcome result;
    auto* const converter = ombrel_open_charset_converter(from, to, options);
    std::vector<char> out;
    int step = 0;
    for (bool is_end = false; step == 0 && !is_end;) {
        const std::string part(text.substr(0, up_to(piece)));
        text.remove_prefix(part.size());
        is_end = part.empty();
        size_t at = 0, made = 0;
        do {
            out.resize(up_to(room));
            step = is_end ? ombrel_charset_converter_finish(converter, out.data(), out.size(), &made)
                          : ombrel_charset_converter_push(converter, part.data(), part.size(), &at,
                                                          out.data(), out.size(), &made);
            result.text.append(out.data(), made);
        } while (step == 1);
    }
    result.fault = *ombrel_charset_converter_get_fault(converter);
    EXPECT_EQ(step == -1, result.fault.m_reason != def_ombrel_charset_fault_none);
    ombrel_charset_converter_get_counts(converter, &result.counts);
    ombrel_close_charset_converter(converter);
    return result;
}

std::string in_one_go(int from, int to, std::string_view text,
                      const ombrel_charset_options_t* options = nullptr) {
    size_t size = 0;
    char* const made =
        ombrel_alloc_converted_text(from, to, text.data(), text.size(), options, &size, nullptr);
    const std::string result = made != nullptr ? std::string(made, size) : "-";
    EXPECT_TRUE(made == nullptr || memcmp(made + size, "\0\0\0", 4) == 0);
    if (made != nullptr)
        ombrel_free(made);
    return result;
}

ombrel_charset_options_t policies(int malformed, int unencodable, uint32_t flags = 0,
                                  const char* replacement = nullptr) {
    ombrel_charset_options_t options;
    EXPECT_EQ(0, ombrel_init_charset_options(&options));
    options.m_malformed = malformed;
    options.m_unencodable = unencodable;
    options.m_flags = flags;
    options.m_replacement = replacement;
    return options;
}

// What the C library has otherwise, by bytes or by code point.
struct difference {
    const char* set;
    bool is_decoding;
    uint32_t first, last;
};
[[maybe_unused]] constexpr difference differences[] = {
    {"EUC-KR", true, 0x80, 0x9F},      // control characters C1, which EUC-KR shares with no other text
    {"EUC-KR", true, 0xA2E8, 0xA2E8},  // the postal mark U+327E, which is later than KS X 1001:1998
    {"EUC-KR", false, 0x80, 0x9F},     //
    {"EUC-KR", false, 0x327E, 0x327E}, //
    {"EUC-KR", false, 0x20A9, 0x20A9}, // the Won sign becomes the wide one there, and does not come back
    {"SHIFT_JIS", true, 0x5C, 0x5C},   // the yen sign there, as in JIS X 0201; backslash with Python, the web
    {"SHIFT_JIS", true, 0x7E, 0x7E},   // the overline there, likewise; tilde
    {"SHIFT_JIS", false, 0xFFE0, 0xFFE2}, // wide signs become narrow ones there, and do not come back
    {"CP932", true, 0x80, 0x80},          // single bytes that Windows has
    {"CP932", true, 0xA0, 0xA0},          //
    {"CP932", true, 0xFD, 0xFF},          //
    {"CP932", false, 0x80, 0x80},         //
    {"CP932", false, 0xF8F0, 0xF8F3},     //
    {"CP932", false, 0xA5, 0xA5},         // yen sign, dash and overline become other characters there
    {"CP932", false, 0x2014, 0x2014},     //
    {"CP932", false, 0x203E, 0x203E},     //
    {"EUC-JP", true, 0x80, 0x8D},         // control characters C1 again
    {"EUC-JP", true, 0x90, 0x9F},         //
    {"EUC-JP", false, 0x80, 0x8D},        //
    {"EUC-JP", false, 0x90, 0x9F},        //
};

#if defined(__GLIBC__)
class peer {
public:
    peer(const char* to, const char* from) : handle_(iconv_open(to, from)) {}
    ~peer() {
        if (is_there())
            iconv_close(handle_);
    }

    /// The C library's sets are files, which a system for another processor may lack.
    bool is_there() const { return handle_ != reinterpret_cast<iconv_t>(-1); }

    std::string convert(std::string_view text) {
        char room[16], *in = const_cast<char*>(text.data()), *out = room;
        size_t left = text.size(), free = sizeof room;
        iconv(handle_, nullptr, nullptr, nullptr, nullptr);
        return iconv(handle_, &in, &left, &out, &free) != static_cast<size_t>(-1) && left == 0
                   ? std::string(room, out)
                   : "";
    }

private:
    iconv_t handle_;
};

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr uint32_t quick_step = 7;
#else
constexpr uint32_t quick_step = 1;
#endif

bool is_known(const char* set, bool is_decoding, uint32_t what) {
    return std::any_of(std::begin(differences), std::end(differences), [&](const difference& one) {
        return strcmp(one.set, set) == 0 && one.is_decoding == is_decoding && what >= one.first &&
               what <= one.last;
    });
}

class CharsetPeer : public testing::TestWithParam<const char*> {};

TEST_P(CharsetPeer, HasTheSameCharactersForAllBytes) {
    const char* const name = GetParam();
    peer other("UTF-32BE", name);
    if (!other.is_there())
        GTEST_SKIP() << "the C library has no such set here";
    const auto compare = [&](std::string_view bytes) {
        uint32_t code = 0, number = bytes.front() == '\0' ? 1 : 0;
        const int size = ombrel_decode_charset_character(find(name), bytes.data(), bytes.size(), &code);
        const std::string theirs = other.convert(bytes);
        uint32_t expected = 0;
        for (const char c : theirs)
            expected = expected << 8 | static_cast<uint8_t>(c);
        for (const char c : bytes)
            number = number << 8 | static_cast<uint8_t>(c);
        const bool is_whole = size == static_cast<int>(bytes.size());
        const bool is_alike = is_whole ? theirs.size() == 4 && expected == code : theirs.size() != 4;
        EXPECT_NE(is_alike, is_known(name, true, number)) << name << std::hex << " " << number;
    };
    for (int first = 0; first < 0x100; first++) {
        const char lead = static_cast<char>(first);
        compare({&lead, 1});
        for (int second = 0; second < 0x100; second++) {
            const char pair[] = {lead, static_cast<char>(second)};
            compare({pair, 2});
            for (int third = 0; first == 0x8F && third < 0x100; third++) {
                const char triple[] = {lead, pair[1], static_cast<char>(third)};
                compare({triple, 3});
            }
        }
    }
}

TEST_P(CharsetPeer, HasTheSameBytesForAllCharacters) {
    const char* const name = GetParam();
    peer other(name, "UTF-32LE");
    if (!other.is_there())
        GTEST_SKIP() << "the C library has no such set here";
    for (uint32_t code = 0; code < 0x110000; code += code < 0x30000 ? quick_step : 61) {
        if (code >= 0xD800 && code < 0xE000)
            continue;
        char bytes[4], theirs[4];
        const int size = ombrel_encode_charset_character(find(name), code, bytes);
        for (int i = 0; i < 4; i++)
            theirs[i] = static_cast<char>(code >> 8 * i);
        const bool is_alike =
            other.convert({theirs, 4}) == std::string_view(bytes, size > 0 ? static_cast<size_t>(size) : 0);
        EXPECT_NE(is_alike, is_known(name, false, code)) << name << std::hex << " " << code;
    }
}

INSTANTIATE_TEST_SUITE_P(All, CharsetPeer,
                         testing::Values("US-ASCII", "ISO-8859-1", "CP1252", "EUC-KR", "CP949", "SHIFT_JIS",
                                         "CP932", "EUC-JP", "UTF-8", "UTF-16BE", "UTF-32LE"));
#endif

TEST(Charset, TextsAreAlikeHoweverTheyAreCut) {
    std::minstd_rand random(7);
    const std::string texts[] = {
        "A\xEA\xB0\x80 \xE3\x81\x82\xE6\xBC\xA2~\xF0\x9F\x98\x80\xC3\xA9\xEF\xBB\xBFz",
        std::string("\xFF\xFE\0\0A\0\0\0", 8), "\xFE\xFF\xD8\x3D\xDE\0\0A"};
    for (int round = 0; round < 40; round++) {
        std::string text;
        for (int i = round % 4; i >= 0; i--)
            text += texts[random() % std::size(texts)];
        for (size_t i = random() % 8; i > 0; i--)
            text.insert(text.begin() + static_cast<int>(random() % text.size()), static_cast<char>(random()));
        if (round % 5 == 0)
            text.insert(random() % text.size(), 70, 'x');
        for (const int from : all_sets)
            for (const int to : all_sets) {
                const int policy = static_cast<int>(random() % 4);
                const auto options =
                    policies(policy, policy, random() % 4, random() % 2 != 0 ? "<?>" : nullptr);
                const outcome whole = convert(from, to, text, &options);
                EXPECT_EQ(whole, convert(from, to, text, &options, 3, 4096)) << from << " " << to;
                EXPECT_EQ(whole, convert(from, to, text, &options, 7, 1)) << from << " " << to;
                EXPECT_EQ(whole, convert(from, to, text, &options, 4096, 5)) << from << " " << to;
                EXPECT_EQ(whole.fault.m_reason != 0 ? "-" : whole.text, in_one_go(from, to, text, &options));
            }
    }
}

// What is written is read back.
TEST(Charset, TextsComeBack) {
    std::minstd_rand random(3);
    for (const int set : all_sets) {
        std::string text;
        for (int i = 0; i < 3000; i++) {
            const uint32_t limits[] = {0x80, 0x800, 0x10000, 0x110000};
            char bytes[4];
            const auto code =
                static_cast<uint32_t>(random()) % limits[random() % 4] + (random() % 8 == 0 ? 0xAC00 : 0);
            if (code != 0xA5 && code != 0x203E && ombrel_encode_charset_character(set, code, nullptr) > 0 &&
                (set != 14 || strchr("\xA2\xA3\xAC", static_cast<int>(code & 0xFF)) == nullptr ||
                 code > 0xFF) &&
                (set != 14 || (code != 0x2016 && code != 0x2212 && code != 0x301C)))
                text.append(bytes, static_cast<size_t>(ombrel_encode_charset_character(4, code, bytes)));
        }
        const std::string there = in_one_go(4, set, text);
        EXPECT_EQ(text, in_one_go(set, 4, there)) << set;
        EXPECT_EQ(ombrel_count_charset_characters(4, text.data(), text.size(), nullptr),
                  ombrel_count_charset_characters(set, there.data(), there.size(), nullptr));
        EXPECT_EQ(1, ombrel_is_charset_text(set, there.data(), there.size()));
    }
}

TEST(Charset, PoliciesDoWhatTheySay) {
    constexpr int fail = def_ombrel_charset_fail, replace = def_ombrel_charset_replace,
                  skip = def_ombrel_charset_skip, escape = def_ombrel_charset_escape,
                  xml = def_ombrel_charset_escape_xml;
    static const struct {
        const char *from, *to;
        std::string_view text;
        int malformed, unencodable;
        const char* replacement;
        std::string_view expected;
        int64_t wrong, lacking;
    } cases[] = {
        {"utf8", "ascii", "a\xEA\xB0\x80z"sv, fail, replace, nullptr, "a?z"sv, 0, 1},
        {"utf8", "utf8", "a\xFFz"sv, replace, fail, nullptr, "a\xEF\xBF\xBDz"sv, 1, 0},
        {"utf8", "utf8", "\xE1\x80\xE1\x80\x41\xF0\x80\x80"sv, replace, fail, "*", "**A***"sv, 5, 0},
        {"utf8", "utf8", "\xED\xA0\x80"sv, replace, fail, "*", "***"sv, 3, 0},
        {"utf8", "ascii", "\xEA\xB0\x80\xFF\xF0\x9F\x98\x80"sv, escape, escape, nullptr,
         "\\uAC00\\xFF\\U0001F600"sv, 1, 2},
        {"utf8", "cp1252", "\xEA\xB0\x80\xF0\x9F\x98\x80\xC2\x80"sv, fail, xml, nullptr,
         "&#xAC00;&#x1F600;&#x80;"sv, 0, 3},
        {"utf8", "latin1", "\xEA\xB0\x80z"sv, fail, skip, nullptr, "z"sv, 0, 1},
        {"utf8", "utf16be", "\xFFz"sv, escape, fail, nullptr, "\0\\\0x\0F\0F\0z"sv, 1, 0},
        {"utf8", "cp949", "\xFF\xC3\xB1"sv, replace, replace, "\xEA\xB0\x80", "\xB0\xA1\xB0\xA1"sv, 1, 1},
        {"utf8", "ascii", "a\xEA\xB0\x80z"sv, fail, replace, "", "az"sv, 0, 1},
        // What cannot be a second byte, or is ASCII, stays.
        {"cp949", "utf8", "\x81\"\xA1\x80"sv, replace, fail, "*", "*\"**"sv, 3, 0},
        {"euc-kr", "utf8", "\xC9\xA1\xB0\xA1"sv, replace, fail, "*", "*\xEA\xB0\x80"sv, 1, 0},
        {"sjis", "utf8", "\x81\x7F\x85\xF0\xA0"sv, replace, fail, "*", "*\x7F**"sv, 3, 0},
        {"euc-jp", "utf8", "\x8F\xA2\"\x8F\xA1\xA1\x8E\xE0\x8F\x41"sv, replace, fail, "*", "*\"***A"sv, 4, 0},
        {"utf16le", "utf8", "\x3D\xD8\x41\0\0\xDC\x3D\xD8\0"sv, replace, fail, "*", "*A**"sv, 3, 0},
        {"utf32be", "utf8", "\0\x11\0\0\0\0\xD8\0\0\0\0A"sv, replace, fail, "*", "**A"sv, 2, 0},
        {"ascii", "utf8", "a\x80"sv, skip, fail, nullptr, "a"sv, 1, 0},
    };
    for (const auto& one : cases) {
        const auto options = policies(one.malformed, one.unencodable, 0, one.replacement);
        const outcome made = convert(find(one.from), find(one.to), one.text, &options);
        EXPECT_EQ(one.expected, made.text) << one.from << " " << one.text;
        EXPECT_EQ(one.wrong, made.counts.m_malformed) << one.from << " " << one.text;
        EXPECT_EQ(one.lacking, made.counts.m_unencodable) << one.from << " " << one.text;
        EXPECT_EQ(static_cast<int64_t>(one.text.size()), made.counts.m_read);
    }
}

TEST(Charset, FaultsTellWhyAndWhere) {
    constexpr int malformed = def_ombrel_charset_fault_malformed,
                  incomplete = def_ombrel_charset_fault_incomplete,
                  unencodable = def_ombrel_charset_fault_unencodable;
    static const struct {
        const char *from, *to;
        std::string_view text;
        int reason;
        int64_t offset;
        int size;
        uint32_t code;
        std::string_view made;
    } cases[] = {
        {"utf8", "utf16le", "ab\xC3\x28"sv, malformed, 2, 1, 0, "a\0b\0"sv},
        {"utf8", "utf8", "ab\xE3\x81"sv, incomplete, 2, 2, 0, "ab"sv},
        {"utf8", "latin1", "ab\xE3\x81\x82z"sv, unencodable, 2, 3, 0x3042, "ab"sv},
        {"utf16", "utf8", "\xFE\xFF\0a\xDC\0"sv, malformed, 4, 2, 0, "a"sv},
        {"utf16", "utf8", "\xFE\xFF\0a\0"sv, incomplete, 4, 1, 0, "a"sv},
        {"utf16le", "utf8", "a\0\x3D\xD8\0"sv, incomplete, 2, 3, 0, "a"sv},
        {"utf32", "utf8", "\xFF\xFE\0"sv, incomplete, 0, 3, 0, ""sv},
        {"utf32le", "utf8", "a\0\0\0\0\0\x11\0"sv, malformed, 4, 4, 0, "a"sv},
        {"euc-kr", "utf8", "\xB0\xA1\xB0"sv, incomplete, 2, 1, 0, "\xEA\xB0\x80"sv},
        {"euc-kr", "utf8", "\xB0\xA1\x81\x41"sv, malformed, 2, 1, 0, "\xEA\xB0\x80"sv},
        {"euc-jp", "utf8", "z\x8F\xB0"sv, incomplete, 1, 2, 0, "z"sv},
        {"cp949", "euc-kr", "\xB0\xA1\x81\x41z"sv, unencodable, 2, 2, 0xAC02, "\xB0\xA1"sv},
        {"cp1252", "utf8", "a\x81"sv, malformed, 1, 1, 0, "a"sv},
    };
    for (const auto& one : cases) {
        const outcome made = convert(find(one.from), find(one.to), one.text);
        EXPECT_EQ(one.made, made.text) << one.from << " " << one.text;
        EXPECT_EQ(one.reason, made.fault.m_reason) << one.from << " " << one.text;
        EXPECT_EQ(one.offset, made.fault.m_offset) << one.from << " " << one.text;
        EXPECT_EQ(one.size, made.fault.m_size) << one.from << " " << one.text;
        EXPECT_EQ(one.code, made.fault.m_code) << one.from << " " << one.text;
        const auto size = static_cast<size_t>(one.size);
        EXPECT_EQ(0, memcmp(made.fault.m_bytes, one.text.data() + one.offset, size)) << one.text;
        // The very call that meets the fault tells it, as does each call after it.
        auto* const converter = ombrel_open_charset_converter(find(one.from), find(one.to), nullptr);
        char room[64];
        size_t at = 0, count = 0;
        const bool is_at_end = one.reason == incomplete;
        EXPECT_EQ(is_at_end ? 0 : -1,
                  ombrel_charset_converter_push(converter, one.text.data(), one.text.size(), &at, room,
                                                sizeof room, &count));
        EXPECT_EQ(one.made.size(), count) << one.from << " " << one.text;
        for (int i = 0; i < 2; i++) {
            EXPECT_EQ(-1, ombrel_charset_converter_finish(converter, room, sizeof room, &count));
            EXPECT_EQ(one.reason == unencodable ? def_ombrel_fault_not_supported : def_ombrel_fault_violation,
                      ombrel_last_fault());
            EXPECT_EQ(0u, count);
        }
        EXPECT_EQ(-1, ombrel_charset_converter_push(converter, "a", 1, &(at = 0), room, sizeof room, &count));
        ombrel_close_charset_converter(converter);
        ombrel_charset_fault_t fault;
        EXPECT_EQ(nullptr, ombrel_alloc_converted_text(find(one.from), find(one.to), one.text.data(),
                                                       one.text.size(), nullptr, nullptr, &fault));
        EXPECT_EQ(one.reason == unencodable ? def_ombrel_fault_not_supported : def_ombrel_fault_violation,
                  ombrel_last_fault());
        EXPECT_EQ(one.offset, fault.m_offset);
        if (one.reason == unencodable)
            continue;
        EXPECT_EQ(-1,
                  ombrel_count_charset_characters(find(one.from), one.text.data(), one.text.size(), &fault));
        EXPECT_EQ(std::make_tuple(one.reason, one.offset, one.size),
                  std::make_tuple(fault.m_reason, fault.m_offset, fault.m_size));
        EXPECT_EQ(0, ombrel_is_charset_text(find(one.from), one.text.data(), one.text.size()));
    }
}

TEST(Charset, MarksTellTheByteOrder) {
    constexpr uint32_t drop = def_ombrel_charset_drop_mark, write = def_ombrel_charset_write_mark;
    static const struct {
        const char *from, *to;
        uint32_t flags;
        std::string_view text, expected;
    } cases[] = {
        {"utf16", "utf8", 0, "\xFE\xFF\0a"sv, "a"sv},
        {"utf16", "utf8", 0, "\xFF\xFE\x61\0\xFF\xFE"sv, "a\xEF\xBB\xBF"sv},
        {"utf16", "utf8", 0, "a\0"sv, "a"sv},
        {"utf16", "utf8", 0, "\xFF\0"sv, "\xC3\xBF"sv},
        {"utf32", "utf8", 0, "\0\0\xFE\xFF\0\0\0a"sv, "a"sv},
        {"utf32", "utf8", 0, "\xFF\xFE\0\0a\0\0\0"sv, "a"sv},
        {"utf32", "utf8", 0, "a\0\0\0"sv, "a"sv},
        {"utf16be", "utf8", 0, "\xFE\xFF\0a"sv, "\xEF\xBB\xBF\x61"sv},
        {"utf16be", "utf8", drop, "\xFE\xFF\0a"sv, "a"sv},
        {"utf16be", "utf8", drop, "\xFF\xFE\0a"sv, "\xEF\xBF\xBE\x61"sv}, // not its own
        {"utf16le", "utf8", drop, "\xFF\xFE\x61\0"sv, "a"sv},
        {"utf16le", "utf8", drop, "\xFE\xFF\x61\0"sv, "\xEF\xBF\xBE\x61"sv},
        {"utf32be", "utf8", drop, "\0\0\xFE\xFF\0\0\0a"sv, "a"sv},
        {"utf32le", "utf8", drop, "\xFF\xFE\0\0a\0\0\0"sv, "a"sv},
        {"utf8", "ascii", drop, "\xEF\xBB\xBF\x61"sv, "a"sv},
        {"utf8", "utf16", 0, "a"sv, "\xFF\xFE\x61\0"sv},
        {"utf8", "utf32", 0, "a"sv, "\xFF\xFE\0\0a\0\0\0"sv},
        {"utf8", "utf16", 0, ""sv, ""sv},
        {"utf16", "utf16", 0, "\xFE\xFF"sv, ""sv},
        {"ascii", "utf8", write, "a"sv, "\xEF\xBB\xBF\x61"sv},
        {"ascii", "utf16be", write, "a"sv, "\xFE\xFF\0a"sv},
        {"ascii", "latin1", write | drop, "a"sv, "a"sv},
    };
    for (const auto& one : cases) {
        const auto options = policies(0, 0, one.flags);
        EXPECT_EQ(one.expected, in_one_go(find(one.from), find(one.to), one.text, &options)) << one.text;
        EXPECT_EQ(one.expected, convert(find(one.from), find(one.to), one.text, &options, 1, 1).text);
    }
    const auto dropping = policies(0, 0, drop); // the mark of the other order is beyond all characters
    EXPECT_EQ("-", in_one_go(find("utf32le"), find("utf8"), "\0\0\xFE\xFF\0\0\0a"sv, &dropping));
    EXPECT_EQ("-", in_one_go(find("utf32be"), find("utf8"), "\xFF\xFE\0\0a\0\0\0"sv, &dropping));
    EXPECT_EQ(1, ombrel_count_charset_characters(find("utf16"), "\xFE\xFF\0a", 4, nullptr));
    EXPECT_EQ(2, ombrel_count_charset_characters(find("utf16be"), "\xFE\xFF\0a", 4, nullptr));
}

TEST(Charset, NamesAreFoundHoweverTheyAreSpelt) {
    static const struct {
        const char *name, *canonical;
    } cases[] = {{"utf8", "UTF-8"},          {"Utf_8", "UTF-8"},
                 {"latin1", "ISO-8859-1"},   {"L1", "ISO-8859-1"},
                 {"cp1252", "windows-1252"}, {"x-sjis", "Shift_JIS"},
                 {"MS932", "CP932"},         {"windows-31j", "CP932"},
                 {"uhc", "CP949"},           {"ks_c_5601-1987", "EUC-KR"},
                 {"ujis", "EUC-JP"},         {"ANSI_X3.4-1968", "US-ASCII"},
                 {"UTF-16", "UTF-16"},       {"utf16be", "UTF-16BE"}};
    for (const auto& one : cases)
        EXPECT_STREQ(one.canonical, ombrel_get_charset_name(find(one.name))) << one.name;
    for (const int set : all_sets) {
        EXPECT_EQ(set, find(ombrel_get_charset_name(set)));
        size_t i = 0;
        for (; const char* const alias = ombrel_get_charset_alias(set, i); i++)
            EXPECT_EQ(set, find(alias)) << alias;
        EXPECT_EQ(def_ombrel_fault_not_found, ombrel_last_fault());
        EXPECT_EQ(nullptr, ombrel_get_charset_alias(set, SIZE_MAX));
    }
    for (const char* const name : {"", "utf", "utf-88", "klingon"}) {
        EXPECT_EQ(-1, find(name)) << name;
        EXPECT_EQ(def_ombrel_fault_not_supported, ombrel_last_fault());
    }
    EXPECT_EQ(nullptr, ombrel_get_charset_name(0));
    EXPECT_EQ(nullptr, ombrel_get_charset_alias(16, 0));
}

TEST(Charset, OutputCanBeCountedAndConvertersUsedAgain) {
    auto* const converter = ombrel_open_charset_converter(4, 7, nullptr);
    ombrel_charset_counts_t counts;
    for (int round = 0; round < 2; round++) {
        size_t at = 0;
        EXPECT_EQ(0, ombrel_charset_converter_push(converter, "\xEA\xB0\x80z", 4, &at, nullptr, 0, nullptr));
        EXPECT_EQ(0, ombrel_charset_converter_finish(converter, nullptr, 0, nullptr));
        EXPECT_EQ(0, ombrel_charset_converter_get_counts(converter, &counts));
        EXPECT_EQ(4, counts.m_written);
        EXPECT_EQ(-1, ombrel_charset_converter_push(converter, "z", 1, &(at = 0), nullptr, 0, nullptr));
        EXPECT_EQ(0, ombrel_charset_converter_reset(converter));
    }
    size_t at = 0, made = 7;
    EXPECT_EQ(1, ombrel_charset_converter_push(converter, "z", 1, &at, &at, 0, &made));
    EXPECT_EQ(0u, made);
    ombrel_close_charset_converter(converter);
}

TEST(Charset, NonsenseIsRefused) {
    size_t at = 2, made = 0;
    ombrel_charset_options_t bad[] = {policies(5, 0),
                                      policies(4, 0),
                                      policies(0, -1),
                                      policies(0, 0, 4),
                                      policies(1, 1, 0, "\xEA\xB0\x80"),
                                      policies(1, 1, 0, "\xFF"),
                                      policies(1, 1, 0, "\xC3"),
                                      policies(1, 1, 0, std::string(33, 'x').c_str())};
    const std::string long_one(33, 'x');
    bad[7].m_replacement = long_one.c_str();
    for (const auto& options : bad) {
        EXPECT_EQ(nullptr, ombrel_open_charset_converter(4, 2, &options));
        EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    }
    EXPECT_EQ(nullptr, ombrel_open_charset_converter(find("no such set"), 4, nullptr));
    EXPECT_EQ(def_ombrel_fault_not_supported, ombrel_last_fault());
    auto* const converter = ombrel_open_charset_converter(4, 4, nullptr);
    EXPECT_EQ(-1, ombrel_charset_converter_push(converter, "a", 1, &at, &at, 1, &made));
    EXPECT_EQ(-1, ombrel_charset_converter_push(converter, nullptr, 1, &(at = 0), &at, 1, &made));
    EXPECT_EQ(-1, ombrel_charset_converter_push(converter, "a", 1, &at, &at, 1, nullptr));
    EXPECT_EQ(-1, ombrel_charset_converter_push(nullptr, "a", 1, &at, &at, 1, &made));
    EXPECT_EQ(-1, ombrel_charset_converter_finish(nullptr, &at, 1, &made));
    EXPECT_EQ(-1, ombrel_charset_converter_reset(nullptr));
    EXPECT_EQ(nullptr, ombrel_charset_converter_get_fault(nullptr));
    EXPECT_EQ(-1, ombrel_charset_converter_get_counts(converter, nullptr));
    EXPECT_EQ(0, ombrel_close_charset_converter(converter));
    EXPECT_EQ(0, ombrel_close_charset_converter(nullptr));
    EXPECT_EQ(-1, ombrel_init_charset_options(nullptr));
    EXPECT_EQ(0, ombrel_is_charset_text(4, nullptr, 0) + ombrel_is_charset_text(0, "a", 1));
    EXPECT_EQ(-1, ombrel_charset_converter_get_counts(nullptr, nullptr));
    EXPECT_EQ(nullptr, ombrel_alloc_converted_text(4, 4, nullptr, 1, nullptr, nullptr, nullptr));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    for (const auto& [from, to] : {std::pair(0, 4), std::pair(4, 16)}) {
        EXPECT_EQ(nullptr, ombrel_alloc_converted_text(from, to, "a", 1, nullptr, nullptr, nullptr));
        EXPECT_EQ(def_ombrel_fault_not_supported, ombrel_last_fault());
    }
    EXPECT_EQ(-1, ombrel_decode_charset_character(0, "a", 1, nullptr));
    EXPECT_EQ(def_ombrel_fault_not_supported, ombrel_last_fault());
    EXPECT_EQ(-1, ombrel_decode_charset_character(4, nullptr, 1, nullptr));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    EXPECT_EQ(-1, ombrel_encode_charset_character(0, 'a', nullptr));
    EXPECT_EQ(-1, ombrel_count_charset_characters(0, "a", 1, nullptr));
    EXPECT_EQ(-1, ombrel_decode_charset_character(4, "\xE3\x81", 2, nullptr));
    EXPECT_EQ(def_ombrel_fault_would_block, ombrel_last_fault());
    EXPECT_EQ(0, ombrel_decode_charset_character(4, "", 0, nullptr));
    EXPECT_EQ(-1, ombrel_encode_charset_character(4, 0xD800, nullptr));
    EXPECT_EQ(-1, ombrel_count_charset_characters(4, nullptr, 1, nullptr));
    EXPECT_EQ(0, ombrel_count_charset_characters(4, nullptr, 0, nullptr));
    EXPECT_STREQ("unknown", ombrel_charset_fault_text(99));
    EXPECT_STREQ("memory ran out", ombrel_charset_fault_text(def_ombrel_charset_fault_no_memory));
    auto options = policies(0, 0);
    options.m_limit = 9;
    ombrel_charset_fault_t fault;
    EXPECT_EQ(nullptr, ombrel_alloc_converted_text(4, 6, "abcde", 5, &options, nullptr, &fault));
    EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
    EXPECT_EQ(def_ombrel_charset_fault_too_large, fault.m_reason);
    options.m_limit = 10;
    EXPECT_EQ("a\0b\0c\0d\0e\0"sv, in_one_go(4, 6, "abcde", &options));
}

TEST(CharsetDecoder, GivesWholeCharactersOfUtf8) {
    const std::string text = "\xB0\xA1z\xB0\xA1\xFF";
    for (size_t piece = 1; piece <= text.size(); piece++) {
        ombrel::charset_decoder decoder(find("euc-kr"));
        std::string made;
        size_t at = 0;
        auto result = ombrel::charset_decoder::outcome::more;
        while (at < text.size() && result != ombrel::charset_decoder::outcome::invalid) {
            char room[4];
            size_t used, written;
            result = decoder.decode(text.data() + at, std::min(piece, text.size() - at), used, room,
                                    sizeof room, written);
            made.append(room, written);
            at += used;
        }
        EXPECT_EQ("\xEA\xB0\x80z\xEA\xB0\x80", made);
        EXPECT_EQ(text.size() - 1, at - decoder.held());
        EXPECT_EQ(ombrel::charset_decoder::outcome::invalid, result);
    }
}

TEST(CharsetKernels, VectorsDoAsThePlainOnes) {
    using namespace ombrel::charset;
    std::minstd_rand random(5);
    for (int round = 0; round < 3000; round++) {
        std::vector<uint32_t> codes(random() % 200);
        const auto kinds = static_cast<uint32_t>(random());
        for (uint32_t& code : codes) {
            const uint32_t limits[] = {0x80, 0x800, 0xD800, 0x10FFFF - 0xE000};
            const uint32_t kind = kinds >> 2 * (random() % 4) & 3;
            code = static_cast<uint32_t>(random()) % limits[kind] + (kind == 3 ? 0xE000 : 0);
        }
        std::string text(4 * codes.size(), '\0');
        text.resize(pack_utf8_plain(text.data(), text.size(), codes.data(), codes.size()).bytes);
        const size_t code_room = codes.size() - random() % (codes.size() + 1) / 4;
        const size_t text_room = text.size() - random() % (text.size() + 1) / 4;
        const auto run = [&](pack_kernel pack, unpack_kernel unpack) {
            std::vector<char> packed(text_room);
            std::vector<uint32_t> unpacked(code_room);
            const utf8_progress there = pack(packed.data(), text_room, codes.data(), codes.size());
            const utf8_progress back = unpack(unpacked.data(), code_room, text.data(), text.size());
            packed.resize(there.bytes);
            unpacked.resize(back.codes);
            return std::make_tuple(packed, there.codes, unpacked, back.bytes);
        };
        const auto expected = run(pack_utf8_plain, unpack_utf8_plain);
        const uint32_t features = ombrel::platform::processor_features();
        for (const auto& kernel : all_kernels.pack) {
            const bool runs = (kernel.needs & ~features) == 0;
            EXPECT_EQ(expected, run(runs ? kernel.run : pack_utf8_plain, unpack_utf8_plain)) << kernel.name;
        }
        for (const auto& kernel : all_kernels.unpack) {
            const bool runs = (kernel.needs & ~features) == 0;
            EXPECT_EQ(expected, run(pack_utf8_plain, runs ? kernel.run : unpack_utf8_plain)) << kernel.name;
        }
    }
}

} // namespace
