#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>

#include <ombrel/plugin_sqlite.h>

#include "plugins/plugin_support.h"
#include "support/capture.h"
#include "support/scratch_directory.h"

namespace ombrel_test {
namespace {

using value = ombrel_ctx_db_value_t;

value null_value() {
    return {def_ombrel_ctx_db_null, 0, 0, nullptr, 0};
}
value integer(int64_t number) {
    return {def_ombrel_ctx_db_integer, number, 0, nullptr, 0};
}
value real(double number) {
    return {def_ombrel_ctx_db_real, 0, number, nullptr, 0};
}
value bytes(ombrel_ctx_db_type_t type, const std::string& data) {
    return {type, 0, 0, data.data(), data.size()};
}

class SqlitePlugin : public balanced_test {
protected:
    int open(context& ctx, const char* mode = "w+", const char* timeout = "60000") {
        return ctx.open(def_ombrel_plugin_sqlite_mime_type,
                        {{"source", file_}, {"mode", mode}, {"timeout", timeout}});
    }

    /// The only value of the only row.
    static std::string ask(int ctx, const char* query) {
        ombrel_ctx_db_result_t* const result = ombrel_ctx_db_get_query_puts(ctx, query);
        const value* const row = result != nullptr ? ombrel_ctx_db_fetch_row(ctx, result) : nullptr;
        const std::string text = row == nullptr ? "(none)" : static_cast<const char*>(row->m_data);
        ombrel_ctx_db_free_result(ctx, result);
        return text;
    }

