// What a server's sessions tell of.
#include "protocol/ftp_server/event_line.h"
#include "protocol/ftp_server/ftp_server_internal.h"

namespace ombrel::protocol {

bool tell_event(ombrel_ftp_server_t& server, const ombrel_ftp_server_event_t& event) {
    const auto& options = server.options;
    bool is_objected_to = false;
    server.handlers++;
    if (options.m_handler != nullptr)
        is_objected_to = options.m_handler(&server, &event, options.m_context) != 0;
    if (options.m_log_handler != nullptr) {
        char line[event_line_room];
        put_event_line(line, event);
        is_objected_to |= options.m_log_handler(line, options.m_log_context) != 0;
    }
    server.handlers--;
    return is_objected_to;
}

void note_leaving(ombrel_ftp_server_t& server) {
    if (server.is_stopping && !server.has_stopped && server.sessions == nullptr)
        server.stop_call.set(0);
}

} // namespace ombrel::protocol
