// Calls: how they begin and end, and what is known of them.
#include <cstring>
#include <utility>

#include <ombrel/heap.h>
#include <ombrel/http_field.h>
#include <ombrel/time.h>

#include "core/heap_ptr.h"
#include "core/wipe.h"
#include "protocol/http/client_internal.h"
#include "text/slice.h"

using namespace ombrel;
using namespace ombrel::protocol;

namespace ombrel::protocol {

namespace {

using failed_list = waiting_list;

bool is_field_named(const ombrel_http_client_field_t& field, const char* name) {
    return ombrel_is_http_name(field.m_name, strlen(field.m_name), name) == 1;
}

// What the client writes itself, and what is no field.
bool is_allowed(const ombrel_http_client_field_t& field) {
    if (field.m_name == nullptr || field.m_value == nullptr)
        return false;
    for (const char* name : {"Content-Length", "Transfer-Encoding", "Connection"})
        if (is_field_named(field, name))
            return false;
    return ombrel_is_http_token(field.m_name, strlen(field.m_name)) == 1 &&
           ombrel_is_http_value(field.m_value, strlen(field.m_value)) == 1;
}

bool is_sane(const ombrel_http_client_request_t& request) {
    const char* const method = request.m_method;
    if (method != nullptr &&
        (ombrel_is_http_token(method, strlen(method)) != 1 || std::string_view(method) == "CONNECT"))
        return false;
    if ((request.m_body == nullptr && request.m_body_size > 0) ||
        (request.m_body != nullptr && request.m_body_handler != nullptr))
        return false;
    if (request.m_fields == nullptr && request.m_field_count > 0)
        return false;
    for (size_t i = 0; i < request.m_field_count; i++)
        if (!is_allowed(request.m_fields[i]))
            return false;
    return true;
}

size_t text_size(const char* text) {
    return text != nullptr ? strlen(text) + 1 : 0;
}

// Lays copies one behind the other.
class copier {
public:
    explicit copier(char* to) : to_(to) {}

