#include "document/ini/ini_name.h"

#include "text/fold.h"

namespace ombrel::document {

namespace {

bool put_folded(std::string_view text, bool any_case, growing_text& to, call_site caller) {
    const size_t before = to.size();
    if (!to.append(text, caller))
        return false;
    for (size_t i = before; any_case && i < to.size(); i++)
        to.data()[i] = static_cast<char>(to_lower(static_cast<unsigned char>(to.data()[i])));
    return true;
}

bool is_letter(char c) {
    const auto lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'z';
}

/// The text of a sub-section behind its opening quote, which has to end with the closing one.
int read_quoted_sub(std::string_view text, growing_text& sub, call_site caller) {
    for (size_t at = 0; at < text.size(); at++) {
        if (text[at] == '"')
            return at + 1 == text.size() ? def_ombrel_ini_fault_none : def_ombrel_ini_fault_section;
        if (text[at] == '\\' && ++at == text.size())
            break;
        if (!sub.append(slice(text, at, 1), caller))
            return def_ombrel_ini_fault_no_memory;
    }
    return def_ombrel_ini_fault_section;
}

} // namespace

int ini_name::read(ini_dialect dialect, std::string_view text, call_site caller) {
    if (text.find('\n') != text.npos)
        return def_ombrel_ini_fault_section;
    text = name = trim_ini(text);
    has_sub = false;
    sub.clear();
    if (!sub.be_text(caller))
        return def_ombrel_ini_fault_no_memory;
    if (text.empty())
        return def_ombrel_ini_fault_no_section;
    int reason = def_ombrel_ini_fault_none;
    if (!dialect.has(def_ombrel_ini_sub_sections)) {
        if (text.find(']') != text.npos)
            return def_ombrel_ini_fault_section;
    } else if (const size_t quote = text.find('"'); quote != text.npos) {
        if (quote == 0 || !is_ini_blank(text[quote - 1]))
            return def_ombrel_ini_fault_section;
        name = trim_ini(slice(text, 0, quote));
        has_sub = true;
        reason = read_quoted_sub(slice(text, quote + 1), sub, caller);
    } else if (const size_t dot = text.find('.'); dot != text.npos) {
        name = slice(text, 0, dot);
        has_sub = true;
        if (!put_folded(slice(text, dot + 1), true, sub, caller))
            return def_ombrel_ini_fault_no_memory;
        reason = sub.size() > 0 ? def_ombrel_ini_fault_none : def_ombrel_ini_fault_section;
    }
    if (dialect.has(def_ombrel_ini_plain_names) && find_odd_ini_character(name, true) < name.size())
        return def_ombrel_ini_fault_section;
    return reason == def_ombrel_ini_fault_none && name.empty() ? def_ombrel_ini_fault_no_section : reason;
}

bool ini_name::put_identity(ini_dialect dialect, growing_text& to, call_site caller) const {
    if (!put_folded(name, dialect.has(def_ombrel_ini_section_any_case), to, caller))
        return false;
    // A name has no zero byte.
    return !has_sub || (to.append({"", 1}, caller) && to.append(sub.view(), caller));
}

bool put_ini_sub_section(std::string_view sub, growing_text& to, call_site caller) {
    bool good = to.append("\"", caller);
    for (size_t at = 0; good && at < sub.size(); at++)
        good = (!(sub[at] == '"' || sub[at] == '\\') || to.append("\\", caller)) &&
               to.append(slice(sub, at, 1), caller);
    return good && to.append("\"", caller);
}

bool ini_name::put_text(growing_text& to, call_site caller) const {
    return to.append(name, caller) &&
           (!has_sub || (to.append(" ", caller) && put_ini_sub_section(sub.view(), to, caller)));
}

size_t find_ini_head_end(ini_dialect dialect, std::string_view text, size_t at) {
    bool is_quoted = false;
    for (; at < text.size() && text[at] != '\n'; at++)
        if (text[at] == ']' && !is_quoted)
            return at;
        else if (!dialect.has(def_ombrel_ini_sub_sections))
            continue;
        else if (text[at] == '"')
            is_quoted = !is_quoted;
        else if (text[at] == '\\' && is_quoted && at + 1 < text.size() && text[at + 1] != '\n')
            at++;
    return text.npos;
}

bool put_ini_key_identity(ini_dialect dialect, std::string_view key, growing_text& to, call_site caller) {
    return put_folded(key, dialect.has(def_ombrel_ini_key_any_case), to, caller);
}

size_t find_odd_ini_character(std::string_view name, bool with_dots) {
    for (size_t at = 0; at < name.size(); at++)
        if (const char c = name[at]; !is_letter(c)) {
            const bool may_follow = (c >= '0' && c <= '9') || c == '-' || (with_dots && c == '.');
            if (!may_follow || (at == 0 && !with_dots))
                return at;
        }
    return name.size();
}

} // namespace ombrel::document
