// Sections that are added and deleted; names that are changed.
#include <cstring>

#include "document/ini/ini_change.h"
#include "document/ini/ini_query.h"

using namespace ombrel;
using namespace ombrel::document;

namespace ombrel::document {

namespace {

int refuse(fault_code why) {
    leave_fault(why);
    return -1;
}

ini_section* look_up_own(ini_t& ini, const char* name) {
    int reason;
    ini_section* const section = find_ini_section(ini, name, reason);
    if (section != nullptr)
        return section;
    leave_fault(reason == 0                                ? fault_code::not_found
                : reason == def_ombrel_ini_fault_no_memory ? fault_code::no_memory
                                                           : fault_code::invalid);
    return nullptr;
}

/// The first of the comments that stand directly before an item; the item without any.
ini_item* find_attached(ini_item& item) {
    ini_item* first = &item;
    for (ini_item* at = previous_own(item); at != nullptr && at->kind == ini_kind::comment;
         at = previous_own(*at))
        first = at;
    return first;
}

/// Where what belongs to a head ends: before the comments of the next head.
ini_item* find_section_end(ini_item& head) {
    ini_item* at = next_own(head);
    while (at != nullptr && at->kind != ini_kind::section)
        at = next_own(*at);
    return at != nullptr ? find_attached(*at) : nullptr;
}

/// Whether what follows would go on with a value that stands before, once all between is gone.
bool would_swallow(const ini_t& ini, const ini_item& first, const ini_item* behind) {
    if (!ini.dialect.has(def_ombrel_ini_indented_lines))
        return false;
    const auto is_trivial = [](const ini_item& item) {
        return item.kind == ini_kind::blank || item.kind == ini_kind::comment;
    };
    while (behind != nullptr && is_trivial(*behind))
        behind = next_own(*behind);
    const ini_item* before = previous_own(first);
    while (before != nullptr && is_trivial(*before))
        before = previous_own(*before);
    return behind != nullptr && before != nullptr && before->kind == ini_kind::key &&
           skip_ini_blanks(behind->view(), 0) > skip_ini_blanks(before->view(), 0);
}

/// From the last to the first, as lines belong to the section of the head before them.
void remove_items(ini_t& ini, ini_item& first, ini_item* behind) {
    ini_item* const before = previous_own(first);
    ini_section* const heir = before != nullptr ? before->section : &ini.global;
    for (ini_item* kept = behind; kept != nullptr && kept->kind == ini_kind::comment; kept = next_own(*kept))
        kept->section = heir;
    ini_item* item = behind != nullptr ? previous_own(*behind) : find_ini_end(ini);
    while (item != before) {
        ini_item* const next = previous_own(*item);
        remove_ini_item(ini, *item);
        item = next;
    }
}

int delete_heads(ini_t& ini, ini_section& section) {
    for (ini_item* head = section.heads.first; head != nullptr; head = head->m_behind)
        if (would_swallow(ini, *find_attached(*head), find_section_end(*head)))
            return refuse_ini(ini, def_ombrel_ini_fault_unwritable_section);
    // The section goes with its last head.
    for (size_t count = section.heads.count; count > 0; count--) {
        // NOLINTNEXTLINE(clang-analyzer-core.NullDereference): as many as were counted
        ini_item& head = *section.heads.first;
        remove_items(ini, *find_attached(head), find_section_end(head));
    }
    ini.version++;
    return 0;
}

bool is_global_key(const ini_t& ini, const ini_item& item) {
    return item.kind == ini_kind::key && item.section == &ini.global;
}

/// All or none of them.
int delete_global_keys(ini_t& ini) {
    for (const ini_item* item = ini.head; item != nullptr; item = item->m_next)
        if (item->is_included && is_global_key(ini, *item))
            return refuse_ini(ini, def_ombrel_ini_fault_included);
    for (ini_item *item = ini.head, *next; item != nullptr; item = next) {
        next = item->m_next;
        if (is_global_key(ini, *item))
            remove_ini_item(ini, *item);
    }
    ini.version++;
    return 0;
}

/// Makes the new name of a value ready.
int prepare_name(ini_t& ini, ini_edit& edit, ini_item& item, const char* key) {
    const std::string_view text = item.view();
    ini_written written;
    const bool is_beside = item.m_prev != nullptr && is_part_of_line(*item.m_prev);
    growing_text before;
    const size_t key_end = item.key_at + item.key_size, value_at = item.is_bare ? key_end : item.value_at;
    if (!before.append(slice(text, 0, item.key_at), ini.caller) || !before.append(key, ini.caller) ||
        !before.append(slice(text, key_end, value_at - key_end), ini.caller))
        return def_ombrel_ini_fault_no_memory;
    const ini_frame frame = {is_beside ? item.m_prev->view() : "", before.view(),
                             slice(text, value_at + item.value_size), ""};
    const int reason = item.is_bare ? write_ini_key(ini, frame, key, nullptr, written)
                                    : write_ini_key_as(ini, frame, key, item.written_value(), written);
    return reason == 0 ? edit.replace(item, written.piece()) : reason;
}

/// Gives what an index finds another name. False when memory has run out.
template<typename T>
bool rekey(ini_index<T>& index, T& thing, growing_text&& identity, call_site caller) {
    if (identity.view() == thing.identity.view())
        return true;
    if (!index.add(identity.view(), &thing, caller))
        return false;
    index.remove(thing.identity.view());
    thing.identity = std::move(identity);
    return true;
}

int rename_key(ini_t& ini, ini_group& group, const char* new_key) {
    ini_edit edit(ini);
    growing_text identity;
    int reason = def_ombrel_ini_fault_none;
    for (ini_item* item = group.values.first; item != nullptr && reason == 0; item = item->m_behind)
        reason = prepare_name(ini, edit, *item, new_key);
    if (reason == 0 && (!put_ini_group_identity(ini, *group.section, new_key, identity) ||
                        !rekey(ini.groups, group, std::move(identity), ini.caller)))
        reason = def_ombrel_ini_fault_no_memory;
    return finish_ini_change(ini, edit, reason);
}

int prepare_section_name(ini_t& ini, ini_edit& edit, ini_item& head, const ini_name& name) {
    const std::string_view text = head.view();
    ini_written written;
    const size_t end = head.name_at + head.name_size;
    const int reason =
        write_ini_head(ini, slice(text, 0, head.name_at - 1), name, slice(text, end + 1), written);
    return reason == 0 ? edit.replace(head, written.piece()) : reason;
}

int rename_section(ini_t& ini, ini_section& section, const ini_name& name) {
    ini_edit edit(ini);
    ini_section named;
    int reason = def_ombrel_ini_fault_none;
    for (ini_item* head = section.heads.first; head != nullptr && reason == 0; head = head->m_behind)
        reason = prepare_section_name(ini, edit, *head, name);
    if (reason == 0 && (!name_ini_section(ini, named, name) ||
                        !rekey(ini.sections, section, std::move(named.identity), ini.caller)))
        reason = def_ombrel_ini_fault_no_memory;
    if (reason == 0) {
        section.text = std::move(named.text);
        section.name = std::move(named.name);
        section.sub = std::move(named.sub);
        section.has_sub = named.has_sub;
    }
    return finish_ini_change(ini, edit, reason);
}

bool is_global(const char* section) {
    return section == nullptr || *section == '\0';
}

} // namespace

} // namespace ombrel::document

