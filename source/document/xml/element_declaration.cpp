#include "document/xml/parser.h"

namespace ombrel::document {

step xml_parser::read_element_declaration(cursor& at) {
    std::string_view called;
    step done = take_space(at);
    if (done == step::go_on)
        done = take_name(at, called, true);
    if (done == step::go_on)
        done = take_space(at);
    if (done == step::go_on)
        done = read_content_model(at);
    if (done == step::go_on)
        done = take_end(at);
    if (done != step::go_on || !keeps_declarations())
        return done;
    ombrel_xml_event_t event = make_event(def_ombrel_xml_event_element_declaration);
    event.m_name = plain_event_name(called);
    event.m_text = event_text({model_.data(), model_.size()});
    return emit(event);
}

step xml_parser::add_model(std::string_view text) {
    return model_.append(text.data(), text.size()) ? step::go_on : refuse_memory();
}

step xml_parser::read_content_model(cursor& at) {
    model_.clear();
    for (const std::string_view word : {"EMPTY", "ANY"})
        if (at.skip(word))
            return add_model(word);
    if (!at.skip("("))
        return refuse(def_ombrel_xml_fault_markup, at.at);
    at.skip_space();
    return at.skip("#PCDATA") ? read_mixed_model(at) : read_particles(at);
}

/// Behind "(#PCDATA".
step xml_parser::read_mixed_model(cursor& at) {
    step done = add_model("(#PCDATA");
    bool has_names = false;
    while (done == step::go_on) {
        at.skip_space();
        if (!at.skip("|"))
            break;
        has_names = true;
        at.skip_space();
        std::string_view called;
        done = take_name(at, called, true);
        if (done == step::go_on)
            done = add_model("|");
        if (done == step::go_on)
            done = add_model(called);
    }
    if (done != step::go_on)
        return done;
    if (at.skip(")*"))
        return add_model(")*");
    return !has_names && at.skip(")") ? add_model(")") : refuse(def_ombrel_xml_fault_markup, at.at);
}

/// Behind the first "(". Each open group has its separator on a stack, 0 while none has been met.
step xml_parser::read_particles(cursor& at) {
    groups_.clear();
    step done = open_group();
    while (done == step::go_on && !groups_.empty()) {
        at.skip_space();
        if (at.skip("(")) {
            done = open_group();
            continue;
        }
        std::string_view called;
        done = take_name(at, called, true);
        if (done == step::go_on)
            done = add_model(called);
        if (done == step::go_on)
            done = read_particle_end(at);
    }
    return done;
}

step xml_parser::open_group() {
    return groups_.push('\0') ? add_model("(") : refuse_memory();
}

step xml_parser::add_occurrence(cursor& at) {
    for (const std::string_view mark : {"?", "*", "+"})
        if (at.skip(mark))
            return add_model(mark);
    return step::go_on;
}

/// Behind a name or a group: how often it occurs, the groups that end, the separator.
step xml_parser::read_particle_end(cursor& at) {
    step done = add_occurrence(at);
    for (at.skip_space(); done == step::go_on && at.skip(")"); at.skip_space()) {
        groups_.truncate(groups_.size() - 1);
        done = add_model(")");
        if (done == step::go_on)
            done = add_occurrence(at);
        if (groups_.empty())
            return done;
    }
    if (done != step::go_on)
        return done;
    const char separator = at.is_at_end() ? '\0' : *at.at;
    char& known = groups_.last();
    if ((separator != '|' && separator != ',') || (known != '\0' && known != separator))
        return refuse(def_ombrel_xml_fault_markup, at.at);
    known = separator;
    at.at++;
    return add_model({&separator, 1});
}

} // namespace ombrel::document
