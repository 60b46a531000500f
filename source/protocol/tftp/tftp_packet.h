// TFTP packets (RFC 1350) and their options (RFC 2347 to 2349, 7440), apart from any transfer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace ombrel::protocol {

enum class tftp_opcode : uint16_t {
    read_request = 1,
    write_request = 2,
    data = 3,
    acknowledgement = 4,
    error = 5,
    option_acknowledgement = 6,
};

enum class tftp_error_code : uint16_t {
    not_defined = 0,
    file_not_found = 1,
    access_violation = 2,
    disk_full = 3,
    illegal_operation = 4,
    unknown_transfer = 5,
    file_exists = 6,
    no_such_user = 7,
    option_refused = 8,
};

inline constexpr size_t tftp_header_size = 4;
inline constexpr size_t plain_tftp_block = 512;
inline constexpr size_t least_tftp_block = 8, most_tftp_block = 65464;
inline constexpr unsigned most_tftp_window = 64;    ///< what either side here asks for or grants
inline constexpr int tftp_receive_buffer = 1 << 20; ///< where a window may have to wait as a whole
inline constexpr size_t most_tftp_request = 512;

/// How bytes travel; the numbers are those of users.
enum class tftp_mode { octet, netascii };

/// Options as asked for or granted; what has no value is not in the packet.
struct tftp_options {
    std::optional<size_t> block_size;
    std::optional<unsigned> timeout_seconds; ///< 1 to 255
    std::optional<uint64_t> transfer_size;
    std::optional<unsigned> window_size; ///< blocks between acknowledgements, 1 to 65535

    bool is_any() const { return block_size || timeout_seconds || transfer_size || window_size; }
};

/// A request, as a server gets it. Its name points into the bytes it was read from, where a zero follows it.
struct tftp_request_packet {
    tftp_opcode opcode; ///< to read or to write
    std::string_view name;
    tftp_mode mode;
    tftp_options options; ///< those known here, with values that make sense; the others are left out
};

/// What is wrong with a packet to a server's own port.
enum class tftp_request_fault {
    none,
    other,     ///< no request: not to be answered
    malformed, ///< a request without an end, with too much of it, or for an unknown mode
    options,   ///< a request with an option that is named twice, or without a value
};

/// Reads a packet to a server's own port.
tftp_request_fault parse_tftp_request(std::span<const uint8_t> bytes, tftp_request_packet& packet);

/// A packet of the peer. Its parts point into the bytes it was read from.
struct tftp_packet {
    tftp_opcode opcode;
    uint16_t number;               ///< the block, or the error's code
    std::span<const uint8_t> body; ///< of data
    std::string_view text;         ///< of an error
    tftp_options options;          ///< of an option acknowledgement
    bool options_valid;            ///< false when it names others, one twice, or values out of range
};

/// Reads a packet of a transfer. False for requests and for what is no packet.
bool parse_tftp_packet(std::span<const uint8_t> bytes, tftp_packet& packet);

/// Writes a request. @return its bytes, 0 when the name is empty or there is no room
size_t write_tftp_request(std::span<uint8_t> room, tftp_opcode opcode, std::string_view name,
                          const tftp_options& options, tftp_mode mode = tftp_mode::octet);

/// Writes what is granted of a request's options. @return its bytes, 0 when there is no room
size_t write_tftp_option_acknowledgement(std::span<uint8_t> room, const tftp_options& options);

/// Writes the head of a data packet, or an acknowledgement, which has no more than that.
size_t write_tftp_block_header(std::span<uint8_t> room, tftp_opcode opcode, uint16_t block);

/// Writes an error. @return its bytes, 0 when there is no room
size_t write_tftp_error(std::span<uint8_t> room, tftp_error_code code, std::string_view text);

} // namespace ombrel::protocol
