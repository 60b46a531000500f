#include <ombrel/regular.h>

#include <cstring>
#include <iomanip>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "support/argument_list.h"
#include "support/heap_balance.h"

namespace {

class Regular : public ombrel_test::balanced_test {};

int match(const std::string& pattern, const std::string& subject, unsigned flags = 0) {
    return ombrel_regular_match(flags, pattern.c_str(), subject.data(), static_cast<int>(subject.size()),
                                nullptr, 0);
}

TEST_F(Regular, Matches) {
    // A pattern, a subject, and what of it matches. The alternative that matched is kept.
    std::istringstream rows(R"(
        ab*c ac ac    ab*c xabbbcx abbbc    ab*c ababc abc    ab+c ac NONE    ab?c abbc NONE    . "" NONE
        "" x ""    "" "" NONE    ^$ "" ""    ^$ x NONE    ^b ab NONE    b$ abb b    a|b xb b
        ab|cd|ef zef ef    (ab|cd)+ xcdabcdy cdabcd    x(a|b|c)y xby xby    (a|ab)c abc NONE
        [a-z]+ m-az -az    [^ab] abc c    [^a] a NONE    [] x NONE    [\]] ] ]    [\d] 5 NONE
        \d+ ab123 123    \s\S "a b" " b"    \.\*\\ x.*\ .*\    <.*> <a><b> <a><b>    <.*?> <a><b> <a>
        a+? aaa a    a+?b aab aab    *a x*a *a    (+) + +    a\ a\ a\    (a*)*b aaab aaab
        (a*)* b ""    (|a)b ab b    (^)*a a a)");
    std::string pattern, subject, whole;
    while (rows >> std::quoted(pattern) >> std::quoted(subject) >> std::quoted(whole)) {
        SCOPED_TRACE(pattern + " on " + subject);
        ombrel_regular_capture_t captures[8];
        const auto size = static_cast<int>(subject.size());
        const int result = ombrel_regular_match(0, pattern.c_str(), subject.c_str(), size, captures, 8);
        EXPECT_EQ(whole == "NONE" ? def_ombrel_regular_no_match : 0, result);
        if (result == 0) {
            EXPECT_EQ(whole, std::string(captures[0].m_start, static_cast<size_t>(captures[0].m_length)));
        }
    }
    EXPECT_TRUE(rows.eof());
    EXPECT_EQ(0, match("^\\n\\t\\r$", "\n\t\r"));
    EXPECT_EQ(0, match("a.c", "a\nc"));
}

TEST_F(Regular, IgnoresCaseOfLiteralsAlone) {
    EXPECT_EQ(0, match("ABC", "xabcx", 1));
    EXPECT_EQ(-6, match("ABC", "xabcx"));
    EXPECT_EQ(-6, match("[A]", "a", 1));
}

TEST_F(Regular, ReportsWhatIsWrongWithAPattern) {
    const auto many = [](size_t count, char character) { return std::string(count, character); };
    for (const char* open : {"(a", "[a", "[", "[^", "((((", "[\\"})
        EXPECT_EQ(-4, match(open, "aaaa")) << open;
    for (const char* closed : {"a)", ")", "(a))b", "a|b)"})
        EXPECT_EQ(-5, match(closed, "aaaa")) << closed;
    for (const std::string& pattern : {many(300, 'a'), many(256, 'a') + "b"})
        EXPECT_EQ(-3, match(pattern, "aaaa")) << pattern;
    for (const char character : {'.', '('})
        EXPECT_EQ(-2, match(many(300, character), "aaaa")) << character;
    EXPECT_EQ(0, match(many(256, 'a'), many(256, 'a'))) << "exactly full";
    EXPECT_EQ(0, match(many(250, '.'), many(250, 'x')));
}

