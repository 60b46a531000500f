// The records of a tree while it is read.
#pragma once

#include <ombrel/directory.h>

#include "core/call_site.h"
#include "core/scratch_array.h"
#include "system/file/path_text.h"

namespace ombrel::system {

class tree_records {
public:
    explicit tree_records(const char* tag) : records_(tag), names_(tag), shared_(tag) {}

    /// Adds what a walk with information came to. False, with the fault left, when memory has run out.
    bool add(const ombrel_walk_entry_t& entry);

    /// The tree in one block of the caller's; null, with the fault left.
    ombrel_tree_t* pack(int64_t failures, call_site caller);

private:
    /// A file of several names.
    struct shared_file {
        uint64_t device, serial;
        size_t record;
        bool operator<(const shared_file& other) const;
        bool is_same_file(const shared_file& other) const;
    };
    void close_to(int depth);
    void count_once();
    void add_up();

    scratch_array<ombrel_tree_record_t, 16> records_; ///< names are filled in at the end
    scratch_array<char, 256> names_;                  ///< each ended by 0
    scratch_array<shared_file, 4> shared_;
    size_t open_ = 0; ///< the directory that the last record is in
};

} // namespace ombrel::system
