// Lists in values.
#include <ombrel/ini.h>

#include <cstring>

#include "document/ini/ini_change.h"
#include "document/ini/ini_query.h"
#include "document/ini/ini_value_text.h"

using namespace ombrel;
using namespace ombrel::document;

namespace {

/// What a list is read from: the value with its quotes.
std::string_view list_text(const ini_t& ini, const ini_item& item) {
    if (item.is_bare)
        return {};
    const bool is_written = ini.dialect.reads_characters() || item.is_quoted;
    return is_written ? item.written_value() : std::string_view(item.value());
}

/// The items of one value, a zero behind each; false when memory has run out.
bool put_items(ini_dialect dialect, std::string_view list, growing_text& to, size_t& count,
               call_site caller) {
    while (!list.empty()) {
        const std::string_view text = take_ini_item(dialect, list);
        if (text.empty())
            continue;
        growing_text item;
        if (read_ini_item(dialect, text, item, caller) == def_ombrel_ini_fault_no_memory ||
            !to.append(item.view(), caller) || !to.append({"", 1}, caller))
            return false;
        count++;
    }
    return true;
}

/// Pointers and, behind them, the texts that they point to.
char** make_list(const growing_text& items, size_t count, call_site caller) {
    const size_t head = (count + 1) * sizeof(char*);
    auto* const list = static_cast<char**>(ombrel_alloc_tag(head + items.size(), caller.tag, caller.line));
    if (list == nullptr)
        return nullptr;
    char* text = reinterpret_cast<char*>(list) + head;
    put_text(text, items.view());
    for (size_t i = 0; i < count; i++, text += strlen(text) + 1)
        list[i] = text;
    list[count] = nullptr;
    return list;
}

bool put_list(ini_dialect dialect, const char* const* items, size_t count, bool is_quoted, growing_text& to,
              call_site caller) {
    const bool has_quotes = dialect.has(def_ombrel_ini_quotes | def_ombrel_ini_quotes_within);
    bool good = to.be_text(caller);
    for (size_t i = 0; good && i < count; i++) {
        const std::string_view item = items[i];
        const bool must = has_quotes && (item.empty() || item.find_first_of(",\n\"") != item.npos ||
                                         is_ini_blank(item.front()) || is_ini_blank(item.back()));
        good =
            (i == 0 || to.append(", ", caller)) && put_ini_item(dialect, item, is_quoted || must, to, caller);
    }
    return good;
}

/// Whether the list that is written is read as these items: why not, if it is not.
int compare_list(ini_dialect dialect, std::string_view list, const char* const* items, size_t count,
                 call_site caller) {
    growing_text found;
    size_t found_count = 0;
    if (!put_items(dialect, list, found, found_count, caller))
        return def_ombrel_ini_fault_no_memory;
    if (found_count != count)
        return def_ombrel_ini_fault_unwritable_value;
    const char* at = found.data();
    for (size_t i = 0; i < count; at += strlen(at) + 1, i++)
        if (strcmp(at, items[i]) != 0)
            return def_ombrel_ini_fault_unwritable_value;
    return def_ombrel_ini_fault_none;
}

bool are_items(const char* const* items, size_t count) {
    for (size_t i = 0; i < count; i++)
        if (items == nullptr || items[i] == nullptr)
            return false;
    return true;
}

/// All values of a key but the one that counts, which go when that is set.
class ini_others {
public:
    ini_others(ini_t& ini, ini_group* group)
        : ini_(ini), group_(group), kept_(counting_ini_value(ini, group)), heads_(ini) {}

    /// Gives the reason when it fails.
    int prepare() {
        int reason = def_ombrel_ini_fault_none;
        for (const ini_item* item = first(); item != nullptr && reason == 0; item = item->m_behind)
            if (item != kept_)
                reason = prepare_ini_head_alone(ini_, heads_, *item);
        return reason;
    }
    int remove() {
        heads_.commit();
        for (ini_item *item = first(), *next; item != nullptr; item = next) {
            next = item->m_behind;
            if (item != kept_)
                remove_ini_item(ini_, *item);
        }
        return 0;
    }

private:
    ini_item* first() const { return group_ != nullptr ? group_->values.first : nullptr; }

    ini_t& ini_;
    ini_group* group_;
    ini_item* kept_;
    ini_edit heads_;
};

} // namespace

char** ombrel_alloc_ini_list_tag(const ombrel_ini_t* ini, const char* section, const char* key, size_t* count,
                                 const char* function, unsigned long line) {
    const ini_group* const group = look_up_ini(ini, section, key);
    if (group == nullptr)
        return nullptr;
    growing_text items;
    size_t found = 0;
    char** list = nullptr;
    bool good = true;
    for (const ini_item* item = group->values.first; good && item != nullptr; item = item->m_behind)
        good = put_items(ini->dialect, list_text(*ini, *item), items, found, {function, line});
    if (good)
        list = make_list(items, found, {function, line});
    if (list == nullptr)
        leave_fault(fault_code::no_memory);
    else if (count != nullptr)
        *count = found;
    return list;
}

int ombrel_ini_set_list(ombrel_ini_t* ini, const char* section, const char* key, const char* const* items,
                        size_t count) {
    if (!are_items(items, count) || !may_change_ini(ini, key)) {
        leave_fault(fault_code::invalid);
        return -1;
    }
    ini_group* const group = require_ini_group(*ini, section, key);
    if (group == nullptr && last_fault().code == fault_code::no_memory)
        return refuse_ini(*ini, def_ombrel_ini_fault_no_memory);
    if (group != nullptr && group->values.included > 0)
        return refuse_ini(*ini, def_ombrel_ini_fault_included);
    ini_others others(*ini, group);
    int reason = others.prepare();
    if (reason != def_ombrel_ini_fault_none)
        return refuse_ini(*ini, reason);
    for (const bool is_quoted : {false, true}) {
        clear_ini_fault(*ini); // as the first attempt may have been refused
        growing_text list;
        reason = put_list(ini->dialect, items, count, is_quoted, list, ini->caller)
                     ? compare_list(ini->dialect, list.view(), items, count, ini->caller)
                     : def_ombrel_ini_fault_no_memory;
        if (reason == def_ombrel_ini_fault_none && set_ini_key(*ini, {section, key, nullptr, &list}) == 0)
            return others.remove();
        reason = ini->fault.m_reason != def_ombrel_ini_fault_none ? ini->fault.m_reason : reason;
        if (reason == def_ombrel_ini_fault_no_memory)
            break;
    }
    return refuse_ini(*ini, reason);
}
