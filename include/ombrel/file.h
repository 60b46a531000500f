/**
 * @file file.h
 * @brief Files: information about them, their bytes, copies, links, storing that survives crashes, file
 * systems.
 *
 * Functions that work on a file by its name take a path; those that work on an open one take its descriptor
 * and are named ombrel_file_*(). A settings file that is read, changed and stored:
 *
 * @code
 * size_t size;
 * char* text = ombrel_alloc_load_file("service.conf", 1 << 20, &size); // at most 1 MiB; 0 stands after it
 * if (text == NULL && ombrel_last_fault() != def_ombrel_fault_not_found)
 *     ombrel_error_printf("service.conf: %s\n", ombrel_fault_text());
 * const char changed[] = "port = 8080\n";
 * if (ombrel_store_file("service.conf", changed, sizeof changed - 1, 0, 0666) != 0)
 *     ombrel_error_printf("service.conf: %s\n", ombrel_fault_text());
 * if (text != NULL)
 *     ombrel_free(text);
 * @endcode
 *
 * @par Failures
 * A call that fails gives -1 or null and leaves the reason in ombrel_last_fault() (fault.h). Any path may
 * give def_ombrel_fault_not_found, def_ombrel_fault_not_directory, def_ombrel_fault_access_denied,
 * def_ombrel_fault_link_loop and def_ombrel_fault_input_output, any call that writes
 * def_ombrel_fault_no_space, any that opens def_ombrel_fault_no_descriptor, any with memory of its own
 * def_ombrel_fault_no_memory. A null path or record, an empty path, an unknown flag or a negative size is
 * def_ombrel_fault_invalid. Further faults are named with the functions.
 *
 * @par Paths
 * Paths are UTF-8; on POSIX any bytes but 0. "/" separates everywhere, the backslash too on Windows, where
 * long paths need no prefix. Symbolic links are followed except where a function or
 * #def_ombrel_file_no_follow says otherwise.
 *
 * @par Windows
 * There is only one permission, whether a file may be written: a mode is 0444 or 0666 there, and 0111 more
 * for directories and programs. Owners are not supported. Symbolic links need a right that users may not
 * have: def_ombrel_fault_access_denied then. Files that this library opened can be renamed, removed and,
 * since Windows 10, replaced while they are open.
 *
 * @par Threads
 * Any, for all functions; one at a time for one descriptor or one store. The current directory is the
 * process's.
 */
#ifndef OMBREL_FILE_H
#define OMBREL_FILE_H

#include <stddef.h>
#include <stdint.h>

#include <ombrel/calendar.h>
#include <ombrel/export.h>

OMBREL_BEGIN_C

/**
 * @name Flags
 * Each function names those that it takes.
 * @{
 */
#define def_ombrel_file_read 0x1u   /**< opens for reading */
#define def_ombrel_file_write 0x2u  /**< opens for writing */
#define def_ombrel_file_append 0x4u /**< opens for writing; each write goes to the end */
#define def_ombrel_file_create 0x8u /**< makes the file if it is not there */
/** With create: fails if anything is there, a symbolic link that leads nowhere too. */
#define def_ombrel_file_exclusive 0x10u
#define def_ombrel_file_truncate 0x20u /**< empties the file; for writing only */
#define def_ombrel_file_inherit 0x40u  /**< programs that this one starts inherit the descriptor too */
/** A named pipe's other side is not waited for, and reads and writes do not wait either. */
#define def_ombrel_file_no_wait 0x80u
#define def_ombrel_file_no_follow 0x100u  /**< a symbolic link at the end of the path is not followed */
#define def_ombrel_file_no_replace 0x200u /**< fails if the target is there already */
#define def_ombrel_file_keep_mode 0x400u  /**< the copy gets the original's permissions, whatever the mask */
#define def_ombrel_file_keep_times 0x800u /**< the copy gets the original's access and modification times */
/** The copy gets the original's owner and group, as far as the host permits. */
#define def_ombrel_file_keep_owner 0x1000u
#define def_ombrel_file_keep_all 0x1c00u /**< permissions, times and owner */
#define def_ombrel_file_at_once 0x2000u  /**< the target is the old or the whole new file at any moment */
#define def_ombrel_file_no_sync                                                                              \
    0x4000u /**< the device is not waited for: a crash of the system may lose the file */
#define def_ombrel_file_shared 0x8000u /**< locks for reading: others may lock so as well */
/** @} */

