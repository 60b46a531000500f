// The allocator under malloc().
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#if defined(__GLIBC__)
#include <unistd.h>
#endif

#include "platform/system.h"

#if defined(__GLIBC__)
extern "C" void* __libc_malloc(size_t size);
#endif

namespace ombrel::platform {

/// Whether malloc() is that of a C library with fast lists for small blocks only. A program may bring its
/// own: a faster one, one that looks for mistakes, or one that counts requests or lets them fail.
inline bool has_slow_middle_blocks() {
#if defined(__GLIBC__)
    // Two names of one function unless the program defines the first; the compiler must not conclude that two
    // names are two functions.
    void* (*called)(size_t) = malloc;
    asm("" : "+r"(called));
    return called == __libc_malloc;
#else
    return false;
#endif
}

enum class verdict { good, bad, unknown };

/// What the allocator's own word says of the size of a live block: whether it was asked for so many bytes.
verdict check_size(const void* block, size_t size);

/// How far a look at the allocator's words goes: other threads change those of free blocks at any time, and
/// may give their memory back, so that beside them only a checked look, which is slow, can go far.
enum class look { near, far, far_and_checked };

/// Both at once for the usual block, where check_size() once knew an answer: false, too, for a block with
/// pages of its own.
bool is_usual(const void* block, size_t size);

/// For a block of good size: whether the words around it, too, are as the allocator left them. Its free()
/// ends the process, at once or later, when they are not.
bool has_whole_neighbours(const void* block, look range);

#if defined(__GLIBC__)

/// A block of the C library: its size with flags stands in the word before it, the next one's in its last.
struct c_library_block {
    static constexpr size_t word = sizeof(size_t), flags = 7, previous_is_live = 1, is_mapped = 2;
    static constexpr size_t smallest = 4 * word;
    static constexpr size_t largest = sizeof(void*) == 8 ? SIZE_MAX >> 16 : SIZE_MAX >> 2;
    static constexpr size_t most_spare = 6 * word; // by alignment, or too small for a block of its own

    static size_t word_at(const char* address) {
        size_t value;
        memcpy(&value, address, word);
        return value;
    }

    /// One with pages of its own; `distance` is what lies between them and the block.
    [[gnu::noinline]] static bool is_whole_mapping(const char* block, size_t size, size_t total) {
        constexpr size_t page = 4096;
        const size_t distance = word_at(block - 2 * word);
        const uintptr_t start = reinterpret_cast<uintptr_t>(block) - 2 * word - distance;
        return total >= size + 2 * word && ((start | (distance + total)) & (page - 1)) == 0;
    }

    static bool read_at(const char* address, bool is_believed, size_t& value) {
        if (!is_believed)
            return copy_if_readable(&value, address, word);
        value = word_at(address);
        return true;
    }

    /// A free block stands before this one; its size stands at both of its ends.
    [[gnu::noinline]] static bool has_whole_predecessor(const char* block, look range) {
        constexpr size_t believed = size_t{1}
                                    << 20; // hardly any damage looks like the size of so small a block
        const size_t total = word_at(block - 2 * word);
        size_t its_size;
        return total >= smallest && total % (2 * word) == 0 &&
               read_at(block - word - total, range == look::far && total <= believed, its_size) &&
               (its_size & ~flags) == total;
    }

    /// The same for the block behind, if it is free; the last one ends with a page. What lies on one page
    /// with a block, or below the end of the program's data, can be read.
    static bool has_whole_successor(const char* block, size_t total, look range) {
        constexpr uintptr_t page = 4096;
        const char* end = block + total;
        const auto limit = reinterpret_cast<uintptr_t>(end - 2 * word);
        const bool is_near = ((limit ^ reinterpret_cast<uintptr_t>(block - 1)) < page);
        const bool is_within = is_near || (block < end && end < sbrk(0));
        if (limit % page == 0 && !is_within)
            return true;
        const bool is_believed = range == look::far && is_within;
        size_t after, before_it;
        return read_at(end - word, is_believed, after) &&
               ((after & previous_is_live) != 0 ||
                (read_at(end - 2 * word, is_believed, before_it) && before_it == total));
    }

    static bool fits(const char* block, size_t size) {
        const size_t own = word_at(block - word), total = own & ~flags;
        if ((own & is_mapped) != 0)
            return is_whole_mapping(block, size, total);
        return total - (size + word) <= most_spare && total % (2 * word) == 0;
    }

    /// fits() and has_whole_neighbours() for a near look, but for a block with pages of its own.
    static bool is_usual(const char* block, size_t size) {
        constexpr size_t uneven = (2 * word - 1) & ~flags;
        const size_t own = word_at(block - word), total = own & ~flags;
        if ((own & (is_mapped | uneven)) != 0 || total - (size + word) > most_spare)
            return false;
        const size_t next = word_at(block - word + total);
        return (next & previous_is_live) != 0 && next > 2 * word && next <= largest;
    }

    /// free() joins a block with its free neighbours, some time later if it is small.
    static bool has_whole_neighbours(const char* block, look range) {
        const size_t own = word_at(block - word), total = own & ~flags;
        if ((own & is_mapped) != 0)
            return true;
        const size_t next = word_at(block - word + total);
        if ((next & previous_is_live) == 0 || next <= 2 * word || next > largest)
            return false;
        return range == look::near || is_whole_afar(block, range);
    }

    /// What lies beyond the nearest words.
    [[gnu::noinline]] static bool is_whole_afar(const char* block, look range) {
        const size_t own = word_at(block - word), total = own & ~flags;
        const size_t next = word_at(block - word + total);
        return ((own & previous_is_live) != 0 || has_whole_predecessor(block, range)) &&
               has_whole_successor(block + total, next & ~flags, range);
    }
};

inline verdict check_size(const void* block, size_t size) {
    if (!has_slow_middle_blocks())
        return verdict::unknown;
    return c_library_block::fits(static_cast<const char*>(block), size) ? verdict::good : verdict::bad;
}

inline bool is_usual(const void* block, size_t size) {
    return c_library_block::is_usual(static_cast<const char*>(block), size);
}

inline bool has_whole_neighbours(const void* block, look range) {
    return c_library_block::has_whole_neighbours(static_cast<const char*>(block), range);
}

#else

inline verdict check_size(const void*, size_t) {
    return verdict::unknown;
}

inline bool is_usual(const void*, size_t) {
    return false;
}

inline bool has_whole_neighbours(const void*, look) {
    return true;
}

#endif

/// Whether free() may have the block, as far as the host lets us see.
inline bool can_be_freed(const void* block, size_t size, look range) {
    const verdict of_size = check_size(block, size);
    return of_size == verdict::unknown || (of_size == verdict::good && has_whole_neighbours(block, range));
}

} // namespace ombrel::platform
