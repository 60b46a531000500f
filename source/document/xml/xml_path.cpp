// Paths read.
#include <ombrel/xml_path.h>

#include <algorithm>
#include <cstring>

#include <ombrel/heap.h>

#include "core/fault.h"
#include "core/heap_ptr.h"
#include "document/xml/character.h"
#include "document/xml/namespace_scope.h"
#include "document/xml/xml_path_record.h"
#include "text/charset/utf8_run.h"
#include "text/number.h"
#include "text/slice.h"

namespace ombrel::document {

namespace {

constexpr const char* reasons[] = {"nothing is wrong",
                                   "a step was expected",
                                   "no name",
                                   "an unknown function",
                                   "an unknown condition",
                                   "\"]\" is missing",
                                   "a text in quotes was expected, or is not ended",
                                   "an unknown prefix",
                                   "nothing can follow an attribute but \"..\"",
                                   "something behind the end",
                                   "too long, or too many steps or conditions"};

class path_reader {
public:
    path_reader(std::string_view text, path& to, const ombrel_xml_prefix_t* prefixes)
        : whole_(text), rest_(text), path_(to), prefixes_(prefixes), kept_(to.texts) {}

    bool read();
    int reason() const { return reason_; }
    size_t offset() const { return offset_; }

private:
    bool fail(int reason) { return fail_at(reason, rest_); }
    bool fail_at(int reason, std::string_view where) {
        reason_ = reason;
        offset_ = whole_.size() - where.size();
        return false;
    }
    void skip_space() {
        while (!rest_.empty() && is_space(rest_.front()))
            rest_.remove_prefix(1);
    }
    bool take(std::string_view sign) {
        skip_space();
        if (!starts_with(rest_, sign))
            return false;
        rest_.remove_prefix(sign.size());
        return true;
    }
    bool is_at_name();
    std::string_view keep(std::string_view text);
    bool read_steps();
    bool read_step(bool is_deep);
    bool read_way(step& to);
    bool read_test(node_test& test, bool is_attribute);
    bool read_name(node_test& test, bool is_attribute);
    bool read_function(node_test& test, std::string_view name);
    bool find_prefix(std::string_view prefix, std::string_view& uri) const;
    bool read_conditions(step& to);
    bool read_condition(step& to);
    bool read_position(condition& to);
    bool read_last(condition& to);
    bool read_subject(condition& to);
    bool read_comparison(condition& to);

