#include <algorithm>

#include <ombrel/printf.h>

#include "document/xml/parser.h"
#include "text/slice.h"

namespace ombrel::document {

/// The document or the external entity in which what is being read is referred to.
text_frame& xml_parser::own_frame() {
    size_t index = frames_.size() - 1;
    while (!frames_[index].is_own_text)
        index--;
    return frames_[index];
}

void xml_parser::tell(const xml_fault_kind& kind, std::string_view about) {
    constexpr size_t longest = 64;
    size_t size = std::min(about.size(), longest);
    while (size < about.size() && size > 0 && (static_cast<unsigned char>(about[size]) & 0xC0) == 0x80)
        size--;
    if (about.empty() || kind.text_with_name == nullptr)
        ombrel_snprintf(fault_.m_text, sizeof(fault_.m_text), "%s", kind.text);
    else
        ombrel_snprintf(fault_.m_text, sizeof(fault_.m_text), kind.text_with_name, static_cast<int>(size),
                        about.data());
}

/// @param at    where, in the frame that is read; null for the beginning of the token
/// @param about the name that it is about
step xml_parser::refuse(int reason, const char* at, std::string_view about) {
    if (frames_.empty())
        return refuse_at(reason, {nullptr, 1, 1, 0, 0, false}, nullptr, about);
    text_frame& own = own_frame();
    const bool is_in_own = &own == &top() && at != nullptr && at >= own.token && at <= own.end;
    own.place.move(is_in_own ? at : own.token);
    return refuse_at(reason, own.place, &own, about);
}

step xml_parser::refuse_at(int reason, const text_place& place, const text_frame* own,
                           std::string_view about) {
    const bool is_external = own != nullptr && own->system_id != nullptr;
    fault_ = {reason, place.line, place.column, place.offset, nullptr, nullptr, {}};
    if (is_external) {
        fault_.m_system_id = own->system_id;
        fault_.m_base = own->base.data();
    }
    const xml_fault_kind& kind = xml_fault_kind_of(reason);
    tell(kind, about);
    result_ = -1;
    leave_fault(kind.code);
    return step::over;
}

step xml_parser::refuse_memory() {
    return refuse(def_ombrel_xml_fault_no_memory);
}

step xml_parser::emit(const ombrel_xml_event_t& event) {
    if (handler_ == nullptr)
        return step::go_on;
    const int result = handler_(&event, context_);
    return result == 0 ? step::go_on : break_off(result);
}

step xml_parser::break_off(int result) {
    (void)refuse(def_ombrel_xml_fault_broken_off);
    result_ = result;
    return step::over;
}

} // namespace ombrel::document
