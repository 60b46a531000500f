/**
 * @file directory.h
 * @brief The entries of a directory, walks over trees, and trees copied, compared, synchronised and removed.
 *
 * Functions that read more than one directory go down from open directory to open directory by single names
 * and follow no symbolic link unless asked to: replacing directories by links meanwhile does not lead them
 * out of the tree. Trees may be of any depth; the memory of a walk grows with the names in the directories on
 * the way down to the present one, and it never has more than a few dozen directories open. (On Windows a
 * directory may be open for each level; the system ends paths after 32,767 characters.)
 *
 * @code
 * ombrel_walk_options_t options;
 * ombrel_walk_entry_t entry;
 * ombrel_init_walk_options(&options);
 * options.m_flags = def_ombrel_walk_sorted | def_ombrel_walk_info;
 * options.m_on_failure = complain_and_go_on;
 * ombrel_walk_t* const walk = ombrel_open_walk("/var/log", &options);
 * while (ombrel_walk_next(walk, &entry) == 1)
 *     if (entry.m_kind == def_ombrel_file_kind_regular)
 *         ombrel_printf("%10lld %s\n", (long long)entry.m_info->m_size, entry.m_path);
 * ombrel_close_walk(walk);
 * @endcode
 *
 * Kinds are the def_ombrel_file_kind_* of file.h and always known; a host that does not tell them with the
 * names is asked for each. Paths are joined by "/" on every system.
 *
 * @par Failures
 * A call that fails gives -1 or null and leaves the reason in ombrel_last_fault() (fault.h): besides those
 * named with the functions, def_ombrel_fault_not_found, def_ombrel_fault_not_directory,
 * def_ombrel_fault_access_denied, def_ombrel_fault_link_loop, def_ombrel_fault_input_output,
 * def_ombrel_fault_no_descriptor and def_ombrel_fault_no_memory; def_ombrel_fault_invalid for a null argument
 * that must not be null, an empty path and unknown flags. Functions on trees continue after a failure inside:
 * they tell a handler of each one, do the rest, and then return the result and fault of the first. Only a
 * lack of memory ends them.
 *
 * @par Threads
 * Any, for all functions; one at a time for one directory or walk. Another process may change what is read:
 * entries that come or go meanwhile may be seen or not, and one that is gone when it is looked at is a
 * failure.
 */
#ifndef OMBREL_DIRECTORY_H
#define OMBREL_DIRECTORY_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/calendar.h>
#include <ombrel/export.h>
#include <ombrel/file.h>
#include <ombrel/match_filter.h>

OMBREL_BEGIN_C

/**
 * @name One directory
 * @{
 */
/** An entry of a directory. "." and ".." are left out. */
typedef struct ombrel_directory_entry_ts {
    const char* m_name; /**< its name */
    int m_kind;         /**< a def_ombrel_file_kind_*: of a link, link */
    int64_t m_size;     /**< bytes of a file where the host tells them with the names, as Windows; else -1 */
} ombrel_directory_entry_t;

/** A directory that is read in pieces. */
typedef struct ombrel_directory_ts ombrel_directory_t;

/**
 * @brief Opens a directory for reading.
 * @param path     the path; links are followed
 * @param function the caller's name, static
 * @param line     the caller's line
 * @return the directory, to be closed by ombrel_close_directory(); null on failure
 */
OMBREL_API ombrel_directory_t* ombrel_open_directory_tag(const char* path, const char* function,
                                                         unsigned long line);
/** ombrel_open_directory_tag() with the caller's own name and line. */
#define ombrel_open_directory(path) ombrel_open_directory_tag((path), __func__, __LINE__)

/**
 * @brief The next entry, in the host's order.
 * @param directory the directory
 * @param entry     receives it; its name lives until the next call for this directory
 * @return 1; 0 at the end; -1 on failure
 */
OMBREL_API int ombrel_directory_next(ombrel_directory_t* directory, ombrel_directory_entry_t* entry);

/** @brief Goes back to the first entry. @return 0; -1 on failure */
OMBREL_API int ombrel_directory_rewind(ombrel_directory_t* directory);

/** @brief Closes a directory. @param directory the directory, or null @return 0 */
OMBREL_API int ombrel_close_directory(ombrel_directory_t* directory);

/**
 * @brief All entries of a directory, sorted by the bytes of their names.
 * @param path     the path; links are followed
 * @param count    receives their number; may be null
 * @param function the caller's name, static
 * @param line     the caller's line
 * @return the entries with their names, all in one block freed with ombrel_free(), and one with a null name
 *         after them; null on failure
 */
