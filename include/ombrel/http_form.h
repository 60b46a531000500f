/**
 * @file http_form.h
 * @brief Forms as browsers send them: `application/x-www-form-urlencoded` and `multipart/form-data`, read in
 * pieces of any size, and written.
 *
 * A reader gets the body of a request as it comes. Small forms are kept in memory:
 *
 * @code
 * ombrel_http_form_t* form = ombrel_open_http_form(content_type, NULL);
 * if (form == NULL)
 *     return answer(415);
 * while ((size = next_piece(&data)) > 0 && ombrel_http_form_push(form, data, size) == 0)
 *     continue;
 * if (ombrel_http_form_finish(form) != 0)
 *     return answer_with(400, ombrel_http_form_fault_text(ombrel_http_form_get_fault(form)));
 * const ombrel_http_form_part_t* note = ombrel_http_form_find(form, "note", 0);
 * if (note != NULL)
 *     use(note->m_data, note->m_size);
 * ombrel_close_http_form(form);
 * @endcode
 *
 * For uploads a handler gets each part, its bytes and its end, and nothing is kept. The query of a URI
 * is read likewise, with #def_ombrel_http_form_urlencoded for the content type.
 *
 * @par What is refused
 * A malformed body is refused with a reason and the offset of the byte at fault; nothing is cut off or
 * guessed. Refused are an escape without two hexadecimal digits, a NUL, a part without a name, bytes after a
 * boundary, a boundary that never comes, more than a limit. Nothing but the end of a line may stand before
 * the first boundary and after the last; parts with a transfer encoding and folded lines in their heads are
 * refused too. Parts that had been handed over before are not taken back: a handler keeps uploads aside until
 * ombrel_http_form_finish() gives 0.
 *
 * @par Names of files
 * `m_file_name` is what the peer says, and may be "../../etc/passwd", "C:\\a.txt" or "CON". Never open it:
 * choose a name, or take the one that ombrel_format_http_form_file_name() makes of it.
 *
 * @par Texts
 * They are UTF-8 if the peer sends UTF-8; nothing is converted or checked.
 *
 * @par Threads
 * A reader or a writer: one thread at a time.
 *
 * @par Failures
 * -1 or null with the reason in ombrel_last_fault(): #def_ombrel_fault_invalid for null and invalid
 * arguments, #def_ombrel_fault_violation for a body that breaks the rules, #def_ombrel_fault_too_large for
 * one beyond a limit, #def_ombrel_fault_no_memory. After a failure a reader takes nothing more.
 */
#ifndef OMBREL_HTTP_FORM_H
#define OMBREL_HTTP_FORM_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/buffer.h>
#include <ombrel/export.h>

OMBREL_BEGIN_C

/** The content type of a form without files, and of the query of a URI. */
#define def_ombrel_http_form_urlencoded "application/x-www-form-urlencoded"

/**
 * @name Reading
 * @{
 */
/** A form that is being read. Opaque. */
typedef struct ombrel_http_form_ts ombrel_http_form_t;

/** A field of a part's head. */
typedef struct ombrel_http_form_header_ts {
    const char* m_name;  /**< its name, as sent */
    const char* m_value; /**< its value, without white space around it */
} ombrel_http_form_header_t;

/** A part of a form: a field or a file. */
typedef struct ombrel_http_form_part_ts {
    const char* m_name;         /**< the field's name, decoded; it may be empty */
    const char* m_file_name;    /**< the name that the peer says a file has; null for a field */
    const char* m_content_type; /**< the content type of a part that names one; null otherwise */
    const ombrel_http_form_header_t* m_headers; /**< all fields of the part's head */
    size_t m_header_count;                      /**< how many; none of an URL-encoded form */
    const char* m_data; /**< of a kept part: its bytes, with a zero after them; null for a handler */
    size_t m_size;      /**< of a kept part: how many */
} ombrel_http_form_part_t;

/** @name What a handler is told
 * @{ */
#define def_ombrel_http_form_begin 1 /**< a part begins; there are no bytes */
#define def_ombrel_http_form_data 2  /**< bytes of it, at least 1 */
#define def_ombrel_http_form_end 3   /**< it is complete; there are no bytes */
/** @} */

/**
 * Called as a form is read.
 * @param form    the form
 * @param event   #def_ombrel_http_form_begin and so on
 * @param part    the part, valid until the handler returns
 * @param data    bytes of the part, valid until the handler returns; null except for
 * #def_ombrel_http_form_data
 * @param size    how many
 * @param context the one of the options
 * @return 0 to go on; anything else ends the reading: the push or finish under way returns it
 */
typedef int (*ombrel_http_form_handler_t)(ombrel_http_form_t* form, int event,
                                          const ombrel_http_form_part_t* part, const void* data, size_t size,
                                          void* context);

/** @name Flags of reading
 * @{ */
/** A NUL may stand in values and files, which have their sizes. In names it is always refused. Files of
 * multipart forms may always hold any bytes. */
