/**
 * @file path.h
 * @brief Paths as lists of their components, base and directory names.
 *
 * The slash and the backslash both separate components on every platform; paths are joined with the
 * platform's own separator ("/" on POSIX systems, the backslash on Windows). The functions may be called from
 * any thread.
 */
#ifndef OMBREL_PATH_H
#define OMBREL_PATH_H

#include <ombrel/export.h>
#include <ombrel/string_node.h>

OMBREL_BEGIN_C

/**
 * @brief Takes a path apart and resolves "." and "..".
 * @return the head of the new list, freed with ombrel_free_path_node(); an absolute path begins with an empty
 *         text. Null for a null or empty path and when memory runs out
 */
OMBREL_API ombrel_string_node_t* ombrel_path_to_node(const char* path);
/** @brief Joins a list with the platform's separator; else as ombrel_node_to_string(). */
OMBREL_API char* ombrel_node_to_path(const ombrel_string_node_t* list, int skip_ignored);
/** @brief ombrel_append_string_node_ex() with path resolution over the joined list. */
OMBREL_API ombrel_string_node_t*
ombrel_append_path_node(ombrel_string_node_t* list, ombrel_string_node_t* other, int restart_on_absolute);
/** @brief Copies a list, its ignored nodes too, by joining it and taking the path apart again.
 *  @return the new list; null for null or when memory runs out */
OMBREL_API ombrel_string_node_t* ombrel_copy_path_node(const ombrel_string_node_t* list);
/** @brief The same as ombrel_free_string_node(). */
OMBREL_API void ombrel_free_path_node(ombrel_string_node_t* list);

/**
 * @brief The last component of a path.
 * @param path cut in place: separators at its end are removed, but never its first character. Nothing is
 * written where nothing is removed, so a path that ends in a name may be a constant
 * @return a place inside `path`: the part after the last separator left, the whole of an empty path or of
 * one that is a single character; "." (not to be written to) for null
 */
OMBREL_API char* ombrel_basename(char* path);
/** @brief ombrel_basename() without cutting: separators at the end stay, so that "a/b/" gives "b/". */
OMBREL_API const char* ombrel_basename_c(const char* path);

/**
 * @brief The directory of a path: what stands before its last component, without separators at the end.
 * @param path cut in place; nothing is written where nothing is cut
 * @return `path`; its first separator alone where the directory is the root or the path is only separators;
 * "." (not to be written to) when there is no directory, and for null or an empty path
 */
OMBREL_API char* ombrel_dirname(char* path);

/** @brief ombrel_basename() of a private copy, as a new string freed with ombrel_free(); null when memory
 * runs out. */
OMBREL_API char* ombrel_alloc_basename_tag(const char* path, const char* caller, unsigned long line);
/** @brief ombrel_dirname() of a private copy, as a new string freed with ombrel_free(); null when memory runs
 *         out. */
OMBREL_API char* ombrel_alloc_dirname_tag(const char* path, const char* caller, unsigned long line);
/** ombrel_alloc_basename_tag() with the caller's own name and line. */
#define ombrel_alloc_basename(path) ombrel_alloc_basename_tag((path), __func__, __LINE__)
/** ombrel_alloc_dirname_tag() with the caller's own name and line. */
#define ombrel_alloc_dirname(path) ombrel_alloc_dirname_tag((path), __func__, __LINE__)

OMBREL_END_C

#endif
