#include "sqlite_result.h"

#include <climits>
#include <cstring>

#include <ombrel/heap.h>

namespace {

// Callers may give a number that is none of the types, which an enumeration must not hold.
unsigned type_number(const ombrel_ctx_db_value_t& value) {
    unsigned number;
    static_assert(sizeof number == sizeof value.m_type);
    memcpy(&number, &value.m_type, sizeof number);
    return number;
}

bool has_bytes(const ombrel_ctx_db_value_t& value) {
    const unsigned type = type_number(value);
    return type == def_ombrel_ctx_db_text || type == def_ombrel_ctx_db_blob;
}

// A null pointer would bind a null value.
const char* bytes_of(const ombrel_ctx_db_value_t& value) {
    return value.m_data != nullptr ? static_cast<const char*>(value.m_data) : "";
}

int bind_value(sqlite3_stmt* to, int index, const ombrel_ctx_db_value_t& value) {
    // SQLite takes a size of more than 63 bits for a negative one: "up to the terminator".
    if (has_bytes(value) && value.m_size > INT_MAX)
        return SQLITE_TOOBIG;
    switch (type_number(value)) {
    case def_ombrel_ctx_db_null:
        return sqlite3_bind_null(to, index);
    case def_ombrel_ctx_db_integer:
        return sqlite3_bind_int64(to, index, value.m_integer);
    case def_ombrel_ctx_db_real:
        return sqlite3_bind_double(to, index, value.m_real);
    case def_ombrel_ctx_db_text:
        return sqlite3_bind_text64(to, index, bytes_of(value), value.m_size, nullptr, SQLITE_UTF8);
    case def_ombrel_ctx_db_blob:
        return sqlite3_bind_blob64(to, index, bytes_of(value), value.m_size, nullptr);
    }
    return SQLITE_MISMATCH;
}

constexpr ombrel_ctx_db_type_t type_of(int sqlite_type) {
    switch (sqlite_type) {
    case SQLITE_INTEGER:
        return def_ombrel_ctx_db_integer;
    case SQLITE_FLOAT:
        return def_ombrel_ctx_db_real;
    case SQLITE_TEXT:
        return def_ombrel_ctx_db_text;
    case SQLITE_BLOB:
        return def_ombrel_ctx_db_blob;
    default:
        return def_ombrel_ctx_db_null;
    }
}

// The type and the number are asked for before the text, which converts the column.
bool read_column(sqlite3_stmt* from, int index, ombrel_ctx_db_value_t& value) {
    value = {type_of(sqlite3_column_type(from, index)), 0, 0, nullptr, 0};
    if (value.m_type == def_ombrel_ctx_db_null)
        return true;
    if (value.m_type == def_ombrel_ctx_db_integer)
        value.m_integer = sqlite3_column_int64(from, index);
    else if (value.m_type == def_ombrel_ctx_db_real)
        value.m_real = sqlite3_column_double(from, index);
    value.m_data = value.m_type == def_ombrel_ctx_db_blob
                       ? sqlite3_column_blob(from, index)
                       : static_cast<const void*>(sqlite3_column_text(from, index));
    value.m_size = static_cast<size_t>(sqlite3_column_bytes(from, index));
    return value.m_data != nullptr || (value.m_type == def_ombrel_ctx_db_blob && value.m_size == 0);
}

} // namespace

int statement::prepare(sqlite3* db, const char* query, const char** rest) {
    return sqlite3_prepare_v2(db, query, -1, &handle_, rest);
}

int statement::bind(const ombrel_ctx_db_value_t* values, size_t count) {
    if (count > INT_MAX || sqlite3_bind_parameter_count(handle_) != static_cast<int>(count))
        return SQLITE_RANGE;
    for (int i = 0; i < static_cast<int>(count); i++)
        if (const int result = bind_value(handle_, i + 1, values[i]); result != SQLITE_OK)
            return result;
    return SQLITE_OK;
}

parameter_copy::~parameter_copy() {
    ombrel_check_free(values_);
}

// One block: the values, then their bytes.
bool parameter_copy::make(const ombrel_ctx_db_value_t* values, size_t count) {
    size_t size = 0;
    if (count == 0)
        return true;
    if (__builtin_mul_overflow(count, sizeof *values, &size))
        return false;
    for (size_t i = 0; i < count; i++)
        if (has_bytes(values[i]) && __builtin_add_overflow(size, values[i].m_size, &size))
            return false;
    values_ = static_cast<ombrel_ctx_db_value_t*>(ombrel_alloc(size));
    if (values_ == nullptr)
        return false;
    auto* bytes = reinterpret_cast<char*>(values_ + count);
    for (count_ = 0; count_ < count; count_++) {
        ombrel_ctx_db_value_t& copy = values_[count_] = values[count_];
        if (!has_bytes(copy))
            continue;
        memcpy(bytes, bytes_of(copy), copy.m_size);
        copy.m_data = bytes;
        bytes += copy.m_size;
    }
    return true;
}

