#include <cctype>
#include <gtest/gtest.h>
#include <string_view>

#include <ombrel/ctype.h>

namespace {

TEST(Ctype, ClassesHoldExactlyTheirMembers) {
    struct {
        unsigned mask;
        std::string_view members;
    } const classes[] = {
        {def_ombrel_ctype_space, "\t\n\v\f\r "},
        {def_ombrel_ctype_punctuation, "!\"#$%&'()*+,-./:;<=>?@[\\]^_`{|}~"},
        {def_ombrel_ctype_digit, "0123456789"},
        {def_ombrel_ctype_upper, "ABCDEFGHIJKLMNOPQRSTUVWXYZ"},
        {def_ombrel_ctype_hex_letter, "ABCDEFabcdef"},
        {def_ombrel_ctype_hex_digit, "0123456789ABCDEFabcdef"},
        {def_ombrel_ctype_lower, "abcdefghijklmnopqrstuvwxyz"},
        {def_ombrel_ctype_base64, "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/="},
        {def_ombrel_ctype_line_feed, "\n"},
        {def_ombrel_ctype_carriage_return, "\r"},
        {def_ombrel_ctype_separator, "\t \"(),/:;<=>?@[\\]{}"},
    };
    for (const auto& [mask, members] : classes) {
        for (int c = 0; c < 300; c++) {
            const bool member = c < 128 && members.find(static_cast<char>(c)) != members.npos;
            EXPECT_EQ(ombrel_ctype_select(c, mask), member ? 1 : 0) << "class " << mask << " code " << c;
        }
    }
}

TEST(Ctype, CodesOutsideTheTable) {
    for (int c = 0; c < 128; c++) {
        EXPECT_EQ(ombrel_ctype_select(c, def_ombrel_ctype_control), iscntrl(c) != 0 ? 1 : 0);
        EXPECT_EQ(0, ombrel_ctype_select(c, def_ombrel_ctype_non_ascii));
    }
    for (int c : {128, 200, 255, 70000}) {
        EXPECT_EQ(1, ombrel_ctype_select(c, def_ombrel_ctype_non_ascii));
        EXPECT_EQ(0, ombrel_ctype_select(c, ~def_ombrel_ctype_non_ascii));
    }
    EXPECT_EQ(0, ombrel_ctype_select(-1, ~0u));
}

TEST(Ctype, FoldsLettersAlone) {
    for (int c = -3; c < 300; c++) {
        EXPECT_EQ(ombrel_to_upper(c), c >= 'a' && c <= 'z' ? c - 32 : c);
        EXPECT_EQ(ombrel_to_lower(c), c >= 'A' && c <= 'Z' ? c + 32 : c);
    }
}

} // namespace
