// Documents read into trees: the parser's events become nodes.
#include <algorithm>
#include <new>

#include <ombrel/heap.h>
#include <ombrel/printf.h>

#include "core/fault.h"
#include "document/xml/growing_array.h"
#include "document/xml/xml_tree_record.h"

namespace ombrel::document {

namespace {

std::string_view view(const ombrel_xml_text_t& text) {
    return {text.m_data, text.m_size};
}

constexpr int64_t most_place = UINT32_MAX;

} // namespace

class tree_reader {
public:
    explicit tree_reader(tree& whole)
        : tree_(whole), text_(whole.store.giver()), doctype_(whole.store.giver()), open_(whole.document) {}
    ~tree_reader() { ombrel_close_xml_parser(parser_); }
    tree_reader(const tree_reader&) = delete;
    tree_reader& operator=(const tree_reader&) = delete;

    bool open();
    int push(const void* data, size_t size) { return settle(ombrel_xml_parser_push(parser_, data, size)); }
    int finish() { return settle(ombrel_xml_parser_end(parser_)); }

private:
    static int take(const ombrel_xml_event_t* event, void* context) {
        tree_reader& reader = *static_cast<tree_reader*>(context);
        if (reader.take(*event))
            return 0;
        reader.failure_ = last_fault();
        return -1;
    }
    bool take(const ombrel_xml_event_t& event);
    bool take_in_doctype(const ombrel_xml_event_t& event);
    bool take_text(std::string_view text);
    bool take_cdata(bool begins);
    bool take_element(const ombrel_xml_event_t& event);
    bool take_attribute(node& element, const ombrel_xml_attribute_t& from);
    bool take_other(node_kind kind, const ombrel_xml_event_t& event);
    bool begin_doctype(const ombrel_xml_event_t& event);
    bool end_doctype(std::string_view subset);
    bool put_literal(std::string_view before, std::string_view literal);
    bool put_doctype(std::string_view text) { return gather(doctype_, text); }

    int settle(int result);
    void tell_own(int reason);
    bool gather(growing_array<char>& to, std::string_view text);
    bool flush_text(node_kind kind = text_node);
    node* add(node_kind kind);
    void end_element();
    void drop_space(node& element);
    void place(node& one);
    void note_place() { ombrel_xml_parser_get_position(parser_, &position_); }
    bool drops(uint32_t what) const { return (tree_.flags & what) != 0; }

