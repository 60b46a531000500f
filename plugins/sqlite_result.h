// Statements of SQLite, and the results of queries that contexts hand out.
#pragma once

#include <cstddef>
#include <cstdint>

#include <sqlite3.h>

#include <ombrel/ctx.h>

/// A prepared statement for a scope.
class statement {
public:
    statement() = default;
    ~statement() { sqlite3_finalize(handle_); }
    statement(const statement&) = delete;
    statement& operator=(const statement&) = delete;

    /// Prepares the first statement of a text, which may be none: a result of SQLite. `rest` receives what
    /// follows.
    int prepare(sqlite3* db, const char* query, const char** rest);
    /// The values are read as long as the statement lives. SQLITE_RANGE when their number is another than
    /// wanted.
    int bind(const ombrel_ctx_db_value_t* values, size_t count);

    sqlite3_stmt* get() const { return handle_; }

private:
    sqlite3_stmt* handle_ = nullptr;
};

/// Copies of parameters, for as long as a result may need them.
class parameter_copy {
public:
    parameter_copy() = default;
    ~parameter_copy();
    parameter_copy(const parameter_copy&) = delete;
    parameter_copy& operator=(const parameter_copy&) = delete;

    bool make(const ombrel_ctx_db_value_t* values, size_t count);
    const ombrel_ctx_db_value_t* values() const { return values_; }
    size_t count() const { return count_; }

private:
    ombrel_ctx_db_value_t* values_ = nullptr;
    size_t count_ = 0;
};

/// The rows of a query, one at a time. All functions with an `int` result give one of SQLite.
struct ombrel_ctx_db_result_ts {
public:
    ~ombrel_ctx_db_result_ts();

    /// Runs the query as far as its first row. SQLITE_MISUSE for more than one statement.
    int start(sqlite3* db, const char* query, const ombrel_ctx_db_value_t* parameters, size_t count);
    /// SQLITE_ROW with `row()` set, SQLITE_DONE, or an error.
    int fetch();
    const ombrel_ctx_db_value_t* row() const { return row_; }
    /// SQLITE_MISUSE for a query that cannot be run again.
    int count_rows(int64_t& rows) const;
    int field_count() const { return fields_; }
    const char* field_name(int index) const;

    ombrel_ctx_db_result_ts* next = nullptr;

private:
    int step();
    int take_row();
    bool store_blobs();

    sqlite3* db_ = nullptr;
    parameter_copy parameters_; // outlives the statement that reads it
    statement statement_;
    int fields_ = 0;
    int state_ = SQLITE_DONE; // what the last step gave
    bool is_taken_ = false;   // the row of the last step
    ombrel_ctx_db_value_t* row_ = nullptr;
    char* blobs_ = nullptr;
};
