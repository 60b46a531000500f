/**
 * @file terminal_key.h
 * @brief Keys typed at a terminal: a decoder of the bytes that terminals send.
 *
 * Terminals send a character as its UTF-8 bytes and other keys as sequences that begin with the byte of
 * Escape. The decoder takes the bytes in pieces of any size and gives a key at a time. It knows the sequences
 * of xterm and of what follows it, of the Linux console, rxvt and the VT100 family, with modifiers, and
 * bracketed paste. It allocates no memory and never looks back: whatever comes, it keeps nothing beyond its
 * record.
 *
 * ombrel_terminal_read_key() of terminal.h does all of this for a terminal of this program. The decoder by
 * itself is for bytes that come from elsewhere:
 *
 * @code
 * ombrel_key_decoder_t decoder;
 * ombrel_init_key_decoder(&decoder);
 * // for each piece that arrived:
 * while (ombrel_key_decoder_take(&decoder, &bytes, &size, &key) == 1)
 *     on_key(&key);
 * // when ombrel_key_decoder_is_waiting(&decoder) and nothing came for some 50 milliseconds:
 * while (ombrel_key_decoder_flush(&decoder, &key) == 1)
 *     on_key(&key);
 * @endcode
 *
 * Only time distinguishes the key Escape from the beginning of a sequence: flush the decoder when nothing
 * follows.
 *
 * @par Threads
 * One at a time for a decoder.
 * @par Failures
 * def_ombrel_fault_invalid for null, nothing else.
 */
