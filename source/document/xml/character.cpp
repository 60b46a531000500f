#include "document/xml/character.h"

#include <algorithm>

#include <ombrel/xml.h>

#include "text/charset/utf8_run.h"
#include "text/slice.h"

namespace ombrel::document {

namespace {

struct range {
    uint32_t first, last;
};

constexpr range start_ranges[] = {
    {0xC0, 0xD6},     {0xD8, 0xF6},     {0xF8, 0x2FF},    {0x370, 0x37D},
    {0x37F, 0x1FFF},  {0x200C, 0x200D}, {0x2070, 0x218F}, {0x2C00, 0x2FEF},
    {0x3001, 0xD7FF}, {0xF900, 0xFDCF}, {0xFDF0, 0xFFFD}, {0x10000, 0xEFFFF},
};
constexpr range further_ranges[] = {{0xB7, 0xB7}, {0x300, 0x36F}, {0x203F, 0x2040}};

template<size_t count>
bool is_among(const range (&ranges)[count], uint32_t code) {
    return std::any_of(ranges, ranges + count,
                       [=](const range& some) { return code >= some.first && code <= some.last; });
}

bool begins_name(uint32_t code) {
    return is_among(start_ranges, code);
}

bool continues_name(uint32_t code) {
    return begins_name(code) || is_among(further_ranges, code);
}

} // namespace

const char* behind_token(const char* at, const char* end) {
    while (at < end) {
        if (has_class(*at, class_name)) {
            at++;
            continue;
        }
        if (!has_class(*at, class_beyond_ascii))
            break;
        const char* next = at;
        if (!continues_name(take_valid_utf8(next)))
            break;
        at = next;
    }
    return at;
}

const char* behind_name(const char* at, const char* end) {
    if (at == end)
        return at;
    if (has_class(*at, class_name_start))
        return behind_token(at + 1, end);
    const char* next = at;
    if (!has_class(*at, class_beyond_ascii) || !begins_name(take_valid_utf8(next)))
        return at;
    return behind_token(next, end);
}

bool is_qualified_name(std::string_view name) {
    const size_t colon = name.find(':');
    if (colon == std::string_view::npos)
        return true;
    const std::string_view local = slice(name, colon + 1);
    return colon > 0 && local.find(':') == std::string_view::npos &&
           behind_name(local.data(), local.data() + local.size()) != local.data();
}

} // namespace ombrel::document

extern "C" int ombrel_is_xml_name(const char* text, size_t size, int is_qualified) {
    using namespace ombrel;
    using namespace ombrel::document;
    if (text == nullptr || size == 0 || utf8_run(text, size) != size)
        return 0;
    return behind_name(text, text + size) == text + size &&
           (!is_qualified || is_qualified_name({text, size}));
}
