#include <ombrel/http_form.h>

#include <algorithm>
#include <cstring>
#include <new>

#include <ombrel/http_field.h>

#include "core/call_site.h"
#include "core/fault.h"
#include "protocol/http/form_parts.h"
#include "protocol/http/form_readers.h"
#include "protocol/http/http_character.h"

using namespace ombrel;
using namespace ombrel::protocol;

struct ombrel_http_form_ts {
    ombrel_http_form_ts(const ombrel_http_form_options_t& chosen, std::string_view boundary, call_site caller)
        : options(chosen), parts(this, chosen, caller), is_multipart(!boundary.empty()), plain(parts, chosen),
          multipart(parts, chosen, boundary, caller) {}

    ombrel_http_form_options_t options;
    form_parts parts;
    bool is_multipart;
    plain_form plain;
    multipart_form multipart;
    int64_t offset = 0;
    int fault = def_ombrel_http_form_fault_none;
    bool is_finished = false;
};

namespace {

using form_t = ombrel_http_form_ts;

constexpr int none = def_ombrel_http_form_fault_none;

/// Why reading fails, in the order of the numbers.
struct form_fault {
    fault_code code;
    const char* text;
};
constexpr form_fault faults[] = {
    {fault_code::none, "nothing is wrong"},
    {fault_code::violation, "an escape is broken"},
    {fault_code::violation, "there is a NUL where there may be none"},
    {fault_code::violation, "there is something else where a boundary or the end of its line must be"},
    {fault_code::violation, "a part has a line in its head that is no field"},
    {fault_code::violation, "a part has no name, or two"},
    {fault_code::violation, "a part has an encoding that is not allowed"},
    {fault_code::violation, "the body ends before the form"},
    {fault_code::too_large, "there are too many parts"},
    {fault_code::too_large, "a name is too long"},
    {fault_code::too_large, "a value is too long"},
    {fault_code::too_large, "a file is too large"},
    {fault_code::too_large, "the body is too large"},
    {fault_code::too_large, "a part has too large a head"},
    {fault_code::too_large, "there is too much to keep"},
    {fault_code::no_memory, "memory has run out"},
    {fault_code::none, "the program ended it"},
};

int refuse(fault_code why) {
    leave_fault(why);
    return -1;
}

/// The result of a push or finish.
int outcome_of(const form_t& form) {
    if (form.fault == none)
        return 0;
    if (form.fault == def_ombrel_http_form_fault_handler)
        return form.parts.handler_result();
    return refuse(faults[form.fault].code);
}

bool is_boundary(std::string_view text) {
    const auto is_good = [](char c) {
        const char lower = static_cast<char>(to_lower(static_cast<unsigned char>(c)));
        return (lower >= 'a' && lower <= 'z') || is_one_of("0123456789'()+_,-./:=? ", c);
    };
    return !text.empty() && text.size() <= multipart_form::longest_boundary && text.back() != ' ' &&
           std::all_of(text.begin(), text.end(), is_good);
}

/// The boundary that a type names; empty when it names none or two.
std::string_view find_boundary(const ombrel_http_media_t& media) {
    std::string_view found;
    ombrel_http_parameter_t parameter;
    size_t at = 0;
    while (ombrel_next_http_parameter(media.m_parameters.m_data, media.m_parameters.m_size, ';', &at,
                                      &parameter) == 1)
        if (is_http_word_like(view_of(parameter.m_name), "boundary")) {
            if (!found.empty())
                return {};
            found = view_of(parameter.m_value);
        }
    return found;
}

/// What kind of form a type is, and its boundary.
fault_code read_type(const char* type, std::string_view& boundary) {
    ombrel_http_media_t media;
    boundary = {};
    if (type == nullptr)
        return fault_code::invalid;
    if (ombrel_parse_http_media(type, strlen(type), &media) != 0)
        return fault_code::not_supported;
    if (is_http_word_like(view_of(media.m_essence), def_ombrel_http_form_urlencoded))
        return fault_code::none;
    if (!is_http_word_like(view_of(media.m_essence), "multipart/form-data"))
        return fault_code::not_supported;
    boundary = find_boundary(media);
    return is_boundary(boundary) ? fault_code::none : fault_code::violation;
}

} // namespace

