#include <ombrel/digest_list.h>

#include <algorithm>
#include <cstring>

#include <ombrel/digest.h>
#include <ombrel/heap.h>

#include "core/heap_ptr.h"

namespace {

// A carriage return may stand between the longest line and its line feed.
constexpr size_t line_room = def_ombrel_digest_list_line_max + 1;

} // namespace

struct ombrel_digest_list_ts {
    ombrel_digest_list_handler_t handler;
    void* context;
    size_t size; ///< bytes of the line so far
    bool is_too_long;
    char line[line_room + 1];
};

namespace {

using list_t = ombrel_digest_list_t;

constexpr char hex_digits[] = "0123456789abcdefABCDEF";
constexpr struct {
    const char *tag, *algorithm;
} tagged[] = {{"SHA256", "sha256"}, {"SHA1", "sha1"}, {"MD5", "md5"}};
constexpr char needing_escapes[] = "\\\n\r", escapes[] = "\\nr";

/// What a character is written for, from one text to the other; 0 for none.
char translate(char c, const char* from, const char* to) {
    const char* const found = c != '\0' ? strchr(from, c) : nullptr;
    return found != nullptr ? to[found - from] : '\0';
}

/// False for an escape that no list has.
bool remove_escapes(char* name) {
    char* to = name;
    for (; *name != '\0'; name++) {
        if (*name != '\\') {
            *to++ = *name;
            continue;
        }
        name++;
        *to = translate(*name, escapes, needing_escapes);
        if (*to++ == '\0')
            return false;
    }
    *to = '\0';
    return true;
}

// Both return where the text goes on.
char* put_text(char* to, const char* text) {
    const size_t size = strlen(text);
    memcpy(to, text, size);
    return to + size;
}

char* put_escaped(char* to, const char* name) {
    for (; *name != '\0'; name++) {
        const char escape = translate(*name, needing_escapes, escapes);
        if (escape != '\0')
            *to++ = '\\';
        *to++ = escape != '\0' ? escape : *name;
    }
    return to;
}

size_t count_escapes(const char* name) {
    size_t count = 0;
    for (; (name = strpbrk(name, needing_escapes)) != nullptr; name++)
        count++;
    return count;
}

void append(list_t& list, const char* data, size_t size) {
    const size_t taken = std::min(size, line_room - list.size);
    memcpy(list.line + list.size, data, taken);
    list.size += taken;
    list.is_too_long |= taken < size;
}

/// Null for what is no entry.
const ombrel_digest_entry_t* parse(list_t& list, ombrel_digest_entry_t& entry) {
    if (list.size > 0 && list.line[list.size - 1] == '\r')
        list.size--;
    if (list.is_too_long || list.size > def_ombrel_digest_list_line_max ||
        memchr(list.line, '\0', list.size) != nullptr)
        return nullptr;
    list.line[list.size] = '\0';
    return ombrel_parse_digest_line(list.line, &entry) == 0 ? &entry : nullptr;
}

void begin_line(list_t& list) {
    list.size = 0;
    list.is_too_long = false;
}

int end_line(list_t& list) {
    ombrel_digest_entry_t entry;
    const bool is_comment = list.size > 0 && list.line[0] == '#';
    const int result = is_comment ? 0 : list.handler(parse(list, entry), list.context);
    begin_line(list);
    return result;
}

} // namespace

ombrel_digest_list_t* ombrel_open_digest_list(ombrel_digest_list_handler_t handler, void* context) {
    list_t* const list =
        handler != nullptr ? ombrel::allocate_record<list_t>("ombrel_open_digest_list", __LINE__) : nullptr;
    if (list == nullptr)
        return nullptr;
    list->handler = handler;
    list->context = context;
    begin_line(*list);
    return list;
}

int ombrel_push_digest_list(ombrel_digest_list_t* list, const void* data, size_t size) {
    if (list == nullptr)
        return -1;
    if (data == nullptr)
        return list->size > 0 ? end_line(*list) : 0;
    auto* at = static_cast<const char*>(data);
    int result = 0;
    for (const char* const end = at + size; at != end && result == 0;) {
        const auto left = static_cast<size_t>(end - at);
        const auto* const feed = static_cast<const char*>(memchr(at, '\n', left));
        append(*list, at, feed != nullptr ? static_cast<size_t>(feed - at) : left);
        if (feed != nullptr)
            result = end_line(*list);
        at = feed != nullptr ? feed + 1 : end;
    }
    return result;
}

int ombrel_close_digest_list(ombrel_digest_list_t* list) {
    return ombrel_check_free_tag(list, "ombrel_close_digest_list", __LINE__);
}

namespace {

char* skip_spaces(char* at) {
    return at + strspn(at, " ");
}

/// Behind the tag and the parenthesis of a line with one, with the number of digits that it wants; else null.
char* skip_tag(char* text, size_t& digit_count) {
    for (const auto& one : tagged) {
        const size_t length = strlen(one.tag);
        if (strncmp(text, one.tag, length) != 0)
            continue;
        char* const open = skip_spaces(text + length);
        if (*open != '(')
            continue;
        digit_count = 2 * ombrel_find_digest_algorithm(one.algorithm)->m_size;
        return open + 1;
    }
    return nullptr;
}

/// The name of "TAG (name) = digits", or null. A name may have parentheses itself.
char* split_tagged(char* text, ombrel_digest_entry_t& entry) {
    size_t digit_count = 0;
    char* const name = skip_tag(text, digit_count);
    char* const close = name != nullptr ? strrchr(name, ')') : nullptr;
    if (close == nullptr || close == name)
        return nullptr;
    char* const sign = skip_spaces(close + 1);
    char* const digits = *sign == '=' ? skip_spaces(sign + 1) : sign;
    if (digits == sign || strlen(digits) != digit_count || strspn(digits, hex_digits) != digit_count)
        return nullptr;
    *close = '\0';
    entry = {digits, digit_count, name};
    return name;
}

/// The name of "digits  name", or null.
char* split_plain(char* digits, ombrel_digest_entry_t& entry) {
    char* const end = digits + strspn(digits, hex_digits);
    if (end == digits || end[0] != ' ' || (end[1] != ' ' && end[1] != '*') || end[2] == '\0')
        return nullptr;
    *end = '\0';
    entry = {digits, static_cast<size_t>(end - digits), end + 2};
    return end + 2;
}

} // namespace

int ombrel_parse_digest_line(char* line, ombrel_digest_entry_t* entry) {
    if (line == nullptr || entry == nullptr)
        return -1;
    const bool escaped = *line == '\\';
    char* const text = line + escaped;
    char* name = split_tagged(text, *entry);
    if (name == nullptr)
        name = split_plain(text, *entry);
    return name != nullptr && (!escaped || remove_escapes(name)) ? 0 : -1;
}

char* ombrel_alloc_digest_line(const char* digits, const char* name) {
    if (digits == nullptr || name == nullptr || *digits == '\0' || *name == '\0')
        return nullptr;
    const size_t escaped = count_escapes(name);
    auto* const line = static_cast<char*>(ombrel_alloc_tag(
        strlen(digits) + strlen(name) + escaped + sizeof "\\  ", "ombrel_alloc_digest_line", __LINE__));
    if (line == nullptr)
        return nullptr;
    char* const to = put_text(put_text(put_text(line, escaped > 0 ? "\\" : ""), digits), "  ");
    *put_escaped(to, name) = '\0';
    return line;
}