    tree& tree_;
    ombrel_xml_parser_t* parser_ = nullptr;
    growing_array<char> text_, doctype_;
    node* open_;
    node* doctype_node_ = nullptr;
    ombrel_xml_position_t position_ = {1, 1, 0};
    fault failure_; ///< of the tree itself
    bool is_in_doctype_ = false, is_in_cdata_ = false, has_text_ = false;
};

bool tree_reader::open() {
    const call_site& giver = tree_.store.giver();
    parser_ = ombrel_open_xml_parser_tag(&tree_.parser_options, take, this, giver.tag, giver.line);
    return parser_ != nullptr;
}

/// Keeps why a document was refused. What the tree itself could not take is told as the parser tells it.
int tree_reader::settle(int result) {
    if (result == 0)
        return 0;
    const fault why = failure_ ? failure_ : last_fault();
    tree_.fault = *ombrel_xml_parser_get_fault(parser_);
    tree_.is_refused = true;
    if (failure_)
        tell_own(failure_.code == fault_code::no_memory ? def_ombrel_xml_fault_no_memory
                                                        : def_ombrel_xml_fault_large_document);
    leave_fault(why);
    return result;
}

void tree_reader::tell_own(int reason) {
    tree_.fault.m_reason = reason;
    ombrel_snprintf(tree_.fault.m_text, sizeof tree_.fault.m_text, "%s", ombrel_xml_fault_text(reason));
}

bool tree_reader::gather(growing_array<char>& to, std::string_view text) {
    if (text.size() > tree_.store.room() || to.size() > tree_.store.room() - text.size())
        return leave_fault(fault_code::too_large), false;
    return to.append(text.data(), text.size()) || (leave_fault(fault_code::no_memory), false);
}

void tree_reader::place(node& one) {
    one.m_line = static_cast<uint32_t>(std::min(position_.m_line, most_place));
    one.m_column = static_cast<uint32_t>(std::min(position_.m_column, most_place));
}

/// A node at the end of the open element.
node* tree_reader::add(node_kind kind) {
    node* const added = tree_.store.take(kind);
    if (added == nullptr)
        return nullptr;
    place(*added);
    link_child(*open_, nullptr, *added);
    return added;
}

/// What came in pieces becomes a node.
bool tree_reader::flush_text(node_kind kind) {
    if (!std::exchange(has_text_, false))
        return true;
    node* const added = add(kind);
    if (added == nullptr || !tree_.store.keep(*added, {text_.data(), text_.size()}))
        return false;
    text_.clear();
    return true;
}

bool tree_reader::take_text(std::string_view text) {
    if (!std::exchange(has_text_, true))
        note_place();
    return gather(text_, text);
}

bool tree_reader::take_cdata(bool begins) {
    if (drops(def_ombrel_xml_tree_merge_cdata))
        return true;
    if (!flush_text(begins ? text_node : cdata_node))
        return false;
    has_text_ = begins; // an empty section is one, too
    if (begins)
        note_place();
    return true;
}

bool tree_reader::take_attribute(node& element, const ombrel_xml_attribute_t& from) {
    node* const added = tree_.store.take(attribute_node);
    if (added == nullptr)
        return false;
    added->m_line = element.m_line;
    added->m_column = element.m_column;
    link_attribute(element, *added);
    if (from.m_flags & def_ombrel_xml_attribute_default)
        added->m_flags |= default_attribute;
    added->m_name = take_name(tree_, view(from.m_name.m_full), view(from.m_name.m_uri));
    return added->m_name != nullptr && tree_.store.keep(*added, view(from.m_value));
}

bool tree_reader::take_element(const ombrel_xml_event_t& event) {
    note_place();
    const node_name* const name = take_name(tree_, view(event.m_name.m_full), view(event.m_name.m_uri));
    node* const added = name != nullptr ? add(element_node) : nullptr;
    if (added == nullptr)
        return false;
    added->m_name = name;
    open_ = added;
    for (size_t i = 0; i < event.m_attribute_count; i++)
        if (!take_attribute(*added, event.m_attributes[i]))
            return false;
    return true;
}

void tree_reader::drop_space(node& element) {
    const node* other = element.m_child;
    while (other != nullptr && other->m_kind == text_node)
        other = other->m_next;
    if (other == nullptr)
        return;
    for (node* one = element.m_child; one != nullptr;) {
        node* const next = one->m_next;
        if (one->m_kind == text_node && is_white(text_of(*one))) {
            unlink(*one);
            tree_.store.free(*one);
        }
        one = next;
    }
}

void tree_reader::end_element() {
    if (drops(def_ombrel_xml_tree_drop_space))
        drop_space(*open_);
    open_ = open_->m_parent;
}

bool tree_reader::take_other(node_kind kind, const ombrel_xml_event_t& event) {
    note_place();
    node* const added = add(kind);
    if (added == nullptr)
        return false;
    if (kind == instruction_node) {
        added->m_name = take_name(tree_, view(event.m_name.m_full), "");
        if (added->m_name == nullptr)
            return false;
    }
    return tree_.store.keep(*added, view(event.m_text));
}

bool tree_reader::put_literal(std::string_view before, std::string_view literal) {
    const std::string_view quote = literal.find('"') == std::string_view::npos ? "\"" : "'";
    return put_doctype(before) && put_doctype(quote) && put_doctype(literal) && put_doctype(quote);
}

bool tree_reader::begin_doctype(const ombrel_xml_event_t& event) {
    note_place();
    is_in_doctype_ = true;
    doctype_node_ = add(doctype_node);
    if (doctype_node_ == nullptr)
        return false;
    doctype_node_->m_flags |= defaults_source;
    doctype_node_->m_name = take_name(tree_, view(event.m_name.m_full), "");
    const bool has_public = (event.m_flags & def_ombrel_xml_mark_has_public) != 0;
    if (has_public && !put_literal("PUBLIC ", view(event.m_public_id)))
        return false;
    if ((event.m_flags & def_ombrel_xml_mark_has_system) &&
        !put_literal(has_public ? " " : "SYSTEM ", view(event.m_system_id)))
        return false;
    return doctype_node_->m_name != nullptr;
}

bool tree_reader::end_doctype(std::string_view subset) {
    is_in_doctype_ = false;
    const std::string_view space = doctype_.empty() ? "" : " ";
    if (!subset.empty() &&
        !(put_doctype(space) && put_doctype("[") && put_doctype(subset) && put_doctype("]")))
        return false;
    return tree_.store.keep(*doctype_node_, {doctype_.data(), doctype_.size()});
}

bool tree_reader::take(const ombrel_xml_event_t& event) {
    // What is declared is kept as it is written.
    if (is_in_doctype_)
        return event.m_kind != def_ombrel_xml_event_doctype_end || end_doctype(view(event.m_text));
    switch (event.m_kind) {
    case def_ombrel_xml_event_skipped:
        tree_.skipped += event.m_entity != def_ombrel_xml_entity_subset ? 1 : 0;
        return true;
    case def_ombrel_xml_event_declaration:
        tree_.standalone = event.m_flags & def_ombrel_xml_mark_standalone       ? 1
                           : event.m_flags & def_ombrel_xml_mark_not_standalone ? 0
                                                                                : -1;
        return true;
    case def_ombrel_xml_event_doctype:
        return begin_doctype(event);
    case def_ombrel_xml_event_element:
        return flush_text() && take_element(event);
    case def_ombrel_xml_event_element_end:
        return flush_text() && (end_element(), true);
    case def_ombrel_xml_event_text:
        return take_text(view(event.m_text));
    case def_ombrel_xml_event_cdata:
        return take_cdata(true);
    case def_ombrel_xml_event_cdata_end:
        return take_cdata(false);
    case def_ombrel_xml_event_comment:
        return drops(def_ombrel_xml_tree_drop_comments) || (flush_text() && take_other(comment_node, event));
    case def_ombrel_xml_event_instruction:
        return drops(def_ombrel_xml_tree_drop_instructions) ||
               (flush_text() && take_other(instruction_node, event));
    default:
        return true;
    }
}

void close_reader(tree& whole) {
    tree_reader* const reader = std::exchange(whole.reader, nullptr);
    if (reader == nullptr)
        return;
    reader->~tree_reader();
    ombrel_free(reader);
}

namespace {

tree_reader* open_reader(tree& whole) {
    const call_site& giver = whole.store.giver();
    void* const room = ombrel_alloc_tag(sizeof(tree_reader), giver.tag, giver.line);
    if (room == nullptr)
        return leave_fault(fault_code::no_memory), nullptr;
    whole.reader = new (room) tree_reader(whole);
    if (whole.reader->open())
        return whole.reader;
    const fault_keeper keeper;
    close_reader(whole);
    return nullptr;
}

} // namespace

} // namespace ombrel::document

