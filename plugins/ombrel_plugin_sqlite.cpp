// Databases in files by SQLite, as a plug-in.
#include <memory>
#include <string_view>

#include <ombrel/ctx_interface.h>
#include <ombrel/global_break.h>
#include <ombrel/output.h>
#include <ombrel/plugin_sqlite.h>
#include <ombrel/printf.h>
#include <ombrel/string.h>
#include <ombrel/uri.h>

#include "ctx_options.h"
#include "sqlite_result.h"

namespace {

constexpr int default_timeout_ms = 5000;
constexpr int steps_between_looks = 10000; // of the machine that runs queries, at the global break

struct database {
    sqlite3* db = nullptr;
    ombrel_ctx_db_result_t* results = nullptr;
    int timeout_ms = default_timeout_ms;
    bool tells_errors = false, tells_queries = false;
    char error[512] = {};
};

int fail(int ctx, int error) {
    ombrel_ctx_set_last_error(ctx, error);
    return -1;
}

database& database_of(int ctx) {
    return *static_cast<database*>(ombrel_ctx_get_plugin_data(ctx));
}

struct error_pair {
    int result;
    int error;
};

constexpr error_pair errors[] = {
    {SQLITE_OK, def_ombrel_ctx_error_none},
    {SQLITE_ERROR, def_ombrel_ctx_error_syntax},
    {SQLITE_BUSY, def_ombrel_ctx_error_busy},
    {SQLITE_LOCKED, def_ombrel_ctx_error_busy},
    {SQLITE_NOMEM, def_ombrel_ctx_error_no_memory},
    {SQLITE_READONLY, def_ombrel_ctx_error_access_denied},
    {SQLITE_PERM, def_ombrel_ctx_error_access_denied},
    {SQLITE_AUTH, def_ombrel_ctx_error_access_denied},
    {SQLITE_CANTOPEN, def_ombrel_ctx_error_not_found},
    {SQLITE_IOERR, def_ombrel_ctx_error_io},
    {SQLITE_FULL, def_ombrel_ctx_error_no_space},
    {SQLITE_CORRUPT, def_ombrel_ctx_error_corrupt},
    {SQLITE_NOTADB, def_ombrel_ctx_error_corrupt},
    {SQLITE_CONSTRAINT, def_ombrel_ctx_error_invalid_argument},
    {SQLITE_MISMATCH, def_ombrel_ctx_error_invalid_argument},
    {SQLITE_RANGE, def_ombrel_ctx_error_invalid_argument},
    {SQLITE_TOOBIG, def_ombrel_ctx_error_invalid_argument},
    {SQLITE_MISUSE, def_ombrel_ctx_error_invalid_argument},
};

int error_of(const database& of, int result) {
    constexpr int primary_code = 0xff;
    const int system_error = (result & primary_code) == SQLITE_CANTOPEN ? sqlite3_system_errno(of.db) : 0;
    if (system_error == EACCES)
        return def_ombrel_ctx_error_access_denied;
    if (system_error == EISDIR)
        return def_ombrel_ctx_error_is_directory;
    for (const error_pair& pair : errors)
        if (pair.result == (result & primary_code))
            return pair.error;
    return def_ombrel_ctx_error_failed;
}

// Keeps what SQLite says of a failure; `text` is said instead where SQLite does not know of it.
int refuse(int ctx, database& of, int result, const char* text = nullptr) {
    if (text == nullptr)
        text = sqlite3_extended_errcode(of.db) == result || sqlite3_errcode(of.db) == result
                   ? sqlite3_errmsg(of.db)
                   : sqlite3_errstr(result);
    ombrel_snprintf(of.error, sizeof of.error, "%s", text);
    if (of.tells_errors)
        ombrel_error_printf("sqlite: %s\n", of.error);
    ombrel_ctx_set_last_error_text(ctx, error_of(of, result), of.error);
    return -1;
}

void free_result(ombrel_ctx_db_result_t* result) {
    std::destroy_at(result);
    ombrel_free(result);
}

int close_database(database* closing) {
    while (ombrel_ctx_db_result_t* const result = closing->results) {
        closing->results = result->next;
        free_result(result);
    }
    const int result = sqlite3_close_v2(closing->db);
    ombrel_free(closing);
    return result;
}

int open_flags(const char* mode) {
    const std::string_view text = mode;
    if (text.starts_with('r'))
        return text.find('+') != std::string_view::npos ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY;
    return SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
}

// No limit is a very long one to SQLite.
void set_timeout(database& of, int timeout_ms) {
    of.timeout_ms = timeout_ms >= 0 ? timeout_ms : INT32_MAX;
    sqlite3_busy_timeout(of.db, of.timeout_ms);
}

int stop_at_break(void*) {
    return ombrel_get_global_break();
}

// The first page is read, so that a file which is no database is found out.
int look_inside(sqlite3* db) {
    return sqlite3_exec(db, "PRAGMA schema_version", nullptr, nullptr, nullptr);
}

int open_file(int ctx, database& opening) {
    const char* const source = ombrel_ctx_get_option_string_ex(ctx, "source", "");
    const int flags = open_flags(ombrel_ctx_get_option_string_ex(ctx, "mode", "w+"));
    int result = sqlite3_open_v2(source, &opening.db, flags | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX, nullptr);
    if (result != SQLITE_OK)
        return result;
    set_timeout(opening, opening.timeout_ms);
    sqlite3_progress_handler(opening.db, steps_between_looks, stop_at_break, nullptr);
    return look_inside(opening.db);
}

bool read_options(int ctx, database& opening) {
    const bool are_read = read_switch(ctx, "debug", opening.tells_queries) &&
                          read_switch(ctx, "verbose", opening.tells_errors) &&
                          read_option(ctx, "timeout", opening.timeout_ms);
    opening.tells_errors = opening.tells_errors || opening.tells_queries;
    return are_read;
}

int open_ctx(int ctx, const char*) {
    auto* const block = static_cast<database*>(ombrel_alloc(sizeof(database)));
    if (block == nullptr)
        return fail(ctx, def_ombrel_ctx_error_no_memory);
    database* const opening = std::construct_at(block);
    if (!read_options(ctx, *opening)) {
        close_database(opening);
        return fail(ctx, def_ombrel_ctx_error_invalid_argument);
    }
    if (const int result = open_file(ctx, *opening); result != SQLITE_OK) {
        refuse(ctx, *opening, result);
        close_database(opening);
        return -1;
    }
    ombrel_ctx_set_plugin_data(ctx, opening);
    return 0;
}

int close_ctx(int ctx) {
    return close_database(&database_of(ctx)) == SQLITE_OK ? 0 : fail(ctx, def_ombrel_ctx_error_failed);
}

void tell_query(const database& of, const char* query) {
    if (of.tells_queries)
        ombrel_error_printf("sqlite: query: %s\n", query);
}

ombrel_ctx_db_result_t* get_query(int ctx, const char* query, const ombrel_ctx_db_value_t* parameters,
                                  size_t count) {
    database& of = database_of(ctx);
    tell_query(of, query);
    void* const block = ombrel_alloc(sizeof(ombrel_ctx_db_result_t));
    if (block == nullptr) {
        refuse(ctx, of, SQLITE_NOMEM);
        return nullptr;
    }
    auto* const made = std::construct_at(static_cast<ombrel_ctx_db_result_t*>(block));
    const int result = made->start(of.db, query, parameters, count);
    if (result != SQLITE_OK) {
        refuse(ctx, of, result,
               result == SQLITE_RANGE    ? "another number of parameters is wanted"
               : result == SQLITE_MISUSE ? "there is more than one statement"
                                         : nullptr);
        free_result(made);
        return nullptr;
    }
    made->next = of.results;
    of.results = made;
    return made;
}

// Runs one statement to its end and adds the rows it changed.
int run(sqlite3* db, const statement& to_run, int64_t& changed) {
    const int64_t before = sqlite3_total_changes64(db);
    int result;
    while ((result = sqlite3_step(to_run.get())) == SQLITE_ROW)
        continue;
    if (sqlite3_total_changes64(db) != before)
        changed += sqlite3_changes64(db);
    return result == SQLITE_DONE ? SQLITE_OK : result;
}

int run_all(sqlite3* db, const char* query, const ombrel_ctx_db_value_t* parameters, size_t count,
            int64_t& changed) {
    for (const char* rest = query; *rest != '\0';) {
        statement next;
        if (const int result = next.prepare(db, rest, &rest); result != SQLITE_OK)
            return result;
        if (next.get() == nullptr)
            continue;
        if (const int result = next.bind(parameters, count); result != SQLITE_OK)
            return result;
        if (const int result = run(db, next, changed); result != SQLITE_OK)
            return result;
    }
    return SQLITE_OK;
}

int64_t set_query(int ctx, const char* query, const ombrel_ctx_db_value_t* parameters, size_t count) {
    database& of = database_of(ctx);
    int64_t changed = 0;
    tell_query(of, query);
    const int result = run_all(of.db, query, parameters, count, changed);
    if (result == SQLITE_OK)
        return changed;
    return refuse(ctx, of, result,
                  result == SQLITE_RANGE ? "another number of parameters is wanted" : nullptr);
}

int free_query(int ctx, ombrel_ctx_db_result_t* result) {
    ombrel_ctx_db_result_t** link = &database_of(ctx).results;
    while (*link != nullptr && *link != result)
        link = &(*link)->next;
    if (*link == nullptr)
        return fail(ctx, def_ombrel_ctx_error_invalid_argument);
    *link = result->next;
    free_result(result);
    return 0;
}

const ombrel_ctx_db_value_t* fetch_row(int ctx, ombrel_ctx_db_result_t* result) {
    const int state = result->fetch();
    if (state == SQLITE_ROW)
        return result->row();
    if (state == SQLITE_DONE)
        ombrel_ctx_set_last_error(ctx, def_ombrel_ctx_error_none);
    else
        refuse(ctx, database_of(ctx), state);
    return nullptr;
}

int64_t get_row_count(int ctx, ombrel_ctx_db_result_t* result) {
    int64_t rows;
    const int state = result->count_rows(rows);
    if (state == SQLITE_OK)
        return rows;
    return state == SQLITE_MISUSE ? fail(ctx, def_ombrel_ctx_error_not_supported)
                                  : refuse(ctx, database_of(ctx), state);
}

int get_field_count(int, ombrel_ctx_db_result_t* result) {
    return result->field_count();
}

const char* get_field_name(int ctx, ombrel_ctx_db_result_t* result, int index) {
    const char* const name = result->field_name(index);
    if (name == nullptr)
        fail(ctx, def_ombrel_ctx_error_not_found);
    return name;
}

int get_field_index(int ctx, ombrel_ctx_db_result_t* result, const char* name) {
    for (int i = 0; i < result->field_count(); i++)
        if (ombrel_strcasecmp(result->field_name(i), name) == 0)
            return i;
    return fail(ctx, def_ombrel_ctx_error_not_found);
}

struct command {
    uint32_t code;
    const char* query;
};

constexpr command commands[] = {
    {def_ombrel_sqlite_control_begin, "BEGIN IMMEDIATE"},
    {def_ombrel_sqlite_control_commit, "COMMIT"},
    {def_ombrel_sqlite_control_rollback, "ROLLBACK"},
};

int control(int ctx, uint32_t code, va_list args) {
    const void* const record = va_arg(args, void*);
    const size_t size = va_arg(args, size_t);
    for (const command& known : commands) {
        if (known.code != code)
            continue;
        if (record != nullptr || size != 0)
            return fail(ctx, def_ombrel_ctx_error_invalid_argument);
        return set_query(ctx, known.query, nullptr, 0) < 0 ? -1 : 0;
    }
    return fail(ctx, def_ombrel_ctx_error_not_supported);
}

int store_number(int64_t number, char* text, size_t room) {
    char digits[24];
    ombrel_snprintf(digits, sizeof digits, "%lld", static_cast<long long>(number));
    return store_env(digits, text, room);
}

struct property {
    const char* name;
    int (*store)(const database& from, char* text, size_t room);
};

constexpr property properties[] = {
    {"error",
     [](const database& from, char* text, size_t room) { return store_env(from.error, text, room); }},
    {"changes", [](const database& from, char* text,
                   size_t room) { return store_number(sqlite3_changes64(from.db), text, room); }},
    {"last_insert_id",
     [](const database& from, char* text, size_t room) {
         return store_number(sqlite3_last_insert_rowid(from.db), text, room);
     }},
    {"in_transaction",
     [](const database& from, char* text, size_t room) {
         return store_number(sqlite3_get_autocommit(from.db) == 0, text, room);
     }},
    {"path",
     [](const database& from, char* text, size_t room) {
         const char* const path = sqlite3_db_filename(from.db, "main");
         return store_env(path != nullptr ? path : "", text, room);
     }},
    {"version",
     [](const database&, char* text, size_t room) { return store_env(sqlite3_libversion(), text, room); }},
    {"timeout",
     [](const database& from, char* text, size_t room) { return store_number(from.timeout_ms, text, room); }},
};

int get_env(int ctx, const char* name, char* text, size_t room) {
    for (const property& known : properties)
        if (ombrel_strcasecmp(name, known.name) == 0)
            return known.store(database_of(ctx), text, room);
    return fail(ctx, def_ombrel_ctx_error_not_found);
}

int set_env(int ctx, const char* name, const char* text) {
    int timeout = default_timeout_ms;
    if (ombrel_strcasecmp(name, "timeout") != 0)
        return fail(ctx, def_ombrel_ctx_error_not_found);
    if (text != nullptr && !read_number(text, timeout))
        return fail(ctx, def_ombrel_ctx_error_invalid_argument);
    set_timeout(database_of(ctx), timeout);
    return 0;
}

constexpr ombrel_ctx0_v1_interface_t table = {
    {
        def_ombrel_interface_kind_ctx,
        sizeof(ombrel_ctx0_v1_interface_t),
        1,
        0,
        open_ctx,
        close_ctx,
        nullptr,
        nullptr,
        control,
        nullptr,
        nullptr,
        nullptr,
        nullptr,
        nullptr,
        nullptr,
        get_env,
        set_env,
        nullptr,
        nullptr,
        nullptr,
    },
    get_query,
    set_query,
    free_query,
    fetch_row,
    get_row_count,
    get_field_count,
    get_field_index,
    get_field_name,
    nullptr,
};

} // namespace

OMBREL_PLUGIN_API int ombrel_plugin_initialize(const char** hint, const void** interface_table, size_t* size);
OMBREL_PLUGIN_API int ombrel_plugin_uninitialize(void);

int ombrel_plugin_initialize(const char** hint, const void** interface_table, size_t* size) {
    if (hint == nullptr || interface_table == nullptr || size == nullptr || sqlite3_initialize() != SQLITE_OK)
        return -1;
    *hint = def_ombrel_plugin_sqlite_mime_type;
    *interface_table = &table;
    *size = sizeof table;
    return 0;
}

// SQLite stays initialised: the application may use it as well, and its initialisation is not counted.
int ombrel_plugin_uninitialize(void) {
    return 0;
}
