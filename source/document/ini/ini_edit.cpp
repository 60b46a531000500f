#include "document/ini/ini_edit.h"

#include <utility>

namespace ombrel::document {

namespace {

void swap_texts(ini_t& ini, ini_item& item, ini_item& other) {
    ini.size += other.size - item.size;
    std::swap(item.text, other.text);
    std::swap(item.size, other.size);
    item.is_bare = other.is_bare;
    item.is_quoted = other.is_quoted;
    item.is_joined = other.is_joined;
    item.name_at = other.name_at;
    item.name_size = other.name_size;
    item.key_at = other.key_at;
    item.key_size = other.key_size;
    item.value_at = other.value_at;
    item.value_size = other.value_size;
}

} // namespace

ini_piece piece_of(const ini_item& item, std::string_view text) {
    ini_line what;
    what.kind = item.kind;
    what.name_at = item.name_at;
    what.name_size = item.name_size;
    what.key_at = item.key_at;
    what.key_size = item.key_size;
    what.value_at = item.value_at;
    what.value_size = item.value_size;
    what.is_bare = item.is_bare;
    what.is_quoted = item.is_quoted;
    return {text, what, item.value(), item.line, item.is_included};
}

ini_edit::~ini_edit() {
    const fault_keeper kept;
    for (step* each = first_; each != nullptr;) {
        step* const next = each->next;
        if (each->made != nullptr)
            free_ini_item(each->made);
        ombrel_free(each);
        each = next;
    }
}

int ini_edit::check_limits(size_t lines, size_t more, size_t less) const {
    const size_t size = ini_.size + ini_.included_size + more_ + more - less_ - less;
    return size > ini_.options.m_size_limit                           ? def_ombrel_ini_fault_size_limit
           : ini_.count + lines_ + lines > ini_.options.m_count_limit ? def_ombrel_ini_fault_count_limit
                                                                      : def_ombrel_ini_fault_none;
}

int ini_edit::add(ini_item* target, ini_item* made, bool is_replacing) {
    auto* const added = allocate_record<step>(ini_.caller.tag, ini_.caller.line);
    if (added == nullptr) {
        free_ini_item(made);
        return def_ombrel_ini_fault_no_memory;
    }
    *added = {nullptr, target, made, is_replacing};
    (last_ != nullptr ? last_->next : first_) = added;
    last_ = added;
    return def_ombrel_ini_fault_none;
}

int ini_edit::replace(ini_item& item, const ini_piece& piece) {
    if (const int reason = check_limits(0, piece.text.size(), item.size); reason != 0)
        return reason;
    ini_item* const made = make_ini_item(ini_, piece);
    if (made == nullptr)
        return def_ombrel_ini_fault_no_memory;
    more_ += piece.text.size();
    less_ += item.size;
    return add(&item, made, true);
}

/// Gives an item, or what replaces it, the line end that it lacks.
int ini_edit::complete(ini_item& item) {
    step* replacing = first_;
    while (replacing != nullptr && !(replacing->is_replacing && replacing->target == &item))
        replacing = replacing->next;
    const ini_item& present = replacing != nullptr ? *replacing->made : item;
    growing_text text;
    if (!text.append(present.view(), ini_.caller) || !put_missing_line_end(ini_, item, present, text))
        return def_ombrel_ini_fault_no_memory;
    if (text.size() == present.size)
        return def_ombrel_ini_fault_none;
    if (replacing == nullptr)
        return replace(item, piece_of(item, text.view()));
    ini_item* const made = make_ini_item(ini_, piece_of(present, text.view()));
    if (made == nullptr)
        return def_ombrel_ini_fault_no_memory;
    free_ini_item(std::exchange(replacing->made, made));
    return def_ombrel_ini_fault_none;
}

int ini_edit::insert(ini_item* behind, const ini_piece& piece, ini_section& section, ini_group* group) {
    const bool is_first = last_ == nullptr || last_->is_replacing || last_->target != behind;
    if (const int reason = check_limits(1, piece.text.size(), 0); reason != 0)
        return reason;
    if (behind != nullptr && is_first)
        if (const int reason = complete(*behind); reason != 0)
            return reason;
    ini_item* const made = make_ini_item(ini_, piece);
    if (made == nullptr)
        return def_ombrel_ini_fault_no_memory;
    made->section = &section;
    made->group = group;
    lines_++;
    more_ += piece.text.size();
    return add(behind, made, false);
}

void ini_edit::commit() {
    ini_item *behind = nullptr, *place = nullptr;
    bool has_place = false;
    for (step* each = first_; each != nullptr; each = each->next) {
        ini_item& made = *each->made;
        if (each->is_replacing) {
            swap_texts(ini_, *each->target, made);
            continue;
        }
        if (!has_place || behind != each->target)
            place = skip_included(ini_, each->target);
        behind = each->target;
        has_place = true;
        ini_chain* const chain = chain_of(made);
        link_ini_item(ini_, made, place,
                      chain != nullptr ? find_ini_member_before(ini_, *chain, place) : nullptr);
        place = std::exchange(each->made, nullptr);
    }
    ini_.version++;
}

} // namespace ombrel::document
