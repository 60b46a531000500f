#include <ombrel/http_form.h>

#include <algorithm>
#include <cstring>

#include <ombrel/random.h>

#include "core/fault.h"
#include "core/growing_text.h"
#include "protocol/http/http_character.h"
#include "protocol/secret/joined_digest.h"
#include "text/slice.h"

using namespace ombrel;
using namespace ombrel::protocol;

namespace {

using writer_t = ombrel_http_form_writer_t;

int refuse(fault_code why) {
    leave_fault(why);
    return -1;
}

/// A piece of a form, queued whole or not at all.
class form_piece {
public:
    explicit form_piece(const char* tag) : caller_{tag, 0} {}

    form_piece& put(std::string_view text) {
        fits_ = fits_ && text_.append(text, caller_);
        return *this;
    }

    /// As forms without files encode it.
    form_piece& put_percent(std::string_view text) {
        for (const char c : text) {
            char coded[3] = {'%'};
            put_hex(coded + 1, static_cast<uint8_t>(c));
            const char lower = static_cast<char>(to_lower(static_cast<unsigned char>(c)));
            const bool stays =
                (lower >= 'a' && lower <= 'z') || (c >= '0' && c <= '9') || is_one_of("*-._", c);
            put(stays ? std::string_view(&c, 1) : c == ' ' ? "+" : std::string_view(coded, sizeof coded));
        }
        return *this;
    }

    /// A name in quotes, as browsers write it.
    form_piece& put_quoted(std::string_view name) {
        put("\"");
        for (const char c : name)
            put(c == '"'    ? "%22"
                : c == '\r' ? "%0D"
                : c == '\n' ? "%0A"
                : c == '\\' ? "\\\\"
                            : std::string_view(&c, 1));
        return put("\"");
    }

    /// The head of a part of a multipart form, up to the blank line.
    form_piece& begin_part(const writer_t& writer, std::string_view name) {
        return put(writer.m_part_count > 0 ? "\r\n--" : "--")
            .put(writer.m_boundary)
            .put("\r\nContent-Disposition: form-data; name=")
            .put_quoted(name);
    }

    int queue(writer_t& writer) {
        if (!fits_)
            return refuse(fault_code::no_memory);
        char* const block = text_.release();
        if (ombrel_push_buffer_ex(writer.m_buffer, block, text_.size(), def_ombrel_buffer_flag_own) ==
            text_.size())
            return 0;
        ombrel_free_tag(block, caller_.tag, caller_.line);
        return refuse(fault_code::no_memory);
    }

private:
    growing_text text_;
    call_site caller_;
    bool fits_ = true;
};

bool can_write(const writer_t* writer) {
    return writer != nullptr && writer->m_buffer != nullptr && writer->m_is_finished == 0;
}

/// Control characters would make lines of their own, or be refused by readers.
bool is_type(const char* text) {
    return ombrel_is_http_value(text, strlen(text)) == 1;
}

int count_part(writer_t& writer, int result) {
    if (result == 0)
        writer.m_part_count++;
    return result;
}

} // namespace

int ombrel_init_http_form_writer(ombrel_http_form_writer_t* writer, ombrel_buffer_t* buffer, int kind) {
    if (writer == nullptr || buffer == nullptr ||
        (kind != def_ombrel_http_form_plain && kind != def_ombrel_http_form_multipart))
        return refuse(fault_code::invalid);
    *writer = {};
    writer->m_buffer = buffer;
    writer->m_kind = kind;
    if (kind == def_ombrel_http_form_plain) {
        *put_text(writer->m_content_type, def_ombrel_http_form_urlencoded) = '\0';
        return 0;
    }
    unsigned char random[16];
    if (ombrel_get_random_bytes(random, sizeof random) != 0)
        return -1;
    *put_digits(writer->m_boundary, random, sizeof random) = '\0';
    *put_text(put_text(writer->m_content_type, "multipart/form-data; boundary="), writer->m_boundary) = '\0';
    return 0;
}

int ombrel_http_form_writer_put_field(ombrel_http_form_writer_t* writer, const char* name, const void* value,
                                      size_t size) {
    if (!can_write(writer) || name == nullptr || (value == nullptr && size > 0))
        return refuse(fault_code::invalid);
    const std::string_view bytes(static_cast<const char*>(value), size);
    form_piece piece("ombrel_http_form_writer_put_field");
    if (writer->m_kind == def_ombrel_http_form_plain)
        piece.put(writer->m_part_count > 0 ? "&" : "").put_percent(name).put("=").put_percent(bytes);
    else
        piece.begin_part(*writer, name).put("\r\n\r\n").put(bytes);
    return count_part(*writer, piece.queue(*writer));
}

int ombrel_http_form_writer_begin_file(ombrel_http_form_writer_t* writer, const char* name,
                                       const char* file_name, const char* content_type) {
    if (content_type == nullptr)
        content_type = "application/octet-stream";
    if (!can_write(writer) || writer->m_kind != def_ombrel_http_form_multipart || name == nullptr ||
        file_name == nullptr || !is_type(content_type))
        return refuse(fault_code::invalid);
    form_piece piece("ombrel_http_form_writer_begin_file");
    piece.begin_part(*writer, name)
        .put("; filename=")
        .put_quoted(file_name)
        .put("\r\nContent-Type: ")
        .put(content_type)
        .put("\r\n\r\n");
    return count_part(*writer, piece.queue(*writer));
}

int ombrel_http_form_writer_finish(ombrel_http_form_writer_t* writer) {
    if (!can_write(writer))
        return refuse(fault_code::invalid);
    if (writer->m_kind == def_ombrel_http_form_multipart) {
        form_piece piece("ombrel_http_form_writer_finish");
        piece.put(writer->m_part_count > 0 ? "\r\n--" : "--").put(writer->m_boundary).put("--\r\n");
        if (piece.queue(*writer) != 0)
            return -1;
    }
    writer->m_is_finished = 1;
    return 0;
}