/** @name Kinds
 * @{ */
#define def_ombrel_file_kind_none 0             /**< there is nothing */
#define def_ombrel_file_kind_regular 1          /**< a file of bytes */
#define def_ombrel_file_kind_directory 2        /**< a directory */
#define def_ombrel_file_kind_link 3             /**< a symbolic link; on Windows a junction too */
#define def_ombrel_file_kind_pipe 4             /**< a pipe */
#define def_ombrel_file_kind_socket 5           /**< a socket */
#define def_ombrel_file_kind_character_device 6 /**< a terminal or another character device */
#define def_ombrel_file_kind_block_device 7     /**< a disk */
#define def_ombrel_file_kind_other 8            /**< something else */
/** @} */

/** What is known about a file. */
typedef struct ombrel_file_info_ts {
    int m_kind;          /**< a def_ombrel_file_kind_* */
    uint32_t m_mode;     /**< permissions, 0 to 07777, as for chmod */
    uint32_t m_owner;    /**< number of the user; 0 on Windows */
    uint32_t m_group;    /**< number of the group; 0 on Windows */
    int64_t m_size;      /**< bytes; of a link those of its text; 0 of files without a size */
    int64_t m_allocated; /**< bytes that it takes on the device; less than the size where it has holes */
    uint64_t m_links;    /**< names that it has (hard links) */
    uint64_t m_device;   /**< number of its file system */
    uint64_t m_serial;   /**< its number on that device: both together tell whether two files are the same */
    uint64_t m_special;  /**< of a device file the number of the device; 0 otherwise */
    ombrel_instant_t m_accessed; /**< last read, as far as the host keeps count */
    ombrel_instant_t m_modified; /**< last change of its bytes */
    ombrel_instant_t m_changed;  /**< last change of its bytes, permissions, owner or names */
    ombrel_instant_t m_created;  /**< when it was made, if m_has_created is 1 */
    int m_has_created;           /**< 1 if the file system knows m_created; else that is #m_modified */
} ombrel_file_info_t;

/**
 * @name Asking and setting
 * @{
 */
/**
 * @brief Whether anything is at a path, links followed.
 * @return 1; 0 otherwise, also when that cannot be found out
 */
OMBREL_API int ombrel_file_exists(const char* path);

/**
 * @brief The kind of what is at a path.
 * @param path  the path
 * @param flags 0 or #def_ombrel_file_no_follow
 * @return a def_ombrel_file_kind_*, which is none where there is nothing; -1 when it cannot be found out
 */
OMBREL_API int ombrel_get_file_kind(const char* path, uint32_t flags);

/**
 * @brief What is known about a file.
 * @param path  the path
 * @param flags 0 or #def_ombrel_file_no_follow
 * @param info  receives it; unchanged on failure
 * @return 0; -1 on failure
 */
OMBREL_API int ombrel_get_file_info(const char* path, uint32_t flags, ombrel_file_info_t* info);
/** @brief ombrel_get_file_info() of an open file. @return 0; -1, def_ombrel_fault_bad_descriptor too */
OMBREL_API int ombrel_file_get_info(int fd, ombrel_file_info_t* info);

/**
 * @brief Whether this process may use a file, by its rights at this moment.
 * @param path  the path
 * @param mode  a sum of 4 (read), 2 (write) and 1 (run a program, pass through a directory); 0 asks whether
 * it is there
 * @return 0 if it may; -1 otherwise
 */
OMBREL_API int ombrel_check_file_access(const char* path, int mode);

/**
 * @brief Sets the permissions of a file.
 * @param path the path; links are followed
 * @param mode 0 to 07777. On Windows 0200, the owner's right to write, is what counts
 * @return 0; -1 on failure
 */
OMBREL_API int ombrel_set_file_mode(const char* path, uint32_t mode);
/** @brief ombrel_set_file_mode() of an open file. @return 0; -1 on failure */
OMBREL_API int ombrel_file_set_mode(int fd, uint32_t mode);

/**
 * @brief Sets the owner of a file.
 * @param path  the path
 * @param flags 0 or #def_ombrel_file_no_follow
 * @param owner number of the user; UINT32_MAX leaves it
 * @param group number of the group; UINT32_MAX leaves it
 * @return 0; -1 on failure, on Windows always: def_ombrel_fault_not_supported
 */
OMBREL_API int ombrel_set_file_owner(const char* path, uint32_t flags, uint32_t owner, uint32_t group);

