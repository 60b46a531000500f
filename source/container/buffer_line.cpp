#include <ombrel/buffer.h>

#include <bit>
#include <cstring>
#include <utility>

#include <ombrel/heap.h>

#include "container/buffer_internal.h"

using namespace ombrel;

namespace {

constexpr uint32_t line_end_seen = def_ombrel_buffer_flag_line_feed | def_ombrel_buffer_flag_carriage_return;

bool is_line_end(unsigned char byte) {
    return byte == '\n' || byte == '\r';
}

// Special is what may end a line or have a trail byte: non-ASCII bytes and the control characters up to CR.
constexpr signed char last_special = '\r';

bool is_special(unsigned char byte) {
    return static_cast<signed char>(byte) <= last_special;
}

size_t first_byte_of(uint64_t marks) {
    const bool little = std::endian::native == std::endian::little;
    return static_cast<size_t>(little ? std::countr_zero(marks) : std::countl_zero(marks)) / 8;
}

// A lane is as many bytes as are examined at once; its marks have bits set in the special bytes alone.
#if defined(__SSE2__) || defined(__ARM_NEON)
using lane = signed char __attribute__((vector_size(16)));
using lane_halves = long long __attribute__((vector_size(16)));

lane mark_special(lane bytes) {
    return bytes <= last_special;
}

bool any(lane marks) {
    const auto halves = reinterpret_cast<lane_halves>(marks);
    return (halves[0] | halves[1]) != 0;
}

size_t first(lane marks) {
    const auto halves = reinterpret_cast<lane_halves>(marks);
    if (halves[0] != 0)
        return first_byte_of(static_cast<uint64_t>(halves[0]));
    return sizeof halves[0] + first_byte_of(static_cast<uint64_t>(halves[1]));
}
#else
using lane = uint64_t;

// The sum has no carry from one byte to the next; its high bit is clear for the control characters.
lane mark_special(lane bytes) {
    constexpr lane every_byte = ~lane{0} / 0xFF, high_bits = every_byte * 0x80;
    const lane sum = (bytes & ~high_bits) + every_byte * (0x80 - last_special - 1);
    return (~sum | bytes) & high_bits;
}

bool any(lane marks) {
    return marks != 0;
}

size_t first(lane marks) {
    return first_byte_of(marks);
}
#endif

lane special_at(const unsigned char* from) {
    lane bytes;
    memcpy(&bytes, from, sizeof bytes);
    return mark_special(bytes);
}

bool is_plain_block(const unsigned char* at) {
    constexpr size_t step = sizeof(lane);
    return !any(special_at(at) | special_at(at + step) | special_at(at + 2 * step) |
                special_at(at + 3 * step));
}

// The first special byte in [at, end), or `end`.
const unsigned char* find_special(const unsigned char* at, const unsigned char* end) {
    const auto left = [&] { return static_cast<size_t>(end - at); };
    while (left() >= 4 * sizeof(lane) && is_plain_block(at))
        at += 4 * sizeof(lane);
    for (; left() >= sizeof(lane); at += sizeof(lane)) {
        const lane marks = special_at(at);
        if (any(marks))
            return at + first(marks);
    }
    while (at < end && !is_special(*at))
        at++;
    return at;
}

// The byte behind the first line end in [at, end), or null. `trail` tells whether the first byte is a trail
// byte, and then whether the one behind `end` is.
const unsigned char* find_line_end(const unsigned char* at, const unsigned char* end, bool& trail) {
    // A trail byte is never looked at, whatever it is: meant so.
    if (at < end && std::exchange(trail, false))
        at++;
    while ((at = find_special(at, end)) < end) {
        const unsigned char byte = *at++;
        if (is_line_end(byte))
            return at;
        if (byte < 0x80)
            continue;
        trail = at == end;
        if (!trail)
            at++;
    }
    return nullptr;
}

// The search that a call goes on with.
line_search search_of(const ombrel_buffer_t& buffer) OMBREL_REQUIRES(buffer.m_lock) {
    const line_search& last = buffer.m_search;
    if (last.m_node != nullptr && last.m_offset == buffer.m_offset)
        return last;
    const buffer_node* head = buffer.m_head;
    const bool trail = (buffer.m_flags & def_ombrel_buffer_flag_trail_byte) != 0;
    return {buffer.m_offset, head, head != nullptr ? head->m_read : 0, 0, trail};
}

// Bytes of the first line with its end, or 0 when no whole line is queued.
size_t first_line_length(ombrel_buffer_t& buffer) OMBREL_REQUIRES(buffer.m_lock) {
    line_search search = search_of(buffer);
    while (const buffer_node* node = search.m_node) {
        const unsigned char* end =
            find_line_end(node->m_data + search.m_seen, node->m_data + node->m_used, search.m_trail);
        if (end != nullptr)
            return search.m_before + static_cast<size_t>(end - node->front());
        search.m_seen = node->m_used;
        buffer.m_search = search;
        search = {search.m_offset, node->m_next, 0, search.m_before + node->unread(), search.m_trail};
    }
    return 0;
}

// Drops the front byte when it is the other half of the line end that was taken last.
void drop_second_half(ombrel_buffer_t& buffer) OMBREL_REQUIRES(buffer.m_lock) {
    if ((buffer.m_flags & line_end_seen) == 0 || buffer.m_head == nullptr)
        return;
    const unsigned char byte = *buffer.m_head->front();
    const uint32_t first_half = byte == '\n'   ? def_ombrel_buffer_flag_carriage_return
                                : byte == '\r' ? def_ombrel_buffer_flag_line_feed
                                               : 0;
    if ((buffer.m_flags & first_half) == 0)
        return;
    buffer.m_flags &= ~line_end_seen;
    take_front(buffer, nullptr, 1);
}

void note_line_end(ombrel_buffer_t& buffer, char line_end) {
    buffer.m_flags &= ~(line_end_seen | def_ombrel_buffer_flag_trail_byte);
    buffer.m_flags |=
        line_end == '\n' ? def_ombrel_buffer_flag_line_feed : def_ombrel_buffer_flag_carriage_return;
}

} // namespace

char* ombrel_pop_buffer_line(ombrel_buffer_t* buffer) {
    if (buffer == nullptr)
        return nullptr;
    assert_owned(*buffer);
    drop_second_half(*buffer);
    const size_t length = first_line_length(*buffer);
    if (length == 0)
        return nullptr;
    auto* line = static_cast<char*>(ombrel_alloc_tag(length, "ombrel_pop_buffer_line", __LINE__));
    if (line == nullptr)
        return nullptr;
    take_front(*buffer, line, length);
    note_line_end(*buffer, line[length - 1]);
    line[length - 1] = '\0';
    drop_second_half(*buffer);
    return line;
}
