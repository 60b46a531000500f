/* A plug-in for tests. PROBE_HINT and PROBE_VERSION are given by the build; PROBE_HALF gives a function
 * another name, and PROBE_OWN_ERRORS adds the last-error operations. */
#include <string.h>

#include <ombrel/ctx_interface.h>
#include <ombrel/heap.h>
#include <ombrel/printf.h>
#include <ombrel/scan.h>
#include <ombrel/short_lock.h>
#include <ombrel/string.h>

#include "probe.h"

OMBREL_PLUGIN_EXPORT probe_state_t probe_state;

static int is_record_held(void);

/* The option "refuse" is the error to refuse with; "nested" opens another context meanwhile; "close" tries to
 * close the context that is being opened; "held" wants the plug-in's record held meanwhile. */
static int probe_open(int ctx, const char* mime_type) {
    const char* refuse = ombrel_ctx_get_option(ctx, "refuse");
    if (mime_type == NULL || ombrel_ctx_get_plugin_descriptor(ctx) != -1 ||
        ombrel_ctx_get_plugin_data(ctx) != NULL || ombrel_ctx_get_plugin_state(ctx)[0] != 0)
        return -2;
    ombrel_ctx_set_plugin_descriptor(ctx, 7);
    ombrel_ctx_get_plugin_state(ctx)[0] = 1;
    if (refuse != NULL) {
        probe_state.refused++;
        ombrel_ctx_set_last_error(ctx, refuse[0] - '0');
        return -3;
    }
    if (ombrel_ctx_get_option(ctx, "nested") != NULL) {
        const int inner = ombrel_new_ctx();
        const int result = ombrel_open_ctx(inner, mime_type);
        ombrel_destroy_ctx(inner);
        if (result != 0)
            return result;
    }
    if (ombrel_ctx_get_option(ctx, "close") != NULL &&
        (ombrel_close_ctx(ctx) != -1 || ombrel_destroy_ctx(ctx) != -1))
        return -4;
    if (ombrel_ctx_get_option(ctx, "held") != NULL && !is_record_held())
        return -5;
    ombrel_ctx_set_plugin_data(ctx, ombrel_strdup(ombrel_ctx_get_option_string_ex(ctx, "source", "")));
    PROBE_COUNT(probe_state.opened);
    return 0;
}

static int probe_close(int ctx) {
    ombrel_check_free(ombrel_ctx_get_plugin_data(ctx));
    PROBE_COUNT(probe_state.closed);
    return ombrel_ctx_get_option(ctx, "held") == NULL || is_record_held() ? 0 : -5;
}

static int probe_vbcontrol(int ctx, uint32_t code, va_list args) {
    const void* in = va_arg(args, const void*);
    const size_t in_size = va_arg(args, size_t);
    void* out = va_arg(args, void*);
    const size_t room = va_arg(args, size_t);
    memcpy(out, in, in_size < room ? in_size : room);
    return ctx > 0 && code == 0x10001 ? (int)in_size : -1;
}

static int probe_vxcontrol(int ctx, const char* name, va_list args) {
    int* number = va_arg(args, int*);
    return ctx > 0 && strcmp(name, "get") == 0 && va_arg(args, size_t) == sizeof(*number) ? (*number = 41, 0)
                                                                                          : -1;
}

static int probe_vcontrol(int ctx, uint32_t code, va_list args) {
    int* number = va_arg(args, int*);
    return ctx > 0 && code == 0x10002 && va_arg(args, size_t) == sizeof(*number) ? (*number = 42, 0) : -1;
}

static int probe_ready(int ctx, int timeout_ms) {
    (void)ctx;
    return timeout_ms != 0;
}

static void stay_inside(void) {
    PROBE_COUNT(probe_state.inside);
    while (PROBE_READ(probe_state.hold))
        ombrel_load_balance_short();
}

/* At most 5 bytes of the source from the position in a state word. */
static int probe_read(int ctx, void* buffer, size_t size) {
    stay_inside();
    const char* source = ombrel_ctx_get_plugin_data(ctx);
    uintptr_t* at = &ombrel_ctx_get_plugin_state(ctx)[1];
    const size_t left = strlen(source) - *at, room = size < 5 ? size : 5, now = left < room ? left : room;
    if (left != 0 && source[*at] == '!')
        return -2;
    memcpy(buffer, source + *at, now);
    *at += now;
    return (int)now;
}

/* At most 3 bytes at a time, into the source; none from a "!" on. */
static int probe_write(int ctx, const void* buffer, size_t size) {
    char* source = ombrel_ctx_get_plugin_data(ctx);
    uintptr_t* at = &ombrel_ctx_get_plugin_state(ctx)[1];
    const size_t left = strlen(source + *at), now = size < 3 ? size : 3;
    if (now > left || memchr(buffer, '!', now) != NULL)
        return -1;
    memcpy(source + *at, buffer, now);
    *at += now;
    return (int)now;
}

static int64_t probe_seek(int ctx, int64_t offset, int whence) {
    ombrel_ctx_get_plugin_state(ctx)[1] = (uintptr_t)offset;
    return whence == def_ombrel_ctx_seek_set ? offset : -1;
}

/* With the option "destroy" it ends its own context. */
static int probe_sync(int ctx) {
    if (ombrel_ctx_get_option(ctx, "destroy") != NULL)
        return ombrel_close_ctx(ctx) == -1 && ombrel_destroy_ctx(ctx) == 0 &&
                       ombrel_ctx_get_plugin_data(ctx) != NULL
                   ? 5
                   : -1;
    return ombrel_ctx_set_error_word(ctx, 77);
}

#if PROBE_OWN_ERRORS
static int probe_get_last_error(int ctx) {
    (void)ctx;
    return probe_state.own_error;
}