TEST_F(Regular, TakesGroupsOut) {
    int first = 0;
    int64_t second = 0;
    char text[4];
    const auto two = [](auto... out) { return ombrel_regular(0, "(\\d+)-(\\d+)", "12-345", 6, out...); };
    const auto one = [](auto... out) { return ombrel_regular(0, "(\\d+)", "12-345", 6, out...); };
    EXPECT_EQ(0, two(2, 4, &first, 2, 8, &second));
    EXPECT_EQ(12, first);
    EXPECT_EQ(345, second);
    EXPECT_EQ(0, two(1, 4, text, 1, 4, text));
    EXPECT_STREQ("345", text);
    EXPECT_EQ(0, two(1, 2, text, 2, 4, &first)) << "only the last result counts";
    EXPECT_EQ(-10, two(2, 4, &first, 1, 3, text));
    EXPECT_EQ(-9, one(2, 2, &first));
    EXPECT_EQ(-9, one(2, 1, &first));
    EXPECT_EQ(-8, one(2, 3, &first));
    EXPECT_EQ(-11, one(3, 4, &first));
    EXPECT_EQ(-9, ombrel_regular(0, "(b)", "abc", 3, 2, 4, &first));
    EXPECT_EQ(0, ombrel_regular(0, "(\\d\\d)", "98765", 3, 2, 4, &first));
    EXPECT_EQ(98, first) << "digits behind the capture and behind the subject do not belong to it";
    EXPECT_EQ(0, ombrel_regular(0, "a(b)?", "a", 1, 1, 4, text));
    EXPECT_STREQ("", text) << "a group that took no part";
}

TEST_F(Regular, NeedsASlotForEachGroupAndOneMore) {
    ombrel_regular_capture_t captures[4];
    EXPECT_EQ(0, ombrel_regular_match(0, "a(b)", "xab", 3, captures, 3));
    EXPECT_EQ('b', captures[1].m_start[0]);
    EXPECT_EQ(-7, ombrel_regular_match(0, "a(b)", "xab", 3, captures, 2));
    EXPECT_EQ(-6, ombrel_regular_match(0, "a(b)", "xxx", 3, captures, 2));
    EXPECT_EQ(-7, ombrel_regular_match(0, "a", "a", 1, captures, 1));
}

TEST_F(Regular, TakesCapturesOutLater) {
    ombrel_regular_capture_t captures[4];
    ASSERT_EQ(-6, ombrel_regular_match(0, "(\\w+)=(\\d+)", "; a=17;", 7, captures, 4)) << "\\w is a w";
    ASSERT_EQ(0, ombrel_regular_match(0, "(\\S)=(\\d+)", "; a=17;", 7, captures, 4));
    char name[4] = "", whole[8] = "";
    int16_t value = 0;
    EXPECT_EQ(0, ombrel_regular_capture(captures, 2, 1, 8, whole, 1, 4, name));
    EXPECT_STREQ("a=17", whole);
    EXPECT_STREQ("a", name);
    EXPECT_EQ(-9, ombrel_regular_capture(captures + 1, 2, 1, 1, name, 2, 2, &value)) << "a number of 2 bytes";
    int number = 0;
    const auto take = [&](va_list list) { return ombrel_regular_vcapture(captures + 2, 1, list); };
    EXPECT_EQ(0, ombrel_test::with_list(take, 2, 4, &number));
    EXPECT_EQ(17, number);
    EXPECT_EQ(-10, ombrel_test::with_list(take, 1, 2, name));
}

// What a repetition that fails half-way has opened must not reach out of the subject.
TEST_F(Regular, KeepsTheLastWholeRepetitionOfAGroup) {
    const struct {
        const char *pattern, *subject, *group;
    } cases[] = {{"(aa)*X", "aaX", "aa"},
                 {"(\\d+,)*", "1,345,x", "345,"},
                 {"(ab|c)+", "cabaX", "ab"},
                 {"x(ab)?", "xa", ""}};
    for (const auto& c : cases) {
        char text[8] = "unset";
        const auto size = static_cast<int>(strlen(c.subject));
        EXPECT_EQ(0, ombrel_regular(0, c.pattern, c.subject, size, 1, 8, text));
        EXPECT_STREQ(c.group, text) << c.pattern;
    }
}

