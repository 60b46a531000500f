#include "system/terminal/key_sequence.h"

#include <algorithm>
#include <iterator>

#include "text/number.h"

namespace ombrel::system {

namespace {

constexpr ombrel_key_t unknown_key = {def_ombrel_key_unknown, 0};

struct letter_key {
    char letter;
    int32_t code;
};

/// Those that both "ESC [" and "ESC O" have.
constexpr letter_key cursor_letters[] = {
    {'A', def_ombrel_key_up},          {'B', def_ombrel_key_down},        {'C', def_ombrel_key_right},
    {'D', def_ombrel_key_left},        {'E', def_ombrel_key_begin},       {'F', def_ombrel_key_end},
    {'H', def_ombrel_key_home},        {'P', def_ombrel_key_function(1)}, {'Q', def_ombrel_key_function(2)},
    {'R', def_ombrel_key_function(3)}, {'S', def_ombrel_key_function(4)},
};

/// Small letters are the arrows of rxvt with a modifier.
constexpr letter_key modified_arrows[] = {
    {'a', def_ombrel_key_up},
    {'b', def_ombrel_key_down},
    {'c', def_ombrel_key_right},
    {'d', def_ombrel_key_left},
};

/// The number pad when it sends sequences of its own.
constexpr letter_key pad_letters[] = {
    {'I', def_ombrel_key_tab},
    {'M', def_ombrel_key_enter},
    {'X', '='},
    {'j', '*'},
    {'k', '+'},
    {'l', ','},
    {'m', '-'},
    {'n', '.'},
    {'o', '/'},
    {'p', '0'},
    {'q', '1'},
    {'r', '2'},
    {'s', '3'},
    {'t', '4'},
    {'u', '5'},
    {'v', '6'},
    {'w', '7'},
    {'x', '8'},
    {'y', '9'},
};

template<size_t count>
int32_t find_letter(const letter_key (&keys)[count], char letter) {
    for (const letter_key& key : keys)
        if (key.letter == letter)
            return key.code;
    return def_ombrel_key_unknown;
}

constexpr int32_t function(int number) {
    return def_ombrel_key_function(number);
}

/// By the number of "ESC [ NUMBER ~"; 0 for one that no key has.
constexpr int32_t numbered_keys[] = {
    0,
    def_ombrel_key_home,
    def_ombrel_key_insert,
    def_ombrel_key_delete,
    def_ombrel_key_end,
    def_ombrel_key_page_up,
    def_ombrel_key_page_down,
    def_ombrel_key_home,
    def_ombrel_key_end,
    0,
    0,
    function(1),
    function(2),
    function(3),
    function(4),
    function(5),
    0,
    function(6),
    function(7),
    function(8),
    function(9),
    function(10),
    0,
    function(11),
    function(12),
    function(13),
    function(14),
    0,
    function(15),
    function(16),
    0,
    function(17),
    function(18),
    function(19),
    function(20),
};

/// Parameters between semicolons; of one with parts between colons the first two are kept.
struct parameter_list {
    static constexpr size_t limit = 4;
    static constexpr uint32_t most = 0x10ffff;
    struct parameter {
        uint32_t value = 0, part = 0;
    } items[limit];
    size_t count = 0;
    bool is_good = true;

    explicit parameter_list(std::string_view text) {
        while (is_good && !text.empty() && count < limit)
            take(text);
        is_good = is_good && text.empty();
    }

