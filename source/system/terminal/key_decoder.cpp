#include <ombrel/terminal_key.h>

#include <algorithm>

#include <ombrel/utf8.h>

#include "system/terminal/key_sequence.h"
#include "system/terminal/terminal_fault.h"

using namespace ombrel;
using namespace ombrel::system;

namespace {

/// What the bytes held are the beginning of.
enum key_state : uint8_t {
    at_start,
    in_escape,         ///< ESC
    in_double_escape,  ///< ESC ESC
    in_control,        ///< ESC [ and parameters, which are held
    in_linux_function, ///< ESC [ [
    in_single_shift,   ///< ESC O and a digit, which is held
    in_character,      ///< a part of a character of several bytes, which is held
    in_overlong,       ///< ESC [ and more than is held
    in_paste_end,      ///< within a paste a part of the sequence that ends it, which is held
    giving_back,       ///< what was held for that was text after all
};

constexpr uint32_t flag_pasting = 1, flag_alt = 2;
constexpr uint8_t escape = def_ombrel_key_escape;
constexpr int32_t no_character = 0xfffd;
constexpr std::string_view end_of_paste = "\x1b[201~";

/// What came of a byte.
struct step {
    bool has_key;
    bool is_taken; ///< otherwise the byte is looked at again
    ombrel_key_t key;
};
constexpr step more = {false, true, {}};
constexpr step again = {false, false, {}};

void begin(ombrel_key_decoder_t& decoder, key_state state) {
    decoder.m_state = state;
    decoder.m_count = 0;
    decoder.m_given = 0;
}

void hold(ombrel_key_decoder_t& decoder, uint8_t byte) {
    decoder.m_held[decoder.m_count++] = byte;
}

std::string_view held(const ombrel_key_decoder_t& decoder) {
    return {reinterpret_cast<const char*>(decoder.m_held), decoder.m_count};
}

bool is_pasting(const ombrel_key_decoder_t& decoder) {
    return (decoder.m_flags & flag_pasting) != 0;
}

uint32_t take_alt(ombrel_key_decoder_t& decoder) {
    const bool was_set = (decoder.m_flags & flag_alt) != 0;
    decoder.m_flags &= ~flag_alt;
    return was_set ? def_ombrel_key_alt : 0;
}

/// A key is complete.
ombrel_key_t finish(ombrel_key_decoder_t& decoder, ombrel_key_t key) {
    begin(decoder, at_start);
    key.m_modifiers |= take_alt(decoder);
    if (key.m_code == def_ombrel_key_unknown)
        key.m_modifiers = 0;
    if (is_pasting(decoder))
        key.m_modifiers = def_ombrel_key_pasted;
    return key;
}

step give(ombrel_key_decoder_t& decoder, ombrel_key_t key) {
    const ombrel_key_t given = finish(decoder, key);
    if (given.m_code == def_ombrel_key_paste_begin)
        decoder.m_flags |= flag_pasting;
    return given.m_code == no_key ? more : step{true, true, given};
}

/// A key that ended before the byte, which begins another.
step give_before(ombrel_key_decoder_t& decoder, ombrel_key_t key) {
    return {true, false, finish(decoder, key)};
}

/// What is held as the key that it is when nothing follows.
ombrel_key_t broken_off(const ombrel_key_decoder_t& decoder) {
    const bool is_short = decoder.m_count == 0;
    switch (decoder.m_state) {
    case in_escape:
        return {escape, 0};
    case in_double_escape:
        return {escape, def_ombrel_key_alt};
    case in_control:
        return is_short ? ombrel_key_t{'[', def_ombrel_key_alt} : ombrel_key_t{def_ombrel_key_unknown, 0};
    case in_single_shift:
        return is_short ? ombrel_key_t{'O', def_ombrel_key_alt} : ombrel_key_t{def_ombrel_key_unknown, 0};
    case in_character:
        return {no_character, 0};
    default:
        return {def_ombrel_key_unknown, 0};
    }
}

/// A byte that no sequence has inside begins something new.
bool breaks_off(uint8_t byte) {
    return byte < 0x20 || byte > 0x7e;
}

// Strict: of what cannot become a character, nothing is waited for.
bool can_continue(const ombrel_key_decoder_t& decoder, uint8_t byte) {
    if ((byte & 0xc0) != 0x80)
        return false;
    if (decoder.m_count > 1)
        return true;
    switch (decoder.m_held[0]) {
    case 0xe0:
        return byte >= 0xa0;
    case 0xed:
        return byte < 0xa0;
    case 0xf0:
        return byte >= 0x90;
    case 0xf4:
        return byte < 0x90;
    default:
        return true;
    }
}

step begin_character(ombrel_key_decoder_t& decoder, uint8_t byte) {
    if (byte < 0xc2 || byte > 0xf4)
        return give(decoder, {no_character, 0});
    begin(decoder, in_character);
    hold(decoder, byte);
    return more;
}

step take_character(ombrel_key_decoder_t& decoder, uint8_t byte) {
    if (!can_continue(decoder, byte))
        return give_before(decoder, {no_character, 0});
    hold(decoder, byte);
    uint32_t code;
    if (ombrel_utf8_character_decode(held(decoder).data(), decoder.m_count, &code) <= 0)
        return more;
    return give(decoder, {static_cast<int32_t>(code), 0});
}

step take_pasted(ombrel_key_decoder_t& decoder, uint8_t byte) {
    if (byte != escape)
        return byte < 0x80 ? give(decoder, {byte, 0}) : begin_character(decoder, byte);
    begin(decoder, in_paste_end);
    hold(decoder, byte);
    return more;
}

step take_first(ombrel_key_decoder_t& decoder, uint8_t byte) {
    if (is_pasting(decoder))
        return take_pasted(decoder, byte);
    if (byte >= 0x80)
        return begin_character(decoder, byte);
    if (byte != escape)
        return give(decoder, key_of_byte(byte, decoder.m_backspace));
    begin(decoder, in_escape);
    return more;
}

step take_after_escape(ombrel_key_decoder_t& decoder, uint8_t byte) {
    const bool is_second = decoder.m_state == in_double_escape;
    if (byte == '[' || byte == 'O') {
        decoder.m_flags |= is_second ? flag_alt : 0;
        begin(decoder, byte == '[' ? in_control : in_single_shift);
        return more;
    }
    if (is_second)
        return give_before(decoder, broken_off(decoder));
    if (byte == escape) {
        begin(decoder, in_double_escape);
        return more;
    }
    decoder.m_flags |= flag_alt;
    return byte < 0x80 ? give(decoder, key_of_byte(byte, decoder.m_backspace))
                       : begin_character(decoder, byte);
}

/// One terminal ends the numbers of keys with "$", which is no last byte elsewhere.
bool is_last(const ombrel_key_decoder_t& decoder, uint8_t byte) {
    const std::string_view so_far = held(decoder);
    return byte >= 0x40 ||
           (byte == '$' && !so_far.empty() &&
            std::all_of(so_far.begin(), so_far.end(), [](char c) { return c >= '0' && c <= '9'; }));
}

step take_control(ombrel_key_decoder_t& decoder, uint8_t byte) {
    if (breaks_off(byte))
        return give_before(decoder, broken_off(decoder));
    if (byte == '[' && decoder.m_count == 0) {
        begin(decoder, in_linux_function);
        return more;
    }
    if (is_last(decoder, byte))
        return give(decoder,
                    key_of_control_sequence(held(decoder), static_cast<char>(byte), decoder.m_backspace));
    if (decoder.m_count == sizeof decoder.m_held)
        begin(decoder, in_overlong);
    else
        hold(decoder, byte);
    return more;
}

step take_overlong(ombrel_key_decoder_t& decoder, uint8_t byte) {
    if (breaks_off(byte))
        return give_before(decoder, broken_off(decoder));
    return byte < 0x40 ? more : give(decoder, {def_ombrel_key_unknown, 0});
}

step take_linux_function(ombrel_key_decoder_t& decoder, uint8_t byte) {
    if (breaks_off(byte))
        return give_before(decoder, broken_off(decoder));
    return give(decoder, key_of_linux_function(static_cast<char>(byte)));
}

step take_single_shift(ombrel_key_decoder_t& decoder, uint8_t byte) {
    if (byte >= '1' && byte <= '9' && decoder.m_count < 2) {
        hold(decoder, byte);
        return more;
    }
    const ombrel_key_t key = key_of_single_shift(held(decoder), static_cast<char>(byte));
    // Letters that are typed fast behind an O with Alt are letters.
    if (key.m_code == def_ombrel_key_unknown && (decoder.m_count == 0 || breaks_off(byte)))
        return give_before(decoder, broken_off(decoder));
    return give(decoder, key);
}

step take_paste_end(ombrel_key_decoder_t& decoder, uint8_t byte) {
    if (static_cast<char>(byte) != end_of_paste[decoder.m_count]) {
        decoder.m_state = giving_back;
        return again;
    }
    hold(decoder, byte);
    if (decoder.m_count < end_of_paste.size())
        return more;
    decoder.m_flags &= ~flag_pasting;
    return give(decoder, {def_ombrel_key_paste_end, 0});
}

step give_back(ombrel_key_decoder_t& decoder) {
    const ombrel_key_t key = {decoder.m_held[decoder.m_given++], def_ombrel_key_pasted};
    if (decoder.m_given == decoder.m_count)
        begin(decoder, at_start);
    return {true, false, key};
}

step take_byte(ombrel_key_decoder_t& decoder, uint8_t byte) {
    switch (decoder.m_state) {
    case in_escape:
    case in_double_escape:
        return take_after_escape(decoder, byte);
    case in_control:
        return take_control(decoder, byte);
    case in_linux_function:
        return take_linux_function(decoder, byte);
    case in_single_shift:
        return take_single_shift(decoder, byte);
    case in_character:
        return take_character(decoder, byte);
    case in_overlong:
        return take_overlong(decoder, byte);
    case in_paste_end:
        return take_paste_end(decoder, byte);
    case giving_back:
        return give_back(decoder);
    default:
        return take_first(decoder, byte);
    }
}

} // namespace

