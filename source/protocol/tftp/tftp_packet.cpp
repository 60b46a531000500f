#include "protocol/tftp/tftp_packet.h"

#include <algorithm>
#include <cstring>

#include <ombrel/printf.h>

#include "text/number.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

constexpr std::string_view block_size_option = "blksize", timeout_option = "timeout", size_option = "tsize";

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

/// Option names are compared without regard to case, as requests and answers may differ in it.
bool is_option(std::string_view name, std::string_view expected) {
    return std::equal(name.begin(), name.end(), expected.begin(), expected.end(),
                      [](char a, char b) { return (a >= 'A' && a <= 'Z' ? a - 'A' + 'a' : a) == b; });
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
    if (is_option(name, block_size_option))
        return take_option(value, least_tftp_block, most_tftp_block, options.block_size);
    if (is_option(name, timeout_option))
        return take_option(value, 1, 255, options.timeout_seconds);
    return is_option(name, size_option) && take_option(value, 0, UINT64_MAX, options.transfer_size);
}

bool parse_options(std::span<const uint8_t> bytes, tftp_options& options) {
    while (!bytes.empty()) {
        std::string_view name, value;
        if (!take_text(bytes, name) || !take_text(bytes, value) || !take_option(name, value, options))
            return false;
    }
    return true;
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

size_t write_tftp_request(std::span<uint8_t> room, tftp_opcode opcode, std::string_view name,
                          const tftp_options& options) {
    if (name.empty() || name.find('\0') != name.npos)
        return 0;
    packet_writer writer(room);
    writer.add_word(static_cast<uint16_t>(opcode));
    writer.add_text(name);
    writer.add_text("octet");
    if (options.block_size)
        writer.add_option(block_size_option, *options.block_size);
    if (options.timeout_seconds)
        writer.add_option(timeout_option, *options.timeout_seconds);
    if (options.transfer_size)
        writer.add_option(size_option, *options.transfer_size);
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
