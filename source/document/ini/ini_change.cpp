#include "document/ini/ini_change.h"

#include <algorithm>
#include <cstring>

#include "document/ini/ini_query.h"

using namespace ombrel;
using namespace ombrel::document;

namespace ombrel::document {

namespace {

bool is_head_before(const ini_item& item) {
    return item.m_prev != nullptr && is_part_of_line(*item.m_prev);
}

int write(const ini_t& ini, const ini_frame& frame, const ini_setting& setting, ini_written& written) {
    return setting.list != nullptr ? write_ini_key_as(ini, frame, setting.key, setting.list->view(), written)
                                   : write_ini_key(ini, frame, setting.key, setting.value, written);
}

/// Where the value of an item begins: behind the separator and a space, which it is given if need be.
int put_before_value(const ini_t& ini, const ini_item& item, bool is_bare, growing_text& to) {
    const std::string_view text = item.view();
    const size_t key_end = item.key_at + item.key_size;
    const bool had_value = !item.is_bare;
    const std::string_view before = slice(text, 0, had_value && !is_bare ? item.value_at : key_end);
    const bool is_tight = had_value && item.value_size == 0 && before.size() > key_end + 1 &&
                          is_ini_blank(before[key_end]) && !is_ini_blank(before.back());
    const std::string_view more = is_bare ? "" : !had_value ? " = " : is_tight ? " " : "";
    return to.append(before, ini.caller) && to.append(more, ini.caller) ? def_ombrel_ini_fault_none
                                                                        : def_ombrel_ini_fault_no_memory;
}

/// What stands behind the value of an item.
std::string_view text_behind_value(const ini_item& item) {
    const std::string_view text = item.view();
    if (item.is_joined)
        return ini_line_end_of(text);
    return slice(text, item.is_bare ? item.key_at + item.key_size : item.value_at + item.value_size);
}

/// Comments between the lines of a value get lines of their own behind it.
int keep_inner_comments(ini_t& ini, ini_edit& edit, ini_item& item) {
    const std::string_view value = item.written_value();
    if (ini.dialect.reads_characters())
        return def_ombrel_ini_fault_none;
    for (size_t at = find_ini_line_end(value, 0) + 1; at < value.size();) {
        const size_t end = std::min(value.size(), find_ini_line_end(value, at) + 1);
        const size_t start = skip_ini_blanks(value, at);
        ini_piece piece;
        piece.text = slice(value, at, end - at);
        piece.what.kind = ini_kind::comment;
        const bool is_comment = start < end && ini.dialect.starts_comment(value[start]);
        if (is_comment)
            if (const int reason = edit.insert(&item, piece, *item.section, nullptr); reason != 0)
                return reason;
        at = end;
    }
    return def_ombrel_ini_fault_none;
}

/// Behind which the value of a key is added: the last that it has of the document's own, or the section's
/// end.
ini_item* find_place(const ini_t& ini, const ini_section& section, const ini_group* group) {
    ini_item* last = group != nullptr ? group->values.last : nullptr;
    while (last != nullptr && last->is_included)
        last = last->m_before;
    return last != nullptr ? last : find_ini_key_place(ini, section);
}

/// Makes a line of a new key ready.
int prepare_key(ini_t& ini, ini_edit& edit, const ini_setting& setting, ini_section& section, ini_item* place,
                ini_written& written, ini_group*& group) {
    growing_text start;
    if (!put_ini_key_start(ini, place, setting.key, start))
        return def_ombrel_ini_fault_no_memory;
    // Behind a last line without an end there is none afterwards either.
    const bool is_at_open_end = place != nullptr && place->kind != ini_kind::mark && place->size > 0 &&
                                ini_line_end_of(place->view()).empty();
    const std::string_view line_end = ini_line_end_behind(ini, place);
    std::string_view before = start.view();
    if (setting.value == nullptr && setting.list == nullptr)
        before = slice(before, 0, skip_ini_blanks(before, 0) + strlen(setting.key));
    const ini_frame frame = {"", before, is_at_open_end ? "" : line_end, line_end};
    if (const int reason = write(ini, frame, setting, written); reason != 0)
        return reason;
    group = obtain_ini_group(ini, section, setting.key);
    return group != nullptr ? edit.insert(place, written.piece(), section, group)
                            : def_ombrel_ini_fault_no_memory;
}

/// Adds a key or one more value of it.
int add_key(ini_t& ini, const ini_setting& setting) {
    int reason;
    ini_section* section = find_ini_section(ini, setting.section, reason);
    if (section == nullptr && reason != def_ombrel_ini_fault_none)
        return refuse_ini(
            ini, reason == def_ombrel_ini_fault_no_memory ? reason : def_ombrel_ini_fault_unwritable_section);
    ini_edit edit(ini);
    ini_written written;
    ini_group* group = section != nullptr ? find_ini_group(ini, *section, setting.key, reason) : nullptr;
    if (reason != def_ombrel_ini_fault_none)
        return refuse_ini(ini, reason);
    const bool is_new = section == nullptr;
    ini_item* place = find_ini_end(ini);
    reason =
        is_new ? prepare_ini_head(ini, edit, setting.section, false, section) : def_ombrel_ini_fault_none;
    if (!is_new)
        place = find_place(ini, *section, group);
    if (reason == def_ombrel_ini_fault_none)
        reason = prepare_key(ini, edit, setting, *section, place, written, group);
    const int result = finish_ini_change(ini, edit, reason);
    const fault_keeper kept;
    drop_empty(ini, group);
    if (group == nullptr || result != 0)
        drop_empty(ini, is_new ? section : nullptr);
    return result;
}

/// Whether a value that is added will be the one that counts.
bool would_count(const ini_t& ini, const ini_group& group) {
    ini_item* const place = skip_included(ini, find_place(ini, *group.section, &group));
    const ini_item* const before = find_ini_member_before(ini, group.values, place);
    return ini.dialect.has(def_ombrel_ini_first_counts) ? before == nullptr : before == group.values.last;
}

} // namespace

bool may_change_ini(ini_t* ini, const char* key) {
    const bool may = ini != nullptr && ini->reader == nullptr && !ini->is_broken && key != nullptr;
    if (may)
        clear_ini_fault(*ini);
    else
        leave_fault(fault_code::invalid);
    return may;
}

ini_group* require_ini_group(ini_t& ini, const char* section, const char* key) {
    return look_up_ini(&ini, section, key);
}

int finish_ini_change(ini_t& ini, ini_edit& edit, int reason) {
    if (reason != def_ombrel_ini_fault_none)
        return refuse_ini(ini, reason);
    edit.commit();
    return 0;
}

int change_ini_value(ini_t& ini, ini_item& item, const ini_setting& setting) {
    if (item.is_included)
        return refuse_ini(ini, def_ombrel_ini_fault_included);
    ini_edit edit(ini);
    ini_written written;
    growing_text before;
    const bool is_bare = setting.value == nullptr && setting.list == nullptr;
    int reason = put_before_value(ini, item, is_bare, before);
    const std::string_view line_end = ini_line_end_behind(ini, &item);
    const ini_frame frame = {is_head_before(item) ? item.m_prev->view() : "", before.view(),
                             text_behind_value(item), line_end, item.is_quoted && setting.list == nullptr};
    const ini_setting own = {setting.section, item.key(), setting.value, setting.list};
    if (reason == 0)
        reason = write(ini, frame, own, written);
    if (reason == 0)
        reason = edit.replace(item, written.piece());
    if (reason == 0)
        reason = keep_inner_comments(ini, edit, item);
    return finish_ini_change(ini, edit, reason);
}

int set_ini_key(ini_t& ini, const ini_setting& setting) {
    ini_group* const group = require_ini_group(ini, setting.section, setting.key);
    if (group == nullptr && last_fault().code == fault_code::no_memory)
        return refuse_ini(ini, def_ombrel_ini_fault_no_memory);
    ini_item* const item = counting_ini_value(ini, group);
    if (item != nullptr && !item->is_included)
        return change_ini_value(ini, *item, setting);
    // A value that an included file would hide is not set.
    if (item != nullptr && !would_count(ini, *group))
        return refuse_ini(ini, def_ombrel_ini_fault_included);
    return add_key(ini, setting);
}

int prepare_ini_head_alone(ini_t& ini, ini_edit& edit, const ini_item& item) {
    if (!is_head_before(item))
        return def_ombrel_ini_fault_none;
    ini_item& head = *item.m_prev;
    growing_text text;
    const bool good = text.append(trim_ini_end(head.view()), ini.caller) &&
                      text.append(ini_line_end_of(item.view()), ini.caller);
    return good ? edit.replace(head, piece_of(head, text.view())) : def_ombrel_ini_fault_no_memory;
}

} // namespace ombrel::document

