// The context's record, and how its operations reach the plug-in.
#pragma once

#include <atomic>
#include <cstring>
#include <type_traits>

#include <ombrel/ctx.h>
#include <ombrel/ctx_interface.h>

#include "context/error_words.h"
#include "context/option_list.h"
#include "core/heap_ptr.h"
#include "platform/thread.h"
#include "plugin/plugin_registry.h"
#include "thread/instance.h"

namespace ombrel::context {

/// A copy of a text, on the heap only when it is long.
class short_text {
public:
    /// False when memory runs out, with the text null as after null.
    bool set(const char* text, const char* tag) {
        reset();
        const size_t size = text != nullptr ? strlen(text) + 1 : 0;
        if (size > sizeof near_)
            far_.reset(static_cast<char*>(ombrel_alloc_tag(size, tag, __LINE__)));
        char* const place = size > sizeof near_ ? far_.get() : near_;
        if (text != nullptr && place != nullptr)
            text_ = static_cast<char*>(memmove(place, text, size));
        return text == nullptr || text_ != nullptr;
    }
    void reset() {
        text_ = nullptr;
        far_.reset();
    }
    const char* get() const { return text_; }

private:
    const char* text_ = nullptr;
    heap_ptr<char> far_;
    char near_[48];
};

/// What is bound is changed by a call alone inside, and read by those inside; the words may be asked for and
/// set by any thread.
struct ctx_record {
    int32_t handle = -1;
    plugin::plugin_use base_plugin;
    plugin::plugin_binding bound;
    const ombrel_ctx0_v0_interface_t* table = nullptr; // the bound plug-in's
    option_list options;
    short_text mime_type; // of the last opening
    std::atomic<intptr_t> descriptor = -1;
    std::atomic<void*> data = nullptr;
    std::atomic<int> error = def_ombrel_ctx_error_none;
    error_words words;
    uintptr_t state[def_ombrel_ctx_state_words]{};
    std::atomic<const void*> changer = nullptr; // the thread that opens or closes it

    /// The bound plug-in's operation; null when it has none, or the context is closed.
    template<typename Slot>
    Slot operation(Slot ombrel_ctx0_v0_interface_t::*slot) const {
        return table != nullptr ? table->*slot : nullptr;
    }
    template<typename Slot>
    Slot operation(Slot ombrel_ctx0_v1_interface_t::*slot) const {
        if (table == nullptr || table->m_version == 0)
            return nullptr;
        return reinterpret_cast<const ombrel_ctx0_v1_interface_t*>(table)->*slot;
    }

    /// Whether this thread is just opening or closing it: what it calls meanwhile comes from the plug-in.
    bool is_changed_here() const;

    /// The error word, unless the bound plug-in keeps one of its own. For those inside.
    int last_error() const;
    int set_last_error(int code);
};

extern const instance_type ctx_type;

/// From a thread that is not inside, while another opens or closes it: the code of that one goes before.
void set_error_outside(ctx_record& ctx, int code);

/// Keeps a context's record in place, for what does not reach the plug-in.
class ctx_pin : public instance_pin<ctx_record> {
public:
    explicit ctx_pin(int handle) : instance_pin(ctx_type, handle) {}
};

/// A call inside a context, which is neither opened, closed nor destroyed meanwhile, save by the thread
/// itself. One that is refused because another thread opens or closes the context leaves the error "busy".
class ctx_call {
public:
    explicit ctx_call(int handle, instance_call call = instance_call::use)
        : held_(enter_instance(ctx_type, handle, call)) {
        if (held_.object == nullptr)
            enter_own_change(handle, call);
    }
    ~ctx_call() {
        if (held_.object != nullptr)
            (is_in_change_ ? unpin_instance : leave_instance)(held_.slot);
    }
    ctx_call(const ctx_call&) = delete;
    ctx_call& operator=(const ctx_call&) = delete;

    explicit operator bool() const { return held_.object != nullptr; }
    ctx_record* operator->() const { return static_cast<ctx_record*>(held_.object); }
    ctx_record& operator*() const { return *operator->(); }

private:
    void enter_own_change(int handle, instance_call call);

    pinned_instance held_;
    bool is_in_change_ = false;
};

/// Has a context alone, to bind or unbind it, for a scope.
class ctx_change {
public:
    explicit ctx_change(int handle) : held_(enter_instance(ctx_type, handle, instance_call::alone)) {
        if (held_.object != nullptr)
            operator->()->changer = platform::thread_mark();
    }
    ~ctx_change() {
        if (held_.object == nullptr)
            return;
        operator->()->changer = nullptr;
        leave_instance(held_.slot);
    }
    ctx_change(const ctx_change&) = delete;
    ctx_change& operator=(const ctx_change&) = delete;

    explicit operator bool() const { return held_.object != nullptr; }
    ctx_record* operator->() const { return static_cast<ctx_record*>(held_.object); }
    ctx_record& operator*() const { return *operator->(); }

private:
    pinned_instance held_;
};

/// ombrel_close_ctx() and ombrel_open_ctx() of a context that is had alone, and opening when it could not be
/// had.
int close(ctx_record& ctx);
int open(ctx_record& ctx, const char* mime_type);
int refuse_opening(int handle);

/// Sets the error of a context that is known by its handle: 0, or -1 for an unknown one.
int set_last_error(int handle, int code);

/// What an operation gives when it fails.
template<typename Result>
Result failure() {
    if constexpr (std::is_pointer_v<Result>)
        return nullptr;
    else
        return -1;
}

template<typename Result>
Result fail(ctx_record& ctx, int code) {
    ctx.set_last_error(code);
    return failure<Result>();
}

/// The same by handle, which may be unknown.
template<typename Result>
Result fail(int handle, int code) {
    set_last_error(handle, code);
    return failure<Result>();
}

/// A formatted text of up to 1 GiB under the tag of a function; null when it is longer or memory runs out.
heap_ptr<char> format_text(const char* format, va_list args, const char* tag);

/// Calls use(ctx, operation) with the bound plug-in's operation in a slot of its table.
template<typename Table, typename Result, typename... Parameters, typename Use>
Result with_operation(int handle, Result (*Table::*slot)(int, Parameters...), Use use) {
    const ctx_call ctx(handle);
    if (!ctx)
        return failure<Result>();
    const auto operation = ctx->operation(slot);
    return operation != nullptr ? use(*ctx, operation)
                                : fail<Result>(*ctx, def_ombrel_ctx_error_not_supported);
}

/// Calls the operation with arguments that are valid. What is not supported is so whatever the arguments.
template<typename Table, typename Result, typename... Parameters>
Result forward_if(bool valid, int handle, Result (*Table::*slot)(int, Parameters...),
                  std::type_identity_t<Parameters>... arguments) {
    return with_operation(handle, slot, [&](ctx_record& ctx, auto operation) {
        return valid ? operation(handle, arguments...)
                     : fail<Result>(ctx, def_ombrel_ctx_error_invalid_argument);
    });
}

template<typename Table, typename Result, typename... Parameters>
Result forward(int handle, Result (*Table::*slot)(int, Parameters...),
               std::type_identity_t<Parameters>... arguments) {
    return forward_if(true, handle, slot, arguments...);
}

using v0_interface = ombrel_ctx0_v0_interface_t;
using v1_interface = ombrel_ctx0_v1_interface_t;

} // namespace ombrel::context
