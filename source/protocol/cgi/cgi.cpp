#include <ombrel/cgi.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include <ombrel/environment.h>
#include <ombrel/file.h>
#include <ombrel/http_field.h>
#include <ombrel/printf.h>

#include "core/call_site.h"
#include "core/fault.h"
#include "core/growing_text.h"
#include "core/heap_ptr.h"
#include "platform/poll.h"
#include "protocol/http/http_character.h"
#include "text/number.h"
#include "text/slice.h"

using namespace ombrel;
using namespace ombrel::protocol;

struct ombrel_cgi_ts {
    ombrel_cgi_options_t options;
    const char* const* environment;
    int64_t length = 0, read = 0;
    int status = 0; ///< 0 for the usual one
    bool has_type = false, has_location = false, is_head_out = false, is_broken = false;
    growing_text fields; ///< of the response, each a line
    char waiting[8192];  ///< of the response
    size_t waiting_size = 0;
    call_site caller;
};

namespace {

using cgi_t = ombrel_cgi_ts;

constexpr char no_variables[] = "";

int refuse(fault_code why) {
    leave_fault(why);
    return -1;
}

/// Null when it is not there.
const char* find_variable(const cgi_t& cgi, std::string_view name) {
    for (const char* const* each = cgi.environment; each != nullptr && *each != nullptr; each++) {
        const std::string_view assignment = *each;
        if (starts_with(assignment, name) && assignment.size() > name.size() &&
            assignment[name.size()] == '=')
            return *each + name.size() + 1;
    }
    return nullptr;
}

/// The variable that a field of the request becomes. False for a name that can be none.
bool make_variable_name(std::string_view field, char (&name)[128]) {
    constexpr std::string_view start = "HTTP_";
    const bool is_bare =
        is_http_word_like(field, "content-type") || is_http_word_like(field, "content-length");
    char* to = is_bare ? name : put_text(name, start);
    if (field.size() + start.size() >= sizeof name || !is_http_word(field, http_token))
        return false;
    for (const char c : field)
        *to++ = c == '-' ? '_' : static_cast<char>(to_upper(static_cast<unsigned char>(c)));
    *to = '\0';
    return true;
}

bool wait_for(int descriptor, platform::readiness kind, int milliseconds) {
    platform::poll_request request = {descriptor, kind, false};
    const int found = platform::poll_descriptors(&request, 1, milliseconds);
    if (found == 0)
        leave_fault(fault_code::timed_out);
    return found > 0;
}

/// Pieces are no larger than what a pipe that is ready always takes at once.
bool send(cgi_t& cgi, std::string_view bytes) {
    constexpr size_t sure = 4096;
    while (!bytes.empty() && !cgi.is_broken) {
        int64_t sent = -1;
        if (wait_for(cgi.options.m_output, platform::readiness::write, cgi.options.m_progress_ms))
            sent = ombrel_file_write(cgi.options.m_output, bytes.data(), std::min(bytes.size(), sure));
        cgi.is_broken = sent < 0;
        if (sent > 0)
            bytes.remove_prefix(static_cast<size_t>(sent));
    }
    return bytes.empty();
}

/// Gathers bytes, and sends them when there are enough.
bool gather(cgi_t& cgi, std::string_view bytes) {
    while (!bytes.empty()) {
        const size_t part = std::min(bytes.size(), sizeof cgi.waiting - cgi.waiting_size);
        memcpy(cgi.waiting + cgi.waiting_size, bytes.data(), part);
        cgi.waiting_size += part;
        bytes.remove_prefix(part);
        if (cgi.waiting_size < sizeof cgi.waiting)
            break;
        cgi.waiting_size = 0;
        if (!send(cgi, {cgi.waiting, sizeof cgi.waiting}))
            return false;
    }
    return !cgi.is_broken;
}

bool gather_head(cgi_t& cgi) {
    if (cgi.is_head_out)
        return true;
    cgi.is_head_out = true;
    const int status = cgi.status != 0 ? cgi.status : cgi.has_location ? 302 : 200;
    const bool has_body = status != 204 && status != 304;
    char line[128];
    ombrel_snprintf(line, sizeof line, "Status: %d %s\r\n", status, ombrel_http_status_text(status));
    return gather(cgi, line) &&
           (cgi.has_type || !has_body || gather(cgi, "Content-Type: text/html; charset=utf-8\r\n")) &&
           gather(cgi, cgi.fields.view()) && gather(cgi, "\r\n");
}

int write(cgi_t& cgi, std::string_view bytes) {
    return gather_head(cgi) && gather(cgi, bytes) ? 0 : -1;
}

fault_code read_length(cgi_t& cgi) {
    const char* const text = find_variable(cgi, "CONTENT_LENGTH");
    if (text == nullptr || *text == '\0')
        return fault_code::none;
    if (!parse_number(text, int64_t{0}, INT64_MAX, cgi.length) || *text == '-')
        return fault_code::violation;
    const int64_t limit = cgi.options.m_body_limit;
    return limit >= 0 && cgi.length > limit ? fault_code::too_large : fault_code::none;
}

/// The fault of a request; none when it is one.
fault_code read_request(cgi_t& cgi) {
    return find_variable(cgi, "REQUEST_METHOD") != nullptr ? read_length(cgi) : fault_code::not_found;
}

const char* variable_or_empty(const ombrel_cgi_t* cgi, const char* name) {
    if (cgi == nullptr) {
        leave_fault(fault_code::invalid);
        return nullptr;
    }
    const char* const found = find_variable(*cgi, name);
    return found != nullptr ? found : no_variables;
}

bool brings_form(const cgi_t& cgi) {
    const std::string_view method = variable_or_empty(&cgi, "REQUEST_METHOD");
    return method == "POST" || method == "PUT" || method == "PATCH";
}

/// Hands the body to the form. False when it could not be read.
bool read_body(cgi_t& cgi, ombrel_http_form_t* form) {
    char piece[8192];
    int64_t size;
    while ((size = ombrel_cgi_read(&cgi, piece, sizeof piece)) > 0)
        if (ombrel_http_form_push(form, piece, static_cast<size_t>(size)) != 0)
            return true;
    return size == 0;
}

} // namespace

