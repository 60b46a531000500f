#include "builtin/named_controls.h"

#include <array>

#include <ombrel/builtin_stream.h>
#include <ombrel/framebuffer.h>
#include <ombrel/multicall.h>
#include <ombrel/printf.h>
#include <ombrel/string.h>

namespace ombrel::builtin {

namespace {

struct named_control {
    const char* name;
    uint32_t code;
};

constexpr std::array named_controls{
    named_control{"get_size", def_ombrel_stream_control_get_size},
    named_control{"set_size", def_ombrel_stream_control_set_size},
    named_control{"get_timeout", def_ombrel_stream_control_get_timeout},
    named_control{"set_timeout", def_ombrel_stream_control_set_timeout},
    named_control{"get_fd", def_ombrel_stream_control_get_fd},
    named_control{"get_local_address", def_ombrel_stream_control_get_local_address},
    named_control{"get_peer_address", def_ombrel_stream_control_get_peer_address},
    named_control{"close_write", def_ombrel_stream_control_close_write},
    named_control{"get_exit_status", def_ombrel_stream_control_get_exit_status},
    named_control{"get_root", def_ombrel_fb_control_get_root},
    named_control{"get_info", def_ombrel_fb_control_get_info},
    named_control{"get_display", def_ombrel_fb_control_get_display},
    named_control{"pan", def_ombrel_fb_control_pan},
    named_control{"set_window_handler", def_ombrel_fb_control_set_window_handler},
    named_control{"get_window_event", def_ombrel_fb_control_get_window_event},
    named_control{"execute", def_ombrel_multicall_control_execute},
};

/// Asks for a record; false when the stream does not have it.
template<typename Record>
bool ask(builtin_ctx& ctx, uint32_t code, Record& record) {
    return ctx.kind->control != nullptr && ctx.kind->control(ctx, code, &record, sizeof record) == 0;
}

bool print_size(builtin_ctx& ctx, char* text, size_t room) {
    ombrel_stream_size_t record;
    if (!ask(ctx, def_ombrel_stream_control_get_size, record))
        return false;
    ombrel_snprintf(text, room, "%llu", static_cast<unsigned long long>(record.m_size));
    return true;
}

bool print_position(builtin_ctx& ctx, char* text, size_t room) {
    const int64_t position =
        ctx.kind->seek != nullptr ? ctx.kind->seek(ctx, 0, def_ombrel_ctx_seek_current) : -1;
    if (position < 0)
        return false;
    ombrel_snprintf(text, room, "%lld", static_cast<long long>(position));
    return true;
}

bool print_descriptor(builtin_ctx& ctx, char* text, size_t room) {
    ombrel_stream_fd_t record;
    if (!ask(ctx, def_ombrel_stream_control_get_fd, record))
        return false;
    ombrel_snprintf(text, room, "%d", record.m_fd);
    return true;
}

bool print_address(builtin_ctx& ctx, uint32_t code, char* text, size_t room) {
    ombrel_stream_address_t record;
    if (!ask(ctx, code, record))
        return false;
    const bool needs_brackets = ombrel_strchr(record.m_address, ':') != nullptr;
    ombrel_snprintf(text, room, needs_brackets ? "[%s]:%d" : "%s:%d", record.m_address, record.m_port);
    return true;
}

bool print_local_address(builtin_ctx& ctx, char* text, size_t room) {
    return print_address(ctx, def_ombrel_stream_control_get_local_address, text, room);
}

bool print_peer_address(builtin_ctx& ctx, char* text, size_t room) {
    return print_address(ctx, def_ombrel_stream_control_get_peer_address, text, room);
}

bool print_exit_code(builtin_ctx& ctx, char* text, size_t room) {
    ombrel_stream_exit_t record{};
    if (!ask(ctx, def_ombrel_stream_control_get_exit_status, record))
        return false;
    ombrel_snprintf(text, room, "%d", record.m_exit_code);
    return true;
}

struct named_property {
    const char* name;
    bool (*print)(builtin_ctx& ctx, char* text, size_t room);
};

constexpr std::array named_properties{
    named_property{"size", print_size},         named_property{"position", print_position},
    named_property{"fd", print_descriptor},     named_property{"local", print_local_address},
    named_property{"peer", print_peer_address}, named_property{"exit_code", print_exit_code},
};

template<typename Table>
const typename Table::value_type* find(const Table& table, const char* name) {
    for (const auto& entry : table) {
        if (ombrel_strcasecmp(entry.name, name) == 0)
            return &entry;
    }
    return nullptr;
}

} // namespace

uint32_t control_code(const char* name) {
    const named_control* const found = find(named_controls, name);
    return found != nullptr ? found->code : 0;
}

bool stream_property(builtin_ctx& ctx, const char* name, char* text, size_t room) {
    const named_property* const found = find(named_properties, name);
    return found != nullptr && found->print(ctx, text, room);
}

} // namespace ombrel::builtin