#ifndef OMBREL_TERMINAL_KEY_H
#define OMBREL_TERMINAL_KEY_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** @name Keys
 * A code below #def_ombrel_key_special is a character's number in Unicode; U+FFFD stands for bytes that are
 * none.
 * @{ */
#define def_ombrel_key_tab 0x09       /**< also with shift */
#define def_ombrel_key_enter 0x0d     /**< the key Enter or Return */
#define def_ombrel_key_escape 0x1b    /**< the key Escape */
#define def_ombrel_key_backspace 0x7f /**< deletes the character before the cursor */

#define def_ombrel_key_special 0x110000   /**< the first code that is not a character's */
#define def_ombrel_key_up 0x110001        /**< arrow */
#define def_ombrel_key_down 0x110002      /**< arrow */
#define def_ombrel_key_right 0x110003     /**< arrow */
#define def_ombrel_key_left 0x110004      /**< arrow */
#define def_ombrel_key_home 0x110005      /**< Home */
#define def_ombrel_key_end 0x110006       /**< End */
#define def_ombrel_key_insert 0x110007    /**< Insert */
#define def_ombrel_key_delete 0x110008    /**< Delete */
#define def_ombrel_key_page_up 0x110009   /**< Page up */
#define def_ombrel_key_page_down 0x11000a /**< Page down */
#define def_ombrel_key_begin 0x11000b     /**< the middle of the number pad */
/** Function key `number`, 1 to 35. */
#define def_ombrel_key_function(number) (0x110100 + (number))

#define def_ombrel_key_paste_begin 0x110200 /**< what follows is pasted, not typed */
#define def_ombrel_key_paste_end 0x110201   /**< the paste is over */
#define def_ombrel_key_focus_in                                                                              \
    0x110202                              /**< the terminal has the keyboard again, where that was asked for \
                                           */
#define def_ombrel_key_focus_out 0x110203 /**< it lost the keyboard */
#define def_ombrel_key_resized 0x110204   /**< no key: the terminal has another size (terminal.h) */
/** No key: the program was stopped and continues; the screen has to be redrawn (terminal.h). */
#define def_ombrel_key_resumed 0x110205
#define def_ombrel_key_unknown 0x110206 /**< a sequence of an unknown key, or one that broke off */
/** @} */

/** @name Modifiers, as bits
 * Terminals tell shift with other keys only: a shifted letter is the capital. Control with a letter comes as
 * the small letter and control; Ctrl+I, Ctrl+M, Ctrl+[ and Ctrl+? are Tab, Enter, Escape and Backspace for
 * most terminals.
 * @{ */
#define def_ombrel_key_shift 0x01u   /**< Shift */
#define def_ombrel_key_alt 0x02u     /**< Alt; also Escape directly before the key */
#define def_ombrel_key_control 0x04u /**< Ctrl */
#define def_ombrel_key_meta 0x08u    /**< Meta or Super, where a terminal reports it */
/** Not a modifier: the character is part of a paste. Control characters then come as they are: a line end as
 * 13 or 10, Escape as 27. */
#define def_ombrel_key_pasted 0x10u
/** @} */

/** A key. */
typedef struct ombrel_key_ts {
    int32_t m_code;       /**< a character or a def_ombrel_key_* */
    uint32_t m_modifiers; /**< bits */
} ombrel_key_t;

/** The longest sequence that is read, in bytes; a longer one is dropped to its end as one unknown key. */
#define def_ombrel_key_sequence_max 32

/**
 * A decoder. The fields are private except the first: the byte that the key Backspace sends, 127, or 8 as
 * some terminals have it. It may be set at any time. 127 is always Backspace; 8 is Ctrl+H unless it is set.
 */
typedef struct ombrel_key_decoder_ts {
    uint8_t m_backspace;                         /**< 127 or 8 */
    uint8_t m_state;                             /**< what the bytes so far are the beginning of */
    uint8_t m_count;                             /**< how many are held */
    uint8_t m_given;                             /**< how many of them were given as characters of a paste */
    uint8_t m_held[def_ombrel_key_sequence_max]; /**< they */
    uint32_t m_flags;                            /**< whether a paste goes on, and the like */
} ombrel_key_decoder_t;

/** @brief Resets the decoder. @return 0; -1 for null */
OMBREL_API int ombrel_init_key_decoder(ombrel_key_decoder_t* decoder);

/**
 * @brief The next key of a piece of input.
 * @param decoder the decoder
 * @param data    where the piece continues; moved past the bytes taken
 * @param size    bytes that are left there, counted down likewise
 * @param key     receives the key
 * @return 1 for a key; 0 when the piece is used up, after which the decoder may hold the beginning of a key;
 * -1 for a null argument
 */
OMBREL_API int ombrel_key_decoder_take(ombrel_key_decoder_t* decoder, const void** data, size_t* size,
                                       ombrel_key_t* key);

/**
 * @brief Whether the decoder holds the beginning of a key, which may also be a key by itself.
 *
 * Within a paste it never is: the decoder waits for the end of the sequence however long that takes, because
 * pastes are not typed.
 * @return 1 or 0; 0 for null
 */
OMBREL_API int ombrel_key_decoder_is_waiting(const ombrel_key_decoder_t* decoder);

/**
 * @brief Gives the held bytes as the key that they are when nothing follows: Escape, Alt with a
 * character, U+FFFD for a part of a character, unknown for a part of a sequence.
 * @param decoder the decoder
 * @param key     receives the key
 * @return 1 for a key; 0 when nothing is waiting; -1 for a null argument
 */
OMBREL_API int ombrel_key_decoder_flush(ombrel_key_decoder_t* decoder, ombrel_key_t* key);

/**
 * @brief Writes a key's usual name: "a", "Ctrl+C", "Alt+Shift+F5", "Page Up", "Escape".
 *
 * Control and other invisible characters have names or the form "U+0001".
 * @param buf  receives the name, terminated, cut to fit; may be null with a size of 0
 * @param size its room in bytes; 48 hold every name
 * @param key  the key
 * @return the characters stored; -1 for a null argument
 */
OMBREL_API int ombrel_format_key(char* buf, size_t size, const ombrel_key_t* key);

OMBREL_END_C

#endif
