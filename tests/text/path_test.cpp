#include <algorithm>
#include <iomanip>
#include <sstream>
#include <string>

#include <ombrel/path.h>
#include <ombrel/replace_string.h>
#include <ombrel/string.h>

#include "support/heap_balance.h"

namespace {

class PathTest : public ombrel_test::balanced_test {};

std::string take(char* s) {
    std::string text = s != nullptr ? s : "(null)";
    ombrel_free(s);
    return text;
}

// What is joined has the host's separator, whatever there was before.
std::string native(std::string path) {
#if defined(_WIN32)
    std::replace(path.begin(), path.end(), '/', '\\');
#endif
    return path;
}

// Every link is checked on the way.
std::string flags_of(const ombrel_string_node_t* list) {
    std::string flags;
    for (const ombrel_string_node_t* before = nullptr; list != nullptr; before = list, list = list->m_next) {
        EXPECT_EQ(list->m_prev, before);
        flags += list->m_ignore != 0 ? 'x' : '.';
    }
    return flags;
}

TEST_F(PathTest, ResolvesPaths) {
    // A path, which of its parts are ignored, and what is left.
    std::istringstream rows(
        R"(/a/./b//../c ..xxxx. /a/c    /.. .x /    / . /    a/.. xx ""    ../a x. a    a\b/c ... a/b/c
        a/b/ .. a/b    a/b/../../c xxxx. c    /a/../../b .xxx. /b    a/b/../c/../.. xxxxxx ""    // .x /
        . x ""    a/b/c/../d/../../e .xxxxxx. a/e)");
    std::string path, flags, joined;
    while (rows >> path >> flags >> std::quoted(joined)) {
        SCOPED_TRACE(path);
        ombrel_string_node_t* list = ombrel_path_to_node(path.c_str());
        EXPECT_EQ(flags, flags_of(list));
        EXPECT_EQ(native(joined), take(ombrel_node_to_path(list, 1)));
        ombrel_string_node_t* copy = ombrel_copy_path_node(list);
        EXPECT_EQ(flags, flags_of(copy));
        ombrel_free_path_node(copy);
        ombrel_free_path_node(list);
    }
    EXPECT_TRUE(rows.eof());
    EXPECT_EQ(nullptr, ombrel_path_to_node(""));
    EXPECT_EQ(nullptr, ombrel_path_to_node(nullptr));
    EXPECT_EQ(nullptr, ombrel_node_to_path(nullptr, 1));
}

TEST_F(PathTest, JoinsStrings) {
    ombrel_string_node_t* list = ombrel_string_to_node("a,,..,b", ",");
    EXPECT_EQ("....", flags_of(list)) << "not resolved";
    EXPECT_EQ("a::::..::b", take(ombrel_node_to_string(list, "::", 1)));
    EXPECT_EQ("a..b", take(ombrel_node_to_string(list, nullptr, 0)));
    ombrel_free_string_node(list);
    list = ombrel_string_to_node_ex("a,,..,b", ",", 1);
    EXPECT_EQ("xxx.", flags_of(list)) << "resolved";
    ombrel_free_string_node(list);
    list = ombrel_string_to_node("a,b", nullptr);
    EXPECT_STREQ("a,b", list->m_text);
    EXPECT_EQ(nullptr, list->m_next);
    ombrel_free_string_node(list);
}

TEST_F(PathTest, AppendsPaths) {
    const struct {
        const char *base, *added;
        int restart;
        const char* expected;
    } cases[] = {
        {"/usr/lib", "../share", 1, "/usr/share"},
        {"/usr", "/etc", 1, "/etc"},
        {"/usr", "/etc", 0, "/usr/etc"},
        {nullptr, "a/b", 1, "a/b"},
        {"a", nullptr, 1, "a"},
        {"a", "../../b", 0, "b"},
    };
    for (const auto& c : cases) {
        ombrel_string_node_t* list =
            ombrel_append_path_node(ombrel_path_to_node(c.base), ombrel_path_to_node(c.added), c.restart);
        flags_of(list);
        EXPECT_EQ(take(ombrel_node_to_path(list, 1)), native(c.expected));
        ombrel_free_path_node(list);
    }
    for (const int resolve : {0, 1}) {
        ombrel_string_node_t* list = ombrel_append_string_node_ex(
            ombrel_string_to_node("a", ","), ombrel_string_to_node("..", ","), 0, resolve);
        EXPECT_EQ(take(ombrel_node_to_string(list, "/", 1)), resolve != 0 ? "" : "a/..");
        list = ombrel_append_string_node(list, ombrel_string_to_node("b", ","), 0);
        EXPECT_EQ(take(ombrel_node_to_string(list, "/", 1)), resolve != 0 ? "b" : "a/../b");
        ombrel_free_string_node(list);
    }
}

TEST_F(PathTest, NamesBasesAndDirectories) {
    // A path, its base name, the same without cutting, and its directory.
    std::istringstream rows(
        R"(/usr/lib/ lib lib/ /usr    / / / /    // / // /    file file file .    /a a a /    //a a a /
        a/ a a/ .    a//b// b b// a    c:\d\e e e c:\d    \a a a \    "" "" "" .    /a/b b b /a)");
    std::string path, base, kept, directory;
    while (rows >> std::quoted(path) >> std::quoted(base) >> std::quoted(kept) >> directory) {
        SCOPED_TRACE(path);
        EXPECT_EQ(base, take(ombrel_alloc_basename(path.c_str())));
        EXPECT_EQ(kept, ombrel_basename_c(path.c_str()));
        EXPECT_EQ(directory, take(ombrel_alloc_dirname(path.c_str())));
    }
    EXPECT_TRUE(rows.eof());
    EXPECT_EQ(".", take(ombrel_alloc_basename(nullptr)));
    EXPECT_STREQ(".", ombrel_basename_c(nullptr));
    EXPECT_EQ(".", take(ombrel_alloc_dirname(nullptr)));
    EXPECT_STREQ(".", ombrel_basename(nullptr));
    EXPECT_STREQ(".", ombrel_dirname(nullptr));
    EXPECT_EQ(nullptr, ombrel_copy_path_node(nullptr));
    EXPECT_EQ(nullptr, ombrel_append_path_node(nullptr, nullptr, 1));
    ombrel_free_path_node(nullptr);
    std::string cut = "a/b//";
    EXPECT_STREQ("b", ombrel_basename(cut.data()));
    EXPECT_STREQ("a/b", cut.c_str());
}

// A string constant lies in memory that cannot be written to.
TEST_F(PathTest, WritesNothingWhereNothingIsCut) {
    const auto constant = [](const char* s) { return const_cast<char*>(s); };
    for (const char* path : {"file", "/", "/a", "a/b", ""})
        EXPECT_STREQ(ombrel_basename(constant(path)), ombrel_basename_c(path));
    for (const char* path : {"/", "\\", "file", "file//", ""})
        EXPECT_STREQ(ombrel_dirname(constant(path)), *path == '/' || *path == '\\' ? path : ".");
    EXPECT_STREQ("A1", ombrel_strupper(constant("A1")));
    EXPECT_STREQ("a1", ombrel_strlower(constant("a1")));
    EXPECT_STREQ("a b", ombrel_trim_string(constant("a b")));
    EXPECT_STREQ("[1m", ombrel_strip_ansi_code(constant("[1m")));
    EXPECT_STREQ("abc", ombrel_replace_all_string(constant("abc"), "x", "y"));
}

TEST_F(PathTest, ResolvesLongHostilePathsAtOnce) {
    std::string path;
    for (int i = 0; i < 20000; i++)
        path += "a/";
    for (int i = 0; i < 20000; i++)
        path += "../b/c/../../";
    ombrel_string_node_t* list = ombrel_path_to_node(path.c_str());
    EXPECT_EQ("", take(ombrel_node_to_path(list, 1)));
    ombrel_free_path_node(list);
}

} // namespace
