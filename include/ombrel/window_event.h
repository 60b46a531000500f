/**
 * @file window_event.h
 * @brief What the user does to a window that shows a frame buffer: the mouse, the keyboard, closing.
 *
 * A context of the type "application/tuk_windows_dib" (framebuffer.h) or "application/tuk_window"
 * (plugin_window.h) is a window of the desktop. A program learns of its events in one of two ways, both by
 * control operations of the context, so that it is the same with either type:
 *
 * - It polls: #def_ombrel_fb_control_get_window_event takes the oldest event, or waits for one.
 * - It is called: #def_ombrel_fb_control_set_window_handler names a function.
 *
 * @code
 * ombrel_window_wait_t wait = {.m_timeout_ms = 20};
 * while (ombrel_ctx_xcontrol(ctx, "get_window_event", &wait, sizeof(wait)) == 0) {
 *     if (wait.m_event.m_kind == def_ombrel_window_event_none)
 *         draw_next_picture();
 *     else if (wait.m_event.m_kind == def_ombrel_window_event_button_down)
 *         press(wait.m_event.m_x, wait.m_event.m_y);
 * } // the user has closed the window
 * @endcode
 *
 * @par Waiting events
 * The last ::def_ombrel_window_event_most events wait for who polls; an older one makes room for the next.
 * A move that follows a move takes its place. Once a handler is set, what comes goes to it and does not wait.
 *
 * @par The handler
 * It runs on the thread that owns the window, one event at a time for each window, with no lock held. While
 * it runs that window, and with tuk_window all of the plug-in's, neither reacts nor is painted, so it returns
 * soon. It may draw, update, set another handler, open other contexts, and close or destroy its own: then the
 * window goes when the handler has returned. Who closes a context, or sets its handler, from another thread
 * waits until the handler has returned, and so holds no lock that the handler takes; that of the maps
 * (ombrel_fbmap_lock()) is one of them, handler or not.
 *
 * @par Closing by the user
 * A handler that answers the close event with a number other than 0 keeps the window. Otherwise the window
 * leaves the screen, and the root of the maps is marked: ombrel_fbmap_is_closed() gives 1. The context stays
 * open, and all its operations go on; what is drawn and transferred then is not seen. Events that still
 * wait are handed out; after the last of them to poll fails with the error "disconnected".
 *
 * @par Coordinates
 * Those of the pointer are pixels of the root map, whatever the scale of the window. While a button is held
 * they may lie outside the map.
 *
 * @par For plug-ins
 * The last functions here are for plug-ins that have windows of their own; they may be called by any thread.
 */
#ifndef OMBREL_WINDOW_EVENT_H
#define OMBREL_WINDOW_EVENT_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** Events that wait at most. */
#define def_ombrel_window_event_most 256u

/**
 * @name Kinds of events
 * After each the fields that it sets besides `m_kind`, `m_ctx`, `m_x`, `m_y`, `m_buttons` and `m_modifiers`;
 * the others are 0.
 * @{
 */
#define def_ombrel_window_event_none 0u        /**< none came within the time, when polling */
#define def_ombrel_window_event_close 1u       /**< the user wants the window closed */
#define def_ombrel_window_event_move 2u        /**< the pointer is elsewhere */
#define def_ombrel_window_event_button_down 3u /**< a button of the mouse was pressed: `m_button` */
#define def_ombrel_window_event_button_up 4u   /**< it was released: `m_button` */
#define def_ombrel_window_event_wheel 5u       /**< the wheel was turned: `m_wheel_x`, `m_wheel_y` */
#define def_ombrel_window_event_key_down 6u    /**< a key was pressed: `m_key`, `m_is_repeat` */
#define def_ombrel_window_event_key_up 7u    /**< it was released, or the window lost the keyboard: `m_key` */
#define def_ombrel_window_event_character 8u /**< a character was typed: `m_character` */
/** @} */

/**
 * @name Buttons of the mouse
 * In `m_button` by their numbers; in `m_buttons` button n is the bit 1 << (n - 1).
 * @{
 */
