#include "protocol/tftp/tftp_packet.h"

#include <algorithm>
#include <cstring>

#include <ombrel/printf.h>

#include "text/number.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

constexpr std::string_view block_size_option = "blksize", timeout_option = "timeout", size_option = "tsize",
                           window_size_option = "windowsize";
constexpr std::string_view octet_mode = "octet", netascii_mode = "netascii";

uint16_t read_word(const uint8_t* at) {
    return static_cast<uint16_t>(at[0] << 8 | at[1]);
}

/// Takes the text up to the next zero off the front. False when there is no zero.
bool take_text(std::span<const uint8_t>& bytes, std::string_view& text) {
    const auto zero = std::find(bytes.begin(), bytes.end(), 0);
    if (zero == bytes.end())
        return false;
    const size_t length = static_cast<size_t>(zero - bytes.begin());
    text = {reinterpret_cast<const char*>(bytes.data()), length};
    bytes = bytes.subspan(length + 1);
    return true;
}

constexpr char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// Names of options and modes are compared without regard to case, as requests and answers may differ in it.
bool is_name(std::string_view name, std::string_view other) {
    return std::equal(name.begin(), name.end(), other.begin(), other.end(),
                      [](char a, char b) { return lower(a) == lower(b); });
}

template<typename Number>
bool take_option(std::string_view value, uint64_t least, uint64_t most, std::optional<Number>& option) {
    uint64_t number;
    if (option || !parse_number(value, least, most, number))
        return false;
    option = static_cast<Number>(number);
    return true;
}

bool take_option(std::string_view name, std::string_view value, tftp_options& options) {
    if (is_name(name, block_size_option))
        return take_option(value, least_tftp_block, most_tftp_block, options.block_size);
    if (is_name(name, timeout_option))
        return take_option(value, 1, 255, options.timeout_seconds);
    if (is_name(name, window_size_option))
        return take_option(value, 1, UINT16_MAX, options.window_size);
    return is_name(name, size_option) && take_option(value, 0, UINT64_MAX, options.transfer_size);
}

bool parse_options(std::span<const uint8_t> bytes, tftp_options& options) {
    while (!bytes.empty()) {
        std::string_view name, value;
        if (!take_text(bytes, name) || !take_text(bytes, value) || !take_option(name, value, options))
            return false;
    }
    return true;
}

bool is_named(std::span<const std::string_view> names, std::string_view name) {
    return std::any_of(names.begin(), names.end(), [&](auto other) { return is_name(other, name); });
}

/// Those of a request: unknown ones and values out of range are left out, as RFC 2347 has it.
bool parse_asked_options(std::span<const uint8_t> bytes, tftp_options& options) {
    constexpr size_t most_options = 16;
    std::string_view names[most_options];
    for (size_t count = 0; !bytes.empty(); count++) {
        std::string_view value;
        if (count == most_options || !take_text(bytes, names[count]) || !take_text(bytes, value) ||
            is_named({names, count}, names[count]))
            return false;
        take_option(names[count], value, options);
    }
    return true;
}

bool parse_mode(std::string_view text, tftp_mode& mode) {
    mode = is_name(text, netascii_mode) ? tftp_mode::netascii : tftp_mode::octet;
    return mode == tftp_mode::netascii || is_name(text, octet_mode);
}

/// Fills a packet from its front; once something does not fit, the result is 0.
class packet_writer {
public:
    explicit packet_writer(std::span<uint8_t> room) : room_(room) {}

