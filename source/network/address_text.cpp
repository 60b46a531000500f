// Addresses to text.

#include <ombrel/address.h>

#include <algorithm>
#include <array>

#include <ombrel/printf.h>

#include "network/address_internal.h"
#include "text/digits.h"

using namespace ombrel;

namespace {

constexpr unsigned group_count = 8;

struct decimal_byte {
    char digits[3];
    uint8_t length;
};

constexpr std::array<decimal_byte, 256> make_decimal_bytes() {
    std::array<decimal_byte, 256> table{};
    for (unsigned value = 0; value < table.size(); value++) {
        decimal_byte& entry = table[value];
        if (value >= 100)
            entry.digits[entry.length++] = static_cast<char>('0' + value / 100);
        if (value >= 10)
            entry.digits[entry.length++] = static_cast<char>('0' + value / 10 % 10);
        entry.digits[entry.length++] = static_cast<char>('0' + value % 10);
    }
    return table;
}

struct zero_run {
    uint8_t start;
    uint8_t length;
    constexpr unsigned end() const { return start + unsigned{length}; }
};

// The longest run of set bits in every mask of zero groups, the first of equals. A run of one counts: a
// single zero group becomes "::", by design.
constexpr std::array<zero_run, 256> make_zero_runs() {
    std::array<zero_run, 256> table{};
    for (unsigned mask = 0; mask < table.size(); mask++) {
        zero_run& longest = table[mask];
        for (uint8_t start = 0; start < group_count; start++) {
            uint8_t length = 0;
            while (start + length < static_cast<int>(group_count) && (mask >> (start + length) & 1) != 0)
                length++;
            if (length > longest.length)
                longest = {start, length};
        }
    }
    return table;
}

constexpr std::array<decimal_byte, 256> decimal_bytes = make_decimal_bytes();
constexpr std::array<zero_run, 256> zero_runs = make_zero_runs();

// Writes a byte's decimal digits; up to two bytes behind them are overwritten.
char* put_decimal(char* out, uint8_t value) {
    const decimal_byte& entry = decimal_bytes[value];
    memcpy(out, entry.digits, sizeof entry.digits);
    return out + entry.length;
}

char* put_ipv4(char* out, const uint8_t* bytes) {
    for (size_t i = 0; i < ipv4_size; i++) {
        if (i > 0)
            *out++ = '.';
        out = put_decimal(out, bytes[i]);
    }
    return out;
}

char* put_group(char* out, unsigned group) {
    if (group >= 0x1000)
        *out++ = lower_digits[group >> 12];
    if (group >= 0x100)
        *out++ = lower_digits[group >> 8 & 15];
    if (group >= 0x10)
        *out++ = lower_digits[group >> 4 & 15];
    *out++ = lower_digits[group & 15];
    return out;
}

// Whether the last four bytes are printed as an IPv4 address: always in ::ffff:a.b.c.d, and in ::a.b.c.d
// where the zeros end before them, so that ::2 stays as it is.
bool has_ipv4_tail(const unsigned (&groups)[group_count], zero_run run) {
    if (run.start != 0)
        return false;
    return run.length == 6 || (run.length == 5 && groups[5] == 0xffff);
}

char* put_ipv6(char* out, const uint8_t* bytes) {
    unsigned groups[group_count];
    unsigned zeros = 0;
    for (unsigned i = 0; i < group_count; i++) {
        groups[i] = unsigned{bytes[2 * i]} << 8 | bytes[2 * i + 1];
        zeros |= unsigned{groups[i] == 0} << i;
    }
    const zero_run run = zero_runs[zeros];
    const bool ipv4_tail = has_ipv4_tail(groups, run);
    const unsigned count = ipv4_tail ? 6 : group_count;
    for (unsigned i = 0; i < count; i++) {
        if (run.length > 0 && i == run.start) {
            *out++ = ':';
            i = run.end() - 1;
            continue;
        }
        if (i > 0)
            *out++ = ':';
        out = put_group(out, groups[i]);
    }
    if (ipv4_tail) {
        *out++ = ':';
        return put_ipv4(out, bytes + 12);
    }
    if (run.length > 0 && run.end() == group_count)
        *out++ = ':';
    return out;
}

// "%" and ten digits.
constexpr size_t scope_text_size = 12;

char* put_scope(char* out, const sockaddr* address) {
    uint32_t scope_id;
    memcpy(&scope_id, reinterpret_cast<const char*>(address) + offsetof(sockaddr_in6, sin6_scope_id),
           sizeof scope_id);
    if (scope_id == 0)
        return out;
    return out + ombrel_snprintf(out, scope_text_size, "%%%lu", static_cast<unsigned long>(scope_id));
}

// Copies as much of a text as the caller's buffer holds, always terminated.
char* deliver(const char* text, size_t length, char* buffer, size_t size) {
    const size_t copied = std::min(length, size - 1);
    memcpy(buffer, text, copied);
    buffer[copied] = '\0';
    return buffer;
}

} // namespace

char* ombrel_inet_stopp(const struct sockaddr* addr, char* buf, size_t size, int* port_out) {
    const address_layout* const layout = find_layout(addr);
    if (port_out != nullptr)
        *port_out = layout == nullptr ? 0 : read_port(addr, *layout);
    if (buf == nullptr || size < 1)
        return nullptr;
    if (layout == nullptr) {
        if (addr != nullptr && addr->sa_family == AF_UNSPEC)
            return deliver("?UNSPEC", 7, buf, size);
        *buf = '\0';
        return nullptr;
    }
    char text[address_text_size];
    const uint8_t* const bytes = address_bytes(addr, *layout);
    char* const end = layout == &ipv4_layout ? put_ipv4(text, bytes) : put_scope(put_ipv6(text, bytes), addr);
    return deliver(text, static_cast<size_t>(end - text), buf, size);
}

char* ombrel_inet_stop(const struct sockaddr* addr, char* buf, size_t size) {
    return ombrel_inet_stopp(addr, buf, size, nullptr);
}

char* ombrel_inet_ntop(int family, const void* raw_addr, char* buf, size_t size) {
    if (buf == nullptr || size < 1)
        return nullptr;
    static constexpr uint8_t wildcard[ipv6_size] = {};
    const uint8_t* const bytes = raw_addr == nullptr ? wildcard : static_cast<const uint8_t*>(raw_addr);
    char text[address_text_size];
    char* end;
    if (family == AF_INET) {
        end = put_ipv4(text, bytes);
    } else if (family == AF_INET6) {
        end = put_ipv6(text, bytes);
    } else {
        *buf = '\0';
        return nullptr;
    }
    return deliver(text, static_cast<size_t>(end - text), buf, size);
}