int ombrel_init_key_decoder(ombrel_key_decoder_t* decoder) {
    if (decoder == nullptr)
        return failed_with(fault_code::invalid);
    *decoder = {};
    decoder->m_backspace = def_ombrel_key_backspace;
    return 0;
}

int ombrel_key_decoder_take(ombrel_key_decoder_t* decoder, const void** data, size_t* size,
                            ombrel_key_t* key) {
    if (decoder == nullptr || data == nullptr || size == nullptr || key == nullptr ||
        (*data == nullptr && *size > 0))
        return failed_with(fault_code::invalid);
    const auto* byte = static_cast<const uint8_t*>(*data);
    step last = again;
    while (*size > 0 && !last.has_key) {
        last = take_byte(*decoder, *byte);
        byte += last.is_taken ? 1 : 0;
        *size -= last.is_taken ? 1 : 0;
    }
    *data = byte;
    if (last.has_key)
        *key = last.key;
    return last.has_key ? 1 : 0;
}

int ombrel_key_decoder_is_waiting(const ombrel_key_decoder_t* decoder) {
    return decoder != nullptr && decoder->m_state != at_start && !is_pasting(*decoder) ? 1 : 0;
}

int ombrel_key_decoder_flush(ombrel_key_decoder_t* decoder, ombrel_key_t* key) {
    if (decoder == nullptr || key == nullptr)
        return failed_with(fault_code::invalid);
    if (ombrel_key_decoder_is_waiting(decoder) == 0)
        return 0;
    *key = finish(*decoder, broken_off(*decoder));
    return 1;
}
