// What may stand where in a document that is written.
#include <ombrel/xml.h>

#include "document/xml/character.h"
#include "document/xml/xml_writing.h"
#include "text/charset/utf8_run.h"
#include "text/integer_text.h"
#include "text/slice.h"

namespace ombrel::document {

namespace {

constexpr bool is_forbidden(char c) {
    return static_cast<unsigned char>(c) < 0x20 && !is_space(c);
}

} // namespace

bool is_xml_text(std::string_view text) {
    if (text.empty())
        return true;
    if (utf8_run(text.data(), text.size()) != text.size())
        return false;
    const char* const end = text.data() + text.size();
    for (const char* at = text.data(); at < end; at++)
        if (is_forbidden(*at) || (*at == '\xEF' && is_no_character(at)))
            return false;
    return true;
}

bool breaks_comment(std::string_view text) {
    return text.find("--") != std::string_view::npos || (!text.empty() && text.back() == '-');
}

bool breaks_instruction(std::string_view data) {
    return data.find("?>") != std::string_view::npos || (!data.empty() && is_space(data.front()));
}

bool is_target(std::string_view target, bool with_namespaces) {
    if (with_namespaces && target.find(':') != std::string_view::npos)
        return false;
    const bool is_reserved = target.size() == 3 && (target[0] | 0x20) == 'x' && (target[1] | 0x20) == 'm' &&
                             (target[2] | 0x20) == 'l';
    return !is_reserved && ombrel_is_xml_name(target.data(), target.size(), 0) == 1;
}

std::string_view take_doctype_name(std::string_view& text) {
    size_t size = 0;
    while (size < text.size() && !is_space(text[size]) && text[size] != '[')
        size++;
    const std::string_view name = slice(text, 0, size);
    while (size < text.size() && is_space(text[size]))
        size++;
    text.remove_prefix(size);
    return name;
}

const char* put_integer(char (&digits)[24], int64_t value) {
    const uint64_t size = value < 0 ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
    text_sink sink(digits, sizeof digits - 1);
    if (value < 0)
        sink.put('-');
    write_integer(sink, size, 10, 0, lower_digits);
    *sink.cursor() = '\0';
    return digits;
}

} // namespace ombrel::document
