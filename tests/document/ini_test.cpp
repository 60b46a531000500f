#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/fault.h>
#include <ombrel/file.h>
#include <ombrel/heap.h>
#include <ombrel/ini.h>

#include "support/scratch_directory.h"

namespace ombrel_test {
namespace {

using namespace std::string_literals;

class Ini : public testing::Test {
protected:
    ~Ini() override { ombrel_close_ini(ini_); }

    void open(uint32_t flags) {
        ombrel_close_ini(ini_);
        ombrel_init_ini_options(&options_);
        options_.m_flags = flags;
        ini_ = ombrel_open_ini(&options_);
    }
    void load(const std::string& text, uint32_t flags = def_ombrel_ini_dialect_plain) {
        open(flags);
        ASSERT_EQ(0, ombrel_ini_load(ini_, text.data(), text.size())) << text;
    }
    std::string text() const {
        char* const text = ombrel_alloc_ini_text(ini_, nullptr);
        const std::string result = text;
        ombrel_free(text);
        return result;
    }
    /// As "line:column reason".
    std::string fault() const {
        const ombrel_ini_fault_t& fault = *ombrel_ini_get_fault(ini_);
        return std::to_string(fault.m_line) + ":" + std::to_string(fault.m_column) + " " +
               ombrel_ini_fault_text(fault.m_reason);
    }

