#include <ombrel/charset_detect.h>

#include <fstream>
#include <iostream>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/charset.h>
#include <ombrel/fault.h>
#include <ombrel/heap.h>

#include "support/heap_balance.h"

namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

class CharsetDetect : public ombrel_test::balanced_test {};

ombrel_charset_detection_t detect(std::string_view text) {
    ombrel_charset_detection_t found;
    EXPECT_EQ(0, ombrel_detect_charset(text.data(), text.size(), &found));
    return found;
}

// Empty for a text with characters that the set does not have.
std::string in_set(const std::string& text, int charset) {
    size_t size = 0;
    char* const converted = ombrel_alloc_converted_text(def_ombrel_charset_utf_8, charset, text.data(),
                                                        text.size(), nullptr, &size, nullptr);
    const std::string result(converted != nullptr ? converted : "", size);
    ombrel_check_free(converted);
    return result;
}

struct tally {
    int right = 0, all = 0;
};

// The sets that a language is written in; of the former of two, where a text is the same in both.
TEST_F(CharsetDetect, TellsTheSetsOfRealTexts) {
    static const std::map<std::string, std::vector<int>> sets = {
        {"korean", {def_ombrel_charset_euc_kr, def_ombrel_charset_cp949}},
        {"japanese", {def_ombrel_charset_shift_jis, def_ombrel_charset_cp932, def_ombrel_charset_euc_jp}},
        {"western", {def_ombrel_charset_iso_8859_1, def_ombrel_charset_windows_1252}},
        {"ascii", {def_ombrel_charset_us_ascii}},
    };
    std::ifstream corpus(OMBREL_TEST_TEXT "/charset_corpus.txt");
    ASSERT_TRUE(corpus);
    std::map<std::pair<std::string, size_t>, tally> tallies; // by language and set, lengths in steps of 20

    std::string language, half, line;
    while (std::getline(corpus, line)) {
        if (line[0] == '[') {
            half = line.substr(1, line.find(' ') - 1);
            language = line.substr(half.size() + 2, line.size() - half.size() - 3);
        }
        if (line[0] == '[' || line[0] == '#')
            continue;
        std::vector<int> own = sets.at(language);
        if (language != "ascii")
            own.push_back(def_ombrel_charset_utf_8);
        own.insert(own.end(), {def_ombrel_charset_utf_16le, def_ombrel_charset_utf_16be});
        std::string before;
        for (const int charset : own) {
            const std::string bytes = in_set(line, charset);
            if (bytes.empty() || bytes == before)
                continue;
            before = bytes;
            const bool is_right = detect(bytes).m_charset == charset;
            const size_t characters =
                std::min<size_t>(in_set(line, def_ombrel_charset_utf_32le).size() / 4, 59);
            for (tally* const entry : {&tallies[{half + " " + language, static_cast<size_t>(charset)}],
                                       &tallies[{half + ", from a length of", characters / 20 * 20}]}) {
                entry->right += is_right;
                entry->all++;
            }
        }
    }
    for (const auto& [key, entry] : tallies) {
        const bool is_set = key.first.find(',') == key.first.npos;
        std::cout << key.first << " "
                  << (is_set ? ombrel_get_charset_name(static_cast<int>(key.second))
                             : std::to_string(key.second))
                  << ": " << entry.right << " of " << entry.all << "\n";
        // The aim is 95 of 100; of a handful of texts one may be missed.
        EXPECT_LE(entry.all * 95, entry.right * 100 + 100) << key.first << " " << key.second;
    }
}

