// Text to addresses. The readers take a position in the text and give the position behind what they read, or
// null when it is not there.

#include <ombrel/address.h>

#include <array>

#include <ombrel/network_interface.h>

#include "network/address_internal.h"
#include "text/digits.h"
#include "text/number.h"

using namespace ombrel;

namespace {

constexpr unsigned group_count = 8;

// Interface names are shorter on every platform.
constexpr size_t interface_name_size = 256;

/// 0 to 9 for a decimal digit, more for any other character.
unsigned decimal_value(char c) {
    return static_cast<uint8_t>(c) - unsigned{'0'};
}

// One to `max_digits` decimal digits up to `limit`.
const char* read_number(const char* at, size_t max_digits, unsigned limit, unsigned& value) {
    std::string_view text(at, strnlen(at, max_digits));
    return take_number(text, 0u, limit, value) ? text.data() : nullptr;
}

// Shifts one byte of a dotted address, three digits at most, into the word: by hand, as no number is read
// more often.
const char* read_byte(const char* at, uint32_t& word) {
    unsigned value = decimal_value(at[0]);
    if (value > 9)
        return nullptr;
    unsigned length = 1;
    if (const unsigned second = decimal_value(at[1]); second <= 9) {
        value = value * 10 + second;
        length = 2;
        if (const unsigned third = decimal_value(at[2]); third <= 9) {
            value = value * 10 + third;
            length = 3;
        }
    }
    word = word << 8 | value;
    return value <= 255 ? at + length : nullptr;
}

// The bytes are stored together: a word that is loaded right after four stores of bytes waits for them.
const char* read_ipv4(const char* at, uint8_t* bytes) {
    uint32_t word = 0;
    for (size_t i = 0; i < ipv4_size; i++) {
        if (i > 0 && *at++ != '.')
            return nullptr;
        if ((at = read_byte(at, word)) == nullptr)
            return nullptr;
    }
    bytes[0] = static_cast<uint8_t>(word >> 24);
    bytes[1] = static_cast<uint8_t>(word >> 16);
    bytes[2] = static_cast<uint8_t>(word >> 8);
    bytes[3] = static_cast<uint8_t>(word);
    return at;
}

// One to four hex digits; the position does not move when there is none.
const char* read_group(const char* at, unsigned& group) {
    group = 0;
    for (int digits = 0; digits < 4; digits++) {
        const unsigned digit = digit_value(*at);
        if (digit == no_digit)
            break;
        group = group << 4 | digit;
        at++;
    }
    return at;
}

constexpr unsigned no_gap = group_count + 1;

// The groups as they stand in the text, before those behind "::" move to the right.
struct group_reader {
    uint8_t* bytes;
    unsigned count = 0;
    unsigned gap = no_gap; ///< how many groups stand before "::"

