// What the plug-ins over outside libraries allocate themselves.
#if defined(OMBREL_TEST_SQLITE)

#include <memory>

#include "../plugins/curl_headers.h"
#include "../plugins/sqlite_result.h"
#include "alloc_failure/injection.h"

namespace ombrel_test {
namespace {

OMBREL_FAILURES(Sqlite, results) {
    sqlite3* db = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(":memory:", &db));
    const ombrel_ctx_db_value_t parameters[] = {{def_ombrel_ctx_db_blob, 0, 0, "bytes", 5},
                                                {def_ombrel_ctx_db_text, 0, 0, "text", 4}};
    {
        ombrel_ctx_db_result_ts result;
        const int started = fail.during([&] { return result.start(db, "SELECT ?, ?, 1", parameters, 2); });
        EXPECT_EQ(started, fail.hit() ? SQLITE_NOMEM : SQLITE_OK);
        if (started == SQLITE_OK) {
            const int fetched = fail.during([&] { return result.fetch(); });
            EXPECT_EQ(fetched, fail.hit() ? SQLITE_NOMEM : SQLITE_ROW);
        }
    }
    EXPECT_EQ(SQLITE_OK, sqlite3_close(db));
}

OMBREL_FAILURES(Curl, headers) {
    header_lines headers;
    const bool added = fail.during([&] { return headers.add("Name: value\r\n"); });
    EXPECT_EQ(added, !fail.hit());
    EXPECT_EQ(headers.field("name"), added ? "value" : "");
}

} // namespace
} // namespace ombrel_test

#endif
