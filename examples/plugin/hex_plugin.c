/*
 * A plug-in: contexts of the type "application/example_hex" take bytes and give them back as hexadecimal
 * digits. docs/plugins.md goes through it.
 */
#include <string.h>

#include <ombrel_tuk.h>

/* A context's bytes wait in a buffer, which its data word leads to. */
static int hex_open(int ctx, const char* mime_type) {
    ombrel_buffer_t* waiting = ombrel_open_buffer();
    (void)mime_type;
    if (waiting == NULL) {
        ombrel_ctx_set_last_error(ctx, def_ombrel_ctx_error_no_memory);
        return -1;
    }
    return ombrel_ctx_set_plugin_data(ctx, waiting);
}

static int hex_close(int ctx) {
    ombrel_close_buffer(ombrel_ctx_get_plugin_data(ctx));
    return 0;
}

static int hex_write(int ctx, const void* data, size_t size) {
    if (ombrel_push_buffer(ombrel_ctx_get_plugin_data(ctx), data, size) == size)
        return (int)size;
    ombrel_ctx_set_last_error(ctx, def_ombrel_ctx_error_no_memory);
    return -1;
}

static int hex_is_ready(int ctx, int timeout_ms) {
    (void)ctx;
    (void)timeout_ms; /* There is nothing to wait for: an empty buffer is the end. */
    return 1;
}

static int hex_read(int ctx, void* buffer, size_t size) {
    /* The option is read at each call, so that it can be changed meanwhile. */
    const int upper = strcmp(ombrel_ctx_get_option_string_ex(ctx, "case", "lower"), "upper") == 0;
    const char* digits = upper ? "0123456789ABCDEF" : "0123456789abcdef";
    unsigned char byte;
    char* text = buffer;
    size_t length = 0;
    if (size == 1) {
        ombrel_ctx_set_last_error(ctx, def_ombrel_ctx_error_invalid_argument);
        return -1;
    }
    while (length + 2 <= size && ombrel_pop_buffer(ombrel_ctx_get_plugin_data(ctx), &byte, 1) == 1) {
        text[length++] = digits[byte >> 4];
        text[length++] = digits[byte & 15];
    }
    return (int)length;
}

static const ombrel_ctx0_v0_interface_t table = {.m_kind = def_ombrel_interface_kind_ctx,
                                                 .m_size = sizeof(table),
                                                 .m_version = 0,
                                                 .m_open = hex_open,
                                                 .m_close = hex_close,
                                                 .m_is_readable = hex_is_ready,
                                                 .m_read = hex_read,
                                                 .m_is_writable = hex_is_ready,
                                                 .m_write = hex_write};

OMBREL_PLUGIN_API int ombrel_plugin_initialize(const char** hint, const void** interface_table,
                                               size_t* size) {
    *hint = "application/example_hex";
    *interface_table = &table;
    *size = sizeof(table);
    return 0;
}

OMBREL_PLUGIN_API int ombrel_plugin_uninitialize(void) {
    return 0;
}
