// INI files.
#include <cstring>
#include <functional>

#include <ombrel/fault.h>
#include <ombrel/ini.h>

#include "alloc_failure/injection.h"

namespace ombrel_test {
namespace {

std::string text_of(const ombrel_ini_t* ini) {
    char* const text = ombrel_alloc_ini_text(ini, nullptr);
    const std::string result = text != nullptr ? text : "";
    ombrel_free(text);
    return result;
}

OMBREL_FAILURES(Document, ini) {
    constexpr const char text[] = "[a] # c\nk = 1\n  2\n[b]\nl = \"x\"";
    ombrel_ini_t* const ini = fail.during([] { return ombrel_open_ini(nullptr); });
    if (ini == nullptr)
        return;
    const int loaded = fail.during([&] { return ombrel_ini_load(ini, text, strlen(text)); });
    EXPECT_EQ(fail.hit() ? -1 : 0, loaded);
    EXPECT_EQ(loaded == 0 ? text : "", text_of(ini));
    if (loaded != 0) {
        ASSERT_EQ(0, ombrel_ini_load(ini, text, strlen(text)));
    }
    const char* const items[] = {"a", "b,c"};
    const std::function<int()> changes[] = {[&] { return ombrel_ini_set(ini, "b", "l", " y "); },
                                            [&] { return ombrel_ini_set(ini, "c", "m", "1"); },
                                            [&] { return ombrel_ini_add(ini, "a", "k", "3"); },
                                            [&] { return ombrel_ini_rename(ini, "b", "l", "n"); },
                                            [&] { return ombrel_ini_rename_section(ini, "a", "d"); },
                                            [&] { return ombrel_ini_set_list(ini, "d", "o", items, 2); },
                                            [&] { return ombrel_ini_delete(ini, "d", "o") == 1 ? 0 : -1; },
                                            [&] { return ombrel_ini_delete_section(ini, "d"); }};
    for (const auto& change : changes) {
        const std::string before = text_of(ini);
        if (fail.during(change) == 0)
            continue;
        EXPECT_TRUE(fail.hit());
        EXPECT_EQ(before, text_of(ini));
        EXPECT_EQ(0, change());
    }
    EXPECT_EQ("[b]\nn = \" y \"\n[c]\nm = 1", text_of(ini));
    char** const list = fail.during([&] { return ombrel_alloc_ini_list(ini, "b", "n", nullptr); });
    EXPECT_EQ(fail.hit(), list == nullptr);
    ombrel_free(list);
    ombrel_close_ini(ini);
}

// A list takes the place of several values, one of which stands beside its section's head.
OMBREL_FAILURES(Document, ini_list) {
    constexpr const char text[] = "[a] k = 1\n\tk = 2\n\tl = 3\n[a] k = 4\n[a]\n\tk = 5\n";
    ombrel_ini_options_t options;
    ombrel_init_ini_options(&options);
    options.m_flags = def_ombrel_ini_dialect_git;
    ombrel_ini_t* const ini = ombrel_open_ini(&options);
    ASSERT_EQ(0, ombrel_ini_load(ini, text, strlen(text)));
    const char* const items[] = {"x", "y"};
    const auto set = [&] { return ombrel_ini_set_list(ini, "a", "k", items, 2); };
    if (!refused_when_hit(fail, set)) {
        EXPECT_EQ(def_ombrel_fault_no_memory, ombrel_last_fault());
        EXPECT_EQ(text, text_of(ini));
        EXPECT_EQ(4, ombrel_ini_get_count(ini, "a", "k"));
        EXPECT_EQ(0, set());
    }
    EXPECT_EQ("[a]\n\tl = 3\n[a]\n[a]\n\tk = x, y\n", text_of(ini));
    EXPECT_EQ(1, ombrel_ini_get_count(ini, "a", "k"));
    size_t count = 7;
    char** const list = fail.during([&] { return ombrel_alloc_ini_list(ini, "a", "k", &count); });
    EXPECT_EQ(fail.hit(), list == nullptr);
    EXPECT_EQ(fail.hit() ? 7u : 2u, count);
    ombrel_free(list);
    ombrel_close_ini(ini);
}

} // namespace
} // namespace ombrel_test
