// The packet, and the texts of what is in it.
#include <ombrel/wake_on_lan.h>

#include <algorithm>
#include <cstring>
#include <string_view>

#include "core/fault.h"
#include "system/time/counted_text.h"
#include "text/digits.h"
#include "text/number.h"
#include "text/slice.h"

using namespace ombrel;

namespace {

using std::string_view;

constexpr size_t mac_size = def_ombrel_mac_address_size;
constexpr size_t short_password = 4;

/// Reads on from a place, which stays at what does not fit.
struct text_reader {
    string_view text;
    size_t at = 0;

    bool is_over() const { return at == text.size(); }

    bool take(char c) {
        const bool is_there = !is_over() && text[at] == c;
        at += is_there ? 1 : 0;
        return is_there;
    }

    bool take_pair(uint8_t& byte) {
        for (int i = 0; i < 2; i++, at++) {
            if (is_over() || digit_value(text[at]) == no_digit)
                return false;
            byte = static_cast<uint8_t>(unsigned{byte} << 4 | digit_value(text[at]));
        }
        return true;
    }

    bool take_decimal(uint8_t& byte) {
        string_view rest = slice(text, at);
        const bool is_there = take_number(rest, uint8_t{0}, uint8_t{255}, byte);
        at = text.size() - rest.size();
        return is_there;
    }
};

/// What stands after how many bytes.
struct mac_form {
    char separator;
    size_t bytes;
};

mac_form form_of(string_view text) {
    constexpr mac_form in_fours = {'.', 2}, plain = {'\0', mac_size};
    for (const char separator : {':', '-', '.'})
        if (slice(text, 2).starts_with(separator))
            return {separator, 1};
    return slice(text, 4).starts_with('.') ? in_fours : plain;
}

bool read_mac(text_reader& reader, uint8_t* bytes) {
    const mac_form form = form_of(reader.text);
    for (size_t i = 0; i < mac_size; i++) {
        const bool is_separated = i > 0 && i % form.bytes == 0;
        if ((is_separated && !reader.take(form.separator)) || !reader.take_pair(bytes[i]))
            return false;
    }
    return reader.is_over();
}

bool read_four(text_reader& reader, uint8_t* bytes) {
    for (size_t i = 0; i < short_password; i++)
        if ((i > 0 && !reader.take('.')) || !reader.take_decimal(bytes[i]))
            return false;
    return reader.is_over();
}

bool is_dotted(string_view text) {
    return std::count(text.begin(), text.end(), '.') == short_password - 1;
}

int refuse_at(size_t offset, size_t* fault_at) {
    if (fault_at != nullptr)
        *fault_at = offset;
    leave_fault(fault_code::invalid);
    return -1;
}

bool is_password(const ombrel_wake_password_t* password) {
    return password == nullptr || password->m_size == 0 || password->m_size == short_password ||
           password->m_size == def_ombrel_wake_password_max;
}

} // namespace

int ombrel_parse_mac_address(const char* text, uint8_t* mac, size_t* fault_at) {
    uint8_t bytes[mac_size]{};
    if (text == nullptr || mac == nullptr)
        return refuse_at(0, fault_at);
    text_reader reader{text};
    if (!read_mac(reader, bytes))
        return refuse_at(reader.at, fault_at);
    memcpy(mac, bytes, sizeof bytes);
    return 0;
}

int ombrel_format_mac_address(char* buf, size_t size, const uint8_t* mac) {
    system::counted_text text(buf, buf != nullptr ? size : 0);
    if (mac == nullptr)
        return refuse_at(0, nullptr);
    for (size_t i = 0; i < mac_size; i++) {
        char pair[2];
        put_hex(pair, mac[i], lower_digits);
        text.put(string_view(i > 0 ? ":" : ""));
        text.put(string_view(pair, sizeof pair));
    }
    return text.end();
}

int ombrel_parse_wake_password(const char* text, ombrel_wake_password_t* password, size_t* fault_at) {
    ombrel_wake_password_t read{};
    if (text == nullptr || password == nullptr)
        return refuse_at(0, fault_at);
    text_reader reader{text};
    const bool is_short = is_dotted(reader.text);
    if (!(is_short ? read_four : read_mac)(reader, read.m_bytes))
        return refuse_at(reader.at, fault_at);
    read.m_size = is_short ? short_password : def_ombrel_wake_password_max;
    *password = read;
    return 0;
}

int64_t ombrel_make_wake_packet(const uint8_t* mac, const ombrel_wake_password_t* password, void* buffer,
                                size_t size) {
    constexpr size_t start = 6, copies = 16;
    static_assert(start + copies * mac_size == def_ombrel_wake_packet_size);
    if (mac == nullptr || buffer == nullptr || !is_password(password))
        return refuse_at(0, nullptr);
    const size_t extra = password != nullptr ? password->m_size : 0;
    if (size < def_ombrel_wake_packet_size + extra)
        return leave_fault(fault_code::too_large), -1;
    auto* at = static_cast<uint8_t*>(buffer);
    at = std::fill_n(at, start, uint8_t{0xff});
    for (size_t i = 0; i < copies; i++)
        at = std::copy_n(mac, mac_size, at);
    if (extra > 0)
        memcpy(at, password->m_bytes, extra);
    return static_cast<int64_t>(def_ombrel_wake_packet_size + extra);
}
