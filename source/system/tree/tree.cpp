// Trees as records.
#include <ombrel/directory.h>

#include <cstring>

#include "platform/path.h"
#include "system/file/file_internal.h"
#include "system/file/path_parts.h"
#include "system/tree/tree_records.h"
#include "system/tree/tree_walk.h"

using namespace ombrel;
using namespace ombrel::system;

namespace {

/// Null, with the fault left.
ombrel_tree_t* read_tree(const char* path, const ombrel_walk_options_t& options, call_site caller) {
    tree_walk walk(options, tree_walk::ways::given, caller.tag);
    tree_records records(caller.tag);
    ombrel_walk_entry_t entry;
    if (!walk.begin(path))
        return nullptr;
    int result;
    while ((result = walk.next(entry)) == 1) {
        if (!records.add(entry))
            return nullptr;
    }
    return result == 0 ? records.pack(walk.failures().count(), caller) : nullptr;
}

/// Writes the path backwards from its end and gives its beginning.
char* put_path(char* end, const ombrel_tree_t& tree, size_t index) {
    for (;; index = tree.m_records[index].m_parent) {
        const std::string_view name(tree.m_records[index].m_name);
        end -= name.size();
        memcpy(end, name.data(), name.size());
        if (index == 0)
            return end;
        const std::string_view above(tree.m_records[tree.m_records[index].m_parent].m_name);
        if (!is_path_separator(above.back()))
            *--end = '/';
    }
}

size_t path_room(const ombrel_tree_t& tree, size_t index) {
    size_t room = 1;
    for (;; index = tree.m_records[index].m_parent) {
        room += strlen(tree.m_records[index].m_name) + 1;
        if (index == 0)
            return room;
    }
}

} // namespace

ombrel_tree_t* ombrel_alloc_tree_tag(const char* path, const ombrel_walk_options_t* options,
                                     const char* function, unsigned long line) {
    ombrel_walk_options_t settings;
    if (!take_walk_options(path, options, settings))
        return nullptr;
    settings.m_flags = (settings.m_flags | def_ombrel_walk_info) & ~def_ombrel_walk_leave;
    return read_tree(path, settings, {function, line});
}

char* ombrel_alloc_tree_path_tag(const ombrel_tree_t* tree, size_t index, const char* function,
                                 unsigned long line) {
    if (tree == nullptr || index >= tree->m_count) {
        refuse(fault_code::invalid);
        return nullptr;
    }
    const size_t room = path_room(*tree, index);
    char* const text = allocate_text(room, {function, line});
    if (text == nullptr)
        return nullptr;
    text[room - 1] = '\0';
    char* const begin = put_path(text + room - 1, *tree, index);
    memmove(text, begin, static_cast<size_t>(text + room - begin));
    return text;
}
