#include "document/xml/xml_writing.h"

#include <array>

#include <ombrel/charset.h>

#include "core/fault.h"
#include "text/slice.h"

namespace ombrel::document {

namespace {

constexpr auto good = xml_output::outcome::good;

std::string_view reference_to(char c) {
    switch (c) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '"':
        return "&quot;";
    case '\t':
        return "&#9;";
    case '\n':
        return "&#10;";
    default:
        return "&#13;";
    }
}

/// The bytes of a character of valid UTF-8 by its first.
size_t character_size(char first) {
    const auto byte = static_cast<unsigned char>(first);
    return byte < 0x80 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
}

struct told_reason {
    const char* text;
    fault_code fault;
};

constexpr told_reason reasons[] = {
    {"nothing was refused", fault_code::none},
    {"an argument that makes no sense", fault_code::invalid},
    {"no name of XML", fault_code::violation},
    {"no UTF-8, or no character of XML", fault_code::violation},
    {"a character that the encoding lacks, where no reference may be", fault_code::violation},
    {"\"--\" in a comment, or \"-\" at its end", fault_code::violation},
    {"\"?>\" in an instruction, or white space at its beginning", fault_code::violation},
    {"a document type that is not as they are", fault_code::violation},
    {"an attribute that the element has already", fault_code::violation},
    {"a prefix that is not bound, or may not be bound so", fault_code::violation},
    {"something where it may not stand", fault_code::violation},
    {"not one element at the top", fault_code::violation},
    {"elements that are open at the end", fault_code::violation},
    {"an end without an open element", fault_code::violation},
    {"text among children that stand on lines", fault_code::violation},
    {"more elements within one another than the limit", fault_code::too_large},
    {"the output did not take the bytes", fault_code::none},
    {"memory ran out", fault_code::no_memory},
};
static_assert(std::size(reasons) == def_ombrel_xml_writer_fault_no_memory + 1);

} // namespace

/// By the character: where it is escaped.
constexpr std::array<uint8_t, 256> xml_writing::escapes = [] {
    std::array<uint8_t, 256> table{};
    for (const char c : {'&', '<'})
        table[static_cast<unsigned char>(c)] = in_text | in_value | in_canonical;
    table['>'] = in_text | in_canonical;
    table['"'] = in_value | in_canonical;
    table['\t'] = table['\n'] = in_value | in_canonical;
    table['\r'] = in_text | in_value | in_canonical;
    return table;
}();

xml_writing::xml_writing(ombrel_buffer_t* buffer, const ombrel_xml_writer_options_t& options, int charset,
                         const call_site& giver)
    : output_(buffer, options.m_handler, options.m_context, charset), flags_(options.m_flags),
      form_(options.m_form), indent_(static_cast<size_t>(options.m_indent)),
      depth_limit_(options.m_depth_limit), levels_(giver), names_(giver), tag_(giver), tag_text_(giver),
      order_(giver), scope_(giver) {}

bool xml_writing::open() {
    return levels_.push({}) && scope_.open();
}

int xml_writing::fail() const {
    // The output's own fault was left when it failed, and may be another by now.
    const fault_code why = reasons[reason_].fault;
    if (why != fault_code::none)
        leave_fault(why);
    else if (!last_fault())
        leave_fault(fault_code::input_output);
    return -1;
}

int xml_writing::fail(int reason) {
    if (reason_ == def_ombrel_xml_writer_fault_none)
        reason_ = reason;
    return fail();
}

int xml_writing::check(xml_output::outcome result) {
    if (result == good)
        return 0;
    if (result == xml_output::outcome::unencodable)
        return fail(def_ombrel_xml_writer_fault_encoding);
    fail(def_ombrel_xml_writer_fault_output);
    return output_.refusal();
}

int xml_writing::put_all(std::initializer_list<std::string_view> parts) {
    for (const std::string_view part : parts)
        if (const int result = put(part); result != 0)
            return result;
    return 0;
}

int xml_writing::put_escaped(std::string_view text, escape where) {
    const int which = is_canonical() ? in_canonical : where;
    size_t from = 0;
    for (size_t at = 0; at < text.size(); at++) {
        if (!(escapes[static_cast<unsigned char>(text[at])] & which))
            continue;
        if (const int result = put(slice(text, from, at - from), true); result != 0)
            return result;
        if (const int result = put(reference_to(text[at])); result != 0)
            return result;
        from = at + 1;
    }
    return put(slice(text, from), true);
}

/// What comes before anything that is written.
int xml_writing::prepare() {
    if (reason_ != def_ombrel_xml_writer_fault_none || stage_ == finished)
        return fail(def_ombrel_xml_writer_fault_order);
    if (announced_from_ != 0)
        return fail(def_ombrel_xml_writer_fault_order);
    if (tag_is_open_)
        return close_tag(">");
    // Another encoding than the one that is taken without a word has to be told.
    if (stage_ == at_start && !output_.is_utf8() && !is_fragment())
        return put_declaration(-1);
    if (stage_ == at_start)
        stage_ = before_doctype;
    return 0;
}

int xml_writing::put_line(size_t depth) {
    const int result = put("\n");
    return result != 0 ? result : check(output_.fill(' ', depth * indent_));
}

/// Begins a line where the form has one.
int xml_writing::prepare_line() {
    level& around = top();
    const bool is_first = !std::exchange(around.has_content, true);
    if (depth() == 0 && !is_fragment())
        return is_first || is_canonical() ? 0 : put("\n");
    if (form_ != def_ombrel_xml_form_indented || around.is_announced)
        return 0;
    around.is_on_lines = true;
    return is_first && depth() == 0 ? 0 : put_line(depth());
}

int xml_writing::prepare_content() {
    const int result = prepare();
    return result != 0 ? result : prepare_line();
}