    void add(const void* data, size_t size) {
        fits_ = fits_ && size <= room_.size() - size_;
        if (!fits_)
            return;
        memcpy(room_.data() + size_, data, size);
        size_ += size;
    }
    void add_word(uint16_t word) {
        const uint8_t bytes[] = {static_cast<uint8_t>(word >> 8), static_cast<uint8_t>(word)};
        add(bytes, sizeof bytes);
    }
    void add_text(std::string_view text) {
        add(text.data(), text.size());
        add("", 1);
    }
    void add_option(std::string_view name, uint64_t value) {
        char digits[24];
        ombrel_snprintf(digits, sizeof digits, "%llu", static_cast<unsigned long long>(value));
        add_text(name);
        add_text(digits);
    }
    void add_options(const tftp_options& options) {
        if (options.block_size)
            add_option(block_size_option, *options.block_size);
        if (options.timeout_seconds)
            add_option(timeout_option, *options.timeout_seconds);
        if (options.transfer_size)
            add_option(size_option, *options.transfer_size);
        if (options.window_size)
            add_option(window_size_option, *options.window_size);
    }
    size_t size() const { return fits_ ? size_ : 0; }

private:
    std::span<uint8_t> room_;
    size_t size_ = 0;
    bool fits_ = true;
};

} // namespace

bool parse_tftp_packet(std::span<const uint8_t> bytes, tftp_packet& packet) {
    packet = {};
    if (bytes.size() < 2)
        return false;
    packet.opcode = static_cast<tftp_opcode>(read_word(bytes.data()));
    if (packet.opcode == tftp_opcode::option_acknowledgement) {
        packet.options_valid = parse_options(bytes.subspan(2), packet.options);
        return true;
    }
    if (bytes.size() < tftp_header_size)
        return false;
    packet.number = read_word(bytes.data() + 2);
    packet.body = bytes.subspan(tftp_header_size);
    switch (packet.opcode) {
    case tftp_opcode::data:
    case tftp_opcode::acknowledgement:
        return true;
    case tftp_opcode::error:
        // Some servers leave the final zero out.
        packet.text = {reinterpret_cast<const char*>(packet.body.data()), packet.body.size()};
        packet.text = slice(packet.text, 0, packet.text.find('\0'));
        return true;
    default:
        return false;
    }
}

tftp_request_fault parse_tftp_request(std::span<const uint8_t> bytes, tftp_request_packet& packet) {
    packet = {};
    if (bytes.size() < 2)
        return tftp_request_fault::other;
    packet.opcode = static_cast<tftp_opcode>(read_word(bytes.data()));
    if (packet.opcode != tftp_opcode::read_request && packet.opcode != tftp_opcode::write_request)
        return tftp_request_fault::other;
    const bool too_long = bytes.size() > most_tftp_request;
    bytes = bytes.subspan(2);
    std::string_view mode;
    if (too_long || !take_text(bytes, packet.name) || packet.name.empty() || !take_text(bytes, mode) ||
        !parse_mode(mode, packet.mode))
        return tftp_request_fault::malformed;
    return parse_asked_options(bytes, packet.options) ? tftp_request_fault::none
                                                      : tftp_request_fault::options;
}

size_t write_tftp_request(std::span<uint8_t> room, tftp_opcode opcode, std::string_view name,
                          const tftp_options& options, tftp_mode mode) {
    if (name.empty() || name.find('\0') != name.npos)
        return 0;
    packet_writer writer(room);
    writer.add_word(static_cast<uint16_t>(opcode));
    writer.add_text(name);
    writer.add_text(mode == tftp_mode::netascii ? netascii_mode : octet_mode);
    writer.add_options(options);
    return writer.size();
}

size_t write_tftp_option_acknowledgement(std::span<uint8_t> room, const tftp_options& options) {
    packet_writer writer(room);
    writer.add_word(static_cast<uint16_t>(tftp_opcode::option_acknowledgement));
    writer.add_options(options);
    return writer.size();
}

size_t write_tftp_block_header(std::span<uint8_t> room, tftp_opcode opcode, uint16_t block) {
    packet_writer writer(room);
    writer.add_word(static_cast<uint16_t>(opcode));
    writer.add_word(block);
    return writer.size();
}

size_t write_tftp_error(std::span<uint8_t> room, tftp_error_code code, std::string_view text) {
    packet_writer writer(room);
    writer.add_word(static_cast<uint16_t>(tftp_opcode::error));
    writer.add_word(static_cast<uint16_t>(code));
    writer.add_text(text);
    return writer.size();
}

} // namespace ombrel::protocol