int ombrel_ini_rename(ombrel_ini_t* ini, const char* section, const char* key, const char* new_key) {
    if (!may_change_ini(ini, key) || !may_change_ini(ini, new_key))
        return -1;
    ini_group* const group = require_ini_group(*ini, section, key);
    if (group == nullptr)
        return -1;
    const ini_group* const other = look_up_ini(ini, section, new_key);
    if (other != nullptr && other != group)
        return refuse(fault_code::exists);
    if (other == nullptr && last_fault().code == fault_code::no_memory)
        return refuse_ini(*ini, def_ombrel_ini_fault_no_memory);
    return group->values.included > 0 ? refuse_ini(*ini, def_ombrel_ini_fault_included)
                                      : rename_key(*ini, *group, new_key);
}

int ombrel_ini_add_section(ombrel_ini_t* ini, const char* section) {
    if (!may_change_ini(ini, is_global(section) ? nullptr : section))
        return -1;
    int reason;
    if (find_ini_section(*ini, section, reason) != nullptr)
        return refuse(fault_code::exists);
    if (reason == def_ombrel_ini_fault_no_memory)
        return refuse_ini(*ini, reason);
    ini_section* added = nullptr;
    ini_edit edit(*ini);
    const int result = finish_ini_change(*ini, edit, prepare_ini_head(*ini, edit, section, true, added));
    const fault_keeper kept;
    drop_empty(*ini, added);
    return result;
}

int ombrel_ini_delete_section(ombrel_ini_t* ini, const char* section) {
    if (!may_change_ini(ini, ""))
        return -1;
    ini_section* const found = look_up_own(*ini, section);
    if (found == nullptr)
        return -1;
    if (found == &ini->global)
        return delete_global_keys(*ini);
    return found->heads.included > 0 ? refuse_ini(*ini, def_ombrel_ini_fault_included)
                                     : delete_heads(*ini, *found);
}

int ombrel_ini_rename_section(ombrel_ini_t* ini, const char* section, const char* new_section) {
    if (!may_change_ini(ini, is_global(section) || is_global(new_section) ? nullptr : section))
        return -1;
    ini_section* const found = look_up_own(*ini, section);
    if (found == nullptr)
        return -1;
    ini_name name;
    if (const int fault = name.read(ini->dialect, new_section, ini->caller); fault != 0)
        return refuse_ini(
            *ini, fault == def_ombrel_ini_fault_no_memory ? fault : def_ombrel_ini_fault_unwritable_section);
    int reason;
    const ini_section* const other = find_ini_section(*ini, new_section, reason);
    if (other != nullptr && other != found)
        return refuse(fault_code::exists);
    if (reason == def_ombrel_ini_fault_no_memory)
        return refuse_ini(*ini, reason);
    return found->heads.included > 0 ? refuse_ini(*ini, def_ombrel_ini_fault_included)
                                     : rename_section(*ini, *found, name);
}

int64_t ombrel_format_ini_section(char* buf, size_t size, const char* name, const char* sub_section) {
    if (name == nullptr || sub_section == nullptr || (buf == nullptr && size > 0))
        return refuse(fault_code::invalid);
    size_t count = 0;
    const auto put = [&](char c) {
        if (count + 1 < size)
            buf[count] = c;
        count++;
    };
    for (const char* at = name; *at != '\0'; at++)
        put(*at);
    put(' ');
    put('"');
    for (const char* at = sub_section; *at != '\0'; at++) {
        if (*at == '"' || *at == '\\')
            put('\\');
        put(*at);
    }
    put('"');
    if (size > 0)
        buf[std::min(count, size - 1)] = '\0';
    return static_cast<int64_t>(count);
}