/**
 * @brief Sets the times of a file, to the host's resolution.
 * @param path     the path
 * @param flags    0 or #def_ombrel_file_no_follow
 * @param accessed the access time; null leaves it
 * @param modified the modification time; null leaves it. Both null set both to now
 * @return 0; -1 on failure: def_ombrel_fault_invalid for nanoseconds beyond 0 to 999,999,999 and for moments
 * that the host does not know; one that its file system cannot keep may become the nearest that it can
 */
OMBREL_API int ombrel_set_file_times(const char* path, uint32_t flags, const ombrel_instant_t* accessed,
                                     const ombrel_instant_t* modified);
/** @brief ombrel_set_file_times() of an open file. @return 0; -1 on failure */
OMBREL_API int ombrel_file_set_times(int fd, const ombrel_instant_t* accessed,
                                     const ombrel_instant_t* modified);
/** @} */

/**
 * @name Open files
 * Descriptors are the host's, those of the C run-time on Windows. Bytes are never translated.
 * @{
 */
/**
 * @brief Opens a file.
 * @param path  the path
 * @param flags read, write, append, create, exclusive, truncate, inherit, no_wait, no_follow; at least one of
 *              #def_ombrel_file_read, #def_ombrel_file_write and #def_ombrel_file_append
 * @param mode  permissions of a file that is made, less the process's mask: usually 0666, 0600 for secrets
 * @return the descriptor, which started programs do not inherit unless asked for; -1 on failure:
 *         def_ombrel_fault_exists, def_ombrel_fault_is_directory (directories are not opened),
 *         def_ombrel_fault_link_loop for a link that is not to be followed
 */
OMBREL_API int ombrel_open_file(const char* path, uint32_t flags, uint32_t mode);

/**
 * @brief Closes a descriptor. It is closed whatever the result is.
 * @return 0; -1 when the host says that something written before was lost
 */
OMBREL_API int ombrel_close_file(int fd);

/**
 * @brief Reads the bytes that are there, at least one; waits for it if need be.
 * @param fd     the descriptor
 * @param buffer room for `size` bytes
 * @param size   bytes; 0 reads nothing
 * @return bytes read, 0 at the end, -1 on failure
 */
OMBREL_API int64_t ombrel_file_read(int fd, void* buffer, size_t size);
/**
 * @brief Reads until the buffer is full or the end.
 * @return bytes read, fewer than `size` at the end only; -1 on failure, when what was read before is lost
 */
OMBREL_API int64_t ombrel_file_read_all(int fd, void* buffer, size_t size);
/**
 * @brief Reads as ombrel_file_read_all() from a place, leaving the descriptor's position.
 * @param fd     the descriptor
 * @param buffer room for `size` bytes
 * @param size   bytes
 * @param offset bytes from the start
 * @return as there; def_ombrel_fault_not_seekable too
 */
OMBREL_API int64_t ombrel_file_read_all_at(int fd, void* buffer, size_t size, int64_t offset);

/**
 * @brief Writes what can be written, at least a byte.
 *
 * A pipe or socket whose reader is gone raises no signal: def_ombrel_fault_closed.
 * @param fd   the descriptor
 * @param data the bytes
 * @param size their number
 * @return bytes written, which may be fewer; -1 on failure
 */
OMBREL_API int64_t ombrel_file_write(int fd, const void* data, size_t size);
/** @brief Writes all of it. @return 0; -1 on failure, when a part may have been written */
OMBREL_API int ombrel_file_write_all(int fd, const void* data, size_t size);
/**
 * @brief Writes all of it to a place, leaving the descriptor's position.
 * @param fd     the descriptor
 * @param data   the bytes
 * @param size   their number
 * @param offset bytes from the start
 * @return as ombrel_file_write_all(); def_ombrel_fault_not_seekable too
 */
OMBREL_API int ombrel_file_write_all_at(int fd, const void* data, size_t size, int64_t offset);

#define def_ombrel_file_seek_start 0   /**< from the start */
#define def_ombrel_file_seek_current 1 /**< from the position */
#define def_ombrel_file_seek_end 2     /**< from the end */
/**
 * @brief Moves the position; `ombrel_file_seek(fd, 0, def_ombrel_file_seek_current)` only returns it.
 * @param fd     the descriptor
 * @param offset bytes, may be negative
 * @param origin a def_ombrel_file_seek_*
 * @return the new position from the start, which may lie beyond the end; -1 on failure:
 *         def_ombrel_fault_not_seekable for pipes, def_ombrel_fault_invalid for a place before the start
 */
