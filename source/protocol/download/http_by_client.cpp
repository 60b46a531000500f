// Requests of HTTP that the library's own client makes, on an event base of their own.
#include <ombrel/event.h>
#include <ombrel/http_client.h>

#include "protocol/download/http_source.h"

namespace ombrel::protocol {

namespace {

class client_request {
public:
    client_request(const transfer& what, const char* uri) : what_(what), uri_(uri) {}
    ~client_request();
    client_request(const client_request&) = delete;
    client_request& operator=(const client_request&) = delete;

    http_step run(const http_login& login);

private:
    bool begin(const http_login& login);
    bool begin_ticks();
    int take_head(ombrel_http_call_t* call);
    int take_end(ombrel_http_call_t* call);
    void end_by(source_end end) { step_.end = end; }
    void tick();

    static client_request& of(void* context) { return *static_cast<client_request*>(context); }
    static int on_head(ombrel_http_call_t* call, void* context) { return of(context).take_head(call); }
    static int on_data(ombrel_http_call_t* call, const void* data, size_t size, void* context);
    static int on_end(ombrel_http_call_t* call, void* context) { return of(context).take_end(call); }
    static void on_tick(ombrel_event_t* event, int fd, uint32_t ready, void* context);

    const transfer& what_;
    const char* uri_;
    ombrel_event_base_t* base_ = nullptr;
    ombrel_http_client_t* client_ = nullptr;
    ombrel_event_t tick_{};
    bool ticks_ = false, has_ended_ = false;
    http_step step_{source_end::stopped, {}};
};

client_request::~client_request() {
    const fault_keeper kept;
    has_ended_ = true;
    ombrel_close_http_client(client_);
    if (ticks_)
        ombrel_del_event(&tick_);
    if (base_ != nullptr)
        ombrel_free_event_base(base_);
}

/// Anything but 0 ends the call, which is the request's end.
constexpr int ends_call = 1;

int client_request::on_data(ombrel_http_call_t*, const void* data, size_t size, void* context) {
    const transfer& what = of(context).what_;
    return what.sink.take(what.sink.context, data, size) && what.watch.goes_on() ? 0 : ends_call;
}

const char* call_field(void* call, const char* name) {
    return ombrel_http_call_get_field(static_cast<const ombrel_http_call_t*>(call), name);
}

int client_request::take_head(ombrel_http_call_t* call) {
    const http_reply reply = {ombrel_http_call_get_status(call), ombrel_http_call_get_length(call),
                              call_field, call};
    source_answer answer;
    const reply_verdict verdict = judge_reply(what_, reply, answer);
    if (verdict.use == reply_use::redirect)
        step_ = follow_redirect(what_, uri_, reply.value("Location"));
    else if (verdict.use == reply_use::over)
        end_by(verdict.end);
    else if (what_.watch.enter(def_ombrel_download_receiving) && what_.sink.begin(what_.sink.context, answer))
        return 0;
    return ends_call;
}

int client_request::take_end(ombrel_http_call_t* call) {
    const ombrel_transfer_error_t& error = *ombrel_http_call_get_error(call);
    const int result = ombrel_http_call_get_result(call);
    if (result == 0)
        end_by(source_end::whole);
    else if (result == -1 && !has_ended_)
        end_by(fail_source(what_, static_cast<fault_code>(error.m_fault), error.m_text));
    has_ended_ = true;
    return ombrel_event_base_break_loop(base_);
}

void client_request::tick() {
    has_ended_ = !what_.watch.goes_on();
    if (has_ended_)
        ombrel_event_base_break_loop(base_);
    ombrel_add_event(&tick_, download_watch::interval);
}

void client_request::on_tick(ombrel_event_t*, int, uint32_t ready, void* context) {
    if ((ready & def_ombrel_event_timeout) != 0)
        of(context).tick();
}

bool client_request::begin_ticks() {
    ticks_ = ombrel_assign_event(base_, &tick_, -1, 0, on_tick, this) == 0 &&
             ombrel_add_event(&tick_, download_watch::interval) == 0;
    return ticks_;
}

ombrel_http_client_options_t options_of(const transfer& what) {
    const ombrel_download_options_t& wanted = what.request.options;
    ombrel_http_client_options_t options;
    ombrel_init_http_client_options(&options);
    options.m_connect_ms = options.m_head_ms = wanted.m_connect_ms;
    options.m_progress_ms = wanted.m_progress_ms;
    options.m_whole_ms = -1;
    options.m_redirect_limit = 0;
    return options;
}

bool client_request::begin(const http_login& login) {
    const ombrel_http_client_options_t options = options_of(what_);
    const http_conditions conditions = conditions_of(what_.request);
    const ombrel_http_client_field_t fields[] = {
        {"Accept-Encoding", "identity"}, {"Range", conditions.range}, {"If-Range", conditions.if_range}};
    ombrel_http_client_request_t request;
    ombrel_init_http_client_request(&request, uri_);
    request.m_fields = fields;
    request.m_field_count = conditions.range[0] == '\0' ? 1 : conditions.if_range[0] == '\0' ? 2 : 3;
    request.m_user = login.user;
    request.m_password = login.password;
    request.m_flags = def_ombrel_http_client_basic | def_ombrel_http_client_no_keep;
    request.m_head_handler = on_head;
    request.m_data_handler = on_data;
    request.m_handler = on_end;
    request.m_context = this;
    base_ = ombrel_new_event_base();
    client_ = base_ != nullptr ? ombrel_open_http_client(base_, &options) : nullptr;
    return client_ != nullptr && begin_ticks() && ombrel_http_client_call(client_, &request) != nullptr;
}

http_step client_request::run(const http_login& login) {
    if (!begin(login)) {
        const fault_code why = base_ != nullptr ? last_fault().code : fault_code::no_memory;
        return {fail_source(what_, why, "the request cannot be made"), {}};
    }
    while (!has_ended_)
        ombrel_event_base_dispatch(base_);
    return std::move(step_);
}

} // namespace

http_step ask_by_client(const transfer& what, const char* uri, const http_login& login) {
    client_request request(what, uri);
    return request.run(login);
}

} // namespace ombrel::protocol
