#include <ombrel/http_client.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <utility>

#include <ombrel/heap.h>
#include <ombrel/http_field.h>
#include <ombrel/network.h>
#include <ombrel/string.h>
#include <ombrel/time.h>

#include "protocol/http/client_internal.h"

using namespace ombrel;
using namespace ombrel::protocol;

namespace ombrel::protocol {

uint64_t moment_after(int limit_ms) {
    return limit_ms < 0 ? never : ombrel_time_stamp_msec() + static_cast<uint64_t>(limit_ms);
}

void expect_moment(ombrel_http_client_t& client, uint64_t moment) {
    if (moment >= client.timer_end)
        return;
    client.timer_end = moment;
    const uint64_t now = ombrel_time_stamp_msec();
    const uint64_t left = moment > now ? moment - now : 0;
    if (ombrel_add_event(&client.timer, static_cast<int>(std::min<uint64_t>(left, INT_MAX))) != 0)
        client.timer_end = never; // the next moment tries it again
}

void wake_client(ombrel_http_client_t& client) {
    ombrel_active_event(&client.work, def_ombrel_event_timeout);
}

namespace {

void unassign(ombrel_event_t& event) {
    if ((event.m_flags & def_ombrel_event_assigned) != 0)
        ombrel_unassign_event(&event);
}

void free_client(ombrel_http_client_t& client) {
    close_names(client.names);
    free_logins(client.logins);
    unassign(client.timer);
    unassign(client.work);
    if (client.has_network)
        ombrel_uninit_network();
    free_target(client.proxy);
    ombrel_check_free(client.agent);
    ombrel_check_free(client.area);
    ombrel_free(&client);
}

// Those in the list of ready ones are freed once they have left it.
void bury_connections(ombrel_http_client_t& client) {
    http_connection* list = std::exchange(client.gone_connections, nullptr);
    while (list != nullptr) {
        http_connection* const connection = std::exchange(list, list->m_next);
        if (connection->is_ready && !client.is_closing)
            connection->m_next = std::exchange(client.gone_connections, connection);
        else
            free_connection(connection);
    }
}

// Frees what went while there were scopes.
void bury(ombrel_http_client_t& client) {
    bury_connections(client);
    if (client.has_idle_hosts)
        forget_idle_hosts(client);
    while (ombrel_http_call_t* const call = client.gone_calls) {
        client.gone_calls = call->m_next;
        free_call(call);
    }
}

} // namespace

client_scope::~client_scope() {
    if (client_.depth == 1)
        while (std::exchange(client_.wants_serving, false) && !client_.is_closing)
            serve_waiting(client_);
    if (--client_.depth > 0)
        return;
    bury(client_);
    if (client_.is_closing)
        free_client(client_);
}

namespace {

const char* stage_text(const ombrel_http_call_t& call, uint64_t now) {
    if (call.whole_end <= now)
        return "the call took too long";
    switch (call.stage) {
    case call_stage::connecting:
        return "no connection in time";
    case call_stage::asking:
        return "no answer in time";
    default:
        return "nothing moved for too long";
    }
}

void end_in_time(ombrel_http_call_t& call, uint64_t now) {
    http_connection* const connection = call.connection;
    if (call.whole_end > now && call.stage == call_stage::connecting && connection != nullptr &&
        connection->connect_end > now && try_next_address(*connection))
        return;
    fail_call(call, fault_code::timed_out, stage_text(call, now));
}

uint64_t end_of(const ombrel_http_call_t& call) {
    return std::min(call.whole_end, call.is_paused ? never : call.stage_end);
}

// Each look ends a call or puts its moment off. Handlers may change the list, hence the new beginning.
void end_calls_in_time(ombrel_http_client_t& client, uint64_t now) {
    for (ombrel_http_call_t* call = client.calls; call != nullptr;) {
        if (end_of(*call) > now || call->has_failed) {
            call = call->m_next;
            continue;
        }
        end_in_time(*call, now);
        call = client.calls;
    }
}

uint64_t next_moment(const ombrel_http_client_t& client) {
    uint64_t moment = never;
    for (const ombrel_http_call_t* call = client.calls; call != nullptr; call = call->m_next)
        moment = std::min(moment, end_of(*call));
    for (const http_connection* kept = client.connections; kept != nullptr; kept = kept->m_next)
        moment = kept->is_idle ? std::min(moment, kept->idle_end) : moment;
    return moment;
}

void on_timer(ombrel_event_t*, int, uint32_t ready, void* context) {
    if ((ready & def_ombrel_event_timeout) == 0)
        return;
    auto& client = *static_cast<ombrel_http_client_t*>(context);
    const client_scope scope(client);
    const uint64_t now = ombrel_time_stamp_msec();
    client.timer_end = never;
    end_calls_in_time(client, now);
    drop_idle(client, now);
    if (!client.is_closing)
        expect_moment(client, next_moment(client));
}

void end_failed(ombrel_http_client_t& client) {
    while (ombrel_http_call_t* const call = client.first_failed)
        end_call(*call, -1);
}

// Those that become ready meanwhile wait for the next iteration.
void look_at_ready(ombrel_http_client_t& client) {
    http_connection* list = std::exchange(client.first_ready, nullptr);
    while (list != nullptr && !client.is_closing) {
        http_connection& connection = *std::exchange(list, list->m_ready_next);
        connection.is_ready = false;
        if (!connection.is_gone)
            look_at(connection);
    }
}

void on_work(ombrel_event_t*, int, uint32_t ready, void* context) {
    if (ready == def_ombrel_event_assigned)
        return;
    auto& client = *static_cast<ombrel_http_client_t*>(context);
    const client_scope scope(client);
    take_names(client);
    end_failed(client);
    look_at_ready(client);
}

bool is_sane(const ombrel_http_client_options_t& options) {
    const char* const agent = options.m_agent != nullptr ? options.m_agent : "";
    return ombrel_is_http_value(agent, strlen(agent)) == 1 && options.m_connection_limit > 0 &&
           options.m_host_limit > 0 && options.m_head_limit > 0 && options.m_field_limit > 0 &&
           options.m_redirect_limit >= 0;
}

bool take_options(ombrel_http_client_t& client) {
    const ombrel_http_client_options_t& options = client.options;
    client.room = options.m_connection_limit;
    client.agent = ombrel_strdup(options.m_agent != nullptr ? options.m_agent : "libombrel_tuk");
    if (client.agent == nullptr)
        return false;
    if (options.m_proxy == nullptr)
        return true;
    client.proxy = new_target(options.m_proxy, client.caller);
    return client.proxy != nullptr;
}

bool start(ombrel_http_client_t& client) {
    client.has_network = ombrel_init_network() == 0;
    client.area = static_cast<char*>(ombrel_alloc_tag(area_size, client.caller.tag, client.caller.line));
    client.names.wake = &client.work;
    return client.has_network && client.area != nullptr && take_options(client) &&
           ombrel_assign_event(client.base, &client.timer, -1, 0, on_timer, &client) == 0 &&
           ombrel_assign_event(client.base, &client.work, -1, 0, on_work, &client) == 0;
}

template<typename Result>
Result refuse(Result result) {
    leave_fault(fault_code::invalid);
    return result;
}

// No handler but the end handlers is called from here on.
void end_all(ombrel_http_client_t& client) {
    client.is_closing = true;
    while (client.calls != nullptr)
        fail_call(*client.calls, fault_code::closed, "the client was closed");
    while (client.connections != nullptr)
        close_connection(*client.connections);
    while (client.hosts != nullptr)
        forget_host(client, *client.hosts);
}

} // namespace

} // namespace ombrel::protocol

