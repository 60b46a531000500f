#include "document/xml/parser.h"

namespace ombrel::document {

/// The document or the external entity in which what is being read is referred to.
text_frame& xml_parser::own_frame() {
    size_t index = frames_.size() - 1;
    while (!frames_[index].is_own_text)
        index--;
    return frames_[index];
}

/// @param at where, in the frame that is read; null for the beginning of the token
step xml_parser::refuse(int reason, const char* at) {
    text_frame& own = own_frame();
    const bool is_in_own = &own == &top() && at != nullptr && at >= own.token && at <= own.end;
    own.place.move(is_in_own ? at : own.token);
    fault_ = {reason, own.place.line, own.place.column, own.place.offset, own.system_id};
    result_ = -1;
    leave_fault(xml_fault_kind_of(reason).code);
    return step::over;
}

step xml_parser::refuse_memory() {
    if (!frames_.empty())
        return refuse(def_ombrel_xml_fault_no_memory);
    fault_ = {def_ombrel_xml_fault_no_memory, 1, 1, 0, nullptr};
    result_ = -1;
    leave_fault(fault_code::no_memory);
    return step::over;
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
