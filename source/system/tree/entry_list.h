// The names in a directory, read at once, so that the directory need not be read on while what is below is
// looked at or its entries are changed.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/directory.h"

namespace ombrel::system {

/// Holds its memory until it is released. Trivially copyable, to stand in stacks of records.
class entry_list {
public:
    struct entry {
        const char* name; ///< lives as long as the list
        int kind;         ///< a def_ombrel_file_kind_*
        int64_t size;     ///< where the host told it along, else -1
    };
    /// By the bytes of names, or as the host takes names for the same.
    enum class order { of_host, of_bytes, of_names };

    /// What could be read before a failure is in the list, and no more than `most` entries.
    bool read(platform::open_directory* directory, order wanted, const char* tag, size_t most = SIZE_MAX);
    /// Takes the next entry; false at the end.
    bool take(entry& taken);
    /// What take() will give; false at the end.
    bool peek(entry& next) const;
    void release();

    size_t count() const { return count_; }
    /// Bytes of all names with their ends.
    size_t name_bytes() const { return size_ - count_ * sizeof(head); }

private:
    struct head {
        int64_t size;
        int kind;
    };
    bool add(const platform::found_entry& found, const char* tag);
    bool make_room(size_t size, const char* tag);
    bool sort(order wanted, const char* tag);

    char* bytes_ = nullptr; ///< of each entry its head, its name and 0
    size_t size_ = 0, room_ = 0, count_ = 0, taken_ = 0;
    const char** order_ = nullptr; ///< null for the host's
    size_t at_ = 0;                ///< of the next entry in the host's order
};

} // namespace ombrel::system