int ombrel_init_cgi_options(ombrel_cgi_options_t* options) {
    if (options == nullptr)
        return refuse(fault_code::invalid);
    *options = {.m_environment = nullptr,
                .m_input = 0,
                .m_output = 1,
                .m_body_limit = 64 << 20,
                .m_progress_ms = 60'000};
    return 0;
}

ombrel_cgi_t* ombrel_open_cgi_tag(const ombrel_cgi_options_t* options, const char* function,
                                  unsigned long line) {
    void* const block = ombrel_alloc_tag(sizeof(cgi_t), function, line);
    if (block == nullptr) {
        leave_fault(fault_code::no_memory);
        return nullptr;
    }
    auto* const cgi = new (block) cgi_t();
    ombrel_init_cgi_options(&cgi->options);
    if (options != nullptr)
        cgi->options = *options;
    cgi->caller = {function, line};
    cgi->environment = cgi->options.m_environment != nullptr ? cgi->options.m_environment : ombrel_environ();
    const fault_code why = read_request(*cgi);
    if (why == fault_code::none)
        return cgi;
    cgi->is_broken = true;
    ombrel_close_cgi(cgi);
    leave_fault(why);
    return nullptr;
}

const char* ombrel_cgi_get_variable(const ombrel_cgi_t* cgi, const char* name) {
    return variable_or_empty(name != nullptr ? cgi : nullptr, name);
}

const char* ombrel_cgi_get_field(const ombrel_cgi_t* cgi, const char* name) {
    char variable[128];
    if (cgi == nullptr || name == nullptr || !make_variable_name(name, variable)) {
        leave_fault(fault_code::invalid);
        return nullptr;
    }
    return find_variable(*cgi, variable);
}

const char* ombrel_cgi_get_method(const ombrel_cgi_t* cgi) {
    return variable_or_empty(cgi, "REQUEST_METHOD");
}

const char* ombrel_cgi_get_path(const ombrel_cgi_t* cgi) {
    return variable_or_empty(cgi, "PATH_INFO");
}

const char* ombrel_cgi_get_query(const ombrel_cgi_t* cgi) {
    return variable_or_empty(cgi, "QUERY_STRING");
}

const char* ombrel_cgi_get_content_type(const ombrel_cgi_t* cgi) {
    return variable_or_empty(cgi, "CONTENT_TYPE");
}

int64_t ombrel_cgi_get_content_length(const ombrel_cgi_t* cgi) {
    return cgi != nullptr ? cgi->length : refuse(fault_code::invalid);
}

int64_t ombrel_cgi_read(ombrel_cgi_t* cgi, void* buffer, size_t size) {
    if (cgi == nullptr || (buffer == nullptr && size > 0))
        return refuse(fault_code::invalid);
    const auto left = static_cast<uint64_t>(cgi->length - cgi->read);
    const size_t wanted = static_cast<size_t>(std::min<uint64_t>(size, left));
    if (wanted == 0)
        return 0;
    if (!wait_for(cgi->options.m_input, platform::readiness::read, cgi->options.m_progress_ms))
        return -1;
    const int64_t got = ombrel_file_read(cgi->options.m_input, buffer, wanted);
    if (got == 0)
        return refuse(fault_code::closed);
    cgi->read += std::max<int64_t>(got, 0);
    return got;
}

ombrel_http_form_t* ombrel_cgi_read_form_tag(ombrel_cgi_t* cgi, const ombrel_http_form_options_t* options,
                                             const char* function, unsigned long line) {
    if (cgi == nullptr) {
        leave_fault(fault_code::invalid);
        return nullptr;
    }
    const bool in_body = brings_form(*cgi);
    const char* const type = in_body ? ombrel_cgi_get_content_type(cgi) : def_ombrel_http_form_urlencoded;
    ombrel_http_form_t* const form = ombrel_open_http_form_tag(type, options, function, line);
    if (form == nullptr)
        return nullptr;
    const char* const query = ombrel_cgi_get_query(cgi);
    if (in_body && !read_body(*cgi, form)) {
        const fault_keeper kept;
        ombrel_close_http_form(form);
        return nullptr;
    }
    if (in_body || ombrel_http_form_push(form, query, strlen(query)) == 0)
        ombrel_http_form_finish(form);
    return form;
}

int ombrel_cgi_set_status(ombrel_cgi_t* cgi, int status) {
    if (cgi == nullptr || cgi->is_head_out || status < 200 || status > 599)
        return refuse(fault_code::invalid);
    cgi->status = status;
    return 0;
}

int ombrel_cgi_add_field(ombrel_cgi_t* cgi, const char* name, const char* value) {
    if (cgi == nullptr || name == nullptr || value == nullptr || cgi->is_head_out ||
        !is_http_word(name, http_token) || is_http_word_like(name, "status") ||
        (*value != '\0' && !is_http_word(value, http_value)))
        return refuse(fault_code::invalid);
    growing_text line;
    for (const std::string_view part :
         {std::string_view(name), std::string_view(": "), std::string_view(value), std::string_view("\r\n")})
        if (!line.append(part, cgi->caller))
            return refuse(fault_code::no_memory);
    if (!cgi->fields.append(line.view(), cgi->caller))
        return refuse(fault_code::no_memory);
    cgi->has_type = cgi->has_type || is_http_word_like(name, "content-type");
    cgi->has_location = cgi->has_location || is_http_word_like(name, "location");
    return 0;
}

int ombrel_cgi_redirect(ombrel_cgi_t* cgi, const char* target) {
    if (target == nullptr || *target == '\0')
        return refuse(fault_code::invalid);
    return ombrel_cgi_add_field(cgi, "Location", target);
}

int ombrel_cgi_write(ombrel_cgi_t* cgi, const void* data, size_t size) {
    if (cgi == nullptr || (data == nullptr && size > 0))
        return refuse(fault_code::invalid);
    return write(*cgi, {static_cast<const char*>(data), size});
}

int ombrel_cgi_vprintf(ombrel_cgi_t* cgi, const char* format, va_list arguments) {
    if (cgi == nullptr || format == nullptr)
        return refuse(fault_code::invalid);
    const heap_ptr<char> text(ombrel_alloc_vsprintf(format, arguments));
    return text ? write(*cgi, text.get()) : refuse(fault_code::no_memory);
}

int ombrel_cgi_printf(ombrel_cgi_t* cgi, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int result = ombrel_cgi_vprintf(cgi, format, arguments);
    va_end(arguments);
    return result;
}

int ombrel_cgi_flush(ombrel_cgi_t* cgi) {
    if (cgi == nullptr)
        return refuse(fault_code::invalid);
    const bool is_gathered = gather_head(*cgi);
    const size_t size = std::exchange(cgi->waiting_size, 0);
    return is_gathered && send(*cgi, {cgi->waiting, size}) ? 0 : -1;
}

int ombrel_close_cgi(ombrel_cgi_t* cgi) {
    if (cgi == nullptr)
        return 0;
    const int result = cgi->is_broken ? -1 : ombrel_cgi_flush(cgi);
    const fault_keeper kept;
    cgi->~ombrel_cgi_ts();
    ombrel_free_tag(cgi, "ombrel_close_cgi", __LINE__);
    return result;
}
