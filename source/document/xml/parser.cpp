#include "document/xml/parser.h"

#include <algorithm>

#include <ombrel/charset.h>

#include "core/fault.h"
#include "text/charset/charset_names.h"

namespace ombrel::document {

bool cursor::skip_space() {
    const char* const from = at;
    while (at < end && is_space(*at))
        at++;
    return at > from;
}

bool cursor::skip(std::string_view word) {
    if (left() < word.size() || std::string_view(at, word.size()) != word)
        return false;
    at += word.size();
    return true;
}

ombrel_xml_event_t make_event(int kind) {
    const ombrel_xml_text_t none = {"", 0};
    const ombrel_xml_name_t no_name = {none, none, none, none};
    return {kind, 0, 0, no_name, none, nullptr, 0, none, none, none, none, none, none};
}

xml_parser::xml_parser(const ombrel_xml_options_t& settings, ombrel_xml_handler_t handler, void* context,
                       const call_site& giver)
    : giver_(giver), options_(settings), handler_(handler), context_(context), scans_(scans()),
      settings_(giver), input_(giver), frames_(giver), store_(giver), names_(giver), elements_(giver),
      attributes_(giver), attribute_names_(giver), values_(giver),
      text_event_(make_event(def_ombrel_xml_event_text)),
      element_event_(make_event(def_ombrel_xml_event_element)),
      end_event_(make_event(def_ombrel_xml_event_element_end)), bindings_(giver), expanded_(giver),
      scratch_(giver), external_(giver), parts_(giver), gathered_(giver), model_(giver), groups_(giver),
      entity_text_(giver), public_id_(giver), subset_text_(giver) {}

bool xml_parser::open() {
    std::string_view base;
    if (!settings_.keep(options_.m_base != nullptr ? options_.m_base : "", base)) {
        leave_fault(fault_code::no_memory);
        return false;
    }
    options_.m_base = base.data();
    told_ = options_.m_encoding != nullptr ? find_charset(options_.m_encoding) : 0;
    if (told_ < 0 || (told_ == 0 && options_.m_encoding != nullptr)) {
        leave_fault(fault_code::not_supported);
        return false;
    }
    begin();
    return true;
}

void xml_parser::begin() {
    input_.begin(told_);
    cut_.end();
    stage_ = stage::start;
    fault_ = {def_ombrel_xml_fault_none, 1, 1, 0, nullptr, nullptr, {}};
    tell(xml_fault_kind_of(def_ombrel_xml_fault_none), {});
    result_ = 0;
    is_ended_ = is_last_ = in_section_ = false;
    is_standalone_ = has_doctype_ = has_external_subset_ = has_parameters_ = has_unread_ = false;
    main_done_ = document_size_ = 0;
    expansion_ = nested_ = tag_ = 0;
    version_ = 0;
    sections_ = doctype_size_ = 0;
    last_name_ = &first_name_;
    first_name_ = {};
    no_prefix_ = nullptr;
    doctype_name_ = nullptr;
    subset_start_ = nullptr;
}

void xml_parser::clear() {
    while (!frames_.empty())
        drop_frame();
    elements_.clear();
    bindings_.clear();
    attributes_.clear();
    attribute_names_.clear();
    for (auto* const texts : {&values_, &scratch_, &external_, &gathered_, &model_, &groups_, &entity_text_,
                              &public_id_, &subset_text_})
        texts->release();
    expanded_.release();
    input_.release();
    names_.clear();
    store_.clear();
}

void xml_parser::reset() {
    clear();
    begin();
}

int xml_parser::push(std::string_view piece) {
    if (result_ != 0 || is_ended_) {
        leave_fault(xml_fault_kind_of(fault_.m_reason).code);
        return result_ != 0 ? -1 : (leave_fault(fault_code::invalid), -1);
    }
    return push_all(piece, false);
}

int xml_parser::end() {
    if (result_ != 0 || is_ended_)
        return push({});
    const int result = push_all({}, true);
    is_ended_ = true;
    return result;
}

int xml_parser::push_all(std::string_view piece, bool is_end) {
    is_busy_ = true;
    const uint64_t left = options_.m_document_limit < 0
                              ? piece.size()
                              : static_cast<uint64_t>(options_.m_document_limit - document_size_);
    const auto taken = static_cast<size_t>(std::min<uint64_t>(piece.size(), left));
    document_size_ += static_cast<int64_t>(taken);
    input_.give({piece.data(), taken}, is_end);
    xml_input::window window;
    step done = step::starving;
    while (done == step::starving && input_.next(window))
        done = run_window(window);
    if (done == step::starving && input_.ran_out())
        done = refuse_memory();
    if (done == step::starving && taken < piece.size())
        refuse(def_ombrel_xml_fault_large_document, frames_.empty() ? nullptr : top().end);
    is_busy_ = false;
    return result_;
}

// The first window brings the frame of the document along.
bool xml_parser::place_window(const xml_input::window& window) {
    const char* const from = window.text.data() != nullptr ? window.text.data() : "";
    if (frames_.empty()) {
        text_frame document{};
        document.base = options_.m_base;
        document.use = frame_use::document;
        document.is_own_text = true;
        document.place.begin(from, input_.charset(), static_cast<int64_t>(input_.mark_size()));
        if (!frames_.push(document))
            return false;
    }
    text_frame& document = frames_[0];
    document.token = document.at = document.place.at = from;
    document.end = from + window.text.size();
    document.has_flaw = window.has_flaw;
    subset_start_ = window_start_ = from;
    is_last_ = window.is_last;
    return true;
}

step xml_parser::run_window(const xml_input::window& window) {
    if (!place_window(window))
        return refuse_memory();
    step done = run();
    if (done == step::starving && window.is_last)
        done = finish();
    if (done != step::starving)
        return done;
    text_frame& document = frames_[0];
    document.token = document.at;
    document.place.move(document.at);
    const auto used = static_cast<size_t>(document.at - window.text.data());
    main_done_ += static_cast<int64_t>(used);
    if (!keep_subset(document.at) || !input_.keep_from(used))
        return refuse_memory();
    return step::starving;
}

// Nothing follows: what is left open stays open.
step xml_parser::finish() {
    text_frame& document = frames_[0];
    if (document.has_flaw)
        return refuse(def_ombrel_xml_fault_bytes, document.end);
    if (document.at == document.end && stage_ == stage::epilog)
        return step::go_on;
    const bool is_empty = document.at == document.end && (stage_ == stage::start || stage_ == stage::prolog);
    return refuse(is_empty ? def_ombrel_xml_fault_empty : def_ombrel_xml_fault_incomplete, document.end,
                  elements_.empty() ? std::string_view() : elements_.last().called->full);
}

step xml_parser::run() {
    step done = step::go_on;
    while (done == step::go_on) {
        text_frame& frame = top();
        if (frame.at < frame.end)
            done = read_tokens(frame);
        else if (frame.use == frame_use::document)
            return step::starving;
        else
            done = leave_frame();
    }
    return done;
}

/// Tokens of entities are all there, so one that is not complete is wrong.
step xml_parser::read_tokens(text_frame& frame) {
    const bool is_document = frame.use == frame_use::document;
    if (is_document && is_cut(frame))
        return step::starving;
    mark_counts();
    const step done = read_stage(frame);
    if (done != step::starving)
        return done;
    if (!is_document)
        return refuse(frame.has_flaw ? def_ombrel_xml_fault_bytes : def_ombrel_xml_fault_entity_part,
                      frame.has_flaw ? frame.end : nullptr, source_name(frame));
    // It is read again when more has come.
    expansion_ = marked_expansion_;
    nested_ = marked_nested_;
    if (static_cast<size_t>(frame.end - frame.at) >= options_.m_token_limit)
        return refuse(def_ombrel_xml_fault_long_token, frame.at);
    if (frame.at < frame.end)
        cut_.begin();
    return step::starving;
}

bool xml_parser::is_cut(text_frame& frame) {
    if (!cut_.is_active())
        return false;
    const std::string_view token = {frame.at, static_cast<size_t>(frame.end - frame.at)};
    if (!is_last_ && token.size() < options_.m_token_limit && !cut_.look(token))
        return true;
    cut_.end();
    return false;
}

/// A token that is not complete before this place is too long.
const char* xml_parser::token_limit(const text_frame& frame) const {
    const auto left = static_cast<size_t>(frame.end - frame.at);
    return frame.at + std::min(left, options_.m_token_limit);
}

step xml_parser::read_stage(text_frame& frame) {
    frame.token = frame.at;
    switch (stage_) {
    case stage::start:
        return read_start(frame);
    case stage::prolog:
        return read_prolog(frame);
    case stage::subset:
    case stage::external_subset:
        return read_subset(frame);
    case stage::subset_end:
        return end_subset(frame);
    case stage::content:
        return read_content(frame);
    default:
        return read_epilog(frame);
    }
}

ombrel_xml_position_t xml_parser::position() {
    if (frames_.empty())
        return {1, 1, 0};
    text_frame& own = own_frame();
    own.place.move(own.token);
    return {own.place.line, own.place.column, own.place.offset};
}

const char* xml_parser::encoding() const {
    return input_.charset() != 0 ? ombrel_get_charset_name(input_.charset()) : nullptr;
}

} // namespace ombrel::document
