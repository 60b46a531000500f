// The head of a packet.
#pragma once

#include <cstddef>
#include <cstdint>

#include <ombrel/crc.h>
#include <ombrel/packet.h>

#include "container/packet/wire_number.h"

namespace ombrel {

struct packet_head {
    static constexpr unsigned char first = 0xF5, second = 0xA7;

    uint32_t type, size, checksum;

    /// @param to room for def_ombrel_packet_head_size bytes
    void put(unsigned char* to, uint32_t channel) const {
        to[0] = first;
        to[1] = second;
        put_wire16(to + 2, type);
        put_wire32(to + 4, size);
        put_wire32(to + 8, checksum);
        put_wire32(to + 12, ombrel_crc32_ieee_802_3(0, channel, to, 12));
    }
    /// False when it is none.
    bool get(const unsigned char* from, uint32_t channel) {
        if (from[0] != first || from[1] != second ||
            get_wire32(from + 12) != ombrel_crc32_ieee_802_3(0, channel, from, 12))
            return false;
        *this = {get_wire16(from + 2), get_wire32(from + 4), get_wire32(from + 8)};
        return true;
    }
};

} // namespace ombrel