static int probe_set_last_error(int ctx, int error) {
    (void)ctx;
    probe_state.own_error = error;
    return 0;
}
#define PROBE_ERRORS probe_get_last_error, probe_set_last_error
#else
#define PROBE_ERRORS NULL, NULL
#endif

static int probe_main(int argc, char** argv) {
    stay_inside();
    return argc * 10 + argv[0][0] - '0';
}

/* The database: a result has the number of rows that the query says, each with nothing, a number, a text and
 * a blob. */
struct ombrel_ctx_db_result_ts {
    int rows, taken;
};

static ombrel_ctx_db_result_t* probe_get_query(int ctx, const char* query,
                                               const ombrel_ctx_db_value_t* parameters, size_t count) {
    ombrel_ctx_db_result_t* result = ombrel_calloc(1, sizeof(*result));
    (void)ctx, (void)parameters, (void)count;
    result->rows = query[0] - '0';
    return result;
}

/* As many rows as the query says in all its characters. */
static int64_t probe_set_query(int ctx, const char* query, const ombrel_ctx_db_value_t* parameters,
                               size_t count) {
    (void)ctx, (void)parameters, (void)count;
    return ombrel_atoll(query);
}

static int probe_free_result(int ctx, ombrel_ctx_db_result_t* result) {
    (void)ctx;
    return ombrel_free(result);
}

static const ombrel_ctx_db_value_t* probe_fetch_row(int ctx, ombrel_ctx_db_result_t* result) {
    static const ombrel_ctx_db_value_t rows[2][4] = {
        {{0},
         {def_ombrel_ctx_db_integer, 7, 0, "7", 1},
         {def_ombrel_ctx_db_text, 0, 0, "\xC3\xA9\n0", 4},
         {def_ombrel_ctx_db_blob, 0, 0, NULL, 9}},
        {{0}, {def_ombrel_ctx_db_real, 0, 12, "12", 2}, {0}, {0}}};
    (void)ctx;
    return result->taken < result->rows ? rows[result->taken++] : NULL;
}

static int probe_get_field_count(int ctx, ombrel_ctx_db_result_t* result) {
    (void)ctx, (void)result;
    return 4;
}

static const char* probe_get_field_name(int ctx, ombrel_ctx_db_result_t* result, int index) {
    static const char* const names[] = {"none", "n", "text", "blob"};
    (void)ctx, (void)result;
    return names[index];
}

static int probe_get_field_index(int ctx, ombrel_ctx_db_result_t* result, const char* name) {
    for (int i = 0; i < 4; i++)
        if (ombrel_strcasecmp(probe_get_field_name(ctx, result, i), name) == 0)
            return i;
    return -1;
}

static ombrel_ctx0_v1_interface_t table = {{def_ombrel_interface_kind_ctx, 0, PROBE_VERSION, 0, probe_open,
                                            probe_close, probe_vbcontrol, probe_vxcontrol, probe_vcontrol,
                                            probe_ready, probe_read, probe_ready, probe_write, probe_seek,
                                            probe_sync, NULL, NULL, PROBE_ERRORS, probe_main},
                                           probe_get_query,
                                           probe_set_query,
                                           probe_free_result,
                                           probe_fetch_row,
                                           NULL,
                                           probe_get_field_count,
                                           probe_get_field_index,
                                           probe_get_field_name,
                                           NULL};

/* For tests without other threads, as the list may change. */
static int is_record_held(void) {
    const ombrel_plugin_t* plugin = ombrel_get_plugin_info();
    while (plugin != NULL && plugin->m_interface != &table)
        plugin = plugin->m_next;
    return plugin != NULL && plugin->m_lock.m_reference_count != 0;
}

static void use_ctx(void) {
    if (probe_state.makes_ctx) {
        const int ctx = ombrel_new_ctx();
        PROBE_COUNT(probe_state.opened);
        if (ombrel_open_ctx(ctx, "application/tuk_base") == 0 &&
            ombrel_open_ctx_stream(ctx, "x:", "r", 0) != 0)
            PROBE_COUNT(probe_state.closed);
        ombrel_destroy_ctx(ctx);
    }
}

static void use_another(void) {
    const char* path = probe_state.loads;
    const int handle = path != NULL ? ombrel_load_plugin(path, NULL) : -1;
    if (handle > 0) {
        const ombrel_plugin_t* plugin = ombrel_get_plugin_info();
        while (plugin != NULL && plugin->m_handle != handle)
            plugin = plugin->m_next;
        if (plugin != NULL)
            PROBE_COUNT(probe_state.listed);
        ombrel_unload_plugin(handle);
    }
}

OMBREL_PLUGIN_API int ombrel_plugin_initialize(const char** hint, const void** interface_table,
                                               size_t* size) {
    PROBE_WRITE(probe_state.entered, 1);
    while (PROBE_READ(probe_state.gate))
        ombrel_load_balance_short();
    use_ctx();
    use_another();
    probe_state.initialized++;
    *size = PROBE_VERSION == 0 ? sizeof(table.m_v0) : sizeof(table);
    table.m_v0.m_size = probe_state.table_size != 0 ? probe_state.table_size : (uint32_t)*size;
    if (probe_state.interface_size != 0)
        *size = probe_state.interface_size;
    *hint = PROBE_HINT;
    *interface_table = &table;
    return probe_state.initialize_result;
}

#if PROBE_HALF
#define ombrel_plugin_uninitialize probe_finish
#endif
OMBREL_PLUGIN_API int ombrel_plugin_uninitialize(void) {
    use_ctx();
    use_another();
    probe_state.uninitialized++;
    return 0;
}
