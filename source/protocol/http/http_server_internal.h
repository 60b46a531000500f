// A server of HTTP: what its parts share.
#pragma once

#include <cstdint>
#include <string_view>

#include <ombrel/buffer.h>
#include <ombrel/event.h>
#include <ombrel/http_parser.h>
#include <ombrel/http_server.h>

#include "protocol/http/counted_block.h"
#include "protocol/listener.h"
#include "protocol/secret/secret_check.h"

namespace ombrel::protocol {

inline constexpr size_t input_size = 32 * 1024; ///< read at a time
inline constexpr size_t batch_size = 32 * 1024; ///< of answers that are sent together
inline constexpr size_t most_added_fields = 16 * 1024;
inline constexpr int sweep_ms = 250;
inline constexpr int linger_ms = 2000; ///< after the last answer, for the client to read it and close

struct http_route {
    ombrel_http_route_t told; ///< texts are in this block
    http_route* next;
    size_t size; ///< of the path, without the star
    bool has_star;
};

/// How much of a request has come.
enum class intake : uint8_t { head, body, done };

/// What became of the request in hand.
enum class answer : uint8_t {
    none,     ///< there is none, or it was not handed over yet
    awaited,  ///< its handler is being called, or said that the answer comes later
    begun,    ///< its head is out
    complete, ///< all of it is out or waits for the client
};

/// What a request says, kept while it is in hand: texts in one block, each with a terminator. The method is
/// the first; names and values of fields are the last.
struct http_request {
    counted_block texts;
    size_t target, path, host, fields;
    size_t
        clean_path; ///< without "." and ".." and empty names; as the path where it has none or leads nowhere
    size_t path_rest; ///< of the path, from its beginning
    size_t field_count;
    const http_route* route;
    int minor_version;
    bool is_head, keeps_alive, expects_continue, is_chunked, has_no_body;
    bool has_path; ///< it was read as far as that
    int64_t body_size;
};

} // namespace ombrel::protocol

/// A connection with the request in hand and its answer.
struct ombrel_http_exchange_ts {
    ombrel_http_server_t* server;
    ombrel_http_exchange_t *previous, *next;
    ombrel_http_exchange_t* next_kicked;
    ombrel_event_t event;
    ombrel::protocol::client_place place;
    char peer[ombrel::address_text_size];
    int peer_port;
    int socket;
    uint32_t watched; ///< the event's kinds as registered; 0 when it is not
    bool is_kicked;   ///< looked at once more by the loop
    bool is_busy;     ///< its bytes are being worked through

    bool saw_end;      ///< the client sends no more
    bool is_last;      ///< no request behind this one is taken
    bool is_broken;    ///< nothing can be sent any more
    bool lingers;      ///< answered for the last time: waits for the client to close
    bool said_goodbye; ///< our side is shut down
    bool is_new;       ///< nothing came from it yet
    bool was_taken;    ///< the socket is another's

    ombrel_http_parser_t* parser;
    std::string_view rest;                ///< behind what is being taken apart just now
    ombrel::protocol::counted_block held; ///< came, but is not to be looked at yet
    ombrel_buffer_t* output;              ///< what the socket did not take yet; null until there is such
    ombrel::protocol::http_request request;
    ombrel::protocol::counted_block body;
    ombrel::protocol::counted_block added_fields;
    char* user;

    ombrel::protocol::intake intake;
    ombrel::protocol::answer answer;
    bool has_begun; ///< something of the request has come
    int guards_passed;
    bool awaits_guard;                     ///< a guard has not judged the request yet
    ombrel::protocol::secret_check* check; ///< of its password; null when none goes on
    bool is_deferred;                      ///< the answer comes when the handler has returned
    bool holds_body;                       ///< nobody wants pieces of the body now
    bool end_was_told;                     ///< of the body
    bool is_bare;                          ///< the answer has no body: to HEAD, 204, 304
    bool is_chunked;                       ///< the answer's body
    bool wants_room;                       ///< the writer is to be called when there is room
    int status;
    int outcome;       ///< what the end handler is told once the answer is out
    int64_t body_left; ///< of the answer, as announced; -1 when it was not
    uint64_t body_sent, body_came;
    uint64_t began_ms;    ///< when the present wait began: for a request, its body, the answer
    uint64_t moved_ms;    ///< when the client took something last
    uint64_t handed_over; ///< bytes to the host
    uint64_t taken;       ///< of these by the client, when the host was asked last
    ombrel_http_body_handler_t body_handler;
    void* body_context;
    ombrel_http_handler_t writer;
    ombrel_http_end_handler_t end_handler;
    void* end_context;
    void* writer_context;
};

