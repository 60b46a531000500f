// A line for each answer.
#include <ombrel/calendar.h>
#include <ombrel/printf.h>

#include "protocol/http/http_server_internal.h"
#include "text/digits.h"

namespace ombrel::protocol {

namespace {

constexpr size_t most_shown = 1024;

/// Adds a text of the client's, with what cannot be shown as "\x1B"; a long one is cut.
void put_shown(char* line, size_t room, const char* text) {
    size_t size = strlen(line);
    for (; *text != '\0' && size + 5 < room; text++) {
        const unsigned char byte = static_cast<unsigned char>(*text);
        const bool is_plain = byte >= ' ' && byte != 0x7f && byte != '"' && byte != '\\';
        if (is_plain) {
            line[size++] = *text;
            continue;
        }
        line[size++] = '\\';
        line[size++] = 'x';
        put_hex(line + size, byte);
        size += 2;
    }
    line[size] = '\0';
}

} // namespace

void log_answer(http_exchange& exchange) {
    const ombrel_http_server_options_t& options = exchange.server->options;
    if (options.m_log_handler == nullptr)
        return;
    char user[128] = "", request[most_shown] = "", moment[40] = "", line[most_shown + 512];
    ombrel_instant_t now;
    ombrel_civil_time_t time;
    if (ombrel_get_instant(&now) == 0 && ombrel_make_utc_time(&now, &time) == 0)
        ombrel_format_iso_time(moment, sizeof moment, &time, 0, 0);
    put_shown(user, sizeof user, exchange.user != nullptr ? exchange.user : "-");
    const char* const texts = exchange.request.texts.data;
    if (exchange.request.has_path) {
        put_shown(request, 64, texts);
        ombrel_snprintf(request + strlen(request), 2, " ");
        put_shown(request, sizeof request - 16, texts + exchange.request.target);
        ombrel_snprintf(request + strlen(request), 16, " HTTP/1.%d", exchange.request.minor_version);
    }
    ombrel_snprintf(line, sizeof line, "%s - %s [%s] \"%s\" %d %llu", exchange.peer, user, moment,
                    request[0] != '\0' ? request : "-", exchange.status,
                    static_cast<unsigned long long>(exchange.body_sent));
    const handler_call counted(*exchange.server);
    options.m_log_handler(line, options.m_log_context);
}

} // namespace ombrel::protocol
