// What a session says: to the client, and to whoever keeps a log.
#include "protocol/ftp_server/ftp_server_session.h"

#include <cstdarg>

#include <ombrel/printf.h>
#include <ombrel/time.h>

#include "core/fault.h"
#include "protocol/ftp_server/ftp_server_internal.h"

namespace ombrel::protocol {

void ftp_server_session::push(std::string_view text) {
    if (unsent() == 0)
        output_limit_ = deadline(options().m_progress_ms);
    if (ombrel_push_buffer_ex(output_, text.data(), text.size(), 0) != text.size())
        is_broken_ = true; // a reply that is not whole would be taken for another one
}

void ftp_server_session::reply(int code, const char* format, ...) {
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    const int length = ombrel_vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    reply_name(code, {text, static_cast<size_t>(length)}, {}, {});
}

void ftp_server_session::reply_name(int code, std::string_view before, std::string_view name,
                                    std::string_view after) {
    char head[8];
    push({head, static_cast<size_t>(ombrel_snprintf(head, sizeof head, "%03d ", code))});
    push(before);
    say_name(name, !before.empty() && before.back() == '"');
    push(after);
    push("\r\n");
}

void ftp_server_session::say(std::string_view line) {
    push(line);
    push("\r\n");
}

void ftp_server_session::say_indented(std::string_view line, std::string_view name) {
    push(" ");
    push(line);
    say_name(name);
    push("\r\n");
}

void ftp_server_session::put_listing(ftp_listing& listing) {
    say("213-Status:");
    while (!listing.is_over())
        push({server_.room->bytes, listing.fill(server_.room->bytes, server_.room->size)});
    reply(213, listing.was_cut_off() ? "End of status, which was cut off." : "End of status.");
}

void ftp_server_session::say_name(std::string_view name, bool is_quoted) {
    char piece[256];
    size_t size = 0;
    for (const char c : name) {
        if (size + 2 > sizeof piece) {
            push({piece, size});
            size = 0;
        }
        piece[size++] = shown(c);
        if (is_quoted && c == '"')
            piece[size++] = c;
    }
    push({piece, size});
}

void ftp_server_session::refuse(int code, const char* text) {
    reply(code, "%s", text);
    if (account_ != nullptr &&
        tell({.kind = def_ombrel_ftp_server_event_refused, .reply = code, .path = subject_, .reason = text}))
        end(421, "No more.");
}

void ftp_server_session::refuse_by_fault() {
    static constexpr struct {
        fault_code fault;
        int code;
        const char* text;
    } answers[] = {
        {fault_code::not_found, 550, "There is no such file or directory."},
        {fault_code::not_directory, 550, "That is no directory."},
        {fault_code::is_directory, 550, "That is a directory."},
        {fault_code::access_denied, 550, "That is not permitted."},
        {fault_code::exists, 550, "That is there already."},
        {fault_code::not_empty, 550, "The directory is not empty."},
        {fault_code::link_loop, 550, "Links are not followed."},
        {fault_code::no_space, 452, "There is no room left."},
        {fault_code::too_large, 552, "That is too large."},
        {fault_code::no_memory, 451, "Too much to do; try again later."},
        {fault_code::no_descriptor, 451, "Too much to do; try again later."},
    };
    const fault_code why = last_fault().code;
    for (const auto& answer : answers)
        if (answer.fault == why) {
            refuse(answer.code, answer.text);
            return;
        }
    refuse(550, "The file system refused.");
}

void ftp_server_session::end(int code, const char* text) {
    if (is_ending_)
        return;
    reply(code, "%s", text);
    is_ending_ = true;
    end_reason_ = text;
    close_data();
    reader_.drop();
}

void ftp_server_session::tell_change(std::string_view path, std::string_view new_path) {
    if (tell({.kind = def_ombrel_ftp_server_event_changed,
              .reply = 250,
              .path = path.data(),
              .new_path = new_path.empty() ? "" : new_path.data()}))
        end(421, "No more.");
}

bool ftp_server_session::tell(const session_event& event) {
    const char* const own_account = account_ != nullptr ? account_->name : "";
    return tell_event(server_, {event.kind, event.reply, number_, client_,
                                event.account != nullptr ? event.account : own_account,
                                event.command != nullptr ? event.command : verb_, event.path, event.new_path,
                                event.reason, event.bytes, event.duration_ms});
}

} // namespace ombrel::protocol