struct ombrel_http_server_ts {
    ombrel_event_base_t* base;
    ombrel_http_server_options_t options; ///< the name is a copy
    ombrel_http_parser_options_t parser_options;
    ombrel::protocol::listener listener;
    ombrel::protocol::http_route* routes;
    ombrel_http_exchange_t* connections;
    ombrel_http_exchange_t *kicked, *last_kicked; ///< the last one counts while there is a first
    ombrel::protocol::memory_budget budget;
    ombrel_http_server_counts_t counts;
    ombrel_event_t sweep_event, kick_event, stop_event;
    ombrel_http_stop_handler_t stop_handler;
    void* stop_context;
    bool is_stopping, has_stopped;
    unsigned depth; ///< handlers that are being called
    size_t checks;  ///< of passwords that are under way
    uint64_t now;   ///< ombrel_time_stamp_msec() of the present turn
    int64_t dated;  ///< the second of the date, which answers bear
    char date[32];
    const char* tag; ///< of whoever opened it
    unsigned long line;
    ombrel_http_exchange_t* batch_owner; ///< whose answers are gathered
    size_t batched;
    char batch[ombrel::protocol::batch_size];
    char input[ombrel::protocol::input_size];
};

namespace ombrel::protocol {

using http_server = ombrel_http_server_t;
using http_exchange = ombrel_http_exchange_t;

inline constexpr char server_tag[] = "ombrel_open_http_server";

// Connections (http_connection.cpp).

void add_connection(http_server& server, int socket, const endpoint& peer);
/// Ends it with whatever is under way, not from within a handler of its own.
void close_connection(http_exchange& connection, int outcome);
/// Has the loop look at it again, for callers that must find it afterwards.
void kick(http_exchange& connection);
void look_at_kicked(http_server& server);
/// Ends what took too long.
void end_late(http_exchange& connection);
/// Tells who waits for the end of the request in hand.
void end_exchange(http_exchange& exchange, int outcome);
/// Goes on to the next request when the answer is complete, and out as far as somebody waits for that.
void finish_answer(http_exchange& exchange);
/// Watches clients' times while there are any.
void keep_sweeping(http_server& server);
/// Whether nothing that comes from the client is looked at any more.
bool hears_no_more(const http_exchange& connection);

// The request (http_intake.cpp).

/// Whether bytes of the client are wanted now.
bool wants_input(const http_exchange& connection);
/// Works through bytes. @return how many were used
size_t take_input(http_exchange& connection, const char* data, size_t size);
/// The client sends no more.
void take_end(http_exchange& connection);
/// Goes on with what waits for no bytes: the end of a body that nobody was told of.
void tell_end_of_body(http_exchange& exchange);
void begin_request(http_exchange& connection);
/// Goes on with what a guard has not judged yet.
void go_on_judging(http_exchange& exchange);
void drop_check(http_exchange& exchange);

// Texts of the request (http_request.cpp).

bool keep_request_line(http_exchange& exchange, const ombrel_http_event_t& event);
bool keep_field(http_exchange& exchange, const ombrel_http_event_t& event);

// Routes (http_route.cpp).

/// The one that takes the request, or null.
const http_route* find_route(const http_server& server, const char* method, const char* path);
/// The methods of routes that have the path, with a comma between; empty for none.
void list_methods(const http_server& server, const char* path, char* text, size_t room);
void free_routes(http_server& server);

// Answers (http_answer.cpp).

/// Whether the handler of a request may still answer it.
inline bool is_open(const http_exchange& exchange) {
    return exchange.answer == answer::awaited && !exchange.is_broken;
}
/// An answer that is this side's own, with which the connection ends.
void refuse_request(http_exchange& exchange, int status, const char* text);
void ask_for_body(http_exchange& exchange);
/// Calls a handler and sees to it that its request is answered.
void call_handler(http_exchange& exchange, ombrel_http_handler_t handler, void* context);
/// Writes bytes of a file, which the host sends by itself; to be called only for an answer of announced size.
/// @return bytes that were sent, 0 when none go so just now, -1 when none can: they are to be read and
/// written
int64_t write_from_file(http_exchange& exchange, int descriptor, int64_t offset, size_t size);
/// What a handler's result means for its exchange.
void judge_result(http_exchange& exchange, int result, bool may_wait);

// Output (http_output.cpp).

size_t unsent(const http_exchange& connection);
/// Sends, or keeps what the client does not take now. Breaks the connection when that fails.
void put(http_exchange& connection, std::string_view bytes);
/// As write_from_file().
int64_t put_from_file(http_exchange& connection, int descriptor, int64_t offset, size_t size);
void flush_output(http_exchange& connection);
void drop_output(http_exchange& connection);
/// Bytes of a writer's that may wait: fewer while the clients together have much waiting.
size_t output_limit(const http_exchange& connection);
/// Whether so little waits that a writer may go on.
bool has_room(const http_exchange& connection);

// The log (http_log.cpp).

void log_answer(http_exchange& exchange);

/// Counts a call of a user's handler for its scope.
class handler_call {
public:
    explicit handler_call(http_server& server) : server_(server) { server_.depth++; }
    ~handler_call() { server_.depth--; }
    handler_call(const handler_call&) = delete;
    handler_call& operator=(const handler_call&) = delete;

private:
    http_server& server_;
};

} // namespace ombrel::protocol