OMBREL_API int64_t ombrel_file_seek(int fd, int64_t offset, int origin);

/** @brief Bytes in a regular file. @return them; -1, def_ombrel_fault_not_seekable for what has no size */
OMBREL_API int64_t ombrel_file_get_size(int fd);
/**
 * @brief Cuts a file that is open for writing, or lengthens it by a hole of zeros.
 * @return 0; -1 on failure: def_ombrel_fault_too_large, def_ombrel_fault_invalid when it is not open for
 *         writing
 */
OMBREL_API int ombrel_file_set_size(int fd, int64_t size);
/** @brief ombrel_file_set_size() of the file at a path, which must be there. @return 0; -1 on failure */
OMBREL_API int ombrel_set_file_size(const char* path, int64_t size);

/**
 * @brief Hands the written bytes to the device and waits until it has stored them.
 * @return 0, also for files without a device; -1 when the device failed: what was written may be lost
 */
OMBREL_API int ombrel_file_sync(int fd);
/**
 * @brief The same for the names in a directory, after files were made, renamed or removed there.
 * @return 0, at once on Windows, which keeps its own log of names; -1 on failure
 */
OMBREL_API int ombrel_sync_directory(const char* path);

/**
 * @brief Locks a region of a file against others that lock it.
 *
 * On POSIX reads and writes do not respect locks, on Windows they do. A lock belongs to the open file:
 * opening the file again, even in this process, counts as somebody else. (A system that only has locks of
 * processes uses these. The functions of file_lock.h lock nothing.) It ends with ombrel_file_unlock_region(),
 * with the last descriptor of the opening, and with the process.
 * @param fd         the descriptor; open for writing, or for reading with #def_ombrel_file_shared
 * @param offset     first byte
 * @param size       bytes, which may lie beyond the end; 0 for all from `offset` on
 * @param flags      0 for a lock that excludes all others, or #def_ombrel_file_shared
 * @param timeout_ms milliseconds to wait for others; negative for ever, 0 tries once
 * @return 1; 0 when the time ran out; -1 on failure
 */
OMBREL_API int ombrel_file_lock_region(int fd, int64_t offset, int64_t size, uint32_t flags, int timeout_ms);
/**
 * @brief Ends a lock. The region must be one that was locked; POSIX systems take any part of one as well.
 * @return 0; -1 on failure
 */
OMBREL_API int ombrel_file_unlock_region(int fd, int64_t offset, int64_t size);
/** @} */

/**
 * @name Whole files
 * @{
 */
/** What a limit of 0 stands for: 64 MiB. */
#define def_ombrel_file_default_limit 67108864

/**
 * @brief Loads a whole file.
 *
 * Files whose size the host does not tell, such as pipes and those of /proc, are read up to their end.
 * @param path     the path
 * @param limit    the most bytes that are taken; 0 for #def_ombrel_file_default_limit
 * @param size     receives the number of bytes; may be null
 * @param function the caller's name
 * @param line     its line
 * @return the bytes, with a 0 after them that is not counted, freed with ombrel_free(); null on failure:
 *         def_ombrel_fault_too_large, def_ombrel_fault_is_directory
 */
OMBREL_API void* ombrel_alloc_load_file_tag(const char* path, size_t limit, size_t* size,
                                            const char* function, unsigned long line);
/** ombrel_alloc_load_file_tag() with the caller's own name and line. */
#define ombrel_alloc_load_file(path, limit, size)                                                            \
    ombrel_alloc_load_file_tag((path), (limit), (size), __func__, __LINE__)

/** @brief ombrel_alloc_load_file_tag() of an open file, from its position on. */
OMBREL_API void* ombrel_file_alloc_load_tag(int fd, size_t limit, size_t* size, const char* function,
                                            unsigned long line);
/** ombrel_file_alloc_load_tag() with the caller's own name and line. */
#define ombrel_file_alloc_load(fd, limit, size)                                                              \
    ombrel_file_alloc_load_tag((fd), (limit), (size), __func__, __LINE__)

