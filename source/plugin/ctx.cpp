#include <ombrel/ctx.h>

#include <cstring>
#include <new>

#include <ombrel/string.h>

#include "core/spin_lock_guard.h"
#include "plugin/ctx_internal.h"

namespace ombrel::plugin {

namespace {

void destroy_context(void* object) {
    auto* ctx = static_cast<context*>(object);
    drop_plugin_use(ctx->base_plugin);
    ctx->~context();
    ombrel_free_tag(ctx, "ombrel_destroy_ctx", __LINE__);
}

/// The sole right to bind and unbind a context, for a scope.
class change_guard {
public:
    explicit change_guard(context& ctx) : ctx_(ctx), held_(!ctx.is_changing.exchange(true)) {}
    ~change_guard() {
        if (held_)
            ctx_.is_changing = false;
    }
    change_guard(const change_guard&) = delete;
    change_guard& operator=(const change_guard&) = delete;

    explicit operator bool() const { return held_; }
    /// The context stays as it is from now on.
    void keep() { held_ = false; }

private:
    context& ctx_;
    bool held_;
};

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

int open(context& ctx, const char* mime_type) {
    ctx.set_last_error(def_ombrel_ctx_error_none);
    if (ctx.bound)
        return fail<int>(ctx, def_ombrel_ctx_error_already_open);
    ctx.mime_type.reset(mime_type != nullptr ? ombrel_strdup_tag(mime_type, "ombrel_open_ctx", __LINE__)
                                             : nullptr);
    if (mime_type != nullptr && !ctx.mime_type)
        return fail<int>(ctx, def_ombrel_ctx_error_no_memory);
    const int result = open_first_willing(ctx);
    if (result == 0)
        return 0;
    unbind(ctx);
    if (ctx.error == def_ombrel_ctx_error_none)
        ctx.error = def_ombrel_ctx_error_not_supported;
    ctx.mime_type.reset();
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
    ombrel_reset_value(&ctx.options);
    return result;
}

// Null when memory runs out or the built-in plug-in cannot be loaded.
context* make_context() {
    void* block = ombrel_alloc_tag(sizeof(context), "ombrel_new_ctx", __LINE__);
    if (block == nullptr)
        return nullptr;
    auto* ctx = new (block) context;
    ombrel_init_value(&ctx->options);
    ctx->base_plugin = load_plugin(nullptr, nullptr);
    if (ctx->base_plugin.handle >= 0)
        return ctx;
    destroy_context(ctx);
    return nullptr;
}

} // namespace

const instance_type ctx_type{"application/tuk_base_ctx", destroy_context};

int context::last_error() const {
    const auto own = operation(&v0_interface::m_get_last_error);
    return own != nullptr ? own(handle) : error;
}

int context::set_last_error(int code) {
    if (const auto own = operation(&v0_interface::m_set_last_error))
        return own(handle, code);
    error = code;
    return 0;
}

} // namespace ombrel::plugin

using namespace ombrel::plugin;

int ombrel_new_ctx(void) {
    context* ctx = make_context();
    if (ctx == nullptr)
        return -1;
    const int handle = register_instance(ctx_type, ctx);
    if (handle == -1)
        destroy_context(ctx);
    else
        ctx->handle = handle;
    return handle;
}

int ombrel_destroy_ctx(int handle) {
    const ctx_pin ctx(handle);
    if (!ctx)
        return -1;
    change_guard change(*ctx);
    if (!change)
        return fail<int>(*ctx, def_ombrel_ctx_error_busy);
    close(*ctx);
    change.keep();
    retire_instance(ctx_type, handle);
    return 0;
}

int ombrel_open_ctx(int handle, const char* mime_type) {
    const ctx_pin ctx(handle);
    if (!ctx)
        return -1;
    const change_guard change(*ctx);
    return change ? open(*ctx, mime_type) : fail<int>(*ctx, def_ombrel_ctx_error_busy);
}

int ombrel_close_ctx(int handle) {
    const ctx_pin ctx(handle);
    if (!ctx)
        return -1;
    const change_guard change(*ctx);
    return change ? close(*ctx) : fail<int>(*ctx, def_ombrel_ctx_error_busy);
}

int ombrel_ctx_get_last_error(int handle) {
    const ctx_pin ctx(handle);
    return ctx ? ctx->last_error() : -1;
}

int ombrel_ctx_set_last_error(int handle, int error) {
    const ctx_pin ctx(handle);
    return ctx ? ctx->set_last_error(error) : -1;
}

const char* ombrel_get_ctx_plugin_name(int handle) {
    const ctx_pin ctx(handle);
    return ctx && ctx->bound ? ctx->bound->m_name : nullptr;
}

const char* ombrel_get_ctx_mime_type_hint(int handle) {
    const ctx_pin ctx(handle);
    return ctx && ctx->bound ? ctx->bound->m_mime_type_hint : nullptr;
}

int ombrel_check_ctx_mime_type(int handle, const char* mime_type) {
    const ctx_pin ctx(handle);
    return ctx && ctx->bound ? ombrel_compare_mime_type_hint(ctx->bound->m_mime_type_hint, mime_type) : -1;
}

const char* ombrel_get_ctx_mime_type(int handle) {
    const ctx_pin ctx(handle);
    return ctx ? ctx->mime_type.get() : nullptr;
}
