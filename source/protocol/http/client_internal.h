// A client of HTTP: what its parts share. A call waits at its host for a connection, goes through it, and
// goes to a host again for each redirect and each challenge, until it ends.
//
// What goes while handlers or the loop's calls are under way is kept until the outermost of them ends, so
// that nobody finds its record freed when a handler returns.
#pragma once

#include <cstdint>

#include <ombrel/event.h>
#include <ombrel/http_client.h>
#include <ombrel/http_parser.h>
#include <ombrel/resolver.h>

#include "core/call_site.h"
#include "core/node_list.h"
#include "protocol/http/client_login.h"
#include "protocol/http/client_names.h"
#include "protocol/http/client_target.h"
#include "protocol/transfer_error.h"

namespace ombrel::protocol {

/// A moment that does not come, in ombrel_time_stamp_msec().
inline constexpr uint64_t never = UINT64_MAX;

struct http_connection;

/// One host and port: its addresses, its connections, and the calls that wait for one.
struct http_host {
    http_host* m_prev;
    http_host* m_next;
    http_host* m_turn_prev; ///< of the hosts with waiting calls, the next to be served first
    http_host* m_turn_next;
    char* name; ///< behind the record
    int port;
    size_t connections;
    http_connection* idle;
    ombrel_http_call_t* first_waiting;
    ombrel_http_call_t* last_waiting;
    bool is_asking; ///< for its name
    name_lookup lookup;
    ombrel_resolver_t* answers; ///< null while they are not known
    uint64_t answers_end;       ///< when the name is to be looked up again
};

/// What a call does, and which time limit holds for it.
enum class call_stage : uint8_t {
    waiting,    ///< for a connection
    connecting, ///< the name's look-up included
    sending,    ///< its request
    asking,     ///< for the head of the answer
    receiving,  ///< the body
};

/// What becomes of an answer.
enum class answer_use : uint8_t { deliver, redirect, challenge };

/// A connection, from its opening on. What is said of a request is of the one under way.
struct http_connection {
    http_connection* m_prev;
    http_connection* m_next;
    http_connection* m_idle_prev;
    http_connection* m_idle_next;
    http_connection* m_ready_next; ///< those that are looked at in the next iteration
    ombrel_http_client_t* client;
    http_host* host;
    ombrel_http_call_t* call; ///< null while it is kept
    ombrel_http_parser_t* parser;
    ombrel_resolver_t* answers;      ///< addresses
    const ombrel_resolver_t* answer; ///< the one that is tried
    uint64_t connect_end;
    uint64_t idle_end;
    int socket;
    uint32_t watched;  ///< the event's flags as registered; 0 when it is not
    uint32_t uses;     ///< requests that it began
    bool is_connected; ///< it has been
    bool is_idle;      ///< among those that its host keeps
    bool is_ready;     ///< in the list of those that are looked at
    bool is_gone;      ///< closed, and only remembered
    bool has_sent;     ///< bytes of the request
    bool cannot_send;  ///< the server takes no more
    bool body_waits;   ///< the body handler has nothing
    bool body_ended;   ///< all of it was given to the socket, or is unsent
    bool is_sent;      ///< nothing more of the request will be sent
    bool is_cut;       ///< because it was given up
    bool has_answer;   ///< bytes came since the request began
    bool is_holding;   ///< a pause has left something for later, if only the answer's end
    char* unsent;      ///< what the socket did not take
    size_t unsent_at, unsent_size;
    char* held; ///< what a paused call has not taken
    size_t held_size;
    ombrel_event_t event;
};

} // namespace ombrel::protocol

