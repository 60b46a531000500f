#include <ombrel/ctx.h>

#include <cstring>
#include <new>

#include <ombrel/string.h>

#include "context/ctx_internal.h"
#include "core/spin_lock_guard.h"
#include "plugin/auto_load.h"

namespace ombrel::plugin {

namespace {

void destroy_context(void* object) {
    auto* ctx = static_cast<context*>(object);
    drop_plugin_use(ctx->base_plugin);
    ctx->~context();
    ombrel_free_tag(ctx, "ombrel_destroy_ctx", __LINE__);
}

/// Holds a plug-in's record shared while its open or close operation runs.
class operation_guard : spin_lock_guard {
public:
    operation_guard(plugin_record& plugin, const char* tag)
        : spin_lock_guard(plugin.m_lock, def_ombrel_spin_lock_shared, tag, __LINE__) {}
};

void bind(context& ctx, plugin_record* plugin) {
    ctx.bound.reset(plugin);
    ctx.table = static_cast<const ombrel_ctx0_v0_interface_t*>(plugin->m_interface);
    ctx.descriptor = -1;
    ctx.data = nullptr;
    memset(ctx.state, 0, sizeof ctx.state);
    ctx.error = def_ombrel_ctx_error_none;
}

// An error that the plug-in keeps itself stays with the context.
void unbind(context& ctx) {
    ctx.error = ctx.last_error();
    ctx.table = nullptr;
    ctx.bound.reset();
    ctx.descriptor = -1;
    ctx.data = nullptr;
}

int call_open(context& ctx) {
    const operation_guard guard(*ctx.bound, "ombrel_open_ctx");
    return ctx.table->m_open(ctx.handle, ctx.mime_type.get());
}

// Asks one plug-in after the other, newest first, until one does not say "not supported"; its result.
int open_first_willing(context& ctx) {
    int result = -1;
    while (plugin_record* plugin = bind_plugin_for(ctx.mime_type.get(), ctx.bound.get())) {
        bind(ctx, plugin);
        result = call_open(ctx);
        if (result == 0 || ctx.last_error() != def_ombrel_ctx_error_not_supported)
            break;
    }
    return result;
}

// The same, unbound again when it is refused.
int try_to_open(context& ctx) {
    const int result = open_first_willing(ctx);
    if (result == 0)
        return 0;
    unbind(ctx);
    if (ctx.error == def_ombrel_ctx_error_none)
        ctx.error = def_ombrel_ctx_error_not_supported;
    return result;
}

int call_close(context& ctx) {
    const operation_guard guard(*ctx.bound, "ombrel_close_ctx");
    return ctx.table->m_close != nullptr ? ctx.table->m_close(ctx.handle) : 0;
}

int close(context& ctx) {
    const int result = ctx.bound ? call_close(ctx) : 0;
    unbind(ctx);
    ctx.mime_type.reset();
    ctx.options.clear();
    return result;
}

void finish_context(void* object) {
    auto* ctx = static_cast<context*>(object);
    ctx->changer = &thread_mark;
    close(*ctx);
}

// From a thread that is not inside, while another opens or closes it: the code of that one goes before.
void set_error_outside(context& ctx, int code) {
    int none = def_ombrel_ctx_error_none;
    ctx.error.compare_exchange_strong(none, code);
}

bool is_bound(int handle) {
    const ctx_call ctx(handle, instance_call::query);
    return ctx && ctx->bound;
}

// Null when memory runs out or the built-in plug-in cannot be loaded.
context* make_context() {
    void* block = ombrel_alloc_tag(sizeof(context), "ombrel_new_ctx", __LINE__);
    if (block == nullptr)
        return nullptr;
    auto* ctx = new (block) context;
    ctx->base_plugin = load_plugin(nullptr, nullptr);
    if (ctx->base_plugin.handle >= 0)
        return ctx;
    destroy_context(ctx);
    return nullptr;
}

} // namespace

const instance_type ctx_type{"application/tuk_base_ctx", destroy_context, finish_context};

int open(context& ctx, const char* mime_type) {
    ctx.set_last_error(def_ombrel_ctx_error_none);
    if (ctx.bound)
        return fail<int>(ctx, def_ombrel_ctx_error_already_open);
    if (!ctx.mime_type.set(mime_type, "ombrel_open_ctx"))
        return fail<int>(ctx, def_ombrel_ctx_error_no_memory);
    int result = try_to_open(ctx);
    // Another thread may just be bringing the plug-in for it.
    if (result != 0 && ctx.error == def_ombrel_ctx_error_not_supported && wait_for_auto_loads()) {
        ctx.error = def_ombrel_ctx_error_none;
        result = try_to_open(ctx);
    }
    if (result != 0)
        ctx.mime_type.reset();
    return result;
}

int refuse_opening(int handle) {
    return fail<int>(handle,
                     is_bound(handle) ? def_ombrel_ctx_error_already_open : def_ombrel_ctx_error_busy);
}

bool context::is_changed_here() const {
    return changer == &thread_mark;
}

int context::last_error() const {
    const auto own = operation(&v0_interface::m_get_last_error);
    return own != nullptr ? own(handle) : error.load();
}

int context::set_last_error(int code) {
    if (const auto own = operation(&v0_interface::m_set_last_error))
        return own(handle, code);
    error = code;
    return 0;
}

void ctx_call::enter_own_change(int handle, instance_call call) {
    const pinned_instance pinned = pin_instance(ctx_type, handle);
    if (pinned.object == nullptr)
        return;
    auto& ctx = *static_cast<context*>(pinned.object);
    is_in_change_ = ctx.is_changed_here();
    if (is_in_change_) {
        held_ = pinned;
        return;
    }
    if (call != instance_call::query)
        set_error_outside(ctx, def_ombrel_ctx_error_busy);
    unpin_instance(pinned.slot);
}

} // namespace ombrel::plugin

using namespace ombrel;
using namespace ombrel::plugin;

int ombrel_new_ctx(void) {
    context* ctx = make_context();
    if (ctx == nullptr)
        return -1;
    const int handle = register_instance(ctx_type, ctx);
    if (handle > 0)
        return ctx->handle = handle;
    destroy_context(ctx);
    if (handle == no_instance_left)
        report_no_handle("ombrel_new_ctx");
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
    if (ctx)
        return open(*ctx, mime_type);
    return fail<int>(handle,
                     is_bound(handle) ? def_ombrel_ctx_error_already_open : def_ombrel_ctx_error_busy);
}

int ombrel_close_ctx(int handle) {
    const ctx_change ctx(handle);
    return ctx ? close(*ctx) : fail<int>(handle, def_ombrel_ctx_error_busy);
}

int ombrel_ctx_get_last_error(int handle) {
    const ctx_call ctx(handle, instance_call::query);
    if (ctx)
        return ctx->last_error();
    const ctx_pin outside(handle);
    return outside ? outside->error.load() : -1;
}

int ombrel_ctx_set_last_error(int handle, int error) {
    const ctx_call ctx(handle, instance_call::query);
    if (ctx)
        return ctx->set_last_error(error);
    const ctx_pin outside(handle);
    if (outside)
        set_error_outside(*outside, error);
    return outside ? 0 : -1;
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
