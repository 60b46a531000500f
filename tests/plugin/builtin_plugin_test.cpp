#include <cstdlib>
#include <string>

#include <unistd.h>

#include <ombrel/builtin_plugin.h>
#include <ombrel/ctx_interface.h>

#include "plugin/probe_library.h"
#include "plugin/stream_support.h"

using namespace ombrel_test;

namespace {

class BuiltinPluginTest : public stream_test {};

bool is_loaded(const std::string& name) {
    for (const ombrel_plugin_t* one = ombrel_get_plugin_info(); one != nullptr; one = one->m_next) {
        if (name == one->m_name)
            return true;
    }
    return false;
}

TEST_F(BuiltinPluginTest, gives_its_table) {
    const char* hint = nullptr;
    const void* address = nullptr;
    size_t size = 0;
    EXPECT_EQ(-1, ombrel_plugin_initialize_builtin_plugin(&hint, nullptr, &size));
    EXPECT_EQ(-1, ombrel_plugin_initialize_builtin_plugin(&hint, &address, nullptr));
    ASSERT_EQ(0, ombrel_plugin_initialize_builtin_plugin(&hint, &address, &size));
    EXPECT_EQ(0, ombrel_plugin_uninitialize_builtin_plugin());
    EXPECT_STREQ("application/tuk_base;application/tuk_stream*;application/tuk_fb;application/tuk_linuxfb;"
                 "application/tuk_windows_dib;application/tuk_multicall*",
                 hint);
    const auto* const table = static_cast<const ombrel_ctx0_v1_interface_t*>(address);
    EXPECT_EQ(sizeof *table, size);
    EXPECT_EQ(size, table->m_v0.m_size);
    EXPECT_EQ(1u, table->m_v0.m_version);
    EXPECT_NE(nullptr, table->m_v0.m_main);
}

TEST_F(BuiltinPluginTest, tells_the_kind_of_a_context) {
    const struct {
        const char* mime_type;
        intptr_t kind;
    } cases[] = {{"application/tuk_base", 0},     {"application/tuk_multicall", 1},
                 {"application/tuk_stream", 100}, {"application/tuk_stream_file", 101},
                 {"application/tuk_fb", 200},     {"application/TUK_fb", -1}};
    for (const auto& one : cases) {
        const bool is_multicall = one.kind == 1;
        const stream s(is_multicall ? "cat" : "/dev/null", "r", {}, one.mime_type);
        EXPECT_EQ(one.kind, ombrel_ctx_get_plugin_descriptor(s.handle())) << one.mime_type;
    }
}

TEST_F(BuiltinPluginTest, a_base_context_has_no_operations) {
    const stream s("", "r", {}, "application/tuk_base");
    EXPECT_TRUE(s.is_open());
    EXPECT_EQ(-1, ombrel_ctx_seek(s.handle(), 0, def_ombrel_ctx_seek_set));
    EXPECT_EQ(def_ombrel_ctx_error_not_supported, s.error());
}

TEST_F(BuiltinPluginTest, brings_another_where_it_is_installed) {
    char directory[] = "/tmp/ombrel_plugins_XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(directory));
    const std::string name = "ombrel_plugin_curl.so", path = std::string(directory) + "/" + name;
    ASSERT_EQ(0, symlink(module_path("probe_a").c_str(), path.c_str()));
    setenv("OMBREL_PLUGIN_PATH", (std::string("/nowhere:") + directory).c_str(), 1);
    const int first = ombrel_new_ctx(), second = ombrel_new_ctx();
    EXPECT_TRUE(is_loaded(name));
    ombrel_destroy_ctx(first);
    EXPECT_TRUE(is_loaded(name)) << "while a context is there";
    ombrel_destroy_ctx(second);
    EXPECT_FALSE(is_loaded(name));
    unsetenv("OMBREL_PLUGIN_PATH");
    unlink(path.c_str());
    rmdir(directory);
}

} // namespace
