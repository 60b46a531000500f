// The main entry of the bound plug-in.
#include "plugin/ctx_internal.h"

using namespace ombrel::plugin;

ombrel_plugin_main_t ombrel_ctx_get_main_entry(int handle) {
    const ctx_pin ctx(handle);
    if (!ctx)
        return nullptr;
    const auto entry =
        ctx->bound ? main_entry(*ctx->bound, "source/ctx", "ombrel_ctx_get_main_entry") : nullptr;
    return entry != nullptr ? entry : fail<ombrel_plugin_main_t>(*ctx, def_ombrel_ctx_error_not_supported);
}

int ombrel_ctx_is_executable_main(int handle) {
    return ombrel_ctx_get_main_entry(handle) != nullptr ? 1 : 0;
}

int ombrel_ctx_execute_main(int handle, int argc, char** argv) {
    const auto entry = ombrel_ctx_get_main_entry(handle);
    return entry != nullptr ? entry(argc, argv) : 1;
}
