#include <ombrel/http_writer.h>

#include <algorithm>

#include <ombrel/heap.h>
#include <ombrel/http_field.h>

#include "protocol/http/http_character.h"
#include "protocol/http/http_text_writer.h"
#include "text/number.h"

namespace {

using namespace ombrel;
using namespace ombrel::protocol;

using writer_t = ombrel_http_writer_t;

/// What may come next.
enum state : int { at_start, in_head, in_chunks, behind_chunk_bytes, in_trailers };

/// Fields that may come once.
enum given : uint32_t { length_given = 1, coding_given = 2, host_given = 4 };

int fail(writer_t& writer, fault_code why) {
    if (writer.m_fault == 0)
        writer.m_fault = static_cast<int>(why);
    return refuse_http(static_cast<fault_code>(writer.m_fault));
}

/// Whether the writer is sound and in one of the states.
bool is_in(const writer_t* writer, std::initializer_list<state> states) {
    return writer != nullptr && writer->m_fault == 0 &&
           std::find(states.begin(), states.end(), writer->m_state) != states.end();
}

int refuse_order(writer_t* writer) {
    return writer != nullptr ? fail(*writer, fault_code::invalid) : refuse_http(fault_code::invalid);
}

bool grow(writer_t& writer, size_t wanted) {
    constexpr size_t least = 256;
    const size_t room = std::min(std::max({wanted, least, 2 * writer.m_room}), writer.m_limit);
    auto* const larger = static_cast<char*>(ombrel_alloc_tag(room, writer.m_function, writer.m_line));
    if (larger == nullptr)
        return false;
    put_text(larger, {writer.m_data, writer.m_size});
    if (writer.m_data != nullptr)
        ombrel_free(writer.m_data);
    writer.m_data = larger;
    writer.m_room = room;
    return true;
}

/// Writes all parts or nothing.
int put(writer_t& writer, std::initializer_list<std::string_view> parts) {
    const size_t most = writer.m_limit != 0 ? writer.m_limit : writer.m_room;
    size_t size = writer.m_size;
    for (const std::string_view part : parts) {
        if (part.size() > most - size)
            return fail(writer, fault_code::too_large);
        size += part.size();
    }
    if (size > writer.m_room && !grow(writer, size))
        return fail(writer, fault_code::no_memory);
    char* to = writer.m_data + writer.m_size;
    for (const std::string_view part : parts)
        to = put_text(to, part);
    writer.m_size = size;
    return 0;
}

/// Writes them and goes on to a state.
int put_then(writer_t& writer, state next, std::initializer_list<std::string_view> parts) {
    if (put(writer, parts) != 0)
        return -1;
    writer.m_state = next;
    return 0;
}

bool has_no_body(int status) {
    return (status >= 100 && status < 200) || status == 204;
}

/// What a field is among those that decide how a message is read; 0 for any other.
uint32_t framing_of(std::string_view name) {
    return is_http_word_like(name, "content-length")      ? length_given
           : is_http_word_like(name, "transfer-encoding") ? coding_given
           : is_http_word_like(name, "host")              ? host_given
                                                          : 0u;
}

bool is_framing_value(uint32_t kind, std::string_view value) {
    int64_t length;
    ombrel_http_authority_t authority;
    switch (kind) {
    case length_given:
        return is_http_word(value, http_decimal) && parse_number(value, length);
    case coding_given:
        return is_http_word_like(value, "chunked");
    default:
        return value.empty() || ombrel_parse_http_authority(value.data(), value.size(), &authority) == 0;
    }
}

/// Whether a field that decides how the message is read goes with what is written already.
bool may_frame(const writer_t& writer, uint32_t kind, std::string_view value) {
    constexpr uint32_t body = length_given | coding_given;
    const uint32_t excluded = kind & body ? body : kind;
    return writer.m_state == in_head && !(writer.m_given & excluded) &&
           !(kind & body && has_no_body(writer.m_status)) && is_framing_value(kind, value);
}

int put_field(writer_t* writer, std::string_view name, std::string_view value) {
    if (!is_in(writer, {in_head, in_trailers}))
        return refuse_order(writer);
    value = trim_http(value);
    const uint32_t kind = framing_of(name);
    if (!is_http_word(name, http_token) || !ombrel_is_http_value(value.data(), value.size()) ||
        (kind != 0 && !may_frame(*writer, kind, value)))
        return fail(*writer, fault_code::invalid);
    if (put(*writer, {name, ": ", value, "\r\n"}) != 0)
        return -1;
    writer->m_given |= kind;
    return 0;
}

int put_number_field(writer_t* writer, std::string_view name, int64_t value) {
    char digits[24];
    http_text_writer number(digits, sizeof digits);
    number.put_number(value);
    return put_field(writer, name, number.text());
}

/// The line end that a chunk's line brings for the chunk before it, whose bytes the caller sent.
std::string_view pending_end(const writer_t& writer) {
    return writer.m_state == behind_chunk_bytes ? "\r\n" : "";
}

std::string_view hexadecimal(uint64_t size, char (&digits)[20]) {
    text_sink sink(digits, sizeof digits);
    write_integer(sink, size, 16, 0, lower_digits);
    return {digits, sizeof digits - sink.room()};
}

} // namespace

