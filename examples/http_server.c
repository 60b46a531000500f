#include "http_server.h"

#include <errno.h>
#include <string.h>

enum {
    request_limit_msec = 10000, /* from a request's first byte to its last */
    idle_limit_msec = 30000,    /* between two requests, and for a client that does not take its answer */
    linger_limit_msec = 2000,   /* after the last answer, for the client to read it and close */
    sweep_msec = 250,
    http_head_area = http_head_limit + 8192, /* a head and what was read behind it */
    output_limit = 256 * 1024, /* no further request of a pipeline is looked at above so many unsent bytes */
    accepts_at_once = 64,
    send_unit = 64 * 1024
};

typedef enum {
    state_head,   /* waits for a request, or for the rest of its head */
    state_body,   /* reads a body */
    state_answer, /* the answer is being made */
    state_linger  /* answered for the last time: waits for the client to close */
} connection_state_t;

struct http_connection {
    http_connection_t* previous;
    http_connection_t* next;
    http_server_t* server;
    int socket;
    ombrel_event_t event;
    uint32_t watched; /* the event's flags as registered; 0 when it is not */
    connection_state_t state;
    uint64_t deadline;
    int begun;        /* something of the next request came, if only an empty line */
    int closes;       /* no further request after this answer */
    int saw_end;      /* the client sends no more */
    int busy;         /* inside process(): answers given now go on from there */
    int broken;       /* cannot be written to any more */
    int said_goodbye; /* our side is shut down */
    size_t received;  /* bytes in head */
    size_t parsed;    /* bytes of head that belong to the request in hand */
    http_request_t request;
    http_chunks_t chunks;
    char* body;
    size_t body_size;
    size_t body_room;
    ombrel_buffer_t* output; /* what the socket did not take yet; null until there is such */
    http_abandoned_t abandoned;
    void* abandoned_context;
    char head[http_head_area + 1];
};

typedef struct {
    http_server_t* server;
    int socket;
    int rests; /* the accept event is not registered */
    ombrel_event_t accept_event;
} http_listener_t;

struct http_server {
    ombrel_event_base_t* base;
    int reserve; /* a descriptor kept to answer with when no other is left */
    size_t listener_count;
    http_listener_t listeners[http_listener_limit];
    ombrel_event_t sweep_event;
    http_handler_t handler;
    void* context;
    http_connection_t* connections;
    http_counts_t counts;
    int64_t dated; /* the second of the date, which answers bear */
    char date[32];
};

static const char* reason(int status) {
    static const struct {
        int status;
        const char* reason;
    } reasons[] = {{100, "Continue"},           {200, "OK"},
                   {400, "Bad Request"},        {404, "Not Found"},
                   {405, "Method Not Allowed"}, {408, "Request Timeout"},
                   {413, "Content Too Large"},  {500, "Internal Server Error"},
                   {501, "Not Implemented"},    {503, "Service Unavailable"},
                   {504, "Gateway Timeout"},    {505, "HTTP Version Not Supported"}};
    for (size_t i = 0; i < sizeof reasons / sizeof *reasons; i++)
        if (reasons[i].status == status)
            return reasons[i].reason;
    return "Unknown";
}

static void limit_time(http_connection_t* connection, uint64_t msec) {
    connection->deadline = ombrel_time_stamp_msec() + msec;
}

static size_t unsent(const http_connection_t* connection) {
    return ombrel_get_buffer_size(connection->output);
}

/* ---- sending ---- */

/* Sends what the socket takes now: the bytes taken, or -1 when it is broken. */
static long send_now(int socket, const char* data, size_t size) {
    size_t sent = 0;
    while (sent < size) {
        const int count = ombrel_send_now(socket, data + sent, size - sent);
        if (count == def_ombrel_socket_would_block)
            break;
        if (count < 0)
            return -1;
        sent += (size_t)count;
    }
    return (long)sent;
}

static void flush_output(http_connection_t* connection) {
    static char unit[send_unit]; /* one loop, one thread */
    while (!connection->broken && unsent(connection) > 0) {
        const size_t size = ombrel_peek_buffer_ex(connection->output, unit, sizeof unit, 0, 0);
        const long sent = send_now(connection->socket, unit, size);
        if (sent < 0)
            connection->broken = 1;
        else
            ombrel_pop_buffer_ex(connection->output, NULL, (size_t)sent, 0);
        if (sent < (long)size)
            return;
        limit_time(connection, idle_limit_msec);
    }
}

