/* A plug-in: the stream "text:WORDS" holds its own words. */
#include <string.h>

#include <ombrel_tuk.h>

static int text_open(int ctx, const char* mime_type) {
    const char* source = ombrel_ctx_get_option_string_ex(ctx, "source", "");
    char* words = strncmp(source, "text:", 5) == 0 ? ombrel_alloc_sprintf("%s\n", source + 5) : NULL;
    (void)mime_type;
    if (words == NULL) { /* left to the next plug-in */
        ombrel_ctx_set_last_error(ctx, def_ombrel_ctx_error_not_supported);
        return -1;
    }
    return ombrel_ctx_set_plugin_data(ctx, words);
}

static int text_close(int ctx) {
    return ombrel_free(ombrel_ctx_get_plugin_data(ctx));
}

static int text_is_readable(int ctx, int timeout_ms) {
    (void)ctx, (void)timeout_ms;
    return 1; /* there is nothing to wait for */
}

static int text_read(int ctx, void* buffer, size_t size) {
    char* left = ombrel_ctx_get_plugin_data(ctx);
    const size_t length = strlen(left), now = size < length ? size : length;
    memcpy(buffer, left, now);
    memmove(left, left + now, length - now + 1);
    return (int)now;
}

static const ombrel_ctx0_v0_interface_t table = {.m_kind = def_ombrel_interface_kind_ctx,
                                                 .m_size = sizeof(table),
                                                 .m_open = text_open,
                                                 .m_close = text_close,
                                                 .m_is_readable = text_is_readable,
                                                 .m_read = text_read};

OMBREL_PLUGIN_API int ombrel_plugin_initialize(const char** hint, const void** its_table, size_t* size) {
    *hint = "application/tuk_stream"; /* the types that it serves */
    *its_table = &table;
    *size = sizeof(table);
    return 0;
}

OMBREL_PLUGIN_API int ombrel_plugin_uninitialize(void) {
    return 0;
}
