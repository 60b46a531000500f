// The commands by name, and frame buffers.
#include <ombrel/ctx.h>
#include <ombrel/multicall.h>

#include "alloc_failure/injection.h"

namespace ombrel_test {
namespace {

int do_nothing(int, char**) {
    return 0;
}

OMBREL_FAILURES(Multicall, registration) {
    const ombrel_multicall_command_t command = {"nothing", do_nothing, nullptr, nullptr, nullptr};
    const int result = fail.during([&] { return ombrel_register_multicall_command(&command); });
    EXPECT_EQ(result, fail.hit() ? -1 : 0);
    EXPECT_EQ(ombrel_find_multicall_command("nothing"), fail.hit() ? nullptr : &command);
    EXPECT_EQ(ombrel_unregister_multicall_command(&command), result);
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
        const descriptor_balance descriptors;
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

} // namespace
} // namespace ombrel_test
