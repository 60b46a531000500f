// What goes out: answers are gathered and sent together, what the socket does not take waits in a chain.
#include <algorithm>

#include <ombrel/socket.h>

#include "core/fault.h"
#include "platform/send_file.h"
#include "protocol/http/http_server_internal.h"

namespace ombrel::protocol {

namespace {

void note_sent(http_exchange& connection, size_t size) {
    connection.server->counts.m_sent_bytes += size;
    connection.handed_over += size;
    if (size > 0)
        connection.moved_ms = connection.server->now;
}

/// Sends what the socket takes now. @return the bytes taken; the connection is broken when it fails
size_t send_now(http_exchange& connection, std::string_view bytes) {
    size_t sent = 0;
    while (sent < bytes.size() && !connection.is_broken) {
        const int count = ombrel_send_now(connection.socket, bytes.data() + sent, bytes.size() - sent);
        if (count == def_ombrel_socket_would_block)
            break;
        connection.is_broken = count < 0;
        sent += count > 0 ? static_cast<size_t>(count) : 0;
    }
    note_sent(connection, sent);
    return sent;
}

/// Adds bytes to those that wait. False when there is no memory.
bool queue(http_exchange& connection, std::string_view bytes) {
    memory_budget& budget = connection.server->budget;
    if (connection.output == nullptr)
        connection.output = ombrel_open_buffer_ex(0);
    if (connection.output == nullptr || !budget.leaves_spare(bytes.size()) || !budget.take(bytes.size()))
        return false;
    const size_t kept = ombrel_push_buffer_ex(connection.output, bytes.data(), bytes.size(), 0);
    budget.give(bytes.size() - kept);
    return kept == bytes.size();
}

void keep(http_exchange& connection, std::string_view bytes) {
    if (bytes.empty() || connection.is_broken)
        return;
    if (ombrel_get_buffer_size(connection.output) == 0)
        connection.moved_ms = connection.server->now;
    if (queue(connection, bytes))
        return;
    connection.is_broken = true;
    connection.outcome = def_ombrel_http_exchange_failed;
}

void send_or_keep(http_exchange& connection, std::string_view bytes) {
    size_t sent = 0;
    if (ombrel_get_buffer_size(connection.output) == 0)
        sent = send_now(connection, bytes);
    bytes.remove_prefix(sent);
    keep(connection, bytes);
}

void flush_batch(http_server& server) {
    if (server.batch_owner == nullptr)
        return;
    http_exchange& owner = *server.batch_owner;
    const std::string_view gathered(server.batch, server.batched);
    server.batch_owner = nullptr;
    server.batched = 0;
    send_or_keep(owner, gathered);
}

} // namespace

size_t unsent(const http_exchange& connection) {
    const http_server& server = *connection.server;
    return ombrel_get_buffer_size(connection.output) +
           (server.batch_owner == &connection ? server.batched : 0);
}

// Slow clients would have all the memory otherwise, and the next ones were cut off.
size_t output_limit(const http_exchange& connection) {
    constexpr size_t least = 4096;
    const http_server& server = *connection.server;
    return std::min(server.options.m_output_limit, std::max(server.budget.share(), least));
}

bool has_room(const http_exchange& connection) {
    return unsent(connection) <= output_limit(connection) / 2;
}

void put(http_exchange& connection, std::string_view bytes) {
    http_server& server = *connection.server;
    if (connection.is_broken || bytes.empty())
        return;
    if (unsent(connection) == 0) // what waits from now on has not waited before
        connection.moved_ms = server.now;
    const bool is_large = bytes.size() > batch_size / 2;
    if (is_large || server.batch_owner != &connection || bytes.size() > batch_size - server.batched)
        flush_batch(server);
    if (is_large) {
        send_or_keep(connection, bytes);
        return;
    }
    server.batch_owner = &connection;
    memcpy(server.batch + server.batched, bytes.data(), bytes.size());
    server.batched += bytes.size();
}

// What was gathered goes before, in the same call.
int64_t put_from_file(http_exchange& connection, int descriptor, int64_t offset, size_t size) {
    http_server& server = *connection.server;
    if (connection.is_broken || ombrel_get_buffer_size(connection.output) > 0)
        return 0;
    const bool is_owner = server.batch_owner == &connection;
    std::string_view gathered(server.batch, is_owner ? server.batched : 0);
    const int sent = platform::send_file(connection.socket, gathered, descriptor, offset, size);
    if (sent < 0)
        return failed_for_now(sent) ? 0 : -1;
    note_sent(connection, static_cast<size_t>(sent));
    if (!is_owner)
        return sent;
    const size_t of_gathered = std::min(static_cast<size_t>(sent), gathered.size());
    server.batch_owner = nullptr;
    server.batched = 0;
    gathered.remove_prefix(of_gathered);
    keep(connection, gathered);
    return sent - static_cast<int64_t>(of_gathered);
}

void flush_output(http_exchange& connection) {
    http_server& server = *connection.server;
    char unit[16 * 1024];
    while (!connection.is_broken && ombrel_get_buffer_size(connection.output) > 0) {
        const size_t size = ombrel_peek_buffer(connection.output, unit, sizeof unit, 0);
        const size_t sent = send_now(connection, {unit, size});
        ombrel_pop_buffer_ex(connection.output, nullptr, sent, 0);
        server.budget.give(sent);
        if (sent < size)
            break;
    }
    if (server.batch_owner == &connection)
        flush_batch(server);
}

void drop_output(http_exchange& connection) {
    http_server& server = *connection.server;
    if (server.batch_owner == &connection) {
        server.batch_owner = nullptr;
        server.batched = 0;
    }
    if (connection.output == nullptr)
        return;
    server.budget.give(ombrel_get_buffer_size(connection.output));
    connection.output = ombrel_close_buffer(connection.output);
}

} // namespace ombrel::protocol