#define def_ombrel_window_button_left 1u    /**< left, as the user has set the mouse */
#define def_ombrel_window_button_middle 2u  /**< middle: the wheel */
#define def_ombrel_window_button_right 3u   /**< right */
#define def_ombrel_window_button_back 4u    /**< first one at the side */
#define def_ombrel_window_button_forward 5u /**< second one at the side */
/** @} */

/** What `m_wheel_x` and `m_wheel_y` count for one notch of the wheel. */
#define def_ombrel_window_wheel_notch 120

/**
 * @name Modifiers
 * The bits of `m_modifiers`: those keys are held, left or right.
 * @{
 */
#define def_ombrel_window_modifier_shift 1u   /**< shift */
#define def_ombrel_window_modifier_control 2u /**< control */
#define def_ombrel_window_modifier_alt 4u     /**< alt */
#define def_ombrel_window_modifier_super 8u   /**< the one with the system's sign */
/** @} */

/**
 * @name Keys
 * A key that types a character has the code point that it types alone in the user's layout, letters the small
 * one: 'a', '1', ' '. So have enter (13), escape (27), backspace (8), tab (9) and delete (127). The others
 * have numbers beyond all code points. A key that has none of these gives no event but its character.
 * @{
 */
#define def_ombrel_window_key_backspace 8u          /**< backspace */
#define def_ombrel_window_key_tab 9u                /**< tab */
#define def_ombrel_window_key_enter 13u             /**< enter */
#define def_ombrel_window_key_escape 27u            /**< escape */
#define def_ombrel_window_key_delete 127u           /**< delete */
#define def_ombrel_window_key_left 0x110001u        /**< arrow to the left */
#define def_ombrel_window_key_right 0x110002u       /**< arrow to the right */
#define def_ombrel_window_key_up 0x110003u          /**< arrow upwards */
#define def_ombrel_window_key_down 0x110004u        /**< arrow downwards */
#define def_ombrel_window_key_home 0x110005u        /**< home */
#define def_ombrel_window_key_end 0x110006u         /**< end */
#define def_ombrel_window_key_page_up 0x110007u     /**< page up */
#define def_ombrel_window_key_page_down 0x110008u   /**< page down */
#define def_ombrel_window_key_insert 0x110009u      /**< insert */
#define def_ombrel_window_key_menu 0x11000Au        /**< menu of the place */
#define def_ombrel_window_key_print 0x11000Bu       /**< print screen */
#define def_ombrel_window_key_pause 0x11000Cu       /**< pause */
#define def_ombrel_window_key_caps_lock 0x11000Du   /**< caps lock */
#define def_ombrel_window_key_num_lock 0x11000Eu    /**< num lock */
#define def_ombrel_window_key_scroll_lock 0x11000Fu /**< scroll lock */
#define def_ombrel_window_key_shift 0x110010u       /**< shift, left or right */
#define def_ombrel_window_key_control 0x110011u     /**< control, left or right */
#define def_ombrel_window_key_alt 0x110012u         /**< alt, left or right */
#define def_ombrel_window_key_super 0x110013u       /**< the one with the system's sign, left or right */
#define def_ombrel_window_key_f1 0x110021u          /**< F1; F2 to F24 follow */
#define def_ombrel_window_key_pad_0 0x110040u       /**< 0 of the number pad; 1 to 9 follow */
#define def_ombrel_window_key_pad_point 0x11004Au   /**< point or comma of the number pad */
#define def_ombrel_window_key_pad_plus 0x11004Bu    /**< plus of the number pad */
#define def_ombrel_window_key_pad_minus 0x11004Cu   /**< minus of the number pad */
#define def_ombrel_window_key_pad_times 0x11004Du   /**< times of the number pad */
#define def_ombrel_window_key_pad_divide 0x11004Eu  /**< divide of the number pad */
/** @} */

