#include <ombrel/file_lock.h>

#include <ombrel/assert.h>

namespace {

// Locks on files are promised by name only; the report says so at run time.
int report_missing(const char* path, const char* function, unsigned long line) {
    if (path != nullptr)
        ombrel_assert_fail_tag("source/file_lock", function, line, "TODO");
    return -1;
}

} // namespace

int ombrel_file_lock_tag(const char* path) {
    return report_missing(path, "ombrel_file_lock_tag", 31);
}

int ombrel_file_unlock_tag(const char* path) {
    return report_missing(path, "ombrel_file_unlock_tag", 45);
}
