#include "system/tree/tree_failures.h"

#include <ombrel/fault.h>

namespace ombrel::system {

void tree_failures::tell(const char* path) {
    const fault why = last_fault();
    if (count_++ == 0)
        first_ = why;
    if (handler_ != nullptr)
        broken_by_ = handler_(path, ombrel_last_fault(), context_);
    leave_fault(why);
    ends_ = broken_by_ != 0 || why.code == fault_code::no_memory;
}

int tree_failures::result() const {
    if (broken_by_ != 0)
        return broken_by_;
    if (count_ == 0)
        return 0;
    leave_fault(first_);
    return -1;
}

} // namespace ombrel::system
