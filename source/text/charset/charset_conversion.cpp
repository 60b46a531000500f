#include "text/charset/charset_conversion.h"

#include <algorithm>
#include <cstring>

#include "core/fault.h"
#include "text/charset/utf8_run.h"
#include "text/digits.h"

namespace ombrel {

namespace {

constexpr uint32_t all_flags = def_ombrel_charset_drop_mark | def_ombrel_charset_write_mark;

bool has_mark_of_its_own(int charset) {
    return find_charset_form(charset)->is_marked;
}

char* put_hexadecimal(char* to, uint32_t value, int digits) {
    for (int i = digits - 1; i >= 0; i--)
        *to++ = "0123456789ABCDEF"[value >> 4 * i & 0xF];
    return to;
}

char* put_code(char* to, uint32_t code) {
    *to++ = '\\';
    *to++ = code < 0x10000 ? 'u' : 'U';
    return put_hexadecimal(to, code, code < 0x10000 ? 4 : 8);
}

char* put_code_of_xml(char* to, uint32_t code) {
    to = std::copy_n("&#x", 3, to);
    int digits = 1;
    while (code >> 4 * digits != 0)
        digits++;
    to = put_hexadecimal(to, code, digits);
    *to++ = ';';
    return to;
}

char* put_byte(char* to, uint8_t byte) {
    return put_hexadecimal(std::copy_n("\\x", 2, to), byte, 2);
}

} // namespace

bool charset_conversion::take_options(const ombrel_charset_options_t& options) {
    const bool is_sane =
        options.m_malformed >= def_ombrel_charset_fail && options.m_malformed <= def_ombrel_charset_escape &&
        options.m_unencodable >= def_ombrel_charset_fail &&
        options.m_unencodable <= def_ombrel_charset_escape_xml && (options.m_flags & ~all_flags) == 0;
    if (!is_sane || !take_replacement(options.m_replacement))
        return leave_fault(fault_code::invalid), false;
    malformed_ = options.m_malformed;
    unencodable_ = options.m_unencodable;
    flags_ = options.m_flags;
    reset();
    return true;
}

bool charset_conversion::take_replacement(const char* text) {
    const charset_form& to = *find_charset_form(to_);
    if (text == nullptr) {
        replacement_size_ = encode_one(to, replacement_character, replacement_);
        if (replacement_size_ == 0)
            replacement_size_ = encode_one(to, '?', replacement_);
        return true;
    }
    const size_t size = strnlen(text, def_ombrel_charset_replacement_limit + 1);
    if (size > def_ombrel_charset_replacement_limit)
        return false;
    charset_pump pump(find_charset_form(def_ombrel_charset_utf_8), &to);
    size_t used = 0;
    replacement_size_ = 0;
    return pump.run(reinterpret_cast<const uint8_t*>(text), size, used, replacement_, sizeof replacement_,
                    replacement_size_) == charset_pump::outcome::more &&
           pump.held_size() == 0;
}

void charset_conversion::reset() {
    pump_ = charset_pump(find_charset_form(from_), find_charset_form(to_));
    reads_mark_ = has_mark_of_its_own(from_) || (flags_ & def_ombrel_charset_drop_mark) != 0;
    writes_mark_ = has_mark_of_its_own(to_) || (flags_ & def_ombrel_charset_write_mark) != 0;
    is_finished_ = false;
    waiting_ = {};
    fault_ = {};
    counts_ = {};
}

int charset_conversion::push(const uint8_t* data, size_t size, size_t& at, uint8_t* output, size_t room,
                             size_t& made) {
    made = 0;
    if (fault_.m_reason != def_ombrel_charset_fault_none)
        return fail_again();
    if (is_finished_)
        return leave_fault(fault_code::invalid), -1;
    const size_t before = at;
    space to{output, room, made};
    const int result = run(data, size, at, to);
    counts_.m_read += static_cast<int64_t>(at - before);
    if (result < 0) // what is held of a faulty character does not count, however it was cut
        counts_.m_read = fault_.m_offset;
    counts_.m_written += static_cast<int64_t>(made);
    return result;
}

int charset_conversion::run(const uint8_t* data, size_t size, size_t& at, space& to) {
    const int64_t start = counts_.m_read - static_cast<int64_t>(at);
    while (flush(to)) {
        if (reads_mark_)
            find_mark(data, size, at);
        if (at == size)
            return 0;
        if (writes_mark_now())
            continue;
        const auto outcome = pump_.run(data, size, at, to.out, to.room, to.made);
        const auto held = static_cast<int64_t>(pump_.held_size());
        if (outcome == charset_pump::outcome::more)
            return 0;
        if (!pass(outcome, start + static_cast<int64_t>(at) - held))
            return -1;
        pump_.pass_front(at);
    }
    return 1;
}

int charset_conversion::finish(uint8_t* output, size_t room, size_t& made) {
    made = 0;
    if (fault_.m_reason != def_ombrel_charset_fault_none)
        return fail_again();
    is_finished_ = true;
    space to{output, room, made};
    const int result = run_end(to);
    counts_.m_written += static_cast<int64_t>(made);
    return result;
}

int charset_conversion::run_end(space& to) {
    while (flush(to)) {
        if (pump_.held_size() == 0)
            return 0;
        if (writes_mark_now())
            continue;
        charset_pump::front_part front{0, static_cast<uint8_t>(pump_.held_size())};
        memcpy(front.bytes, pump_.held(), front.size);
        if (!pass_wrong(def_ombrel_charset_fault_incomplete, counts_.m_read - front.size, front))
            return -1;
        pump_.drop_held();
    }
    return 1;
}

/// Whether all is written that waits.
bool charset_conversion::flush(space& to) {
    const size_t count = std::min(waiting_.size(), to.room - to.made);
    std::copy_n(waiting_.data(), count, to.out + to.made);
    to.made += count;
    waiting_ = waiting_.subspan(count);
    return waiting_.empty();
}

/// Looks for a mark at the beginning of the input, byte by byte. What turns out to be none stays held.
void charset_conversion::find_mark(const uint8_t* data, size_t size, size_t& at) {
    while (reads_mark_ && at < size) {
        uint8_t start[def_ombrel_charset_character_limit];
        const size_t held = pump_.held_size();
        memcpy(start, pump_.held(), held);
        start[held] = data[at];
        reads_mark_ = may_become_mark(start, held + 1);
        if (!reads_mark_)
            return;
        at++;
        pump_.hold(data[at - 1]);
        for (const charset_mark& mark : charset_marks_of(from_))
            if (mark.size == held + 1 && mark.begins_with(start, mark.size)) {
                reads_mark_ = false;
                pump_.drop_held();
                pump_.set_from(find_charset_form(mark.charset));
                return;
            }
    }
}

bool charset_conversion::may_become_mark(const uint8_t* bytes, size_t size) {
    for (const charset_mark& mark : charset_marks_of(from_))
        if (mark.begins_with(bytes, size))
            return true;
    return false;
}

/// Whether a mark was sent, as something follows it.
bool charset_conversion::writes_mark_now() {
    const auto marks = charset_marks_of(to_);
    if (!writes_mark_ || marks.empty())
        return false;
    writes_mark_ = false;
    send({marks[0].bytes, marks[0].size});
    return true;
}

/// Does with what is at the front of the pump what is to be done.
bool charset_conversion::pass(charset_pump::outcome why, int64_t offset) {
    const charset_pump::front_part& front = pump_.front();
    if (why == charset_pump::outcome::full)
        return send_code(front.code), true;
    if (why == charset_pump::outcome::wrong)
        return pass_wrong(def_ombrel_charset_fault_malformed, offset, front);
    if (unencodable_ == def_ombrel_charset_fail)
        return fail(def_ombrel_charset_fault_unencodable, offset, front);
    counts_.m_unencodable++;
    send_escaped(unencodable_, front);
    return true;
}

bool charset_conversion::pass_wrong(int reason, int64_t offset, const charset_pump::front_part& front) {
    if (malformed_ == def_ombrel_charset_fail)
        return fail(reason, offset, front);
    counts_.m_malformed++;
    send_escaped(malformed_, front);
    return true;
}

bool charset_conversion::fail(int reason, int64_t offset, const charset_pump::front_part& front) {
    fault_ = {reason, front.size, offset, front.code, {}};
    memcpy(fault_.m_bytes, front.bytes, front.size);
    fail_again();
    return false;
}

int charset_conversion::fail_again() const {
    leave_fault(fault_.m_reason == def_ombrel_charset_fault_unencodable ? fault_code::not_supported
                                                                        : fault_code::violation);
    return -1;
}

void charset_conversion::send(std::span<const uint8_t> bytes) {
    waiting_ = bytes;
}

void charset_conversion::send_code(uint32_t code) {
    send({sent_, encode_one(*find_charset_form(to_), code, sent_)});
}

/// Sends a text of ASCII.
void charset_conversion::send_text(const char* text, size_t size) {
    size_t made = 0;
    for (size_t i = 0; i < size; i++)
        made += encode_one(*find_charset_form(to_), static_cast<uint8_t>(text[i]), sent_ + made);
    send({sent_, made});
}

/// Sends what takes the place of a character or of wrong bytes.
void charset_conversion::send_escaped(int policy, const charset_pump::front_part& front) {
    if (policy == def_ombrel_charset_skip)
        return;
    if (policy == def_ombrel_charset_replace)
        return send({replacement_, replacement_size_});
    char text[def_ombrel_charset_character_limit * sizeof "\\xFF"];
    char* end = text;
    if (policy == def_ombrel_charset_escape_xml)
        end = put_code_of_xml(end, front.code);
    else if (front.code != 0)
        end = put_code(end, front.code);
    else
        for (int i = 0; i < front.size; i++)
            end = put_byte(end, front.bytes[i]);
    send_text(text, static_cast<size_t>(end - text));
}

} // namespace ombrel
