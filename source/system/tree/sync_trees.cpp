// Two trees at the public interface.
#include <ombrel/directory.h>

#include "system/file/file_internal.h"
#include "system/tree/same_tree.h"
#include "system/tree/tree_sync.h"

using namespace ombrel;
using namespace ombrel::system;

namespace {

constexpr uint32_t all_flags = def_ombrel_sync_content | def_ombrel_sync_delete | def_ombrel_sync_dry_run;

ombrel_sync_options_t settings_of(const ombrel_sync_options_t* options) {
    ombrel_sync_options_t settings;
    ombrel_init_sync_options(&settings);
    return options != nullptr ? *options : settings;
}

int run(const tree_sync::task& task, const char* from, const char* to, const char* tag) {
    tree_failures failures(task.options.m_on_failure, task.options.m_failure_context);
    const int broken_by = tree_sync(task, failures, tag).run(from, to);
    return broken_by != 0 ? broken_by : failures.result();
}

/// What is not there has nothing in it. False, with the fault left.
bool is_outside(const char* path, const char* directory) {
    ombrel_file_info_t info;
    return !platform::get_file_info(directory, platform::at_link::follow, info) || lies_outside(path, info);
}

} // namespace

int ombrel_init_sync_options(ombrel_sync_options_t* options) {
    if (options == nullptr)
        return result_of(refuse(fault_code::invalid));
    *options = {0, nullptr, nullptr, nullptr};
    return 0;
}

int ombrel_compare_trees(const char* from, const char* to, const ombrel_sync_options_t* options,
                         ombrel_tree_difference_handler_t handler, void* context) {
    const ombrel_sync_options_t settings = settings_of(options);
    if (!is_path(from) || !is_path(to) || !has_only(settings.m_flags, all_flags))
        return -1;
    if (handler == nullptr)
        return result_of(refuse(fault_code::invalid));
    return run({settings, false, true, handler, context}, from, to, "ombrel_compare_trees");
}

int ombrel_sync_trees(const char* from, const char* to, const ombrel_sync_options_t* options,
                      ombrel_tree_difference_handler_t handler, void* context) {
    const ombrel_sync_options_t settings = settings_of(options);
    if (!is_path(from) || !is_path(to) || !has_only(settings.m_flags, all_flags))
        return -1;
    if (!is_outside(to, from) || !is_outside(from, to))
        return -1;
    const bool changes = !has(settings.m_flags, def_ombrel_sync_dry_run);
    const bool deletes = has(settings.m_flags, def_ombrel_sync_delete);
    return run({settings, changes, deletes, handler, context}, from, to, "ombrel_sync_trees");
}
