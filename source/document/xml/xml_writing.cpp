#include "document/xml/xml_writing.h"

#include <ombrel/charset.h>

#include "core/fault.h"
#include "text/slice.h"

namespace ombrel::document {

namespace {

/// The bytes of a character of valid UTF-8 by its first.
size_t character_size(char first) {
    const auto byte = static_cast<unsigned char>(first);
    return byte < 0x80 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
}

} // namespace

xml_writing::xml_writing(ombrel_buffer_t* buffer, const ombrel_xml_writer_options_t& options, int charset,
                         const call_site& giver)
    : output_(buffer, options.m_handler, options.m_context, charset), flags_(options.m_flags),
      form_(options.m_form), indent_(static_cast<size_t>(options.m_indent)),
      depth_limit_(options.m_depth_limit), levels_(giver), names_(giver), tag_(giver), tag_text_(giver),
      order_(giver), scope_(giver) {}

bool xml_writing::open() {
    return levels_.push({}) && scope_.open();
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

int xml_writing::open_tag(std::string_view prefix, std::string_view local, uint32_t mark, uint32_t binding) {
    if (depth() >= depth_limit_)
        return fail(def_ombrel_xml_writer_fault_deep);
    if (depth() == 0 && !is_fragment() && std::exchange(stage_, in_root) == behind_root)
        return fail(def_ombrel_xml_writer_fault_root);
    if (const int result = prepare_line(); result != 0)
        return result;
    tag_.clear();
    tag_text_.clear();
    if (!add_name(prefix, local, "", binding))
        return fail(def_ombrel_xml_writer_fault_no_memory);
    const std::string_view name = name_of(tag_[0]);
    const level element = {names_.size(), name.size(), mark, top().is_announced, false, false};
    if (!names_.append(name.data(), name.size()) || !levels_.push(element))
        return fail(def_ombrel_xml_writer_fault_no_memory);
    tag_is_open_ = true;
    return put_all({"<", name});
}

uint32_t xml_writing::take_mark() {
    const uint32_t announced = std::exchange(announced_from_, 0);
    return announced != 0 ? announced : scope_.mark();
}

int xml_writing::begin(std::string_view name) {
    if (!is_name(name))
        return fail(def_ombrel_xml_writer_fault_name);
    const uint32_t announced = std::exchange(announced_from_, 0);
    if (const int result = prepare(); result != 0)
        return result;
    announced_from_ = announced;
    return open_tag("", name, take_mark(), namespace_scope::unbound);
}

int xml_writing::begin_in(std::string_view uri, std::string_view name) {
    if (!with_namespaces())
        return begin(name);
    if (!is_name(name))
        return fail(def_ombrel_xml_writer_fault_name);
    const uint32_t announced = std::exchange(announced_from_, 0);
    if (const int result = prepare(); result != 0)
        return result;
    announced_from_ = announced;
    const uint32_t mark = take_mark();
    bool is_new = false;
    const uint32_t binding = choose(uri, prefix_of(name), mark, is_new);
    if (binding == namespace_scope::unbound)
        return -1;
    const int result = open_tag(scope_.prefix(binding), local_of(name), mark, binding);
    return result == 0 && is_new ? put_declaration_of(binding, uri) : result;
}

int xml_writing::announce(std::string_view prefix, std::string_view uri) {
    if (announced_from_ == 0) {
        if (const int result = prepare(); result != 0)
            return result;
        announced_from_ = scope_.mark();
    }
    if (!may_bind(prefix, uri))
        return fail(def_ombrel_xml_writer_fault_prefix);
    return scope_.bind(prefix, uri) ? 0 : fail(def_ombrel_xml_writer_fault_no_memory);
}

int xml_writing::put_end() {
    const level& ended = top();
    if (tag_is_open_ && !is_canonical())
        return close_tag("/>");
    int result = tag_is_open_ ? close_tag(">") : 0;
    if (result == 0 && ended.is_on_lines)
        result = put_line(depth() - 1);
    return result == 0 ? put_all({"</", {names_.data() + ended.name_at, ended.name_size}, ">"}) : result;
}

int xml_writing::end() {
    if (reason_ != def_ombrel_xml_writer_fault_none || announced_from_ != 0)
        return fail(def_ombrel_xml_writer_fault_order);
    if (depth() == 0)
        return fail(def_ombrel_xml_writer_fault_end);
    const int result = put_end();
    scope_.restore(top().mark);
    names_.truncate(top().name_at);
    levels_.truncate(levels_.size() - 1);
    if (depth() == 0 && !is_fragment())
        stage_ = behind_root;
    return result;
}

} // namespace ombrel::document
