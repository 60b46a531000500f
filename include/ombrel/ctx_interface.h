/**
 * @file ctx_interface.h
 * @brief The contract between contexts and plug-ins: the tables of operations, and what operations may use.
 *
 * A plug-in offers a static table to its initialise function's caller (plugin.h). A context calls its
 * operations; the documentation of the public function of the same name in ctx.h says what arguments and
 * results mean.
 *
 * @par Operations
 * - Each takes the context's handle first, which serves as an argument of any function of ctx.h. An operation
 *   that changes to another operation of the same context calls its own function directly.
 * - A slot may be null: the operation is not supported, and the caller gets -1 or null and that error.
 * - Operations that fail set the error by ombrel_ctx_set_last_error(). A plug-in's own last-error operations
 *   serve during its open operation too, and once more after a refusal.
 * - An operation does not close its own context; that fails with "busy". One other than open and close may
 *   destroy it, which comes true when the operation has returned.
 * - No operation is called for an unknown handle or a closed context, nor with a null name or query, nor with
 * a null buffer whose size is above 0.
 *
 * @par Opening and closing
 * Open accepts with 0. A refusal with the error "not supported" lets the search go on to older plug-ins. What
 * a refusing open has set up it releases itself: close is called only for contexts that were accepted, once
 * for each. Options may be read at any time, from open to close.
 *
 * @par State
 * A context has a descriptor word (-1), a data word (null) and four state words (0), set so before each open.
 * They are the bound plug-in's alone.
 *
 * @par Threads
 * Operations of different contexts come from different threads at the same time. Those of one context come
 * from one thread at a time unless the plug-in allows more to its users. Close comes when no operation of the
 * context runs, from whichever thread left last if the context was destroyed meanwhile. Open and close run
 * while the plug-in's record lock is held shared; both may load and unload plug-ins, and use other contexts.
 */
#ifndef OMBREL_CTX_INTERFACE_H
#define OMBREL_CTX_INTERFACE_H

#include <ombrel/ctx.h>
#include <ombrel/export.h>
#include <ombrel/plugin.h>

OMBREL_BEGIN_C

/** Words of state that each context has for its plug-in. */
#define def_ombrel_ctx_state_words 4

/** Version 0: the operations of streams. 80 bytes where pointers have 32 bits. */
typedef struct {
    uint32_t m_kind;    /**< ::def_ombrel_interface_kind_ctx */
    uint32_t m_size;    /**< bytes of the whole table, so that it can be told from a longer one */
    uint32_t m_version; /**< 0, or 1 at the beginning of an ombrel_ctx0_v1_interface_t */
    uint32_t m_unused;  /**< 0 */
    /** Accepts the context with 0, or refuses it; a null slot is passed over. */
    int (*m_open)(int ctx, const char* mime_type);
    /** Releases what open and the operations have set up. */
    int (*m_close)(int ctx);
    /** ombrel_ctx_vbcontrol() */
    int (*m_vbcontrol)(int ctx, uint32_t code, va_list args);
    /** ombrel_ctx_vxcontrol() */
    int (*m_vxcontrol)(int ctx, const char* name, va_list args);
    /** ombrel_ctx_vcontrol() */
    int (*m_vcontrol)(int ctx, uint32_t code, va_list args);
    /** ombrel_ctx_is_readable() */
    int (*m_is_readable)(int ctx, int timeout_ms);
    /** ombrel_ctx_read(); `size` is from 0 to INT_MAX */
    int (*m_read)(int ctx, void* buffer, size_t size);
    /** ombrel_ctx_is_writable() */
    int (*m_is_writable)(int ctx, int timeout_ms);
    /** ombrel_ctx_write(); `size` is from 0 to INT_MAX */
    int (*m_write)(int ctx, const void* buffer, size_t size);
    /** ombrel_ctx_seek() */
    int64_t (*m_seek)(int ctx, int64_t offset, int whence);
    /** ombrel_ctx_sync() */
    int (*m_sync)(int ctx);
    /** ombrel_ctx_get_env() */
    int (*m_get_env)(int ctx, const char* name, char* text, size_t size);
    /** ombrel_ctx_set_env() */
    int (*m_set_env)(int ctx, const char* name, const char* text);
    /** ombrel_ctx_get_last_error(); null: the context's own error word serves */
    int (*m_get_last_error)(int ctx);
    /** ombrel_ctx_set_last_error(); null: the context's own error word serves */
    int (*m_set_last_error)(int ctx, int error);
    /** The main entry, which needs no context; version 1 only. */
    ombrel_plugin_main_t m_main;
} ombrel_ctx0_v0_interface_t;

