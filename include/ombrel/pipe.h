/**
 * @file pipe.h
 * @brief Anonymous pipes with time-limited reads. Any thread.
 *
 * Descriptors are not inherited by child processes.
 */
#ifndef OMBREL_PIPE_H
#define OMBREL_PIPE_H

#include <stddef.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/** The result of ombrel_pipe_read() when the time ran out. */
#define def_ombrel_pipe_timeout (-2)

/**
 * @brief Makes a connected pair of descriptors.
 * @param ends receives the read end and the write end; both -1 on failure
 * @return 0 or -1
 */
OMBREL_API int ombrel_pipe(int ends[2]);

/**
 * @brief Reads what is there, waiting for the first byte.
 * @param fd           the read end
 * @param buffer       receives at most `size` bytes
 * @param size         bytes wanted
 * @param timeout_msec milliseconds to wait at most; 0 polls, negative waits without limit
 * @return bytes read; 0 when the write end is closed; -1 on an error; def_ombrel_pipe_timeout when the time
 *         ran out
 */
OMBREL_API int ombrel_pipe_read(int fd, void* buffer, size_t size, int timeout_msec);

/**
 * @brief Writes bytes. A closed read end gives -1 and no signal.
 * @return bytes written, or -1
 */
OMBREL_API int ombrel_pipe_write(int fd, const void* data, size_t size);

/** @brief Closes the ends that are open and sets both to -1. @return 0, or -1 for null */
OMBREL_API int ombrel_destroy_pipe(int ends[2]);

OMBREL_END_C

#endif