    loaded_plugin plugin_{OMBREL_TEST_PLUGIN_SQLITE};
    const scratch_directory folder_;
    const std::string file_ = folder_ / "test.db";
};

TEST_F(SqlitePlugin, an_option_that_is_no_number_is_refused) {
    for (const char* const option : {"timeout", "debug", "verbose"})
        for (const char* const text : {"5x", "abc", "", "99999999999"})
            EXPECT_EQ(context().open(def_ombrel_plugin_sqlite_mime_type, {{"source", file_}, {option, text}}),
                      def_ombrel_ctx_error_invalid_argument)
                << option << " \"" << text << '"';
    EXPECT_FALSE(std::filesystem::exists(file_));
}

TEST_F(SqlitePlugin, values_come_back_as_they_went) {
    const std::string text = "a\0\xC3\xA4\n", blob("\0\xFF\0", 3), empty;
    const value given[] = {null_value(),
                           integer(INT64_MIN),
                           integer(INT64_MAX),
                           real(-1.0 / 3),
                           bytes(def_ombrel_ctx_db_text, text),
                           bytes(def_ombrel_ctx_db_text, empty),
                           bytes(def_ombrel_ctx_db_blob, blob),
                           {def_ombrel_ctx_db_blob, 0, 0, nullptr, 0}};
    constexpr size_t count = std::size(given);
    context ctx;
    ASSERT_EQ(open(ctx), 0);
    ASSERT_EQ(ombrel_ctx_db_set_query_puts(ctx, "CREATE TABLE t (a, b, c, d, e, f, g, h)"), 0);
    ASSERT_EQ(ombrel_ctx_db_set_query_ex(ctx, "INSERT INTO t VALUES (?,?,?,?,?,?,?,?)", given, count), 1);
    // The place of a parameter may be read again when its owner has changed.
    value key = integer(INT64_MAX);
    ombrel_ctx_db_result_t* const result =
        ombrel_ctx_db_get_query_ex(ctx, "SELECT * FROM t WHERE c = ?", &key, 1);
    key = integer(0);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(ombrel_ctx_db_get_row_count(ctx, result), 1);
    const value* const row = ombrel_ctx_db_fetch_row(ctx, result);
    ASSERT_NE(row, nullptr);
    for (size_t i = 0; i < count; i++) {
        SCOPED_TRACE(i);
        EXPECT_EQ(row[i].m_type, given[i].m_type);
        EXPECT_EQ(row[i].m_integer, given[i].m_integer);
        EXPECT_EQ(row[i].m_real, given[i].m_real);
        if (i < 4)
            continue;
        EXPECT_EQ(std::string(static_cast<const char*>(row[i].m_data), row[i].m_size),
                  std::string(given[i].m_data != nullptr ? static_cast<const char*>(given[i].m_data) : "",
                              given[i].m_size));
        EXPECT_EQ(static_cast<const char*>(row[i].m_data)[row[i].m_size], '\0');
    }
    EXPECT_EQ(ombrel_ctx_db_fetch_row(ctx, result), nullptr);
    EXPECT_EQ(ctx.error(), 0);
    EXPECT_EQ(ombrel_ctx_db_free_result(ctx, result), 0);
}

TEST_F(SqlitePlugin, columns_counts_and_tables) {
    context ctx;
    ASSERT_EQ(open(ctx), 0);
    EXPECT_EQ(ombrel_ctx_db_set_query_puts(ctx,
                                           "CREATE TABLE t (Name TEXT, n); INSERT INTO t VALUES ('a', 1), "
                                           "('bbb', 22); ; INSERT INTO t VALUES (NULL, x'01') -- end"),
              3);
    ombrel_ctx_db_result_t* result =
        ombrel_ctx_db_get_query(ctx, "SELECT * FROM %s WHERE rowid < %d;\n", "t", 99);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(ombrel_ctx_db_get_field_count(ctx, result), 2);
    EXPECT_STREQ(ombrel_ctx_db_get_field_name(ctx, result, 0), "Name");
    EXPECT_EQ(ombrel_ctx_db_get_field_name(ctx, result, 2), nullptr);
    EXPECT_EQ(ombrel_ctx_db_get_field_index(ctx, result, "N"), 1);
    ASSERT_NE(ombrel_ctx_db_fetch_row(ctx, result), nullptr);
    EXPECT_EQ(ombrel_ctx_db_get_row_count(ctx, result), 3) << "taken ones count, too";
    capture output(stdout);
    EXPECT_EQ(ombrel_ctx_db_dump_result(ctx, result), 2);
    EXPECT_EQ(output.text(), "Name | n\n"
                             "-----+----------\n"
                             "bbb  |        22\n"
                             "NULL | (1 bytes)\n");
    // A changing query cannot be counted by running it again.
    ombrel_ctx_db_result_t* const changing =
        ombrel_ctx_db_get_query_puts(ctx, "INSERT INTO t VALUES ('c', 3) RETURNING n");
    ASSERT_NE(changing, nullptr);
    EXPECT_EQ(ombrel_ctx_db_get_row_count(ctx, changing), -1);
    EXPECT_EQ(ctx.error(), def_ombrel_ctx_error_not_supported);
    EXPECT_EQ(ombrel_ctx_db_free_result(ctx, changing), 0);
    EXPECT_EQ(ombrel_ctx_db_free_result(ctx, changing), -1) << "no longer a result of it";
    EXPECT_EQ(ask(ctx, "SELECT count(*) FROM t"), "4");
    // The other result is the context's to free.
}

TEST_F(SqlitePlugin, bad_queries_are_refused_with_a_text) {
    const value one = integer(1);
    context ctx;
    ASSERT_EQ(open(ctx), 0);
    ASSERT_EQ(
        ombrel_ctx_db_set_query_puts(ctx, "CREATE TABLE t (a INTEGER PRIMARY KEY); INSERT INTO t VALUES (1)"),
        1);
    struct {
        const char* query;
        size_t parameters;
        int error;
        const char* text;
    } const cases[] = {
        {"SELEC 1", 0, def_ombrel_ctx_error_syntax, "near \"SELEC\": syntax error"},
        {"SELECT * FROM missing", 0, def_ombrel_ctx_error_syntax, "no such table: missing"},
        {"INSERT INTO t VALUES (1)", 0, def_ombrel_ctx_error_invalid_argument,
         "UNIQUE constraint failed: t.a"},
        {"SELECT ?", 0, def_ombrel_ctx_error_invalid_argument, "another number of parameters is wanted"},
        {"SELECT 1", 1, def_ombrel_ctx_error_invalid_argument, "another number of parameters is wanted"},
    };
    for (const auto& test : cases) {
        EXPECT_EQ(ombrel_ctx_db_get_query_ex(ctx, test.query, &one, test.parameters), nullptr) << test.query;
        EXPECT_EQ(ctx.error(), test.error) << test.query;
        EXPECT_EQ(ctx.env("error"), test.text);
        ombrel_ctx_set_last_error(ctx, 0);
        EXPECT_EQ(ombrel_ctx_db_set_query_ex(ctx, test.query, &one, test.parameters), -1) << test.query;
        EXPECT_EQ(ctx.error(), test.error) << test.query;
    }
    value endless = {def_ombrel_ctx_db_text, 0, 0, "text", 0};
    endless.m_size = SIZE_MAX;
    EXPECT_EQ(ombrel_ctx_db_set_query_ex(ctx, "SELECT ?", &endless, 1), -1);
    EXPECT_EQ(ctx.error(), def_ombrel_ctx_error_invalid_argument);
    EXPECT_EQ(ombrel_ctx_db_get_query_puts(ctx, "SELECT 1; SELECT 2"), nullptr);
    EXPECT_EQ(ctx.env("error"), "there is more than one statement");
}

TEST_F(SqlitePlugin, transactions_and_locks) {
    context writer, other;
    ASSERT_EQ(open(writer), 0);
    ASSERT_EQ(ombrel_ctx_db_set_query_puts(writer, "CREATE TABLE t (a)"), 0);
    ASSERT_EQ(open(other, "r+", "20"), 0);
    const auto control = [](int ctx, uint32_t code) {
        return ombrel_ctx_control(ctx, code, static_cast<void*>(nullptr), size_t{0});
    };
    EXPECT_EQ(control(writer, def_ombrel_sqlite_control_begin), 0);
    EXPECT_EQ(ombrel_ctx_db_set_query_puts(writer, "INSERT INTO t VALUES (1)"), 1);
    EXPECT_EQ(control(other, def_ombrel_sqlite_control_begin), -1);
    EXPECT_EQ(other.error(), def_ombrel_ctx_error_busy);
    EXPECT_EQ(other.env("error"), "database is locked");
    EXPECT_EQ(control(writer, def_ombrel_sqlite_control_rollback), 0);
    EXPECT_EQ(ask(other, "SELECT count(*) FROM t"), "0");
    EXPECT_EQ(control(other, def_ombrel_sqlite_control_begin), 0);
    EXPECT_EQ(ombrel_ctx_db_set_query_puts(other, "INSERT INTO t VALUES (2), (3)"), 2);
    EXPECT_EQ(control(other, def_ombrel_sqlite_control_commit), 0);
    EXPECT_EQ(ask(writer, "SELECT sum(a) FROM t"), "5");
}

TEST_F(SqlitePlugin, damaged_and_missing_files) {
    context ctx;
    EXPECT_EQ(open(ctx, "r"), def_ombrel_ctx_error_not_found);
    ASSERT_EQ(open(ctx), 0);
    ASSERT_EQ(ombrel_ctx_db_set_query_puts(
                  ctx, "CREATE TABLE t (a); WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL "
                       "SELECT i + 1 FROM n WHERE i < 5000) INSERT INTO t SELECT i FROM n"),
              5000);
    ombrel_close_ctx(ctx);
    ASSERT_EQ(open(ctx, "r"), 0);
    EXPECT_EQ(ombrel_ctx_db_set_query_puts(ctx, "DELETE FROM t"), -1);
    EXPECT_EQ(ctx.error(), def_ombrel_ctx_error_access_denied);
    ombrel_close_ctx(ctx);
    {
        std::fstream file(file_, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(2 * 4096);
        file << std::string(3 * 4096, '\x5A');
    }
    ASSERT_EQ(open(ctx), 0) << "the first page is sound";
    EXPECT_EQ(ask(ctx, "SELECT sum(a) FROM t"), "(none)");
    EXPECT_EQ(ctx.error(), def_ombrel_ctx_error_corrupt);
    EXPECT_EQ(ctx.env("error"), "database disk image is malformed");
    ombrel_close_ctx(ctx);
    std::ofstream(file_) << std::string(4096, 'x');
    EXPECT_EQ(open(ctx), def_ombrel_ctx_error_corrupt);
}

} // namespace
} // namespace ombrel_test