    char* bytes(const void* data, size_t size) {
        if (size > 0)
            memcpy(to_, data, size);
        return std::exchange(to_, to_ + size);
    }
    const char* text(const char* given) {
        return given != nullptr ? bytes(given, text_size(given)) : nullptr;
    }

private:
    char* to_;
};

size_t copies_size(const ombrel_http_client_request_t& request) {
    size_t size = request.m_field_count * sizeof(ombrel_http_client_field_t) + request.m_body_size +
                  text_size(request.m_method) + text_size(request.m_user) + text_size(request.m_password);
    for (size_t i = 0; i < request.m_field_count; i++)
        size += text_size(request.m_fields[i].m_name) + text_size(request.m_fields[i].m_value);
    return size;
}

// The fields come first, as they have to be aligned.
void copy_request(ombrel_http_call_t& call) {
    ombrel_http_client_request_t& request = call.request;
    copier to(call.copies);
    const ombrel_http_client_field_t* const given = request.m_fields;
    const size_t count = request.m_field_count;
    auto* fields = reinterpret_cast<ombrel_http_client_field_t*>(to.bytes(given, count * sizeof *given));
    for (size_t i = 0; i < count; i++)
        fields[i] = {to.text(given[i].m_name), to.text(given[i].m_value)};
    request.m_fields = fields;
    request.m_method = to.text(request.m_method);
    request.m_user = to.text(request.m_user);
    request.m_password = to.text(request.m_password);
    if (request.m_body != nullptr)
        request.m_body = to.bytes(request.m_body, request.m_body_size);
}

bool take_request(ombrel_http_call_t& call) {
    const call_site& caller = call.client->caller;
    ombrel_http_client_request_t& request = call.request;
    call.copies_size = copies_size(request) + 1;
    call.copies = static_cast<char*>(ombrel_alloc_tag(call.copies_size, caller.tag, caller.line));
    if (call.copies == nullptr)
        return false;
    copy_request(call);
    call.sends_body = request.m_body != nullptr || request.m_body_handler != nullptr;
    if (request.m_method == nullptr)
        request.m_method = call.sends_body ? "POST" : "GET";
    call.method = request.m_method;
    call.target = new_target(request.m_uri, caller);
    request.m_uri = nullptr;
    return call.target != nullptr;
}

// Null credentials of the request are those of its URI.
bool take_login(ombrel_http_call_t& call) {
    ombrel_http_client_request_t& request = call.request;
    if (request.m_user == nullptr) {
        request.m_user = call.target->user;
        request.m_password = call.target->password;
    }
    if (request.m_user == nullptr)
        return true;
    const http_target& target = *call.target;
    call.login = hold_login(call.client->logins,
                            {{target.host_field, target.host_field_size},
                             request.m_user,
                             request.m_password,
                             (request.m_flags & def_ombrel_http_client_basic) != 0},
                            call.client->caller);
    return call.login != nullptr;
}

bool take_proxy_login(ombrel_http_call_t& call) {
    const http_target* const proxy = call.client->proxy;
    if (proxy == nullptr || proxy->user == nullptr)
        return true;
    call.proxy_login = hold_login(call.client->logins,
                                  {{proxy->uri, strlen(proxy->uri)}, proxy->user, proxy->password, true},
                                  call.client->caller);
    return call.proxy_login != nullptr;
}

} // namespace

ombrel_http_call_t* new_call(ombrel_http_client_t& client, const ombrel_http_client_request_t& request) {
    const call_site& caller = client.caller;
    if (!is_sane(request)) {
        leave_fault(fault_code::invalid);
        return nullptr;
    }
    auto* call = static_cast<ombrel_http_call_t*>(
        ombrel_calloc_tag(1, sizeof(ombrel_http_call_t), caller.tag, caller.line));
    if (call == nullptr)
        return nullptr;
    call->client = &client;
    call->request = request;
    call->length = -1;
    call->stage_end = never;
    call->wants_fresh = (request.m_flags & def_ombrel_http_client_no_keep) != 0;
    call->most_redirects =
        request.m_redirect_limit >= 0 ? request.m_redirect_limit : client.options.m_redirect_limit;
    if (!take_request(*call) || !take_login(*call) || !take_proxy_login(*call)) {
        const fault_keeper kept;
        free_call(call);
        return nullptr;
    }
    call_list(client.calls, &client.last_call).append(*call);
    client.counts.m_calls++;
    call->whole_end = moment_after(request.m_whole_ms != 0 ? request.m_whole_ms : client.options.m_whole_ms);
    expect_moment(client, call->whole_end);
    return call;
}

void free_call(ombrel_http_call_t* call) {
    release_login(call->login);
    release_login(call->proxy_login);
    free_target(call->first);
    free_target(call->target);
    free_target(call->next);
    if (call->copies != nullptr)
        wipe(call->copies, call->copies_size);
    ombrel_check_free(call->copies);
    ombrel_check_free(call->texts);
    ombrel_check_free(call->fields);
    ombrel_check_free(call->body);
    ombrel_free(call);
}

void enter_stage(ombrel_http_call_t& call, call_stage stage, int limit_ms) {
    call.stage = stage;
    call.stage_end = moment_after(limit_ms);
    expect_moment(*call.client, call.stage_end);
}

void note_progress(ombrel_http_call_t& call) {
    if (call.stage == call_stage::sending || call.stage == call_stage::receiving)
        call.stage_end = moment_after(call.client->options.m_progress_ms);
}

namespace {

// Keeps the call's record, out of all lists, until nobody can hold it any more.
void retire(ombrel_http_call_t& call) {
    ombrel_http_client_t& client = *call.client;
    leave_queue(call);
    if (call.has_failed)
        failed_list(client.first_failed, &client.last_failed).unlink(call);
    call.has_failed = false;
    if (call.connection != nullptr)
        close_connection(*call.connection);
    call_list(client.calls, &client.last_call).unlink(call);
    client.counts.m_calls--;
    call.is_ended = true;
    call.m_next = std::exchange(client.gone_calls, &call);
}

} // namespace

void end_call(ombrel_http_call_t& call, int result) {
    if (call.is_ended)
        return;
    retire(call);
    call.client->counts.m_ended++;
    call.result = result;
    call.request.m_handler(&call, call.request.m_context);
}

void drop_call(ombrel_http_call_t& call) {
    if (!call.is_ended)
        retire(call);
}

void fail_call(ombrel_http_call_t& call, fault_code why, const char* text) {
    call.error.set(why, text, call.status);
    end_call(call, -1);
}

void fail_later(ombrel_http_call_t& call, fault_code why, const char* text) {
    ombrel_http_client_t& client = *call.client;
    call.error.set(why, text, call.status);
    if (call.has_failed || call.is_ended)
        return;
    leave_queue(call);
    if (call.connection != nullptr)
        close_connection(*call.connection);
    call.has_failed = true;
    failed_list(client.first_failed, &client.last_failed).append(call);
    wake_client(client);
}

bool settle_handler(ombrel_http_call_t& call, int result) {
    call.is_in_handler = false;
    if (call.is_cancelled)
        drop_call(call);
    else if (result != 0)
        end_call(call, result);
    return !call.is_ended;
}

namespace {

int refuse() {
    leave_fault(fault_code::invalid);
    return -1;
}

} // namespace

} // namespace ombrel::protocol