#define def_ombrel_http_form_allow_nul 1u
/** A "%" without two hexadecimal digits stands for itself, as browsers read it. */
#define def_ombrel_http_form_keep_bad_escapes 2u
/** @} */

/** How a form is read. Sizes are bytes. */
typedef struct ombrel_http_form_options_ts {
    uint32_t m_flags; /**< def_ombrel_http_form_allow_nul and the like; the default is 0 */
    ombrel_http_form_handler_t m_handler; /**< told what comes; null, the default, keeps the parts */
    void* m_context;                      /**< handed to it */
    size_t m_part_limit;                  /**< parts, fields and files together; the default is 256 */
    size_t m_name_limit;                  /**< of a field's name; the default is 256 */
    size_t m_value_limit; /**< of the value of a part that is no file; the default is 64 KiB */
    int64_t m_file_limit; /**< of a file; the default is 16 MiB; negative for none */
    int64_t m_body_limit; /**< of the whole body; the default is 64 MiB; negative for none */
    size_t m_head_limit;  /**< of a part's head; the default is 4 KiB */
    size_t m_keep_limit;  /**< of all that is kept without a handler; the default is 1 MiB */
} ombrel_http_form_options_t;

/** @brief Sets the options to their defaults. @return 0, or -1 for null */
OMBREL_API int ombrel_init_http_form_options(ombrel_http_form_options_t* options);

/**
 * @brief Begins to read a form.
 * @param content_type the value of the body's field "Content-Type": one of the two types, multipart with a
 *                     boundary of 1 to 70 characters
 * @param options      how; copied; null means ombrel_init_http_form_options()
 * @param function     the calling function's name, for the heap's reports
 * @param line         the calling line
 * @return the form, for ombrel_close_http_form(); null with #def_ombrel_fault_not_supported for another type
 *         of body, with #def_ombrel_fault_violation for a boundary that cannot be one
 */
OMBREL_API ombrel_http_form_t* ombrel_open_http_form_tag(const char* content_type,
                                                         const ombrel_http_form_options_t* options,
                                                         const char* function, unsigned long line);
/** @brief ombrel_open_http_form_tag() with the caller's own name and line. */
#define ombrel_open_http_form(content_type, options)                                                         \
    ombrel_open_http_form_tag((content_type), (options), __func__, __LINE__)

/** @brief Frees a form and all that it kept; null gives 0. @return 0 */
OMBREL_API int ombrel_close_http_form(ombrel_http_form_t* form);

/**
 * @brief Reads a piece of the body.
 * @param form the form
 * @param data the bytes; null only when `size` is 0
 * @param size how many
 * @return 0; what a handler returned when that was not 0; -1 on failure
 */
OMBREL_API int ombrel_http_form_push(ombrel_http_form_t* form, const void* data, size_t size);

/** @brief Says that the body has ended. @return as ombrel_http_form_push(); 0 says that the form is complete
 */
OMBREL_API int ombrel_http_form_finish(ombrel_http_form_t* form);

/** @name Why reading failed
 * @{ */
#define def_ombrel_http_form_fault_none 0     /**< it did not */
#define def_ombrel_http_form_fault_escape 1   /**< a "%" without two hexadecimal digits */
#define def_ombrel_http_form_fault_nul 2      /**< a NUL where there may be none */
#define def_ombrel_http_form_fault_boundary 3 /**< bytes where a boundary or the end of its line must be */
#define def_ombrel_http_form_fault_head 4     /**< a line of a part's head that is no field */
#define def_ombrel_http_form_fault_name 5     /**< a part without a name, or with two */
#define def_ombrel_http_form_fault_encoding                                                                  \
    6                                           /**< a part with a Content-Transfer-Encoding that changes it \
                                                 */
#define def_ombrel_http_form_fault_end 7        /**< the body ended before the form did */
#define def_ombrel_http_form_fault_part_limit 8 /**< more parts than allowed */
#define def_ombrel_http_form_fault_name_limit 9 /**< a longer name than allowed */
#define def_ombrel_http_form_fault_value_limit 10 /**< a longer value than allowed */
#define def_ombrel_http_form_fault_file_limit 11  /**< a larger file than allowed */
#define def_ombrel_http_form_fault_body_limit 12  /**< a longer body than allowed */
#define def_ombrel_http_form_fault_head_limit 13  /**< a part's head above the limit */
#define def_ombrel_http_form_fault_keep_limit 14  /**< more to keep than allowed */
#define def_ombrel_http_form_fault_memory 15      /**< memory ran out */
#define def_ombrel_http_form_fault_handler 16     /**< the handler ended it */
/** @} */

