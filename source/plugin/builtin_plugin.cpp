#include <ombrel/builtin_plugin.h>

#include <ombrel/ctx_interface.h>
#include <ombrel/plugin.h>

namespace {

int open(int, const char* mime_type) {
    return ombrel_compare_mime_type(mime_type, "application/tuk_base");
}

int close(int) {
    return 0;
}

constexpr ombrel_ctx0_v1_interface_t make_table() {
    ombrel_ctx0_v1_interface_t table{};
    table.m_v0.m_kind = def_ombrel_interface_kind_ctx;
    table.m_v0.m_size = sizeof table;
    table.m_v0.m_version = 1;
    table.m_v0.m_open = open;
    table.m_v0.m_close = close;
    return table;
}

constexpr ombrel_ctx0_v1_interface_t table = make_table();

} // namespace

int ombrel_plugin_initialize_builtin_plugin(const char** hint, const void** interface_table, size_t* size) {
    if (interface_table == nullptr || size == nullptr)
        return -1;
    if (hint != nullptr)
        *hint = "application/tuk_base";
    *interface_table = &table;
    *size = sizeof table;
    return 0;
}

int ombrel_plugin_uninitialize_builtin_plugin(void) {
    return 0;
}