    ombrel_ini_options_t options_;
    ombrel_ini_t* ini_ = nullptr;
};

TEST_F(Ini, TellsWhatAndWhereIsMalformed) {
    constexpr uint32_t git = def_ombrel_ini_dialect_git, python = def_ombrel_ini_dialect_python,
                       plain = def_ombrel_ini_dialect_plain;
    const struct {
        uint32_t flags;
        std::string text;
        const char* fault;
        int code;
    } cases[] = {{plain, "a", "1:1 line without a separator", def_ombrel_fault_violation},
                 {plain, "[a", "1:1 head without a closing bracket", def_ombrel_fault_violation},
                 {plain, "\xC3\xA4=1\n[ ]", "2:2 head without a name", def_ombrel_fault_violation},
                 {plain, "[a]\xC3\xA4 x", "1:4 something other than a comment behind a head",
                  def_ombrel_fault_violation},
                 {plain, "\xFF\xFEk\0"s, "1:1 text that is not in UTF-8 or another set of bytes",
                  def_ombrel_fault_not_supported},
                 {git, "k = \"a\\\n b", "1:5 quote that is not closed", def_ombrel_fault_violation},
                 {git, "k = \"\xC3\xA4\\q", "1:7 backslash before a character that is none to escape",
                  def_ombrel_fault_violation},
                 {git, "k_1 = 2", "1:2 character that no key may have", def_ombrel_fault_violation},
                 {git, "[a\"b\"]", "1:2 name that no section may have", def_ombrel_fault_violation},
                 {python, "[a]\nK = 1\nk : 2", "3:1 key that is there twice", def_ombrel_fault_violation},
                 {python, "[a]\n[b]\n[a]", "3:2 section that is there twice", def_ombrel_fault_violation},
                 {plain | def_ombrel_ini_bare_keys, "k\n  x", "2:1 indented line that goes on with no value",
                  def_ombrel_fault_violation}};
    for (const auto& each : cases) {
        open(each.flags);
        EXPECT_EQ(-1, ombrel_ini_load(ini_, each.text.data(), each.text.size())) << each.text;
        EXPECT_EQ(each.code, ombrel_last_fault()) << each.text;
        EXPECT_EQ(each.fault, fault()) << each.text;
        EXPECT_EQ(0, ombrel_ini_get_text_size(ini_));
    }
}

TEST_F(Ini, KeepsWhatIsMalformedByFlag) {
    const std::string before = "[a\nk = 1\n?\n";
    load(before, def_ombrel_ini_dialect_plain | def_ombrel_ini_keep_malformed);
    EXPECT_EQ(0, ombrel_ini_set(ini_, "", "k", "2"));
    EXPECT_EQ("[a\nk = 2\n?\n", text());
}

TEST_F(Ini, LimitsHold) {
    const struct {
        size_t ombrel_ini_options_t::*limit;
        size_t value;
        const char* text;
        const char* fault;
    } cases[] = {{&ombrel_ini_options_t::m_size_limit, 7, "k = 123\n", "1:1 text too long"},
                 {&ombrel_ini_options_t::m_line_limit, 8, "k = 1\nk = 1\n  2345\n", "2:1 line too long"},
                 {&ombrel_ini_options_t::m_count_limit, 2, "#\n\nk = 1\n", "3:1 too many lines"}};
    for (const auto& each : cases)
        for (const size_t more : {0, 1}) {
            ombrel_init_ini_options(&options_);
            options_.*each.limit = each.value + more * 20;
            ombrel_close_ini(ini_);
            ini_ = ombrel_open_ini(&options_);
            EXPECT_EQ(more == 1 ? 0 : -1, ombrel_ini_load(ini_, each.text, strlen(each.text)));
            if (more == 0) {
                EXPECT_EQ(each.fault, fault());
                EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
            }
        }
    EXPECT_EQ(0, ombrel_ini_set(ini_, "", "a", "1"));
    // A section of its own takes three lines: an empty one, its head and the key.
    for (const size_t lines : {3, 4}) {
        ombrel_init_ini_options(&options_);
        options_.m_count_limit = lines;
        ombrel_close_ini(ini_);
        ini_ = ombrel_open_ini(&options_);
        EXPECT_EQ(0, ombrel_ini_load(ini_, "k = 1\n", 6));
        EXPECT_EQ(lines == 4 ? 0 : -1, ombrel_ini_set(ini_, "a", "k", "1"));
        EXPECT_EQ(lines == 4 ? "k = 1\n\n[a]\nk = 1\n" : "k = 1\n", text());
    }
    ombrel_init_ini_options(&options_);
    EXPECT_EQ(16777216u, options_.m_size_limit);
    EXPECT_EQ(1048576u, options_.m_line_limit);
    EXPECT_EQ(1000000u, options_.m_count_limit);
    EXPECT_EQ(10u, options_.m_include_depth_limit);
    EXPECT_EQ(100u, options_.m_include_count_limit);
    const auto refused = [&](auto change) {
        ombrel_init_ini_options(&options_);
        change(options_);
        EXPECT_EQ(nullptr, ombrel_open_ini(&options_));
        EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    };
    for (size_t ombrel_ini_options_t::*const limit :
         {&ombrel_ini_options_t::m_size_limit, &ombrel_ini_options_t::m_line_limit,
          &ombrel_ini_options_t::m_count_limit, &ombrel_ini_options_t::m_include_depth_limit,
          &ombrel_ini_options_t::m_include_count_limit})
        refused([&](ombrel_ini_options_t& options) { options.*limit = 0; });
    refused([](ombrel_ini_options_t& options) { options.m_include_depth_limit = 65; });
    refused([](ombrel_ini_options_t& options) { options.m_flags |= 0x80000000; });
    for (const uint32_t for_lines : {def_ombrel_ini_quotes, def_ombrel_ini_indented_lines})
        for (const uint32_t for_characters : {def_ombrel_ini_quotes_within, def_ombrel_ini_backslash_lines})
            refused([&](ombrel_ini_options_t& options) { options.m_flags = for_lines | for_characters; });
    ombrel_init_ini_options(&options_);
    options_.m_include_depth_limit = 64;
    ombrel_ini_t* const deepest = ombrel_open_ini(&options_);
    EXPECT_NE(nullptr, deepest);
    ombrel_close_ini(deepest);
}

TEST_F(Ini, ReadsTypes) {
    load("i = -0x10\nbig = 9223372036854775808\nt = On\nf = no\nd = -1.5e3\nb = 1.5 MiB\n"
         "w = 1 d 02:00\nl = a, \"b, c\" ,, \"\", \"d\\\"\"\n  e ; no\nl = f\nnone =\n");
    int64_t integer = 7;
    EXPECT_EQ(0, ombrel_ini_get_integer(ini_, nullptr, "i", -16, 0, &integer));
    EXPECT_EQ(-16, integer);
    for (const auto& [key, fault] :
         {std::pair("big", def_ombrel_fault_too_large), std::pair("t", def_ombrel_fault_violation),
          std::pair("none", def_ombrel_fault_violation), std::pair("other", def_ombrel_fault_not_found)}) {
        EXPECT_EQ(-1, ombrel_ini_get_integer(ini_, "", key, INT64_MIN, INT64_MAX, &integer));
        EXPECT_EQ(fault, ombrel_last_fault()) << key;
        EXPECT_EQ(-16, integer);
    }
    EXPECT_EQ(-1, ombrel_ini_get_integer(ini_, "", "i", -15, 0, &integer));
    int truth = 7;
    EXPECT_EQ(0, ombrel_ini_get_boolean(ini_, "", "t", &truth));
    EXPECT_EQ(1, truth);
    EXPECT_EQ(0, ombrel_ini_get_boolean(ini_, "", "f", &truth));
    EXPECT_EQ(0, truth);
    EXPECT_EQ(-1, ombrel_ini_get_boolean(ini_, "", "none", &truth));
    double number;
    EXPECT_EQ(0, ombrel_ini_get_double(ini_, "", "d", &number));
    EXPECT_EQ(-1500.0, number);
    EXPECT_EQ(0, ombrel_ini_get_bytes(ini_, "", "b", &integer));
    EXPECT_EQ(3 << 19, integer);
    EXPECT_EQ(0, ombrel_ini_get_duration(ini_, "", "w", &integer));
    EXPECT_EQ(26 * 3600 * int64_t{1000000000}, integer);
    size_t count;
    char** const list = ombrel_alloc_ini_list(ini_, "", "l", &count);
    EXPECT_EQ((std::vector<std::string>{"a", "b, c", "", "d\"", "e", "f"}),
              std::vector<std::string>(list, list + count));
    EXPECT_EQ(nullptr, list[count]);
    ombrel_free(list);
}

TEST_F(Ini, NumbersAtTheEndsOfTheirRangeAreTheNearest) {
    for (const char* text : {"1e-320", "4.9e-324", "3e-324", "2.5e-324", "2.4e-324", "-1e-325", "9.9e-330",
                             "1e-331", "-1e-400", "2.2250738585072011e-308", "1.7976931348623158e308"}) {
        load((std::string("d = ") + text).c_str(), def_ombrel_ini_dialect_plain);
        double found = 7;
        EXPECT_EQ(0, ombrel_ini_get_double(ini_, "", "d", &found)) << text;
        const double wanted = strtod(text, nullptr);
        EXPECT_EQ(0, memcmp(&wanted, &found, sizeof found)) << text << ": " << found;
    }
    // Half between two, and by how little it is more.
    const std::string half =
        "1.00000000000000011102230246251565404236316680908203125" + std::string(800, '0');
    for (const auto& [text, wanted] : {std::pair{half, 1.0}, {half + "1", 1.0 + 0x1p-52}}) {
        load("d = " + text, def_ombrel_ini_dialect_plain);
        double found = 7;
        EXPECT_EQ(0, ombrel_ini_get_double(ini_, "", "d", &found));
        EXPECT_EQ(wanted, found);
    }
    for (const char* text : {"1e", "1e+", "1e-x"}) {
        load((std::string("d = ") + text).c_str(), def_ombrel_ini_dialect_plain);
        double found = 7;
        EXPECT_EQ(-1, ombrel_ini_get_double(ini_, "", "d", &found)) << text;
        EXPECT_EQ(7, found);
    }
    for (const char* text : {"1.7976931348623159e308", "-1e309", "1e311"}) {
        load((std::string("d = ") + text).c_str(), def_ombrel_ini_dialect_plain);
        double found = 7;
        EXPECT_EQ(-1, ombrel_ini_get_double(ini_, "", "d", &found)) << text;
        EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault()) << text;
    }
}

TEST_F(Ini, WritesTypesThatReadBackTheSame) {
    for (const uint32_t flags : {def_ombrel_ini_dialect_plain, def_ombrel_ini_dialect_git}) {
        load("", flags);
        std::mt19937_64 random(3);
        for (int i = 0; i < 300; i++) {
            const uint64_t bits = i == 0 ? 1 : random();
            double wanted, found = 0;
            memcpy(&wanted, &bits, sizeof wanted);
            if (!std::isfinite(wanted))
                continue;
            ASSERT_EQ(0, ombrel_ini_set_double(ini_, "a", "d", wanted));
            ASSERT_EQ(0, ombrel_ini_get_double(ini_, "a", "d", &found));
            EXPECT_EQ(wanted, found) << ombrel_ini_get(ini_, "a", "d");
            EXPECT_EQ(wanted, strtod(ombrel_ini_get(ini_, "a", "d"), nullptr));
            const auto wanted_integer = static_cast<int64_t>(bits);
            int64_t integer = 0;
            ASSERT_EQ(0, ombrel_ini_set_integer(ini_, "a", "i", wanted_integer));
            ASSERT_EQ(0, ombrel_ini_get_integer(ini_, "a", "i", INT64_MIN, INT64_MAX, &integer));
            EXPECT_EQ(wanted_integer, integer);
            const int64_t size = static_cast<int64_t>(bits >> 1 >> i % 60) << i % 60;
            ASSERT_EQ(0, ombrel_ini_set_bytes(ini_, "a", "b", size));
            ASSERT_EQ(0, ombrel_ini_get_bytes(ini_, "a", "b", &integer));
            EXPECT_EQ(size, integer);
        }
        EXPECT_EQ(-1, ombrel_ini_set_double(ini_, "a", "d", std::numeric_limits<double>::infinity()));
        const char* const items[] = {"", "a, b", " c", "\"", "; d", "e\nf", "\\", "g;h"};
        ombrel_ini_add(ini_, "a", "l", "gone");
        ombrel_ini_add(ini_, "a", "l", "gone, too");
        ASSERT_EQ(0, ombrel_ini_set_list(ini_, "a", "l", items, std::size(items)));
        EXPECT_EQ("0:0 none", fault()) << "whatever was tried before";
        size_t count = 0;
        char** const list = ombrel_alloc_ini_list(ini_, "a", "l", &count);
        EXPECT_EQ(std::vector<std::string>(items, std::end(items)),
                  std::vector<std::string>(list, list + count));
        EXPECT_EQ(1, ombrel_ini_get_count(ini_, "a", "l"));
        ombrel_free(list);
    }
}

TEST_F(Ini, ChangesSectionsAndNames) {
    load("# top\n\n# of a\n[a] ; x\nk = 1\n\n# old\n\n# of b\n[b]\nk = 1\nK : 2\n[a]\nk = 2");
    EXPECT_EQ(0, ombrel_ini_rename(ini_, "a", "k", "key"));
    EXPECT_EQ(-1, ombrel_ini_rename(ini_, "b", "k", "K"));
    EXPECT_EQ(def_ombrel_fault_exists, ombrel_last_fault());
    EXPECT_EQ(0, ombrel_ini_rename_section(ini_, "a", "c"));
    EXPECT_EQ(-1, ombrel_ini_rename_section(ini_, "c", "b"));
    EXPECT_EQ(2, ombrel_ini_get_count(ini_, "c", "key"));
    EXPECT_EQ("# top\n\n# of a\n[c] ; x\nkey = 1\n\n# old\n\n# of b\n[b]\nk = 1\nK : 2\n[c]\nkey = 2",
              text());
    EXPECT_EQ(0, ombrel_ini_delete_section(ini_, "c"));
    EXPECT_EQ("# top\n\n# of b\n[b]\nk = 1\nK : 2\n", text());
    EXPECT_EQ(0, ombrel_ini_add_section(ini_, "e"));
    EXPECT_EQ(-1, ombrel_ini_add_section(ini_, "e"));
    EXPECT_EQ("# top\n\n# of b\n[b]\nk = 1\nK : 2\n\n[e]\n", text());
    EXPECT_EQ(1, ombrel_ini_is_changed(ini_));

    load("# top\nk = 1\n; of l\nl = 2\n[a]\nk = 3\n");
    EXPECT_EQ(0, ombrel_ini_delete_section(ini_, "")) << "the keys before all sections";
    EXPECT_EQ("# top\n; of l\n[a]\nk = 3\n", text());
    EXPECT_EQ(nullptr, ombrel_ini_get(ini_, "", "k"));
    EXPECT_EQ(1, ombrel_ini_is_changed(ini_));

    // What was deleted kept an indented head from going on with the value before.
    load("k = 1\n[a]\n  [b]\n");
    EXPECT_EQ(-1, ombrel_ini_delete_section(ini_, "a"));
    EXPECT_EQ("k = 1\n[a]\n  [b]\n", text());
    EXPECT_EQ(0, ombrel_ini_set(ini_, "a", "x", "1"));
    EXPECT_EQ("k = 1\n[a]\n  x = 1\n  [b]\n", text());

    // The separators go on below one another, and a key that reaches them has a space of its own.
    for (const char* const added : {"kk  = 2", "kkk = 2", "kkkk = 2", "kkkkkk = 2"}) {
        load("k   = 1\n");
        const std::string key(added, strcspn(added, " "));
        EXPECT_EQ(0, ombrel_ini_set(ini_, "", key.c_str(), "2"));
        EXPECT_EQ("k   = 1\n" + std::string(added) + "\n", text());
    }
}

TEST_F(Ini, IncludesWithinLimits) {
    const scratch_directory directory;
    const auto put = [&](const char* name, const char* data) {
        ombrel_make_directories((directory.path() + "/sub").c_str(), 0777);
        ombrel_store_file((directory.path() + "/" + name).c_str(), data, strlen(data), 0, 0666);
    };
    constexpr uint32_t flags = def_ombrel_ini_dialect_plain | def_ombrel_ini_include_lines;
    const std::string main = directory.path() + "/main.ini";
    const auto load_main = [&](uint32_t with) {
        open(with);
        return ombrel_ini_load_file(ini_, main.c_str());
    };
    put("main.ini", "[a]\nk = 1\n!include sub/one.ini\nl = 1\n[z]\n");
    put("sub/one.ini", "g = 0\n[a]\nk = 2\n!include two.ini");
    put("sub/two.ini", "[a]\nl = 2\nm = 2\n");
    EXPECT_EQ(-1, load_main(def_ombrel_ini_dialect_plain)); // off by default
    ASSERT_EQ(0, load_main(flags));
    EXPECT_STREQ("2", ombrel_ini_get(ini_, "a", "k"));
    EXPECT_STREQ("1", ombrel_ini_get(ini_, "a", "l"));
    EXPECT_STREQ("0", ombrel_ini_get(ini_, "", "g"));
    EXPECT_EQ(-1, ombrel_ini_set_at(ini_, "a", "k", 1, "3"));
    EXPECT_EQ(def_ombrel_fault_access_denied, ombrel_last_fault());
    EXPECT_EQ(-1, ombrel_ini_delete(ini_, "a", "m"));
    EXPECT_EQ(0, ombrel_ini_set(ini_, "a", "m", "3")); // behind the include, so it counts
    EXPECT_STREQ("3", ombrel_ini_get(ini_, "a", "m"));
    EXPECT_EQ("[a]\nk = 1\n!include sub/one.ini\nl = 1\nm = 3\n[z]\n", text());

    put("main.ini", "g = 1\n!include sub/one.ini\n");
    ASSERT_EQ(0, load_main(flags));
    for (const char* const section : {"", "a"}) {
        EXPECT_EQ(-1, ombrel_ini_delete_section(ini_, section)) << section;
        EXPECT_EQ(def_ombrel_fault_access_denied, ombrel_last_fault());
        EXPECT_EQ("g = 1\n!include sub/one.ini\n", text()) << "not even its own part";
    }

    put("main.ini", ("[a]\n!include " + directory.path() + "/sub/two.ini\n").c_str());
    ASSERT_EQ(0, load_main(flags));
    EXPECT_STREQ("2", ombrel_ini_get(ini_, "a", "l"));

    put("main.ini", "[a]\nk = 1\n!include sub/one.ini\n");
    ASSERT_EQ(0, load_main(flags));
    EXPECT_EQ(-1, ombrel_ini_set(ini_, "a", "m", "3")); // would stand before it
    EXPECT_EQ(def_ombrel_fault_access_denied, ombrel_last_fault());
    EXPECT_EQ("[a]\nk = 1\n!include sub/one.ini\n", text());

    const struct {
        const char* two;
        const char* fault;
    } cases[] = {{"!include ../sub/one.ini", "1:1 file that includes itself"},
                 {"!include ../main.ini", "1:1 file that includes itself"},
                 {"\n !include none.ini", "2:1 file to include that cannot be read"},
                 {"!include ../sub", "1:1 file to include that cannot be read"},
                 {"?", "1:1 line without a separator"}};
    for (const auto& each : cases) {
        put("sub/two.ini", each.two);
        EXPECT_EQ(-1, load_main(flags));
        EXPECT_EQ(each.fault, fault());
        EXPECT_TRUE(strstr(ombrel_ini_get_fault(ini_)->m_path, "two.ini") != nullptr);
    }
    put("sub/two.ini", "!include none.ini");
    EXPECT_EQ(0, load_main(flags | def_ombrel_ini_include_optional));
    put("sub/one.ini", "[a]\nk = 2\n");
    put("sub/two.ini", "[a]\nb");
    put("main.ini", "[include]\npath = sub/one.ini\nPath = sub/two.ini");
    ASSERT_EQ(0, load_main(def_ombrel_ini_dialect_git | def_ombrel_ini_include_keys));
    EXPECT_STREQ("2", ombrel_ini_get(ini_, "A", "K"));
    put("main.ini", "!include sub/one.ini\n!include sub/one.ini");
    put("sub/one.ini", "!include two.ini");
    for (size_t ombrel_ini_options_t::*const limit :
         {&ombrel_ini_options_t::m_include_depth_limit, &ombrel_ini_options_t::m_include_count_limit}) {
        put("sub/two.ini", "");
        open(flags);
        options_.*limit = 1;
        ombrel_close_ini(ini_);
        ini_ = ombrel_open_ini(&options_);
        EXPECT_EQ(-1, ombrel_ini_load_file(ini_, main.c_str()));
        EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
    }
}

TEST_F(Ini, KeepsSeveralValuesInOrder) {
    const scratch_directory directory;
    const std::string path = directory.path() + "/file.ini";
    load("[a]\nk = 1\n[b]\n[a]\nk = 2\nk = 3\n", def_ombrel_ini_dialect_plain | def_ombrel_ini_first_counts);
    EXPECT_STREQ("1", ombrel_ini_get(ini_, "a", "k"));
    EXPECT_STREQ("3", ombrel_ini_get_at(ini_, "a", "k", 2));
    EXPECT_EQ(nullptr, ombrel_ini_get_at(ini_, "a", "k", 3));
    EXPECT_EQ(0, ombrel_ini_delete_at(ini_, "a", "k", 1));
    EXPECT_EQ(-1, ombrel_ini_delete_at(ini_, "a", "k", 2));
    EXPECT_EQ(0, ombrel_ini_set_at(ini_, "a", "k", 1, "4"));
    EXPECT_EQ(0, ombrel_ini_set_boolean(ini_, "b", "t", 1));
    EXPECT_EQ(0, ombrel_ini_set_duration(ini_, "b", "d", 90061500000000));
    EXPECT_EQ("[a]\nk = 1\n[b]\nt = true\nd = 1 d 01:01:01.5\n[a]\nk = 4\n", text());
    EXPECT_EQ(1, ombrel_ini_has_section(ini_, "b"));
    EXPECT_EQ(0, ombrel_ini_has_section(ini_, "c"));
    EXPECT_EQ(-1, ombrel_ini_has_section(ini_, "c]"));
    EXPECT_EQ(1, ombrel_ini_is_changed(ini_));
    ASSERT_EQ(0, ombrel_ini_store_file(ini_, path.c_str(), 0666));
    EXPECT_EQ(0, ombrel_ini_is_changed(ini_));
    const std::string stored = text();
    open(def_ombrel_ini_dialect_plain);
    ASSERT_EQ(0, ombrel_ini_load_file(ini_, path.c_str()));
    EXPECT_EQ(stored, text());
}

TEST_F(Ini, AddsNoSecondValueWhereOneIsAllAKeyHas) {
    load("[a]\nk = 1\n", def_ombrel_ini_dialect_plain | def_ombrel_ini_single_keys);
    EXPECT_EQ(-1, ombrel_ini_add(ini_, "a", "k", "2"));
    EXPECT_EQ(def_ombrel_fault_exists, ombrel_last_fault());
    EXPECT_EQ(0, ombrel_ini_add(ini_, "a", "l", "2"));
    EXPECT_EQ("[a]\nk = 1\nl = 2\n", text());
}

TEST_F(Ini, WalksInOrder) {
    load("g = 1\n[a]\n# c\nk = \"1\"\n\n[b \"c\"]\nk\n[a]\nl = 2", def_ombrel_ini_dialect_git);
    const auto walk = [&](const char* section) {
        std::string all;
        ombrel_ini_walk_t steps;
        ombrel_ini_entry_t entry;
        EXPECT_EQ(0, ombrel_init_ini_walk(&steps, ini_, section));
        while (ombrel_ini_walk_next(&steps, &entry) == 1)
            all += std::to_string(entry.m_line) + std::to_string(entry.m_kind) + entry.m_section +
                   (entry.m_sub_section != nullptr ? entry.m_sub_section : "") + ":" +
                   (entry.m_key != nullptr ? entry.m_key : "") + "=" +
                   (entry.m_value != nullptr ? entry.m_value : "-") + " ";
        return all;
    };
    EXPECT_EQ("12:g=1 21a:=- 33a:=- 42a:k=1 54a:=- 61b \"c\"c:=- 72b \"c\"c:k=- 81a:=- 92a:l=2 ",
              walk(nullptr));
    EXPECT_EQ("21a:=- 33a:=- 42a:k=1 54a:=- 81a:=- 92a:l=2 ", walk("A"));
    EXPECT_EQ("12:g=1 ", walk(""));
    ombrel_ini_walk_t changed;
    ombrel_ini_entry_t entry;
    ombrel_init_ini_walk(&changed, ini_, nullptr);
    ombrel_ini_set(ini_, "a", "k", "2");
    EXPECT_EQ(-1, ombrel_ini_walk_next(&changed, &entry));
    EXPECT_EQ(def_ombrel_fault_busy, ombrel_last_fault());
}

TEST_F(Ini, IsQuickWithManyKeys) {
    std::string all = "[a]\n";
    for (int i = 0; i < 100000; i++)
        all += "key" + std::to_string(i) + " = " + std::to_string(i) + "\n";
    ombrel_buffer_t* const buffer = ombrel_open_buffer();
    ombrel_push_buffer(buffer, all.data(), all.size());
    open(def_ombrel_ini_dialect_plain);
    ASSERT_EQ(0, ombrel_ini_load_buffer(ini_, buffer));
    for (int i = 0; i < 100000; i += 3) {
        const std::string key = "key" + std::to_string(i);
        ASSERT_EQ(std::to_string(i), ombrel_ini_get(ini_, "a", key.c_str()));
        ASSERT_EQ(0, ombrel_ini_set(ini_, "a", ("new" + key).c_str(), "1"));
    }
    ASSERT_EQ(0, ombrel_ini_push_buffer(ini_, buffer));
    EXPECT_EQ(static_cast<size_t>(ombrel_ini_get_text_size(ini_)), ombrel_get_buffer_size(buffer));
    ombrel_close_buffer(buffer);
    const std::string blank = "k = 1" + std::string(300000, '\n') + "l = 1\n";
    load(blank);
    EXPECT_EQ(blank.size(), text().size());
}

TEST_F(Ini, RefusesNoDocumentAndNoKey) {
    int line = 0;
    const auto refused = [&](bool is_so) {
        line++;
        EXPECT_TRUE(is_so) << "the " << line << ". call";
        EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault()) << "the " << line << ". call";
        ombrel_leave_fault(def_ombrel_fault_none);
    };
    int64_t integer = 7;
    int truth = 7;
    double number = 7;
    ombrel_ini_walk_t walk;
    ombrel_ini_entry_t entry;
    const char* const items[] = {"x", nullptr};
    ombrel_buffer_t* const buffer = ombrel_open_buffer();
    load("[a]\nk = 1\n");
    refused(ombrel_init_ini_options(nullptr) == -1);
    refused(ombrel_ini_reset(nullptr) == -1);
    refused(ombrel_ini_load(nullptr, "", 0) == -1);
    refused(ombrel_ini_load_file(nullptr, "x.ini") == -1);
    refused(ombrel_ini_load_buffer(nullptr, buffer) == -1);
    refused(ombrel_ini_push(nullptr, "", 0) == -1);
    refused(ombrel_ini_end(nullptr) == -1);
    refused(ombrel_ini_get_text_size(nullptr) == -1);
    refused(ombrel_alloc_ini_text(nullptr, nullptr) == nullptr);
    refused(ombrel_ini_push_buffer(nullptr, buffer) == -1);
    refused(ombrel_ini_push_buffer(ini_, nullptr) == -1);
    refused(ombrel_ini_store_file(nullptr, "x.ini", 0666) == -1);
    refused(ombrel_ini_is_changed(nullptr) == -1);
    // The one, and the other.
    for (ombrel_ini_t* const ini : {static_cast<ombrel_ini_t*>(nullptr), ini_}) {
        line = ini == nullptr ? 100 : 200;
        const char* const key = ini == nullptr ? "k" : nullptr;
        refused(ombrel_ini_get_count(ini, "a", key) == -1);
        refused(ombrel_ini_get(ini, "a", key) == nullptr);
        refused(ombrel_ini_get_at(ini, "a", key, 0) == nullptr);
        refused(ombrel_ini_get_integer(ini, "a", key, 0, 9, &integer) == -1);
        refused(ombrel_ini_get_boolean(ini, "a", key, &truth) == -1);
        refused(ombrel_ini_get_double(ini, "a", key, &number) == -1);
        refused(ombrel_ini_get_bytes(ini, "a", key, &integer) == -1);
        refused(ombrel_ini_get_duration(ini, "a", key, &integer) == -1);
        refused(ombrel_alloc_ini_list(ini, "a", key, nullptr) == nullptr);
        refused(ombrel_ini_set(ini, "a", key, "2") == -1);
        refused(ombrel_ini_set_at(ini, "a", key, 0, "2") == -1);
        refused(ombrel_ini_add(ini, "a", key, "2") == -1);
        refused(ombrel_ini_set_integer(ini, "a", key, 2) == -1);
        refused(ombrel_ini_set_boolean(ini, "a", key, 1) == -1);
        refused(ombrel_ini_set_double(ini, "a", key, 2) == -1);
        refused(ombrel_ini_set_bytes(ini, "a", key, 2) == -1);
        refused(ombrel_ini_set_duration(ini, "a", key, 2) == -1);
        refused(ombrel_ini_set_list(ini, "a", key, items, 1) == -1);
        refused(ombrel_ini_delete(ini, "a", key) == -1);
        refused(ombrel_ini_delete_at(ini, "a", key, 0) == -1);
        refused(ombrel_ini_rename(ini, "a", key, "l") == -1);
    }
    line = 300;
    refused(ombrel_ini_get_integer(ini_, "a", "k", 0, 9, nullptr) == -1);
    refused(ombrel_ini_get_boolean(ini_, "a", "k", nullptr) == -1);
    refused(ombrel_ini_get_double(ini_, "a", "k", nullptr) == -1);
    refused(ombrel_ini_get_bytes(ini_, "a", "k", nullptr) == -1);
    refused(ombrel_ini_get_duration(ini_, "a", "k", nullptr) == -1);
    EXPECT_TRUE(integer == 7 && truth == 7 && number == 7);
    refused(ombrel_ini_has_section(nullptr, "a") == -1);
    refused(ombrel_ini_add_section(nullptr, "b") == -1);
    refused(ombrel_ini_delete_section(nullptr, "a") == -1);
    refused(ombrel_ini_rename_section(nullptr, "a", "b") == -1);
    for (const char* const global : {"", static_cast<const char*>(nullptr)}) {
        refused(ombrel_ini_add_section(ini_, global) == -1);
        refused(ombrel_ini_rename_section(ini_, global, "b") == -1);
        refused(ombrel_ini_rename_section(ini_, "a", global) == -1);
    }
    refused(ombrel_ini_rename(ini_, "a", "k", nullptr) == -1);
    refused(ombrel_ini_set_list(ini_, "a", "k", nullptr, 1) == -1);
    refused(ombrel_ini_set_list(ini_, "a", "k", items, 2) == -1);
    refused(ombrel_ini_set_bytes(ini_, "a", "k", -1) == -1);
    refused(ombrel_init_ini_walk(nullptr, ini_, nullptr) == -1);
    refused(ombrel_init_ini_walk(&walk, nullptr, nullptr) == -1);
    EXPECT_EQ(0, ombrel_init_ini_walk(&walk, ini_, nullptr));
    refused(ombrel_ini_walk_next(nullptr, &entry) == -1);
    refused(ombrel_ini_walk_next(&walk, nullptr) == -1);
    walk.m_ini = nullptr;
    refused(ombrel_ini_walk_next(&walk, &entry) == -1);
    char name[8] = "before";
    refused(ombrel_format_ini_section(name, sizeof name, nullptr, "b") == -1);
    refused(ombrel_format_ini_section(name, sizeof name, "a", nullptr) == -1);
    refused(ombrel_format_ini_section(nullptr, 1, "a", "b") == -1);
    EXPECT_STREQ("before", name);
    EXPECT_EQ(5, ombrel_format_ini_section(nullptr, 0, "a", "b"));
    EXPECT_EQ(nullptr, ombrel_ini_get_fault(nullptr));
    EXPECT_EQ(0, ombrel_close_ini(nullptr));
    EXPECT_EQ("[a]\nk = 1\n", text());
    EXPECT_EQ(0, ombrel_ini_is_changed(ini_));
    EXPECT_EQ(0u, ombrel_get_buffer_size(buffer));
    EXPECT_EQ(0, ombrel_ini_reset(ini_));
    refused(ombrel_ini_load(ini_, nullptr, 1) == -1);
    refused(ombrel_ini_push(ini_, nullptr, 1) == -1);
    refused(ombrel_ini_load_buffer(ini_, nullptr) == -1);
    refused(ombrel_ini_load_file(ini_, nullptr) == -1);
    refused(ombrel_ini_load_file(ini_, "") == -1);
    EXPECT_EQ(0, ombrel_ini_end(ini_));
    ombrel_close_buffer(buffer);
    for (const int reason : {-1, 1000})
        EXPECT_STREQ("unknown", ombrel_ini_fault_text(reason));
}

TEST_F(Ini, RefusesNonsense) {
    load("k = 1\n");
    EXPECT_EQ(-1, ombrel_ini_load(ini_, "", 0)); // it is read once
    EXPECT_EQ(-1, ombrel_ini_set(ini_, "", "l", nullptr));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    EXPECT_EQ(0, ombrel_ini_reset(ini_));
    EXPECT_EQ(0, ombrel_ini_push(ini_, "k =", 3));
    EXPECT_EQ(-1, ombrel_ini_set(ini_, "", "k", "1")); // not while it is read
    EXPECT_EQ(0, ombrel_ini_end(ini_));
    char name[8];
    EXPECT_EQ(8, ombrel_format_ini_section(name, sizeof name, "a", "b\"c"));
    EXPECT_STREQ("a \"b\\\"c", name);
}

} // namespace
} // namespace ombrel_test
