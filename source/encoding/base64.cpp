#include <ombrel/base64.h>

#include <algorithm>
#include <cstring>

#include "core/wipe.h"
#include "encoding/base64_decoding.h"
#include "encoding/coder.h"
#include "encoding/kernels/kernels.h"

using namespace ombrel;
using namespace ombrel::encoding;

namespace {

// What a coder is beyond its public record.
struct base64_coder : ombrel_base64_t {
    base64_group m_group;
    size_t m_looked_at; // characters at the front of the input that wait for the group to be complete
    size_t m_dropped;   // such characters before them, of which only the number is kept
};

// Groups that are converted at once, on the stack.
constexpr size_t block_groups = 256;
constexpr size_t block_bytes = 3 * block_groups;
constexpr size_t block_characters = 4 * block_groups;

// Of the characters that wait for a group this many are kept before they are only counted.
constexpr size_t most_looked_at = def_ombrel_buffer_unit_size;

int push(ombrel_base64_t* opened, const void* data, size_t size, int (*convert)(base64_coder&)) {
    if (opened == nullptr)
        return -1;
    auto& coder = static_cast<base64_coder&>(*opened);
    if (is_finished(*coder.m_output))
        return 0;
    assert_chains_owned(coder);
    return take_in(coder, coder.m_input->m_size + coder.m_dropped, data, size) ? convert(coder) : -1;
}

void encode_padded(char* text, const unsigned char* bytes, size_t size, const base64_alphabet& alphabet) {
    const size_t groups = size / 3, left = size % 3;
    kernels().encode(text, bytes, groups, alphabet);
    if (left == 0)
        return;
    unsigned char last[3] = {};
    const wipe_guard wiping(last);
    memcpy(last, bytes + 3 * groups, left);
    char* end = text + 4 * groups;
    kernels().encode(end, last, 1, alphabet);
    end[3] = '=';
    if (left == 1)
        end[2] = '=';
}

// SIZE_MAX when there is no such size.
constexpr size_t encoded_size(size_t size) {
    const size_t groups = size / 3 + (size % 3 != 0 ? 1 : 0);
    return groups <= SIZE_MAX / 4 ? 4 * groups : SIZE_MAX;
}

const base64_alphabet& alphabet_of(const base64_coder& coder) {
    return coder.m_alphabet == def_ombrel_base64_alphabet_url_safe ? base64_url_safe : base64_standard;
}

// Writes characters with the breaks between them, and keeps count of the column.
class line_breaker {
public:
    line_breaker(char* to, const base64_coder& coder)
        : m_column(coder.m_column), to_(to), width_(coder.m_line_width),
          continued_(coder.m_continuation != 0) {}

    void write(const char* text, size_t size) {
        while (size > 0) {
            if (m_column >= width_)
                write_break();
            const size_t now = std::min<size_t>(size, width_ - m_column);
            memcpy(to_, text, now);
            to_ += now;
            text += now;
            size -= now;
            m_column += static_cast<uint32_t>(now);
        }
    }
    void write_break() {
        if (continued_)
            *to_++ = '\\';
        *to_++ = '\n';
        m_column = 0;
    }
    const char* end() const { return to_; }