/** An event of a window. */
typedef struct ombrel_window_event_ts {
    uint32_t m_kind;      /**< def_ombrel_window_event_… */
    int32_t m_ctx;        /**< handle of the window's context */
    int32_t m_x;          /**< column of the map where the pointer is, or was last */
    int32_t m_y;          /**< row of the map where it is */
    uint32_t m_button;    /**< def_ombrel_window_button_… */
    uint32_t m_buttons;   /**< the buttons that are held after the event, as bits */
    int32_t m_wheel_x;    /**< how far to the right; see #def_ombrel_window_wheel_notch */
    int32_t m_wheel_y;    /**< how far away from the user */
    uint32_t m_key;       /**< the key */
    uint32_t m_character; /**< code point; never a control character */
    uint32_t m_modifiers; /**< def_ombrel_window_modifier_… */
    uint32_t m_is_repeat; /**< 1 when the key has been held for a while, else 0 */
} ombrel_window_event_t;

/**
 * Called for an event.
 * @param event   what happened; valid during the call
 * @param context what was set with the handler
 * @return 0; after a close event another number keeps the window
 */
typedef int (*ombrel_window_handler_t)(const ombrel_window_event_t* event, void* context);

/** Record of the control operation "set_window_handler". */
typedef struct ombrel_window_listener_ts {
    ombrel_window_handler_t m_handler; /**< null for none: events wait for who polls */
    void* m_context;                   /**< handed to it */
} ombrel_window_listener_t;

/** Record of the control operation "get_window_event". */
typedef struct ombrel_window_wait_ts {
    int32_t m_timeout_ms; /**< milliseconds to wait for an event; negative for no limit, 0 only looks */
    ombrel_window_event_t m_event; /**< receives it; of the kind "none" when the time passed */
} ombrel_window_wait_t;

/**
 * @name The events of a window, for plug-ins
 * @{
 */

/** The events of one window and who is told of them. Opaque. */
typedef struct ombrel_window_events_ts ombrel_window_events_t;

/** @brief Makes it. @return to be freed by ombrel_free_window_events(); null when memory runs out */
OMBREL_API ombrel_window_events_t* ombrel_new_window_events(void);

/** @brief Frees it, or null; no other function is called for it any more. @return 0 */
OMBREL_API int ombrel_free_window_events(ombrel_window_events_t* events);

/**
 * @brief Hands an event to the handler, or lets it wait.
 *
 * One thread does so for each window. The handler may do what frees `events`; so whoever calls this holds it
 * until the call has returned.
 * @param events the window's events
 * @param event  what happened; copied
 * @return what the handler gave; 0 without one; -1 for a null argument
 */
OMBREL_API int ombrel_put_window_event(ombrel_window_events_t* events, const ombrel_window_event_t* event);

/** @brief The window is gone: who waits for an event, or asks later, is told. @return 0, or -1 for null */
OMBREL_API int ombrel_end_window_events(ombrel_window_events_t* events);

/**
 * @brief Sets who is told of events, and waits until a handler that is running on another thread has
 *        returned.
 * @param events   the window's events
 * @param listener the handler, copied; one that is null, or a null record, for none
 * @return 0, or -1 for null events
 */
OMBREL_API int ombrel_set_window_handler(ombrel_window_events_t* events,
                                         const ombrel_window_listener_t* listener);

/**
 * @brief Takes the oldest event that waits, or waits for one.
 * @param events the window's events
 * @param wait   the time, and what receives the event
 * @return 1 with an event; 0 when the time passed; -1 when there is none and the window is gone, or for a
 *         null argument. Except for null, `m_event` is set: without an event it is of the kind "none".
 */
OMBREL_API int ombrel_wait_window_event(ombrel_window_events_t* events, ombrel_window_wait_t* wait);

/**
 * @brief Does the control operations of framebuffer.h that windows have.
 * @param events the window's events
 * @param ctx    the context, which receives the error
 * @param code   #def_ombrel_fb_control_set_window_handler or #def_ombrel_fb_control_get_window_event
 * @param record the operation's record
 * @param size   its bytes; another number than the record has is the assertion
 *               "s_arg_size == sizeof(*s_arg)" and the error "invalid argument"
 * @return 0; -1 with the error set: "not supported" for another operation, "invalid argument" for a null
 *         record, "disconnected" when there is no event and the window is gone
 */
OMBREL_API int ombrel_control_window_events(ombrel_window_events_t* events, int ctx, uint32_t code,
                                            void* record, size_t size);
/** @} */

OMBREL_END_C

#endif