    uint32_t first() const { return items[0].value; }
    /// A parameter that is missing or 0 stands for 1.
    uint32_t at(size_t index) const { return index < count ? std::max(1u, items[index].value) : 1; }
    bool is_release() const { return count > 1 && items[1].part == 3; }

private:
    void take(std::string_view& text) {
        parameter& item = items[count++];
        const size_t end = std::min(text.find(';'), text.size());
        std::string_view one(text.data(), end);
        text.remove_prefix(std::min(end + 1, text.size()));
        take_number(one, uint32_t{0}, most, item.value);
        if (!one.empty() && one.front() == ':') {
            one.remove_prefix(1);
            take_number(one, uint32_t{0}, most, item.part);
        }
        // What stands behind a second colon is the text that a key makes, and the like.
        is_good = one.empty() || one.front() == ':';
    }
};

/// The modifiers' parameter is 1 and their bits, of which terminals have more than are told.
uint32_t modifiers_of(uint32_t parameter) {
    constexpr uint32_t super_bit = 8, meta_bit = 32;
    const uint32_t bits = parameter - 1;
    const uint32_t first = bits & (def_ombrel_key_shift | def_ombrel_key_alt | def_ombrel_key_control);
    return first | ((bits & (super_bit | meta_bit)) != 0 ? def_ombrel_key_meta : 0);
}

int32_t numbered_key(uint32_t number) {
    const int32_t code = number < std::size(numbered_keys) ? numbered_keys[number] : 0;
    return code != 0 ? code : def_ombrel_key_unknown;
}

ombrel_key_t with(int32_t code, uint32_t modifiers) {
    return code == def_ombrel_key_unknown ? unknown_key : ombrel_key_t{code, modifiers};
}

/// A key that is told by its character and modifiers.
ombrel_key_t key_of_character(uint32_t code, uint32_t modifiers, uint8_t backspace) {
    constexpr uint32_t first_private = 0xe000, last_private = 0xf8ff, private_f13 = 57376,
                       private_f35 = 57398;
    if (code >= private_f13 && code <= private_f35)
        return {function(static_cast<int>(code - private_f13) + 13), modifiers};
    if ((code >= 0xd800 && code < first_private) || (code >= first_private && code <= last_private))
        return unknown_key;
    if (code >= 0x20 && code != 0x7f)
        return {static_cast<int32_t>(code), modifiers};
    ombrel_key_t key = key_of_byte(static_cast<uint8_t>(code), backspace);
    key.m_modifiers |= modifiers;
    return key;
}

ombrel_key_t key_with_tilde(const parameter_list& list, uint8_t backspace) {
    constexpr uint32_t other_key = 27, paste_begin = 200, paste_end = 201;
    switch (list.first()) {
    case paste_begin:
        return {def_ombrel_key_paste_begin, 0};
    case paste_end:
        return {def_ombrel_key_paste_end, 0};
    case other_key:
        return list.count == 3 ? key_of_character(list.at(2), modifiers_of(list.at(1)), backspace)
                               : unknown_key;
    default:
        return with(numbered_key(list.first()), modifiers_of(list.at(1)));
    }
}

/// Sequences that tell a letter or a number with its modifiers in the usual way.
ombrel_key_t usual_key(const parameter_list& list, char last, uint8_t backspace) {
    switch (last) {
    case '~':
        return key_with_tilde(list, backspace);
    case 'u':
        return list.count > 0 ? key_of_character(list.first(), modifiers_of(list.at(1)), backspace)
                              : unknown_key;
    case 'Z':
        return {def_ombrel_key_tab, def_ombrel_key_shift | modifiers_of(list.at(1))};
    case '$':
        return with(numbered_key(list.first()), def_ombrel_key_shift);
    case '^':
        return with(numbered_key(list.first()), def_ombrel_key_control);
    case '@':
        return with(numbered_key(list.first()), def_ombrel_key_shift | def_ombrel_key_control);
    default:
        return with(find_letter(cursor_letters, last), modifiers_of(list.at(1)));
    }
}

/// Letters that mean something else without a parameter than behind one.
ombrel_key_t bare_key(char last) {
    switch (last) {
    case 'I':
        return {def_ombrel_key_focus_in, 0};
    case 'O':
        return {def_ombrel_key_focus_out, 0};
    default:
        return with(find_letter(modified_arrows, last), def_ombrel_key_shift);
    }
}

} // namespace

ombrel_key_t key_of_byte(uint8_t byte, uint8_t backspace) {
    if (byte == 0x7f || (byte == 8 && backspace == 8))
        return {def_ombrel_key_backspace, 0};
    if (byte >= 0x20 || byte == def_ombrel_key_tab || byte == def_ombrel_key_enter ||
        byte == def_ombrel_key_escape)
        return {byte, 0};
    if (byte == 0)
        return {' ', def_ombrel_key_control};
    constexpr int to_letter = 0x60, to_sign = 0x40;
    return {byte + (byte <= 26 ? to_letter : to_sign), def_ombrel_key_control};
}

ombrel_key_t key_of_control_sequence(std::string_view parameters, char last, uint8_t backspace) {
    const parameter_list list(parameters);
    if (!list.is_good)
        return unknown_key;
    if (list.is_release())
        return {no_key, 0};
    const ombrel_key_t bare = parameters.empty() ? bare_key(last) : unknown_key;
    return bare.m_code != def_ombrel_key_unknown ? bare : usual_key(list, last, backspace);
}

ombrel_key_t key_of_single_shift(std::string_view parameters, char last) {
    uint32_t modifiers = 1;
    if (!parameters.empty() && !parse_number(parameters, 1u, 16u, modifiers))
        return unknown_key;
    const ombrel_key_t arrow = with(find_letter(modified_arrows, last), def_ombrel_key_control);
    if (arrow.m_code != def_ombrel_key_unknown)
        return arrow;
    const ombrel_key_t key = with(find_letter(cursor_letters, last), modifiers_of(modifiers));
    return key.m_code != def_ombrel_key_unknown
               ? key
               : with(find_letter(pad_letters, last), modifiers_of(modifiers));
}

ombrel_key_t key_of_linux_function(char last) {
    return last >= 'A' && last <= 'E' ? ombrel_key_t{function(last - 'A' + 1), 0} : unknown_key;
}

} // namespace ombrel::system