/* Sends at once what can be sent, and keeps the rest. */
static void send_or_keep(http_connection_t* connection, const char* data, size_t size) {
    if (connection->broken || size == 0)
        return;
    long sent = 0;
    if (unsent(connection) == 0)
        sent = send_now(connection->socket, data, size);
    if (sent < 0) {
        connection->broken = 1;
        return;
    }
    const size_t left = size - (size_t)sent;
    if (left == 0)
        return;
    if (connection->output == NULL)
        connection->output = ombrel_open_buffer_ex(0);
    if (ombrel_push_buffer_ex(connection->output, data + sent, left, 0) != left)
        connection->broken = 1;
}

/* ---- connections ---- */

static void drop_body(http_connection_t* connection) {
    ombrel_check_free(connection->body);
    connection->body = NULL;
    connection->body_size = connection->body_room = 0;
}

static void end_event(ombrel_event_t* event) {
    if ((event->m_flags & def_ombrel_event_assigned) != 0)
        ombrel_unassign_event(event);
}

static void close_connection(http_connection_t* connection) {
    http_server_t* server = connection->server;
    if (connection->abandoned != NULL)
        connection->abandoned(connection->abandoned_context);
    end_event(&connection->event);
    ombrel_close_socket(connection->socket);
    drop_body(connection);
    ombrel_close_buffer(connection->output);
    if (connection->previous != NULL)
        connection->previous->next = connection->next;
    else
        server->connections = connection->next;
    if (connection->next != NULL)
        connection->next->previous = connection->previous;
    server->counts.open--;
    ombrel_free(connection);
}

static void on_ready(ombrel_event_t* event, int socket, uint32_t ready, void* context);

/* Watches the socket for exactly what the connection waits for. */
static void watch(http_connection_t* connection) {
    uint32_t wanted = 0;
    if (!connection->saw_end &&
        (connection->state != state_answer || connection->received < http_head_area) &&
        unsent(connection) < output_limit)
        wanted |= def_ombrel_event_read;
    if (unsent(connection) > 0)
        wanted |= def_ombrel_event_write;
    if (wanted == connection->watched)
        return;
    if (connection->watched != 0)
        ombrel_del_event(&connection->event);
    connection->watched = 0;
    if (wanted == 0)
        return;
    if (ombrel_assign_event(connection->server->base, &connection->event, connection->socket,
                            wanted | def_ombrel_event_persist, on_ready, connection) == 0 &&
        ombrel_add_event(&connection->event, -1) == 0)
        connection->watched = wanted;
    else
        connection->broken = 1;
}

/* Forgets the request in hand and moves what came after it to the front. */
static void begin_request(http_connection_t* connection) {
    drop_body(connection);
    connection->received -= connection->parsed;
    memmove(connection->head, connection->head + connection->parsed, connection->received);
    connection->parsed = 0;
    connection->state = state_head;
    connection->begun = connection->received > 0;
    limit_time(connection, connection->begun ? request_limit_msec : idle_limit_msec);
}

static void begin_linger(http_connection_t* connection) {
    drop_body(connection);
    connection->state = state_linger;
    connection->received = connection->parsed = 0;
    limit_time(connection, idle_limit_msec);
}

/* ---- answers ---- */

static void settle(http_connection_t* connection);

/* The date of answers, written once a second. */
static const char* date_text(http_server_t* server) {
    ombrel_instant_t now;
    if (ombrel_get_instant(&now) == 0 && (now.m_seconds != server->dated || server->date[0] == '\0')) {
        server->dated = now.m_seconds;
        ombrel_format_http_date(server->date, sizeof server->date, &now, def_ombrel_http_date_rfc1123);
    }
    return server->date;
}

void http_respond(http_connection_t* connection, int status, const char* type, const void* data,
                  size_t size) {
    char head[512];
    if (status >= 400 && status != 404 && status != 503 && status != 504)
        connection->closes = 1;
    if (!connection->request.keep_alive || connection->saw_end)
        connection->closes = 1;
    const int head_size = ombrel_snprintf(
        head, sizeof head,
        "HTTP/1.1 %d %s\r\nDate: %s\r\nServer: libombrel_tuk\r\nContent-Type: %s\r\nContent-Length: "
        "%llu\r\n%s%s\r\n",
        status, reason(status), date_text(connection->server), type, (unsigned long long)size,
        status == 405 ? "Allow: GET, HEAD, POST\r\n" : "",
        connection->closes ? "Connection: close\r\n"
                           : "Connection: keep-alive\r\nCache-Control: no-store\r\n");
    const int sends_body = connection->request.method != http_method_head;
    char whole[4096];
    if (sends_body && (size_t)head_size + size <= sizeof whole) {
        memcpy(whole, head, (size_t)head_size);
        if (size > 0)
            memcpy(whole + head_size, data, size);
        send_or_keep(connection, whole, (size_t)head_size + size);
    } else {
        send_or_keep(connection, head, (size_t)head_size);
        if (sends_body)
            send_or_keep(connection, data, size);
    }
    connection->abandoned = NULL;
    if (connection->closes)
        begin_linger(connection);
    else
        begin_request(connection);
    if (!connection->busy)
        settle(connection);
}