    std::string_view whole_, rest_;
    path& path_;
    const ombrel_xml_prefix_t* prefixes_;
    char* kept_;
    int reason_ = 0;
    size_t offset_ = 0;
};

std::string_view path_reader::keep(std::string_view text) {
    char* const from = kept_;
    kept_ = put_text(kept_, text);
    return {from, text.size()};
}

bool path_reader::is_at_name() {
    skip_space();
    return !rest_.empty() && behind_name(rest_.data(), rest_.data() + rest_.size()) != rest_.data();
}

bool path_reader::find_prefix(std::string_view prefix, std::string_view& uri) const {
    if (prefix == "xml")
        return uri = xml_uri, true;
    for (const ombrel_xml_prefix_t* one = prefixes_; one->m_prefix != nullptr; one++)
        if (one->m_prefix == prefix)
            return uri = one->m_uri != nullptr ? std::string_view(one->m_uri) : std::string_view(), true;
    return prefix.empty();
}

bool path_reader::read_function(node_test& test, std::string_view name) {
    const std::string_view at = rest_;
    rest_.remove_prefix(name.size());
    if (!take("(") || !take(")"))
        return fail_at(def_ombrel_xml_path_fault_function, at);
    if (name == "text")
        test.what = node_test::text;
    else if (name == "comment")
        test.what = node_test::comment;
    else if (name == "node")
        test.what = node_test::anything;
    else
        return fail_at(def_ombrel_xml_path_fault_function, at);
    return true;
}

/// A name, a name with "*" behind its prefix, or a function.
bool path_reader::read_name(node_test& test, bool is_attribute) {
    const std::string_view at = rest_;
    const char* const end = behind_name(rest_.data(), rest_.data() + rest_.size());
    std::string_view name = slice(rest_, 0, static_cast<size_t>(end - rest_.data()));
    const std::string_view behind = slice(rest_, name.size());
    if (starts_with(behind, "(") && !is_attribute)
        return read_function(test, name);
    const bool is_any = name.back() == ':' && starts_with(behind, "*");
    const std::string_view prefix = is_any ? slice(name, 0, name.size() - 1) : prefix_of(name);
    if (!is_qualified_name(is_any ? prefix : name) || (is_any && prefix.empty()))
        return fail(def_ombrel_xml_path_fault_name);
    rest_.remove_prefix(name.size() + (is_any ? 1 : 0));
    test.what = is_any ? node_test::any_name : node_test::name;
    test.full = keep(name);
    test.by_namespace = prefixes_ != nullptr;
    if (!test.by_namespace)
        return true;
    test.local = is_any ? std::string_view() : local_of(test.full);
    std::string_view uri;
    // The default namespace is none of attributes.
    if (!(is_attribute && prefix.empty()) && !find_prefix(prefix, uri))
        return fail_at(def_ombrel_xml_path_fault_prefix, at);
    test.uri = keep(uri);
    return true;
}

bool path_reader::read_test(node_test& test, bool is_attribute) {
    if (take("*")) {
        test.what = node_test::any_name;
        return true;
    }
    if (is_at_name())
        return read_name(test, is_attribute);
    return fail(is_attribute ? def_ombrel_xml_path_fault_name : def_ombrel_xml_path_fault_step);
}

bool path_reader::read_way(step& to) {
    to.test.what = node_test::anything;
    if (take("..")) {
        to.way = axis::parent;
        return true;
    }
    if (take(".")) {
        to.way = axis::self;
        return true;
    }
    to.way = take("@") ? axis::attribute : axis::child;
    return read_test(to.test, to.way == axis::attribute);
}

bool path_reader::read_last(condition& to) {
    to.what = condition::from_end;
    to.number = 0;
    if (!take("(") || !take(")"))
        return fail(def_ombrel_xml_path_fault_function);
    if (!take("-"))
        return true;
    skip_space();
    return take_number(rest_, int64_t{0}, INT64_MAX, to.number) || fail(def_ombrel_xml_path_fault_condition);
}

/// "2" or "last()-1".
bool path_reader::read_position(condition& to) {
    to.counter = path_.counter_count++;
    if (take("last"))
        return read_last(to);
    to.what = condition::position;
    return take_number(rest_, int64_t{1}, INT64_MAX, to.number) || fail(def_ombrel_xml_path_fault_condition);
}

/// What a condition is about.
bool path_reader::read_subject(condition& to) {
    step subject{};
    if (!read_way(subject)) {
        if (reason_ == def_ombrel_xml_path_fault_step)
            reason_ = def_ombrel_xml_path_fault_condition;
        return false;
    }
    to.what = condition::has;
    to.where = subject.way;
    to.test = subject.test;
    return true;
}

bool path_reader::read_comparison(condition& to) {
    const bool differs = take("!=");
    if (!differs && !take("="))
        return true;
    to.what = differs ? condition::different : condition::equal;
    skip_space();
    const char quote = rest_.empty() ? '\0' : rest_.front();
    const size_t end = quote == '"' || quote == '\'' ? rest_.find(quote, 1) : std::string_view::npos;
    if (end == std::string_view::npos)
        return fail(def_ombrel_xml_path_fault_text);
    to.text = keep(slice(rest_, 1, end - 1));
    rest_.remove_prefix(end + 1);
    return true;
}

bool is_last_function(std::string_view text) {
    if (!starts_with(text, "last"))
        return false;
    text.remove_prefix(4);
    while (!text.empty() && is_space(text.front()))
        text.remove_prefix(1);
    return starts_with(text, "(");
}

bool path_reader::read_condition(step& to) {
    if (path_.condition_count == most_steps)
        return fail(def_ombrel_xml_path_fault_long);
    condition& one = path_.conditions[path_.condition_count++];
    one = {};
    to.condition_count++;
    skip_space();
    const bool is_position =
        !rest_.empty() && ((rest_.front() >= '0' && rest_.front() <= '9') || is_last_function(rest_));
    if (is_position) {
        to.counts = true;
        if (!read_position(one))
            return false;
    } else if (!read_subject(one) || !read_comparison(one)) {
        return false;
    }
    return take("]") || fail(def_ombrel_xml_path_fault_bracket);
}

bool path_reader::read_conditions(step& to) {
    to.first_condition = path_.condition_count;
    while (take("["))
        if (!read_condition(to))
            return false;
    return true;
}

bool path_reader::read_step(bool is_deep) {
    if (path_.step_count == most_steps)
        return fail(def_ombrel_xml_path_fault_long);
    step& one = path_.steps[path_.step_count];
    one = {};
    one.is_deep = is_deep;
    skip_space();
    const std::string_view at = rest_;
    if (!read_way(one))
        return false;
    const bool follows_attribute =
        path_.step_count > 0 && path_.steps[path_.step_count - 1].way == axis::attribute;
    if (follows_attribute && (is_deep || one.way != axis::parent))
        return fail_at(def_ombrel_xml_path_fault_attribute, at);
    path_.step_count++;
    return read_conditions(one);
}

bool path_reader::read_steps() {
    bool is_deep = take("//");
    path_.is_absolute = is_deep || take("/");
    skip_space();
    if (path_.is_absolute && !is_deep && rest_.empty())
        return true; // the document
    while (read_step(is_deep)) {
        is_deep = take("//");
        if (!is_deep && !take("/"))
            return true;
    }
    return false;
}

bool path_reader::read() {
    if (!read_steps())
        return false;
    skip_space();
    return rest_.empty() || fail(def_ombrel_xml_path_fault_end);
}

void tell(ombrel_xml_path_fault_t* fault, int reason, size_t offset) {
    if (fault != nullptr)
        *fault = {reason, static_cast<int64_t>(offset)};
}

/// The most bytes that the texts of a path take: its own, and a namespace's name for each name.
size_t text_room(std::string_view text, const ombrel_xml_prefix_t* prefixes) {
    size_t longest = xml_uri.size();
    for (const ombrel_xml_prefix_t* one = prefixes; one != nullptr && one->m_prefix != nullptr; one++)
        longest = std::max(longest, one->m_uri != nullptr ? strlen(one->m_uri) : 0);
    return text.size() + 2 * most_steps * longest;
}

} // namespace

bool fits(const node_test& test, const node& one, bool is_attribute) {
    switch (test.what) {
    case node_test::anything:
        return is_attribute || one.m_kind != doctype_node;
    case node_test::text:
        return is_text_like(one);
    case node_test::comment:
        return one.m_kind == comment_node;
    default:
        break;
    }
    if (is_attribute != (one.m_kind == attribute_node) || one.m_name == nullptr ||
        (!is_attribute && one.m_kind != element_node))
        return false;
    // What declares namespaces is found by the whole name alone.
    if (test.what == node_test::any_name && one.m_name->uri_text() == xmlns_uri)
        return false;
    if (test.full.empty()) // "*"
        return true;
    if (test.by_namespace)
        return one.m_name->uri_text() == test.uri &&
               (test.what == node_test::any_name || one.m_name->local == test.local);
    if (test.what == node_test::any_name)
        return starts_with(one.m_name->full, test.full);
    return one.m_name->full == test.full;
}

} // namespace ombrel::document

