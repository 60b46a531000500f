#include <ombrel/replace_string.h>

#include <cstdint>
#include <cstring>
#include <string_view>

#include <ombrel/assert.h>
#include <ombrel/heap.h>
#include <ombrel/string.h>

namespace {

struct replacement {
    replacement(const char* old_string, const char* new_string)
        : old_text(ombrel_check_string(old_string)), new_text(ombrel_check_string(new_string)) {}

    const char* find(const char* s) const { return old_text.empty() ? nullptr : strstr(s, old_text.data()); }

    size_t count(const char* s) const {
        size_t found = 0;
        while ((s = find(s)) != nullptr) {
            s += old_text.size();
            found++;
        }
        return found;
    }

    std::string_view old_text;
    std::string_view new_text;
};

char* append(char* to, std::string_view text) {
    if (!text.empty())
        memcpy(to, text.data(), text.size());
    return to + text.size();
}

// Serves in place too: the output never overtakes the input when the new text is not the longer one.
// Without an occurrence nothing is written in place, so that the string may be a constant.
void replace_into(char* to, const char* from, const replacement& change) {
    while (const char* found = change.find(from)) {
        const auto kept = static_cast<size_t>(found - from);
        if (to != from)
            memmove(to, from, kept);
        to = append(to + kept, change.new_text);
        from = found + change.old_text.size();
    }
    if (to != from)
        memmove(to, from, strlen(from) + 1);
}

// Bytes of the result with its terminator; 0 when they cannot be counted.
size_t replaced_size(size_t length, size_t count, const replacement& change) {
    const size_t old_size = change.old_text.size();
    const size_t new_size = change.new_text.size();
    if (new_size <= old_size)
        return length - (old_size - new_size) * count + 1;
    const size_t growth = new_size - old_size;
    return count <= (SIZE_MAX - length - 1) / growth ? length + growth * count + 1 : 0;
}

char* replaced_copy(const char* s, const replacement& change, size_t count, const char* caller,
                    unsigned long line) {
    const size_t size = replaced_size(strlen(s), count, change);
    char* result = size != 0 ? static_cast<char*>(ombrel_alloc_tag(size, caller, line)) : nullptr;
    if (result != nullptr)
        replace_into(result, s, change);
    return result;
}

// The original is given up only for a result.
char* exchange_string(char* s, char* result, const char* caller, unsigned long line) {
    if (result == nullptr)
        return s;
    ombrel_free_tag(s, caller, line);
    return result;
}

// What the fixed order of the five replacements makes of a character. "&" is replaced after "<" and ">", so
// those two are meant to come out escaped twice.
std::string_view xml_entity(char c) {
    switch (c) {
    case '<':
        return "&amp;lt;";
    case '>':
        return "&amp;gt;";
    case '&':
        return "&amp;";
    case '\'':
        return "&apos;";
    case '"':
        return "&quot;";
    default:
        return {};
    }
}

constexpr const char xml_special[] = "<>&'\"";

// Bytes that escaping adds; SIZE_MAX when the result would be too large to count.
size_t xml_growth(const char* s) {
    size_t growth = 0;
    while (*(s += strcspn(s, xml_special)) != '\0') {
        const size_t more = xml_entity(*s++).size() - 1;
        if (growth > SIZE_MAX / 2 - more)
            return SIZE_MAX;
        growth += more;
    }
    return growth;
}

char* xml_escaped_copy(const char* s, size_t growth, const char* caller, unsigned long line) {
    const size_t length = strlen(s);
    if (growth > SIZE_MAX - length - 1)
        return nullptr;
    char* result = static_cast<char*>(ombrel_alloc_tag(length + growth + 1, caller, line));
    if (result == nullptr)
        return nullptr;
    char* to = result;
    while (true) {
        const size_t plain = strcspn(s, xml_special);
        to = append(to, {s, plain});
        s += plain;
        if (*s == '\0')
            break;
        to = append(to, xml_entity(*s++));
    }
    *to = '\0';
    return result;
}

} // namespace

char* ombrel_replace_all_string(char* s, const char* old_string, const char* new_string) {
    const replacement change(old_string, new_string);
    if (s == nullptr || change.old_text.empty())
        return s;
    if (change.new_text.size() > change.old_text.size())
        ombrel_assert_fail_tag("replace_string", "__ombrel_replace_all_string", 50,
                               "MUST BE ::: strlen(new_string) <= strlen(old_string) !");
    else
        replace_into(s, s, change);
    return s;
}

char* ombrel_replace_all_string_alloc_tag(const char* s, const char* old_string, const char* new_string,
                                          const char* caller, unsigned long line) {
    if (s == nullptr)
        return nullptr;
    const replacement change(old_string, new_string);
    return replaced_copy(s, change, change.count(s), caller, line);
}

char* ombrel_replace_all_string_realloc_tag(char* s, const char* old_string, const char* new_string,
                                            const char* caller, unsigned long line) {
    if (s == nullptr)
        return nullptr;
    const replacement change(old_string, new_string);
    const size_t count = change.count(s);
    if (count == 0)
        return s;
    return exchange_string(s, replaced_copy(s, change, count, caller, line), caller, line);
}

char* ombrel_replace_to_xml_entity_reference_alloc_tag(const char* s, const char* caller,
                                                       unsigned long line) {
    return s != nullptr ? xml_escaped_copy(s, xml_growth(s), caller, line) : nullptr;
}

char* ombrel_replace_to_xml_entity_reference_realloc_tag(char* s, const char* caller, unsigned long line) {
    const size_t growth = s != nullptr ? xml_growth(s) : 0;
    if (growth == 0)
        return s;
    return exchange_string(s, xml_escaped_copy(s, growth, caller, line), caller, line);
}
