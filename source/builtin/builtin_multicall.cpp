// Contexts that run commands: "application/tuk_multicall" and "application/tuk_multicall_builtin".
#include <ombrel/multicall.h>

#include "builtin/builtin_kind.h"

namespace ombrel::builtin {

namespace {

int open_multicall(builtin_ctx& ctx) {
    if (*ctx.source == '\0' || ombrel_find_multicall_command(ctx.source) != nullptr)
        return 0;
    return fail(ctx, def_ombrel_ctx_error_not_found);
}

// The command is looked for again, as it may have been unregistered meanwhile.
int execute(const builtin_ctx& ctx, const ombrel_multicall_execute_t& call) {
    if (*ctx.source == '\0')
        return ombrel_execute_multicall(call.m_argc, call.m_argv);
    return ombrel_execute_multicall_command(ombrel_find_multicall_command(ctx.source), call.m_argc,
                                            call.m_argv);
}

int control_multicall(builtin_ctx& ctx, uint32_t code, void* record, size_t size) {
    if (code != def_ombrel_multicall_control_execute)
        return refuse_control(ctx);
    auto* const call = control_record<ombrel_multicall_execute_t>(ctx, record, size);
    if (call == nullptr)
        return -1;
    call->m_exit_code = execute(ctx, *call);
    return 0;
}

} // namespace

constinit const builtin_kind builtin_multicall = {
    .open = open_multicall,
    .control = control_multicall,
};

} // namespace ombrel::builtin
