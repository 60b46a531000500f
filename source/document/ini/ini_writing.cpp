#include "document/ini/ini_writing.h"

#include <algorithm>
#include <cstring>

namespace ombrel::document {

namespace {

enum class way { plain, quoted, lines };

constexpr std::string_view escaped = "\\\"\n\t\b", letters = "\\\"ntb";

bool put_escaped(std::string_view value, growing_text& to, call_site caller) {
    bool good = true;
    for (size_t at = 0; good && at < value.size(); at++) {
        const size_t which = escaped.find(value[at]);
        good = which == escaped.npos ? to.append(slice(value, at, 1), caller)
                                     : to.append("\\", caller) && to.append(slice(letters, which, 1), caller);
    }
    return good;
}

bool put_quoted(ini_dialect dialect, std::string_view value, growing_text& to, call_site caller) {
    const bool has_escapes = dialect.has(def_ombrel_ini_escapes);
    return to.append("\"", caller) &&
           (has_escapes ? put_escaped(value, to, caller) : to.append(value, caller)) &&
           to.append("\"", caller);
}

bool put_plain(ini_dialect dialect, std::string_view value, growing_text& to, call_site caller) {
    const bool has_escapes = dialect.has(def_ombrel_ini_quotes_within) && dialect.has(def_ombrel_ini_escapes);
    return has_escapes ? put_escaped(value, to, caller) : to.append(value, caller);
}

/// Over indented lines.
bool put_lines(const ini_frame& frame, std::string_view value, growing_text& to, call_site caller) {
    const std::string_view indent = slice(frame.before, 0, skip_ini_blanks(frame.before, 0));
    for (size_t at = 0, end; at <= value.size(); at = end + 1) {
        end = find_ini_line_end(value, at);
        const std::string_view line = slice(value, at, end - at);
        if (!to.append(line, caller))
            return false;
        if (end == value.size())
            break;
        const bool is_next_blank = end + 1 < value.size() && value[end + 1] == '\n';
        if (!to.append(frame.line_end, caller) ||
            (!is_next_blank && !(to.append(indent, caller) && to.append("    ", caller))))
            return false;
    }
    return true;
}

bool may_be(ini_dialect dialect, way which, std::string_view value) {
    switch (which) {
    case way::quoted:
        return dialect.has(def_ombrel_ini_quotes | def_ombrel_ini_quotes_within);
    case way::lines:
        return dialect.has(def_ombrel_ini_indented_lines) && value.find('\n') != value.npos;
    default:
        return true;
    }
}

/// Whether the lines are one, read alone.
bool is_one_line(ini_dialect dialect, std::string_view text) {
    ini_joiner joiner(dialect);
    for (size_t at = 0, end; at < text.size(); at = end) {
        end = std::min(text.size(), find_ini_line_end(text, at) + 1);
        if (joiner.take(slice(text, at, end - at)) != (at == 0 ? ini_joiner::begins : ini_joiner::goes_on))
            return false;
    }
    return !joiner.is_joined();
}

/// Joins the parts; what is the reader's to find is found as it will be.
int join(const ini_t& ini, std::initializer_list<std::string_view> parts, std::string_view head,
         ini_written& written) {
    growing_text whole;
    bool good = whole.append(head, ini.caller);
    written.text.clear();
    for (const std::string_view part : parts)
        good = good && written.text.append(part, ini.caller);
    good = good && whole.append(written.text.view(), ini.caller);
    if (!good)
        return def_ombrel_ini_fault_no_memory;
    if (whole.size() > ini.options.m_line_limit)
        return def_ombrel_ini_fault_line_limit;
    written.what = read_ini_line(ini.dialect, whole.view(), written.value, ini.caller);
    if (written.what.fault != def_ombrel_ini_fault_none)
        return written.what.fault;
    if (!is_one_line(ini.dialect, whole.view()) || written.what.head_size != head.size())
        return def_ombrel_ini_fault_unwritable_value;
    if (head.empty())
        return def_ombrel_ini_fault_none;
    written.value.clear();
    written.what = read_ini_key_line(ini.dialect, written.text.view(), written.value, ini.caller);
    return written.what.fault;
}

/// Joins the parts and says whether they make the key.
int join_key(const ini_t& ini, const ini_frame& frame, std::string_view key, std::string_view value,
             ini_written& written) {
    // What begins a comment needs white space before it.
    const bool is_tight = !frame.behind.empty() && ini.dialect.starts_comment(frame.behind.front());
    const int fault =
        join(ini, {frame.before, value, is_tight ? " " : "", frame.behind}, frame.head, written);
    if (fault == def_ombrel_ini_fault_no_memory || fault == def_ombrel_ini_fault_line_limit)
        return fault;
    const ini_line& what = written.what;
    const bool is_key =
        what.kind == ini_kind::key && slice(written.text.view(), what.key_at, what.key_size) == key;
    if (fault == def_ombrel_ini_fault_none && is_key)
        return fault;
    return fault != def_ombrel_ini_fault_none && fault != def_ombrel_ini_fault_key &&
                   fault != def_ombrel_ini_fault_no_key
               ? def_ombrel_ini_fault_unwritable_value
               : def_ombrel_ini_fault_unwritable_key;
}

} // namespace

int write_ini_key_as(const ini_t& ini, const ini_frame& frame, std::string_view key, std::string_view value,
                     ini_written& written) {
    const int fault = join_key(ini, frame, key, value, written);
    const std::string_view found = slice(written.text.view(), written.what.value_at, written.what.value_size);
    return fault == def_ombrel_ini_fault_none && (written.what.is_bare || found != value)
               ? def_ombrel_ini_fault_unwritable_value
               : fault;
}

int write_ini_key(const ini_t& ini, const ini_frame& frame, std::string_view key, const char* value,
                  ini_written& written) {
    if (value == nullptr) {
        const int fault = join_key(ini, frame, key, "", written);
        return fault == 0 && !written.what.is_bare ? def_ombrel_ini_fault_unwritable_value : fault;
    }
    const std::string_view wanted = value;
    int fault = def_ombrel_ini_fault_unwritable_value;
    const way first = frame.is_quoted ? way::quoted : way::plain;
    for (const way which : {first, way::plain, way::quoted, way::lines}) {
        growing_text text;
        if (!may_be(ini.dialect, which, wanted))
            continue;
        const bool good = which == way::plain    ? put_plain(ini.dialect, wanted, text, ini.caller)
                          : which == way::quoted ? put_quoted(ini.dialect, wanted, text, ini.caller)
                                                 : put_lines(frame, wanted, text, ini.caller);
        if (!good)
            return def_ombrel_ini_fault_no_memory;
        fault = write_ini_key_as(ini, frame, key, text.view(), written);
        if (fault == def_ombrel_ini_fault_none && written.value.view() == wanted)
            return fault;
        if (fault == def_ombrel_ini_fault_no_memory)
            return fault;
        fault = fault != def_ombrel_ini_fault_none ? fault : def_ombrel_ini_fault_unwritable_value;
    }
    return fault;
}

int write_ini_head(const ini_t& ini, std::string_view before, const ini_name& name, std::string_view behind,
                   ini_written& written) {
    growing_text text, wanted, found;
    ini_name again;
    if (!name.put_text(text, ini.caller))
        return def_ombrel_ini_fault_no_memory;
    const int fault = join(ini, {before, "[", text.view(), "]", behind}, "", written);
    if (fault == def_ombrel_ini_fault_no_memory || fault == def_ombrel_ini_fault_line_limit)
        return fault;
    if (fault != def_ombrel_ini_fault_none || written.what.kind != ini_kind::section ||
        written.what.head_size != 0)
        return def_ombrel_ini_fault_unwritable_section;
    const std::string_view inside = slice(written.text.view(), written.what.name_at, written.what.name_size);
    if (again.read(ini.dialect, inside, ini.caller) != 0 ||
        !name.put_identity(ini.dialect, wanted, ini.caller) ||
        !again.put_identity(ini.dialect, found, ini.caller))
        return def_ombrel_ini_fault_no_memory;
    return wanted.view() == found.view() ? def_ombrel_ini_fault_none
                                         : def_ombrel_ini_fault_unwritable_section;
}

bool put_ini_item(ini_dialect dialect, std::string_view item, bool is_quoted, growing_text& to,
                  call_site caller) {
    return is_quoted ? put_quoted(dialect, item, to, caller) : put_plain(dialect, item, to, caller);
}

} // namespace ombrel::document
