#include "protocol/ftp/ftp_address.h"

#include <ombrel/printf.h>

namespace ombrel::protocol {

namespace {

constexpr uint8_t mapped_prefix[] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};

const uint8_t* bytes_of(const endpoint& address) {
    return address_bytes(address.get(), *find_layout(address.family()));
}

} // namespace

endpoint plain_ftp_address(const endpoint& address) {
    if (address.family() != AF_INET6 || memcmp(bytes_of(address), mapped_prefix, sizeof mapped_prefix) != 0)
        return address;
    endpoint plain;
    plain.set_raw(AF_INET, bytes_of(address) + sizeof mapped_prefix);
    return plain;
}

void write_ftp_extended_address(const endpoint& address, int port, char (&text)[ftp_address_room]) {
    const endpoint plain = plain_ftp_address(address);
    char numeric[address_text_size];
    ombrel_inet_ntop(plain.family(), bytes_of(plain), numeric, sizeof numeric); // without a scope
    ombrel_snprintf(text, sizeof text, "|%d|%s|%d|", plain.family() == AF_INET6 ? 2 : 1, numeric, port);
}

bool write_ftp_address(const endpoint& address, int port, char (&text)[ftp_address_room]) {
    const endpoint plain = plain_ftp_address(address);
    if (plain.family() != AF_INET)
        return false;
    const uint8_t* const bytes = bytes_of(plain);
    ombrel_snprintf(text, sizeof text, "%d,%d,%d,%d,%d,%d", bytes[0], bytes[1], bytes[2], bytes[3], port >> 8,
                    port & 0xff);
    return true;
}

bool is_ftp_address(const endpoint& address, const uint8_t* bytes) {
    const endpoint plain = plain_ftp_address(address);
    return plain.family() == AF_INET && memcmp(bytes_of(plain), bytes, ipv4_size) == 0;
}

} // namespace ombrel::protocol
