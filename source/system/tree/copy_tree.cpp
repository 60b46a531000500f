// Copies of trees at the public interface.
#include <ombrel/directory.h>

#include "system/file/file_internal.h"
#include "system/tree/entry_copy.h"
#include "system/tree/same_tree.h"
#include "system/tree/tree_copy.h"

using namespace ombrel;
using namespace ombrel::system;

namespace {

constexpr char tag[] = "ombrel_copy_tree";
constexpr uint32_t copy_flags = def_ombrel_file_no_replace | def_ombrel_file_keep_all;

bool copy_one(const char* from, const char* to, uint32_t flags) {
    return copy_entry({platform::by_path(), from}, {platform::by_path(), to}, flags);
}

} // namespace

int ombrel_copy_tree(const char* from, const char* to, uint32_t flags,
                     ombrel_tree_failure_handler_t on_failure, void* context) {
    tree_failures failures(on_failure, context);
    ombrel_file_info_t info;
    if (!is_path(from) || !is_path(to) || !has_only(flags, copy_flags))
        return -1;
    if (!platform::get_info_at(platform::by_path(), from, platform::at_link::stay, info))
        failures.tell(from);
    else if (info.m_kind != def_ombrel_file_kind_directory) {
        if (!copy_one(from, to, flags))
            failures.tell(from);
    } else if (!lies_outside(to, info))
        failures.tell(to);
    else
        tree_copy(flags, failures, tag).run(from, to);
    return failures.result();
}
