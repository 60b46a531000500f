// How a writer puts things out, and how it fails.
#include <array>

#include "core/fault.h"
#include "document/xml/xml_writing.h"
#include "text/slice.h"

namespace ombrel::document {

namespace {

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
    if (result == xml_output::outcome::good)
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

int xml_writing::put_line(size_t depth) {
    const int result = put("\n");
    return result != 0 ? result : check(output_.fill(' ', depth * indent_));
}

} // namespace ombrel::document

extern "C" const char* ombrel_xml_writer_fault_text(int reason) {
    using namespace ombrel::document;
    const bool is_known = reason >= 0 && static_cast<size_t>(reason) < std::size(reasons);
    return is_known ? reasons[reason].text : "unknown";
}