/** Version 1: adds the main entry and the operations of databases and frame buffers. 116 bytes where pointers
 * have 32 bits. */
typedef struct {
    ombrel_ctx0_v0_interface_t m_v0; /**< the operations of version 0 */
    /** ombrel_ctx_db_get_query_ex() */
    ombrel_ctx_db_result_t* (*m_db_get_query)(int ctx, const char* query,
                                              const ombrel_ctx_db_value_t* parameters, size_t count);
    /** ombrel_ctx_db_set_query_ex() */
    int64_t (*m_db_set_query)(int ctx, const char* query, const ombrel_ctx_db_value_t* parameters,
                              size_t count);
    /** ombrel_ctx_db_free_result(), never with a null result */
    int (*m_db_free_result)(int ctx, ombrel_ctx_db_result_t* result);
    /** ombrel_ctx_db_fetch_row() */
    const ombrel_ctx_db_value_t* (*m_db_fetch_row)(int ctx, ombrel_ctx_db_result_t* result);
    /** ombrel_ctx_db_get_row_count() */
    int64_t (*m_db_get_row_count)(int ctx, ombrel_ctx_db_result_t* result);
    /** ombrel_ctx_db_get_field_count() */
    int (*m_db_get_field_count)(int ctx, ombrel_ctx_db_result_t* result);
    /** ombrel_ctx_db_get_field_index() */
    int (*m_db_get_field_index)(int ctx, ombrel_ctx_db_result_t* result, const char* name);
    /** ombrel_ctx_db_get_field_name() */
    const char* (*m_db_get_field_name)(int ctx, ombrel_ctx_db_result_t* result, int index);
    /** ombrel_ctx_get_fbinfo() */
    int (*m_get_fbinfo)(int ctx, ombrel_ctx_fbinfo_t* info);
} ombrel_ctx0_v1_interface_t;

/**
 * @name The plug-in's state of a context
 * For the plug-in that the context is bound to, from its open operation to its close operation.
 * @{
 */

/** @brief The descriptor word. @return what was set, -1 before; -1 for an unknown handle */
OMBREL_API intptr_t ombrel_ctx_get_plugin_descriptor(int ctx);
/** @brief Sets the descriptor word. @return 0; -1 for an unknown handle */
OMBREL_API int ombrel_ctx_set_plugin_descriptor(int ctx, intptr_t descriptor);
/** @brief The data word. @return what was set, null before; null for an unknown handle */
OMBREL_API void* ombrel_ctx_get_plugin_data(int ctx);
/** @brief Sets the data word: as a rule a block that open allocates and close frees. @return 0; -1 for an
 * unknown handle */
OMBREL_API int ombrel_ctx_set_plugin_data(int ctx, void* data);
/** @brief The state words. @return ::def_ombrel_ctx_state_words pointer-sized words, valid until the
 * plug-in's close operation has returned; null for an unknown handle */
OMBREL_API uintptr_t* ombrel_ctx_get_plugin_state(int ctx);
/** @brief The context's own error word, for the last-error slots of a plug-in. @return the word; -1 for an
 * unknown handle */
OMBREL_API int ombrel_ctx_get_error_word(int ctx);
/** @brief Sets the context's own error word. @return 0; -1 for an unknown handle */
OMBREL_API int ombrel_ctx_set_error_word(int ctx, int error);
/**
 * @brief Sets the code of the last failure, as ombrel_ctx_set_last_error() does, and what was said of it,
 *        which ombrel_ctx_get_last_error_text() gives as long as the code stays.
 * @param ctx   the context
 * @param error the code
 * @param text  the words, copied as far as they fit; control characters become spaces; null or empty for
 *              those of the code
 * @return 0; -1 for an unknown handle
 */
OMBREL_API int ombrel_ctx_set_last_error_text(int ctx, int error, const char* text);
/** @} */

OMBREL_END_C

#endif
