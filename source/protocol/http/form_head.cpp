#include <algorithm>
#include <cstring>

#include "protocol/http/extended_value.h"
#include "protocol/http/form_readers.h"
#include "protocol/http/http_character.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

using header_t = ombrel_http_form_header_t;

constexpr int none = def_ombrel_http_form_fault_none;

std::string_view text_of(const char* begin, const char* end) {
    return {begin, static_cast<size_t>(end - begin)};
}

/// Takes a line apart in its place: zeros end the name and the value. False for what is no field.
bool split_header(char* line, char* end, header_t& header) {
    char* const colon = std::find(line, end, ':');
    if (colon == end || !is_http_word(text_of(line, colon), http_token))
        return false;
    const std::string_view value = trim_http(text_of(colon + 1, end));
    if (!value.empty() && !is_http_word(value, http_value))
        return false;
    char* const value_begin = value.empty() ? end : line + (value.data() - line);
    value_begin[value.size()] = '\0';
    *colon = '\0';
    header = {line, value_begin};
    return true;
}

/// All lines of the head, each of which ends with CR LF.
int split_headers(form_part& part, call_site caller) {
    char* line = part.head.data();
    char* const end = line + part.head.size();
    const auto count = static_cast<size_t>(std::count(line, end, '\n'));
    part.headers.reset(
        static_cast<header_t*>(ombrel_alloc_tag(count * sizeof(header_t), caller.tag, caller.line)),
        caller.tag, caller.line);
    if (!part.headers)
        return def_ombrel_http_form_fault_memory;
    if (std::find(line, end, '\0') != end)
        return def_ombrel_http_form_fault_nul;
    for (size_t i = 0; i < count; i++) {
        char* const stop = std::find(line, end, '\r');
        if (!split_header(line, stop, part.headers.get()[i]))
            return def_ombrel_http_form_fault_head;
        line = stop + 2;
    }
    part.shown.m_headers = part.headers.get();
    part.shown.m_header_count = count;
    return none;
}

/// The value of the only field with a name; null when there is none. False when there are two.
bool find_header(const form_part& part, const char* name, const char*& value) {
    value = nullptr;
    for (size_t i = 0; i < part.shown.m_header_count; i++) {
        const header_t& each = part.shown.m_headers[i];
        if (ombrel_is_http_name(each.m_name, strlen(each.m_name), name) == 0)
            continue;
        if (value != nullptr)
            return false;
        value = each.m_value;
    }
    return true;
}

/// Copies what a value of a disposition means. Quotes and backslashes may have a backslash before them; any
/// other backslash stands for itself, as paths of Windows have it.
char* put_unquoted(char* to, std::string_view value) {
    for (size_t i = 0; i < value.size(); i++) {
        const bool is_escape =
            value[i] == '\\' && i + 1 < value.size() && (value[i + 1] == '"' || value[i + 1] == '\\');
        *to++ = value[is_escape ? ++i : i];
    }
    return to;
}

/// What a disposition says.
struct disposition {
    const char* name = nullptr;
    const char* file_name = nullptr;
    const char* extended_file_name = nullptr;

    /// False for a parameter that was there before, and one that cannot be read.
    bool take(const ombrel_http_parameter_t& parameter, char*& room) {
        const std::string_view key = view_of(parameter.m_name), value = view_of(parameter.m_value);
        const char** const which = is_http_word_like(key, "name")        ? &name
                                   : is_http_word_like(key, "filename")  ? &file_name
                                   : is_http_word_like(key, "filename*") ? &extended_file_name
                                                                         : nullptr;
        if (which == nullptr)
            return true;
        if (*which != nullptr)
            return false;
        *which = room;
        size_t size = 0;
        if (which != &extended_file_name)
            room = parameter.m_is_quoted == 1 ? put_unquoted(room, value) : put_text(room, value);
        else if (decode_extended_value(value, room, value.size(), size))
            room += size;
        else
            return false;
        *room++ = '\0';
        return true;
    }
};

/// Names are never longer than what they stand in.
int read_disposition(form_part& part, std::string_view value, size_t name_limit, call_site caller) {
    part.names.reset(static_cast<char*>(ombrel_alloc_tag(value.size() + 1, caller.tag, caller.line)),
                     caller.tag, caller.line);
    char* room = part.names.get();
    if (room == nullptr)
        return def_ombrel_http_form_fault_memory;
    const size_t end = std::min(value.find(';'), value.size());
    if (!is_http_word_like(trim_http(slice(value, 0, end)), "form-data"))
        return def_ombrel_http_form_fault_name;
    disposition found;
    ombrel_http_parameter_t parameter;
    size_t at = end;
    int step;
    while ((step = ombrel_next_http_parameter(value.data(), value.size(), ';', &at, &parameter)) == 1)
        if (!found.take(parameter, room))
            return def_ombrel_http_form_fault_name;
    if (step < 0 || found.name == nullptr)
        return def_ombrel_http_form_fault_name;
    part.shown.m_name = found.name;
    part.shown.m_file_name = found.file_name != nullptr ? found.file_name : found.extended_file_name;
    return strlen(found.name) > name_limit ? def_ombrel_http_form_fault_name_limit : none;
}

bool changes_nothing(const char* encoding) {
    const std::string_view word = encoding != nullptr ? encoding : "binary";
    return is_http_word_like(word, "binary") || is_http_word_like(word, "8bit") ||
           is_http_word_like(word, "7bit");
}

} // namespace

int read_form_head(form_part& part, size_t name_limit, call_site caller) {
    part.shown = {};
    if (part.head.size() == 0)
        return def_ombrel_http_form_fault_name;
    if (const int why = split_headers(part, caller); why != none)
        return why;
    const char *value, *encoding;
    if (!find_header(part, "Content-Disposition", value) || value == nullptr)
        return def_ombrel_http_form_fault_name;
    if (!find_header(part, "Content-Type", part.shown.m_content_type) ||
        !find_header(part, "Content-Transfer-Encoding", encoding))
        return def_ombrel_http_form_fault_head;
    if (!changes_nothing(encoding))
        return def_ombrel_http_form_fault_encoding;
    return read_disposition(part, value, name_limit, caller);
}

} // namespace ombrel::protocol
