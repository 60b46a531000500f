/**
 * @file select.h
 * @brief Waiting for sockets: one at a time, or many with a reusable record of interests.
 *
 * Descriptors may have any value. Time limits are signed milliseconds: negative waits without limit, 0 polls
 * once. No function writes a message.
 */
#ifndef OMBREL_SELECT_H
#define OMBREL_SELECT_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

#define def_ombrel_select_read 1      /**< readable, a connection to accept, or the peer closed */
#define def_ombrel_select_write 2     /**< writable, or a connect finished */
#define def_ombrel_select_exception 4 /**< out-of-band data, or a failed connect */
#define def_ombrel_select_any 8       /**< in ombrel_is_select(): the record holds at least one socket */
#define def_ombrel_select_retry 16    /**< in ombrel_single_select(): goes on when interrupted */

/** The most sockets that one set of a record holds. */
#define def_ombrel_select_set_size 64

/** A set of sockets, in the order in which they were added. */
typedef struct {
    uint32_t m_count;                             /**< sockets in the set */
    int32_t m_socket[def_ombrel_select_set_size]; /**< the first `m_count` are in use */
} ombrel_select_set_t;

/** A record of interests and of the results of the last dispatch; read-only for callers. */
typedef struct ombrel_select_ts {
    uint32_t m_capacity;                 /**< bytes of storage for each of the six sets */
    void* m_storage;                     /**< one heap block with the six sets, `m_capacity` bytes apart */
    int32_t m_read_count;                /**< sockets added for reading, stored or not */
    int32_t m_write_count;               /**< sockets added for writing, stored or not */
    int32_t m_exception_count;           /**< sockets added for exceptions, stored or not */
    ombrel_select_set_t* m_read;         /**< interest in reading */
    ombrel_select_set_t* m_write;        /**< interest in writing */
    ombrel_select_set_t* m_exception;    /**< interest in exceptions */
    ombrel_select_set_t* m_read_result;  /**< readable at the last dispatch */
    ombrel_select_set_t* m_write_result; /**< writable at the last dispatch */
    ombrel_select_set_t* m_exception_result; /**< exceptional at the last dispatch */
    int32_t m_highest_socket;                /**< the largest descriptor registered, -1 when there is none */
} ombrel_select_t;

/**
 * @brief Waits for one socket. Any thread.
 * @param s          the socket; -1 just sleeps for the time given
 * @param flags      the kinds to wait for (read, write, exception), and def_ombrel_select_retry to go on
 * after an interruption: at most 10 waits in all, and no longer than the time limit together
 * @param timeout_ms milliseconds to wait at most
 * @return the ready kinds; 0 when the time ran out; -1 on an error, with the platform's error in `errno`
 */
OMBREL_API int ombrel_single_select(int s, int flags, int timeout_ms);

/**
 * @brief Opens an empty record. Records are used by one thread at a time.
 * @param max_sockets how many sockets the storage is laid out for, at least 64; a set still holds 64
 * @return the record, which the caller closes with ombrel_close_select(); null when memory runs out
 */
OMBREL_API ombrel_select_t* ombrel_open_select_ex(int max_sockets);

/** @brief ombrel_open_select_ex() with 0. @return the record, or null */
OMBREL_API ombrel_select_t* ombrel_open_select(void);

/** @brief Frees a record. @param record the record; null is accepted @return 0, or -1 for null */
OMBREL_API int ombrel_close_select(ombrel_select_t* record);

/**
 * @brief Adds interest in a socket.
 *
 * A socket already in a set is neither added nor counted again. A full set does not store the socket; its
 * count is raised all the same.
 * @param record the record
 * @param s     the socket
 * @param flags the kinds: read, write, exception
 * @return 0; -1 for a null record, a negative socket or when memory runs out (the record is unchanged then)
 */
OMBREL_API int ombrel_add_select(ombrel_select_t* record, int s, int flags);

/**
 * @brief Ends interest in a socket.
 *
 * A kind whose set does not hold the socket stays as it is, and so does its count.
 * @param record the record
 * @param s     the socket
 * @param flags the kinds: read, write, exception
 * @return 0; -1 for a null record or a negative socket
 */
OMBREL_API int ombrel_del_select(ombrel_select_t* record, int s, int flags);

/**
 * @brief Makes the interest in a socket exactly the kinds given.
 * @param record the record
 * @param s     the socket
 * @param flags the kinds: read, write, exception; 0 ends all interest
 * @return 0; -1 for a null record, a negative socket or when memory runs out (the record is unchanged then)
 */
OMBREL_API int ombrel_set_select(ombrel_select_t* record, int s, int flags);

/** @brief Ends all interest and forgets the results. @return 0, or -1 for null */
OMBREL_API int ombrel_clear_select(ombrel_select_t* record);

/**
 * @brief Waits until a socket of the record is ready; a record without sockets sleeps.
 *
 * Ask ombrel_is_select() for each socket afterwards.
 * @param record the record
 * @param timeout_ms milliseconds to wait at most
 * @return how many sockets are ready, a socket counting once for each kind; 0 when the time ran out; -1 on an
 *         error (the results are empty then) and for a null record
 */
OMBREL_API int ombrel_select_dispatch(ombrel_select_t* record, int timeout_ms);

/**
 * @brief For which kinds a socket was ready at the last dispatch.
 * @param record the record
 * @param s     the socket
 * @param flags the kinds asked about; def_ombrel_select_any asks too whether the record holds any socket
 * @return those kinds, with def_ombrel_select_any when it was asked for and holds; -1 for a null record or a
 *         socket above the highest one (of a record that holds none, def_ombrel_select_any gives 0 for any
 *         socket)
 */
OMBREL_API int ombrel_is_select(const ombrel_select_t* record, int s, int flags);

/**
 * @brief The kinds for which a record has interest in a socket.
 * @return the kinds; 0 for a null record or a socket above the highest one
 */
OMBREL_API int ombrel_get_select_flags(const ombrel_select_t* record, int s);

OMBREL_END_C

#endif
