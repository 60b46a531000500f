// Plug-ins and contexts.
#include <ombrel/ctx.h>
#include <ombrel/dl.h>

#include "alloc_failure/injection.h"

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
    const int opened = fail.during([&] { return ombrel_open_ctx(ctx.handle, "test/bare"); });
    EXPECT_EQ(opened, fail.hit() ? -1 : 0);
    EXPECT_EQ(ombrel_ctx_get_last_error(ctx.handle), fail.hit() ? def_ombrel_ctx_error_no_memory : 0);
    ombrel_ctx_set_option(ctx.handle, "name", "before");
    const int set = fail.during([&] { return ombrel_ctx_set_option_fstring(ctx.handle, "Name", "%d", 100); });
    EXPECT_TRUE(set == 0 || fail.hit());
    EXPECT_STREQ(ombrel_ctx_get_option(ctx.handle, "name"), set == 0 ? "100" : "before");
    ombrel_ctx_set_last_error(ctx.handle, 0);
    const int long_set =
        fail.during([&] { return ombrel_ctx_set_option_fstring(ctx.handle, "a", "%300d", 1); });
    EXPECT_EQ(ombrel_ctx_get_last_error(ctx.handle), long_set == 0 ? 0 : def_ombrel_ctx_error_no_memory);
    fail.during([&] { return ombrel_ctx_printf(ctx.handle, "%d", 1); });
    fail.during([&] { return ombrel_ctx_simple_http_get("http://127.0.0.1:1/", "a: b", 0, nullptr); });
    EXPECT_EQ(0, ombrel_unload_plugin(handle));
}

} // namespace
} // namespace ombrel_test