// Groups that no slot could hold do no harm where no match comes to them.
TEST_F(Regular, TakesOutGroupsOfAnAlternativeNotTried) {
    std::string pattern = "a|";
    for (int i = 0; i < 24; i++)
        pattern += "()";
    char text[4] = "set";
    const auto take = [&](const char* subject, auto... sizes) {
        return std::apply([&](auto... out) { return ombrel_regular(0, pattern.c_str(), subject, 1, out...); },
                          std::tuple_cat(std::tuple{1, sizes, &text[0]}...));
    };
    EXPECT_EQ(0, take("a", 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4));
    EXPECT_STREQ("", text);
    EXPECT_EQ(-7, take("b", 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4));
}

std::string repeated(const std::string& piece, size_t count) {
    std::string text;
    while (count-- > 0)
        text += piece;
    return text;
}

std::string filled(const std::string& piece, size_t length) {
    std::string text = repeated(piece, length / piece.size() + 1);
    text.resize(length);
    return text;
}

// The patterns that took a matcher without memory more steps than anyone can wait for. The subjects end in
// what lets them match, so that no limit goes unnoticed.
TEST_F(Regular, FindsEveryMatchInLongSubjects) {
    constexpr size_t length = 65536;
    // What the pattern repeats, how often, and what follows; what fills the subject, and its end; the result.
    std::istringstream rows(R"(
        ^.* 1 ,.*,.*,.*$ , "" 0    (\d+) 1 -(\d+) 1 " 1-2" 0    \S+ 1 @ a " a@" 0    ^.* 1 ,.*,.*,.*$ a ,, -6
        (\d+) 1 -(\d+) 1 "" -6    \S+ 1 @ "a b" "" -6    (a*)* 1 b a b 0    (a*)* 1 b a "" -6
        (a|aa)* 1 c a c 0    (a|aa)* 1 c a "" -6    ((a|b)*c)* 1 d ab c -6    ((a|b)*c)* 1 d ab cd 0
        (((a|b)+c?)+d?)+ 1 e aab e 0    (\s*\S+\s*)+ 1 ! word ! -6    ((.*?a)*?b)*? 1 z ab z 0
        .* 20 z a z 0    .* 60 z ab "" -6    a*b* 18 z ab z 0    .*? 20 z a "" -6    (a|ab)* 8 z a z 0
        (a|ab)* 8 z a "" -6    (a|ab)*? 4 z a z 0)");
    std::string part, rest, piece, end;
    size_t count = 0;
    for (int result; rows >> part >> count >> rest >> std::quoted(piece) >> std::quoted(end) >> result;)
        EXPECT_EQ(result, match(repeated(part, count) + rest, filled(piece, length - end.size()) + end))
            << part << rest << " on " << piece << end;
    EXPECT_TRUE(rows.eof());
    EXPECT_EQ(-6, match(repeated("(", 30) + "a" + repeated("*)", 30) + "*b", filled("a", length)));
    EXPECT_EQ(0, match(repeated("a", 1) + repeated("*", 80) + "b", filled("a", length - 1) + "b"));
    EXPECT_EQ(0, match("b\\d", filled("a", 10'000'000) + "b5"));
    const std::string fields = filled("field ", length - 6) + ",x,y,z";
    char text[3][4];
    const auto take = [&](auto... out) {
        return ombrel_regular(0, ",(.*),(.*),(.*)$", fields.data(), static_cast<int>(length), out...);
    };
    EXPECT_EQ(0, take(1, 4, text[0], 1, 4, text[1], 1, 4, text[2]));
    EXPECT_STREQ("x", text[0]);
    EXPECT_STREQ("z", text[2]);
}

// A pattern as a tree, and a matcher that does with it what the rules say, one step after the other.
struct element {
    char kind; // a character, '.', '(' and ')' of a group, or '|' for alternatives
    int group = 0;
    std::string repetition; // "*", "+", "?", "*?", "+?" of what `parts` holds
    std::vector<std::vector<element>> parts;
};
using sequence = std::vector<element>;

struct model {
    const std::string& subject;
    std::vector<int> opened, start, length;

    bool fits(char kind, size_t at) const {
        return at < subject.size() && (kind == '.' || kind == subject[at]);
    }

    int attempt(const element& e, int at) {
        for (const sequence& part : e.parts)
            if (const int end = run(part, 0, at); end >= 0)
                return end;
        return -1;
    }

