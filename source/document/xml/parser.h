// The parser: what it knows, and the steps by which it reads. Each group of steps has a file of its own.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include <ombrel/xml.h>

#include "document/xml/character.h"
#include "document/xml/cut_token.h"
#include "document/xml/entity.h"
#include "document/xml/event_text.h"
#include "document/xml/frame.h"
#include "document/xml/growing_array.h"
#include "document/xml/input.h"
#include "document/xml/kernels/scan.h"
#include "document/xml/name_table.h"
#include "document/xml/record_store.h"
#include "document/xml/xml_fault.h"

namespace ombrel::document {

enum class stage : uint8_t {
    start,      ///< nothing has been read
    prolog,     ///< before the root element
    subset,     ///< within the internal subset
    subset_end, ///< behind its "]"
    external_subset,
    content,
    epilog, ///< behind the root element
};

struct open_element {
    name* called;
    name* uri;
    size_t bindings; ///< of namespaces, without its own
};

struct namespace_binding {
    name* prefix;
    name* before; ///< what it was bound to
};

/// Where a declaration or tag is being read; its text ends at `end`.
struct cursor {
    const char* at;
    const char* end;

    bool is_at_end() const { return at == end; }
    size_t left() const { return static_cast<size_t>(end - at); }
    std::string_view rest() const { return {at, left()}; }
    /// Whether there was any.
    bool skip_space();
    bool skip(std::string_view word);
};

/// A mark of attributes whose value is a place in the parser's store, while the tag is read.
inline constexpr uint32_t value_is_kept = 1u << 31;

/// What stands behind "&": a number, as the character that it means, or the name of an entity.
struct reference {
    std::string_view called;
    char bytes[4];
    size_t size = 0;

    bool is_number() const { return size > 0; }
    std::string_view character() const { return {bytes, size}; }
};

/// The text of one of the five entities that need no declaration; empty for others.
std::string_view predefined_text(std::string_view called);

uint32_t id_marks(const external_id& id);
/// An event of a kind with all its texts empty.
ombrel_xml_event_t make_event(int kind);

class xml_parser {
public:
    xml_parser(const ombrel_xml_options_t& settings, ombrel_xml_handler_t handler, void* context,
               const call_site& giver);
    ~xml_parser() { clear(); }
    xml_parser(const xml_parser&) = delete;
    xml_parser& operator=(const xml_parser&) = delete;

    /// Makes copies of the options' texts. False when memory has run out or the encoding is not known.
    bool open();
    void reset();
    int push(std::string_view piece);
    int end();
    bool supply(std::string_view bytes);
    bool set_base(std::string_view base);
    bool set_encoding(const char* encoding);
    ombrel_xml_position_t position();

    size_t depth() const { return elements_.size(); }
    const char* encoding() const;
    const ombrel_xml_fault_t& fault() const { return fault_; }
    bool is_loading() const { return is_loading_; }
    bool is_busy() const { return is_busy_; }

private:
    // parser.cpp: the loop.
    void clear();
    void begin();
    int push_all(std::string_view piece, bool is_end);
    bool place_window(const xml_input::window& window);
    step run_window(const xml_input::window& window);
    step run();
    step read_tokens(text_frame& frame);
    step read_stage(text_frame& frame);
    step finish();
    bool is_cut(text_frame& frame);
    text_frame& top() const { return frames_.last(); }
    /// Whether more may come behind the frame's end.
    bool may_go_on(const text_frame& frame) const { return frame.use == frame_use::document && !is_last_; }
    const char* token_limit(const text_frame& frame) const;

    // parser_fault.cpp
    step refuse(int reason, const char* at = nullptr, std::string_view about = {});
    step refuse_at(int reason, const text_place& place, const text_frame* own, std::string_view about);
    void tell(const xml_fault_kind& kind, std::string_view about);
    step refuse_memory();
    step emit(const ombrel_xml_event_t& event);
    step break_off(int result);
    text_frame& own_frame();

    // parser_prolog.cpp
    step read_start(text_frame& frame);
    step read_declaration(text_frame& frame, bool is_of_text);
    step check_encoding(std::string_view declared, int charset);
    step read_prolog(text_frame& frame);
    step read_epilog(text_frame& frame);
    step read_doctype(text_frame& frame);
    step begin_doctype(text_frame& frame, const cursor& at, std::string_view root);
    step end_subset(text_frame& frame);
    step read_external_subset();
    step end_doctype();
    bool keep_subset(const char* to);

