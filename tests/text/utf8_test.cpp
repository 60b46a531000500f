#include <ombrel/utf8.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/fault.h>
#include <ombrel/heap.h>

#include "support/heap_balance.h"

namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

std::string taken(char* block, size_t size) {
    std::string text(block, size);
    EXPECT_EQ('\0', block[size]);
    ombrel_free(block);
    return text;
}

class Utf8 : public ombrel_test::balanced_test {};

TEST_F(Utf8, EveryCodePointAndNoOther) {
    for (uint32_t code = 0; code < 0x1FFFFF; code++) {
        const bool is_valid = code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
        char text[4];
        const int size = ombrel_utf8_character_encode(code, text, sizeof text);
        ASSERT_EQ(is_valid, size > 0) << code;
        uint32_t decoded = ~0u;
        ASSERT_EQ(size,
                  is_valid ? ombrel_utf8_character_decode(text, static_cast<size_t>(size), &decoded) : -1);
        ASSERT_EQ(is_valid ? code : ~0u, decoded);
        if (size > 1) {
            ASSERT_EQ(-1, ombrel_utf8_character_decode(text, static_cast<size_t>(size - 1), nullptr));
        }
    }
}

TEST_F(Utf8, EncodesToTheLetter) {
    char text[] = "....";
    for (const auto& [code, bytes] : {std::pair{0x24u, "$"sv},
                                      {0xA3u, "\xC2\xA3"sv},
                                      {0x20ACu, "\xE2\x82\xAC"sv},
                                      {0x10348u, "\xF0\x90\x8D\x88"sv}}) {
        const auto size = bytes.size();
        EXPECT_EQ(static_cast<int>(size), ombrel_utf8_character_encode(code, nullptr, 0));
        EXPECT_EQ(-1, ombrel_utf8_character_encode(code, text, size - 1));
        EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
        EXPECT_EQ(static_cast<int>(size), ombrel_utf8_character_encode(code, text, size));
        EXPECT_EQ(bytes, std::string_view(text, size));
    }
    EXPECT_EQ(-1, ombrel_utf8_character_encode(0xD800, text, 4));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
}

// Texts with their characters: what one replacement stands for is one of "?".
struct cut_text {
    std::string text;
    std::vector<std::string> characters;
    std::string repaired;
};

const std::vector<cut_text>& cut_texts() {
    static const std::vector<cut_text> texts = {
        {"", {}, ""},
        {"a\0b"s, {"a", "\0"s, "b"}, "a\0b"s},
        {"a\xC3\xA9\xED\x95\x9C\xF0\x9F\x98\x80", {"a", "\xC3\xA9", "\xED\x95\x9C", "\xF0\x9F\x98\x80"}, ""},
        // Stray bytes, and such as begin nothing.
        {"\x80\xBFx\xFF\xFE", {"\x80", "\xBF", "x", "\xFF", "\xFE"}, "??x??"},
        {"\xC0\xAF\xC1\x81\xF5\x80", {"\xC0", "\xAF", "\xC1", "\x81", "\xF5", "\x80"}, "??????"},
        // Longer than needed, halves of UTF-16, too large: the first byte alone.
        {"\xE0\x80\xAF\xF0\x8F\xBF\xBF", {"\xE0", "\x80", "\xAF", "\xF0", "\x8F", "\xBF", "\xBF"}, "???????"},
        {"\xED\xA0\x80\xF4\x90\x80\x80", {"\xED", "\xA0", "\x80", "\xF4", "\x90", "\x80", "\x80"}, "???????"},
        // Beginnings of characters that do not go on: as one.
        {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41",
         {"\xE1\x80", "\xE2", "\xF0\x91\x92", "\xF1\xBF", "A"},
         "????A"},
        {"\xF0\x9F\x98", {"\xF0\x9F\x98"}, "?"},
        {"\xF0\x9F\x98\x80\x80", {"\xF0\x9F\x98\x80", "\x80"}, "\xF0\x9F\x98\x80?"},
        {"\xC3", {"\xC3"}, "?"},
    };
    return texts;
}

