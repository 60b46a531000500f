#include <ombrel/argument.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/fault.h>
#include <ombrel/heap.h>

#include "support/heap_balance.h"
#include "support/temporary_path.h"

#if defined(_WIN32)
#include <windows.h>
#endif

namespace {

using word_list = std::vector<std::string>;

constexpr int posix = def_ombrel_argument_quoting_posix;
constexpr int windows = def_ombrel_argument_quoting_windows;
constexpr int rest = def_ombrel_argument_quoting_windows_rest;
constexpr int plain = def_ombrel_argument_quoting_plain;

constexpr size_t finished = SIZE_MAX;

// The words; `fault_at` receives where the text is not finished.
word_list split(const std::string& text, int quoting, size_t& fault_at) {
    const ombrel_test::heap_balance balance;
    int count = 0;
    char** const words = ombrel_alloc_arguments(text.c_str(), quoting, &count, &fault_at);
    if (fault_at == text.size())
        fault_at = finished;
    if (words == nullptr)
        return {"nothing"};
    const word_list result(words, words + count);
    EXPECT_EQ(nullptr, words[count]);
    ombrel_free(words);
    return result;
}

word_list split(const std::string& text, int quoting = posix) {
    size_t fault_at;
    return split(text, quoting, fault_at);
}

std::string join(const word_list& words, int quoting) {
    const ombrel_test::heap_balance balance;
    std::vector<const char*> vector;
    for (const std::string& word : words)
        vector.push_back(word.c_str());
    vector.push_back(nullptr);
    char* const text = ombrel_alloc_command_line(vector.data(), quoting);
    if (text == nullptr)
        return "nothing";
    const std::string result = text;
    ombrel_free(text);
    return result;
}

struct splitting {
    int quoting;
    const char* text;
    word_list words;
    size_t fault_at = finished;
};

TEST(CommandLines, AreTakenApartAsTheirReadersDo) {
    const splitting cases[] = {
        {posix, "", {}},
        {posix, " a\tb\nc  ", {"a", "b", "c"}},
        {posix, "a'b c'\"d e\"f '' \"\"", {"ab cd ef", "", ""}},
        {posix, R"(\a\ \\ '\' "\a\"\\\$\`")", {"a \\", "\\", "\\a\"\\$`"}},
        {posix, "a\\\nb \\\n \"c\\\nd\" 'e\\\nf'", {"ab", "cd", "e\\\nf"}},
        {posix, "# a;b $c *|>&", {"#", "a;b", "$c", "*|>&"}},
        {posix, "ab 'cd", {"nothing"}, 3},
        {posix, "'a' \"b\\\"", {"nothing"}, 4},
        {posix, "a\\", {"nothing"}, 1},
        {windows, "", {}},
        {windows, R"("C:\a b\"c d)", {R"(C:\a b\)", "c", "d"}},
        {windows, R"(C:\a"b \\"c d\\")", {R"(C:\a"b)", R"(\c d\)"}},
        {windows, " a", {"", "a"}},
        {windows, "\"a b", {"a b"}, 0},
        {rest, R"(a\b "c d" "" \"e\" \\"f g\\\"h")", {R"(a\b)", "c d", "", "\"e\"", R"(\f g\"h)"}},
        {rest, R"("a""b c" """d""" 'e f')", {"a\"b", "c \"d\" 'e f'"}, 15},
        {rest, R"(\\ a\\\)", {"\\\\", "a\\\\\\"}},
        {rest, "a \"b c", {"a", "b c"}, 2},
        {plain, "a\\ b  c'd \" e'\"f\" ''\t", {"a\\", "b", "cd \" ef", "\t"}},
        {plain, "a \"b", {"nothing"}, 2},
        {4, "a", {"nothing"}},
    };
    for (const splitting& each : cases) {
        size_t fault_at = finished;
        EXPECT_EQ(each.words, split(each.text, each.quoting, fault_at)) << each.text;
        EXPECT_EQ(each.fault_at, fault_at) << each.text;
    }
    EXPECT_EQ(nullptr, ombrel_alloc_arguments(nullptr, posix, nullptr, nullptr));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
}

TEST(CommandLines, QuoteOnlyWhatNeedsIt) {
    EXPECT_EQ("cp --to=a/b.c-1,2 'a=b' '' 'it'\\''s' '$x'",
              join({"cp", "--to=a/b.c-1,2", "a=b", "", "it's", "$x"}, posix));
    EXPECT_EQ("'if' if", join({"if", "if"}, posix));
    EXPECT_EQ(R"("a b" c\d "e f\\" "\"" "")", join({"a b", "c\\d", "e f\\", "\"", ""}, windows));
    EXPECT_EQ(R"(a "b c")", join({"a", "b c"}, rest));
    EXPECT_EQ(R"(a "b c" "'" "it's "'"d"')", join({"a", "b c", "'", "it's \"d\""}, plain));
    EXPECT_EQ("", join({}, windows));
    EXPECT_EQ("nothing", join({"a\"b"}, windows));
    EXPECT_EQ("nothing", join({"a"}, -1));
    EXPECT_EQ(nullptr, ombrel_alloc_command_line(nullptr, posix));
}

std::string any_text(std::mt19937& random, const word_list& bits, size_t most) {
    std::string text;
    for (size_t count = random() % (most + 1); count > 0; count--)
        text += bits[random() % bits.size()];
    return text;
}

word_list any_words(std::mt19937& random) {
    static const word_list bits = {"a", " ", "\"", "'", "\\", "\t", "\n", "$", "\xFF", "=", "*", "-"};
    word_list words(1 + random() % 4);
    for (std::string& word : words)
        word = any_text(random, bits, 6);
    return words;
}

TEST(CommandLines, GoThereAndBack) {
    std::mt19937 random(1);
    for (int round = 0; round < 4000; round++) {
        word_list words = any_words(random);
        for (const int quoting : {posix, plain, rest})
            ASSERT_EQ(words, split(join(words, quoting), quoting)) << join(words, quoting);
        words[0] = "program name";
        ASSERT_EQ(words, split(join(words, windows), windows)) << join(words, windows);
    }
}

#if !defined(_WIN32)

// What a program makes of a file, by lines; empty when it is not there.
word_list run_on(const std::string& program, const std::string& content) {
    const std::string path = ombrel_test::temporary_path();
    std::ofstream(path, std::ios::binary) << content;
    FILE* const pipe = popen((program + " " + path + " 2>/dev/null").c_str(), "r");
    std::string output;
    for (int c; (c = fgetc(pipe)) != EOF;)
        output += static_cast<char>(c);
    pclose(pipe);
    std::remove(path.c_str());
    word_list results;
    for (size_t at = 0, end; (end = output.find('\2', at)) != output.npos; at = end + 1)
        results.push_back(output.substr(at, end - at));
    return results;
}

std::string shown(const word_list& words) {
    std::string text;
    for (const std::string& word : words)
        text += word + '\1';
    return text;
}

TEST(CommandLines, AreTakenApartAsShellsDo) {
    // A dollar with a meaning would be another matter than quoting.
    const word_list bits = {"a", "b", " ", "\t", "'", "'", "\"", "\"", "\\", "\\\\"};
    std::mt19937 random(2);
    std::string script, lines;
    word_list expected;
    while (expected.size() < 500) {
        const bool is_made = expected.size() % 2 != 0;
        const std::string text = is_made ? join(any_words(random), posix) : any_text(random, bits, 12) + "b";
        size_t fault_at;
        const word_list words = split("x" + text, posix, fault_at);
        if (fault_at != finished)
            continue;
        expected.push_back(shown(words));
        script += "printf '%s\\001' x" + text + "; printf '\\002'\n";
        lines += "x" + text + '\3';
    }
    EXPECT_EQ(expected, run_on("sh", script));
    const std::string peer =
        "python3 -c 'import shlex, sys\n"
        "for line in open(sys.argv[1], encoding=\"latin1\", newline=\"\").read().split(chr(3))[:-1]:\n"
        "    words = shlex.split(line)\n"
        "    sys.stdout.buffer.write((\"\".join(w + chr(1) for w in words) + chr(2)).encode(\"latin1\"))'";
    const word_list python = run_on(peer, lines);
    if (python.empty())
        GTEST_SKIP() << "Python is not there";
    EXPECT_EQ(expected, python);
}

#else

TEST(CommandLines, AreTakenApartAsTheHostDoes) {
    const HMODULE shell = LoadLibraryA("shell32.dll");
    using splitter = LPWSTR*(WINAPI*)(LPCWSTR, int*);
    const auto host_split =
        reinterpret_cast<splitter>(reinterpret_cast<void*>(GetProcAddress(shell, "CommandLineToArgvW")));
    ASSERT_NE(nullptr, host_split);
    const word_list bits = {"a", " ", "\t", "\"", "\"", "\\", "'"};
    std::mt19937 random(3);
    for (int round = 0; round < 5000; round++) {
        const std::string text = (round % 2 == 0 ? "" : "p ") + any_text(random, bits, 10) + "b";
        int count;
        LPWSTR* const words = host_split(std::wstring(text.begin(), text.end()).c_str(), &count);
        ASSERT_NE(nullptr, words);
        word_list expected;
        for (int i = 0; i < count; i++) {
            const std::wstring word = words[i];
            expected.emplace_back(word.begin(), word.end());
        }
        LocalFree(words);
        ASSERT_EQ(expected, split(text, windows)) << text;
    }
}

#endif

struct expanding {
    const char* text;
    const char* expected; ///< null for a failure
    uint32_t flags = 0;
    size_t limit = 0;
    size_t fault_at = finished;
    int fault = def_ombrel_fault_invalid;
};

TEST(ExpandedText, HasValuesInThePlaceOfTheirNames) {
    ombrel_value_t values;
    ombrel_init_value(&values);
    for (const auto& [name, text] :
         {std::pair{"A", "one"}, {"B", "${A}$$"}, {"EMPTY", ""}, {"a b", "spaced"}})
        ombrel_set_value_string(&values, def_ombrel_value_append, 1, name, text);
    ombrel_set_value(&values, def_ombrel_value_append, 1, "BYTES", "xy", 2);
    constexpr uint32_t strict = def_ombrel_argument_expand_strict;
    const expanding cases[] = {
        {"", ""},
        {"x${A}y${a b}", "xoney"
                         "spaced"},
        {"${B}", "${A}$$"},
        {"$A $$ $$${A} $${A} $", "$A $ $one ${A} $"},
        {"[${NO}][${EMPTY}][${BYTES}]", "[][][]"},
        {"${NO:-x${A}}${EMPTY:-a:-b}${A:-c}${NO:-}", "x${A}a:-bone"},
        {"${a}${a:-x}", "oneone", def_ombrel_argument_expand_any_case},
        {"${OMBREL_TEST_EXPANDED}", ""},
        {"${OMBREL_TEST_EXPANDED}${A}", "hostone", def_ombrel_argument_expand_environment | strict},
        {"${EMPTY}${NO:-}", "", strict},
        {"a${NO}", nullptr, strict, 0, 1, def_ombrel_fault_not_found},
        {"ab$${${A", nullptr, 0, 0, 5},
        {"a${}", nullptr, 0, 0, 1},
        {"${:-a}", nullptr, 0, 0, 0},
        {"ab${A}", "abone", 0, 5},
        {"ab${A}", nullptr, 0, 4, 2, def_ombrel_fault_too_large},
    };
    ASSERT_EQ(0, ombrel_putenv("OMBREL_TEST_EXPANDED=host"));
    for (const expanding& each : cases) {
        size_t fault_at = 0;
        char* const text = ombrel_alloc_expanded_text(each.text, &values, each.flags, each.limit, &fault_at);
        EXPECT_STREQ(each.expected, text) << each.text;
        EXPECT_EQ(each.fault_at == finished ? strlen(each.text) : each.fault_at, fault_at) << each.text;
        EXPECT_TRUE(text != nullptr || each.fault == ombrel_last_fault()) << each.text;
        if (text != nullptr)
            ombrel_free(text);
    }
    ombrel_destroy_value(&values);
    const std::string large(def_ombrel_argument_expand_default_limit + 1, 'x');
    EXPECT_EQ(nullptr, ombrel_alloc_expanded_text(large.c_str(), nullptr, 0, 0, nullptr));
    EXPECT_EQ(nullptr, ombrel_alloc_expanded_text(nullptr, nullptr, 0, 0, nullptr));
}

} // namespace
