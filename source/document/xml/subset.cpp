#include "document/xml/parser.h"
#include "text/slice.h"

namespace ombrel::document {

/// One thing between declarations, or one of them.
step xml_parser::read_subset(text_frame& frame) {
    const size_t index = frames_.size() - 1;
    const char* const start = frame.at;
    const step done = read_subset_token(frame);
    if (done != step::go_on || index >= frames_.size())
        return done;
    return count_doctype(static_cast<size_t>(frames_[index].at - start));
}

step xml_parser::count_doctype(size_t size) {
    if (size > options_.m_doctype_limit - doctype_size_)
        return refuse(def_ombrel_xml_fault_large_doctype);
    doctype_size_ += size;
    return step::go_on;
}

step xml_parser::read_subset_token(text_frame& frame) {
    switch (*frame.at) {
    case ' ':
    case '\t':
    case '\n':
    case '\r':
        while (frame.at < frame.end && is_space(*frame.at))
            frame.at++;
        return step::go_on;
    case '<':
        return read_subset_markup(frame);
    case '%':
        return refer_to_parameter(frame);
    case ']':
        return end_section_or_subset(frame);
    default:
        return refuse(def_ombrel_xml_fault_markup);
    }
}

step xml_parser::end_section_or_subset(text_frame& frame) {
    if (frame.use == frame_use::document) {
        const bool has_memory = keep_subset(frame.at);
        stage_ = stage::subset_end;
        frame.at++;
        return has_memory ? step::go_on : refuse_memory();
    }
    const std::string_view text = {frame.at, static_cast<size_t>(frame.end - frame.at)};
    if (sections_ == 0 || !starts_with(text, "]]>"))
        return refuse(def_ombrel_xml_fault_section);
    sections_--;
    frame.at += 3;
    return step::go_on;
}

step xml_parser::read_subset_markup(text_frame& frame) {
    const std::string_view text = {frame.at, static_cast<size_t>(frame.end - frame.at)};
    if (text.size() < 4 && (text == "<" || text == "<!" || text == "<!-"))
        return step::starving;
    if (text[1] == '?')
        return read_instruction(frame);
    if (starts_with(text, "<!--"))
        return read_comment(frame);
    if (!starts_with(text, "<!"))
        return refuse(def_ombrel_xml_fault_markup);
    return text[2] == '[' ? read_conditional(frame) : read_markup_declaration(frame);
}

step xml_parser::refer_to_parameter(text_frame& frame) {
    cursor at = {frame.at + 1, token_limit(frame)};
    std::string_view called;
    if (const step done = read_reference_name(at, called); done != step::go_on)
        return done;
    frame.at = at.at;
    bool is_unknown = false;
    return enter_parameter(called, frame_use::subset, is_unknown);
}

/// Reading goes on in a parameter entity, if there is one that may be read.
step xml_parser::enter_parameter(std::string_view called, frame_use use, bool& is_unknown) {
    has_parameters_ = true;
    entity* found = nullptr;
    if (const step done = find_parameter(called, found); done != step::go_on)
        return done;
    if (found == nullptr) {
        is_unknown = true;
        entity unknown{};
        unknown.kind = def_ombrel_xml_entity_undeclared;
        return skip_parameter(unknown, called);
    }
    const size_t frames = frames_.size();
    const step done = enter(*found, use);
    is_unknown = frames_.size() == frames;
    return done;
}

step xml_parser::find_parameter(std::string_view called, entity*& found) {
    const name* const known = names_.find(called);
    found = known != nullptr ? known->parameter : nullptr;
    if (found != nullptr && found->is_open)
        return refuse(def_ombrel_xml_fault_recursion, nullptr, called);
    return found == nullptr && is_standalone_ && frames_.size() == 1
               ? refuse(def_ombrel_xml_fault_undeclared, nullptr, called)
               : step::go_on;
}

step xml_parser::skip_parameter(const entity& skipped, std::string_view called) {
    has_unread_ = true;
    growing_array<char> marked(giver_);
    if (!marked.push('%') || !marked.append(called.data(), called.size()))
        return refuse_memory();
    return skip_entity(skipped, {marked.data(), marked.size()});
}

/// What follows a parameter entity that was not read may be meant otherwise.
bool xml_parser::keeps_declarations() const {
    return !has_unread_ || is_standalone_;
}

step xml_parser::read_conditional(text_frame& frame) {
    if (!frame.is_outside)
        return refuse(def_ombrel_xml_fault_section);
    frame.at += 3;
    std::string_view word;
    bool is_unknown = false;
    if (const step done = gather(frame, '[', word, is_unknown); done != step::go_on)
        return done;
    cursor at = {word.data(), word.data() + word.size() - 1};
    at.skip_space();
    const bool is_included = at.skip("INCLUDE"), is_ignored = !is_included && at.skip("IGNORE");
    at.skip_space();
    if (!is_unknown && (!at.is_at_end() || (!is_included && !is_ignored)))
        return refuse(def_ombrel_xml_fault_section);
    sections_ += is_included;
    return is_included ? step::go_on : skip_ignored(top());
}

/// Sections within are told by their marks alone, whatever stands in them.
step xml_parser::skip_ignored(text_frame& frame) {
    const char* const start = frame.at;
    for (size_t open = 1; open > 0;) {
        const std::string_view text = {frame.at, static_cast<size_t>(frame.end - frame.at)};
        const size_t at = text.find_first_of("<]");
        if (at == std::string_view::npos)
            return refuse(def_ombrel_xml_fault_section, frame.end);
        const std::string_view mark = slice(text, at, 3);
        open += mark == "<![";
        open -= mark == "]]>";
        frame.at += at + (mark == "<![" || mark == "]]>" ? 3 : 1);
    }
    return check_characters({start, static_cast<size_t>(frame.at - start)});
}

/// The text up to a character that is in no quotation marks, with parameter entities replaced where they may
/// stand. It lies in the frame when there are none.
step xml_parser::gather(text_frame& frame, char last, std::string_view& gathered, bool& is_unknown) {
    const char *at = frame.at, *const limit = token_limit(frame);
    for (char quote = '\0'; at < limit; at++) {
        const char c = *at;
        if (quote != '\0') {
            quote = c == quote ? '\0' : quote;
        } else if (c == last) {
            gathered = {frame.at, static_cast<size_t>(at + 1 - frame.at)};
            frame.at = at + 1;
            is_gathered_ = false;
            return step::go_on;
        } else if (c == '"' || c == '\'') {
            quote = c;
        } else if (c == '%' && behind_name(at + 1, limit) > at + 1) {
            if (!frame.is_outside)
                return refuse(def_ombrel_xml_fault_parameter, at);
            return gather_expanded(last, gathered, is_unknown);
        }
    }
    return step::starving;
}

step xml_parser::gather_expanded(char last, std::string_view& gathered, bool& is_unknown) {
    const size_t base = frames_.size();
    gathered_.clear();
    is_gathered_ = true;
    bool is_done = false;
    for (char quote = '\0'; !is_done;) {
        if (gathered_.size() > options_.m_token_limit)
            return refuse(def_ombrel_xml_fault_long_token);
        const step done =
            top().at == top().end ? gather_end(base, quote) : gather_byte(last, quote, is_done, is_unknown);
        if (done != step::go_on)
            return done;
    }
    gathered = {gathered_.data(), gathered_.size()};
    return step::go_on;
}

/// A parameter entity ends, which counts as a space.
step xml_parser::gather_end(size_t base, char quote) {
    const text_frame& frame = top();
    if (frames_.size() == base || quote != '\0' || frame.has_flaw)
        return refuse(frame.has_flaw ? def_ombrel_xml_fault_bytes : def_ombrel_xml_fault_entity_part,
                      frame.end);
    drop_frame();
    return gathered_.push(' ') ? step::go_on : refuse_memory();
}

step xml_parser::gather_byte(char last, char& quote, bool& is_done, bool& is_unknown) {
    text_frame& frame = top();
    const char c = *frame.at;
    if (quote == '\0' && c == '%' && behind_name(frame.at + 1, frame.end) > frame.at + 1)
        return gather_parameter(frame, is_unknown);
    if (quote != '\0')
        quote = c == quote ? '\0' : quote;
    else if (c == '"' || c == '\'')
        quote = c;
    else
        is_done = c == last;
    frame.at++;
    return gathered_.push(c) ? step::go_on : refuse_memory();
}

step xml_parser::gather_parameter(text_frame& frame, bool& is_unknown) {
    cursor at = {frame.at + 1, frame.end};
    std::string_view called;
    if (const step done = read_reference_name(at, called); done != step::go_on)
        return done == step::starving ? refuse(def_ombrel_xml_fault_entity_part) : done;
    frame.at = at.at;
    if (!gathered_.push(' '))
        return refuse_memory();
    bool is_this_unknown = false;
    const step done = enter_parameter(called, frame_use::declaration, is_this_unknown);
    is_unknown |= is_this_unknown;
    return done;
}

} // namespace ombrel::document