int ombrel_init_http_client_options(ombrel_http_client_options_t* options) {
    if (options == nullptr)
        return refuse(-1);
    *options = {.m_connect_ms = 10'000,
                .m_head_ms = 30'000,
                .m_progress_ms = 30'000,
                .m_whole_ms = 600'000,
                .m_idle_ms = 15'000,
                .m_connection_limit = 64,
                .m_host_limit = 6,
                .m_waiting_limit = 10'000,
                .m_redirect_limit = 10,
                .m_head_limit = 65'536,
                .m_field_limit = 128,
                .m_collected_limit = 16 * 1024 * 1024,
                .m_streamed_limit = -1,
                .m_agent = nullptr,
                .m_proxy = nullptr};
    return 0;
}

int ombrel_init_http_client_request(ombrel_http_client_request_t* request, const char* uri) {
    if (request == nullptr)
        return refuse(-1);
    *request = {};
    request->m_uri = uri;
    request->m_body_length = -1;
    request->m_redirect_limit = -1;
    return 0;
}

ombrel_http_client_t* ombrel_open_http_client_tag(ombrel_event_base_t* base,
                                                  const ombrel_http_client_options_t* options,
                                                  const char* function, unsigned long line) {
    ombrel_http_client_options_t defaults;
    ombrel_init_http_client_options(&defaults);
    if (base == nullptr || (options != nullptr && !is_sane(*options)))
        return refuse<ombrel_http_client_t*>(nullptr);
    auto* client = static_cast<ombrel_http_client_t*>(
        ombrel_calloc_tag(1, sizeof(ombrel_http_client_t), function, line));
    if (client == nullptr)
        return nullptr;
    client->base = base;
    client->options = options != nullptr ? *options : defaults;
    client->caller = {function, line};
    client->timer_end = never;
    if (start(*client))
        return client;
    const fault_keeper kept;
    free_client(*client);
    return nullptr;
}

int ombrel_close_http_client(ombrel_http_client_t* client) {
    if (client == nullptr || client->is_closing)
        return 0;
    const client_scope scope(*client);
    end_all(*client);
    return 0;
}

ombrel_http_call_t* ombrel_http_client_call(ombrel_http_client_t* client,
                                            const ombrel_http_client_request_t* request) {
    if (client == nullptr || request == nullptr || request->m_handler == nullptr)
        return refuse<ombrel_http_call_t*>(nullptr);
    if (client->is_closing) {
        leave_fault(fault_code::closed);
        return nullptr;
    }
    const client_scope scope(*client);
    ombrel_http_call_t* const call = new_call(*client, *request);
    if (call == nullptr)
        return nullptr;
    place_call(*call);
    if (client->counts.m_waiting <= client->options.m_waiting_limit)
        return call;
    drop_call(*call);
    leave_fault(fault_code::busy);
    return nullptr;
}

ombrel_http_call_t* ombrel_http_client_get(ombrel_http_client_t* client, const char* uri,
                                           ombrel_http_call_handler_t handler, void* context) {
    ombrel_http_client_request_t request;
    ombrel_init_http_client_request(&request, uri);
    request.m_handler = handler;
    request.m_context = context;
    return ombrel_http_client_call(client, &request);
}

int ombrel_http_client_get_counts(const ombrel_http_client_t* client, ombrel_http_client_counts_t* counts) {
    if (client == nullptr || counts == nullptr)
        return refuse(-1);
    *counts = client->counts;
    return 0;
}

int ombrel_http_client_drop_idle(ombrel_http_client_t* client) {
    if (client == nullptr)
        return refuse(-1);
    const client_scope scope(*client);
    drop_idle(*client, never);
    return 0;
}
