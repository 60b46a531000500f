#include <string>
#include <vector>

#include <ombrel/word.h>

#include "support/heap_balance.h"

namespace {

class WordTest : public ombrel_test::balanced_test {};

std::vector<std::string> words_of(const char* cursor, const char* separators, int skip_space) {
    std::vector<std::string> words;
    while (*cursor != '\0') {
        char* word = ombrel_get_word_sep_alloc(skip_space, separators, &cursor);
        words.emplace_back(word);
        ombrel_free(word);
        if (*cursor != '\0')
            cursor++;
    }
    return words;
}

TEST_F(WordTest, SplitsAtEachSeparator) {
    using list = std::vector<std::string>;
    EXPECT_EQ(words_of("a,,b", ",", 0), (list{"a", "", "b"}));
    EXPECT_EQ(words_of("a, b;", ",;", 0), (list{"a", " b"}));
    EXPECT_EQ(words_of("a, b", ",", 1), (list{"a", "b"}));
    EXPECT_EQ(words_of(",", ",", 0), (list{""}));
}

TEST_F(WordTest, LeavesTheCursorOnTheSeparator) {
    const char* cursor = "  ab,cd";
    const char* word = ombrel_get_word_sep_c(1, ",", &cursor);
    EXPECT_STREQ("ab,cd", word);
    EXPECT_STREQ(",cd", cursor);
    EXPECT_EQ(ombrel_get_word_sep(0, ",", &cursor), cursor) << "a word that begins on a separator is empty";
}

TEST_F(WordTest, TakesNulls) {
    const char* cursor = "  ab";
    char* word = ombrel_get_word_sep_alloc_c(1, nullptr, &cursor);
    EXPECT_STREQ("", word) << "without separators the word is empty";
    EXPECT_STREQ("ab", cursor);
    ombrel_free(word);
    cursor = nullptr;
    EXPECT_EQ(nullptr, ombrel_get_word_sep(1, ",", &cursor));
    EXPECT_EQ(nullptr, ombrel_get_word_sep(1, ",", nullptr));
    EXPECT_EQ(nullptr, ombrel_get_word_sep_c(1, ",", nullptr));
    word = ombrel_get_word_sep_alloc(1, ",", &cursor);
    EXPECT_STREQ("", word) << "of no text";
    ombrel_free(word);
    EXPECT_EQ(nullptr, ombrel_get_word_sep_alloc_c(1, ",", nullptr));
    EXPECT_EQ(nullptr, ombrel_get_word_sep_alloc(1, ",", nullptr));
}

} // namespace
