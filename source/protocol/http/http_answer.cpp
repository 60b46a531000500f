// Answers: whole ones, and those that are written in pieces.
#include <algorithm>

#include <ombrel/calendar.h>
#include <ombrel/printf.h>
#include <ombrel/string.h>

#include "core/fault.h"
#include "core/heap_ptr.h"
#include "protocol/http/http_server_internal.h"
#include "text/slice.h"

using namespace ombrel;
using namespace ombrel::protocol;

namespace ombrel::protocol {

namespace {

constexpr char text_type[] = "text/plain; charset=utf-8";

int refuse(fault_code why) {
    leave_fault(why);
    return -1;
}

/// The date of answers, written once a second.
const char* date_of(http_server& server) {
    ombrel_instant_t now;
    if (ombrel_get_instant(&now) == 0 && (now.m_seconds != server.dated || server.date[0] == '\0')) {
        server.dated = now.m_seconds;
        ombrel_format_http_date(server.date, sizeof server.date, &now, def_ombrel_http_date_rfc1123);
    }
    return server.date;
}

bool has_no_body(int status) {
    return status == 204 || status == 304;
}

/// Whether the request was read to its end, so that what follows can be another one.
bool was_read(const http_exchange& exchange) {
    return exchange.intake == intake::done ||
           (exchange.intake == intake::body && exchange.request.has_no_body);
}

/// Whether the connection goes on after this answer.
bool keeps_alive(const http_exchange& exchange) {
    return was_read(exchange) && exchange.request.keeps_alive && !exchange.saw_end && !exchange.is_last &&
           !exchange.server->is_stopping;
}

/// A head, put together in pieces that are known to be sound.
class head_text {
public:
    head_text& operator<<(std::string_view text) {
        fits_ = fits_ && text.size() <= sizeof text_ - size_;
        if (fits_) {
            memcpy(text_ + size_, text.data(), text.size());
            size_ += text.size();
        }
        return *this;
    }
    head_text& operator<<(uint64_t number) {
        char digits[20];
        char* at = std::end(digits);
        do
            *--at = static_cast<char>('0' + number % 10);
        while ((number /= 10) != 0);
        return *this << std::string_view(at, static_cast<size_t>(std::end(digits) - at));
    }
    bool fits() const { return fits_; }
    std::string_view text() const { return {text_, size_}; }

private:
    char text_[1024];
    size_t size_ = 0;
    bool fits_ = true;
};

/// Writes the head. False, with nothing written, when a name that the server bears does not fit.
bool put_head(http_exchange& exchange, int status, const char* type, int64_t size) {
    http_server& server = *exchange.server;
    const bool is_old = exchange.request.minor_version == 0;
    exchange.is_bare = exchange.request.is_head || has_no_body(status);
    exchange.is_chunked = size < 0 && !is_old && !has_no_body(status);
    if (!keeps_alive(exchange) || (size < 0 && is_old && !exchange.is_bare))
        exchange.is_last = true;
    head_text head;
    head << "HTTP/1.1 " << static_cast<uint64_t>(status) << " " << ombrel_http_status_text(status)
         << "\r\nDate: " << date_of(server);
    if (server.options.m_name[0] != '\0')
        head << "\r\nServer: " << server.options.m_name;
    if (type != nullptr)
        head << "\r\nContent-Type: " << type;
    if (size >= 0 && !has_no_body(status))
        head << "\r\nContent-Length: " << static_cast<uint64_t>(size);
    if (exchange.is_chunked)
        head << "\r\nTransfer-Encoding: chunked";
    if (exchange.is_last)
        head << "\r\nConnection: close";
    else if (is_old)
        head << "\r\nConnection: keep-alive";
    head << "\r\n";
    if (!head.fits())
        return false;
    put(exchange, head.text());
    put(exchange, {exchange.added_fields.data, exchange.added_fields.size});
    put(exchange, "\r\n");
    exchange.status = status;
    exchange.answer = answer::begun;
    return true;
}

/// The answer is complete; what is left of it is output's.
void complete(http_exchange& exchange) {
    if (!was_read(exchange))
        exchange.is_last = true;
    exchange.answer = answer::complete;
    log_answer(exchange);
    kick(exchange);
}

void break_off(http_exchange& exchange) {
    flush_output(exchange);
    exchange.is_broken = true;
    exchange.outcome = def_ombrel_http_exchange_failed;
    kick(exchange);
}

bool is_type(const char* type) {
    constexpr size_t longest = 256;
    return type == nullptr || (strlen(type) <= longest && ombrel_is_http_value(type, strlen(type)));
}

bool is_status(int status) {
    return status >= 200 && status <= 599;
}

/// Fields that the server writes itself.
bool is_own_field(const char* name) {
    static constexpr const char* own[] = {"Date",       "Server",      "Content-Length", "Transfer-Encoding",
                                          "Connection", "Content-Type"};
    return std::any_of(std::begin(own), std::end(own),
                       [&](const char* one) { return ombrel_strcasecmp(one, name) == 0; });
}

void answer_text(http_exchange& exchange, int status, const char* text) {
    head_text line;
    line << static_cast<uint64_t>(status) << " " << ombrel_http_status_text(status);
    if (text != nullptr && strlen(text) < 512)
        line << ": " << text;
    line << "\n";
    put_head(exchange, status, text_type, static_cast<int64_t>(line.text().size()));
    if (!exchange.is_bare)
        put(exchange, line.text());
    exchange.body_sent = exchange.is_bare ? 0 : line.text().size();
    complete(exchange);
}

void put_piece(http_exchange& exchange, std::string_view bytes) {
    static constexpr char digits[] = "0123456789abcdef";
    char line[20];
    char* at = std::end(line);
    *--at = '\n';
    *--at = '\r';
    for (size_t left = bytes.size(); exchange.is_chunked && left > 0; left >>= 4)
        *--at = digits[left & 15];
    if (exchange.is_chunked)
        put(exchange, {at, static_cast<size_t>(std::end(line) - at)});
    put(exchange, bytes);
    if (exchange.is_chunked)
        put(exchange, "\r\n");
}

} // namespace

void ask_for_body(http_exchange& exchange) {
    if (exchange.request.expects_continue && exchange.body_came == 0 && exchange.intake == intake::body)
        put(exchange, "HTTP/1.1 100 Continue\r\n\r\n");
    exchange.request.expects_continue = false;
}

void refuse_request(http_exchange& exchange, int status, const char* text) {
    exchange.is_last = true;
    if (exchange.answer == answer::begun) {
        break_off(exchange);
    } else if (exchange.answer != answer::complete) {
        exchange.added_fields.size = 0;
        exchange.outcome = def_ombrel_http_exchange_failed;
        answer_text(exchange, status, text);
    }
}

int64_t write_from_file(http_exchange& exchange, int descriptor, int64_t offset, size_t size) {
    const int64_t sent = put_from_file(exchange, descriptor, offset, size);
    if (sent > 0) {
        exchange.body_sent += static_cast<uint64_t>(sent);
        exchange.body_left -= sent;
    }
    return sent;
}

void judge_result(http_exchange& exchange, int result, bool may_wait) {
    if (result != 0 && exchange.answer == answer::begun)
        break_off(exchange);
    else if (is_open(exchange) && (result != 0 || !may_wait))
        refuse_request(exchange, 500, nullptr);
}

void call_handler(http_exchange& exchange, ombrel_http_handler_t handler, void* context) {
    const handler_call counted(*exchange.server);
    const int result = handler(&exchange, context);
    judge_result(exchange, result, exchange.is_deferred || exchange.body_handler != nullptr);
}

} // namespace ombrel::protocol