    const char* read(const char* at);
    bool align();
};

const char* group_reader::read(const char* at) {
    if (at[0] == ':') {
        if (at[1] != ':')
            return nullptr;
        gap = 0;
        at += 2;
    }
    while (count < group_count) {
        unsigned group;
        const char* const end = read_group(at, group);
        if (end == at) // "::" may end the groups, but a third colon is a mistake rather than a port
            return gap == count && *at != ':' ? at : nullptr;
        if (*end == '.') {
            if (count > group_count - 2)
                return nullptr;
            at = read_ipv4(at, bytes + 2 * count);
            count += 2;
            return at;
        }
        bytes[2 * count] = static_cast<uint8_t>(group >> 8);
        bytes[2 * count + 1] = static_cast<uint8_t>(group);
        count++;
        at = end;
        if (*at != ':')
            return at;
        if (at[1] == ':') {
            if (gap != no_gap)
                return nullptr;
            gap = count;
            at += 2;
        } else if (count < group_count) {
            at++;
        }
    }
    return at;
}

// "::" stands for one group at least; without it all eight must be there.
bool group_reader::align() {
    if (gap == no_gap)
        return count == group_count;
    if (count >= group_count)
        return false;
    const unsigned moved = 2 * (count - gap);
    memmove(bytes + ipv6_size - moved, bytes + 2 * gap, moved);
    memset(bytes + 2 * gap, 0, ipv6_size - 2 * count);
    return true;
}

const char* read_ipv6(const char* at, uint8_t* bytes) {
    group_reader groups{bytes};
    at = groups.read(at);
    return at != nullptr && groups.align() ? at : nullptr;
}

bool ends_scope(char c, bool bracketed) {
    return c == '\0' || c == '/' || (bracketed && c == ']');
}

const char* read_scope_number(const char* at, bool bracketed, uint32_t& scope_id) {
    uint32_t value;
    std::string_view text = at;
    if (!take_number(text, uint32_t{0}, UINT32_MAX, value))
        return nullptr;
    const char* const end = text.data();
    if (*end != ':' && !ends_scope(*end, bracketed))
        return nullptr;
    scope_id = value;
    return end;
}

const char* read_scope_name(const char* at, bool bracketed, uint32_t& scope_id) {
    char name[interface_name_size];
    size_t length = 0;
    for (; !ends_scope(at[length], bracketed); length++) {
        if (length + 1 == sizeof name)
            return nullptr;
        name[length] = at[length];
    }
    name[length] = '\0';
    scope_id = length == 0 ? 0 : ombrel_interface_name_to_index(name);
    return scope_id == 0 ? nullptr : at + length;
}

const char* read_scope(const char* at, bool bracketed, uint32_t& scope_id) {
    const char* const end = read_scope_number(at, bracketed, scope_id);
    return end != nullptr ? end : read_scope_name(at, bracketed, scope_id);
}

struct suffix_rules {
    unsigned prefix_digits;
    unsigned prefix_limit;
};

constexpr suffix_rules ipv4_suffix{2, 32};
constexpr suffix_rules ipv6_suffix{3, 128};

// What may follow the address: a prefix length (checked, then ignored), the closing bracket and a port.
bool read_suffix(const char* at, bool bracketed, const suffix_rules& rules, int& port) {
    unsigned value;
    if (*at == '/' && (at = read_number(at + 1, rules.prefix_digits, rules.prefix_limit, value)) == nullptr)
        return false;
    if (bracketed && *at++ != ']')
        return false;
    if (*at == ':') {
        if ((at = read_number(at + 1, 5, max_port, value)) == nullptr)
            return false;
        port = static_cast<int>(value);
    }
    return *at == '\0';
}

bool parse_ipv4(const char* at, parsed_address& result) {
    const bool bracketed = *at == '[';
    at = read_ipv4(at + bracketed, result.bytes);
    result.family = AF_INET;
    return at != nullptr && (*at == '\0' ? !bracketed : read_suffix(at, bracketed, ipv4_suffix, result.port));
}

bool parse_ipv6(const char* at, parsed_address& result) {
    const bool bracketed = *at == '[';
    at = read_ipv6(at + bracketed, result.bytes);
    if (at != nullptr && *at == '%')
        at = read_scope(at + 1, bracketed, result.scope_id);
    result.family = AF_INET6;
    return at != nullptr && (*at == '\0' ? !bracketed : read_suffix(at, bracketed, ipv6_suffix, result.port));
}

} // namespace

bool ombrel::parse_address(int family, const char* text, parsed_address& result) {
    result.scope_id = 0;
    result.port = -1;
    if (text == nullptr)
        return false;
    if (family == AF_INET)
        return parse_ipv4(text, result);
    if (family == AF_INET6)
        return parse_ipv6(text, result);
    return family == AF_UNSPEC && (parse_ipv4(text, result) || (result.port = -1, parse_ipv6(text, result)));
}

void ombrel::write_address(const parsed_address& parsed, int port, void* out, size_t size) {
    sockaddr_storage record{};
    const address_layout& layout = *find_layout(parsed.family);
    sockaddr* const address = reinterpret_cast<sockaddr*>(&record);
    address->sa_family = static_cast<decltype(address->sa_family)>(parsed.family);
    write_port(address, layout, port);
    memcpy(address_bytes(address, layout), parsed.bytes, layout.address_size);
    if (parsed.family == AF_INET6)
        reinterpret_cast<sockaddr_in6*>(&record)->sin6_scope_id = parsed.scope_id;
    memset(out, 0, size);
    memcpy(out, &record, layout.record_size);
}

int ombrel_inet_ptos(int family, const char* text, int default_port, void* addr_out, size_t addr_size) {
    parsed_address parsed;
    bool good = parse_address(family, text, parsed);
    const int port = good && parsed.port >= 0 ? parsed.port : default_port;
    good = good && is_port(port);
    if (addr_out == nullptr)
        return good ? 0 : -1;
    if (!good || addr_size < find_layout(parsed.family)->record_size) {
        memset(addr_out, 0, addr_size);
        return -1;
    }
    write_address(parsed, port, addr_out, addr_size);
    return 0;
}

int ombrel_inet_pton(int family, const char* text, void* raw_out) {
    parsed_address parsed;
    if (!parse_address(family, text, parsed))
        return -1;
    if (raw_out != nullptr)
        memcpy(raw_out, parsed.bytes, find_layout(parsed.family)->address_size);
    return 0;
}
