#include "document/ini/ini_document.h"

#include <cstring>
#include <new>

#include "core/node_list.h"

namespace ombrel::document {

namespace {

auto items_of(ini_t& ini) {
    return node_list<ini_item>(ini.head, &ini.tail);
}

auto members_of(ini_chain& chain) {
    return node_list<ini_item, &ini_item::m_before, &ini_item::m_behind>(chain.first, &chain.last);
}

template<typename T>
T* allocate(call_site caller) {
    void* const block = ombrel_alloc_tag(sizeof(T), caller.tag, caller.line);
    return block != nullptr ? new (block) T() : nullptr;
}

template<typename T>
void free_object(T* object) {
    object->~T();
    ombrel_free(object);
}

/// The texts of an item in one block.
char* make_block(const ini_t& ini, const ini_piece& piece) {
    const std::string_view key = slice(piece.text, piece.what.key_at, piece.what.key_size);
    auto* const block = static_cast<char*>(ombrel_alloc_tag(
        piece.text.size() + key.size() + piece.value.size() + 3, ini.caller.tag, ini.caller.line));
    if (block == nullptr)
        return nullptr;
    char* to = block;
    for (const std::string_view part : {piece.text, key, piece.value}) {
        to = put_text(to, part);
        *to++ = '\0';
    }
    return block;
}

void take_shape(ini_item& item, const ini_piece& piece, char* block) {
    item.text = block;
    item.size = piece.text.size();
    item.is_bare = piece.what.is_bare;
    item.is_quoted = piece.what.is_quoted;
    item.is_joined = piece.is_joined;
    item.name_at = piece.what.name_at;
    item.name_size = piece.what.name_size;
    item.key_at = piece.what.key_at;
    item.key_size = piece.what.key_size;
    item.value_at = piece.what.value_at;
    item.value_size = piece.what.value_size;
}

/// Where a key is added once this item is gone.
ini_item* find_earlier_place(const ini_item& item) {
    for (ini_item* at = item.m_prev; at != nullptr; at = at->m_prev)
        if (at->is_own_place())
            return at->section == item.section ? at : nullptr;
    return nullptr;
}

/// The last head of the section's own with the keys behind it, when there is none before.
ini_item* find_last_place(const ini_section& section) {
    ini_item* head = section.heads.last;
    while (head != nullptr && head->is_included)
        head = head->m_before;
    ini_item* last = head;
    for (ini_item* at = head; at != nullptr; at = at->m_next)
        if (at->is_own_place() && at != head) {
            if (at->kind == ini_kind::section)
                break;
            last = at;
        }
    return last;
}

void free_items(ini_t& ini) {
    for (ini_item* item = ini.head; item != nullptr;) {
        ini_item* const next = item->m_next;
        if (ini_chain* const chain = chain_of(*item); chain != nullptr && --chain->count == 0) {
            if (item->group != nullptr)
                free_object(item->group);
            else
                free_object(item->section);
        }
        free_ini_item(item);
        item = next;
    }
}

} // namespace

bool put_ini_group_identity(const ini_t& ini, const ini_section& section, std::string_view key,
                            growing_text& to) {
    return to.append({reinterpret_cast<const char*>(&section.id), sizeof section.id}, ini.caller) &&
           put_ini_key_identity(ini.dialect, key, to, ini.caller);
}

bool name_ini_section(const ini_t& ini, ini_section& section, const ini_name& name) {
    section.has_sub = name.has_sub;
    return name.put_identity(ini.dialect, section.identity, ini.caller) &&
           name.put_text(section.text, ini.caller) && section.name.append(name.name, ini.caller) &&
           section.sub.be_text(ini.caller) && section.sub.append(name.sub.view(), ini.caller);
}

ini_item* make_ini_item(const ini_t& ini, const ini_piece& piece) {
    heap_ptr<char> block(make_block(ini, piece));
    if (!block)
        return nullptr;
    auto* const item = allocate<ini_item>(ini.caller);
    if (item == nullptr)
        return nullptr;
    item->kind = piece.what.kind;
    item->is_included = piece.is_included;
    item->line = piece.line;
    take_shape(*item, piece, block.release());
    return item;
}

void free_ini_item(ini_item* item) {
    ombrel_free(item->text);
    free_object(item);
}

ini_section* find_ini_section(const ini_t& ini, const char* text, int& reason) {
    reason = def_ombrel_ini_fault_none;
    if (text == nullptr || *text == '\0')
        return const_cast<ini_section*>(&ini.global);
    ini_name name;
    growing_text identity;
    reason = name.read(ini.dialect, text, ini.caller);
    if (reason != def_ombrel_ini_fault_none)
        return nullptr;
    if (!name.put_identity(ini.dialect, identity, ini.caller)) {
        reason = def_ombrel_ini_fault_no_memory;
        return nullptr;
    }
    return ini.sections.find(identity.view());
}

ini_section* obtain_ini_section(ini_t& ini, const ini_name& name) {
    growing_text identity;
    if (!name.put_identity(ini.dialect, identity, ini.caller))
        return nullptr;
    if (ini_section* const found = ini.sections.find(identity.view()))
        return found;
    auto* const section = allocate<ini_section>(ini.caller);
    if (section == nullptr)
        return nullptr;
    section->id = ini.next_id++;
    if (name_ini_section(ini, *section, name) &&
        ini.sections.add(section->identity.view(), section, ini.caller))
        return section;
    free_object(section);
    return nullptr;
}

ini_group* find_ini_group(const ini_t& ini, const ini_section& section, std::string_view key, int& reason) {
    growing_text identity;
    const bool good = put_ini_group_identity(ini, section, key, identity);
    reason = good ? def_ombrel_ini_fault_none : def_ombrel_ini_fault_no_memory;
    return good ? ini.groups.find(identity.view()) : nullptr;
}

ini_group* obtain_ini_group(ini_t& ini, ini_section& section, std::string_view key) {
    int reason;
    ini_group* group = find_ini_group(ini, section, key, reason);
    if (group != nullptr || reason != def_ombrel_ini_fault_none)
        return group;
    group = allocate<ini_group>(ini.caller);
    if (group == nullptr)
        return nullptr;
    group->section = &section;
    if (put_ini_group_identity(ini, section, key, group->identity) &&
        ini.groups.add(group->identity.view(), group, ini.caller)) {
        section.groups++;
        return group;
    }
    free_object(group);
    return nullptr;
}

void drop_empty(ini_t& ini, ini_section* section) {
    if (section == nullptr || section == &ini.global || section->heads.count > 0 || section->groups > 0)
        return;
    ini.sections.remove(section->identity.view());
    free_object(section);
}

void drop_empty(ini_t& ini, ini_group* group) {
    if (group == nullptr || group->values.count > 0)
        return;
    group->section->groups--;
    ini.groups.remove(group->identity.view());
    free_object(group);
}

void link_ini_item(ini_t& ini, ini_item& item, ini_item* behind, ini_item* member) {
    if (behind != nullptr)
        items_of(ini).insert_behind(*behind, item);
    else
        items_of(ini).prepend(item);
    if (ini_chain* const chain = chain_of(item)) {
        if (member != nullptr)
            members_of(*chain).insert_behind(*member, item);
        else
            members_of(*chain).prepend(item);
        chain->count++;
        chain->included += item.is_included ? 1 : 0;
    }
    ini.count++;
    (item.is_included ? ini.included_size : ini.size) += item.size;
    // NOLINTNEXTLINE(clang-analyzer-core.NullDereference): each has a section
    ini_item*& last = item.section->last;
    if (item.is_own_place() &&
        (item.m_next == nullptr || last == nullptr || find_earlier_place(item) == last))
        last = &item;
}

void remove_ini_item(ini_t& ini, ini_item& item) {
    ini_section* const section = item.section;
    ini_group* const group = item.group;
    const bool was_last = section->last == &item;
    if (was_last)
        section->last = find_earlier_place(item);
    if (ini_chain* const chain = chain_of(item)) {
        members_of(*chain).unlink(item);
        chain->count--;
        chain->included -= item.is_included ? 1 : 0;
    }
    items_of(ini).unlink(item);
    ini.count--;
    (item.is_included ? ini.included_size : ini.size) -= item.size;
    if (was_last && section->last == nullptr)
        section->last = find_last_place(*section);
    free_ini_item(&item);
    drop_empty(ini, group);
    drop_empty(ini, section);
}

ini_item* find_ini_member_before(const ini_t& ini, const ini_chain& chain, ini_item* behind) {
    if (chain.count == 0 || behind == ini.tail)
        return chain.last;
    for (ini_item* at = behind; at != nullptr; at = at->m_prev)
        if (chain_of(*at) == &chain)
            return at;
    return nullptr;
}

ini_item* counting_ini_value(const ini_t& ini, const ini_group* group) {
    if (group == nullptr)
        return nullptr;
    return ini.dialect.has(def_ombrel_ini_first_counts) ? group->values.first : group->values.last;
}

void clear_ini(ini_t& ini) {
    ini.sections.clear();
    ini.groups.clear();
    free_items(ini);
    ini.head = ini.tail = nullptr;
    ini.global.last = nullptr;
    ini.global.groups = 0;
    ini.size = ini.count = ini.included_size = ini.include_count = 0;
    ini.stored_version = ++ini.version;
}

} // namespace ombrel::document
