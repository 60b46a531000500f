#include <ombrel/charset.h>

#include "document/xml/encoding.h"
#include "document/xml/parser.h"
#include "text/charset/charset_decoder.h"
#include "text/charset/charset_names.h"
#include "text/charset/utf8_run.h"

namespace ombrel::document {

bool xml_parser::supply(std::string_view bytes) {
    if (bytes.size() > options_.m_external_limit - external_.size()) {
        load_reason_ = def_ombrel_xml_fault_large_external;
        leave_fault(fault_code::too_large);
        return false;
    }
    if (external_.append(bytes.data(), bytes.size()))
        return true;
    load_reason_ = def_ombrel_xml_fault_no_memory;
    leave_fault(fault_code::no_memory);
    return false;
}

bool xml_parser::set_base(std::string_view base) {
    if (store_.keep(base, base_))
        return true;
    leave_fault(fault_code::no_memory);
    return false;
}

bool xml_parser::set_encoding(const char* encoding) {
    const int found = find_charset(encoding);
    if (found > 0)
        external_charset_ = found;
    else
        leave_fault(fault_code::not_supported);
    return found > 0;
}

/// Asks the loader for an external entity.
step xml_parser::load(const ombrel_xml_external_t& wanted, text_frame& loaded, bool& is_skipped) {
    is_skipped = options_.m_loader == nullptr;
    if (is_skipped)
        return step::go_on;
    std::string_view system_id;
    if (!store_.keep(view_of(wanted.m_system_id), system_id))
        return refuse_memory();
    external_.clear();
    base_ = system_id;
    external_charset_ = load_reason_ = 0;
    is_loading_ = true;
    const int result =
        options_.m_loader(static_cast<ombrel_xml_parser_t*>(this), &wanted, options_.m_loader_context);
    is_loading_ = false;
    if (load_reason_ != 0)
        return refuse(load_reason_);
    is_skipped = result == def_ombrel_xml_skip;
    if (is_skipped)
        return step::go_on;
    if (result != 0)
        return break_off(result);
    loaded.base = base_;
    loaded.system_id = system_id.data();
    loaded.is_own_text = true;
    return make_text(loaded) ? step::go_on : refuse_memory();
}

/// The bytes that were supplied become the frame's text.
bool xml_parser::make_text(text_frame& loaded) {
    const std::string_view bytes = {external_.data(), external_.size()};
    const encoding_look look = look_for_encoding(bytes, external_charset_, true);
    size_t start = look.mark, size = bytes.size();
    if (look.charset == def_ombrel_charset_utf_8) {
        size = start + utf8_run(bytes.data() + start, size - start);
        loaded.has_flaw = size < bytes.size();
    } else {
        growing_array<char> text(giver_);
        if (!decode_all({bytes.data() + start, size - start}, look.charset, text, loaded.has_flaw))
            return false;
        std::swap(text, external_);
        start = 0;
        size = external_.size();
    }
    loaded.owned = external_.detach();
    loaded.at = loaded.owned != nullptr ? loaded.owned + start : "";
    loaded.end = loaded.at + (size - start);
    loaded.token = loaded.at;
    loaded.place.begin(loaded.at, look.charset, static_cast<int64_t>(look.mark));
    return true;
}

bool xml_parser::decode_all(std::string_view bytes, int charset, growing_array<char>& text, bool& has_flaw) {
    constexpr size_t room = 4096;
    charset_decoder decoder(charset);
    charset_decoder::outcome outcome = charset_decoder::outcome::full;
    for (size_t at = 0; outcome == charset_decoder::outcome::full;) {
        if (!text.reserve(room))
            return false;
        size_t used = 0, written = 0;
        outcome = decoder.decode(bytes.data() + at, bytes.size() - at, used, text.end(),
                                 text.room() - text.size(), written);
        at += used;
        text.extend(written);
    }
    has_flaw = outcome == charset_decoder::outcome::invalid || decoder.held() != 0;
    return true;
}

} // namespace ombrel::document