void http_respond_text(http_connection_t* connection, int status, const char* text) {
    char line[256];
    const int size = ombrel_snprintf(line, sizeof line, "%d %s: %s\n", status, reason(status), text);
    http_respond(connection, status, "text/plain; charset=utf-8", line, (size_t)size);
}

void http_defer(http_connection_t* connection, http_abandoned_t abandoned, void* context) {
    connection->abandoned = abandoned;
    connection->abandoned_context = context;
}

/* ---- requests ---- */

static void hand_over(http_connection_t* connection) {
    connection->state = state_answer;
    connection->server->counts.requests++;
    connection->server->handler(connection, &connection->request, connection->body, connection->body_size,
                                connection->server->context);
}

static void begin_body(http_connection_t* connection) {
    const http_request_t* request = &connection->request;
    connection->body_room = request->chunked ? http_body_limit : request->content_length;
    if (connection->body_room == 0) {
        hand_over(connection);
        return;
    }
    connection->body = ombrel_alloc(connection->body_room);
    if (connection->body == NULL) {
        http_respond_text(connection, 503, "no memory for the body");
        return;
    }
    memset(&connection->chunks, 0, sizeof connection->chunks);
    connection->state = state_body;
    if (request->expects_continue)
        send_or_keep(connection, "HTTP/1.1 100 Continue\r\n\r\n", 25);
}

static void read_head(http_connection_t* connection) {
    /* Empty lines before a request are allowed. */
    size_t blank = 0;
    while (blank < connection->received &&
           (connection->head[blank] == '\r' || connection->head[blank] == '\n'))
        blank++;
    if (blank > 0) {
        connection->received -= blank;
        memmove(connection->head, connection->head + blank, connection->received);
    }
    const size_t size = http_find_head_end(connection->head, connection->received);
    if (size > http_head_limit || (size == 0 && connection->received >= http_head_limit)) {
        memset(&connection->request, 0, sizeof connection->request);
        http_respond_text(connection, 413, "the request's head is longer than 8192 bytes");
        return;
    }
    if (size == 0)
        return;
    const char after = connection->head[size];
    connection->parsed = size;
    const int status = http_parse_head(connection->head, size, &connection->request);
    connection->head[size] = after;
    if (status == 0) {
        begin_body(connection);
        return;
    }
    connection->closes = 1;
    http_respond_text(connection, status,
                      status == 413 ? "the body is longer than 1048576 bytes"
                                    : "this request makes no sense");
}

/* Moves body bytes out of the head's area; the rest of the area stays for the next request. */
static void read_body(http_connection_t* connection) {
    char* data = connection->head + connection->parsed;
    const size_t size = connection->received - connection->parsed;
    char* end = connection->body + connection->body_size;
    long used;
    int complete;
    if (connection->request.chunked) {
        size_t room = connection->body_room - connection->body_size;
        used = http_decode_chunks(&connection->chunks, data, size, end, &room);
        connection->body_size = connection->body_room - room;
        complete = connection->chunks.state == chunk_done;
    } else {
        const size_t wanted = connection->body_room - connection->body_size;
        used = (long)(size < wanted ? size : wanted);
        memcpy(end, data, (size_t)used);
        connection->body_size += (size_t)used;
        complete = connection->body_size == connection->body_room;
    }
    if (used < 0) {
        connection->closes = 1;
        http_respond_text(connection, used == -2 ? 413 : 400,
                          used == -2 ? "the body is longer than 1048576 bytes"
                                     : "the body is no chunked one");
        return;
    }
    memmove(data, data + used, size - (size_t)used);
    connection->received -= (size_t)used;
    if (complete)
        hand_over(connection);
}

/* The client sends no more: what is unfinished stays so. */
static void finish_input(http_connection_t* connection) {
    if (connection->state == state_body || (connection->state == state_head && connection->received > 0)) {
        connection->closes = 1;
        http_respond_text(connection, 400, "the request ends in its middle");
    }
}