int ombrel_http_exchange_add_field(ombrel_http_exchange_t* exchange, const char* name, const char* value) {
    if (exchange == nullptr || !is_open(*exchange) || name == nullptr || value == nullptr)
        return refuse(fault_code::invalid);
    const std::string_view parts[] = {name, ": ", value, "\r\n"};
    if (!ombrel_is_http_token(name, strlen(name)) || !ombrel_is_http_value(value, strlen(value)) ||
        is_own_field(name))
        return refuse(fault_code::invalid);
    counted_block& fields = exchange->added_fields;
    memory_budget& budget = exchange->server->budget;
    const size_t size = parts[0].size() + parts[2].size() + 4;
    if (size > most_added_fields - fields.size)
        return refuse(fault_code::too_large);
    if (!fields.reserve(budget, size, "ombrel_http_exchange_add_field"))
        return refuse(fault_code::no_memory);
    for (const std::string_view part : parts)
        fields.append(budget, part.data(), part.size(), server_tag);
    return 0;
}

int ombrel_http_exchange_answer(ombrel_http_exchange_t* exchange, int status, const char* type,
                                const void* data, size_t size) {
    if (exchange == nullptr || !is_status(status) || !is_type(type) || (data == nullptr && size > 0) ||
        size > PTRDIFF_MAX || exchange->answer != answer::awaited)
        return refuse(fault_code::invalid);
    if (!put_head(*exchange, status, type, static_cast<int64_t>(size)))
        return refuse(fault_code::invalid);
    if (!exchange->is_bare) {
        put(*exchange, {static_cast<const char*>(data), size});
        exchange->body_sent = size;
    }
    complete(*exchange);
    return 0;
}

int ombrel_http_exchange_answer_vprintf(ombrel_http_exchange_t* exchange, int status, const char* type,
                                        const char* format, va_list args) {
    if (exchange == nullptr || format == nullptr || exchange->answer != answer::awaited)
        return refuse(fault_code::invalid);
    const heap_ptr<char> text(ombrel_alloc_vsprintf(format, args));
    if (text)
        return ombrel_http_exchange_answer(exchange, status, type, text.get(), strlen(text.get()));
    refuse_request(*exchange, 500, "no memory for the answer");
    return refuse(fault_code::no_memory);
}

