#include "document/xml/encoding.h"

#include <algorithm>

#include <ombrel/charset.h>

#include "document/xml/character.h"
#include "text/charset/charset_names.h"
#include "text/charset/utf8_run.h"
#include "text/slice.h"

namespace ombrel::document {

namespace {

using namespace std::string_view_literals;

struct look {
    std::string_view bytes;
    int charset;
    size_t mark;
};

// The longer ones first, as one of them begins with a shorter one.
constexpr look looks[] = {
    {"\x00\x00\xFE\xFF"sv, def_ombrel_charset_utf_32be, 4},
    {"\xFF\xFE\x00\x00"sv, def_ombrel_charset_utf_32le, 4},
    {"\x00\x00\x00<"sv, def_ombrel_charset_utf_32be, 0},
    {"<\x00\x00\x00"sv, def_ombrel_charset_utf_32le, 0},
    {"\xEF\xBB\xBF"sv, def_ombrel_charset_utf_8, 3},
    {"\xFE\xFF"sv, def_ombrel_charset_utf_16be, 2},
    {"\xFF\xFE"sv, def_ombrel_charset_utf_16le, 2},
    {"\x00<"sv, def_ombrel_charset_utf_16be, 0},
    {"<\x00"sv, def_ombrel_charset_utf_16le, 0},
};

constexpr size_t look_size = 4;
// A declaration that is longer than this is read as UTF-8.
constexpr size_t declaration_limit = 1024;

bool is_one_of(int charset, int one, int other, int third) {
    return charset == one || charset == other || charset == third;
}

bool is_wide(int charset) {
    return charset >= def_ombrel_charset_utf_16 && charset <= def_ombrel_charset_utf_32be;
}

int of_unknown_order(int charset) {
    if (charset == def_ombrel_charset_utf_16)
        return def_ombrel_charset_utf_16be;
    return charset == def_ombrel_charset_utf_32 ? def_ombrel_charset_utf_32be : charset;
}

std::string_view without_space(std::string_view text) {
    while (!text.empty() && is_space(text[0]))
        text.remove_prefix(1);
    return text;
}

// The name in `encoding="NAME"`, loosely: the declaration is read strictly later on.
std::string_view declared_name(std::string_view declaration) {
    const size_t at = declaration.find("encoding");
    if (at == std::string_view::npos)
        return {};
    std::string_view rest = without_space(slice(declaration, at + 8));
    if (!starts_with(rest, "="))
        return {};
    rest = without_space(slice(rest, 1));
    if (rest.empty() || (rest[0] != '"' && rest[0] != '\''))
        return {};
    const size_t close = slice(rest, 1).find(rest[0]);
    return close == std::string_view::npos ? std::string_view() : slice(rest, 1, close);
}

int declared_charset(std::string_view declaration) {
    const std::string_view called = declared_name(declaration);
    const int found = called.empty() ? 0 : find_charset(called);
    return found <= 0 || is_wide(found) ? def_ombrel_charset_utf_8 : found;
}

encoding_look look_for_declaration(std::string_view bytes, bool is_all) {
    constexpr std::string_view start = "<?xml";
    const bool may_begin = slice(bytes, 0, start.size()) == slice(start, 0, bytes.size());
    if (!may_begin || (bytes.size() > start.size() && !is_space(bytes[start.size()])))
        return {def_ombrel_charset_utf_8, 0};
    const std::string_view head = slice(bytes, 0, declaration_limit);
    const size_t end = head.find("?>");
    if (end == std::string_view::npos && bytes.size() < declaration_limit && !is_all)
        return {0, 0};
    return {declared_charset(slice(head, 0, end)), 0};
}

encoding_look look_for_mark(std::string_view bytes, int told) {
    for (const look& known : looks)
        if (known.mark > 0 && starts_with(bytes, known.bytes) &&
            (told == known.charset ||
             is_one_of(told, def_ombrel_charset_utf_16, def_ombrel_charset_utf_32, 0)) &&
            may_declare(known.charset, told))
            return {known.charset, known.mark};
    return {of_unknown_order(told), 0};
}

} // namespace

encoding_look look_for_encoding(std::string_view bytes, int told, bool is_all) {
    if (bytes.size() < look_size && !is_all)
        return {0, 0};
    if (told != 0)
        return look_for_mark(bytes, told);
    for (const look& known : looks)
        if (starts_with(bytes, known.bytes))
            return {known.charset, known.mark};
    return look_for_declaration(bytes, is_all);
}

bool may_declare(int charset, int declared) {
    if (is_one_of(charset, def_ombrel_charset_utf_16be, def_ombrel_charset_utf_16le, 0) &&
        declared == def_ombrel_charset_utf_16)
        return true;
    if (is_one_of(charset, def_ombrel_charset_utf_32be, def_ombrel_charset_utf_32le, 0) &&
        declared == def_ombrel_charset_utf_32)
        return true;
    return charset == declared;
}

size_t encoded_size(std::string_view text, int charset) {
    if (charset == def_ombrel_charset_utf_8)
        return text.size();
    size_t size = 0;
    for (const char *at = text.data(), *const end = at + text.size(); at < end;) {
        char bytes[4];
        const int taken = ombrel_encode_charset_character(charset, take_valid_utf8(at), bytes);
        size += taken > 0 ? static_cast<size_t>(taken) : 1;
    }
    return size;
}

} // namespace ombrel::document
