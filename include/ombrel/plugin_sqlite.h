/**
 * @file plugin_sqlite.h
 * @brief What contexts of the plug-in "ombrel_plugin_sqlite" understand: databases in files, by SQLite.
 *
 * The plug-in is a library of its own, built where SQLite is installed, and loaded by ombrel_load_plugin().
 *
 * @par Opening
 * It serves "application/tuk_db_sqlite". A file that is no database, or a damaged one, fails with "corrupt",
 * one that others hold locked beyond the time limit with "busy". A number among the options is a decimal one
 * of 32 bits, with a "-" where it is negative; anything else fails with "invalid argument".
 *
 * - `source`: path of the file, also as "file:" URI, or ":memory:"; empty for a temporary database
 * - `mode`: "r" for reading only; "r+": the file must exist; others make it when it does not ("w+" by
 * default)
 * - `timeout`: milliseconds to wait for the locks of others, 5000 by default; negative for no limit
 * - `verbose`, `debug`: not 0: errors, and with "debug" the queries too, on standard error
 *
 * @par Queries
 * Parameters are marked "?", "?1" or by names in the order of their first mention; each must be given. A
 * query for rows is one statement. Without parameters ombrel_ctx_db_set_query_puts() runs several, separated
 * by ";", and stops at the first that fails; those before it stay done unless a transaction is rolled back.
 * The values of a row are terminated, blobs too. The row count runs the query a second time and needs one
 * that changes nothing. A result that has not reached its end holds a shared lock on the file.
 *
 * @par Errors
 * The environment (ombrel_ctx_get_env()) has "error", what SQLite said of the last failure, further
 * "changes", "last_insert_id", "in_transaction", "path", "version" and "timeout", the last of which can be
 * set. Bad statements give the error "syntax", violated constraints "invalid argument", locks "busy",
 * read-only files "access denied". Every query also ends when the global break is set.
 */
#ifndef OMBREL_PLUGIN_SQLITE_H
#define OMBREL_PLUGIN_SQLITE_H

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** The plug-in's base name without the platform's suffix. */
#define def_ombrel_plugin_sqlite_name "ombrel_plugin_sqlite"
/** The type that it serves. */
#define def_ombrel_plugin_sqlite_mime_type "application/tuk_db_sqlite"

/** Control operation without a record (null, 0): begins a transaction that may write; "busy" when another
 * does. */
#define def_ombrel_sqlite_control_begin 0x10001u
/** Control operation without a record: makes the transaction's changes last. */
#define def_ombrel_sqlite_control_commit 0x10002u
/** Control operation without a record: takes the transaction's changes back. */
#define def_ombrel_sqlite_control_rollback 0x10003u

OMBREL_END_C

#endif
