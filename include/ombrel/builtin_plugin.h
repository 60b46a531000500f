/**
 * @file builtin_plugin.h
 * @brief The plug-in that the library carries itself.
 *
 * It is loaded by each new context and needs no file: ombrel_load_plugin() with a null path or with its base
 * name gives it. builtin_stream.h tells of its streams, multicall.h of its commands.
 *
 * While it is loaded so is "ombrel_plugin_curl" (with the platform's suffix for libraries), where it is
 * installed: it is looked for as ombrel_load_plugin() does, but not among a build's plug-ins. That there is
 * no such plug-in is no error and is not told.
 *
 * The directories are looked into each time the built-in plug-in is loaded, so that the variable, the working
 * directory and what is installed may change; the platform's loader, whose search takes long and whose places
 * are those of the process's start, is asked again only when there is a file or when it has found one before.
 *
 * Loading and unloading it happens once the built-in plug-in is in place, or gone, and holds no lock: its
 * initialise and uninitialise functions may make, open and destroy contexts. A context that it keeps keeps
 * the built-in plug-in loaded, and with that itself. Another thread that makes contexts meanwhile does not
 * wait; one that opens a type which no plug-in serves yet does, so the initialise function must not wait for
 * such a one.
 */
#ifndef OMBREL_BUILTIN_PLUGIN_H
#define OMBREL_BUILTIN_PLUGIN_H

#include <stddef.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** The base name of the built-in plug-in; a null path selects it too. */
#define def_ombrel_builtin_plugin_name "ombrel_plugin_builtin"

/**
 * @name Kinds
 * What the built-in plug-in took an open context for, by its MIME type. ombrel_ctx_get_plugin_descriptor()
 * gives it while the context is bound to this plug-in.
 * @{
 */
#define def_ombrel_builtin_kind_none (-1) /**< a type that it does not serve */
#define def_ombrel_builtin_kind_base 0    /**< application/tuk_base */
#define def_ombrel_builtin_kind_multicall                                                                    \
    1 /**< application/tuk_multicall, application/tuk_multicall_builtin */
#define def_ombrel_builtin_kind_stream 100 /**< application/tuk_stream, whichever stream the source names */
#define def_ombrel_builtin_kind_stream_file 101 /**< application/tuk_stream_file */
#define def_ombrel_builtin_kind_stream_tftp 102 /**< application/tuk_stream_tftp */
#define def_ombrel_builtin_kind_stream_ftp 103  /**< application/tuk_stream_ftp */
#define def_ombrel_builtin_kind_stream_pipe 104 /**< application/tuk_stream_pipe */
#define def_ombrel_builtin_kind_stream_udp 105  /**< application/tuk_stream_udp */
#define def_ombrel_builtin_kind_stream_tcp 106  /**< application/tuk_stream_tcp */
#define def_ombrel_builtin_kind_fb 200          /**< application/tuk_fb */
#define def_ombrel_builtin_kind_linuxfb 201     /**< application/tuk_linuxfb */
#define def_ombrel_builtin_kind_windows_dib 202 /**< application/tuk_windows_dib */
/** @} */

/**
 * @brief The built-in plug-in's initialise function, as ombrel_plugin_initialize_t says; the registry calls
 * it.
 * @param hint            receives the MIME types it serves, a static text; may be null
 * @param interface_table receives its table, an ombrel_ctx0_v1_interface_t
 * @param size            receives the bytes of the table
 * @return 0; -1 when `interface_table` or `size` is null
 */
OMBREL_API int ombrel_plugin_initialize_builtin_plugin(const char** hint, const void** interface_table,
                                                       size_t* size);

/** @brief The built-in plug-in's uninitialise function; the registry calls it. @return 0 */
OMBREL_API int ombrel_plugin_uninitialize_builtin_plugin(void);

OMBREL_END_C

#endif
