// Plug-ins and contexts, commands by name, and what the plug-ins over outside libraries allocate themselves.
#include <ombrel/ctx.h>
#include <ombrel/dl.h>
#include <ombrel/multicall.h>
#include <ombrel/window_event.h>

#include "alloc_failure/injection.h"

#if defined(OMBREL_TEST_SQLITE)
#include <memory>

#include "../plugins/curl_headers.h"
#include "../plugins/sqlite_result.h"
#endif

#if defined(OMBREL_TEST_WINDOW)
#include <cstdlib>

#include <ombrel/ctx_interface.h>

OMBREL_PLUGIN_API int ombrel_plugin_initialize(const char** hint, const void** interface_table, size_t* size);
OMBREL_PLUGIN_API int ombrel_plugin_uninitialize(void);
#endif

namespace ombrel_test {
namespace {

constexpr const char bare[] = OMBREL_TEST_MODULES "bare.so";

/// A context made without failures.
class made_ctx : no_copy {
public:
    made_ctx() : handle(ombrel_new_ctx()) {}
    ~made_ctx() { ombrel_destroy_ctx(handle); }
    const int handle;
};

OMBREL_FAILURES(Plugin, search_list) {
    void* library = fail.during([] { return ombrel_open_dl_ex("nowhere/bare.so", OMBREL_TEST_MODULES, 0); });
    EXPECT_TRUE(fail.hit() || library != nullptr);
    ombrel_close_dl(library);
}

OMBREL_FAILURES(Plugin, load) {
    const int handle = fail.during([] { return ombrel_load_plugin(bare, nullptr); });
    EXPECT_EQ(fail.hit(), handle == -1);
    EXPECT_EQ(fail.hit(), ombrel_get_plugin_info() == nullptr);
    ombrel_unload_plugin(handle);
}

OMBREL_FAILURES(Plugin, context) {
    const int ctx = fail.during(ombrel_new_ctx);
    EXPECT_TRUE(ctx > 0 || fail.hit());
    EXPECT_EQ(ombrel_destroy_ctx(ctx), ctx > 0 ? 0 : -1);
    EXPECT_EQ(nullptr, ombrel_get_plugin_info());
}

OMBREL_FAILURES(Plugin, open_and_options) {
    const made_ctx ctx;
    const int handle = ombrel_load_plugin(bare, nullptr);
    refused_when_hit(fail, [&] { return ombrel_open_ctx(ctx.handle, "test/bare"); });
    EXPECT_EQ(ombrel_ctx_get_last_error(ctx.handle), fail.hit() ? def_ombrel_ctx_error_no_memory : 0);
    ombrel_ctx_set_option(ctx.handle, "name", "before");
    const int set = fail.during([&] { return ombrel_ctx_set_option_fstring(ctx.handle, "Name", "%d", 100); });
    EXPECT_TRUE(set == 0 || fail.hit());
    EXPECT_STREQ(ombrel_ctx_get_option(ctx.handle, "name"), set == 0 ? "100" : "before");
    ombrel_ctx_set_last_error(ctx.handle, 0);
    const int long_set =
        fail.during([&] { return ombrel_ctx_set_option_fstring(ctx.handle, "a", "%300d", 1); });
    EXPECT_EQ(ombrel_ctx_get_last_error(ctx.handle), long_set == 0 ? 0 : def_ombrel_ctx_error_no_memory);
    EXPECT_EQ(long_set == 0, ombrel_ctx_get_option(ctx.handle, "a") != nullptr);
    fail.during([&] { return ombrel_ctx_printf(ctx.handle, "%d", 1); });
    EXPECT_EQ(0, ombrel_unload_plugin(handle));
}

OMBREL_FAILURES(Plugin, open_with_long_texts) {
    const made_ctx ctx;
    const int handle = ombrel_load_plugin(bare, nullptr);
    const std::string mime_type = "test/bare/" + std::string(100, 'x');
    const bool is_open =
        refused_when_hit(fail, [&] { return ombrel_open_ctx(ctx.handle, mime_type.c_str()); });
    EXPECT_EQ(is_open ? 0 : def_ombrel_ctx_error_no_memory, ombrel_ctx_get_last_error(ctx.handle));
    EXPECT_STREQ(is_open ? mime_type.c_str() : nullptr, ombrel_get_ctx_mime_type(ctx.handle));
    ombrel_close_ctx(ctx.handle);
    EXPECT_EQ(0, ombrel_unload_plugin(handle));
}

OMBREL_FAILURES(Plugin, simple_http_get) {
    const int handle = ombrel_load_plugin(bare, nullptr);
    const std::string served(20000, 'x'); // by that plug-in; more than the first room for it
    const auto get = [] { return ombrel_ctx_simple_http_get("bare:", "a: b", 0, nullptr); };
    text_or_null(fail, served.c_str(), [&] { return static_cast<char*>(get()); });
    EXPECT_EQ(0, ombrel_unload_plugin(handle));
}

OMBREL_FAILURES(Multicall, registration) {
    const auto do_nothing = [](int, char**) { return 0; };
    const ombrel_multicall_command_t command = {"nothing", do_nothing, nullptr, nullptr, nullptr};
    const bool known = refused_when_hit(fail, [&] { return ombrel_register_multicall_command(&command); });
    EXPECT_EQ(known ? &command : nullptr, ombrel_find_multicall_command("nothing"));
    EXPECT_EQ(known ? 0 : -1, ombrel_unregister_multicall_command(&command));
}

OMBREL_FAILURES(Multicall, commands) {
    const char* const calls[][4] = {{"digest", "/proc/self/exe"},
                                    {"base64", "-w", "9", "/proc/self/cmdline"},
                                    {"cat", "/proc/self/cmdline"},
                                    {"get", "-H", "a: b", "/proc/self/cmdline"},
                                    {"plugins"}};
    for (const auto& call : calls) {
        char* arguments[5] = {};
        int count = 0;
        for (const char* const argument : call)
            if (argument != nullptr)
                arguments[count++] = const_cast<char*>(argument);
        const int exit_code = fail.during([&] { return ombrel_execute_multicall(count, arguments); });
        EXPECT_TRUE(exit_code == 0 || (fail.hit() && exit_code <= def_ombrel_multicall_exit_usage))
            << call[0];
    }
}

OMBREL_FAILURES(Framebuffer, memory) {
    const int ctx = ombrel_new_ctx();
    ombrel_ctx_set_option(ctx, "xywh", "0,0,10,10");
    const int result = fail.during([&] { return ombrel_open_ctx(ctx, "application/tuk_fb"); });
    EXPECT_TRUE(result == 0 || fail.hit());
    EXPECT_EQ(ombrel_ctx_get_last_error(ctx), result != 0 ? def_ombrel_ctx_error_no_memory : 0);
    EXPECT_EQ(0, ombrel_destroy_ctx(ctx));
}

OMBREL_FAILURES(Framebuffer, window_events) {
    null_when_hit(fail, ombrel_free_window_events, ombrel_new_window_events);
}

#if defined(OMBREL_TEST_WINDOW)
// Without a screen, and without the registry of plug-ins.
OMBREL_FAILURE_ONCE(Window, open) {
    const char* hint;
    const void* table;
    size_t size;
    setenv("SDL_VIDEODRIVER", "dummy", 1);
    ASSERT_EQ(0, ombrel_plugin_initialize(&hint, &table, &size));
    const auto& operations = static_cast<const ombrel_ctx0_v1_interface_t*>(table)->m_v0;
    {
        const made_ctx ctx;
        ombrel_ctx_set_option(ctx.handle, "xywh", "0,0,10,10");
        if (done_or_refused(fail, [&] { return operations.m_open(ctx.handle, hint); }) == 0)
            EXPECT_EQ(0, operations.m_close(ctx.handle));
        else
            EXPECT_NE(0, ombrel_ctx_get_last_error(ctx.handle));
    }
    EXPECT_EQ(0, ombrel_plugin_uninitialize());
}
#endif

#if defined(OMBREL_TEST_SQLITE)
OMBREL_FAILURES(Sqlite, results) {
    sqlite3* db = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(":memory:", &db));
    const ombrel_ctx_db_value_t parameters[] = {{def_ombrel_ctx_db_blob, 0, 0, "bytes", 5},
                                                {def_ombrel_ctx_db_text, 0, 0, "text", 4}};
    {
        ombrel_ctx_db_result_ts result;
        const int started = fail.during([&] { return result.start(db, "SELECT ?, ?, 1", parameters, 2); });
        EXPECT_EQ(started, fail.hit() ? SQLITE_NOMEM : SQLITE_OK);
        if (started == SQLITE_OK) {
            const int fetched = fail.during([&] { return result.fetch(); });
            EXPECT_EQ(fetched, fail.hit() ? SQLITE_NOMEM : SQLITE_ROW);
        }
    }
    EXPECT_EQ(SQLITE_OK, sqlite3_close(db));
}

OMBREL_FAILURES(Curl, headers) {
    header_lines headers;
    const bool added = fail.during([&] { return headers.add("Name: value\r\n"); });
    EXPECT_EQ(added, !fail.hit());
    EXPECT_EQ(headers.field("name"), added ? "value" : "");
}
#endif

} // namespace
} // namespace ombrel_test