/** @brief Why reading failed. @return def_ombrel_http_form_fault_*; 0 when it did not, and for null */
OMBREL_API int ombrel_http_form_get_fault(const ombrel_http_form_t* form);
/** @brief The offset in the body up to which it was read, or of the byte at fault. @return it; -1 for null */
OMBREL_API int64_t ombrel_http_form_get_offset(const ombrel_http_form_t* form);
/** @brief Words for a fault, such as "an escape is broken". @return a static text, never null */
OMBREL_API const char* ombrel_http_form_fault_text(int fault);

/** @brief The number of complete parts that were kept. @return it; 0 for null */
OMBREL_API size_t ombrel_http_form_get_count(const ombrel_http_form_t* form);
/** @brief A kept part. @return the form's own record; null beyond the end */
OMBREL_API const ombrel_http_form_part_t* ombrel_http_form_get_part(const ombrel_http_form_t* form,
                                                                    size_t index);
/**
 * @brief A kept part by its name.
 * @param form  the form
 * @param name  compared exactly
 * @param index which of several with this name, from 0
 * @return the form's own record; null when there is none
 */
OMBREL_API const ombrel_http_form_part_t* ombrel_http_form_find(const ombrel_http_form_t* form,
                                                                const char* name, size_t index);

/**
 * @brief Turns a file name that a peer sent into one that is safe on every system: what stands after the last
 * "/" or backslash, with "_" for control characters and those that Windows forbids (angle brackets, colon,
 * quotation mark, bar, question mark, star), without leading dots, trailing dots and blanks, no device of
 * Windows ("CON"), cut at a whole character of UTF-8.
 * @param buf       receives the name, terminated
 * @param size      its room, at least 16
 * @param file_name the peer's
 * @return characters of the name, at least 1, which is "_" when nothing is left; -1 for null and less room
 */
OMBREL_API int ombrel_format_http_form_file_name(char* buf, size_t size, const char* file_name);
/** @} */

/**
 * @name Writing
 * A writer puts a form into a buffer, from which the caller takes it as it grows:
 *
 * @code
 * ombrel_http_form_writer_t writer;
 * ombrel_init_http_form_writer(&writer, buffer, def_ombrel_http_form_multipart);
 * ombrel_http_form_writer_put_field(&writer, "note", "hello", 5);
 * ombrel_http_form_writer_begin_file(&writer, "log", "today.log", "text/plain");
 * ombrel_push_buffer_ex(buffer, data, size, 0); // as often as it takes
 * ombrel_http_form_writer_finish(&writer);
 * add_field("Content-Type", writer.m_content_type);
 * @endcode
 * @{
 */
/** @name Kinds of forms
 * @{ */
#define def_ombrel_http_form_plain 0     /**< `application/x-www-form-urlencoded`: fields alone */
#define def_ombrel_http_form_multipart 1 /**< `multipart/form-data`: fields and files */
/** @} */

/** A form that is being written. */
typedef struct ombrel_http_form_writer_ts {
    ombrel_buffer_t* m_buffer; /**< where it goes; the caller's */
    int m_kind;                /**< #def_ombrel_http_form_plain or #def_ombrel_http_form_multipart */
    char m_content_type[80];   /**< for the field "Content-Type" */
    char m_boundary[40];       /**< random; empty for a plain form */
    uint32_t m_part_count;     /**< parts so far */
    int m_is_finished;         /**< 1 when the form is complete */
} ombrel_http_form_writer_t;

/**
 * @brief Begins to write a form.
 * @param writer the writer
 * @param buffer where it goes
 * @param kind   #def_ombrel_http_form_plain or #def_ombrel_http_form_multipart
 * @return 0, or -1, also when the host gives no random bytes
 */
OMBREL_API int ombrel_init_http_form_writer(ombrel_http_form_writer_t* writer, ombrel_buffer_t* buffer,
                                            int kind);

/**
 * @brief Writes a field. When memory runs out nothing of it is written.
 * @param writer the writer
 * @param name   the name. In a multipart form CR, LF and '"' become "%0D", "%0A" and "%22", as browsers write
 *               them, and a backslash is doubled
 * @param value  the value; null only when `size` is 0
 * @param size   its bytes
 * @return 0, or -1
 */
OMBREL_API int ombrel_http_form_writer_put_field(ombrel_http_form_writer_t* writer, const char* name,
                                                 const void* value, size_t size);

/**
 * @brief Writes the head of a file in a multipart form. Its bytes are pushed into the buffer by the caller.
 * @param writer       the writer
 * @param name         the field's name
 * @param file_name    the file's; both as for ombrel_http_form_writer_put_field()
 * @param content_type its type, without control characters; null for `application/octet-stream`
 * @return 0, or -1, also for a plain form
 */
OMBREL_API int ombrel_http_form_writer_begin_file(ombrel_http_form_writer_t* writer, const char* name,
                                                  const char* file_name, const char* content_type);

/** @brief Writes the end of the form. @return 0, or -1 */
OMBREL_API int ombrel_http_form_writer_finish(ombrel_http_form_writer_t* writer);
/** @} */

OMBREL_END_C

#endif
