// The writer: what may stand where, and how it is written.
#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <string_view>

#include <ombrel/xml_writer.h>

#include "core/call_site.h"
#include "document/xml/growing_array.h"
#include "document/xml/namespace_scope.h"
#include "document/xml/xml_output.h"

namespace ombrel::document {

/// Whether a text is valid UTF-8 and has nothing but characters of XML.
bool is_xml_text(std::string_view text);
/// What would end a comment or an instruction before its end.
bool breaks_comment(std::string_view text);
bool breaks_instruction(std::string_view data);
/// Whether an instruction may have this target.
bool is_target(std::string_view target, bool with_namespaces);
/// Whether the parser reads a document type of this name, and of what stands behind it; the fault violation
/// or no_memory was left if not.
bool is_doctype(std::string_view name, std::string_view rest, bool with_namespaces);
/// Takes the name off the beginning of a document type's text, and the white space behind it.
std::string_view take_doctype_name(std::string_view& text);

/// Writes a number with a terminator, and gives it back.
const char* put_integer(char (&digits)[24], int64_t value);

/// Its calls give 0, -1, or what the handler returned. The first failure stays.
class xml_writing {
public:
    xml_writing(ombrel_buffer_t* buffer, const ombrel_xml_writer_options_t& options, int charset,
                const call_site& giver);

    /// False when memory has run out.
    bool open();

    int declaration(int standalone);
    int doctype(std::string_view name, std::string_view rest);
    int begin(std::string_view name);
    int begin_in(std::string_view uri, std::string_view name);
    /// Says before an element begins what one of its attributes will declare, or a default of its document
    /// type that is not written.
    int announce(std::string_view prefix, std::string_view uri);
    int attribute(std::string_view name, std::string_view value);
    int attribute_in(std::string_view uri, std::string_view name, std::string_view value);
    int declare(std::string_view prefix, std::string_view uri);
    int keep_space();
    int text(std::string_view text);
    int cdata(std::string_view text);
    int comment(std::string_view text);
    int instruction(std::string_view target, std::string_view data);
    int end();
    int flush();
    int finish();

    int fail(int reason);
    /// Leaves the fault of the first failure again.
    int fail() const;
    int reason() const { return reason_; }
    bool is_canonical() const { return form_ == def_ombrel_xml_form_canonical; }
    bool is_indented() const { return form_ == def_ombrel_xml_form_indented; }
    /// Whether nothing is indented within the open element.
    bool keeps_space() const { return levels_.last().is_announced; }
    bool with_namespaces() const { return !(flags_ & def_ombrel_xml_writer_no_namespaces); }
    size_t depth() const { return levels_.empty() ? 0 : levels_.size() - 1; }
    int64_t size() const { return output_.size(); }

private:
    enum stage : uint8_t { at_start, before_doctype, before_root, in_root, behind_root, finished };

    /// Where characters are escaped.
    enum escape : uint8_t { in_text = 1, in_value = 2, in_canonical = 4 };
    static const std::array<uint8_t, 256> escapes;

    /// An element that is open; the first one is the document.
    struct level {
        size_t name_at;
        size_t name_size;
        uint32_t mark;     ///< where its bindings begin
        bool is_announced; ///< to have text: nothing within it is indented
        bool is_on_lines;  ///< its children are
        bool has_content;
    };
    /// A name in the start tag that is open; the first one is the element's.
    struct tag_name {
        size_t at;
        size_t size;
        size_t value_size; ///< of the canonical form: the value stands behind the name
        uint32_t binding;  ///< that its prefix must have when the tag ends; unbound for any
    };

    bool is_fragment() const { return (flags_ & def_ombrel_xml_writer_fragment) != 0; }
    level& top() { return levels_.last(); }
    std::string_view name_of(const tag_name& one) const { return {tag_text_.data() + one.at, one.size}; }
    std::string_view value_of(const tag_name& one) const {
        return {tag_text_.data() + one.at + one.size, one.value_size};
    }

    int check(xml_output::outcome result);
    int put(std::string_view text, bool may_refer = false) { return check(output_.put(text, may_refer)); }
    int put_all(std::initializer_list<std::string_view> parts);
    int put_escaped(std::string_view text, escape where);
    int prepare();
    int prepare_content();
    int prepare_text();
    int prepare_line();
    int put_line(size_t depth);
    int put_declaration(int standalone);
    int put_sections(std::string_view text);

    bool is_name(std::string_view name) const;
    uint32_t take_mark();
    int open_tag(std::string_view prefix, std::string_view local, uint32_t mark, uint32_t binding);
    bool add_name(std::string_view prefix, std::string_view local, std::string_view value, uint32_t binding);
    int check_attribute(std::string_view name, std::string_view value);
    int put_attribute(std::string_view prefix, std::string_view local, std::string_view value,
                      uint32_t binding = namespace_scope::unbound);
    int put_declaration_of(uint32_t binding, std::string_view uri);
    int bind_by_attribute(std::string_view prefix, std::string_view uri);
    bool may_declare(std::string_view prefix, std::string_view uri, uint32_t mark) const;
    uint32_t choose(std::string_view uri, std::string_view wish, uint32_t mark, bool& is_new);
    std::string_view make_prefix(char (&made)[32]) const;

    static bool has_namespace(std::string_view name);
    std::string_view uri_of(std::string_view name) const;
    bool sort_names(bool by_namespace);
    int check_names();
    int check_namespaces();
    int check_prefix(const tag_name& one, bool is_element);
    int put_sorted();
    int close_tag(std::string_view end);
    int put_end();

    xml_output output_;
    uint32_t flags_;
    int form_;
    size_t indent_, depth_limit_;
    stage stage_ = at_start;
    bool tag_is_open_ = false;
    int reason_ = def_ombrel_xml_writer_fault_none;
    uint32_t announced_from_ = 0; ///< the mark of the next element; 0 when nothing was announced
    growing_array<level> levels_;
    growing_array<char> names_; ///< of the open elements
    growing_array<tag_name> tag_;
    growing_array<char> tag_text_;
    growing_array<uint32_t> order_; ///< of the attributes, when sorted
    namespace_scope scope_;
};

} // namespace ombrel::document

struct ombrel_xml_writer_ts {
    ombrel::document::xml_writing writing;
};