using namespace ombrel;
using namespace ombrel::document;

int ombrel_xml_tree_push(ombrel_xml_tree_t* tree, const void* data, size_t size) {
    if (tree == nullptr || (data == nullptr && size > 0))
        return leave_fault(fault_code::invalid), -1;
    if (tree->is_refused)
        return leave_fault(fault_code::violation), -1;
    if (tree->reader == nullptr && tree->document->m_child != nullptr)
        return leave_fault(fault_code::invalid), -1;
    if (tree->reader == nullptr && open_reader(*tree) == nullptr)
        return -1;
    return size == 0 ? 0 : tree->reader->push(data, size);
}

int ombrel_xml_tree_push_end(ombrel_xml_tree_t* tree) {
    if (tree == nullptr || (tree->reader == nullptr && !tree->is_refused))
        return leave_fault(fault_code::invalid), -1;
    if (tree->is_refused)
        return leave_fault(fault_code::violation), -1;
    const int result = tree->reader->finish();
    // The fault of a refused document has texts of the parser.
    if (result == 0)
        close_reader(*tree);
    return result;
}

const ombrel_xml_fault_t* ombrel_xml_tree_get_fault(const ombrel_xml_tree_t* tree) {
    return tree != nullptr ? &tree->fault : nullptr;
}
