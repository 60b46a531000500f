#include "document/ini/ini_reader.h"

#include <algorithm>

#include <ombrel/file.h>

#include "core/file_blocks.h"
#include "system/file/file_internal.h"
#include "system/file/path_parts.h"

namespace ombrel::document {

namespace {

/// Of UTF-16 and, in one of its orders, UTF-32.
bool has_wide_mark(std::string_view text) {
    return starts_with(text, "\xFF\xFE") || starts_with(text, "\xFE\xFF");
}

constexpr bool begins_character(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
}

bool is_absolute(std::string_view path) {
    constexpr bool has_drives = platform::has_drives;
    return system::is_path_separator(path[0]) || (has_drives && path.size() > 1 && path[1] == ':');
}

/// A path as the file that names it means it.
bool put_included_path(growing_text& to, const char* includer, std::string_view path, call_site caller) {
    const std::string_view folder = is_absolute(path) ? "" : system::folder_part(includer);
    return to.append(folder, caller) && to.append(path, caller);
}

} // namespace

/// @param at bytes behind the beginning of what is held
bool ini_reader::refuse(int reason, size_t at) {
    const std::string_view before = slice(held_.view(), 0, at);
    const std::string_view in_line = slice(before, before.rfind('\n') + 1);
    ini_.fault_path.clear();
    const bool has_path = ini_.fault_path.append(source_.path, ini_.caller);
    ini_.fault = {reason, line_ + 1 + std::count(before.begin(), before.end(), '\n'),
                  1 + std::count_if(in_line.begin(), in_line.end(), begins_character),
                  offset_ + static_cast<int64_t>(at), has_path ? ini_.fault_path.data() : ""};
    leave_ini_fault(reason);
    return false;
}

bool ini_reader::push(std::string_view bytes) {
    const size_t limit = ini_.options.m_size_limit;
    while (!bytes.empty()) {
        const size_t end = bytes.find('\n');
        const size_t taken = end != bytes.npos ? end + 1 : bytes.size();
        if (taken > limit - std::min(limit, ini_.size + ini_.included_size + held_.size()))
            return refuse(def_ombrel_ini_fault_size_limit, held_.size());
        if (!held_.append(slice(bytes, 0, taken), ini_.caller))
            return refuse(def_ombrel_ini_fault_no_memory, held_.size());
        if (held_.size() - whole_ > ini_.options.m_line_limit)
            return refuse(def_ombrel_ini_fault_line_limit, whole_);
        if (end != bytes.npos && !take_line())
            return false;
        bytes.remove_prefix(taken);
    }
    return true;
}

bool ini_reader::end() {
    return (held_.size() == whole_ || take_line()) && settle();
}

void ini_reader::drop_front(size_t size) {
    const std::string_view gone = slice(held_.view(), 0, size);
    line_ += std::count(gone.begin(), gone.end(), '\n');
    offset_ += static_cast<int64_t>(size);
    held_.drop_front(size);
}

/// A line is whole: what is held behind the whole ones.
bool ini_reader::take_line() {
    if (!has_begun_ && !take_mark())
        return false;
    if (held_.size() == whole_)
        return true;
    const ini_joiner::role role = joiner_.take(slice(held_.view(), whole_));
    if (role == ini_joiner::begins && !settle())
        return false;
    whole_ = held_.size();
    if (role != ini_joiner::open)
        sure_ = whole_;
    return sure_ <= ini_.options.m_line_limit || refuse(def_ombrel_ini_fault_line_limit, 0);
}

bool ini_reader::take_mark() {
    has_begun_ = true;
    if (has_wide_mark(held_.view()))
        return refuse(def_ombrel_ini_fault_encoding, 0);
    if (!starts_with(held_.view(), ini_byte_order_mark))
        return true;
    ini_piece mark;
    mark.text = ini_byte_order_mark;
    mark.what.kind = ini_kind::mark;
    mark.is_included = source_.depth > 0;
    if (!add(mark, section_, nullptr, 0))
        return false;
    drop_front(ini_byte_order_mark.size());
    return true;
}

/// Adds the whole lines to the document.
bool ini_reader::settle() {
    int64_t line = line_ + 1;
    for (size_t at = 0, size = sure_; at < whole_; at += size) {
        if (at > 0)
            size = find_ini_line_end(slice(held_.view(), 0, whole_), at) + 1 - at;
        size = std::min(size, whole_ - at);
        if (!take_item(at, size, line, at + size == whole_ && joiner_.is_joined()))
            return false;
        const std::string_view text = slice(held_.view(), at, size);
        line += std::count(text.begin(), text.end(), '\n');
    }
    drop_front(whole_);
    sure_ = whole_ = 0;
    return true;
}

bool ini_reader::take_item(size_t at, size_t size, int64_t line, bool is_joined) {
    ini_piece piece;
    piece.text = slice(held_.view(), at, size);
    piece.line = line;
    piece.is_included = source_.depth > 0;
    piece.is_joined = is_joined;
    piece.what = read_ini_line(ini_.dialect, piece.text, value_, ini_.caller);
    const int fault = piece.what.fault;
    if (fault == def_ombrel_ini_fault_no_memory ||
        (fault != def_ombrel_ini_fault_none && !ini_.dialect.has(def_ombrel_ini_keep_malformed)))
        return refuse(fault, at + piece.what.fault_at);
    if (piece.what.kind == ini_kind::section)
        return take_head(piece, at);
    if (piece.what.kind == ini_kind::key)
        return take_key(piece, at);
    const bool is_include = piece.what.kind == ini_kind::include;
    if (is_include)
        piece.value = slice(piece.text, piece.what.value_at, piece.what.value_size);
    return add(piece, section_, nullptr, at) && (!is_include || include(piece.value, at));
}

/// Also of a line that has a key behind the head.
bool ini_reader::take_head(ini_piece& piece, size_t at) {
    const std::string_view text = piece.text;
    ini_name name;
    ini_section* const section =
        name.read(ini_.dialect, slice(text, piece.what.name_at, piece.what.name_size), ini_.caller) == 0
            ? obtain_ini_section(ini_, name)
            : nullptr;
    if (section == nullptr)
        return refuse(def_ombrel_ini_fault_no_memory, at);
    if (section->heads.count > 0 && ini_.dialect.has(def_ombrel_ini_single_sections))
        return refuse(def_ombrel_ini_fault_same_section, at + piece.what.name_at);
    const size_t head_size = piece.what.head_size;
    if (head_size > 0)
        piece.text = slice(text, 0, head_size);
    const bool is_joined = std::exchange(piece.is_joined, false);
    if (!add(piece, section, nullptr, at)) {
        const fault_keeper kept;
        drop_empty(ini_, section);
        return false;
    }
    section_ = section;
    if (head_size == 0)
        return true;
    piece.text = slice(text, head_size);
    piece.is_joined = is_joined;
    value_.clear();
    piece.what = read_ini_key_line(ini_.dialect, piece.text, value_, ini_.caller);
    return piece.what.fault == 0 ? take_key(piece, at + head_size)
                                 : refuse(piece.what.fault, at + head_size + piece.what.fault_at);
}

bool ini_reader::take_key(ini_piece& piece, size_t at) {
    const std::string_view key = slice(piece.text, piece.what.key_at, piece.what.key_size);
    ini_group* const group = obtain_ini_group(ini_, *section_, key);
    if (group == nullptr)
        return refuse(def_ombrel_ini_fault_no_memory, at);
    if (group->values.count > 0 && ini_.dialect.has(def_ombrel_ini_single_keys))
        return refuse(def_ombrel_ini_fault_same_key, at + piece.what.key_at);
    piece.value = piece.what.is_bare ? std::string_view("", 0) : value_.view();
    if (!add(piece, section_, group, at)) {
        const fault_keeper kept;
        drop_empty(ini_, group);
        return false;
    }
    return piece.what.is_bare || !includes_files(*section_, key) || include(piece.value, at);
}

/// At the document's end.
bool ini_reader::add(const ini_piece& piece, ini_section* section, ini_group* group, size_t at) {
    if (ini_.count >= ini_.options.m_count_limit)
        return refuse(def_ombrel_ini_fault_count_limit, at);
    ini_item* const item = make_ini_item(ini_, piece);
    if (item == nullptr)
        return refuse(def_ombrel_ini_fault_no_memory, at);
    item->section = section;
    item->group = group;
    ini_chain* const chain = chain_of(*item);
    link_ini_item(ini_, *item, ini_.tail, chain != nullptr ? chain->last : nullptr);
    return true;
}

bool ini_reader::includes_files(const ini_section& section, std::string_view key) const {
    if (!ini_.dialect.has(def_ombrel_ini_include_keys))
        return false;
    growing_text identity;
    return section.identity.view() == "include" &&
           put_ini_key_identity(ini_.dialect, key, identity, ini_.caller) && identity.view() == "path";
}

bool ini_reader::is_being_read(const char* path) const {
    ombrel_file_info_t info, other;
    if (ombrel_get_file_info(path, 0, &info) != 0)
        return false;
    for (const ini_source* each = &source_; each != nullptr; each = each->includer)
        if (*each->path != '\0' && ombrel_get_file_info(each->path, 0, &other) == 0 &&
            system::is_same_file(info, other))
            return true;
    return false;
}

bool ini_reader::include(std::string_view path, size_t at) {
    growing_text file;
    if (!put_included_path(file, source_.path, path, ini_.caller))
        return refuse(def_ombrel_ini_fault_no_memory, at);
    if (source_.depth >= ini_.options.m_include_depth_limit)
        return refuse(def_ombrel_ini_fault_include_depth, at);
    if (ini_.include_count >= ini_.options.m_include_count_limit)
        return refuse(def_ombrel_ini_fault_include_count, at);
    if (is_being_read(file.data()))
        return refuse(def_ombrel_ini_fault_include_circle, at);
    const int kind = path.empty() ? def_ombrel_file_kind_other : ombrel_get_file_kind(file.data(), 0);
    if (kind == def_ombrel_file_kind_none && ini_.dialect.has(def_ombrel_ini_include_optional))
        return true;
    // Another kind of file may never end, or never begin.
    if (kind >= 0 && kind != def_ombrel_file_kind_regular)
        leave_fault(kind == def_ombrel_file_kind_none ? fault_code::not_found : fault_code::not_supported);
    ini_.include_count++;
    if (kind == def_ombrel_file_kind_regular &&
        read_ini_file(ini_, {file.data(), source_.depth + 1, &source_}))
        return true;
    return ini_.fault.m_reason == 0 ? refuse(def_ombrel_ini_fault_include_file, at) : false;
}

bool read_ini_file(ini_t& ini, const ini_source& source) {
    ini_reader reader(ini, source);
    leave_fault({});
    const platform::file_reader file(source.path);
    bool is_accepted = true;
    return file.is_open() &&
           read_in_blocks(file.descriptor(), ini.caller.tag,
                          [&](const char* bytes, size_t size) {
                              is_accepted = reader.push({bytes, size});
                              return is_accepted;
                          }) &&
           is_accepted && reader.end();
}

} // namespace ombrel::document