int ombrel_http_call_cancel(ombrel_http_call_t* call) {
    if (call == nullptr)
        return refuse();
    const client_scope scope(*call->client);
    if (call->is_in_handler)
        call->is_cancelled = true;
    else
        drop_call(*call);
    return 0;
}

int ombrel_http_call_pause(ombrel_http_call_t* call) {
    if (call == nullptr)
        return refuse();
    call->is_paused = true;
    if (call->connection != nullptr)
        look_later(*call->connection);
    return 0;
}

int ombrel_http_call_resume(ombrel_http_call_t* call) {
    if (call == nullptr)
        return refuse();
    call->is_paused = false;
    note_progress(*call);
    expect_moment(*call->client, call->stage_end);
    if (call->connection != nullptr) {
        call->connection->body_waits = false;
        look_later(*call->connection);
    }
    return 0;
}

void* ombrel_http_call_get_context(const ombrel_http_call_t* call) {
    return call != nullptr ? call->request.m_context : nullptr;
}

int ombrel_http_call_get_result(const ombrel_http_call_t* call) {
    return call != nullptr ? call->result : refuse();
}

const ombrel_transfer_error_t* ombrel_http_call_get_error(const ombrel_http_call_t* call) {
    return call != nullptr ? &call->error.record() : nullptr;
}

int ombrel_http_call_get_status(const ombrel_http_call_t* call) {
    return call != nullptr ? call->status : refuse();
}

const char* ombrel_http_call_get_uri(const ombrel_http_call_t* call) {
    return call != nullptr ? call->target->uri : nullptr;
}

int ombrel_http_call_get_redirects(const ombrel_http_call_t* call) {
    return call != nullptr ? call->redirects : refuse();
}

const char* ombrel_http_call_get_field(const ombrel_http_call_t* call, const char* name) {
    if (call == nullptr || name == nullptr || call->fields == nullptr)
        return nullptr;
    for (size_t i = 0; i < call->field_count; i++)
        if (is_field_named(call->fields[i], name))
            return call->fields[i].m_value;
    return nullptr;
}

const ombrel_http_client_field_t* ombrel_http_call_get_fields(const ombrel_http_call_t* call, size_t* count) {
    const bool has_fields = call != nullptr && call->fields != nullptr;
    if (count != nullptr)
        *count = has_fields ? call->field_count : 0;
    return has_fields ? call->fields : nullptr;
}

int64_t ombrel_http_call_get_length(const ombrel_http_call_t* call) {
    return call != nullptr ? call->length : refuse();
}

int64_t ombrel_http_call_get_received(const ombrel_http_call_t* call) {
    return call != nullptr ? call->received : refuse();
}

int64_t ombrel_http_call_get_sent(const ombrel_http_call_t* call) {
    return call != nullptr ? call->sent : refuse();
}

const char* ombrel_http_call_get_body(const ombrel_http_call_t* call, size_t* size) {
    if (size != nullptr)
        *size = call != nullptr ? call->body_size : 0;
    return call != nullptr ? call->body : nullptr;
}

char* ombrel_http_call_take_body(ombrel_http_call_t* call, size_t* size) {
    ombrel_http_call_get_body(call, size);
    if (call == nullptr)
        return nullptr;
    call->body_size = call->body_room = 0;
    return std::exchange(call->body, nullptr);
}