ombrel_ctx_db_result_ts::~ombrel_ctx_db_result_ts() {
    ombrel_check_free(row_);
    ombrel_check_free(blobs_);
}

int ombrel_ctx_db_result_ts::start(sqlite3* db, const char* query, const ombrel_ctx_db_value_t* parameters,
                                   size_t count) {
    const char* rest;
    db_ = db;
    if (!parameters_.make(parameters, count))
        return SQLITE_NOMEM;
    if (const int result = statement_.prepare(db, query, &rest); result != SQLITE_OK)
        return result;
    if (statement_.get() == nullptr)
        return count == 0 ? SQLITE_OK : SQLITE_RANGE;
    if (rest[strspn(rest, " \t\r\n;")] != '\0')
        return SQLITE_MISUSE;
    if (const int result = statement_.bind(parameters_.values(), count); result != SQLITE_OK)
        return result;
    fields_ = sqlite3_column_count(statement_.get());
    if (fields_ > 0)
        row_ = static_cast<ombrel_ctx_db_value_t*>(
            ombrel_calloc(static_cast<size_t>(fields_), sizeof(ombrel_ctx_db_value_t)));
    if (fields_ > 0 && row_ == nullptr)
        return SQLITE_NOMEM;
    state_ = step();
    return state_ == SQLITE_ROW || state_ == SQLITE_DONE ? SQLITE_OK : state_;
}

// At the end the statement gives its locks back.
int ombrel_ctx_db_result_ts::step() {
    const int result = sqlite3_step(statement_.get());
    if (result == SQLITE_DONE)
        sqlite3_reset(statement_.get());
    return result;
}

int ombrel_ctx_db_result_ts::fetch() {
    if (is_taken_ && state_ == SQLITE_ROW)
        state_ = step();
    is_taken_ = true;
    return state_ == SQLITE_ROW ? take_row() : state_;
}

int ombrel_ctx_db_result_ts::take_row() {
    for (int i = 0; i < fields_; i++)
        if (!read_column(statement_.get(), i, row_[i]))
            return SQLITE_NOMEM;
    return store_blobs() ? SQLITE_ROW : SQLITE_NOMEM;
}

// Blobs get the terminator that SQLite gives to texts alone.
bool ombrel_ctx_db_result_ts::store_blobs() {
    size_t size = 0;
    for (int i = 0; i < fields_; i++)
        if (row_[i].m_type == def_ombrel_ctx_db_blob &&
            __builtin_add_overflow(size, row_[i].m_size + 1, &size))
            return false;
    ombrel_check_free(blobs_);
    blobs_ = nullptr;
    if (size == 0)
        return true;
    blobs_ = static_cast<char*>(ombrel_alloc(size));
    if (blobs_ == nullptr)
        return false;
    char* to = blobs_;
    for (int i = 0; i < fields_; i++) {
        ombrel_ctx_db_value_t& value = row_[i];
        if (value.m_type != def_ombrel_ctx_db_blob)
            continue;
        memcpy(to, bytes_of(value), value.m_size);
        to[value.m_size] = '\0';
        value.m_data = to;
        to += value.m_size + 1;
    }
    return true;
}

int ombrel_ctx_db_result_ts::count_rows(int64_t& rows) const {
    rows = 0;
    if (statement_.get() == nullptr || fields_ == 0)
        return SQLITE_OK;
    if (sqlite3_stmt_readonly(statement_.get()) == 0)
        return SQLITE_MISUSE;
    statement again;
    if (const int result = again.prepare(db_, sqlite3_sql(statement_.get()), nullptr); result != SQLITE_OK)
        return result;
    if (const int result = again.bind(parameters_.values(), parameters_.count()); result != SQLITE_OK)
        return result;
    int result;
    while ((result = sqlite3_step(again.get())) == SQLITE_ROW)
        rows++;
    return result == SQLITE_DONE ? SQLITE_OK : result;
}

const char* ombrel_ctx_db_result_ts::field_name(int index) const {
    return index >= 0 && index < fields_ ? sqlite3_column_name(statement_.get(), index) : nullptr;
}