OMBREL_API ombrel_directory_entry_t*
ombrel_alloc_directory_list_tag(const char* path, size_t* count, const char* function, unsigned long line);
/** ombrel_alloc_directory_list_tag() with the caller's own name and line. */
#define ombrel_alloc_directory_list(path, count)                                                             \
    ombrel_alloc_directory_list_tag((path), (count), __func__, __LINE__)
/** @} */

/**
 * Called for what fails inside a tree. ombrel_fault_text() has the words for it as well.
 * @param path    of what failed; null where memory ran out
 * @param fault   a def_ombrel_fault_*
 * @param context what was given with the handler
 * @return 0 to go on; anything else ends the call
 */
typedef int (*ombrel_tree_failure_handler_t)(const char* path, int fault, void* context);

/**
 * @name A walk over a tree
 * @{
 */
#define def_ombrel_walk_sorted 0x1u /**< entries of a directory come by the bytes of their names */
#define def_ombrel_walk_info 0x2u   /**< m_info is filled in for each entry */
#define def_ombrel_walk_leave 0x4u  /**< a directory is given once more after its contents */
/** Symbolic links are followed; broken ones are given as links. A directory that is already on the path to
 * the entry is given but not entered, and is a failure: def_ombrel_fault_link_loop. */
#define def_ombrel_walk_follow 0x8u
#define def_ombrel_walk_one_device 0x10u /**< directories on other devices are given, not entered */

/** Settings of a walk. */
typedef struct ombrel_walk_options_ts {
    uint32_t m_flags; /**< def_ombrel_walk_*; initially 0 */
    /** The greatest depth of entries: 0 for the root alone, 1 for its contents too; -1, initially, for no
     * limit. */
    int m_depth_max;
    /** A filter of paths below the root. Entries that it excludes are neither given nor entered; a directory
     * that it merely does not include is entered. Null, initially, for none. */
    const ombrel_match_filter_t* m_filter;
    /** Called for what could not be read; null, initially, for none. */
    ombrel_tree_failure_handler_t m_on_failure;
    void* m_failure_context; /**< handed to it */
} ombrel_walk_options_t;

/** An entry that a walk has reached. The texts and the information live until the next call for the walk. */
typedef struct ombrel_walk_entry_ts {
    const char* m_path;  /**< the root as it was given, "/" where it has none at its end, and m_below */
    const char* m_below; /**< the path below the root, within m_path; "" for the root */
    const char* m_name;  /**< the last component, within m_path; for the root all of m_path */
    int m_kind;          /**< a def_ombrel_file_kind_* */
    int m_depth;         /**< 0 for the root, 1 for what is in it */
    int m_leaves;        /**< 1 for a directory given again after its contents, else 0 */
    /** Of the link itself unless links are followed; null without #def_ombrel_walk_info. */
    const ombrel_file_info_t* m_info;
} ombrel_walk_entry_t;

/** A walk. */
typedef struct ombrel_walk_ts ombrel_walk_t;

/** @brief Sets the initial settings. @return 0; -1 for null */
OMBREL_API int ombrel_init_walk_options(ombrel_walk_options_t* options);

/**
 * @brief Begins a walk. The root, which need not be a directory, is the first entry.
 * @param path     the root; a symbolic link is followed only if links are, or with a "/" after it
 * @param options  the settings, copied, while the filter is used as long as the walk is open; null for the
 *                 initial ones
 * @param function the caller's name, static
 * @param line     the caller's line
 * @return the walk, to be closed by ombrel_close_walk(); null on failure
 */
OMBREL_API ombrel_walk_t* ombrel_open_walk_tag(const char* path, const ombrel_walk_options_t* options,
                                               const char* function, unsigned long line);
/** ombrel_open_walk_tag() with the caller's own name and line. */
#define ombrel_open_walk(path, options) ombrel_open_walk_tag((path), (options), __func__, __LINE__)

/**
 * @brief Goes on to the next entry. A directory comes before what is in it.
 *
 * A directory that cannot be read is given, and a failure after it; what cannot be looked at is a failure and
 * not given.
 * @param walk  the walk
 * @param entry receives it
 * @return 1; 0 at the end; -1 when the handler for failures ended the walk or memory ran out, after which
 *         there is nothing more
 */
OMBREL_API int ombrel_walk_next(ombrel_walk_t* walk, ombrel_walk_entry_t* entry);

/** @brief Leaves out the contents of the directory that was given last, which is not given again either;
 * otherwise does nothing. @return 0; -1 for null */
OMBREL_API int ombrel_walk_skip(ombrel_walk_t* walk);

/**
 * @brief Opens the regular file that was given last for reading, even if its path leads elsewhere by now or
 * is too long.
 * @param walk the walk
 * @return a descriptor, to be closed by ombrel_close_file(); -1 on failure: def_ombrel_fault_invalid when
 * none was given or it is not a regular file
 */
