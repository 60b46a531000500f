#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include <ombrel/plugin_sqlite.h>

#include "plugins/plugin_support.h"
#include "support/capture.h"
#include "support/scratch_directory.h"

namespace ombrel_test {
namespace {

using value = ombrel_ctx_db_value_t;

value integer(int64_t number) {
    return {def_ombrel_ctx_db_integer, number, 0, nullptr, 0};
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

TEST(PluginsByName, ThoseOfTheBuildAreFound) {
    const int plugin = ombrel_load_plugin(def_ombrel_plugin_sqlite_name, nullptr);
    EXPECT_GT(plugin, 0);
    EXPECT_EQ(0, ombrel_unload_plugin(plugin));
}

TEST_F(SqlitePlugin, AnOptionThatIsNoNumberIsRefused) {
    for (const char* const option : {"timeout", "debug", "verbose"})
        for (const char* const text : {"5x", "abc", "", "99999999999"})
            EXPECT_EQ(ctx_error::invalid,
                      context().open(def_ombrel_plugin_sqlite_mime_type, {{"source", file_}, {option, text}}))
                << option << " \"" << text << '"';
    EXPECT_FALSE(std::ifstream(file_).is_open());
}

TEST_F(SqlitePlugin, ValuesComeBackAsTheyWent) {
    const std::string text = "a\0\xC3\xA4\n", blob("\0\xFF\0", 3), empty;
    const value given[] = {{def_ombrel_ctx_db_null, 0, 0, nullptr, 0},
                           integer(INT64_MIN),
                           integer(INT64_MAX),
                           {def_ombrel_ctx_db_real, 0, -1.0 / 3, nullptr, 0},
                           bytes(def_ombrel_ctx_db_text, text),
                           bytes(def_ombrel_ctx_db_text, empty),
                           bytes(def_ombrel_ctx_db_blob, blob),
                           {def_ombrel_ctx_db_blob, 0, 0, nullptr, 0}};
    constexpr size_t count = std::size(given);
    context ctx;
    ASSERT_EQ(0, open(ctx));
    ASSERT_EQ(0, ombrel_ctx_db_set_query_puts(ctx, "CREATE TABLE t (a, b, c, d, e, f, g, h)"));
    ASSERT_EQ(1, ombrel_ctx_db_set_query_ex(ctx, "INSERT INTO t VALUES (?,?,?,?,?,?,?,?)", given, count));
    // The place of a parameter may be read again when its owner has changed.
    value key = integer(INT64_MAX);
    ombrel_ctx_db_result_t* const result =
        ombrel_ctx_db_get_query_ex(ctx, "SELECT * FROM t WHERE c = ?", &key, 1);
    key = integer(0);
    ASSERT_NE(nullptr, result);
    EXPECT_EQ(1, ombrel_ctx_db_get_row_count(ctx, result));
    const value* const row = ombrel_ctx_db_fetch_row(ctx, result);
    ASSERT_NE(nullptr, row);
    for (size_t i = 0; i < count; i++) {
        SCOPED_TRACE(i);
        EXPECT_EQ(row[i].m_type, given[i].m_type);
        EXPECT_EQ(row[i].m_integer, given[i].m_integer);
        EXPECT_EQ(row[i].m_real, given[i].m_real);
        if (i < 4)
            continue;
        ASSERT_EQ(given[i].m_size, row[i].m_size);
        const auto* const data = static_cast<const char*>(row[i].m_data);
        EXPECT_EQ(0, row[i].m_size != 0 ? memcmp(data, given[i].m_data, row[i].m_size) : 0);
        EXPECT_EQ('\0', data[row[i].m_size]);
    }
    EXPECT_EQ(nullptr, ombrel_ctx_db_fetch_row(ctx, result));
    EXPECT_EQ(0, ctx.error());
    EXPECT_EQ(0, ombrel_ctx_db_free_result(ctx, result));
}

TEST_F(SqlitePlugin, ColumnsCountsAndTables) {
    context ctx;
    ASSERT_EQ(0, open(ctx));
    EXPECT_EQ(3, ombrel_ctx_db_set_query_puts(ctx,
                                              "CREATE TABLE t (Name TEXT, n); INSERT INTO t VALUES ('a', 1), "
                                              "('bbb', 22); ; INSERT INTO t VALUES (NULL, x'01') -- end"));
    ombrel_ctx_db_result_t* result =
        ombrel_ctx_db_get_query(ctx, "SELECT * FROM %s WHERE rowid < %d;\n", "t", 99);
    ASSERT_NE(nullptr, result);
    EXPECT_EQ(2, ombrel_ctx_db_get_field_count(ctx, result));
    EXPECT_STREQ("Name", ombrel_ctx_db_get_field_name(ctx, result, 0));
    EXPECT_EQ(nullptr, ombrel_ctx_db_get_field_name(ctx, result, 2));
    EXPECT_EQ(1, ombrel_ctx_db_get_field_index(ctx, result, "N"));
    ASSERT_NE(nullptr, ombrel_ctx_db_fetch_row(ctx, result));
    EXPECT_EQ(3, ombrel_ctx_db_get_row_count(ctx, result)) << "taken ones count, too";
    capture output(stdout);
    EXPECT_EQ(2, ombrel_ctx_db_dump_result(ctx, result));
    EXPECT_EQ("Name | n\n"
              "-----+----------\n"
              "bbb  |        22\n"
              "NULL | (1 bytes)\n",
              output.text());
    // A changing query cannot be counted by running it again.
    ombrel_ctx_db_result_t* const changing =
        ombrel_ctx_db_get_query_puts(ctx, "INSERT INTO t VALUES ('c', 3) RETURNING n");
    ASSERT_NE(nullptr, changing);
    EXPECT_EQ(-1, ombrel_ctx_db_get_row_count(ctx, changing));
    EXPECT_EQ(ctx_error::not_supported, ctx.error());
    EXPECT_EQ(0, ombrel_ctx_db_free_result(ctx, changing));
    EXPECT_EQ(-1, ombrel_ctx_db_free_result(ctx, changing)) << "no longer a result of it";
    EXPECT_EQ("4", ask(ctx, "SELECT count(*) FROM t"));
    // The other result is the context's to free.
}

TEST_F(SqlitePlugin, BadQueriesAreRefusedWithAText) {
    const value one = integer(1);
    context ctx;
    ASSERT_EQ(0, open(ctx));
    ASSERT_EQ(1, ombrel_ctx_db_set_query_puts(
                     ctx, "CREATE TABLE t (a INTEGER PRIMARY KEY); INSERT INTO t VALUES (1)"));
    struct {
        const char* query;
        size_t parameters;
        int error;
        const char* text;
    } const cases[] = {{"SELEC 1", 0, ctx_error::syntax, "near \"SELEC\": syntax error"},
                       {"SELECT * FROM missing", 0, ctx_error::syntax, "no such table: missing"},
                       {"INSERT INTO t VALUES (1)", 0, ctx_error::invalid, "UNIQUE constraint failed: t.a"},
                       {"SELECT ?", 0, ctx_error::invalid, "another number of parameters is wanted"},
                       {"SELECT 1", 1, ctx_error::invalid, "another number of parameters is wanted"}};
    for (const auto& test : cases) {
        EXPECT_EQ(nullptr, ombrel_ctx_db_get_query_ex(ctx, test.query, &one, test.parameters)) << test.query;
        EXPECT_EQ(ctx.error(), test.error) << test.query;
        EXPECT_EQ(ctx.env("error"), test.text);
        ombrel_ctx_set_last_error(ctx, 0);
        EXPECT_EQ(-1, ombrel_ctx_db_set_query_ex(ctx, test.query, &one, test.parameters)) << test.query;
        EXPECT_EQ(ctx.error(), test.error) << test.query;
    }
    value endless = {def_ombrel_ctx_db_text, 0, 0, "text", 0};
    endless.m_size = SIZE_MAX;
    EXPECT_EQ(-1, ombrel_ctx_db_set_query_ex(ctx, "SELECT ?", &endless, 1));
    EXPECT_EQ(ctx_error::invalid, ctx.error());
    EXPECT_EQ(nullptr, ombrel_ctx_db_get_query_puts(ctx, "SELECT 1; SELECT 2"));
    EXPECT_EQ("there is more than one statement", ctx.env("error"));
}

TEST_F(SqlitePlugin, TransactionsAndLocks) {
    context writer, other;
    ASSERT_EQ(0, open(writer));
    ASSERT_EQ(0, ombrel_ctx_db_set_query_puts(writer, "CREATE TABLE t (a)"));
    ASSERT_EQ(0, open(other, "r+", "20"));
    const auto control = [](int ctx, uint32_t code) {
        return ombrel_ctx_control(ctx, code, static_cast<void*>(nullptr), size_t{0});
    };
    EXPECT_EQ(0, control(writer, def_ombrel_sqlite_control_begin));
    EXPECT_EQ(1, ombrel_ctx_db_set_query_puts(writer, "INSERT INTO t VALUES (1)"));
    EXPECT_EQ(-1, control(other, def_ombrel_sqlite_control_begin));
    EXPECT_EQ(ctx_error::busy, other.error());
    EXPECT_EQ("database is locked", other.env("error"));
    EXPECT_EQ(0, control(writer, def_ombrel_sqlite_control_rollback));
    EXPECT_EQ("0", ask(other, "SELECT count(*) FROM t"));
    EXPECT_EQ(0, control(other, def_ombrel_sqlite_control_begin));
    EXPECT_EQ(2, ombrel_ctx_db_set_query_puts(other, "INSERT INTO t VALUES (2), (3)"));
    EXPECT_EQ(0, control(other, def_ombrel_sqlite_control_commit));
    EXPECT_EQ("5", ask(writer, "SELECT sum(a) FROM t"));
}

TEST_F(SqlitePlugin, DamagedAndMissingFiles) {
    context ctx;
    EXPECT_EQ(ctx_error::not_found, open(ctx, "r"));
    ASSERT_EQ(0, open(ctx));
    ASSERT_EQ(5000, ombrel_ctx_db_set_query_puts(
                        ctx, "CREATE TABLE t (a); WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL "
                             "SELECT i + 1 FROM n WHERE i < 5000) INSERT INTO t SELECT i FROM n"));
    ombrel_close_ctx(ctx);
    ASSERT_EQ(0, open(ctx, "r"));
    EXPECT_EQ(-1, ombrel_ctx_db_set_query_puts(ctx, "DELETE FROM t"));
    EXPECT_EQ(ctx_error::access_denied, ctx.error());
    ombrel_close_ctx(ctx);
    {
        std::fstream file(file_, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(2 * 4096);
        file << std::string(3 * 4096, '\x5A');
    }
    ASSERT_EQ(0, open(ctx)) << "the first page is sound";
    EXPECT_EQ("(none)", ask(ctx, "SELECT sum(a) FROM t"));
    EXPECT_EQ(ctx_error::corrupt, ctx.error());
    EXPECT_EQ("database disk image is malformed", ctx.env("error"));
    ombrel_close_ctx(ctx);
    std::ofstream(file_) << std::string(4096, 'x');
    EXPECT_EQ(ctx_error::corrupt, open(ctx));
}

} // namespace
} // namespace ombrel_test
