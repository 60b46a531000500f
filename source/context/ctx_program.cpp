// The main entry of the bound plug-in.
#include "context/ctx_internal.h"

using namespace ombrel;
using namespace ombrel::context;

namespace {

// The entry for a public function; `in_place`, unless it is null, receives what keeps the plug-in loaded.
ombrel_plugin_main_t find_entry(int handle, const char* function, plugin::plugin_binding* in_place) {
    const ctx_call ctx(handle);
    if (!ctx)
        return nullptr;
    const auto entry = ctx->bound ? plugin::main_entry(*ctx->bound, "source/interface", function) : nullptr;
    if (entry == nullptr)
        return fail<ombrel_plugin_main_t>(*ctx, def_ombrel_ctx_error_not_supported);
    if (in_place != nullptr)
        in_place->reset(plugin::bind_again(*ctx->bound));
    return entry;
}

} // namespace

ombrel_plugin_main_t ombrel_ctx_get_main_entry(int handle) {
    return find_entry(handle, "ombrel_ctx_get_main_entry", nullptr);
}

int ombrel_ctx_is_executable_main(int handle) {
    return find_entry(handle, "ombrel_ctx_is_executable_main", nullptr) != nullptr ? 1 : 0;
}

// Inside the context only until the entry is found, so that the program may close and destroy it.
int ombrel_ctx_execute_main(int handle, int argc, char** argv) {
    plugin::plugin_binding in_place;
    const auto entry = find_entry(handle, "ombrel_ctx_execute_main", &in_place);
    return entry != nullptr ? entry(argc, argv) : 1;
}
