/**
 * @file plugin.h
 * @brief The registry of plug-ins: loading them, counting their uses, asking what they are.
 *
 * A plug-in is a shared library that exports an initialise and an uninitialise function, or the one that the
 * library carries itself. Initialising it gives a MIME-type hint, which names the content types it serves,
 * and a table of operations (ctx_interface.h) that contexts (ctx.h) call. docs/plugins.md shows how to write
 * one.
 *
 * Every load is one use, every unload drops one. A plug-in whose last use is dropped is uninitialised and its
 * library closed, at once or, while contexts are bound to it or its main entry runs, when that is over; until
 * then no new context binds to it, and loading it again continues with it as it is.
 *
 * A handle is a positive number. Handles of plug-ins that are gone are not found; a number comes back only
 * after some two thousand million others.
 *
 * All functions may be called from any thread, and by plug-ins in whatever function of theirs is called.
 * Loading waits until the plug-in is initialised, unless its initialise function is called by the same thread
 * or waits, by loading another, for one that is: then it is loaded as it stands, not yet initialised. Where
 * it is its uninitialise function, loading gives -1.
 */
#ifndef OMBREL_PLUGIN_H
#define OMBREL_PLUGIN_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>
#include <ombrel/mime.h>
#include <ombrel/spin_lock.h>

OMBREL_BEGIN_C

#if defined(_WIN32)
#define OMBREL_PLUGIN_EXPORT __declspec(dllexport)
#else
/** Marks what a plug-in's library exports. */
#define OMBREL_PLUGIN_EXPORT __attribute__((visibility("default")))
#endif
#if defined(__cplusplus)
#define OMBREL_PLUGIN_API extern "C" OMBREL_PLUGIN_EXPORT
#else
/** Begins the two functions of a plug-in, in C and C++: exported under their plain names. */
#define OMBREL_PLUGIN_API OMBREL_PLUGIN_EXPORT
#endif

/** The name of the initialise function unless the loader gives another. */
#define def_ombrel_plugin_initialize_name "ombrel_plugin_initialize"
/** The name of the uninitialise function unless the loader gives another. */
#define def_ombrel_plugin_uninitialize_name "ombrel_plugin_uninitialize"

/** The first word of a plug-in's record, stored little-endian: the bytes "WULP". */
#define def_ombrel_plugin_magic 0x504C5557u

/** Record flag: the initialise function has returned success. */
#define def_ombrel_plugin_flag_initialized 0x1u
/** Record flag: built into the library, without a library file. */
#define def_ombrel_plugin_flag_builtin 0x2u
/** Record flag: the interface is a context interface that contexts can bind to. */
#define def_ombrel_plugin_flag_ctx_interface 0x10000u

/** How many handles live at a time, those of plug-ins and of contexts (ctx.h) together. One more than that is
 * refused with an error line that says so, which distinguishes it from a lack of memory. */
#define def_ombrel_plugin_most_handles 262144

/** Kind of an interface table: none. */
#define def_ombrel_interface_kind_none 0u
/** Kind of an interface table: operations for contexts, see ctx_interface.h. */
#define def_ombrel_interface_kind_ctx 1u

/** What every interface table begins with. */
typedef struct {
    uint32_t m_kind;    /**< one of the kinds */
    uint32_t m_size;    /**< bytes of the whole table */
    uint32_t m_version; /**< version of the kind's operations */
    uint32_t m_unused;  /**< 0 */
} ombrel_interface_header_t;

/**
 * @brief The initialise function of a plug-in.
 *
 * It is called once, by the first of the concurrent loaders, outside the registry's lock.
 * @param hint            receives the MIME-type hint: patterns separated by ";" or "|" (see
 *                        ombrel_compare_mime_type_hint()), or null for a plug-in that serves any type
 * @param interface_table receives the address of the table
 * @param size            receives the bytes of the table
 * @return 0; anything else refuses the load, and the uninitialise function is not called. Text and table stay
 *         the plug-in's and valid until its uninitialise function has returned.
 */
typedef int (*ombrel_plugin_initialize_t)(const char** hint, const void** interface_table, size_t* size);

/** @brief The uninitialise function: called once, when nothing uses the plug-in any more. @return ignored */
typedef int (*ombrel_plugin_uninitialize_t)(void);

/** @brief The main entry: runs the plug-in as a program. @return the exit code */
typedef int (*ombrel_plugin_main_t)(int argc, char** argv);

/** The record of a loaded plug-in, read-only for callers. It lives as long as the plug-in is loaded. */
typedef struct ombrel_plugin_ts {
    uint32_t m_magic;                        /**< ::def_ombrel_plugin_magic, little-endian */
    struct ombrel_plugin_ts* m_prev;         /**< the next newer plug-in, or null */
    struct ombrel_plugin_ts* m_next;         /**< the next older plug-in, or null */
    ombrel_spin_lock_t m_lock;               /**< guards the flags and what the initialise function gave */
    uint32_t m_flags;                        /**< the record flags */
    int32_t m_handle;                        /**< the plug-in's handle */
    uint64_t m_used_count;                   /**< uses: loads less unloads */
    void* m_library;                         /**< the loader's handle; null for a built-in */
    const char* m_path;                      /**< the path as passed */
    const char* m_name;                      /**< its base name */
    ombrel_plugin_initialize_t m_initialize; /**< the initialise function */
    ombrel_plugin_uninitialize_t m_uninitialize; /**< the uninitialise function */
    const char* m_mime_type_hint;                /**< what the initialise function gave; may be null */
    size_t m_interface_size;                     /**< bytes of the table */
    const void* m_interface;                     /**< the table, or null */
    size_t m_bound_count;                        /**< contexts bound to it, and calls that keep it */
} ombrel_plugin_t;

