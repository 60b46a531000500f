#include <ombrel/packet.h>

#include <cstring>

#include "container/packet/packet_head.h"
#include "core/fault.h"
#include "core/heap_ptr.h"

using namespace ombrel;

namespace {

int refuse(fault_code why) {
    leave_fault(why);
    return -1;
}

bool is_payload(const void* data, size_t size) {
    return (data != nullptr || size == 0) && size <= 0xFFFFFFFF;
}

} // namespace

int ombrel_make_packet_head(void* head, uint32_t channel, uint16_t type, const void* data, size_t size) {
    if (head == nullptr || !is_payload(data, size))
        return refuse(fault_code::invalid);
    const uint32_t checksum = size > 0 ? ombrel_crc32_ieee_802_3(0, 0, data, size) : 0;
    packet_head{type, static_cast<uint32_t>(size), checksum}.put(static_cast<unsigned char*>(head), channel);
    return 0;
}

int64_t ombrel_push_packet(ombrel_buffer_t* buffer, uint32_t channel, uint16_t type, const void* data,
                           size_t size) {
    constexpr size_t head_size = def_ombrel_packet_head_size;
    if (buffer == nullptr || !is_payload(data, size))
        return refuse(fault_code::invalid);
    if (size > PTRDIFF_MAX - head_size)
        return refuse(fault_code::no_memory);
    // One block goes over whole or not at all.
    const size_t whole = head_size + size;
    heap_ptr<unsigned char> block(
        static_cast<unsigned char*>(ombrel_alloc_tag(whole, "ombrel_push_packet", __LINE__)));
    if (!block)
        return refuse(fault_code::no_memory);
    ombrel_make_packet_head(block.get(), channel, type, data, size);
    if (size > 0)
        memcpy(block.get() + head_size, data, size);
    if (ombrel_push_buffer_ex(buffer, block.get(), whole, def_ombrel_buffer_flag_own) != whole) {
        block.reset();
        return refuse(fault_code::no_memory);
    }
    block.release();
    return static_cast<int64_t>(whole);
}