int ombrel_init_http_form_options(ombrel_http_form_options_t* options) {
    if (options == nullptr)
        return refuse(fault_code::invalid);
    *options = {.m_flags = 0,
                .m_handler = nullptr,
                .m_context = nullptr,
                .m_part_limit = 256,
                .m_name_limit = 256,
                .m_value_limit = 64 << 10,
                .m_file_limit = 16 << 20,
                .m_body_limit = 64 << 20,
                .m_head_limit = 4 << 10,
                .m_keep_limit = 1 << 20};
    return 0;
}

ombrel_http_form_t* ombrel_open_http_form_tag(const char* content_type,
                                              const ombrel_http_form_options_t* options, const char* function,
                                              unsigned long line) {
    ombrel_http_form_options_t chosen;
    ombrel_init_http_form_options(&chosen);
    if (options != nullptr)
        chosen = *options;
    constexpr uint32_t flags = def_ombrel_http_form_allow_nul | def_ombrel_http_form_keep_bad_escapes;
    std::string_view boundary;
    const fault_code why =
        (chosen.m_flags & ~flags) != 0 ? fault_code::invalid : read_type(content_type, boundary);
    void* const block = why == fault_code::none ? ombrel_alloc_tag(sizeof(form_t), function, line) : nullptr;
    if (block == nullptr) {
        leave_fault(why != fault_code::none ? why : fault_code::no_memory);
        return nullptr;
    }
    return new (block) form_t(chosen, boundary, {function, line});
}

int ombrel_close_http_form(ombrel_http_form_t* form) {
    if (form == nullptr)
        return 0;
    form->~ombrel_http_form_ts();
    return ombrel_free_tag(form, "ombrel_close_http_form", __LINE__);
}

int ombrel_http_form_push(ombrel_http_form_t* form, const void* data, size_t size) {
    if (form == nullptr || (data == nullptr && size > 0) || form->is_finished)
        return refuse(fault_code::invalid);
    if (form->fault != none)
        return outcome_of(*form);
    const int64_t limit = form->options.m_body_limit;
    const uint64_t room = limit < 0 ? UINT64_MAX : static_cast<uint64_t>(limit - form->offset);
    const std::string_view bytes(static_cast<const char*>(data),
                                 static_cast<size_t>(std::min<uint64_t>(size, room)));
    const form_step step = form->is_multipart ? form->multipart.push(bytes) : form->plain.push(bytes);
    form->offset += static_cast<int64_t>(step.read);
    form->fault =
        step.fault == none && bytes.size() < size ? def_ombrel_http_form_fault_body_limit : step.fault;
    return outcome_of(*form);
}

int ombrel_http_form_finish(ombrel_http_form_t* form) {
    if (form == nullptr)
        return refuse(fault_code::invalid);
    if (form->fault == none && !form->is_finished)
        form->fault = form->is_multipart ? form->multipart.finish() : form->plain.finish();
    form->is_finished = true;
    return outcome_of(*form);
}

int ombrel_http_form_get_fault(const ombrel_http_form_t* form) {
    return form != nullptr ? form->fault : none;
}

int64_t ombrel_http_form_get_offset(const ombrel_http_form_t* form) {
    return form != nullptr ? form->offset : refuse(fault_code::invalid);
}

const char* ombrel_http_form_fault_text(int fault) {
    return fault >= 0 && fault < static_cast<int>(std::size(faults)) ? faults[fault].text : "unknown";
}

size_t ombrel_http_form_get_count(const ombrel_http_form_t* form) {
    return form != nullptr ? form->parts.count() : 0;
}

const ombrel_http_form_part_t* ombrel_http_form_get_part(const ombrel_http_form_t* form, size_t index) {
    return form != nullptr ? form->parts[index] : nullptr;
}

const ombrel_http_form_part_t* ombrel_http_form_find(const ombrel_http_form_t* form, const char* name,
                                                     size_t index) {
    for (size_t i = 0; name != nullptr && i < ombrel_http_form_get_count(form); i++)
        if (strcmp(form->parts[i]->m_name, name) == 0 && index-- == 0)
            return form->parts[i];
    return nullptr;
}
