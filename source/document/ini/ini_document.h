// A document: its lines in order, its sections, its keys.
#pragma once

#include <ombrel/ini.h>

#include "core/fault.h"
#include "core/heap_ptr.h"
#include "document/ini/ini_index.h"
#include "document/ini/ini_line.h"
#include "document/ini/ini_name.h"

namespace ombrel::document {

struct ini_item;
class ini_reader;

/// The heads of a section or the values of a key, in the order of the document.
struct ini_chain {
    ini_item *first = nullptr, *last = nullptr;
    size_t count = 0, included = 0;

    bool has_own() const { return count > included; }
};

struct ini_section {
    ini_chain heads;
    ini_item* last = nullptr; ///< the head or key of its own behind which a key is added; null without
    uint64_t id = 0;
    size_t groups = 0;
    growing_text identity, text, name, sub;
    bool has_sub = false;
};

/// A key of a section, for which its values and its name stand: that of the section's number and the key.
struct ini_group {
    ini_chain values;
    ini_section* section = nullptr;
    growing_text identity;
};

/// A line with those that go on with it, or a part of one.
struct ini_item {
    ini_item *m_prev, *m_next;     ///< in the document
    ini_item *m_before, *m_behind; ///< in the chain
    ini_section* section;          ///< where it stands
    ini_group* group;              ///< of a key
    ini_kind kind;
    bool is_included, is_bare, is_quoted;
    bool is_joined; ///< what comes behind it would be part of it
    int64_t line;
    char* text; ///< a zero behind it, then the key and the value, each with one
    size_t size;
    size_t name_at, name_size; ///< of the head's section, between the brackets
    size_t key_at, key_size, value_at, value_size;

    std::string_view view() const { return {text, size}; }
    const char* key() const { return text + size + 1; }
    const char* value() const { return key() + key_size + 1; }
    std::string_view written_value() const { return {text + value_at, value_size}; }
    bool is_own_place() const { return !is_included && (kind == ini_kind::key || kind == ini_kind::section); }
};

} // namespace ombrel::document

struct ombrel_ini_ts {
    ombrel_ini_options_t options{};
    ombrel::document::ini_dialect dialect{};
    ombrel::call_site caller{};
    ombrel::document::ini_item *head = nullptr, *tail = nullptr;
    ombrel::document::ini_section global; ///< before the first head
    ombrel::document::ini_index<ombrel::document::ini_section> sections;
    ombrel::document::ini_index<ombrel::document::ini_group> groups;
    ombrel::document::ini_reader* reader = nullptr; ///< while it is read
    uint64_t next_id = 1;
    size_t size = 0, count = 0, included_size = 0, include_count = 0;
    uint64_t version = 0, stored_version = 0;
    bool is_broken = false; ///< a reading has failed
    ombrel_ini_fault_t fault = {def_ombrel_ini_fault_none, 0, 0, 0, ""};
    ombrel::growing_text fault_path;
};

namespace ombrel::document {

using ini_t = ombrel_ini_ts;

/// What a text to be added says, and where it comes from.
struct ini_piece {
    std::string_view text;
    ini_line what;
    std::string_view value;
    int64_t line = 0;
    bool is_included = false, is_joined = false;
};

/// Leaves the fault of a reason; gives -1.
int leave_ini_fault(int reason);

/// The same, for the document's record of it.
int refuse_ini(ini_t& ini, int reason);

/// Forgets the last reason.
void clear_ini_fault(ini_t& ini);

/// An item that is in no document yet; null when memory has run out.
ini_item* make_ini_item(const ini_t& ini, const ini_piece& piece);
void free_ini_item(ini_item* item);

/// The section of a name, the global one for an empty text. Null with the reason when there is none: none,
/// not as the dialect has it, no_memory.
ini_section* find_ini_section(const ini_t& ini, const char* text, int& reason);
/// That or a new one without heads.
ini_section* obtain_ini_section(ini_t& ini, const ini_name& name);
ini_group* find_ini_group(const ini_t& ini, const ini_section& section, std::string_view key, int& reason);
/// That or a new one without values.
ini_group* obtain_ini_group(ini_t& ini, ini_section& section, std::string_view key);
/// What a group is found by: the number of the section and the key.
bool put_ini_group_identity(const ini_t& ini, const ini_section& section, std::string_view key,
                            growing_text& to);
/// Gives a section its names. False when memory has run out.
bool name_ini_section(const ini_t& ini, ini_section& section, const ini_name& name);
/// Frees what has become empty.
void drop_empty(ini_t& ini, ini_section* section);
void drop_empty(ini_t& ini, ini_group* group);

/// Puts an item behind another one, at the front for null, and into its chain behind a member of that, at its
/// front for null.
void link_ini_item(ini_t& ini, ini_item& item, ini_item* behind, ini_item* member);
/// Takes it out and frees it, and its section and group if they become empty.
void remove_ini_item(ini_t& ini, ini_item& item);

/// The member of the chain that comes last before the place behind an item.
ini_item* find_ini_member_before(const ini_t& ini, const ini_chain& chain, ini_item* behind);

/// The value that counts; null without any.
ini_item* counting_ini_value(const ini_t& ini, const ini_group* group);

/// Frees all; settings and the fault stay.
void clear_ini(ini_t& ini);

inline ini_chain* chain_of(ini_item& item) {
    return item.kind == ini_kind::key       ? &item.group->values
           : item.kind == ini_kind::section ? &item.section->heads
                                            : nullptr;
}

} // namespace ombrel::document
