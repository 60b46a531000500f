#include "protocol/ftp_server/event_line.h"

#include <algorithm>
#include <string_view>

#include <ombrel/printf.h>
#include <ombrel/utf8.h>

#include "text/digits.h"
#include "text/slice.h"
#include "text/text_sink.h"

namespace ombrel::protocol {

namespace {

bool is_printable(uint32_t code) {
    return code >= 0x20 && (code < 0x7f || code > 0x9f);
}

/// Paths are cut where two of them and the words around them may not fit.
constexpr size_t most_shown = 800;

void put_visibly(text_sink& to, std::string_view text) {
    const size_t end = to.room() > most_shown ? to.room() - most_shown : 0;
    while (!text.empty() && to.room() > end) {
        uint32_t code = 0;
        const int size = ombrel_utf8_character_decode(text.data(), text.size(), &code);
        const size_t length = size > 0 ? static_cast<size_t>(size) : 1;
        if (size > 0 && is_printable(code)) {
            to.copy(text.data(), length);
        } else {
            for (const char c : slice(text, 0, length)) {
                char hex[2];
                put_hex(hex, static_cast<uint8_t>(c));
                to.copy("\\x", 2);
                to.copy(hex, sizeof hex);
            }
        }
        text = slice(text, length);
    }
}

void put(text_sink& to, std::string_view text) {
    to.copy(text.data(), text.size());
}

void put_number(text_sink& to, int64_t number, std::string_view unit) {
    char text[24];
    put(to, {text, static_cast<size_t>(
                       ombrel_snprintf(text, sizeof text, "%lld", static_cast<long long>(number)))});
    put(to, unit);
}

/// How much was moved in what time.
void put_amount(text_sink& to, const ombrel_ftp_server_event_t& event) {
    put(to, ", ");
    put_number(to, event.m_bytes, " bytes in ");
    put_number(to, event.m_duration_ms, " ms");
}

void put_path(text_sink& to, const ombrel_ftp_server_event_t& event) {
    put(to, " ");
    put_visibly(to, event.m_path);
    if (event.m_new_path[0] != '\0') {
        put(to, " to ");
        put_visibly(to, event.m_new_path);
    }
}

void put_reason(text_sink& to, const ombrel_ftp_server_event_t& event) {
    if (event.m_reason[0] == '\0')
        return;
    put(to, ": ");
    if (event.m_reply > 0)
        put_number(to, event.m_reply, " ");
    put_visibly(to, event.m_reason);
}

enum part : uint8_t { command = 1, path = 2, amount = 4, reason = 8 };

/// The words for a kind of event, and what is told of it.
struct event_words {
    std::string_view words;
    uint8_t parts;
};

constexpr event_words words_of[] = {{},
                                    {"connected", 0},
                                    {"logged in", 0},
                                    {"log-in failed", reason},
                                    {"sent", path | amount | reason},
                                    {"received", path | amount | reason},
                                    {"listed", path | amount | reason},
                                    {"changed", command | path},
                                    {"refused", command | path | reason},
                                    {"left", amount | reason}};

} // namespace

void put_event_line(char (&text)[event_line_room], const ombrel_ftp_server_event_t& event) {
    text_sink to(text, sizeof text - 1);
    const event_words& words = words_of[event.m_kind];
    put(to, event.m_client);
    put(to, " ");
    put_visibly(to, event.m_account[0] != '\0' ? event.m_account : "-");
    put(to, " ");
    put(to, words.words);
    if ((words.parts & command) != 0 && event.m_command[0] != '\0') {
        put(to, " ");
        put(to, event.m_command);
    }
    if ((words.parts & path) != 0 && event.m_path[0] != '\0')
        put_path(to, event);
    if ((words.parts & amount) != 0)
        put_amount(to, event);
    if ((words.parts & reason) != 0)
        put_reason(to, event);
    *to.cursor() = '\0';
}

} // namespace ombrel::protocol