using namespace ombrel;
using namespace ombrel::document;

const char* ombrel_xml_path_fault_text(int reason) {
    const bool is_known = reason >= 0 && static_cast<size_t>(reason) < std::size(reasons);
    return is_known ? reasons[reason] : "unknown";
}

ombrel_xml_path_t* ombrel_open_xml_path_tag(const char* path, const ombrel_xml_prefix_t* prefixes,
                                            ombrel_xml_path_fault_t* fault, const char* function,
                                            unsigned long line) {
    tell(fault, def_ombrel_xml_path_fault_none, 0);
    if (path == nullptr)
        return leave_fault(fault_code::invalid), nullptr;
    const std::string_view text(path);
    if (text.size() > def_ombrel_xml_path_size_limit) {
        tell(fault, def_ombrel_xml_path_fault_long, def_ombrel_xml_path_size_limit);
        return leave_fault(fault_code::too_large), nullptr;
    }
    if (const size_t valid = utf8_run(path, text.size()); valid != text.size()) {
        tell(fault, def_ombrel_xml_path_fault_name, valid);
        return leave_fault(fault_code::violation), nullptr;
    }
    void* const room =
        ombrel_alloc_tag(sizeof(ombrel_xml_path_t) + text_room(text, prefixes), function, line);
    if (room == nullptr)
        return leave_fault(fault_code::no_memory), nullptr;
    heap_ptr<ombrel_xml_path_t> made(static_cast<ombrel_xml_path_t*>(room), function, line);
    made->giver = {function, line};
    made->is_absolute = false;
    made->step_count = made->condition_count = made->counter_count = 0;
    made->texts = reinterpret_cast<char*>(made.get() + 1);
    path_reader reader(text, *made, prefixes);
    if (reader.read())
        return made.release();
    tell(fault, reader.reason(), reader.offset());
    leave_fault(reader.reason() == def_ombrel_xml_path_fault_long ? fault_code::too_large
                                                                  : fault_code::violation);
    return nullptr;
}

int ombrel_close_xml_path(ombrel_xml_path_t* path) {
    if (path != nullptr)
        ombrel_free(path);
    return 0;
}