int xml_writing::prepare_text() {
    if (const int result = prepare(); result != 0)
        return result;
    if (depth() == 0 && !is_fragment())
        return fail(def_ombrel_xml_writer_fault_order);
    if (top().is_on_lines)
        return fail(def_ombrel_xml_writer_fault_mixed);
    top().is_announced = top().has_content = true;
    return 0;
}

int xml_writing::put_declaration(int standalone) {
    stage_ = before_doctype;
    if (is_canonical())
        return 0;
    top().has_content = true;
    constexpr std::string_view standalones[] = {"", " standalone=\"no\"", " standalone=\"yes\""};
    return put_all({"<?xml version=\"1.0\" encoding=\"", ombrel_get_charset_name(output_.charset()), "\"",
                    standalones[standalone + 1], "?>"});
}

int xml_writing::declaration(int standalone) {
    if (reason_ != def_ombrel_xml_writer_fault_none || stage_ != at_start || is_fragment())
        return fail(def_ombrel_xml_writer_fault_order);
    if (standalone < -1 || standalone > 1)
        return fail(def_ombrel_xml_writer_fault_argument);
    return put_declaration(standalone);
}

int xml_writing::doctype(std::string_view name, std::string_view rest) {
    if (const int result = prepare(); result != 0)
        return result;
    if (stage_ != before_doctype || is_fragment())
        return fail(def_ombrel_xml_writer_fault_order);
    if (!is_doctype(name, rest, with_namespaces()))
        return fail(last_fault().code == fault_code::no_memory ? def_ombrel_xml_writer_fault_no_memory
                                                               : def_ombrel_xml_writer_fault_doctype);
    stage_ = before_root;
    if (is_canonical())
        return 0;
    const int result = prepare_line();
    return result != 0 ? result : put_all({"<!DOCTYPE ", name, rest.empty() ? "" : " ", rest, ">"});
}

int xml_writing::keep_space() {
    if (reason_ != def_ombrel_xml_writer_fault_none || depth() == 0)
        return fail(def_ombrel_xml_writer_fault_order);
    if (top().is_on_lines)
        return fail(def_ombrel_xml_writer_fault_mixed);
    top().is_announced = true;
    return 0;
}

int xml_writing::text(std::string_view text) {
    if (!is_xml_text(text))
        return fail(def_ombrel_xml_writer_fault_character);
    if (text.empty())
        return reason_ != def_ombrel_xml_writer_fault_none ? fail() : 0;
    const int result = prepare_text();
    return result != 0 ? result : put_escaped(text, in_text);
}

int xml_writing::cdata(std::string_view text) {
    if (!is_xml_text(text))
        return fail(def_ombrel_xml_writer_fault_character);
    if (is_canonical())
        return this->text(text);
    if (const int result = prepare_text(); result != 0)
        return result;
    return put_sections(text);
}

/// A section that is interrupted where the text has its end, and around what cannot stand in one: CR, which
/// would be read as LF, and what the encoding lacks.
int xml_writing::put_sections(std::string_view text) {
    constexpr std::string_view begin = "<![CDATA[", end = "]]>";
    size_t from = 0;
    int result = put(begin);
    for (size_t at = 0; result == 0 && at < text.size(); at++) {
        const size_t size = character_size(text[at]);
        if (starts_with(slice(text, at), end)) {
            at += end.size() - 1;
            result = put_all({slice(text, from, at - from), end, begin});
            from = at;
        } else if (text[at] == '\r' || (size > 1 && !output_.can_encode(slice(text, at, size)))) {
            result = put_all({slice(text, from, at - from), end});
            result = result == 0 ? put_escaped(slice(text, at, size), in_text) : result;
            result = result == 0 ? put(begin) : result;
            from = at + size;
        }
    }
    return result == 0 ? put_all({slice(text, from), end}) : result;
}

int xml_writing::comment(std::string_view text) {
    if (!is_xml_text(text))
        return fail(def_ombrel_xml_writer_fault_character);
    if (breaks_comment(text))
        return fail(def_ombrel_xml_writer_fault_comment);
    if (is_canonical())
        return prepare();
    const int result = prepare_content();
    return result != 0 ? result : put_all({"<!--", text, "-->"});
}

int xml_writing::instruction(std::string_view target, std::string_view data) {
    if (!is_target(target, with_namespaces()))
        return fail(def_ombrel_xml_writer_fault_name);
    if (!is_xml_text(data))
        return fail(def_ombrel_xml_writer_fault_character);
    if (breaks_instruction(data))
        return fail(def_ombrel_xml_writer_fault_instruction);
    const int result = prepare_content();
    const bool has_space = is_canonical() || !data.empty();
    return result != 0 ? result : put_all({"<?", target, has_space ? " " : "", data, "?>"});
}

int xml_writing::flush() {
    return reason_ != def_ombrel_xml_writer_fault_none ? fail() : check(output_.flush());
}

int xml_writing::finish() {
    if (reason_ != def_ombrel_xml_writer_fault_none || stage_ == finished || announced_from_ != 0)
        return fail(def_ombrel_xml_writer_fault_order);
    if (depth() > 0)
        return fail(def_ombrel_xml_writer_fault_open);
    if (!is_fragment() && stage_ != behind_root)
        return fail(def_ombrel_xml_writer_fault_root);
    const int result = is_fragment() || is_canonical() ? 0 : put("\n");
    stage_ = finished;
    return result != 0 ? result : flush();
}

} // namespace ombrel::document

extern "C" const char* ombrel_xml_writer_fault_text(int reason) {
    using namespace ombrel::document;
    const bool is_known = reason >= 0 && static_cast<size_t>(reason) < std::size(reasons);
    return is_known ? reasons[reason].text : "unknown";
}
