#include "builtin/builtin_kind.h"

#include <ombrel/assert.h>
#include <ombrel/ctx_interface.h>

#include "context/ctx_fault.h"

namespace ombrel::builtin {

int refuse(int handle, int error) {
    ombrel_ctx_set_error_word(handle, error);
    return -1;
}

int fail(const builtin_ctx& ctx, int error) {
    return refuse(ctx.handle, error);
}

int fail_in_words(const builtin_ctx& ctx, int error, const char* words) {
    ombrel_ctx_set_last_error_text(ctx.handle, error, words);
    return -1;
}

int fail_by_system(const builtin_ctx& ctx) {
    const fault why = last_fault();
    return fail_in_words(ctx, context::ctx_error_of(why.code), fault_text(why));
}

bool keeps_to_mode(const builtin_ctx& ctx, direction wanted) {
    if (!ctx.kind->is_bound_by_mode || ctx.mode.*wanted)
        return true;
    fail(ctx, def_ombrel_ctx_error_not_supported);
    return false;
}

bool is_control_record(const builtin_ctx& ctx, size_t size, size_t wanted) {
    if (size == wanted)
        return true;
    ombrel_assert_fail_tag("source/builtin_plugin", ctx.control_function.load(std::memory_order_relaxed),
                           __LINE__, "s_arg_size == sizeof(*s_arg)");
    fail(ctx, def_ombrel_ctx_error_invalid_argument);
    return false;
}

bool read_switch(const builtin_ctx& ctx, const char* name, bool& is_on) {
    int number = is_on ? 1 : 0;
    const bool is_read = read_option(ctx, name, number);
    is_on = number != 0;
    return is_read;
}

} // namespace ombrel::builtin
