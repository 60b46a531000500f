#include "document/ini/ini_query.h"

using namespace ombrel;
using namespace ombrel::document;

namespace ombrel::document {

namespace {

template<typename T>
T* no_such(fault_code why) {
    leave_fault(why);
    return nullptr;
}

/// Why a name finds nothing: a caller's mistake is no violation.
fault_code fault_of_name(int reason) {
    return reason == def_ombrel_ini_fault_none        ? fault_code::not_found
           : reason == def_ombrel_ini_fault_no_memory ? fault_code::no_memory
                                                      : fault_code::invalid;
}

ini_section* look_up_section(const ini_t* ini, const char* section) {
    if (ini == nullptr)
        return no_such<ini_section>(fault_code::invalid);
    int reason;
    ini_section* const found = find_ini_section(*ini, section, reason);
    return found != nullptr ? found : no_such<ini_section>(fault_of_name(reason));
}

} // namespace

ini_group* look_up_ini(const ini_t* ini, const char* section, const char* key) {
    if (key == nullptr)
        return no_such<ini_group>(fault_code::invalid);
    const ini_section* const within = look_up_section(ini, section);
    if (within == nullptr)
        return nullptr;
    int reason;
    ini_group* const group = find_ini_group(*ini, *within, key, reason);
    return group != nullptr ? group : no_such<ini_group>(fault_of_name(reason));
}

const ini_item* look_up_ini_value(const ini_t* ini, const char* section, const char* key) {
    const ini_group* const group = look_up_ini(ini, section, key);
    return group != nullptr ? counting_ini_value(*ini, group) : nullptr;
}

ini_item* find_ini_value_at(const ini_group* group, int64_t index) {
    if (group == nullptr)
        return nullptr;
    if (index < 0 || static_cast<uint64_t>(index) >= group->values.count)
        return no_such<ini_item>(fault_code::not_found);
    ini_item* item = group->values.first;
    for (; index > 0; index--)
        item = item->m_behind;
    return item;
}

} // namespace ombrel::document

namespace {

/// An entry as it stands; false for what is told of in none.
bool tell(const ini_item& item, ombrel_ini_entry_t& entry) {
    constexpr int kinds[] = {0,
                             def_ombrel_ini_entry_section,
                             def_ombrel_ini_entry_key,
                             def_ombrel_ini_entry_comment,
                             def_ombrel_ini_entry_blank,
                             def_ombrel_ini_entry_malformed,
                             def_ombrel_ini_entry_include};
    const ini_section& section = *item.section;
    const bool is_key = item.kind == ini_kind::key;
    const bool has_value = (is_key && !item.is_bare) || item.kind == ini_kind::include;
    entry = {kinds[static_cast<int>(item.kind)],
             item.is_included ? 1 : 0,
             section.text.data(),
             section.name.data(),
             section.has_sub ? section.sub.data() : nullptr,
             is_key ? item.key() : nullptr,
             has_value ? item.value() : nullptr,
             item.text,
             item.size,
             item.line};
    return entry.m_kind != 0;
}

} // namespace

int ombrel_ini_has_section(const ombrel_ini_t* ini, const char* section) {
    if (look_up_section(ini, section) != nullptr)
        return 1;
    return last_fault().code == fault_code::not_found ? 0 : -1;
}

int64_t ombrel_ini_get_count(const ombrel_ini_t* ini, const char* section, const char* key) {
    const ini_group* const group = look_up_ini(ini, section, key);
    if (group != nullptr)
        return static_cast<int64_t>(group->values.count);
    return last_fault().code == fault_code::not_found ? 0 : -1;
}

const char* ombrel_ini_get(const ombrel_ini_t* ini, const char* section, const char* key) {
    const ini_item* const item = look_up_ini_value(ini, section, key);
    return item != nullptr ? item->value() : nullptr;
}

const char* ombrel_ini_get_at(const ombrel_ini_t* ini, const char* section, const char* key, int64_t index) {
    const ini_item* const item = find_ini_value_at(look_up_ini(ini, section, key), index);
    return item != nullptr ? item->value() : nullptr;
}

int ombrel_init_ini_walk(ombrel_ini_walk_t* walk, const ombrel_ini_t* ini, const char* section) {
    if (walk == nullptr || ini == nullptr) {
        leave_fault(fault_code::invalid);
        return -1;
    }
    const ini_section* const only = section != nullptr ? look_up_section(ini, section) : nullptr;
    if (section != nullptr && only == nullptr)
        return -1;
    const bool has_head = only != nullptr && only != &ini->global;
    *walk = {ini, has_head ? only->heads.first : ini->head, only, ini->version};
    return 0;
}

int ombrel_ini_walk_next(ombrel_ini_walk_t* walk, ombrel_ini_entry_t* entry) {
    if (walk == nullptr || entry == nullptr || walk->m_ini == nullptr) {
        leave_fault(fault_code::invalid);
        return -1;
    }
    if (walk->m_version != walk->m_ini->version) {
        leave_fault(fault_code::busy);
        return -1;
    }
    const auto* item = static_cast<const ini_item*>(walk->m_next);
    while (item != nullptr &&
           ((walk->m_only != nullptr && item->section != walk->m_only) || !tell(*item, *entry)))
        item = item->m_next;
    walk->m_next = item != nullptr ? item->m_next : nullptr;
    return item != nullptr ? 1 : 0;
}
