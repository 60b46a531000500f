// A call that is waited for, on an event base of its own.
#include <ombrel/http_client.h>

#include <cstring>
#include <utility>

#include <ombrel/heap.h>

#include "core/call_site.h"
#include "core/deadline.h"
#include "protocol/transfer_error.h"
#include "text/slice.h"

using namespace ombrel;
using namespace ombrel::protocol;

namespace {

struct fetch {
    ombrel_http_client_request_t asked; ///< its handlers are the user's
    call_site caller;
    ombrel_event_base_t* base;
    ombrel_http_client_t* client;
    bool has_ended;
    transfer_error error;
    ombrel_http_answer_t* answer;
};

fetch& fetch_of(void* context) {
    return *static_cast<fetch*>(context);
}

size_t texts_size(const ombrel_http_client_field_t* fields, size_t count) {
    size_t size = 0;
    for (size_t i = 0; i < count; i++)
        size += strlen(fields[i].m_name) + strlen(fields[i].m_value) + 2;
    return size;
}

char* copy_text(char*& to, std::string_view text) {
    char* const begin = to;
    to = put_text(to, text);
    *to++ = '\0';
    return begin;
}

// The record, its fields, the body, the texts.
void fill(ombrel_http_answer_t& answer, const ombrel_http_call_t* call,
          const ombrel_http_client_field_t* given, size_t count) {
    auto* const fields = reinterpret_cast<ombrel_http_client_field_t*>(&answer + 1);
    char* to = reinterpret_cast<char*>(fields + count);
    for (size_t i = 0; i < count; i++) {
        fields[i].m_name = copy_text(to, given[i].m_name);
        fields[i].m_value = copy_text(to, given[i].m_value);
    }
    size_t size;
    const char* const body = ombrel_http_call_get_body(call, &size);
    answer = {.m_status = ombrel_http_call_get_status(call),
              .m_uri = copy_text(to, ombrel_http_call_get_uri(call)),
              .m_fields = fields,
              .m_field_count = count,
              .m_body = copy_text(to, {body, size}),
              .m_body_size = size};
}

ombrel_http_answer_t* new_answer(const ombrel_http_call_t* call, const call_site& caller) {
    size_t count, body_size;
    const ombrel_http_client_field_t* const fields = ombrel_http_call_get_fields(call, &count);
    ombrel_http_call_get_body(call, &body_size);
    const size_t texts = texts_size(fields, count) + strlen(ombrel_http_call_get_uri(call)) + 1;
    const size_t size = sizeof(ombrel_http_answer_t) + count * sizeof *fields + texts + 1;
    if (body_size > SIZE_MAX - size)
        return nullptr;
    auto* answer =
        static_cast<ombrel_http_answer_t*>(ombrel_alloc_tag(size + body_size, caller.tag, caller.line));
    if (answer != nullptr)
        fill(*answer, call, fields, count);
    return answer;
}

void keep_answer(fetch& job, ombrel_http_call_t* call) {
    const int result = ombrel_http_call_get_result(call);
    const ombrel_transfer_error_t& error = *ombrel_http_call_get_error(call);
    if (result == -1)
        job.error.set(static_cast<fault_code>(error.m_fault), error.m_text, error.m_peer_code);
    else if (result != 0)
        job.error.set(fault_code::interrupted, "a handler ended the call");
    else if ((job.answer = new_answer(call, job.caller)) == nullptr)
        job.error.set(fault_code::no_memory, "no memory");
}

int on_end(ombrel_http_call_t* call, void* context) {
    fetch& job = fetch_of(context);
    keep_answer(job, call);
    job.has_ended = true;
    ombrel_event_base_break_loop(job.base);
    return job.asked.m_handler != nullptr ? job.asked.m_handler(call, job.asked.m_context) : 0;
}

int on_head(ombrel_http_call_t* call, void* context) {
    const fetch& job = fetch_of(context);
    return job.asked.m_head_handler(call, job.asked.m_context);
}

int on_data(ombrel_http_call_t* call, const void* data, size_t size, void* context) {
    const fetch& job = fetch_of(context);
    return job.asked.m_data_handler(call, data, size, job.asked.m_context);
}

int64_t on_body(ombrel_http_call_t* call, void* buffer, size_t size, void* context) {
    const fetch& job = fetch_of(context);
    return job.asked.m_body_handler(call, buffer, size, job.asked.m_context);
}

int on_rewind(ombrel_http_call_t* call, void* context) {
    const fetch& job = fetch_of(context);
    return job.asked.m_rewind_handler(call, job.asked.m_context);
}

ombrel_http_client_request_t with_own_handlers(fetch& job, int timeout_ms, int whole_ms) {
    ombrel_http_client_request_t request = job.asked;
    request.m_handler = on_end;
    request.m_head_handler = request.m_head_handler != nullptr ? on_head : nullptr;
    request.m_data_handler = request.m_data_handler != nullptr ? on_data : nullptr;
    request.m_body_handler = request.m_body_handler != nullptr ? on_body : nullptr;
    request.m_rewind_handler = request.m_rewind_handler != nullptr ? on_rewind : nullptr;
    request.m_context = &job;
    request.m_whole_ms = shorter_wait(timeout_ms, request.m_whole_ms != 0 ? request.m_whole_ms : whole_ms);
    // 0 is none of its own; a call that may take no time at all ends in the first iteration.
    if (request.m_whole_ms == 0)
        request.m_whole_ms = 1;
    return request;
}

// A signal that is none of ours interrupts the loop, which goes on. Null leaves why nothing was begun.
void run(fetch& job, const ombrel_http_client_options_t* options, int timeout_ms) {
    ombrel_http_client_options_t defaults;
    ombrel_init_http_client_options(&defaults);
    const ombrel_http_client_request_t request =
        with_own_handlers(job, timeout_ms, (options != nullptr ? options : &defaults)->m_whole_ms);
    job.base = ombrel_new_event_base();
    job.client = ombrel_open_http_client_tag(job.base, options, job.caller.tag, job.caller.line);
    if (job.client == nullptr || ombrel_http_client_call(job.client, &request) == nullptr) {
        job.error.set(last_fault().code, "the call cannot begin");
        return;
    }
    while (!job.has_ended)
        ombrel_event_base_dispatch(job.base);
}

} // namespace

ombrel_http_answer_t* ombrel_fetch_http_ex_tag(const ombrel_http_client_request_t* request,
                                               const ombrel_http_client_options_t* options, int timeout_ms,
                                               ombrel_transfer_error_t* error, const char* function,
                                               unsigned long line) {
    fetch job{};
    job.caller = {function, line};
    if (request != nullptr) {
        job.asked = *request;
        run(job, options, timeout_ms);
    } else {
        job.error.set(fault_code::invalid, "the call cannot begin");
    }
    ombrel_close_http_client(job.client);
    if (job.base != nullptr)
        ombrel_free_event_base(job.base);
    if (error != nullptr)
        *error = job.error.record();
    if (job.answer == nullptr)
        leave_fault(job.error.fault());
    return job.answer;
}

ombrel_http_answer_t* ombrel_fetch_http_tag(const char* uri, int timeout_ms, ombrel_transfer_error_t* error,
                                            const char* function, unsigned long line) {
    ombrel_http_client_request_t request;
    ombrel_init_http_client_request(&request, uri);
    return ombrel_fetch_http_ex_tag(&request, nullptr, timeout_ms, error, function, line);
}

int ombrel_free_http_answer(ombrel_http_answer_t* answer) {
    return ombrel_check_free(answer);
}