OMBREL_API int ombrel_walk_open_file(ombrel_walk_t* walk);

/** @brief The failures until now. @return their number; 0 for null */
OMBREL_API int64_t ombrel_walk_get_failures(const ombrel_walk_t* walk);

/** @brief Ends a walk, at its end or before. @param walk the walk, or null @return 0 */
OMBREL_API int ombrel_close_walk(ombrel_walk_t* walk);
/** @} */

/**
 * @name A tree as records
 * @{
 */
/** A file or directory of a tree. */
typedef struct ombrel_tree_record_ts {
    const char* m_name;          /**< its name; of the root the path as it was given */
    int m_kind;                  /**< a def_ombrel_file_kind_* */
    int m_depth;                 /**< 0 for the root */
    size_t m_parent;             /**< index of the directory that it is in; 0 for the root */
    size_t m_end;                /**< index of the first record after it that is not below it */
    uint32_t m_mode;             /**< permissions, as in ombrel_file_info_t */
    ombrel_instant_t m_modified; /**< last change */
    int64_t m_size;              /**< bytes of a file, or of a link's text; 0 for all else, as hosts differ */
    /** Its own size and the sizes of everything below; a file with several names counts at the first. */
    int64_t m_total;
} ombrel_tree_record_t;

/** A tree: each directory's record stands before those of its contents. */
typedef struct ombrel_tree_ts {
    size_t m_count;                  /**< number of records, at least 1 */
    ombrel_tree_record_t* m_records; /**< the records, the root first, in the same block of the heap */
    int64_t m_failures;              /**< what could not be read, and is not here */
} ombrel_tree_t;

/**
 * @brief Reads a tree.
 * @param path     its root
 * @param options  settings of the walk, where m_filter keeps the directories that lead to included entries;
 *                 #def_ombrel_walk_info and #def_ombrel_walk_leave change nothing. Null for the initial ones
 * @param function the caller's name, static
 * @param line     the caller's line
 * @return the tree, one block freed with ombrel_free(); null on failure, also when the handler for failures
 *         ended the walk
 */
OMBREL_API ombrel_tree_t* ombrel_alloc_tree_tag(const char* path, const ombrel_walk_options_t* options,
                                                const char* function, unsigned long line);
/** ombrel_alloc_tree_tag() with the caller's own name and line. */
#define ombrel_alloc_tree(path, options) ombrel_alloc_tree_tag((path), (options), __func__, __LINE__)

/**
 * @brief The path of a record: the names on the way to it, from the root's, joined by "/".
 * @param tree     the tree
 * @param index    of the record
 * @param function the caller's name, static
 * @param line     the caller's line
 * @return a new string freed with ombrel_free(); null on failure
 */
OMBREL_API char* ombrel_alloc_tree_path_tag(const ombrel_tree_t* tree, size_t index, const char* function,
                                            unsigned long line);
/** ombrel_alloc_tree_path_tag() with the caller's own name and line. */
#define ombrel_alloc_tree_path(tree, index) ombrel_alloc_tree_path_tag((tree), (index), __func__, __LINE__)
/** @} */

/**
 * @name Copying and removing trees
 * @{
 */
/**
 * @brief Copies a file or a directory with its contents.
 *
 * Symbolic links are copied as links. Into an existing directory the contents of the original are added; an
 * existing file or link is overwritten by a file or link, but never the target of a link. Pipes become new
 * pipes; sockets, and devices where the user may make none, are failures.
 * @param from       the original; a symbolic link is followed only with a "/" after it
 * @param to         the path of the copy itself, which lies neither at the original nor below it
 * @param flags      #def_ombrel_file_no_replace (what is there stays, and is a failure unless it is a
 *                   directory for a directory), #def_ombrel_file_keep_mode, #def_ombrel_file_keep_times,
 *                   #def_ombrel_file_keep_owner; without keep_mode what is made gets the permissions of the
 *                   original less the process's mask
 * @param on_failure called for what could not be copied; may be null
 * @param context    handed to it
 * @return 0; what the handler gave when it ended the copy; -1 on failure: def_ombrel_fault_invalid when the
 *         copy would lie at the original or below it, def_ombrel_fault_exists, def_ombrel_fault_is_directory
 *         and def_ombrel_fault_not_directory for what is in the way, def_ombrel_fault_no_space
 */
OMBREL_API int ombrel_copy_tree(const char* from, const char* to, uint32_t flags,
                                ombrel_tree_failure_handler_t on_failure, void* context);