/* Works through the bytes that are there, request by request. */
static void process(http_connection_t* connection) {
    connection->busy = 1;
    for (;;) {
        const connection_state_t state = connection->state;
        const size_t received = connection->received;
        if (state == state_head && received > 0 && unsent(connection) < output_limit)
            read_head(connection);
        else if (state == state_body)
            read_body(connection);
        if (connection->state == state && connection->received == received)
            break;
    }
    if (connection->saw_end && unsent(connection) < output_limit)
        finish_input(connection);
    connection->busy = 0;
}

/* Whether nothing is left to be done for a connection. */
static int is_over(const http_connection_t* connection) {
    if (connection->broken)
        return 1;
    if (unsent(connection) > 0 || !connection->saw_end)
        return 0;
    return connection->state == state_linger || connection->state == state_head;
}

/* After something happened: answers what else is there, then waits or closes. */
static void settle(http_connection_t* connection) {
    flush_output(connection);
    if (!connection->broken)
        process(connection);
    flush_output(connection);
    if (connection->state == state_linger && unsent(connection) == 0 && !connection->saw_end) {
        /* Closing with unread bytes would tear the answer away from the client: say goodbye and wait. */
        if (!connection->said_goodbye) {
            connection->said_goodbye = 1;
            ombrel_shutdown_socket(connection->socket, 1);
            limit_time(connection, linger_limit_msec);
        }
    }
    if (!is_over(connection))
        watch(connection);
    if (is_over(connection))
        close_connection(connection);
}

static void receive(http_connection_t* connection) {
    if (connection->state == state_linger)
        connection->received = 0; /* nobody reads it any more */
    const size_t room = http_head_area - connection->received;
    if (room == 0)
        return;
    char* end = connection->head + connection->received;
    const int count = ombrel_recv_now(connection->socket, end, room);
    if (count > 0) {
        if (connection->state == state_head && !connection->begun) {
            connection->begun = 1;
            limit_time(connection, request_limit_msec);
        }
        connection->received += (size_t)count;
    } else if (count == 0) {
        connection->saw_end = 1;
    } else if (count != def_ombrel_socket_would_block) {
        connection->broken = 1;
    }
}

static void on_ready(ombrel_event_t* event, int socket, uint32_t ready, void* context) {
    http_connection_t* connection = context;
    (void)event;
    (void)socket;
    if (ready == def_ombrel_event_assigned)
        return;
    if ((ready & def_ombrel_event_read) != 0)
        receive(connection);
    settle(connection);
}

/* ---- the server ---- */

static void add_connection(http_server_t* server, int socket) {
    http_connection_t* connection = ombrel_alloc(sizeof *connection);
    if (connection == NULL) {
        ombrel_close_socket(socket);
        return;
    }
    memset(connection, 0, offsetof(http_connection_t, head));
    connection->server = server;
    connection->socket = socket;
    connection->next = server->connections;
    if (connection->next != NULL)
        connection->next->previous = connection;
    server->connections = connection;
    server->counts.open++;
    server->counts.accepted++;
    limit_time(connection, request_limit_msec);
    watch(connection);
    if (connection->broken)
        close_connection(connection);
}

/* A failed accept may also mean that the client has gone again; a probe tells. */
static int has_descriptors(void) {
    const int probe = ombrel_open_socket(AF_INET, SOCK_STREAM, 0);
    ombrel_close_socket(probe);
    return probe != def_ombrel_invalid_socket;
}

/* No descriptor is left: the reserve is spent on telling one client so. */
static void refuse_connection(http_server_t* server, int listener) {
    static const char answer[] =
        "HTTP/1.1 503 Service Unavailable\r\nServer: libombrel_tuk\r\nRetry-After: 1\r\n"
        "Content-Type: text/plain\r\nContent-Length: 32\r\nConnection: close\r\n\r\n"
        "503 Service Unavailable: full up";
    ombrel_close_socket(server->reserve);
    const int socket = ombrel_accept_now(listener, NULL, NULL);
    if (socket >= 0) {
        char request[1024];
        server->counts.refused++;
        ombrel_send_now(socket, answer, sizeof answer - 1);
        ombrel_shutdown_socket(socket, def_ombrel_shutdown_send);
        ombrel_recv_now(socket, request, sizeof request);
        ombrel_close_socket(socket);
    }
    server->reserve = ombrel_open_socket(AF_INET, SOCK_STREAM, 0);
}

/* Without a descriptor, not even the reserve, waiting clients have to wait on: looking at them again and
 * again would take the processor. */
static void rest_accepting(http_listener_t* listener) {
    ombrel_del_event(&listener->accept_event);
    listener->rests = 1;
}

