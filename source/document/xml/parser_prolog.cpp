#include <algorithm>

#include <ombrel/charset.h>

#include "document/xml/encoding.h"
#include "document/xml/parser.h"
#include "text/charset/charset_names.h"
#include "text/slice.h"

namespace ombrel::document {

namespace {

constexpr std::string_view declaration_start = "<?xml";

/// One of the settings in an XML declaration: NAME="VALUE", with white space before it.
/// @return false when it is there but not as it should be
bool take_setting(cursor& at, std::string_view called, std::string_view& value) {
    const cursor before = at;
    value = {};
    if (!at.skip_space() || !at.skip(called)) {
        at = before;
        return true;
    }
    at.skip_space();
    if (!at.skip("="))
        return false;
    at.skip_space();
    if (at.is_at_end() || (*at.at != '"' && *at.at != '\''))
        return false;
    const size_t size = slice(at.rest(), 1).find(*at.at);
    if (size == std::string_view::npos || size == 0)
        return false;
    value = slice(at.rest(), 1, size);
    at.at += size + 2;
    return true;
}

bool is_version(std::string_view text) {
    return starts_with(text, "1.") && text.size() > 2 &&
           slice(text, 2).find_first_not_of("0123456789") == std::string_view::npos;
}

bool is_encoding_name(std::string_view text) {
    constexpr std::string_view letters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
    constexpr std::string_view all = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-";
    return letters.find(text[0]) != std::string_view::npos &&
           text.find_first_not_of(all) == std::string_view::npos;
}

struct declaration_settings {
    std::string_view version, encoding, standalone;
};

/// What follows "1." in a version, or of none.
unsigned minor_version(std::string_view version) {
    constexpr unsigned most = 1000000;
    unsigned number = 0;
    for (const char digit : slice(version, 2))
        number = std::min(number * 10 + static_cast<unsigned>(digit - '0'), most);
    return number;
}

/// Gives null, or where something is wrong.
const char* wrong_setting(cursor& at, bool is_of_text, declaration_settings& read) {
    if (!take_setting(at, "version", read.version) || (read.version.empty() && !is_of_text) ||
        (!read.version.empty() && !is_version(read.version)))
        return at.at;
    if (!take_setting(at, "encoding", read.encoding) || (read.encoding.empty() && is_of_text) ||
        (!read.encoding.empty() && !is_encoding_name(read.encoding)))
        return at.at;
    if (is_of_text)
        return nullptr;
    if (!take_setting(at, "standalone", read.standalone) ||
        (!read.standalone.empty() && read.standalone != "yes" && read.standalone != "no"))
        return at.at;
    return nullptr;
}

} // namespace

/// Before anything else a declaration may stand, which must have come as far as it can be told from others.
step xml_parser::read_start(text_frame& frame) {
    const std::string_view text = {frame.at, static_cast<size_t>(frame.end - frame.at)};
    const size_t wanted = declaration_start.size() + 1;
    if (text.size() < wanted && text == slice(declaration_start, 0, text.size()) && may_go_on(frame))
        return step::starving;
    stage_ = stage::prolog;
    if (text.size() < wanted || !starts_with(text, declaration_start) || !is_space(text[wanted - 1]))
        return step::go_on;
    const step done = read_declaration(frame, false);
    if (done == step::starving)
        stage_ = stage::start;
    return done;
}

/// @param is_of_text whether it is the declaration of an external entity, which tells the encoding alone
step xml_parser::read_declaration(text_frame& frame, bool is_of_text) {
    const std::string_view text = {frame.at, static_cast<size_t>(token_limit(frame) - frame.at)};
    const size_t size = text.find("?>");
    if (size == std::string_view::npos)
        return step::starving;
    cursor at = {frame.at + declaration_start.size(), frame.at + size};
    declaration_settings read;
    if (const char* const wrong = wrong_setting(at, is_of_text, read))
        return refuse(def_ombrel_xml_fault_declaration, wrong);
    at.skip_space();
    if (!at.is_at_end())
        return refuse(def_ombrel_xml_fault_declaration, at.at);
    if (const step done = check_encoding(read.encoding, frame.is_own_text ? frame.place.charset : 0);
        done != step::go_on)
        return done;
    // No document may refer to what is written in a later version.
    const unsigned version = minor_version(read.version);
    if (is_of_text && version > version_)
        return refuse(def_ombrel_xml_fault_declaration, read.version.data());
    frame.at = at.end + 2;
    if (is_of_text)
        return step::go_on;
    version_ = version;
    is_standalone_ = read.standalone == "yes";
    ombrel_xml_event_t event = make_event(def_ombrel_xml_event_declaration);
    event.m_version = event_text(read.version);
    event.m_encoding = event_text(read.encoding);
    if (!read.standalone.empty())
        event.m_flags = is_standalone_ ? def_ombrel_xml_mark_standalone : def_ombrel_xml_mark_not_standalone;
    return emit(event);
}

/// What a protocol has told overrules what is declared.
step xml_parser::check_encoding(std::string_view declared, int charset) {
    const bool is_told = frames_.size() == 1 ? input_.told() != 0 : external_charset_ != 0;
    if (declared.empty() || is_told)
        return step::go_on;
    const int found = find_charset(declared);
    if (found <= 0)
        return refuse(def_ombrel_xml_fault_encoding, declared.data(), declared);
    return may_declare(charset, found)
               ? step::go_on
               : refuse(def_ombrel_xml_fault_other_encoding, declared.data(), declared);
}

step xml_parser::read_prolog(text_frame& frame) {
    if (is_space(*frame.at)) {
        while (frame.at < frame.end && is_space(*frame.at))
            frame.at++;
        return step::go_on;
    }
    if (*frame.at != '<')
        return refuse(def_ombrel_xml_fault_before_root);
    const std::string_view text = {frame.at, static_cast<size_t>(frame.end - frame.at)};
    if (text.size() < 2)
        return step::starving;
    if (text[1] == '?')
        return read_instruction(frame);
    if (text[1] != '!') {
        stage_ = stage::content;
        const step done = read_start_tag(frame);
        if (done == step::starving)
            stage_ = stage::prolog;
        return done;
    }
    if (starts_with(text, "<!--"))
        return read_comment(frame);
    constexpr std::string_view doctype = "<!DOCTYPE";
    if (text.size() < doctype.size() && (slice("<!--", 0, text.size()) == text || starts_with(doctype, text)))
        return step::starving;
    return starts_with(text, doctype) ? read_doctype(frame) : refuse(def_ombrel_xml_fault_syntax);
}

step xml_parser::read_epilog(text_frame& frame) {
    if (is_space(*frame.at)) {
        while (frame.at < frame.end && is_space(*frame.at))
            frame.at++;
        return step::go_on;
    }
    const std::string_view text = {frame.at, static_cast<size_t>(frame.end - frame.at)};
    if (starts_with(text, "<?"))
        return read_instruction(frame);
    if (starts_with(text, "<!--"))
        return read_comment(frame);
    if (text.size() < 4 && (starts_with("<!--", text) || text == "<"))
        return step::starving;
    return refuse(def_ombrel_xml_fault_after_end);
}

/// As far as the internal subset or the end.
step xml_parser::read_doctype(text_frame& frame) {
    const char* const start = frame.at;
    cursor at = {start + std::string_view("<!DOCTYPE").size(), token_limit(frame)};
    cut_token whole;
    whole.begin();
    if (!whole.look({start, static_cast<size_t>(at.end - start)}))
        return step::starving;
    if (has_doctype_)
        return refuse(def_ombrel_xml_fault_doctype);
    if (options_.m_flags & def_ombrel_xml_refuse_doctype)
        return refuse(def_ombrel_xml_fault_no_doctype);
    is_gathered_ = false;
    std::string_view root;
    doctype_id_ = {};
    step done = take_space(at);
    if (done == step::go_on)
        done = take_name(at, root, true);
    if (done != step::go_on)
        return done;
    if (at.skip_space() && !at.is_at_end() && *at.at != '[' && *at.at != '>') {
        done = take_external_id(at, doctype_id_, false);
        at.skip_space();
    }
    if (done != step::go_on)
        return done;
    if (at.is_at_end() || (*at.at != '[' && *at.at != '>'))
        return refuse(def_ombrel_xml_fault_doctype, at.at);
    return begin_doctype(frame, at, root);
}

step xml_parser::begin_doctype(text_frame& frame, const cursor& at, std::string_view root) {
    has_doctype_ = true;
    has_external_subset_ = doctype_id_.has_system;
    doctype_name_ = names_.take(root);
    if (doctype_name_ == nullptr || !store_.keep(doctype_id_.public_id, doctype_id_.public_id) ||
        !store_.keep(doctype_id_.system_id, doctype_id_.system_id))
        return refuse_memory();
    ombrel_xml_event_t event = make_event(def_ombrel_xml_event_doctype);
    event.m_name = plain_event_name(root);
    event.m_public_id = event_text(doctype_id_.public_id);
    event.m_system_id = event_text(doctype_id_.system_id);
    event.m_flags = (*at.at == '[' ? def_ombrel_xml_mark_internal_subset : 0) | id_marks(doctype_id_);
    const bool has_subset = *at.at == '[';
    const step done = count_doctype(static_cast<size_t>(at.at - frame.at));
    frame.at = at.at + 1;
    stage_ = stage::subset;
    subset_start_ = frame.at;
    if (done != step::go_on)
        return done;
    if (const step told = emit(event); told != step::go_on)
        return told;
    return has_subset ? step::go_on : read_external_subset();
}

/// The text of the internal subset, of which a window goes.
bool xml_parser::keep_subset(const char* to) {
    if (stage_ != stage::subset || frames_.size() != 1 || handler_ == nullptr)
        return true;
    const char* const from = std::exchange(subset_start_, to);
    return subset_text_.append(from, static_cast<size_t>(to - from));
}

/// Behind "]".
step xml_parser::end_subset(text_frame& frame) {
    while (frame.at < frame.end && is_space(*frame.at))
        frame.at++;
    if (frame.at == frame.end)
        return step::go_on;
    if (*frame.at != '>')
        return refuse(def_ombrel_xml_fault_doctype, frame.at);
    frame.at++;
    return read_external_subset();
}

step xml_parser::read_external_subset() {
    stage_ = stage::external_subset;
    if (!doctype_id_.has_system)
        return end_doctype();
    ombrel_xml_external_t wanted{};
    wanted.m_entity = def_ombrel_xml_entity_subset;
    wanted.m_name = event_text(doctype_name_->full);
    wanted.m_public_id = event_text(doctype_id_.public_id);
    wanted.m_system_id = event_text(doctype_id_.system_id);
    wanted.m_base = event_text(options_.m_base);
    bool is_skipped = has_unread_ && !is_standalone_;
    text_frame loaded{};
    if (!is_skipped)
        if (const step done = load(wanted, loaded, is_skipped); done != step::go_on)
            return done;
    if (is_skipped) {
        entity subset{};
        subset.kind = def_ombrel_xml_entity_subset;
        subset.public_id = doctype_id_.public_id;
        subset.system_id = doctype_id_.system_id;
        has_unread_ = true;
        const step done = skip_entity(subset, "[dtd]");
        return done == step::go_on ? end_doctype() : done;
    }
    loaded.use = frame_use::subset;
    loaded.is_outside = true;
    return begin_external(loaded);
}

step xml_parser::end_doctype() {
    stage_ = stage::prolog;
    ombrel_xml_event_t event = make_event(def_ombrel_xml_event_doctype_end);
    event.m_text = event_text({subset_text_.data(), subset_text_.size()});
    const step done = emit(event);
    subset_text_.release();
    return done;
}

} // namespace ombrel::document
