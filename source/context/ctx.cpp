#include <ombrel/ctx.h>

#include <new>

#include "context/ctx_internal.h"

using namespace ombrel;
using namespace ombrel::context;

namespace {

// Null when memory runs out or the built-in plug-in cannot be loaded.
ctx_record* make_context() {
    void* block = ombrel_alloc_tag(sizeof(ctx_record), "ombrel_new_ctx", __LINE__);
    if (block == nullptr)
        return nullptr;
    auto* ctx = new (block) ctx_record;
    ctx->base_plugin = plugin::load_plugin(nullptr, nullptr);
    if (ctx->base_plugin.handle >= 0)
        return ctx;
    ctx_type.m_destroy(ctx);
    return nullptr;
}

} // namespace

int ombrel_new_ctx(void) {
    ctx_record* ctx = make_context();
    if (ctx == nullptr)
        return -1;
    const int handle = register_instance(ctx_type, ctx);
    if (handle > 0)
        return ctx->handle = handle;
    ctx_type.m_destroy(ctx);
    if (handle == no_instance_left)
        plugin::report_no_handle("ombrel_new_ctx");
    return -1;
}

int ombrel_destroy_ctx(int handle) {
    const ctx_pin ctx(handle);
    if (ctx && ctx->is_changed_here())
        return fail<int>(handle, def_ombrel_ctx_error_busy);
    return end_instance(ctx_type, handle) ? 0 : -1;
}

int ombrel_open_ctx(int handle, const char* mime_type) {
    const ctx_change ctx(handle);
    return ctx ? open(*ctx, mime_type) : refuse_opening(handle);
}

int ombrel_close_ctx(int handle) {
    const ctx_change ctx(handle);
    return ctx ? close(*ctx) : fail<int>(handle, def_ombrel_ctx_error_busy);
}

const char* ombrel_get_ctx_plugin_name(int handle) {
    const ctx_call ctx(handle, instance_call::query);
    return ctx && ctx->bound ? ctx->bound->m_name : nullptr;
}

const char* ombrel_get_ctx_mime_type_hint(int handle) {
    const ctx_call ctx(handle, instance_call::query);
    return ctx && ctx->bound ? ctx->bound->m_mime_type_hint : nullptr;
}

int ombrel_check_ctx_mime_type(int handle, const char* mime_type) {
    const ctx_call ctx(handle, instance_call::query);
    return ctx && ctx->bound ? ombrel_compare_mime_type_hint(ctx->bound->m_mime_type_hint, mime_type) : -1;
}

const char* ombrel_get_ctx_mime_type(int handle) {
    const ctx_call ctx(handle, instance_call::query);
    return ctx ? ctx->mime_type.get() : nullptr;
}
