// A client's bytes behind one that says how they are cut: however that is, the server's answers are the same,
// each of them is whole, and nothing is held when the client has gone.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

#include <ombrel/http_server.h>
#include <ombrel/socket.h>
#include <ombrel/socket_open.h>

#include "support/require.h"

namespace {

using exchange = ombrel_http_exchange_t;

int echo(exchange* e, void*) {
    size_t size = 0;
    const void* const body = ombrel_http_exchange_get_body(e, &size);
    return ombrel_http_exchange_answer(e, 200, nullptr, body, size);
}

int name(exchange* e, void*) {
    char text[32] = "";
    const int64_t size = ombrel_http_exchange_get_parameter(e, "n", text, sizeof text);
    require(size < 0 || strlen(text) == static_cast<size_t>(size));
    return ombrel_http_exchange_answer_printf(e, 200, nullptr, "%s%s", text,
                                              ombrel_http_exchange_get_path_rest(e));
}

int count(exchange* e, const void* data, size_t size, void* context) {
    static_cast<size_t*>(context)[0] += size;
    return data != nullptr ? 0 : ombrel_http_exchange_answer_error(e, 200, nullptr);
}

int stream(exchange* e, void* context) {
    return ombrel_http_exchange_read_body(e, count, context);
}

int write_on(exchange* e, void* context) {
    size_t& left = *static_cast<size_t*>(context);
    for (int64_t taken = 1; left > 0 && taken > 0; left -= static_cast<size_t>(taken))
        taken = ombrel_http_exchange_write(e, "0123456789", std::min<size_t>(left, 10));
    return left == 0 ? ombrel_http_exchange_end_answer(e) : 0;
}

int write_later(exchange* e, void* context) {
    *static_cast<size_t*>(context) = 40;
    return ombrel_http_exchange_begin_answer(
        e, 200, nullptr, -1, write_on, [](exchange*, int, void*) {}, context);
}

/// Dates differ from run to run.
std::string without_dates(std::string text) {
    for (size_t at; (at = text.find("\r\nDate: ")) != std::string::npos;)
        text.erase(at, text.find("\r\n", at + 2) - at);
    return text;
}

class one_server {
public:
    one_server() {
        ombrel_http_server_options_t options;
        ombrel_init_http_server_options(&options);
        options.m_body_limit = 200;
        options.m_head_limit = 400;
        server_ = ombrel_open_http_server(base_, &options);
        ombrel_http_server_add_route(server_, "POST", "/e", echo, nullptr);
        ombrel_http_server_add_route(server_, nullptr, "/n*", name, nullptr);
        ombrel_http_server_add_route(server_, "GET", "/w", write_later, &left_);
        const ombrel_http_route_t streamed{"POST", "/s", def_ombrel_http_route_streamed, -1, nullptr, nullptr,
                                           stream, &sum_};
        ombrel_http_server_add_route_ex(server_, &streamed);
        port_ = ombrel_http_server_listen(server_, "127.0.0.1", 0);
    }
    ~one_server() {
        ombrel_close_http_server(server_);
        ombrel_free_event_base(base_);
    }
    one_server(const one_server&) = delete;
    one_server& operator=(const one_server&) = delete;

    /// What a client hears that says its piece in pieces, and then no more.
    std::string talk(const std::string& text, size_t piece) {
        const int s = ombrel_open_connect_socket("127.0.0.1", port_, 10000);
        std::string heard;
        for (size_t at = 0; at < text.size(); at += piece) {
            const std::string part = text.substr(at, piece);
            if (ombrel_send_now(s, part.data(), part.size()) < 0)
                break;
            turn();
        }
        ombrel_shutdown_socket(s, def_ombrel_shutdown_send);
        char bytes[4096];
        for (int count; (count = ombrel_recv_now(s, bytes, sizeof bytes)) > 0 || count == -2; turn())
            heard.append(bytes, count > 0 ? static_cast<size_t>(count) : 0);
        ombrel_close_socket(s);
        ombrel_http_server_counts_t counts;
        do {
            turn();
            ombrel_http_server_get_counts(server_, &counts);
        } while (counts.m_clients > 0);
        require(counts.m_memory == 0);
        return without_dates(heard);
    }

private:
    void turn() { ombrel_event_base_loop(base_, def_ombrel_event_loop_non_block); }

    ombrel_event_base_t* base_ = ombrel_new_event_base();
    ombrel_http_server_t* server_;
    int port_;
    size_t left_ = 0, sum_ = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0 || size > 4000)
        return 0;
    static one_server server;
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    const std::string whole = server.talk(text, text.size() + 1);
    require(whole == server.talk(text, size_t{data[0]} + 1));
    return 0;
}