std::string with_replacements(std::string text) {
    for (size_t at; (at = text.find('?')) != text.npos;)
        text.replace(at, 1, "\xEF\xBF\xBD");
    return text;
}

// Of long texts blocks are counted, between whose characters it lies.
TEST_F(Utf8, FindsCharactersInLongTexts) {
    std::string text;
    std::vector<int64_t> places;
    for (int i = 0; i < 1500; i++) {
        places.push_back(static_cast<int64_t>(text.size()));
        text += i == 700 ? "\xff" : i % 3 == 0 ? "\xea\xb0\x80" : i % 3 == 1 ? "a" : "\xf0\x9f\x98\x80";
    }
    for (size_t i = 0; i < places.size(); i++)
        ASSERT_EQ(places[i], ombrel_utf8_find_character(text.data(), text.size(), static_cast<int64_t>(i)));
}

TEST_F(Utf8, CountsStepsAndRepairsWhateverTheTextIs) {
    for (const auto& [text, characters, repaired] : cut_texts()) {
        SCOPED_TRACE(testing::PrintToString(text));
        const char* const data = text.data();
        EXPECT_EQ(static_cast<int64_t>(characters.size()), ombrel_utf8_count(data, text.size()));
        size_t ahead = 0, back = text.size();
        for (size_t i = 0; i < characters.size(); i++) {
            EXPECT_EQ(static_cast<int64_t>(ahead),
                      ombrel_utf8_find_character(data, text.size(), static_cast<int64_t>(i)));
            uint32_t code = 0, decoded = def_ombrel_utf8_replacement;
            ombrel_utf8_character_decode(data + ahead, characters[i].size(), &decoded);
            EXPECT_EQ(1, ombrel_utf8_next(data, text.size(), &ahead, &code));
            EXPECT_EQ(decoded, code);
            const std::string& last = characters[characters.size() - 1 - i];
            EXPECT_EQ(1, ombrel_utf8_previous(data, text.size(), &back, nullptr));
            EXPECT_EQ(last, text.substr(back, last.size()));
            // What is cut within it ends before it.
            for (size_t cut = 0; cut < last.size(); cut++)
                EXPECT_EQ(static_cast<int64_t>(back), ombrel_utf8_fit(data, text.size(), back + cut));
        }
        EXPECT_EQ(std::pair(text.size(), size_t{0}), std::pair(ahead, back));
        EXPECT_EQ(0, ombrel_utf8_next(data, text.size(), &ahead, nullptr));
        EXPECT_EQ(0, ombrel_utf8_previous(data, text.size(), &back, nullptr));
        EXPECT_EQ(static_cast<int64_t>(text.size()), ombrel_utf8_fit(data, text.size(), text.size() + 1));
        EXPECT_EQ(static_cast<int64_t>(text.size()),
                  ombrel_utf8_find_character(data, text.size(), static_cast<int64_t>(characters.size())));
        EXPECT_EQ(-1,
                  ombrel_utf8_find_character(data, text.size(), static_cast<int64_t>(characters.size()) + 1));
        size_t size = 1;
        char* const block = ombrel_alloc_utf8_repaired(data, text.size(), &size);
        EXPECT_EQ(repaired.empty() ? text : with_replacements(repaired), taken(block, size));
    }
}