/**
 * @brief Stores a whole file so that after a crash at any moment the path names either the old file or the
 * new one.
 *
 * The bytes go to a temporary file beside it and to the device, and then the file gets the name. A file that
 * was there keeps its permissions and, where the host allows that, its owner, and is refused if this process
 * may not write it; other names of it (hard links) keep the old bytes. A symbolic link stays, and what it
 * leads to is stored. A crash or a fatal signal may leave a temporary file, ".NAME." and 12 characters.
 * @param path  the path; directories are not made
 * @param data  the bytes
 * @param size  their number
 * @param flags #def_ombrel_file_no_replace, #def_ombrel_file_no_sync
 * @param mode  permissions of a file that was not there, less the process's mask
 * @return 0; -1 on failure, with the old file as it was: def_ombrel_fault_exists,
 * def_ombrel_fault_is_directory, def_ombrel_fault_not_supported for a pipe, a device or the like
 */
OMBREL_API int ombrel_store_file(const char* path, const void* data, size_t size, uint32_t flags,
                                 uint32_t mode);

/** A file that is being stored in pieces. */
typedef struct ombrel_file_store_ts ombrel_file_store_t;

/**
 * @brief Begins to store a file in pieces; otherwise as ombrel_store_file().
 * @param path     the path
 * @param flags    as there
 * @param mode     as there
 * @param function the caller's name
 * @param line     its line
 * @return the store, to be ended by ombrel_close_file_store(); null on failure
 */
OMBREL_API ombrel_file_store_t* ombrel_open_file_store_tag(const char* path, uint32_t flags, uint32_t mode,
                                                           const char* function, unsigned long line);
/** ombrel_open_file_store_tag() with the caller's own name and line. */
#define ombrel_open_file_store(path, flags, mode)                                                            \
    ombrel_open_file_store_tag((path), (flags), (mode), __func__, __LINE__)
/**
 * @brief The descriptor to which the bytes are written, by ombrel_file_write_all() or anything else; it
 * belongs to the store.
 * @return the descriptor; -1 once it is committed
 */
OMBREL_API int ombrel_file_store_get_descriptor(const ombrel_file_store_t* store);
/**
 * @brief Puts what was written in the file's place.
 * @return 0; -1 on failure, when the old file stays and the store can only be closed
 */
OMBREL_API int ombrel_file_store_commit(ombrel_file_store_t* store);
/**
 * @brief Ends a store; what was not committed is dropped.
 * @param store the store; null is ignored
 * @return 0
 */
OMBREL_API int ombrel_close_file_store(ombrel_file_store_t* store);
/** @} */

/**
 * @name Copying, moving, removing
 * @{
 */
/**
 * Callback of copies, after each piece of up to 64 MiB.
 * @param done    bytes copied
 * @param total   bytes of the original, as far as is known; at least `done`
 * @param context as given
 * @return 0 to go on; anything else ends the copy, which returns it
 */
typedef int (*ombrel_file_progress_t)(int64_t done, int64_t total, void* context);

/**
 * @brief Copies a file.
 *
 * The host does it where it can, on some file systems without moving a byte; holes stay holes. A target that
 * is there is overwritten and keeps its permissions; one that is made gets those of the original, less the
 * process's mask. Pipes, devices and the like are read up to their end. After a failure or a
 * break a target that was made is removed, one that was overwritten is incomplete, unless
 * #def_ombrel_file_at_once was given: then it is as it was.
 * @param from    the original
 * @param to      the path of the copy, not of a directory
 * @param flags   no_replace, at_once (by ombrel_open_file_store(), sync included unless there is no_sync),
 * keep_mode, keep_times, keep_owner, no_follow (a symbolic link is copied as a link)
 * @param handler called as the copy goes on; may be null
 * @param context handed to the handler
 * @return 0; what the handler gave when it ended the copy; -1 on failure: def_ombrel_fault_exists,
 *         def_ombrel_fault_is_directory, def_ombrel_fault_invalid when both are one file
 */
OMBREL_API int ombrel_copy_file(const char* from, const char* to, uint32_t flags,
                                ombrel_file_progress_t handler, void* context);

/**
 * @brief Renames a file or directory; a target that is there is replaced in one step.
 *
 * If both are names of one file, both stay, as POSIX demands.
 * @param from  the old path; a symbolic link itself is renamed
 * @param to    the new one
 * @param flags 0 or #def_ombrel_file_no_replace
 * @return 0; -1 on failure: def_ombrel_fault_exists, def_ombrel_fault_other_device,
 * def_ombrel_fault_not_empty for a directory in the way, def_ombrel_fault_is_directory and
 * def_ombrel_fault_not_directory where one would replace the other
 */
