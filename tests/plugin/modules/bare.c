/* A plug-in that needs nothing: its contexts accept everything and do nothing. */
#include <ombrel/ctx_interface.h>

static int bare_open(int ctx, const char* mime_type) {
    return ctx > 0 && mime_type != NULL ? 0 : -1;
}

static const ombrel_ctx0_v0_interface_t table = {
    .m_kind = def_ombrel_interface_kind_ctx, .m_size = sizeof(table), .m_open = bare_open};

OMBREL_PLUGIN_API int ombrel_plugin_initialize(const char** hint, const void** interface_table,
                                               size_t* size) {
    *hint = "test/bare";
    *interface_table = &table;
    *size = sizeof(table);
    return 0;
}

OMBREL_PLUGIN_API int ombrel_plugin_uninitialize(void) {
    return 0;
}
