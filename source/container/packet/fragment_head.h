// The head of a fragment.
#pragma once

#include <cstddef>
#include <cstdint>

#include <ombrel/crc.h>
#include <ombrel/fragment.h>

#include "container/packet/wire_number.h"

namespace ombrel {

struct fragment_head {
    static constexpr unsigned char mark = 0xF6;
    static constexpr size_t size = def_ombrel_fragment_head_size, checked = 16;

    uint32_t identifier, offset, total;
    size_t data_size;

    bool is_last() const { return offset + uint64_t{data_size} == total; }

    /// @param fragment room for the head, with the data behind it already
    void put(unsigned char* fragment) const {
        fragment[0] = mark;
        fragment[1] = is_last() ? 1 : 0;
        put_wire16(fragment + 2, 0);
        put_wire32(fragment + 4, identifier);
        put_wire32(fragment + 8, offset);
        put_wire32(fragment + 12, total);
        put_wire32(fragment + checked, checksum(fragment));
    }
    /// False when it is none that could ever be part of a datagram.
    bool get(const unsigned char* fragment, size_t fragment_size) {
        if (fragment_size < size || fragment[0] != mark || get_wire16(fragment + 2) != 0)
            return false;
        *this = {get_wire32(fragment + 4), get_wire32(fragment + 8), get_wire32(fragment + 12),
                 fragment_size - size};
        return offset + uint64_t{data_size} <= total && fragment[1] == (is_last() ? 1 : 0) &&
               (data_size > 0 || total == 0) && get_wire32(fragment + checked) == checksum(fragment);
    }

private:
    uint32_t checksum(const unsigned char* fragment) const {
        const uint32_t head = ombrel_crc32_ieee_802_3(0, 0, fragment, checked);
        return data_size > 0 ? ombrel_crc32_ieee_802_3(0, head, fragment + size, data_size) : head;
    }
};

} // namespace ombrel
