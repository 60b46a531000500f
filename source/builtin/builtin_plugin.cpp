// The built-in plug-in's table: its operations find the context's kind and pass on to that.
#include <ombrel/builtin_plugin.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <type_traits>

#include <ombrel/builtin_stream.h>
#include <ombrel/ctx_interface.h>
#include <ombrel/multicall.h>
#include <ombrel/printf.h>
#include <ombrel/string.h>

#include "builtin/builtin_kind.h"
#include "builtin/builtin_open.h"
#include "builtin/named_controls.h"
#include "context/ctx_internal.h"
#include "plugin/auto_load.h"
#include "plugin/builtin_plugins.h"

namespace ombrel::builtin {

namespace {

builtin_ctx& opened(int handle) {
    return *static_cast<builtin_ctx*>(ombrel_ctx_get_plugin_data(handle));
}

/// The kind's operation; without one the error is set.
template<typename Result, typename... Parameters>
Result pass_on(int handle, Result (*builtin_kind::*operation)(builtin_ctx&, Parameters...),
               std::type_identity_t<Parameters>... arguments) {
    builtin_ctx& ctx = opened(handle);
    if (ctx.kind->*operation != nullptr)
        return (ctx.kind->*operation)(ctx, arguments...);
    return fail(ctx, def_ombrel_ctx_error_not_supported);
}

/// The same in a direction that the mode may forbid.
template<typename Result, typename... Parameters>
Result pass_on_towards(direction wanted, int handle,
                       Result (*builtin_kind::*operation)(builtin_ctx&, Parameters...),
                       std::type_identity_t<Parameters>... arguments) {
    return keeps_to_mode(opened(handle), wanted) ? pass_on(handle, operation, arguments...) : -1;
}

int open(int handle, const char* mime_type) {
    const context::ctx_pin context(handle);
    if (!context)
        return -1;
    context->data = open_builtin(handle, context->options, ombrel_check_string(mime_type));
    return context->data != nullptr ? 0 : -1;
}

int close(int handle) {
    return close_builtin(&opened(handle));
}

int get_timeout(const builtin_ctx& ctx, ombrel_stream_timeout_t* record) {
    if (record == nullptr)
        return -1;
    record->m_timeout_ms = ctx.timeout;
    return 0;
}

int set_timeout(builtin_ctx& ctx, const ombrel_stream_timeout_t* record) {
    if (record == nullptr)
        return -1;
    ctx.timeout = record->m_timeout_ms;
    return 0;
}

int control(int handle, const char* function, uint32_t code, void* record, size_t size) {
    builtin_ctx& ctx = opened(handle);
    ctx.control_function.store(function, std::memory_order_relaxed);
    switch (code) {
    case def_ombrel_stream_control_get_timeout:
        return get_timeout(ctx, control_record<ombrel_stream_timeout_t>(ctx, record, size));
    case def_ombrel_stream_control_set_timeout:
        return set_timeout(ctx, control_record<ombrel_stream_timeout_t>(ctx, record, size));
    default:
        return pass_on(handle, &builtin_kind::control, code, record, size);
    }
}

int control_by_list(int handle, const char* function, uint32_t code, va_list args) {
    void* const record = va_arg(args, void*);
    const size_t size = va_arg(args, size_t);
    return control(handle, function, code, record, size);
}

int vcontrol(int handle, uint32_t code, va_list args) {
    return control_by_list(handle, "ombrel_ctx_control", code, args);
}

int vxcontrol(int handle, const char* name, va_list args) {
    const uint32_t code = control_code(name);
    return code != 0 ? control_by_list(handle, "ombrel_ctx_xcontrol", code, args)
                     : fail(opened(handle), def_ombrel_ctx_error_not_supported);
}

/// The block that is given and the one that is answered are the same record, before and after.
int vbcontrol(int handle, uint32_t code, va_list args) {
    const void* const given = va_arg(args, const void*);
    const size_t given_size = va_arg(args, size_t);
    void* const answer = va_arg(args, void*);
    const size_t answer_size = va_arg(args, size_t);
    alignas(std::max_align_t) std::array<unsigned char, 256> record{};
    const size_t size = std::max(given_size, answer_size);
    if (size > record.size() || (given == nullptr && given_size != 0) ||
        (answer == nullptr && answer_size != 0))
        return fail(opened(handle), def_ombrel_ctx_error_invalid_argument);
    std::copy_n(static_cast<const unsigned char*>(given), given_size, record.begin());
    if (control(handle, "ombrel_ctx_bcontrol", code, size != 0 ? record.data() : nullptr, size) == -1)
        return -1;
    std::copy_n(record.begin(), answer_size, static_cast<unsigned char*>(answer));
    return static_cast<int>(size);
}

int is_readable(int handle, int timeout_ms) {
    return pass_on_towards(reading, handle, &builtin_kind::is_readable, timeout_ms);
}

int is_writable(int handle, int timeout_ms) {
    return pass_on_towards(writing, handle, &builtin_kind::is_writable, timeout_ms);
}

// To read or write nothing is to ask whether it could be done: no kind is asked for it, but may lack it.
int read(int handle, void* buffer, size_t size) {
    const builtin_ctx& ctx = opened(handle);
    if (size == 0 && ctx.kind->read != nullptr)
        return keeps_to_mode(ctx, reading) ? 0 : -1;
    return pass_on_towards(reading, handle, &builtin_kind::read, buffer, size);
}

int write(int handle, const void* data, size_t size) {
    const builtin_ctx& ctx = opened(handle);
    if (size == 0 && ctx.kind->write != nullptr)
        return keeps_to_mode(ctx, writing) ? 0 : -1;
    return pass_on_towards(writing, handle, &builtin_kind::write, data, size);
}

int64_t seek(int handle, int64_t offset, int whence) {
    if (whence < def_ombrel_ctx_seek_set || whence > def_ombrel_ctx_seek_end)
        return fail(opened(handle), def_ombrel_ctx_error_invalid_argument);
    return pass_on(handle, &builtin_kind::seek, offset, whence);
}

int sync(int handle) {
    return pass_on(handle, &builtin_kind::sync);
}

/// The value of a property: a text that the context has, or one printed into the room; null for none.
const char* property(builtin_ctx& ctx, const char* name, char* text, size_t room) {
    if (ombrel_strcasecmp(name, "source") == 0)
        return ctx.source;
    if (ombrel_strcasecmp(name, "mime_type") == 0)
        return ctx.mime_type;
    if (ombrel_strcasecmp(name, "timeout") == 0) {
        ombrel_snprintf(text, room, "%d", ctx.timeout);
        return text;
    }
    if (ctx.kind->get_property != nullptr && ctx.kind->get_property(ctx, name, text, room))
        return text;
    return stream_property(ctx, name, text, room) ? text : nullptr;
}

int get_env(int handle, const char* name, char* text, size_t size) {
    builtin_ctx& ctx = opened(handle);
    std::array<char, 256> printed;
    const char* const value = property(ctx, name, printed.data(), printed.size());
    if (value == nullptr)
        return fail(ctx, def_ombrel_ctx_error_not_found);
    const size_t length = strlen(value);
    if (size > 0) {
        const size_t stored = std::min(length, size - 1);
        std::copy_n(value, stored, text);
        text[stored] = '\0';
    }
    return static_cast<int>(countable(length));
}

int set_env(int handle, const char* name, const char* text) {
    builtin_ctx& ctx = opened(handle);
    if (ombrel_strcasecmp(name, "timeout") != 0)
        return fail(ctx, def_ombrel_ctx_error_not_found);
    int timeout = ctx.kind->timeout;
    if (text != nullptr && !parse_number(text, timeout))
        return fail(ctx, def_ombrel_ctx_error_invalid_argument);
    ctx.timeout = timeout;
    return 0;
}

int get_fbinfo(int handle, ombrel_ctx_fbinfo_t* info) {
    return pass_on(handle, &builtin_kind::get_fbinfo, info);
}

constexpr const char mime_type_hint[] =
    "application/tuk_base;application/tuk_stream*;application/tuk_fb;application/tuk_linuxfb;"
    "application/tuk_windows_dib;application/tuk_multicall*";

constexpr ombrel_ctx0_v1_interface_t table{
    .m_v0 = {.m_kind = def_ombrel_interface_kind_ctx,
             .m_size = sizeof(ombrel_ctx0_v1_interface_t),
             .m_version = 1,
             .m_unused = 0,
             .m_open = open,
             .m_close = close,
             .m_vbcontrol = vbcontrol,
             .m_vxcontrol = vxcontrol,
             .m_vcontrol = vcontrol,
             .m_is_readable = is_readable,
             .m_read = read,
             .m_is_writable = is_writable,
             .m_write = write,
             .m_seek = seek,
             .m_sync = sync,
             .m_get_env = get_env,
             .m_set_env = set_env,
             .m_get_last_error = ombrel_ctx_get_error_word,
             .m_set_last_error = ombrel_ctx_set_error_word,
             .m_main = ombrel_execute_multicall},
    .m_db_get_query = nullptr,
    .m_db_set_query = nullptr,
    .m_db_free_result = nullptr,
    .m_db_fetch_row = nullptr,
    .m_db_get_row_count = nullptr,
    .m_db_get_field_count = nullptr,
    .m_db_get_field_index = nullptr,
    .m_db_get_field_name = nullptr,
    .m_get_fbinfo = get_fbinfo,
};

/// The public functions without the settling.
int initialize_builtin(const char** hint, const void** interface_table, size_t* size) {
    if (interface_table == nullptr || size == nullptr)
        return -1;
    if (hint != nullptr)
        *hint = mime_type_hint;
    *interface_table = &table;
    *size = sizeof table;
    plugin::count_initialization();
    return 0;
}

int uninitialize_builtin() {
    plugin::count_uninitialization();
    return 0;
}

} // namespace

} // namespace ombrel::builtin

using namespace ombrel;
using namespace ombrel::builtin;

constinit const plugin::builtin_plugin plugin::builtin_plugins[] = {
    {def_ombrel_builtin_plugin_name, initialize_builtin, uninitialize_builtin, plugin::settle_auto_loads},
    {nullptr, nullptr, nullptr, nullptr},
};

int ombrel_plugin_initialize_builtin_plugin(const char** hint, const void** interface_table, size_t* size) {
    const int result = initialize_builtin(hint, interface_table, size);
    if (result == 0)
        plugin::settle_auto_loads();
    return result;
}

int ombrel_plugin_uninitialize_builtin_plugin(void) {
    uninitialize_builtin();
    plugin::settle_auto_loads();
    return 0;
}