    int run(const sequence& s, size_t i, int at) {
        for (; i < s.size() && at >= 0; i++) {
            const auto number = static_cast<size_t>(s[i].group);
            if (!s[i].repetition.empty())
                return repeat(s, i, at);
            if (s[i].kind == '(')
                opened[number] = at;
            else if (s[i].kind == ')')
                start[number] = opened[number], length[number] = at - opened[number];
            else if (s[i].kind == '|')
                at = attempt(s[i], at);
            else
                at = fits(s[i].kind, static_cast<size_t>(at)) ? at + 1 : -1;
        }
        return at;
    }

    int repeat(const sequence& s, size_t i, int at) {
        const element& e = s[i];
        const bool lazy = e.repetition.size() == 2;
        if (e.repetition == "?") {
            const int end = attempt(e, at);
            return run(s, i + 1, end >= 0 ? end : at);
        }
        if (e.repetition[0] == '+' && (at = attempt(e, at)) < 0)
            return -1;
        int result = at;
        for (int here = at; !lazy || run(s, i + 1, here) < 0;) {
            const int next = attempt(e, here);
            if (next <= here)
                break;
            here = next;
            if (lazy || run(s, i + 1, here) >= 0)
                result = here;
        }
        return run(s, i + 1, result);
    }
};

class random_pattern {
public:
    explicit random_pattern(unsigned seed) : seed_(seed) {}

    unsigned random(unsigned limit) { return (seed_ = seed_ * 1103515245u + 12345u) / 65536u % limit; }

    sequence make(int depth, std::string& text) {
        sequence result;
        for (unsigned left = random(4) + (depth == 0 ? 1 : 0); left > 0; left--) {
            sequence atom = random(3) == 0 && depth < 3 ? make_group(depth, text) : make_character(text);
            const char* signs[] = {"*", "+", "?", "*?", "+?", "", "", ""};
            if (const std::string sign = signs[random(8)]; !sign.empty()) {
                text += sign;
                atom = {{0, 0, sign, {atom}}};
            }
            result.insert(result.end(), atom.begin(), atom.end());
        }
        return result;
    }

    int groups = 0;

private:
    sequence make_character(std::string& text) {
        text += "ab."[random(3)];
        return {{text.back(), 0, "", {}}};
    }

    sequence make_group(int depth, std::string& text) {
        const int number = ++groups;
        text += '(';
        element choice{'|', 0, "", {make(depth + 1, text)}};
        for (; random(3) == 0; choice.parts.push_back(make(depth + 1, text)))
            text += '|';
        text += ')';
        sequence result{{'(', number, "", {}}};
        if (choice.parts.size() > 1)
            result.push_back(choice);
        else
            result.insert(result.end(), choice.parts[0].begin(), choice.parts[0].end());
        result.push_back({')', number, "", {}});
        return result;
    }

    unsigned seed_;
};

TEST_F(Regular, AgreesWithTheRulesTakenToTheLetter) {
    for (unsigned round = 0; round < 6000; round++) {
        random_pattern source(round);
        std::string pattern;
        const sequence program = source.make(0, pattern);
        std::string subject;
        for (unsigned i = 1 + source.random(10); i > 0; i--)
            subject += "aab"[source.random(3)];
        SCOPED_TRACE(pattern + " on " + subject);
        const auto size = static_cast<int>(subject.size());
        ombrel_regular_capture_t captures[70];
        const int result = ombrel_regular_match(0, pattern.c_str(), subject.c_str(), size, captures, 70);
        if (result != 0 && result != -6)
            continue; // too long a pattern
        const std::vector<int> none(70, -1);
        model rules{subject, none, none, none};
        int from = 0, end = -1;
        while (from < size && (end = rules.run(program, 0, from)) < 0)
            from++;
        ASSERT_EQ(end >= 0, result == 0);
        rules.start[0] = from, rules.length[0] = end - from;
        for (size_t i = 0; result == 0 && i <= static_cast<size_t>(source.groups); i++) {
            const bool captured = rules.start[i] >= 0;
            ASSERT_EQ(captured ? subject.c_str() + rules.start[i] : nullptr, captures[i].m_start) << i;
            ASSERT_EQ(captured ? rules.length[i] : 0, captures[i].m_length) << i;
        }
    }
}

} // namespace
