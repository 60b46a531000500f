// Failures inside a tree, which do not end the work on it.
#pragma once

#include <ombrel/directory.h>

#include "core/fault.h"

namespace ombrel::system {

/// Tells a handler of each and remembers the first.
class tree_failures {
public:
    tree_failures(ombrel_tree_failure_handler_t handler, void* context)
        : handler_(handler), context_(context) {}

    /// Tells of the last fault. Null is the path where memory has run out.
    void tell(const char* path);
    /// Whether the work is to end, because the handler wants it or memory has run out.
    bool end_work() const { return ends_; }

    int64_t count() const { return count_; }
    /// 0, what the handler gave to end the work, or -1 with the first fault left.
    int result() const;

private:
    ombrel_tree_failure_handler_t handler_;
    void* context_;
    int64_t count_ = 0;
    fault first_;
    int broken_by_ = 0;
    bool ends_ = false;
};

} // namespace ombrel::system
