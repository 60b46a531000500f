// INI files.
#include <cstring>
#include <functional>

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

} // namespace
} // namespace ombrel_test