TEST_F(CharsetDetect, KnowsMarksAsciiAndWhatIsNoText) {
    std::string all_bytes;
    for (int byte = 0; byte < 256; byte++)
        all_bytes += static_cast<char>(byte);
    struct {
        std::string_view bytes;
        int kind, charset;
        uint32_t mark;
    } const cases[] = {
        {"", def_ombrel_charset_detect_empty, 0, 0},
        {"\xEF\xBB\xBF", def_ombrel_charset_detect_empty, def_ombrel_charset_utf_8, 3},
        {"\xEF\xBB\xBF"
         "a",
         def_ombrel_charset_detect_text, def_ombrel_charset_utf_8, 3},
        {"\xFF\xFE"
         "a\0"sv,
         def_ombrel_charset_detect_text, def_ombrel_charset_utf_16le, 2},
        {"\xFE\xFF\0a"sv, def_ombrel_charset_detect_text, def_ombrel_charset_utf_16be, 2},
        {"\xFF\xFE\0\0a\0\0\0"sv, def_ombrel_charset_detect_text, def_ombrel_charset_utf_32le, 4},
        {"\0\0\xFE\xFF\0\0\0a"sv, def_ombrel_charset_detect_text, def_ombrel_charset_utf_32be, 4},
        {"\0\0\0t\0\0\0e\0\0\0x\0\0\0t"sv, def_ombrel_charset_detect_text, def_ombrel_charset_utf_32be, 0},
        {"plain text\r\n\t\x1B[1mbold", def_ombrel_charset_detect_text, def_ombrel_charset_us_ascii, 0},
        {"text with\0a zero"sv, def_ombrel_charset_detect_binary, 0, 0},
        {"\x01\x02\x03\x04\x05\x06", def_ombrel_charset_detect_binary, 0, 0},
        {all_bytes, def_ombrel_charset_detect_binary, 0, 0},
        {"\x89PNG\r\n\x1A\n\0\0\0\rIHDR\0\0\1\0\0\0\1\0\x08\6\0\0\0"sv, def_ombrel_charset_detect_binary, 0,
         0},
        {"\xED\x95\x9C\xEA\xB8", def_ombrel_charset_detect_text, def_ombrel_charset_utf_8, 0}, // cut off
        {"20 \xB0"
         "C",
         def_ombrel_charset_detect_text, def_ombrel_charset_iso_8859_1, 0},
        {"5 \x80", def_ombrel_charset_detect_text, def_ombrel_charset_windows_1252, 0},
        {"\xC3\xBD\xC4 \xC3\xDE\xB0\xC0", def_ombrel_charset_detect_text, def_ombrel_charset_shift_jis,
         0}, // half-width
        {"\x8E\xC3\x8E\xBD\x8E\xC4", def_ombrel_charset_detect_text, def_ombrel_charset_euc_jp, 0},
        {"\x8F\xB0\xA1\xA4\xCE\xA4\xC7\xA4\xB9", def_ombrel_charset_detect_text, def_ombrel_charset_euc_jp,
         0},
        {"\xFB\xFC\x8B\xB4\x82\xB3\x82\xF1", def_ombrel_charset_detect_text, def_ombrel_charset_cp932, 0},
        // A capital seldom follows a small letter with an accent.
        {"\xE9\x41\xE9\x42\xE8\x43", def_ombrel_charset_detect_text, def_ombrel_charset_shift_jis, 0},
        {"\x8C\x63\xB9\xE6\xB0\xA2\xC7\xCF", def_ombrel_charset_detect_text, def_ombrel_charset_cp949, 0},
    };
    for (const auto& [bytes, kind, charset, mark] : cases) {
        SCOPED_TRACE(testing::PrintToString(bytes));
        const ombrel_charset_detection_t found = detect(bytes);
        EXPECT_EQ(kind, found.m_kind);
        EXPECT_EQ(charset, found.m_charset);
        EXPECT_EQ(mark, found.m_mark_size);
        EXPECT_STREQ(charset == 0 ? nullptr : ombrel_get_charset_name(charset), found.m_name);
        EXPECT_LE(found.m_second_confidence, found.m_confidence);
    }
}

std::string facts_of(const ombrel_charset_detection_t& found) {
    return std::to_string(found.m_kind) + " " + std::to_string(found.m_charset) + " " +
           std::to_string(found.m_confidence) + " " + std::to_string(found.m_second_charset);
}

TEST_F(CharsetDetect, DoesNotDependOnPieces) {
    std::mt19937 random(7);
    ombrel_charset_detector_t* const detector = ombrel_open_charset_detector();
    for (const std::string_view unit : {"\xB0\xA1\xB3\xAA "sv, "\x82\xA0\x82\xA2 a"sv, "\xC3\xA9 b"sv,
                                        "\xE9 b"sv, "a\0"sv, "\xED\x95\x9C"sv, "\x8F\xB0\xA1"sv})
        for (const size_t size : {3u, 50u, 4096u, 20000u}) {
            std::string text(size, ' ');
            for (size_t i = 0; i < size; i++)
                text[i] = i > 5000 && i % 997 == 0 ? static_cast<char>(random()) : unit[i % unit.size()];
            ombrel_charset_detector_reset(detector);
            for (size_t at = 0; at < size;) {
                const size_t piece = std::min<size_t>(1 + random() % 700, size - at);
                EXPECT_LE(0, ombrel_charset_detector_push(detector, text.data() + at, piece));
                at += piece;
            }
            ombrel_charset_detection_t found;
            EXPECT_EQ(0, ombrel_charset_detector_get_detection(detector, &found));
            EXPECT_EQ(facts_of(detect(text)), facts_of(found)) << size;
        }
    ombrel_close_charset_detector(detector);
}

TEST_F(CharsetDetect, SaysWhenNothingCanChange) {
    ombrel_charset_detector_t* const detector = ombrel_open_charset_detector();
    EXPECT_EQ(0, ombrel_charset_detector_push(detector, "\xEF\xBB", 2));
    EXPECT_EQ(1, ombrel_charset_detector_push(detector,
                                              "\xBF"
                                              "ab",
                                              3));
    ombrel_charset_detector_reset(detector);
    EXPECT_EQ(0, ombrel_charset_detector_push(detector, "text", 4));
    EXPECT_EQ(1, ombrel_charset_detector_push(detector, "\0\xFF\0\0\0\0\0\0\0", 9));
    EXPECT_EQ(-1, ombrel_charset_detector_push(detector, nullptr, 1));
    EXPECT_EQ(-1, ombrel_charset_detector_get_detection(detector, nullptr));
    EXPECT_EQ(-1, ombrel_detect_charset("", 0, nullptr));
    EXPECT_EQ(-1, ombrel_charset_detector_reset(nullptr));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    EXPECT_EQ(0, ombrel_close_charset_detector(nullptr));
    ombrel_close_charset_detector(detector);
}

} // namespace