/**
 * @brief Removes a file, a symbolic link itself, or a directory with all that is in it.
 * @param path       what goes: neither a root nor a path that ends in "." or ".."
 * @param on_failure told of what could not be removed; what is above that stays as well, without a word. May
 *                   be null
 * @param context    handed to it
 * @return 0; what the handler gave when it ended the removal; -1 on failure: def_ombrel_fault_not_found when
 *         there was nothing, def_ombrel_fault_not_empty where another makes entries meanwhile,
 *         def_ombrel_fault_invalid for a path of those above
 */
OMBREL_API int ombrel_remove_tree(const char* path, ombrel_tree_failure_handler_t on_failure, void* context);
/** @} */

/**
 * @name Two trees
 * @{
 */
/** @name How two trees differ at a path
 * @{ */
#define def_ombrel_difference_new 1     /**< it is only in the first tree */
#define def_ombrel_difference_changed 2 /**< different contents of files, texts of links, or kinds */
/** The permissions differ, or the times of files whose contents were compared. */
#define def_ombrel_difference_marks 3
#define def_ombrel_difference_gone 4 /**< it is only in the second tree */
/** @} */

/** Files of one size are read and compared, instead of their times. Without this flag files are alike when
 * their sizes and modification times are: times to 100 nanoseconds, or to seconds where one has no fraction,
 * because file systems store them differently. */
#define def_ombrel_sync_content 0x1u
#define def_ombrel_sync_delete 0x2u  /**< entries that are only in the second tree are removed */
#define def_ombrel_sync_dry_run 0x4u /**< nothing is done, but the handler is called */

/** A difference. */
typedef struct ombrel_tree_difference_ts {
    int m_difference; /**< a def_ombrel_difference_* */
    /** The path below both roots, joined by "/", "" for the roots; valid until the handler returns. */
    const char* m_path;
    int m_from_kind;     /**< in the first tree: a def_ombrel_file_kind_*, none if it is not there */
    int m_to_kind;       /**< in the second one likewise */
    int64_t m_from_size; /**< bytes of a file or of a link's text in the first tree, else 0 */
    int64_t m_to_size;   /**< in the second one likewise */
} ombrel_tree_difference_t;

/**
 * Called for each difference, in the order of the names' bytes, a directory before its contents (for a new
 * directory all its contents are given, for a missing one only itself).
 * @param difference the difference
 * @param context    what was given with the handler
 * @return 0 to go on; anything else ends the call
 */
typedef int (*ombrel_tree_difference_handler_t)(const ombrel_tree_difference_t* difference, void* context);

/** Settings for two trees. */
typedef struct ombrel_sync_options_ts {
    uint32_t m_flags; /**< def_ombrel_sync_*; initially 0 */
    /** Files and links that it does not include are left alone in both trees, and so are directories that it
     * excludes, with their contents. Null, initially, for none. */
    const ombrel_match_filter_t* m_filter;
    /** Called for what could not be read or done; null, initially, for none. */
    ombrel_tree_failure_handler_t m_on_failure;
    void* m_failure_context; /**< handed to it */
} ombrel_sync_options_t;

/** @brief Sets the initial settings. @return 0; -1 for null */
OMBREL_API int ombrel_init_sync_options(ombrel_sync_options_t* options);

/**
 * @brief Finds out how two trees differ, and changes nothing.
 * @param from    root of the first tree
 * @param to      root of the second one
 * @param options the settings, of which #def_ombrel_sync_content counts; null for the initial ones
 * @param handler called for each difference
 * @param context handed to the handler
 * @return 0, differences or not; what a handler gave when it ended the call; -1 on failure
 */
OMBREL_API int ombrel_compare_trees(const char* from, const char* to, const ombrel_sync_options_t* options,
                                    ombrel_tree_difference_handler_t handler, void* context);

/**
 * @brief Makes the second tree like the first.
 *
 * A file is copied beside the old one and replaces it when it is complete. Permissions and modification
 * times are made alike too. A directory in the place of which something else belongs, and a filter's
 * leftovers aside, is removed with #def_ombrel_sync_delete only, and is a failure without.
 * @param from    root of the first tree, a directory
 * @param to      root of the second one, which is made if it is not there and its parent is; not the first
 *                one, not below it and not above it
 * @param options the settings; null for the initial ones
 * @param handler called for each difference before it is resolved; for entries that are only in the second
 * tree, just with #def_ombrel_sync_delete; may be null
 * @param context handed to the handler
 * @return 0; what a handler gave when it ended the call; -1 on failure: def_ombrel_fault_invalid when one
 *         tree is within the other, def_ombrel_fault_is_directory, def_ombrel_fault_no_space
 */
OMBREL_API int ombrel_sync_trees(const char* from, const char* to, const ombrel_sync_options_t* options,
                                 ombrel_tree_difference_handler_t handler, void* context);
/** @} */

OMBREL_END_C

#endif
