#include <ombrel/quoted_printable.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "encoding/coder.h"
#include "text/digits.h"

using namespace ombrel;
using namespace ombrel::encoding;

namespace {

// Bytes that are converted at once, on the stack.
constexpr size_t block_size = 1024;

int push(ombrel_quoted_printable_t* coder, const void* data, size_t size,
         int (*convert)(ombrel_quoted_printable_t&)) {
    if (coder == nullptr)
        return -1;
    if (is_finished(*coder->m_output))
        return 0;
    assert_chains_owned(*coder);
    return take_in(*coder, coder->m_input->m_size, data, size) ? convert(*coder) : -1;
}

constexpr bool is_plain(unsigned char byte) {
    return byte >= 33 && byte <= 126 && byte != '=';
}

struct encoded_byte {
    char text[3];
    uint8_t size;
};

constexpr std::array<encoded_byte, 256> encoded_bytes = [] {
    std::array<encoded_byte, 256> all{};
    for (unsigned byte = 0; byte < 256; byte++)
        if (is_plain(static_cast<unsigned char>(byte)))
            all[byte] = {{static_cast<char>(byte)}, 1};
        else
            all[byte] = {{'=', upper_digits[byte >> 4], upper_digits[byte & 15]}, 3};
    return all;
}();

// Bytes behind the text that encode_bytes() may overwrite, as it always copies three.
constexpr size_t overrun = 2;

size_t encode_bytes(char* text, const unsigned char* bytes, size_t size) {
    char* to = text;
    for (const unsigned char* byte = bytes; byte < bytes + size; byte++) {
        const encoded_byte& one = encoded_bytes[*byte];
        memcpy(to, one.text, sizeof one.text);
        to += one.size;
    }
    return static_cast<size_t>(to - text);
}

// SIZE_MAX when there is no such size.
size_t encoded_size(const unsigned char* bytes, size_t size) {
    const auto plain = static_cast<size_t>(std::count_if(bytes, bytes + size, is_plain));
    return size - plain <= (SIZE_MAX - overrun - size) / 2 ? size + 2 * (size - plain) : SIZE_MAX;
}

bool encode_block(ombrel_quoted_printable_t& coder, size_t most) {
    unsigned char bytes[block_size];
    char text[3 * block_size];
    const size_t size = ombrel_peek_buffer(coder.m_input, bytes, std::min(most, sizeof bytes), 0);
    if (!append_whole(*coder.m_output, text, encode_bytes(text, bytes, size)))
        return false;
    assert_chains_owned(coder);
    take_front(*coder.m_input, nullptr, size);
    return true;
}

int encode_waiting(ombrel_quoted_printable_t& coder) {
    if (coder.m_final == 0)
        return 0;
    assert_chains_owned(coder);
    while (coder.m_input->m_size > 0) {
        // Room for three bytes is due for each byte, also for one that is copied: meant so.
        const size_t room = room_under(coder.m_output_limit, coder.m_output->m_size);
        if (room < 3 || !encode_block(coder, room / 3))
            return -1;
    }
    return ombrel_end_buffer(coder.m_output);
}

// Upper case only: meant so.
unsigned escape_digit(unsigned char c) {
    return c < 'a' ? digit_value(static_cast<char>(c)) : no_digit;
}

// The byte that a text of `size` characters, the first of them "=", stands for; -1 for none.
int escaped_byte(const unsigned char* text, size_t size) {
    if (size < 3)
        return -1;
    const unsigned high = escape_digit(text[1]), low = escape_digit(text[2]);
    return high == no_digit || low == no_digit ? -1 : static_cast<int>(high << 4 | low);
}

struct decoded {
    size_t taken, made;
    bool waits; // for what follows a "=" at the end
};

// Converts as much as there is room for.
decoded decode_text(const unsigned char* text, size_t size, bool is_last, unsigned char* bytes, size_t room) {
    decoded done{0, 0, false};
    while (done.taken < size) {
        const unsigned char* from = text + done.taken;
        const size_t left = size - done.taken;
        done.waits = *from == '=' && left < 3 && !is_last;
        if (done.waits || done.made == room)
            break;
        const int escaped = *from == '=' ? escaped_byte(from, left) : -1;
        if (escaped >= 0) {
            bytes[done.made++] = static_cast<unsigned char>(escaped);
            done.taken += 3;
            continue;
        }
        // This byte, and all up to the next "=", stand for themselves.
        const size_t most = std::min(left, room - done.made);
        const void* next = memchr(from + 1, '=', most - 1);
        const size_t run =
            next != nullptr ? static_cast<size_t>(static_cast<const unsigned char*>(next) - from) : most;
        memcpy(bytes + done.made, from, run);
        done.made += run;
        done.taken += run;
    }
    return done;
}

int decode_waiting(ombrel_quoted_printable_t& coder) {
    assert_chains_owned(coder);
    unsigned char text[block_size], bytes[block_size];
    while (const size_t size = ombrel_peek_buffer(coder.m_input, text, sizeof text, 0)) {
        const bool is_last = coder.m_final != 0 && size == coder.m_input->m_size;
        const size_t room = std::min(room_under(coder.m_output_limit, coder.m_output->m_size), sizeof bytes);
        const decoded done = decode_text(text, size, is_last, bytes, room);
        if (done.taken == 0)
            return done.waits ? 0 : -1;
        if (!append_whole(*coder.m_output, bytes, done.made))
            return -1;
        take_front(*coder.m_input, nullptr, done.taken);
    }
    return coder.m_final != 0 ? ombrel_end_buffer(coder.m_output) : 0;
}

} // namespace

ombrel_quoted_printable_t* ombrel_open_quoted_printable(void) {
    return open_coder<ombrel_quoted_printable_t>("ombrel_open_quoted_printable");
}

int ombrel_close_quoted_printable(ombrel_quoted_printable_t* coder) {
    return close_coder(coder, "ombrel_close_quoted_printable");
}

int ombrel_push_encode_quoted_printable(ombrel_quoted_printable_t* coder, const void* data, size_t size) {
    return push(coder, data, size, encode_waiting);
}

int ombrel_push_decode_quoted_printable(ombrel_quoted_printable_t* coder, const void* data, size_t size) {
    return push(coder, data, size, decode_waiting);
}

char* ombrel_get_quoted_printable(ombrel_quoted_printable_t* coder, size_t* size_out) {
    return take_text(coder != nullptr ? coder->m_output : nullptr, size_out, "ombrel_get_quoted_printable");
}

char* ombrel_encode_quoted_printable(const void* data, size_t size, size_t* size_out) {
    static constexpr char tag[] = "ombrel_encode_quoted_printable";
    const input_bytes bytes(data, size, tag);
    const size_t exact = bytes ? encoded_size(bytes.begin(), size) : SIZE_MAX;
    result_text text(exact != SIZE_MAX ? exact + overrun : SIZE_MAX, tag);
    if (text)
        encode_bytes(text.characters(), bytes.begin(), size);
    return text.finish(exact, size_out);
}

char* ombrel_decode_quoted_printable(const void* data, size_t size, size_t* size_out) {
    static constexpr char tag[] = "ombrel_decode_quoted_printable";
    const input_bytes text(data, size, tag);
    result_text bytes(text ? size : SIZE_MAX, tag);
    if (!bytes)
        return bytes.finish(0, size_out);
    const decoded done = decode_text(text.begin(), size, true, bytes.bytes(), size);
    return bytes.finish(done.made, size_out);
}
