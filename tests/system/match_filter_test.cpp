#include <ombrel/match_filter.h>

#include <cstdlib>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <ombrel/fault.h>

#include "support/scratch_directory.h"

namespace {

using namespace ombrel_test;

constexpr int none = def_ombrel_match_none, include = def_ombrel_match_include,
              exclude = def_ombrel_match_exclude;

using filter_ptr = std::unique_ptr<ombrel_match_filter_t, int (*)(ombrel_match_filter_t*)>;

filter_ptr filter_of(const std::string& text, uint32_t flags = 0, int verdict = exclude) {
    filter_ptr filter(ombrel_open_match_filter(flags), ombrel_close_match_filter);
    EXPECT_LE(0, ombrel_match_filter_add_text(filter.get(), verdict, text.data(), text.size(), nullptr));
    return filter;
}

struct match_case {
    std::string text, path; ///< a "/" behind the path says that it is a directory
    int expected;
    uint32_t flags = 0;
};

TEST(MatchFilter, MatchesByTheRulesOfGitsLists) {
    constexpr uint32_t first = def_ombrel_match_filter_first, any_case = def_ombrel_match_filter_any_case;
    const match_case cases[] = {
        {"*.o", "a/b.o", exclude},
        {"*.o", ".o", exclude},
        {"*.o", "b.o/c", none},
        {"a*b*c", "aXbXbc", exclude},
        {"a*b*c", "aXbXb", none},
        {"/a", "a", exclude},
        {"/a", "b/a", none},
        {"//a", "a", none},
        {"b/a", "c/b/a", none},
        {"b/*", "b/a", exclude},
        {"b/*", "b/a/c", none},
        {"b/?", "b/a", exclude},
        {"b?a", "b/a", none},
        {"b/", "b", none},
        {"b/", "b/", exclude},
        {"b/", "a/b/", exclude},
        {"**/b", "b", exclude},
        {"**/b", "a/a/b", exclude},
        {"**/b", "a/ab", none},
        {"a/**", "a", none},
        {"a/**", "a/", none},
        {"a/**", "a/b/c", exclude},
        {"a/**/b", "a/b", exclude},
        {"a/**/b", "a/c/c/b", exclude},
        {"a/**/b", "a/c/b/c", none},
        {"a/**/b/**/*c", "a/x/b/b/xc", exclude},
        {"**/**/b", "b", exclude},
        {"/**", "a/b", exclude},
        {"/a**b", "a/b", none},
        {"/a**b", "axb", exclude},
        {"a**", "abc", exclude},
        {"[ab]c", "bc", exclude},
        {"[!ab]c", "bc", none},
        {"[^ab]c", "cc", exclude},
        {"[]-a]x", "]x", exclude},
        {"[]-a]x", "`x", exclude},
        {"[--/]x", ".x", exclude},
        {"[a-]x", "-x", exclude},
        {"[a\\]b]x", "]x", exclude},
        {"[[:digit:]x]y", "7y", exclude},
        {"[[:digit:]-z]y", "-y", exclude},
        {"[![:upper:][:blank:]]", "a", exclude},
        {"[[:print:]][[:graph:]]", " !", exclude},
        {"[[:digits:]]", "7", none},
        {"[[:digit:x]y", ":y", exclude},
        {"[[:a]y", ":y", exclude},
        {"x/a[b/]c", "x/a/c", none},
        {"a[!b]c/d", "a/c/d", none},
        {"[a", "[a", none},
        {"a\\", "a\\", none},
        {"\\[a]\\*\\?\\\\", "[a]*?\\", exclude},
        {"a\\/b", "a/b", exclude},
        {"# no\n\\#yes", "#yes", exclude},
        {"# no", "# no", none},
        {"!a", "a", include},
        {"\\!a", "!a", exclude},
        {"a  \r\nb\\ ", "a", exclude},
        {"a\nb\\  \n", "b ", exclude},
        {"  ", "  ", none},
        {"\xEF\xBB\xBF"
         "a",
         "a", exclude},
        {"*\n!*.c", "a.c", include},
        {"!*.c\n*", "a.c", exclude},
        {"!*.c\n*", "a.c", include, first},
        {"*.C\n[D]\nz[!E]", "a.c", exclude, any_case},
        {"*.C\n[D]\nz[!E]", "d", exclude, any_case},
        {"*.C\n[D]\nz[!E]", "ze", none, any_case},
        {"[[:upper:]]", "a", exclude, any_case},
        {"*.C", "a.c", none},
        {"", "a", none},
        {"/\n!\n", "a", none},
        {"\xC3\xA9?",
         "\xC3\xA9"
         "a",
         exclude},
    };
    for (const match_case& each : cases) {
        EXPECT_EQ(each.expected,
                  ombrel_match_filter_match(filter_of(each.text, each.flags).get(), each.path.c_str(), 0))
            << each.text << " on " << each.path;
    }
}

TEST(MatchFilter, SaysWhatIsIncluded) {
    const auto admits = [](const filter_ptr& filter, const char* path) {
        return ombrel_match_filter_admits(filter.get(), path, 0);
    };
    const filter_ptr without = filter_of("*.o\n"), wanted = filter_of("*.c\n!x.c\n", 0, include);
    EXPECT_EQ(1, admits(without, "a.c"));
    EXPECT_EQ(0, admits(without, "a.o"));
    EXPECT_EQ(1, admits(wanted, "a.c"));
    EXPECT_EQ(0, admits(wanted, "x.c"));
    EXPECT_EQ(0, admits(wanted, "a.o"));
    EXPECT_EQ(1, ombrel_match_filter_admits(nullptr, "a", 0));
    EXPECT_EQ(1, admits(filter_of(""), "a"));

    const filter_ptr below = filter_of("out\n!out/kept\n");
    EXPECT_EQ(include, ombrel_match_filter_match(below.get(), "out/kept", 0));
    EXPECT_EQ(exclude, ombrel_match_filter_match_below(below.get(), "out/kept", 0));
    EXPECT_EQ(none, ombrel_match_filter_match_below(below.get(), "other/kept", 0));
    EXPECT_EQ(2, ombrel_match_filter_get_count(below.get()));
}

TEST(MatchFilter, RefusesWhatIsNoListAndKeepsWhatStoodBefore) {
    const filter_ptr filter = filter_of("");
    const std::string longest(def_ombrel_match_filter_pattern_max, 'a');
    const std::string good = longest + "\n", too_long = good + longest + "a\nb", zero("a\n!\0b\nc", 7);
    size_t fault_at = 99;
    EXPECT_EQ(
        -1, ombrel_match_filter_add_text(filter.get(), exclude, too_long.data(), too_long.size(), &fault_at));
    EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
    EXPECT_EQ(good.size(), fault_at);
    EXPECT_EQ(-1, ombrel_match_filter_add_text(filter.get(), exclude, zero.data(), zero.size(), &fault_at));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    EXPECT_EQ(2u, fault_at);
    EXPECT_EQ(2, ombrel_match_filter_get_count(filter.get()));
    EXPECT_EQ(exclude, ombrel_match_filter_match(filter.get(), longest.c_str(), 0));

    EXPECT_EQ(nullptr, ombrel_open_match_filter(4));
    EXPECT_EQ(-1, ombrel_match_filter_add(filter.get(), none, "a"));
    EXPECT_EQ(-1, ombrel_match_filter_add(nullptr, exclude, "a"));
    EXPECT_EQ(-1, ombrel_match_filter_match(filter.get(), nullptr, 0));
    EXPECT_EQ(0, ombrel_match_filter_add(filter.get(), exclude, "!#  "));
    EXPECT_EQ(exclude, ombrel_match_filter_match(filter.get(), "!#  ", 0));
}

// A matcher that tries every way would not come back.
TEST(MatchFilter, TakesNoLongerForManyStars) {
    std::string names, paths = "x", path = "x", name(2000, 'a');
    for (int i = 0; i < 300; i++) {
        names += "*a";
        paths += "/**/*a*";
        path += "/aaaa";
    }
    EXPECT_EQ(none, ombrel_match_filter_match(filter_of(names + "b").get(), name.c_str(), 0));
    EXPECT_EQ(none, ombrel_match_filter_match(filter_of(paths + "b").get(), path.c_str(), 0));
    EXPECT_EQ(exclude, ombrel_match_filter_match(filter_of(paths).get(), path.c_str(), 0));
}

#if !defined(_WIN32)

template<size_t count>
const char* any_of(const char* const (&texts)[count], std::mt19937& random) {
    return texts[random() % count];
}

std::string some_pattern(std::mt19937& random) {
    constexpr const char* bits[] = {"a",    "b",   "c",   "?", "*", "[ab]", "[!a]",        "[a-b]",
                                    "[]c]", "\\a", "\\*", "#", "!", " ",    "[[:alpha:]]", "[c"};
    std::string pattern = random() % 4 == 0 ? "!" : "";
    if (random() % 6 == 0)
        pattern += "/";
    for (size_t components = 1 + random() % 3; components > 0; components--) {
        std::string component = random() % 5 == 0 ? "**" : any_of(bits, random);
        for (size_t more = random() % 3; more > 0 && component != "**"; more--)
            component += component.back() == '*' ? "b" : any_of(bits, random);
        pattern += component + (components > 1 ? "/" : "");
    }
    return pattern + (random() % 5 == 0 ? "/" : "");
}

std::string some_path(std::mt19937& random) {
    constexpr const char* names[] = {"a", "b",  "c",  "ab",  "ba", "abc", "cab",
                                     "*", "#a", "!b", "a b", "bb", "]"};
    std::string path = any_of(names, random);
    for (size_t more = random() % 4; more > 0; more--)
        path += std::string("/") + any_of(names, random);
    return path;
}

TEST(MatchFilter, AgreesWithGit) {
    const scratch_directory folder;
    const std::string git = "cd " + folder.path() + " && git -c core.ignorecase=false ";
    if (std::system((git + "init -q 2>/dev/null").c_str()) != 0)
        GTEST_SKIP() << "git is not there";
    std::mt19937 random(7);
    for (int round = 0; round < 60; round++) {
        std::string list, asked;
        std::set<std::string> paths, ours;
        for (size_t lines = 1 + random() % 4; lines > 0; lines--)
            list += some_pattern(random) + "\n";
        while (paths.size() < 60)
            paths.insert(some_path(random));
        const filter_ptr filter = filter_of(list);
        for (const std::string& path : paths) {
            asked += path + '\0';
            if (ombrel_match_filter_match_below(filter.get(), path.c_str(), 0) == exclude)
                ours.insert(path);
        }
        folder.write(".gitignore", list);
        folder.write("asked", asked);
        std::system((git + "check-ignore --no-index --stdin -z <asked >answer").c_str());
        std::set<std::string> gits;
        const std::string answer = folder.read("answer");
        for (size_t at = 0, end; (end = answer.find('\0', at)) != answer.npos; at = end + 1)
            gits.insert(answer.substr(at, end - at));
        ASSERT_EQ(gits, ours) << list;
    }
}

#endif

} // namespace