struct ombrel_http_call_ts {
    ombrel_http_call_t* m_prev;
    ombrel_http_call_t* m_next;
    ombrel_http_call_t* m_waiting_prev;
    ombrel_http_call_t* m_waiting_next;
    ombrel_http_client_t* client;
    ombrel_http_client_request_t request; ///< its texts and its body are copies
    char* copies;                         ///< where those lie
    size_t copies_size;
    ombrel::protocol::http_target* first;  ///< whose credentials the request has; null when it is the target
    ombrel::protocol::http_target* target; ///< what is asked for now
    ombrel::protocol::http_target* next;   ///< where a redirect leads
    const char* method;                    ///< of now
    ombrel::protocol::http_host* host;     ///< where it waits or is connected
    ombrel::protocol::http_connection* connection;
    ombrel::protocol::http_login *login, *proxy_login;
    ombrel::protocol::transfer_error error;
    int result;
    int status;
    int redirects, most_redirects;
    int challenges;
    int interims;
    ombrel::protocol::call_stage stage;
    ombrel::protocol::answer_use use;
    bool sends_body;   ///< with the method of now
    bool wants_fresh;  ///< a connection that was not used before
    bool needs_rewind; ///< before the body is sent again
    bool was_retried;
    bool was_signed; ///< the request under way bears Authorization
    bool was_proxy_signed;
    bool is_queued;  ///< at its host
    bool has_failed; ///< in the list of those that are ended in the next iteration
    bool is_paused;
    bool is_in_handler;
    bool is_cancelled; ///< in one of its handlers
    bool is_ended;
    uint64_t whole_end, stage_end;
    int64_t length;    ///< told for the answer's body; -1 when it is not
    int64_t received;  ///< bytes of the answer's body
    int64_t sent;      ///< bytes of the request's body
    size_t head_bytes; ///< of all heads of this answer
    char* texts;       ///< names and values of the answer's fields, terminated
    size_t texts_size, texts_room, field_count;
    ombrel_http_client_field_t* fields; ///< made when the head is complete
    char* body;                         ///< what was collected
    size_t body_size, body_room;
};

struct ombrel_http_client_ts {
    ombrel_event_base_t* base;
    ombrel_http_client_options_t options; ///< its texts are copies
    char* agent;
    ombrel::protocol::http_target* proxy;
    ombrel::call_site caller;
    int depth; ///< scopes under way
    bool is_closing;
    bool has_idle_hosts; ///< perhaps: hosts that nobody needs
    bool wants_serving;  ///< waiting calls are looked at before the outermost scope ends
    bool has_network;
    size_t room; ///< connections in all, fewer than allowed while there are no descriptors for more
    ombrel_event_t timer, work;
    uint64_t timer_end;
    ombrel::protocol::client_names names;
    ombrel::protocol::login_list logins;
    ombrel::protocol::http_host* hosts;
    ombrel::protocol::http_host *first_turn, *last_turn;
    ombrel::protocol::http_connection* connections;
    ombrel::protocol::http_connection* first_ready;
    ombrel_http_call_t *calls, *last_call;
    ombrel_http_call_t *first_failed, *last_failed;
    ombrel::protocol::http_connection* gone_connections;
    ombrel_http_call_t* gone_calls;
    ombrel_http_client_counts_t counts;
    char* area; ///< where all connections receive, and body handlers write
};

