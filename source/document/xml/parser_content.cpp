#include <cstring>

#include "document/xml/parser.h"
#include "text/slice.h"

namespace ombrel::document {

namespace {

constexpr std::string_view section_start = "<![CDATA[";

const char* find(const char* from, const char* end, std::string_view wanted) {
    if (from >= end)
        return nullptr;
    const size_t at = std::string_view(from, static_cast<size_t>(end - from)).find(wanted);
    return at == std::string_view::npos ? nullptr : from + at;
}

} // namespace

step xml_parser::read_content(text_frame& frame) {
    const size_t frames = frames_.size();
    step done = step::go_on;
    while (done == step::go_on && frames_.size() == frames && frame.at < frame.end) {
        frame.token = frame.at;
        mark_counts();
        if (in_section_)
            done = read_section(frame);
        else if (*frame.at == '<')
            done = read_markup(frame);
        else if (*frame.at == '&')
            done = read_reference(frame);
        else
            done = read_text(frame);
        if (elements_.empty())
            break;
    }
    return done;
}

step xml_parser::read_markup(text_frame& frame) {
    const std::string_view text = {frame.at, static_cast<size_t>(frame.end - frame.at)};
    if (text.size() < 2)
        return step::starving;
    switch (text[1]) {
    case '/':
        return read_end_tag(frame);
    case '?':
        return read_instruction(frame);
    case '!':
        break;
    default:
        return read_start_tag(frame);
    }
    if (starts_with(text, "<!--"))
        return read_comment(frame);
    if (starts_with(text, section_start))
        return begin_section(frame);
    const bool may_become = starts_with(section_start, text) || starts_with("<!--", text);
    return may_become ? step::starving : refuse(def_ombrel_xml_fault_syntax);
}

step xml_parser::emit_text(std::string_view text) {
    if (text.empty())
        return step::go_on;
    text_event_.m_text = event_text(text);
    return emit(text_event_);
}

/// Where the text ends that can be told as it is, which is at the latest where a single look is due.
const char* xml_parser::text_end(const text_frame& frame, const char* at) const {
    while ((at += scans_.text_run(at, static_cast<size_t>(frame.end - at))) < frame.end) {
        const std::string_view rest = {at, static_cast<size_t>(frame.end - at)};
        const char c = *at;
        if (c == ']') {
            if (starts_with(rest, "]]>") || (rest.size() < 3 && starts_with("]]>", rest) && may_go_on(frame)))
                break;
            at++;
        } else if (static_cast<unsigned char>(c) == 0xEF) {
            if (is_no_character(at))
                break;
            at += 3;
        } else if (c == '\r' && !frame.is_own_text) {
            at++;
        } else if (in_section_ && (c == '<' || c == '&')) {
            at++;
        } else {
            break;
        }
    }
    return at;
}

step xml_parser::read_text(text_frame& frame) {
    const char* const end = text_end(frame, frame.at);
    if (end == frame.at)
        return read_special(frame);
    const std::string_view text = {frame.at, static_cast<size_t>(end - frame.at)};
    frame.at = end;
    return emit_text(text);
}

/// A line end, or what has no place in text. The LF of a line end that is two bytes begins the text behind
/// it.
step xml_parser::read_special(text_frame& frame) {
    if (*frame.at == ']')
        return frame.end - frame.at < 3 ? step::starving : refuse(def_ombrel_xml_fault_section_end);
    if (*frame.at != '\r')
        return refuse(def_ombrel_xml_fault_character);
    if (frame.at + 1 == frame.end && may_go_on(frame))
        return step::starving;
    frame.at++;
    return frame.at < frame.end && *frame.at == '\n' ? step::go_on : emit_text("\n");
}

step xml_parser::begin_section(text_frame& frame) {
    in_section_ = true;
    frame.at += section_start.size();
    return emit(make_event(def_ombrel_xml_event_cdata));
}

step xml_parser::read_section(text_frame& frame) {
    const char* const end = text_end(frame, frame.at);
    if (end != frame.at || *end != ']')
        return read_text(frame);
    if (frame.end - frame.at < 3)
        return step::starving;
    in_section_ = false;
    frame.at += 3;
    return emit(make_event(def_ombrel_xml_event_cdata_end));
}

step xml_parser::read_comment(text_frame& frame) {
    const char* const start = frame.at + 4;
    const char* const limit = token_limit(frame);
    const char* const end = find(start, limit, "--");
    if (end == nullptr || end + 2 >= limit)
        return step::starving;
    std::string_view text = {start, static_cast<size_t>(end - start)};
    if (const step done = check_characters(text); done != step::go_on)
        return done;
    if (end[2] != '>')
        return refuse(def_ombrel_xml_fault_comment, end);
    if (!with_line_ends(frame, text, text))
        return refuse_memory();
    frame.at = end + 3;
    ombrel_xml_event_t event = make_event(def_ombrel_xml_event_comment);
    event.m_text = event_text(text);
    return emit(event);
}

step xml_parser::read_instruction(text_frame& frame) {
    const char* const start = frame.at + 2;
    const char* const end = find(start, token_limit(frame), "?>");
    if (end == nullptr)
        return step::starving;
    const char* const behind = behind_name(start, end);
    const std::string_view target = {start, static_cast<size_t>(behind - start)};
    if (target.empty() || (behind < end && !is_space(*behind)))
        return refuse(def_ombrel_xml_fault_instruction, behind);
    if (target.size() == 3 && (target[0] | 0x20) == 'x' && (target[1] | 0x20) == 'm' &&
        (target[2] | 0x20) == 'l')
        return refuse(def_ombrel_xml_fault_declaration);
    if (const step done = check_name(target, start, false); done != step::go_on)
        return done;
    cursor rest = {behind, end};
    rest.skip_space();
    std::string_view text = rest.rest();
    if (const step done = check_characters(text); done != step::go_on)
        return done;
    if (!with_line_ends(frame, text, text))
        return refuse_memory();
    frame.at = end + 2;
    ombrel_xml_event_t event = make_event(def_ombrel_xml_event_instruction);
    event.m_name = plain_event_name(target);
    event.m_text = event_text(text);
    return emit(event);
}

step xml_parser::check_characters(std::string_view text) {
    const char *at = text.data(), *const end = at + text.size();
    while ((at += scans_.text_run(at, static_cast<size_t>(end - at))) < end) {
        const bool is_wrong = static_cast<unsigned char>(*at) == 0xEF
                                  ? is_no_character(at)
                                  : static_cast<unsigned char>(*at) < 0x20 && *at != '\r';
        if (is_wrong)
            return refuse(def_ombrel_xml_fault_character, at);
        at++;
    }
    return step::go_on;
}

bool xml_parser::with_line_ends(const text_frame& frame, std::string_view text, std::string_view& result) {
    result = text;
    if (!frame.is_own_text || text.find('\r') == std::string_view::npos)
        return true;
    scratch_.clear();
    if (!scratch_.reserve(text.size()))
        return false;
    char* to = scratch_.data();
    for (size_t i = 0; i < text.size(); i++)
        if (text[i] != '\r')
            *to++ = text[i];
        else if (i + 1 == text.size() || text[i + 1] != '\n')
            *to++ = '\n';
    result = {scratch_.data(), static_cast<size_t>(to - scratch_.data())};
    return true;
}

} // namespace ombrel::document