int ombrel_http_exchange_answer_printf(ombrel_http_exchange_t* exchange, int status, const char* type,
                                       const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int result = ombrel_http_exchange_answer_vprintf(exchange, status, type, format, args);
    va_end(args);
    return result;
}

int ombrel_http_exchange_answer_error(ombrel_http_exchange_t* exchange, int status, const char* text) {
    if (exchange == nullptr || !is_status(status) || exchange->answer != answer::awaited)
        return refuse(fault_code::invalid);
    answer_text(*exchange, status, text);
    return 0;
}

int ombrel_http_exchange_defer(ombrel_http_exchange_t* exchange, ombrel_http_end_handler_t handler,
                               void* context) {
    if (exchange == nullptr || handler == nullptr || exchange->answer != answer::awaited ||
        exchange->end_handler != nullptr)
        return refuse(fault_code::invalid);
    exchange->is_deferred = true;
    exchange->end_handler = handler;
    exchange->end_context = context;
    return 0;
}

int ombrel_http_exchange_begin_answer(ombrel_http_exchange_t* exchange, int status, const char* type,
                                      int64_t size, ombrel_http_handler_t handler,
                                      ombrel_http_end_handler_t end_handler, void* context) {
    if (exchange == nullptr || !is_status(status) || !is_type(type) || exchange->answer != answer::awaited ||
        (end_handler != nullptr && exchange->end_handler != nullptr))
        return refuse(fault_code::invalid);
    if (!put_head(*exchange, status, type, size))
        return refuse(fault_code::invalid);
    exchange->body_left = size < 0 ? -1 : size;
    exchange->writer = handler;
    exchange->writer_context = context;
    exchange->wants_room = handler != nullptr;
    if (end_handler != nullptr) {
        exchange->end_handler = end_handler;
        exchange->end_context = context;
    }
    kick(*exchange);
    return 0;
}

int64_t ombrel_http_exchange_write(ombrel_http_exchange_t* exchange, const void* data, size_t size) {
    if (exchange == nullptr || exchange->answer != answer::begun || (data == nullptr && size > 0))
        return refuse(fault_code::invalid);
    if (exchange->body_left >= 0 && size > static_cast<uint64_t>(exchange->body_left))
        return refuse(fault_code::too_large);
    const size_t limit = output_limit(*exchange), waiting = unsent(*exchange);
    const size_t taken = exchange->is_bare ? size : std::min(size, limit - std::min(limit, waiting));
    if (taken > 0 && !exchange->is_bare) {
        put_piece(*exchange, {static_cast<const char*>(data), taken});
        exchange->body_sent += taken;
    }
    if (exchange->body_left >= 0)
        exchange->body_left -= static_cast<int64_t>(taken);
    if (taken < size)
        exchange->wants_room = exchange->writer != nullptr;
    kick(*exchange);
    return static_cast<int64_t>(taken);
}

int ombrel_http_exchange_end_answer(ombrel_http_exchange_t* exchange) {
    if (exchange == nullptr || exchange->answer != answer::begun)
        return refuse(fault_code::invalid);
    exchange->wants_room = false;
    if (exchange->body_left > 0 && !exchange->is_bare) {
        break_off(*exchange);
        return refuse(fault_code::invalid);
    }
    if (exchange->is_chunked && !exchange->is_bare)
        put(*exchange, "0\r\n\r\n");
    complete(*exchange);
    return 0;
}

int ombrel_http_exchange_abort(ombrel_http_exchange_t* exchange) {
    if (exchange == nullptr || exchange->answer == answer::none)
        return refuse(fault_code::invalid);
    break_off(*exchange);
    end_exchange(*exchange, def_ombrel_http_exchange_failed);
    return 0;
}

int ombrel_http_exchange_read_body(ombrel_http_exchange_t* exchange, ombrel_http_body_handler_t handler,
                                   void* context) {
    const bool is_streamed = exchange != nullptr && exchange->request.route != nullptr &&
                             (exchange->request.route->told.m_flags & def_ombrel_http_route_streamed) != 0;
    if (!is_streamed || handler == nullptr || exchange->body_handler != nullptr ||
        (!is_open(*exchange) && exchange->answer != answer::begun))
        return refuse(fault_code::invalid);
    exchange->body_handler = handler;
    exchange->body_context = context;
    exchange->began_ms = exchange->server->now;
    if (!exchange->request.has_no_body && exchange->answer == answer::awaited)
        ask_for_body(*exchange);
    kick(*exchange);
    return 0;
}

int ombrel_http_exchange_hold_body(ombrel_http_exchange_t* exchange, int hold) {
    if (exchange == nullptr || exchange->answer == answer::none)
        return refuse(fault_code::invalid);
    exchange->holds_body = hold != 0;
    exchange->began_ms = exchange->server->now;
    exchange->body_came = 0; // the time that a body may take begins anew
    kick(*exchange);
    return 0;
}