    uint32_t m_column;

private:
    char* to_;
    uint32_t width_;
    bool continued_;
};

bool append_in_lines(base64_coder& coder, const char* text, size_t size) {
    char lines[3 * block_characters]; // a backslash and a newline before each character at most
    line_breaker breaker(lines, coder);
    breaker.write(text, size);
    if (!append_whole(*coder.m_output, lines, static_cast<size_t>(breaker.end() - lines)))
        return false;
    coder.m_column = breaker.m_column;
    return true;
}

bool append_last_break(base64_coder& coder) {
    char last[2];
    line_breaker breaker(last, coder);
    breaker.write_break();
    if (!append_whole(*coder.m_output, last, static_cast<size_t>(breaker.end() - last)))
        return false;
    coder.m_column = 0;
    return true;
}

// How many groups surely pass the check for room that each of them is due; near the limit they go one by one,
// as a group with breaks may take up to three times its room.
size_t groups_in(size_t room, bool in_lines) {
    return std::clamp<size_t>(room / (in_lines ? 12 : 4), 1, block_groups);
}

bool encode_block(base64_coder& coder, size_t groups) {
    unsigned char bytes[block_bytes];
    size_t size = ombrel_peek_buffer(coder.m_input, bytes, 3 * groups, 0);
    if (coder.m_final == 0)
        size -= size % 3;
    char text[block_characters];
    encode_padded(text, bytes, size, alphabet_of(coder));
    const size_t made = encoded_size(size);
    if (!(coder.m_line_width != 0 ? append_in_lines(coder, text, made)
                                  : append_whole(*coder.m_output, text, made)))
        return false;
    assert_chains_owned(coder);
    take_front(*coder.m_input, nullptr, size);
    return true;
}

int encode_waiting(base64_coder& coder) {
    assert_chains_owned(coder);
    while (coder.m_input->m_size >= (coder.m_final != 0 ? 1 : 3)) {
        const size_t room = room_under(coder.m_output_limit, coder.m_output->m_size);
        if (room < 4 || !encode_block(coder, groups_in(room, coder.m_line_width != 0)))
            return -1;
    }
    if (coder.m_final == 0)
        return 0;
    // Behind an empty output too: meant so.
    if (coder.m_line_width != 0 && !append_last_break(coder))
        return -1;
    return ombrel_end_buffer(coder.m_output);
}

// Converts a part of the waiting text; false when there is no room or memory for more output.
bool decode_block(base64_coder& coder, const unsigned char* text, size_t size) {
    assert_chains_owned(coder);
    unsigned char bytes[3 + block_bytes]; // of a group that had no room before, and of the text
    const size_t room = room_under(coder.m_output_limit, coder.m_output->m_size);
    base64_decoding block{text,
                          size,
                          bytes,
                          std::min(room, sizeof bytes),
                          coder.m_lenient != 0,
                          coder.m_group,
                          coder.m_looked_at};
    const bool had_room = block.run();
    if (!append_whole(*coder.m_output, bytes, block.m_made))
        return false;
    const size_t taken = coder.m_looked_at + block.m_read - block.m_waiting;
    if (taken > 0)
        coder.m_dropped = 0;
    ombrel_pop_buffer(coder.m_input, nullptr, taken);
    coder.m_group = block.m_group;
    coder.m_looked_at = block.m_waiting;
    return had_room;
}

// Keeps an endless run of skipped characters from filling the memory and from being walked over by each push.
void forget_looked_at(base64_coder& coder) {
    if (coder.m_looked_at <= most_looked_at)
        return;
    ombrel_pop_buffer(coder.m_input, nullptr, coder.m_looked_at);
    coder.m_dropped = std::min<size_t>(coder.m_dropped, SIZE_MAX / 2) + coder.m_looked_at;
    coder.m_looked_at = 0;
}

int decode_waiting(base64_coder& coder) {
    unsigned char text[block_characters];
    for (;;) {
        const size_t size = ombrel_peek_buffer(coder.m_input, text, sizeof text, coder.m_looked_at);
        if (size == 0 && !coder.m_group.is_complete())
            break;
        if (!decode_block(coder, text, size))
            return -1;
        if (coder.m_group.is_stopped()) {
            coder.m_final = 1;
            ombrel_flush_buffer(coder.m_input);
            break;
        }
        forget_looked_at(coder);
    }
    return coder.m_final != 0 ? ombrel_end_buffer(coder.m_output) : 0;
}

} // namespace

ombrel_base64_t* ombrel_open_base64(void) {
    return open_coder<base64_coder>("ombrel_open_base64");
}

int ombrel_close_base64(ombrel_base64_t* coder) {
    return close_coder(static_cast<base64_coder*>(coder), "ombrel_close_base64");
}

int ombrel_push_encode_base64(ombrel_base64_t* coder, const void* data, size_t size) {
    return push(coder, data, size, encode_waiting);
}

int ombrel_push_decode_base64(ombrel_base64_t* coder, const void* data, size_t size) {
    return push(coder, data, size, decode_waiting);
}

char* ombrel_get_base64(ombrel_base64_t* coder, size_t* size_out) {
    return take_text(coder != nullptr ? coder->m_output : nullptr, size_out, "ombrel_get_base64");
}

char* ombrel_encode_base64(const void* data, size_t size, size_t* size_out) {
    static constexpr char tag[] = "ombrel_encode_base64";
    const input_bytes bytes(data, size, tag);
    result_text text(bytes ? encoded_size(size) : SIZE_MAX, tag);
    if (text)
        encode_padded(text.characters(), bytes.begin(), size, base64_standard);
    return text.finish(encoded_size(size), size_out);
}

char* ombrel_decode_base64(const void* data, size_t size, size_t* size_out) {
    static constexpr char tag[] = "ombrel_decode_base64";
    const input_bytes text(data, size, tag);
    const size_t room = size / 4 * 3;
    result_text bytes(text ? room : SIZE_MAX, tag);
    if (!bytes)
        return bytes.finish(0, size_out);
    base64_decoding decoding{text.begin(), size, bytes.bytes(), room, false, {}, 0};
    decoding.run();
    return bytes.finish(decoding.m_made, size_out);
}