namespace {

int deny(ini_t& ini) {
    return refuse_ini(ini, def_ombrel_ini_fault_included);
}

/// Deletes values of a key, up to one that stays.
int delete_values(ini_t& ini, ini_item* first, const ini_item* behind) {
    ini_edit edit(ini);
    for (ini_item* item = first; item != behind; item = item->m_behind)
        if (const int reason = prepare_ini_head_alone(ini, edit, *item); reason != 0)
            return refuse_ini(ini, reason);
    edit.commit();
    for (ini_item *item = first, *next; item != behind; item = next) {
        next = item->m_behind;
        remove_ini_item(ini, *item);
    }
    return 0;
}

} // namespace

int ombrel_ini_set(ombrel_ini_t* ini, const char* section, const char* key, const char* value) {
    return may_change_ini(ini, key) ? set_ini_key(*ini, {section, key, value}) : -1;
}

int ombrel_ini_set_at(ombrel_ini_t* ini, const char* section, const char* key, int64_t index,
                      const char* value) {
    if (!may_change_ini(ini, key))
        return -1;
    ini_item* const item = find_ini_value_at(require_ini_group(*ini, section, key), index);
    return item != nullptr ? change_ini_value(*ini, *item, {section, key, value}) : -1;
}

int ombrel_ini_add(ombrel_ini_t* ini, const char* section, const char* key, const char* value) {
    if (!may_change_ini(ini, key))
        return -1;
    const ini_group* const group = look_up_ini(ini, section, key);
    if (group == nullptr && last_fault().code == fault_code::no_memory)
        return refuse_ini(*ini, def_ombrel_ini_fault_no_memory);
    if (group != nullptr && ini->dialect.has(def_ombrel_ini_single_keys)) {
        leave_fault(fault_code::exists);
        return -1;
    }
    return add_key(*ini, {section, key, value});
}

int64_t ombrel_ini_delete(ombrel_ini_t* ini, const char* section, const char* key) {
    if (!may_change_ini(ini, key))
        return -1;
    ini_group* const group = require_ini_group(*ini, section, key);
    if (group == nullptr)
        return -1;
    if (group->values.included > 0)
        return deny(*ini);
    const auto count = static_cast<int64_t>(group->values.count);
    return delete_values(*ini, group->values.first, nullptr) == 0 ? count : -1;
}

int ombrel_ini_delete_at(ombrel_ini_t* ini, const char* section, const char* key, int64_t index) {
    if (!may_change_ini(ini, key))
        return -1;
    ini_item* const item = find_ini_value_at(require_ini_group(*ini, section, key), index);
    if (item == nullptr)
        return -1;
    return item->is_included ? deny(*ini) : delete_values(*ini, item, item->m_behind);
}