int ombrel_init_http_writer(ombrel_http_writer_t* writer, char* buffer, size_t size) {
    if (writer == nullptr || buffer == nullptr)
        return refuse_http(fault_code::invalid);
    *writer = {buffer, size, 0, 0, at_start, 0, 0, 0, nullptr, 0};
    return 0;
}

int ombrel_init_http_writer_block_tag(ombrel_http_writer_t* writer, size_t limit, const char* function,
                                      unsigned long line) {
    if (writer == nullptr || limit == 0)
        return refuse_http(fault_code::invalid);
    *writer = {nullptr, 0, 0, limit, at_start, 0, 0, 0, function, line};
    return 0;
}

int ombrel_uninit_http_writer(ombrel_http_writer_t* writer) {
    if (writer == nullptr)
        return 0;
    if (writer->m_limit != 0 && writer->m_data != nullptr)
        ombrel_free(writer->m_data);
    *writer = {};
    return 0;
}

int ombrel_http_writer_request(ombrel_http_writer_t* writer, const char* method, const char* target) {
    if (!is_in(writer, {at_start}))
        return refuse_order(writer);
    if (method == nullptr || target == nullptr || !is_http_word(method, http_token) ||
        !is_http_word(target, http_target))
        return fail(*writer, fault_code::invalid);
    writer->m_status = 0;
    writer->m_given = 0;
    return put_then(*writer, in_head, {method, " ", target, " HTTP/1.1\r\n"});
}

int ombrel_http_writer_response(ombrel_http_writer_t* writer, int status, const char* reason) {
    if (!is_in(writer, {at_start}))
        return refuse_order(writer);
    const std::string_view words = reason != nullptr ? reason : ombrel_http_status_text(status);
    if (status < 100 || status > 999 || !ombrel_is_http_value(words.data(), words.size()))
        return fail(*writer, fault_code::invalid);
    char digits[24];
    http_text_writer number(digits, sizeof digits);
    number.put_number(status);
    writer->m_status = status;
    writer->m_given = 0;
    return put_then(*writer, in_head, {"HTTP/1.1 ", number.text(), " ", words, "\r\n"});
}

int ombrel_http_writer_field(ombrel_http_writer_t* writer, const char* name, const char* value) {
    if (name == nullptr || value == nullptr)
        return refuse_order(writer);
    return put_field(writer, name, value);
}

int ombrel_http_writer_sized_field(ombrel_http_writer_t* writer, const char* name, size_t name_size,
                                   const char* value, size_t value_size) {
    if (name == nullptr || (value == nullptr && value_size != 0))
        return refuse_order(writer);
    return put_field(writer, {name, name_size}, {value, value_size});
}

int ombrel_http_writer_number_field(ombrel_http_writer_t* writer, const char* name, int64_t value) {
    return name != nullptr ? put_number_field(writer, name, value) : refuse_order(writer);
}