TEST_F(Utf8, FindsTheFirstFaultHoweverTheTextIsCut) {
    for (const auto& [text, characters, repaired] : cut_texts())
        for (const size_t lead : {0u, 1u, 61u, 200u}) {
            const std::string whole = std::string(lead, 'x') + text;
            int64_t fault_at = static_cast<int64_t>(lead);
            for (const std::string& character : characters) {
                if (ombrel_utf8_character_decode(character.data(), character.size(), nullptr) < 0)
                    break;
                fault_at += static_cast<int64_t>(character.size());
            }
            const bool is_valid = fault_at == static_cast<int64_t>(whole.size());
            size_t found = ~size_t{0};
            EXPECT_EQ(is_valid ? 0 : -1, ombrel_utf8_check(whole.data(), whole.size(), &found));
            EXPECT_EQ(fault_at, static_cast<int64_t>(found));
            for (const size_t piece : {1u, 2u, 3u, 5u, 64u}) {
                ombrel_utf8_checker_t checker;
                ombrel_init_utf8_checker(&checker);
                for (size_t at = 0; at < whole.size(); at += piece)
                    ombrel_utf8_checker_push(&checker, whole.data() + at, std::min(piece, whole.size() - at));
                EXPECT_EQ(is_valid ? 0 : -1, ombrel_utf8_checker_finish(&checker));
                EXPECT_EQ(is_valid ? -1 : fault_at, ombrel_utf8_checker_get_fault_at(&checker))
                    << testing::PrintToString(whole) << piece;
                EXPECT_EQ(is_valid ? 0 : -1, ombrel_utf8_checker_push(&checker, "x", 1));
            }
        }
}

TEST_F(Utf8, CutsWholeCharactersWhereTheBufferEnds) {
    constexpr auto text = "a\xC3\xA9\xFF\xED\x95\x9C"sv; // repaired: 1, 2, 3 and 3 bytes
    for (const auto& [room, written] : {std::pair{size_t{1}, ""},
                                        {2, "a"},
                                        {3, "a"},
                                        {4, "a\xC3\xA9"},
                                        {6, "a\xC3\xA9"},
                                        {7, "a\xC3\xA9\xEF\xBF\xBD"},
                                        {9, "a\xC3\xA9\xEF\xBF\xBD"},
                                        {10, "a\xC3\xA9\xEF\xBF\xBD\xED\x95\x9C"}}) {
        std::string to(room, '!');
        EXPECT_EQ(9, ombrel_utf8_repair(to.data(), room, text.data(), text.size()));
        EXPECT_STREQ(written, to.c_str());
    }
    EXPECT_EQ(9, ombrel_utf8_repair(nullptr, 0, text.data(), text.size()));
}

std::string in_case(std::string_view text, int mapping) {
    size_t size = 0;
    char* const block = ombrel_alloc_utf8_case(text.data(), text.size(), mapping, &size);
    return taken(block, size);
}

TEST_F(Utf8, ChangesCase) {
    struct {
        std::string_view text, upper, lower, fold;
    } const cases[] = {
        {"Straße 1", "STRAßE 1", "straße 1", "straße 1"},
        {"ΣΊΣΥΦΟς", "ΣΊΣΥΦΟΣ", "σίσυφος", "σίσυφοσ"},
        {"\u023A\u2C65", "\u023A\u023A", "\u2C65\u2C65", "\u2C65\u2C65"}, // of other sizes
        {"x\xFFY\xE2\x82", "X\xFFY\xE2\x82", "x\xFFy\xE2\x82", "x\xFFy\xE2\x82"},
        {"한글", "한글", "한글", "한글"},
    };
    for (const auto& [text, upper, lower, fold] : cases) {
        EXPECT_EQ(upper, in_case(text, def_ombrel_utf8_upper));
        EXPECT_EQ(lower, in_case(text, def_ombrel_utf8_lower));
        EXPECT_EQ(fold, in_case(text, def_ombrel_utf8_fold));
    }
    std::string large, small;
    for (int i = 0; i < 1000; i++) {
        large += "ÀÉ\u023Ax";
        small += "àé\u2C65x";
    }
    EXPECT_EQ(small, in_case(large, def_ombrel_utf8_lower));
}

