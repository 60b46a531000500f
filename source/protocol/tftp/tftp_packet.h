// TFTP packets (RFC 1350) and their options (RFC 2347 to 2349), apart from any transfer.
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
inline constexpr size_t most_tftp_request = 512;

/// Options as asked for or granted; what has no value is not in the packet.
struct tftp_options {
    std::optional<size_t> block_size;
    std::optional<unsigned> timeout_seconds; ///< 1 to 255
    std::optional<uint64_t> transfer_size;
};

/// A packet of the peer. Its parts point into the bytes it was read from.
struct tftp_packet {
    tftp_opcode opcode;
    uint16_t number;               ///< the block, or the error's code
    std::span<const uint8_t> body; ///< of data
    std::string_view text;         ///< of an error
    tftp_options options;          ///< of an option acknowledgement
    bool options_valid;            ///< false when it names others, one twice, or values out of range
};

/// Reads a packet as a client gets it. False for requests and for what is no packet.
bool parse_tftp_packet(std::span<const uint8_t> bytes, tftp_packet& packet);

/// Writes a request in octet mode. @return its bytes, 0 when the name is empty or there is no room
size_t write_tftp_request(std::span<uint8_t> room, tftp_opcode opcode, std::string_view name,
                          const tftp_options& options);

/// Writes the head of a data packet, or an acknowledgement, which has no more than that.
size_t write_tftp_block_header(std::span<uint8_t> room, tftp_opcode opcode, uint16_t block);

/// Writes an error. @return its bytes, 0 when there is no room
size_t write_tftp_error(std::span<uint8_t> room, tftp_error_code code, std::string_view text);

} // namespace ombrel::protocol