int ombrel_http_writer_date_field(ombrel_http_writer_t* writer, const char* name,
                                  const ombrel_instant_t* instant) {
    ombrel_instant_t now;
    if (name == nullptr || (instant == nullptr && ombrel_get_instant(&now) != 0))
        return refuse_order(writer);
    char date[40];
    if (ombrel_format_http_date(date, sizeof date, instant != nullptr ? instant : &now,
                                def_ombrel_http_date_rfc1123) < 0)
        return refuse_order(writer);
    return put_field(writer, name, date);
}

int ombrel_http_writer_end_head(ombrel_http_writer_t* writer) {
    if (!is_in(writer, {in_head}))
        return refuse_order(writer);
    return put_then(*writer, writer->m_given & coding_given ? in_chunks : at_start, {"\r\n"});
}

int ombrel_http_writer_chunk(ombrel_http_writer_t* writer, const void* data, size_t size) {
    if (!is_in(writer, {in_chunks, behind_chunk_bytes}) || (data == nullptr && size != 0))
        return refuse_order(writer);
    if (size == 0)
        return 0;
    char digits[20];
    const std::string_view bytes(static_cast<const char*>(data), size);
    return put_then(*writer, in_chunks,
                    {pending_end(*writer), hexadecimal(size, digits), "\r\n", bytes, "\r\n"});
}

int ombrel_http_writer_chunk_line(ombrel_http_writer_t* writer, uint64_t size) {
    if (!is_in(writer, {in_chunks, behind_chunk_bytes}) || size == 0)
        return refuse_order(writer);
    char digits[20];
    return put_then(*writer, behind_chunk_bytes, {pending_end(*writer), hexadecimal(size, digits), "\r\n"});
}

int ombrel_http_writer_last_chunk(ombrel_http_writer_t* writer) {
    if (!is_in(writer, {in_chunks, behind_chunk_bytes}))
        return refuse_order(writer);
    return put_then(*writer, in_trailers, {pending_end(*writer), "0\r\n"});
}

int ombrel_http_writer_end_trailers(ombrel_http_writer_t* writer) {
    if (!is_in(writer, {in_trailers}))
        return refuse_order(writer);
    return put_then(*writer, at_start, {"\r\n"});
}

int64_t ombrel_http_writer_get_size(const ombrel_http_writer_t* writer) {
    if (writer == nullptr || writer->m_fault != 0)
        return refuse_http(writer == nullptr ? fault_code::invalid
                                             : static_cast<fault_code>(writer->m_fault));
    return static_cast<int64_t>(writer->m_size);
}

const char* ombrel_http_writer_get_data(const ombrel_http_writer_t* writer) {
    return ombrel_http_writer_get_size(writer) >= 0 ? writer->m_data : nullptr;
}

int ombrel_http_writer_clear(ombrel_http_writer_t* writer) {
    if (ombrel_http_writer_get_size(writer) < 0)
        return -1;
    writer->m_size = 0;
    return 0;
}

int ombrel_http_writer_push(ombrel_http_writer_t* writer, ombrel_buffer_t* buffer) {
    if (buffer == nullptr)
        return refuse_order(writer);
    if (ombrel_http_writer_get_size(writer) < 0)
        return -1;
    if (writer->m_size == 0)
        return 0;
    const bool is_own = writer->m_limit != 0;
    // Of a caller's buffer nothing may stay referenced, and a copy goes in whole or not at all.
    const uint32_t flags = def_ombrel_buffer_flag_own;
    char* block = writer->m_data;
    if (!is_own &&
        (block = static_cast<char*>(ombrel_alloc_tag(writer->m_size, __func__, __LINE__))) == nullptr)
        return fail(*writer, fault_code::no_memory);
    if (!is_own)
        put_text(block, {writer->m_data, writer->m_size});
    if (ombrel_push_buffer_ex(buffer, block, writer->m_size, flags) != writer->m_size) {
        if (!is_own)
            ombrel_free(block);
        return fail(*writer, fault_code::no_memory);
    }
    if (is_own) {
        writer->m_data = nullptr;
        writer->m_room = 0;
    }
    writer->m_size = 0;
    return 0;
}