TEST_F(Utf8, ComparesWithoutCase) {
    struct {
        std::string_view a, b;
        int result;
    } const cases[] = {{"", "", 0},
                       {"a", "", 1},
                       {"ÄÖÜ", "äöü", 0},
                       {"ß", "\u1E9E", 0},
                       {"ß", "ss", 1},
                       {"Ωσς", "ωσΣ", 0},
                       {"a", "B", -1},
                       {"Z", "a", 1},
                       {"\xFF", "\xFF", 0},
                       {"\xFE", "\xFF", -1},
                       {"\xFF", "\U0010FFFF", 1},
                       {"\xE2\x82", "\xE2\x83", -1},
                       {"\u212A", "k", 0},
                       {"k\0a"sv, "K\0B"sv, -1}};
    for (const auto& [a, b, result] : cases) {
        EXPECT_EQ(result, ombrel_utf8_compare_any_case(a.data(), a.size(), b.data(), b.size())) << a << b;
        EXPECT_EQ(-result, ombrel_utf8_compare_any_case(b.data(), b.size(), a.data(), a.size())) << a << b;
    }
    EXPECT_EQ(0, ombrel_utf8_compare_any_case(nullptr, 5, "", 0));
}

TEST_F(Utf8, FitsIntoColumns) {
    struct {
        std::string_view text;
        int64_t columns, fitting, used;
        uint32_t flags = 0;
    } const cases[] = {
        {"abc", 2, 2, 2},
        {"abc", 9, 3, 3},
        {"abc", 0, 0, 0},
        {"abc", -1, 0, 0},
        {"한글", 3, 3, 2},
        {"한글", 4, 6, 4},
        {"e\u0301x", 1, 3, 1},     // with what stands upon it
        {"a\x1B\u200Bb", 1, 5, 1}, // what takes no column goes along
        {"→→", 2, 6, 2},
        {"→→", 3, 3, 2, def_ombrel_utf8_ambiguous_wide},
        {"\xFF\xE2\x82x", 2, 3, 2},       // one each
        {"👩‍👩‍👧", 4, 14, 4}, // its parts
    };
    for (const auto& [text, columns, fitting, used, flags] : cases) {
        int64_t taken = -2;
        EXPECT_EQ(fitting, ombrel_utf8_fit_columns(text.data(), text.size(), columns, flags, &taken))
            << text << columns;
        EXPECT_EQ(used, taken) << text << columns;
        EXPECT_EQ(used, ombrel_utf8_get_columns(text.data(), static_cast<size_t>(fitting), flags)) << text;
    }
}

TEST_F(Utf8, RefusesNonsense) {
    size_t offset = 0, beyond = 2;
    ombrel_utf8_checker_t checker;
    ombrel_init_utf8_checker(&checker);
    const std::function<int64_t()> calls[] = {
        [] { return ombrel_utf8_check(nullptr, 1, nullptr); },
        [] { return ombrel_init_utf8_checker(nullptr); },
        [] { return ombrel_utf8_checker_push(nullptr, "", 0); },
        [&] { return ombrel_utf8_checker_push(&checker, nullptr, 1); },
        [] { return ombrel_utf8_checker_finish(nullptr); },
        [] { return ombrel_utf8_count(nullptr, 1); },
        [&] { return ombrel_utf8_next(nullptr, 1, &offset, nullptr); },
        [&] { return ombrel_utf8_next("a", 1, &beyond, nullptr); },
        [] { return ombrel_utf8_previous("a", 1, nullptr, nullptr); },
        [&] { return ombrel_utf8_previous("a", 1, &beyond, nullptr); },
        [] { return ombrel_utf8_find_character("a", 1, -1); },
        [] { return ombrel_utf8_fit(nullptr, 1, 1); },
        [] { return ombrel_utf8_repair(nullptr, 1, "", 0); },
        [] { return ombrel_utf8_repair(nullptr, 0, nullptr, 1); },
        [] { return ombrel_utf8_change_case(nullptr, 0, "", 0, 3); },
        [] { return ombrel_utf8_get_columns("", 0, 2); },
        [] { return ombrel_utf8_fit_columns(nullptr, 1, 1, 0, nullptr); },
        [] { return ombrel_alloc_utf8_repaired(nullptr, 1, nullptr) == nullptr ? -1 : 0; },
    };
    for (const auto& call : calls) {
        ombrel_leave_fault(def_ombrel_fault_none);
        EXPECT_EQ(-1, call()) << &call - calls;
        EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault()) << &call - calls;
    }
    EXPECT_EQ(-1, ombrel_utf8_checker_get_fault_at(nullptr));
}

} // namespace