OMBREL_API int ombrel_rename_file(const char* from, const char* to, uint32_t flags);

/**
 * @brief Renames a file or, across devices, copies it with its permissions, times and owner and removes the
 * original.
 *
 * The copy appears at once and whole; the original goes once the device has the copy.
 * @param from    the old path; a symbolic link itself is moved
 * @param to      the new one
 * @param flags   #def_ombrel_file_no_replace, #def_ombrel_file_no_sync
 * @param handler called as a copy goes on; may be null
 * @param context handed to the handler
 * @return 0; what the handler gave when it ended the copy; -1 as ombrel_rename_file(); a directory is not
 * moved across devices: def_ombrel_fault_other_device
 */
OMBREL_API int ombrel_move_file(const char* from, const char* to, uint32_t flags,
                                ombrel_file_progress_t handler, void* context);

/**
 * @brief Removes a file or a symbolic link itself; read-only ones too, on Windows as well.
 * @return 0; -1 on failure: def_ombrel_fault_is_directory
 */
OMBREL_API int ombrel_remove_file(const char* path);
/**
 * @brief Removes an empty directory.
 * @return 0; -1 on failure: def_ombrel_fault_not_empty, def_ombrel_fault_not_directory (of a symbolic link
 *         too)
 */
OMBREL_API int ombrel_remove_directory(const char* path);

/**
 * @brief Makes a directory.
 * @param path the path
 * @param mode permissions, less the process's mask; usually 0777. Ignored on Windows
 * @return 0; -1 on failure: def_ombrel_fault_exists for anything that is there
 */
OMBREL_API int ombrel_make_directory(const char* path, uint32_t mode);
/**
 * @brief Makes a directory and the missing ones on the way to it. Those made before a failure stay.
 * @return 0, also when all were there; -1 on failure: def_ombrel_fault_exists when the path is something
 *         else
 */
OMBREL_API int ombrel_make_directories(const char* path, uint32_t mode);

/**
 * @brief Gives a file one more name (a hard link); a symbolic link is not followed.
 * @return 0; -1 on failure: def_ombrel_fault_exists, def_ombrel_fault_other_device,
 *         def_ombrel_fault_not_supported
 */
OMBREL_API int ombrel_make_link(const char* path, const char* new_path);
/**
 * @brief Makes a symbolic link.
 * @param text     its text: a path, relative to the link's directory unless it is absolute, which need not
 * exist. On Windows the kind of the link is that of its target, or a file's if there is none
 * @param new_path where the link is made
 * @return 0; -1 on failure: def_ombrel_fault_exists, def_ombrel_fault_not_supported
 */
OMBREL_API int ombrel_make_symbolic_link(const char* text, const char* new_path);
/**
 * @brief The text of a symbolic link, as a new string freed with ombrel_free().
 * @return it; null on failure: def_ombrel_fault_invalid for what is not a link
 */
OMBREL_API char* ombrel_alloc_link_text_tag(const char* path, const char* function, unsigned long line);
/** ombrel_alloc_link_text_tag() with the caller's own name and line. */
#define ombrel_alloc_link_text(path) ombrel_alloc_link_text_tag((path), __func__, __LINE__)
/** @} */

/**
 * @name Temporary files
 * The names cannot be guessed and are new; the files are for this user alone.
 * @{
 */
/**
 * @brief The folder for temporary files: TMPDIR (on Windows TMP, TEMP), or the system's own.
 * @return a new string freed with ombrel_free(); null when memory runs out
 */
OMBREL_API char* ombrel_alloc_temporary_folder_tag(const char* function, unsigned long line);
/** ombrel_alloc_temporary_folder_tag() with the caller's own name and line. */
#define ombrel_alloc_temporary_folder() ombrel_alloc_temporary_folder_tag(__func__, __LINE__)

/**
 * @brief Opens a new file for reading and writing.
 * @param folder   where; null for ombrel_alloc_temporary_folder()
 * @param prefix   what its name begins with, without separators; null for none
 * @param path     receives its path, freed with ombrel_free(), and the file stays until it is removed.
 * Null for a file without a name, removed with its last descriptor
 * @param function the caller's name
 * @param line     its line
 * @return the descriptor; -1 on failure, with a null in `path`
 */