namespace ombrel::protocol {

/// Bytes of the area.
inline constexpr size_t area_size = 32 * 1024;

using call_list = node_list<ombrel_http_call_t>;
using waiting_list =
    node_list<ombrel_http_call_t, &ombrel_http_call_t::m_waiting_prev, &ombrel_http_call_t::m_waiting_next>;
using connection_list = node_list<http_connection>;
using idle_list = node_list<http_connection, &http_connection::m_idle_prev, &http_connection::m_idle_next>;

// In http_client.cpp:

/// Whoever calls handlers, or changes what connections and calls there are, does so within one.
class client_scope {
public:
    explicit client_scope(ombrel_http_client_t& client) : client_(client) { client.depth++; }
    ~client_scope();
    client_scope(const client_scope&) = delete;
    client_scope& operator=(const client_scope&) = delete;

private:
    ombrel_http_client_t& client_;
};

/// The moment so many milliseconds from now; never for a negative number.
uint64_t moment_after(int limit_ms);

/// Has the timer look at what ends at a moment.
void expect_moment(ombrel_http_client_t& client, uint64_t moment);

/// Has the next iteration look at failed calls, ready connections and answered names.
void wake_client(ombrel_http_client_t& client);

// In client_call.cpp:

/// A call that waits nowhere yet; null leaves the fault.
ombrel_http_call_t* new_call(ombrel_http_client_t& client, const ombrel_http_client_request_t& request);

/// What the request's credentials belong to.
inline const http_target& origin_of(const ombrel_http_call_t& call) {
    return call.first != nullptr ? *call.first : *call.target;
}

void enter_stage(ombrel_http_call_t& call, call_stage stage, int limit_ms);

/// Puts the end of the stage off, as something moved.
void note_progress(ombrel_http_call_t& call);

/// Ends a call with its end handler, in the next iteration or at once. A connection that it has is closed.
void fail_later(ombrel_http_call_t& call, fault_code why, const char* text);
void fail_call(ombrel_http_call_t& call, fault_code why, const char* text);

/// Ends a call that has no connection any more. `result` is 0, or what a handler returned.
void end_call(ombrel_http_call_t& call, int result);

/// Ends a call without a word.
void drop_call(ombrel_http_call_t& call);

void free_call(ombrel_http_call_t* call);

/// Ends the use of a handler. False when the call is over, as by another result than 0.
bool settle_handler(ombrel_http_call_t& call, int result);

// In client_pool.cpp:

/// Gives the call a connection, or has it wait for one.
void place_call(ombrel_http_call_t& call);

/// Takes a waiting call out of its host's queue.
void leave_queue(ombrel_http_call_t& call);

/// Has a call wait before all others of its host, as there is no descriptor for its connection.
void wait_for_descriptor(ombrel_http_call_t& call);

/// Takes the connection from its call, and keeps it for another or closes it.
void release_connection(http_connection& connection, bool is_usable);

/// Gives waiting calls what connections there are or may be.
void serve_waiting(ombrel_http_client_t& client);

/// Looks at the names that were asked for.
void take_names(ombrel_http_client_t& client);

void leave_idle(http_connection& connection);

/// Frees the hosts that nobody needs any more, or one.
void forget_idle_hosts(ombrel_http_client_t& client);
void forget_host(ombrel_http_client_t& client, http_host& host);

void drop_idle(ombrel_http_client_t& client, uint64_t ended_by);

// In client_connection.cpp:

/// Opens a connection for the call, which may fail later.
void open_connection(ombrel_http_call_t& call);

/// Goes on when the addresses of its host are known.
void begin_connecting(http_connection& connection);

/// Tries the next address after one has not answered. False when there is none.
bool try_next_address(http_connection& connection);

/// Whether nothing came on a kept connection, not even its end.
bool is_quiet(const http_connection& connection);

/// Closes it; a call of it has none then.
void close_connection(http_connection& connection);

void free_connection(http_connection* connection);

/// Waits for what is of interest now.
void watch(http_connection& connection);

void look_later(http_connection& connection);
void look_at(http_connection& connection);

// In client_request.cpp:

/// Sends the head, and what needs no handler of the body.
void begin_request(http_connection& connection);

/// Goes on sending. The call may end by it.
void send_more(http_connection& connection);

/// Sends nothing more of the request; the connection is of no use to others then.
void give_up_request(http_connection& connection);

/// Whether it does no harm to do twice what the method asks for.
bool is_repeatable(std::string_view method);

/// Whether the request's body can be sent again.
bool can_repeat(const ombrel_http_call_t& call);

/// Forgets the answer, so that the request can be sent again.
void prepare_request(ombrel_http_call_t& call);

// In client_answer.cpp:

/// Takes bytes of the answer. The call may end by it.
void take_bytes(http_connection& connection, const char* data, size_t size);

/// Takes what a pause held back.
void take_held(http_connection& connection);

/// The server sends no more, or broke off.
void take_end(http_connection& connection, fault_code why);

// In client_redirect.cpp:

/// What becomes of the answer whose head is there. False when the call has failed.
bool choose_use(ombrel_http_call_t& call);

/// Asks again, where the redirect leads or with the challenge answered.
void ask_again(ombrel_http_call_t& call);

} // namespace ombrel::protocol
