#include "document/xml/xml_output.h"

#include <cstring>

#include <ombrel/charset.h>
#include <ombrel/utf8.h>

#include "core/fault.h"
#include "text/integer_text.h"

namespace ombrel::document {

namespace {

using outcome = xml_output::outcome;

/// Takes the next character off a valid text.
uint32_t take_character(std::string_view& text) {
    uint32_t code = 0;
    const int size = ombrel_utf8_character_decode(text.data(), text.size(), &code);
    text.remove_prefix(size > 0 ? static_cast<size_t>(size) : text.size());
    return code;
}

} // namespace

bool xml_output::is_utf8() const {
    return charset_ == def_ombrel_charset_utf_8;
}

bool xml_output::can_encode(std::string_view text) const {
    while (!is_utf8() && !text.empty())
        if (ombrel_encode_charset_character(charset_, take_character(text), nullptr) < 0)
            return false;
    return true;
}

outcome xml_output::hand_on(const void* bytes, size_t size) {
    if (size == 0)
        return outcome::good;
    leave_fault({});
    if (buffer_ != nullptr) {
        refusal_ = ombrel_push_buffer(buffer_, bytes, size) == size ? 0 : -1;
        if (refusal_ != 0)
            leave_fault(fault_code::no_memory);
    } else {
        refusal_ = handler_(bytes, size, context_);
    }
    if (refusal_ != 0)
        return outcome::refused;
    handed_ += static_cast<int64_t>(size);
    return outcome::good;
}

outcome xml_output::flush() {
    const size_t size = held_;
    held_ = 0;
    return hand_on(block_, size);
}

outcome xml_output::put_bytes(const void* bytes, size_t size) {
    if (size > room - held_) {
        if (const outcome result = flush(); result != outcome::good)
            return result;
        if (size >= room)
            return hand_on(bytes, size);
    }
    memcpy(block_ + held_, bytes, size);
    held_ += size;
    return outcome::good;
}

outcome xml_output::put(std::string_view text, bool may_refer) {
    if (text.empty())
        return outcome::good;
    return is_utf8() ? put_bytes(text.data(), text.size()) : put_encoded(text, may_refer);
}

outcome xml_output::put_encoded(std::string_view text, bool may_refer) {
    // UTF-16 without an order in its name is told by its mark.
    const bool wants_mark = charset_ == def_ombrel_charset_utf_16 || charset_ == def_ombrel_charset_utf_32;
    char bytes[def_ombrel_charset_character_limit];
    if (!has_begun_ && wants_mark) {
        const int size = ombrel_encode_charset_character(charset_, 0xFEFF, bytes);
        if (const outcome result = put_bytes(bytes, static_cast<size_t>(size)); result != outcome::good)
            return result;
    }
    has_begun_ = true;
    while (!text.empty()) {
        const uint32_t code = take_character(text);
        const int size = ombrel_encode_charset_character(charset_, code, bytes);
        if (size < 0 && !may_refer)
            return outcome::unencodable;
        const outcome result = size < 0 ? put_reference(code) : put_bytes(bytes, static_cast<size_t>(size));
        if (result != outcome::good)
            return result;
    }
    return outcome::good;
}

outcome xml_output::put_reference(uint32_t code) {
    char reference[16] = "&#x";
    text_sink sink(reference + 3, sizeof reference - 3);
    write_integer(sink, code, 16, 0, upper_digits);
    sink.put(';');
    return put_encoded({reference, static_cast<size_t>(sink.cursor() - reference)}, false);
}

outcome xml_output::fill(char c, size_t count) {
    constexpr size_t step = 64;
    char some[step];
    memset(some, c, step);
    outcome result = outcome::good;
    for (; count > 0 && result == outcome::good; count -= count < step ? count : step)
        result = put({some, count < step ? count : step});
    return result;
}

} // namespace ombrel::document