OMBREL_API int ombrel_open_temporary_file_tag(const char* folder, const char* prefix, char** path,
                                              const char* function, unsigned long line);
/** ombrel_open_temporary_file_tag() with the caller's own name and line. */
#define ombrel_open_temporary_file(folder, prefix, path)                                                     \
    ombrel_open_temporary_file_tag((folder), (prefix), (path), __func__, __LINE__)

/** @brief Makes a new directory with an unused name likewise. @return its path, freed with ombrel_free();
 * null on failure */
OMBREL_API char* ombrel_alloc_temporary_directory_tag(const char* folder, const char* prefix,
                                                      const char* function, unsigned long line);
/** ombrel_alloc_temporary_directory_tag() with the caller's own name and line. */
#define ombrel_alloc_temporary_directory(folder, prefix)                                                     \
    ombrel_alloc_temporary_directory_tag((folder), (prefix), __func__, __LINE__)
/** @} */

/**
 * @name File systems
 * @{
 */
/** The room of a file system. */
typedef struct ombrel_file_space_ts {
    int64_t m_total;      /**< bytes in all */
    int64_t m_free;       /**< bytes free */
    int64_t m_available;  /**< bytes that this user may still take */
    int64_t m_block_size; /**< bytes that are given to files at a time */
    int64_t m_files;      /**< files that it can have; 0 where the number is not fixed */
    int64_t m_free_files; /**< files that can be made; 0 likewise */
} ombrel_file_space_t;

/**
 * @brief The room of the file system in which something lies.
 * @return 0; -1 on failure, with `space` unchanged
 */
OMBREL_API int ombrel_get_file_space(const char* path, ombrel_file_space_t* space);

/** A mounted file system; on Windows a drive. */
typedef struct ombrel_mount_ts {
    const char* m_directory; /**< where it is mounted: "/home", "C:\" */
    const char* m_source;    /**< what is mounted: "/dev/sda1", "tmpfs", a volume's name; may be empty */
    const char* m_kind;    /**< type of the file system: "ext4", "NTFS"; may be empty, for example for a drive
                              without a disk */
    const char* m_options; /**< options as the host lists them, separated by commas: "rw,noatime"; on Windows
                              "rw" or "ro" */
} ombrel_mount_t;

/**
 * @brief The mounted file systems of this process's view, in the order in which they were mounted.
 * @param count    receives their number; may be null
 * @param function the caller's name
 * @param line     its line
 * @return the records, all in one block freed with ombrel_free(), and one of nulls after them; null on
 * failure
 */
OMBREL_API ombrel_mount_t* ombrel_alloc_mount_table_tag(size_t* count, const char* function,
                                                        unsigned long line);
/** ombrel_alloc_mount_table_tag() with the caller's own name and line. */
#define ombrel_alloc_mount_table(count) ombrel_alloc_mount_table_tag((count), __func__, __LINE__)
/** @} */

/**
 * @name Places
 * Each alloc_ function gives a new string freed with ombrel_free(); null on failure.
 * @{
 */
/**
 * @brief The path of the program that this process runs; def_ombrel_fault_not_supported where the host
 * does not tell
 */
OMBREL_API char* ombrel_alloc_program_path_tag(const char* function, unsigned long line);
/** ombrel_alloc_program_path_tag() with the caller's own name and line. */
#define ombrel_alloc_program_path() ombrel_alloc_program_path_tag(__func__, __LINE__)

/** @brief The current directory, as an absolute path; def_ombrel_fault_not_found when it was removed */
OMBREL_API char* ombrel_alloc_current_directory_tag(const char* function, unsigned long line);
/** ombrel_alloc_current_directory_tag() with the caller's own name and line. */
#define ombrel_alloc_current_directory() ombrel_alloc_current_directory_tag(__func__, __LINE__)
/**
 * @brief Makes a directory the current one of the process, to which paths are relative.
 * @return 0; -1 on failure
 */
OMBREL_API int ombrel_set_current_directory(const char* path);

/** @brief The absolute path of what is there, without ".", "..", doubled separators and symbolic links */
OMBREL_API char* ombrel_alloc_canonical_path_tag(const char* path, const char* function, unsigned long line);
/** ombrel_alloc_canonical_path_tag() with the caller's own name and line. */
#define ombrel_alloc_canonical_path(path) ombrel_alloc_canonical_path_tag((path), __func__, __LINE__)
/** @} */

OMBREL_END_C

#endif
