// Walks over trees at the public interface.
#include <ombrel/directory.h>

#include <new>

#include "system/file/file_internal.h"
#include "system/tree/tree_walk.h"

using namespace ombrel;
using namespace ombrel::system;

struct ombrel_walk_ts {
    explicit ombrel_walk_ts(const ombrel_walk_options_t& options)
        : walk(options, tree_walk::ways::hidden, "ombrel_walk_next") {}

    tree_walk walk;
};

namespace {

using walk_t = ombrel_walk_t;

constexpr uint32_t all_flags = def_ombrel_walk_sorted | def_ombrel_walk_info | def_ombrel_walk_leave |
                               def_ombrel_walk_follow | def_ombrel_walk_one_device;

} // namespace

int ombrel_init_walk_options(ombrel_walk_options_t* options) {
    if (options == nullptr)
        return result_of(refuse(fault_code::invalid));
    *options = {0, -1, nullptr, nullptr, nullptr};
    return 0;
}

bool ombrel::system::take_walk_options(const char* path, const ombrel_walk_options_t* given,
                                       ombrel_walk_options_t& taken) {
    ombrel_init_walk_options(&taken);
    if (given != nullptr)
        taken = *given;
    return is_path(path) && has_only(taken.m_flags, all_flags);
}

ombrel_walk_t* ombrel_open_walk_tag(const char* path, const ombrel_walk_options_t* options,
                                    const char* function, unsigned long line) {
    ombrel_walk_options_t settings;
    if (!take_walk_options(path, options, settings))
        return nullptr;
    auto* const block = allocate_record<walk_t>(function, line);
    if (block == nullptr) {
        refuse(fault_code::no_memory);
        return nullptr;
    }
    auto* const opened = new (block) walk_t(settings);
    if (opened->walk.begin(path))
        return opened;
    ombrel_close_walk(opened);
    return nullptr;
}

int ombrel_walk_next(ombrel_walk_t* walk, ombrel_walk_entry_t* entry) {
    if (walk == nullptr || entry == nullptr)
        return result_of(refuse(fault_code::invalid));
    return walk->walk.next(*entry);
}

int ombrel_walk_skip(ombrel_walk_t* walk) {
    if (walk == nullptr)
        return result_of(refuse(fault_code::invalid));
    walk->walk.skip();
    return 0;
}

int ombrel_walk_open_file(ombrel_walk_t* walk) {
    return walk != nullptr ? walk->walk.open_file() : result_of(refuse(fault_code::invalid));
}

int64_t ombrel_walk_get_failures(const ombrel_walk_t* walk) {
    return walk != nullptr ? walk->walk.failures().count() : 0;
}

int ombrel_close_walk(ombrel_walk_t* walk) {
    if (walk == nullptr)
        return 0;
    const fault_keeper kept;
    const heap_ptr<walk_t> block(walk);
    walk->~walk_t();
    return 0;
}
