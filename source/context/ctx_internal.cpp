#include "context/ctx_internal.h"

#include <cstring>

#include <ombrel/output.h>
#include <ombrel/printf.h>

#include "core/spin_lock_guard.h"
#include "core/wipe.h"
#include "plugin/auto_load.h"
#include "text/uri_scheme.h"

namespace ombrel::context {

namespace {

void destroy_context(void* object) {
    auto* ctx = static_cast<ctx_record*>(object);
    plugin::drop_plugin_use(ctx->base_plugin);
    ctx->~ctx_record();
    ombrel_free_tag(ctx, "ombrel_destroy_ctx", __LINE__);
}

/// Holds a plug-in's record shared while its open or close operation runs.
class OMBREL_GUARD_CLASS operation_guard : spin_lock_guard {
public:
    operation_guard(plugin::plugin_record& plugin, const char* tag)
        OMBREL_ACQUIRES(plugin.m_lock) OMBREL_UNCHECKED
        : spin_lock_guard(plugin.m_lock, def_ombrel_spin_lock_shared, tag, __LINE__) {}
    ~operation_guard() OMBREL_RELEASES() OMBREL_UNCHECKED {}
};

void bind(ctx_record& ctx, plugin::plugin_record* plugin) {
    ctx.bound.reset(plugin);
    ctx.table = static_cast<const ombrel_ctx0_v0_interface_t*>(plugin->m_interface);
    ctx.descriptor = -1;
    ctx.data = nullptr;
    memset(ctx.state, 0, sizeof ctx.state);
    ctx.error = def_ombrel_ctx_error_none;
}

// An error that the plug-in keeps itself stays with the context.
void unbind(ctx_record& ctx) {
    ctx.error = ctx.last_error();
    ctx.table = nullptr;
    ctx.bound.reset();
    ctx.descriptor = -1;
    ctx.data = nullptr;
}

int call_open(ctx_record& ctx) {
    const operation_guard guard(*ctx.bound, "ombrel_open_ctx");
    return ctx.table->m_open(ctx.handle, ctx.mime_type.get());
}

// Asks one plug-in after the other, newest first, until one does not say "not supported"; its result.
int open_first_willing(ctx_record& ctx) {
    int result = -1;
    while (plugin::plugin_record* plugin = plugin::bind_plugin_for(ctx.mime_type.get(), ctx.bound.get())) {
        bind(ctx, plugin);
        result = call_open(ctx);
        if (result == 0 || ctx.last_error() != def_ombrel_ctx_error_not_supported)
            break;
    }
    return result;
}

// The same, unbound again when it is refused.
int try_to_open(ctx_record& ctx) {
    const int result = open_first_willing(ctx);
    if (result == 0)
        return 0;
    unbind(ctx);
    if (ctx.error == def_ombrel_ctx_error_none)
        ctx.error = def_ombrel_ctx_error_not_supported;
    return result;
}

bool is_scheme_allowed(const option_list& options) {
    const char* const schemes = options.get("schemes");
    const char* const source = options.get("source");
    return schemes == nullptr || is_listed_scheme(schemes, scheme_of(source != nullptr ? source : ""));
}

int refuse_scheme(ctx_record& ctx) {
    ctx.set_last_error(def_ombrel_ctx_error_access_denied);
    ctx.words.set(def_ombrel_ctx_error_access_denied, "the option \"schemes\" does not have this scheme");
    return -1;
}

// For those who debug their program: nothing else tells which plug-in was missing.
void report_unserved(const ctx_record& ctx) {
    const char* const debug = ctx.options.get("debug");
    if (ctx.error != def_ombrel_ctx_error_not_supported || debug == nullptr || atoi(debug) == 0)
        return;
    const char* const source = ctx.options.get("source");
    ombrel_error_printf("ombrel_open_ctx: [ERROR] \x1b[1;31mno plug-in serves it !\x1b[0m (mime_type=\"%s\", "
                        "source=\"%s\")\n",
                        ctx.mime_type.get(), source);
}

int call_close(ctx_record& ctx) {
    const operation_guard guard(*ctx.bound, "ombrel_close_ctx");
    return ctx.table->m_close != nullptr ? ctx.table->m_close(ctx.handle) : 0;
}

void finish_context(void* object) {
    auto* ctx = static_cast<ctx_record*>(object);
    ctx->changer = platform::thread_mark();
    close(*ctx);
}

bool is_bound(int handle) {
    const ctx_call ctx(handle, instance_call::query);
    return ctx && ctx->bound;
}

} // namespace

const instance_type ctx_type{"application/tuk_base_ctx", destroy_context, finish_context};

int close(ctx_record& ctx) {
    const int result = ctx.bound ? call_close(ctx) : 0;
    unbind(ctx);
    ctx.mime_type.reset();
    ctx.options.clear();
    return result;
}

int open(ctx_record& ctx, const char* mime_type) {
    ctx.set_last_error(def_ombrel_ctx_error_none);
    if (ctx.bound)
        return fail<int>(ctx, def_ombrel_ctx_error_already_open);
    if (!is_scheme_allowed(ctx.options))
        return refuse_scheme(ctx);
    if (!ctx.mime_type.set(mime_type, "ombrel_open_ctx"))
        return fail<int>(ctx, def_ombrel_ctx_error_no_memory);
    int result = try_to_open(ctx);
    // Another thread may just be bringing the plug-in for it.
    if (result != 0 && ctx.error == def_ombrel_ctx_error_not_supported && plugin::wait_for_auto_loads()) {
        ctx.error = def_ombrel_ctx_error_none;
        result = try_to_open(ctx);
    }
    if (result != 0) {
        report_unserved(ctx);
        ctx.mime_type.reset();
    }
    return result;
}

int refuse_opening(int handle) {
    return fail<int>(handle,
                     is_bound(handle) ? def_ombrel_ctx_error_already_open : def_ombrel_ctx_error_busy);
}

bool ctx_record::is_changed_here() const {
    return changer == platform::thread_mark();
}

int ctx_record::last_error() const {
    const auto own = operation(&v0_interface::m_get_last_error);
    return own != nullptr ? own(handle) : error.load();
}

int ctx_record::set_last_error(int code) {
    words.clear();
    if (const auto own = operation(&v0_interface::m_set_last_error))
        return own(handle, code);
    error = code;
    return 0;
}

void ctx_call::enter_own_change(int handle, instance_call call) {
    const pinned_instance pinned = pin_instance(ctx_type, handle);
    if (pinned.object == nullptr)
        return;
    auto& ctx = *static_cast<ctx_record*>(pinned.object);
    is_in_change_ = ctx.is_changed_here();
    if (is_in_change_) {
        held_ = pinned;
        return;
    }
    if (call != instance_call::query)
        set_error_outside(ctx, def_ombrel_ctx_error_busy);
    unpin_instance(pinned.slot);
}

void set_error_outside(ctx_record& ctx, int code) {
    int none = def_ombrel_ctx_error_none;
    ctx.error.compare_exchange_strong(none, code);
}

int set_last_error(int handle, int code) {
    const ctx_call ctx(handle, instance_call::query);
    if (ctx)
        return ctx->set_last_error(code);
    const ctx_pin outside(handle);
    if (outside)
        set_error_outside(*outside, code);
    return outside ? 0 : -1;
}

// Twice as large each time, as the formatter does not tell how long the whole would have been.
heap_ptr<char> format_text(const char* format, va_list args, const char* tag) {
    constexpr size_t first_size = 256, largest_size = size_t{1} << 30;
    for (size_t size = first_size; size <= largest_size; size *= 2) {
        heap_ptr<char> text(static_cast<char*>(ombrel_alloc_tag(size, tag, __LINE__)));
        if (!text)
            return {};
        va_list attempt;
        va_copy(attempt, args);
        const int stored = ombrel_vsnprintf(text.get(), size, format, attempt);
        va_end(attempt);
        if (static_cast<size_t>(stored) < size - 1)
            return text;
        wipe(text.get(), size); // it may hold the beginning of a password
    }
    return {};
}

} // namespace ombrel::context
