// Reads any bytes as a packet of a TFTP server; what is understood must be within the bytes and the limits.

#include <cstdint>
#include <cstdlib>

#include "protocol/tftp/tftp_packet.h"
#include "support/require.h"

namespace {

using namespace ombrel::protocol;

void check_options(const tftp_options& options) {
    require(!options.block_size ||
            (*options.block_size >= least_tftp_block && *options.block_size <= most_tftp_block));
    require(!options.timeout_seconds || (*options.timeout_seconds >= 1 && *options.timeout_seconds <= 255));
}

/// A name taken from the bytes goes into a request that ends within its room or into none.
void check_request(std::span<const uint8_t> bytes, const tftp_options& options) {
    uint8_t room[most_tftp_request + 1];
    room[most_tftp_request] = 0xa5;
    const std::string_view name(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    const size_t size =
        write_tftp_request({room, most_tftp_request}, tftp_opcode::read_request, name, options);
    require(size <= most_tftp_request && room[most_tftp_request] == 0xa5);
    require((size > 0) <= (name.find('\0') == name.npos && !name.empty()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::span<const uint8_t> bytes(data, size);
    tftp_packet packet;
    if (parse_tftp_packet(bytes, packet)) {
        require(packet.body.size() + tftp_header_size <= size || packet.body.empty());
        require(packet.text.size() <= packet.body.size());
        if (packet.options_valid)
            check_options(packet.options);
        require(!packet.options_valid || packet.opcode == tftp_opcode::option_acknowledgement);
    }
    check_request(bytes, packet.options);
    return 0;
}