    // parser_content.cpp
    step read_content(text_frame& frame);
    step read_markup(text_frame& frame);
    step read_text(text_frame& frame);
    step read_special(text_frame& frame);
    const char* text_end(const text_frame& frame, const char* at) const;
    step emit_text(std::string_view text);
    step read_section(text_frame& frame);
    step begin_section(text_frame& frame);
    step read_comment(text_frame& frame);
    step read_instruction(text_frame& frame);
    step check_characters(std::string_view text);
    /// The text with its line ends made LF, where they are to be.
    bool with_line_ends(const text_frame& frame, std::string_view text, std::string_view& result);

    // parser_tag.cpp
    step read_start_tag(text_frame& frame);
    step read_attribute(cursor& at, name& element);
    step read_value(cursor& at, int type, std::string_view& value, uint32_t& flags);
    step find_value_end(cursor& at, char quote);
    step read_tag_name(cursor& at, name*& read);
    step take_known_name(std::string_view text, const char* at, name*& known);
    name* guessed_name(const cursor& at) const;
    step finish_start_tag(name& element, bool is_empty);
    int declared_type(const name& element, const name& attribute);
    step add_defaults(name& element);
    step add_attribute(name& called, std::string_view value, int type, uint32_t flags);
    step read_end_tag(text_frame& frame);
    void place_values();
    step close_element();

    // parser_namespace.cpp
    step resolve_names(open_element& element);
    step bind_namespace(name& attribute, std::string_view uri);
    step check_binding(const name& prefix, std::string_view uri);
    step resolve(const name& called, name* otherwise, name*& uri);
    step resolve_attributes();
    step check_expanded_names(size_t prefixed);
    void drop_bindings(size_t before);
    bool begin_namespaces();
    ombrel_xml_name_t name_of(const name& called, const name* uri) const {
        return (options_.m_flags & def_ombrel_xml_namespaces) ? event_name(called, uri)
                                                              : plain_event_name(called.full);
    }

    // parser_reference.cpp
    step read_reference(text_frame& frame);
    step read_reference(cursor& at, reference& read);
    step read_part_reference(cursor at, reference& read);
    step read_number(cursor& at, uint32_t& code);
    step read_reference_name(cursor& at, std::string_view& read);
    step find_entity(std::string_view called, const char* at, entity*& found);
    step refer_to(std::string_view called);
    step skip_entity(const entity& skipped, std::string_view called);
    static std::string_view source_name(const text_frame& frame);
    bool must_be_declared() const;
    /// What a token adds is taken back when it has to be read again.
    void mark_counts() {
        marked_expansion_ = expansion_;
        marked_nested_ = nested_;
    }
    step count_expansion(size_t size, bool is_nested);
    step enter(entity& entered, frame_use use);
    step enter_external(entity& entered, frame_use use);
    step begin_external(text_frame& loaded);
    step leave_frame();
    void drop_frame();
    void free_text(const text_frame& frame);

    // parser_external.cpp
    step load(const ombrel_xml_external_t& wanted, text_frame& loaded, bool& is_skipped);
    bool make_text(text_frame& loaded);
    bool decode_all(std::string_view bytes, int charset, growing_array<char>& text, bool& has_flaw);

    // parser_value.cpp
    step normalise_value(std::string_view raw, bool is_own_text, int type, std::string_view& value);
    step expand_part(bool has_line_ends);
    step expand_value_reference(cursor at);
    step enter_part(entity& entered, const char* at);
    void leave_part();
    step add_value(std::string_view text);
    void collapse_spaces(size_t from);

    // subset.cpp
    step read_subset(text_frame& frame);
    step read_subset_token(text_frame& frame);
    step read_subset_markup(text_frame& frame);
    step end_section_or_subset(text_frame& frame);
    step refer_to_parameter(text_frame& frame);
    step enter_parameter(std::string_view called, frame_use use, bool& is_unknown);
    step find_parameter(std::string_view called, entity*& found);
    step skip_parameter(const entity& skipped, std::string_view called);
    step read_conditional(text_frame& frame);
    step skip_ignored(text_frame& frame);
    step count_doctype(size_t size);
    step gather(text_frame& frame, char last, std::string_view& gathered, bool& is_unknown);
    step gather_expanded(char last, std::string_view& gathered, bool& is_unknown);
    step gather_end(size_t base, char quote);
    step gather_byte(char last, char& quote, bool& is_done, bool& is_unknown);
    step gather_parameter(text_frame& frame, bool& is_unknown);
    bool keeps_declarations() const;

    // declaration.cpp
    step read_markup_declaration(text_frame& frame);
    step check_name(std::string_view text, const char* at, bool may_have_colon);
    step take_name(cursor& at, std::string_view& read, bool may_have_colon);
    step take_space(cursor& at);
    step take_end(cursor& at);
    step take_literal(cursor& at, std::string_view& read);
    step take_external_id(cursor& at, external_id& read, bool may_lack_system);
    step take_public_id(cursor& at, std::string_view& read);
    step read_notation_declaration(cursor& at);

