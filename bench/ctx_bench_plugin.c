/* A plug-in that does next to nothing. What it serves is in the environment variable BENCH_HINT. */
#include <stdlib.h>
#include <string.h>

#include <ombrel/ctx_interface.h>

static char hint_text[64];

static int accept(int ctx, const char* mime_type) {
    (void)ctx, (void)mime_type;
    return 0;
}

static int release(int ctx) {
    (void)ctx;
    return 0;
}

static int count(int ctx, const void* data, size_t size) {
    (void)ctx, (void)data;
    return (int)size;
}

static const ombrel_ctx0_v0_interface_t table = {.m_kind = def_ombrel_interface_kind_ctx,
                                                 .m_size = sizeof(table),
                                                 .m_open = accept,
                                                 .m_close = release,
                                                 .m_write = count};

OMBREL_API int ombrel_plugin_initialize(const char** hint, const void** interface_table, size_t* size) {
    const char* wanted = getenv("BENCH_HINT");
    strncpy(hint_text, wanted != NULL ? wanted : "", sizeof(hint_text) - 1);
    *hint = hint_text;
    *interface_table = &table;
    *size = sizeof(table);
    return 0;
}

OMBREL_API int ombrel_plugin_uninitialize(void) {
    return 0;
}
