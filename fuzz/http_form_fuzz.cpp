// Reads any bytes as both kinds of forms, whole and in pieces, kept and by a handler, which must come to the
// same parts and faults. The first byte chooses the flags.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

#include <ombrel/http_form.h>

#include "support/byte_source.h"

namespace {

struct outcome {
    int result, fault;
    int64_t offset;
    std::string parts;

    bool operator==(const outcome&) const = default;
};

/// Texts with their ends, so that no two lists of parts look alike.
void add(std::string& parts, const ombrel_http_form_part_t& part) {
    for (const char* const text : {part.m_name, part.m_file_name, part.m_content_type})
        parts += (text != nullptr ? std::string("+") + text : std::string("-")) + '\0';
    for (size_t i = 0; i < part.m_header_count; i++)
        parts += std::string(part.m_headers[i].m_name) + '\0' + part.m_headers[i].m_value + '\0';
}

int take(ombrel_http_form_t*, int event, const ombrel_http_form_part_t* part, const void* data, size_t size,
         void* context) {
    auto& parts = *static_cast<std::string*>(context);
    if (event == def_ombrel_http_form_begin)
        add(parts, *part);
    require((event == def_ombrel_http_form_data) == (size > 0));
    parts.append(static_cast<const char*>(data), size);
    return 0;
}

outcome read(const char* type, const std::string& body, uint32_t flags, size_t piece, bool is_kept) {
    outcome made{};
    ombrel_http_form_options_t options;
    ombrel_init_http_form_options(&options);
    options.m_flags = flags;
    options.m_part_limit = 20;
    options.m_head_limit = 200;
    options.m_value_limit = 500;
    options.m_handler = is_kept ? nullptr : take;
    options.m_context = &made.parts;
    ombrel_http_form_t* const form = ombrel_open_http_form(type, &options);
    for (size_t at = 0; at < body.size() && made.result == 0; at += piece)
        made.result = ombrel_http_form_push(form, body.data() + at, std::min(piece, body.size() - at));
    if (made.result == 0)
        made.result = ombrel_http_form_finish(form);
    made.fault = ombrel_http_form_get_fault(form);
    made.offset = ombrel_http_form_get_offset(form);
    require((made.result == 0) == (made.fault == 0) && made.offset <= static_cast<int64_t>(body.size()));
    for (size_t i = 0; i < ombrel_http_form_get_count(form); i++) {
        const ombrel_http_form_part_t& part = *ombrel_http_form_get_part(form, i);
        add(made.parts, part);
        made.parts.append(part.m_data, part.m_size);
    }
    ombrel_close_http_form(form);
    return made;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    const uint32_t flags = data[0] & 3u;
    const std::string body(reinterpret_cast<const char*>(data + 1), size - 1);
    for (const char* const type : {def_ombrel_http_form_urlencoded, "multipart/form-data; boundary=b"}) {
        const outcome whole = read(type, body, flags, size, false);
        const outcome kept = read(type, body, flags, size, true);
        require(whole.fault != 0 || whole == kept);
        for (const size_t piece : {1u, 3u}) {
            const outcome pieces = read(type, body, flags, piece, false);
            require(whole.fault == pieces.fault && (whole.fault != 0 || whole == pieces));
        }
    }
    char name[32];
    require(ombrel_format_http_form_file_name(name, sizeof name, body.c_str()) > 0);
    require(strpbrk(name, "/\\:*?\"<>|\n") == nullptr && name[0] != '.' && strlen(name) < sizeof name);
    return 0;
}