static void resume_accepting(http_server_t* server) {
    if (server->reserve == def_ombrel_invalid_socket)
        server->reserve = ombrel_open_socket(AF_INET, SOCK_STREAM, 0);
    for (size_t i = 0; i < server->listener_count; i++) {
        http_listener_t* listener = &server->listeners[i];
        if (listener->rests && ombrel_add_event(&listener->accept_event, -1) == 0)
            listener->rests = 0;
    }
}

static void on_accept(ombrel_event_t* event, int descriptor, uint32_t ready, void* context) {
    http_listener_t* listener = context;
    http_server_t* server = listener->server;
    (void)event;
    (void)descriptor;
    if ((ready & def_ombrel_event_read) == 0)
        return;
    for (int i = 0; i < accepts_at_once; i++) {
        const int socket = ombrel_accept_now(listener->socket, NULL, NULL);
        if (socket == def_ombrel_socket_would_block)
            return;
        if (socket != def_ombrel_invalid_socket) {
            add_connection(server, socket);
            continue;
        }
        if (has_descriptors())
            continue;
        if (server->reserve == def_ombrel_invalid_socket) {
            rest_accepting(listener);
            return;
        }
        refuse_connection(server, listener->socket);
    }
}

static void end_in_time(http_connection_t* connection) {
    const int is_idle = connection->state == state_head && connection->received == 0;
    if (is_idle || unsent(connection) > 0) {
        close_connection(connection);
    } else if (connection->state == state_head || connection->state == state_body) {
        connection->closes = 1;
        memset(&connection->request, 0, sizeof connection->request);
        http_respond_text(connection, 408, "the request did not come in time");
    } else if (connection->state == state_linger) {
        close_connection(connection);
    }
}

static void on_sweep(ombrel_event_t* event, int socket, uint32_t ready, void* context) {
    http_server_t* server = context;
    (void)socket;
    if ((ready & def_ombrel_event_timeout) == 0)
        return;
    const uint64_t now = ombrel_time_stamp_msec();
    for (http_connection_t *connection = server->connections, *next; connection != NULL; connection = next) {
        next = connection->next;
        if (now >= connection->deadline)
            end_in_time(connection);
    }
    resume_accepting(server);
    ombrel_add_event(event, sweep_msec);
}

http_server_t* http_open_server(ombrel_event_base_t* base, http_handler_t handler, void* context) {
    http_server_t* server = ombrel_calloc(1, sizeof *server);
    if (server == NULL)
        return NULL;
    server->base = base;
    server->handler = handler;
    server->context = context;
    server->reserve = ombrel_open_socket(AF_INET, SOCK_STREAM, 0);
    if (ombrel_assign_event(base, &server->sweep_event, -1, 0, on_sweep, server) == 0 &&
        ombrel_add_event(&server->sweep_event, sweep_msec) == 0)
        return server;
    http_close_server(server);
    return NULL;
}

static int port_of(int socket, char numeric[http_address_size]) {
    struct sockaddr_storage address;
    int size = (int)sizeof address;
    int port = -1;
    if (ombrel_getsockname(socket, (struct sockaddr*)&address, &size) == 0)
        ombrel_inet_stopp((struct sockaddr*)&address, numeric, http_address_size, &port);
    return port;
}

static int watch_listener(http_listener_t* listener) {
    return ombrel_set_non_block_socket(listener->socket, 1) == 0 &&
                   ombrel_assign_event(listener->server->base, &listener->accept_event, listener->socket,
                                       def_ombrel_event_read | def_ombrel_event_persist, on_accept,
                                       listener) == 0 &&
                   ombrel_add_event(&listener->accept_event, -1) == 0
               ? 0
               : -1;
}

int http_listen(http_server_t* server, const char* address, int port, char numeric[http_address_size]) {
    char unwanted[http_address_size];
    http_listener_t* listener = &server->listeners[server->listener_count];
    errno = 0;
    if (server->listener_count == http_listener_limit)
        return -1;
    listener->server = server;
    listener->socket = ombrel_open_listen_socket(address, port);
    if (listener->socket == def_ombrel_invalid_socket)
        return -1;
    server->listener_count++; /* from here on the server closes it */
    return watch_listener(listener) == 0 ? port_of(listener->socket, numeric != NULL ? numeric : unwanted)
                                         : -1;
}

void http_close_server(http_server_t* server) {
    if (server == NULL)
        return;
    while (server->connections != NULL)
        close_connection(server->connections);
    for (size_t i = 0; i < server->listener_count; i++) {
        end_event(&server->listeners[i].accept_event);
        ombrel_close_socket(server->listeners[i].socket);
    }
    end_event(&server->sweep_event);
    ombrel_close_socket(server->reserve);
    ombrel_free(server);
}

http_counts_t http_server_counts(const http_server_t* server) {
    return server->counts;
}