/**
 * @brief Loads a plug-in, or adds one use to it when it is loaded already.
 *
 * Two paths are the same plug-in when the platform's loader gives one library for both, or when their base
 * names are equal: then the one that was loaded first is used. A caller that finds the plug-in being
 * initialised by another thread waits for that.
 * A name without a directory, such as #def_ombrel_plugin_sqlite_name, is looked for, with or without the
 * platform's suffix (".so", ".dll"): by the platform's own search; in the directories of the search list; in
 * those of the environment variable OMBREL_PLUGIN_PATH, unless the program runs with more rights than its
 * caller; in "ombrel_tuk/plugins" beside this library's file, where plug-ins are installed; and, if the
 * library lies in the tree it was built in, among that build's plug-ins. A path with a directory is tried as
 * it stands, with the suffix, and by its last part in the search list. ombrel_dl_error() tells why it failed.
 * @param path            the library's name or path; null or the name
 *                        ::def_ombrel_builtin_plugin_name (with or without a directory) is the built-in one
 * @param search_list     directories as for ombrel_open_dl_ex(); may be null
 * @param initialize_name the initialise function's name; null is ::def_ombrel_plugin_initialize_name
 * @param uninitialize_name the other's; null is ::def_ombrel_plugin_uninitialize_name
 * @return the handle, above 0, to be given back by ombrel_unload_plugin(); -1 when the library cannot be
 *         opened, lacks one of the functions, memory runs out, or, which an error line says, there are
 *         ::def_ombrel_plugin_most_handles handles already. What a failing initialise function returned
 *         comes back to its caller if it is negative, and -1 if it is above 0 and so could be taken for a
 *         handle, and to those who waited for it.
 */
OMBREL_API int ombrel_load_plugin_ex(const char* path, const char* search_list, const char* initialize_name,
                                     const char* uninitialize_name);

/** @brief ombrel_load_plugin_ex() with the default function names. */
OMBREL_API int ombrel_load_plugin(const char* path, const char* search_list);

/**
 * @brief Drops one use.
 *
 * The last one uninitialises the plug-in, closes its library and frees its record, unless contexts are bound
 * to it: then closing the last of them does. Until that, dropping yet another use is reported as an
 * assertion.
 * @param handle a handle of ombrel_load_plugin()
 * @return 0; -1 for an unknown handle or one without uses
 */
OMBREL_API int ombrel_unload_plugin(int handle);

/**
 * @brief Drops every use of every plug-in, those that contexts have in the built-in one included.
 *
 * As with ombrel_unload_plugin(), a plug-in to which contexts are bound goes when the last of them is closed.
 * A context that exists finds no plug-in to open until one is loaded. Whoever loaded a plug-in before must
 * not unload it after this: its use is gone, and it would drop the use of another.
 * @return 0
 */
OMBREL_API int ombrel_unload_all_plugin(void);

/**
 * @brief The head of the registry's list, newest first, to be read.
 *
 * The list may be walked while no other thread loads or unloads.
 * @return the newest plug-in's record; null when none is loaded
 */
OMBREL_API const ombrel_plugin_t* ombrel_get_plugin_info(void);

/** @brief The base name. @return the text, valid while the plug-in is loaded; null for an unknown handle */
OMBREL_API const char* ombrel_plugin_get_name(int handle);
/** @brief The MIME-type hint. @return the plug-in's text, valid while it is loaded; null for an unknown
 * handle or a plug-in without one */
OMBREL_API const char* ombrel_plugin_get_mime_type_hint(int handle);
/** @brief The interface table. @return the plug-in's table, valid while it is loaded; null for an unknown
 *         handle or a plug-in without one */
OMBREL_API const void* ombrel_plugin_get_interface(int handle);

/**
 * @brief The main entry.
 * @param handle the plug-in
 * @return the entry; null for an unknown handle, for a table that is not for contexts or of version 0, for
 * one too small for an entry (which is also reported as an assertion), and for one without
 */
OMBREL_API ombrel_plugin_main_t ombrel_plugin_get_main_entry(int handle);
/** @brief Whether there is a main entry. @return 1 or 0 */
OMBREL_API int ombrel_plugin_is_executable_main(int handle);
/**
 * @brief Runs the main entry.
 * @param handle the plug-in, which stays loaded while its entry runs
 * @param argc   number of arguments
 * @param argv   the arguments, handed over as they are
 * @return the entry's result; 1 when there is none
 */
OMBREL_API int ombrel_plugin_execute_main(int handle, int argc, char** argv);
/**
 * @brief Loads a plug-in without a search list, runs its main entry, and unloads it.
 * @param name the path, or null for the built-in plug-in
 * @param argc number of arguments
 * @param argv the arguments
 * @return the entry's result; 1 when loading fails or there is no entry
 */
OMBREL_API int ombrel_plugin_execute_main_by_plugin_name(const char* name, int argc, char** argv);

OMBREL_END_C

#endif
