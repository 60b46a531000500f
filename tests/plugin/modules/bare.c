/* A plug-in that needs nothing: its contexts accept everything, and read the same bytes, each opening anew.
 */
#include <ombrel/ctx_interface.h>

static size_t left;

static int bare_open(int ctx, const char* mime_type) {
    left = 20000;
    return ctx > 0 && mime_type != NULL ? 0 : -1;
}

static int bare_is_readable(int ctx, int timeout_ms) {
    return ctx > 0 && timeout_ms >= 0;
}

static int bare_read(int ctx, void* buffer, size_t size) {
    char* const to = buffer;
    size_t count = 0;
    for (; ctx > 0 && count < size && left > 0; left--)
        to[count++] = 'x';
    return (int)count;
}

static const ombrel_ctx0_v0_interface_t table = {.m_kind = def_ombrel_interface_kind_ctx,
                                                 .m_size = sizeof(table),
                                                 .m_open = bare_open,
                                                 .m_is_readable = bare_is_readable,
                                                 .m_read = bare_read};

OMBREL_PLUGIN_API int ombrel_plugin_initialize(const char** hint, const void** interface_table,
                                               size_t* size) {
    *hint = "test/bare*|application/tuk_stream";
    *interface_table = &table;
    *size = sizeof(table);
    return 0;
}

OMBREL_PLUGIN_API int ombrel_plugin_uninitialize(void) {
    return 0;
}