    // element_declaration.cpp
    step read_element_declaration(cursor& at);
    step add_model(std::string_view text);
    step read_content_model(cursor& at);
    step read_mixed_model(cursor& at);
    step read_particles(cursor& at);
    step open_group();
    step add_occurrence(cursor& at);
    step read_particle_end(cursor& at);

    // attribute_declaration.cpp
    step read_attribute_declarations(cursor& at);
    step read_attribute_declaration(cursor& at, std::string_view element);
    step read_attribute_type(cursor& at, int& type);
    step read_enumeration(cursor& at, bool are_names);
    step read_default(cursor& at, attribute_declaration& read, uint32_t& flags);
    name* find_pair(std::string_view element, std::string_view attribute, bool may_add);
    step keep_attribute(std::string_view element, std::string_view attribute,
                        const attribute_declaration& read, uint32_t flags);

    // entity_declaration.cpp
    step read_entity_declaration(cursor& at);
    step read_entity_source(cursor& at, entity& read, external_id& id, std::string_view& notation);
    step read_entity_text(cursor& at);
    step expand_entity_part();
    step expand_entity_reference(cursor at);
    step expand_entity_parameter(cursor at);
    step enter_entity_part(entity& entered);
    step add_entity_text(std::string_view text);
    step keep_entity(std::string_view called, entity& read, std::string_view notation, const external_id& id);

    const call_site giver_;
    ombrel_xml_options_t options_;
    const ombrel_xml_handler_t handler_;
    void* const context_;
    const scan_slots& scans_;
    record_store settings_; ///< the options' texts
    int told_ = 0;          ///< the encoding by the options

    // The call under way.
    int result_ = 0;
    ombrel_xml_fault_t fault_{};
    bool is_busy_ = false, is_loading_ = false, is_ended_ = false;
    bool is_last_ = false; ///< nothing of use follows the window

    // What is read.
    xml_input input_;
    growing_array<text_frame> frames_;
    cut_token cut_;
    stage stage_ = stage::start;
    bool in_section_ = false;   ///< CDATA
    int64_t document_size_ = 0; ///< bytes that were pushed
    const char* window_start_ = "";
    int64_t main_done_ = 0; ///< bytes of text of the document before the window

    // The document.
    record_store store_; ///< what the document type declares
    name_table names_;
    growing_array<open_element> elements_;
    unsigned version_ = 0; ///< behind "1."
    bool is_standalone_ = false, has_doctype_ = false;
    bool has_external_subset_ = false, has_parameters_ = false;
    bool has_unread_ = false; ///< a parameter entity was skipped: what follows may be meant otherwise

    // The tag under way.
    growing_array<ombrel_xml_attribute_t> attributes_;
    growing_array<name*> attribute_names_;
    growing_array<char> values_;
    bool has_values_ = false; ///< some attributes' values are places in values_
    uint64_t tag_ = 0;
    name* last_name_ = nullptr;
    name first_name_{};
    ombrel_xml_event_t text_event_{}, element_event_{}, end_event_{};

    // Namespaces.
    growing_array<namespace_binding> bindings_;
    struct expanded_name {
        const name *uri, *local;
        uint64_t tag;
    };
    growing_array<expanded_name> expanded_;
    name *no_prefix_ = nullptr, *xml_prefix_ = nullptr, *xmlns_prefix_ = nullptr;
    name *xml_uri_ = nullptr, *xmlns_uri_ = nullptr;

    // Entities.
    growing_array<char> scratch_; ///< texts with other line ends, names put together
    growing_array<char> external_;
    std::string_view base_;
    int load_reason_ = 0; ///< why what the loader supplies is refused
    int external_charset_ = 0;
    uint64_t expansion_ = 0, nested_ = 0;
    uint64_t marked_expansion_ = 0, marked_nested_ = 0; ///< before the token under way
    struct value_part {
        cursor text;
        entity* source;
    };
    growing_array<value_part> parts_;
    size_t value_start_ = 0;

    // The document type.
    growing_array<char> gathered_; ///< a declaration with its parameter entities replaced
    growing_array<char> model_;
    growing_array<char> groups_;
    growing_array<char> entity_text_;
    growing_array<char> public_id_;
    growing_array<char> subset_text_;
    const char* subset_start_ = nullptr; ///< what of the internal subset has not been put aside
    bool is_gathered_ = false;           ///< the declaration under way lies in gathered_
    size_t sections_ = 0;                ///< open INCLUDE sections
    size_t doctype_size_ = 0;
    external_id doctype_id_{};
    name* doctype_name_ = nullptr;
};

} // namespace ombrel::document

struct ombrel_xml_parser_ts final : ombrel::document::xml_parser {
    using xml_parser::xml_parser;
};
