// Plays an HTTP server that says anything to the client: the input is how the client asks, and what each of
// its connections hears, in pieces.

#include <cstring>
#include <string>
#include <vector>

#include <ombrel/event_base.h>
#include <ombrel/heap.h>
#include <ombrel/http_client.h>
#include <ombrel/socket.h>
#include <ombrel/socket_open.h>

#include "support/byte_source.h"
#include "support/own_port.h"

namespace {

constexpr int64_t body_limit = 1000;

/// What became of a call.
struct outcome {
    bool pauses;
    int ends = 0;
    int64_t taken = 0;
};

int on_end(ombrel_http_call_t* call, void* context) {
    auto& seen = *static_cast<outcome*>(context);
    size_t size;
    const char* const body = ombrel_http_call_get_body(call, &size);
    const ombrel_transfer_error_t* const error = ombrel_http_call_get_error(call);
    seen.ends++;
    require(strlen(error->m_text) < sizeof error->m_text &&
            ombrel_http_call_get_received(call) >= seen.taken);
    require(size <= static_cast<size_t>(body_limit) && (body == nullptr || body[size] == '\0'));
    require(error->m_fault != 0 ||
            (ombrel_http_call_get_status(call) >= 200 && ombrel_http_call_get_status(call) <= 999));
    return 0;
}

int on_data(ombrel_http_call_t* call, const void*, size_t size, void* context) {
    auto& seen = *static_cast<outcome*>(context);
    require(size > 0);
    seen.taken += static_cast<int64_t>(size);
    if (seen.pauses)
        ombrel_http_call_pause(call);
    return 0;
}

/// The server's side, looked at between two turns of the client's loop.
class server {
public:
    server() : listener_(ombrel_open_listen_socket("127.0.0.1", 0)), port_(own_port(listener_)) {
        require(listener_ >= 0 && ombrel_set_non_block_socket(listener_, 1) == 0);
    }
    int port() const { return port_; }

    void begin(std::string texts, size_t piece) {
        texts_ = std::move(texts);
        piece_ = piece;
    }
    /// Each connection hears up to the next zero, and then its end.
    void turn() {
        const int s = ombrel_accept_now(listener_, nullptr, nullptr);
        if (s >= 0)
            sockets_.push_back({s, texts_.substr(0, texts_.find('\0'))});
        if (s >= 0)
            texts_.erase(0, sockets_.back().text.size() + 1);
        for (connection& one : sockets_)
            talk(one);
    }
    void end() {
        for (const connection& one : sockets_)
            ombrel_close_socket(one.s);
        sockets_.clear();
    }

private:
    struct connection {
        int s;
        std::string text;
    };
    void talk(connection& one) const {
        char asked[4096];
        ombrel_recv_now(one.s, asked, sizeof asked);
        if (one.text.empty())
            ombrel_shutdown_socket(one.s, def_ombrel_shutdown_send);
        else
            ombrel_send_now(one.s, one.text.data(), std::min(piece_, one.text.size()));
        one.text.erase(0, piece_);
    }

    int listener_, port_;
    std::string texts_;
    size_t piece_ = 0;
    std::vector<connection> sockets_;
};

/// How a call asks.
struct manner {
    unsigned method;
    uint8_t bits;
};

ombrel_http_client_request_t request_of(const manner& how, const std::string& uri, outcome& seen) {
    static const char* const methods[] = {"GET", "HEAD", "POST", "OPTIONS"};
    ombrel_http_client_request_t request;
    ombrel_init_http_client_request(&request, uri.c_str());
    request.m_method = methods[how.method];
    seen.pauses = (how.bits & 4) != 0;
    request.m_data_handler = (how.bits & 1) != 0 ? on_data : nullptr;
    request.m_user = (how.bits & 2) != 0 ? "ann" : nullptr;
    request.m_flags = (how.bits & 8) != 0 ? def_ombrel_http_client_basic : 0;
    request.m_handler = on_end;
    request.m_context = &seen;
    return request;
}

void make_call(server& peer, ombrel_event_base_t* base, ombrel_http_client_t* client, const manner& how) {
    outcome seen{};
    const std::string uri = "http://127.0.0.1:" + std::to_string(peer.port()) + "/a/b?c";
    const ombrel_http_client_request_t request = request_of(how, uri, seen);
    ombrel_http_call_t* const call = ombrel_http_client_call(client, &request);
    require(call != nullptr);
    for (int turns = 0; turns < 2000 && seen.ends == 0; turns++) {
        peer.turn();
        ombrel_event_base_loop(base, def_ombrel_event_loop_non_block);
        if (seen.pauses && seen.ends == 0)
            ombrel_http_call_resume(call);
    }
    if (seen.ends == 0)
        ombrel_http_call_cancel(call); // its server waits for ever
    require(seen.ends <= 1);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static server peer;
    byte_source bytes(data, size);
    const size_t blocks = ombrel_get_alloc_count();
    ombrel_event_base_t* const base = ombrel_new_event_base();
    ombrel_http_client_options_t options;
    ombrel_init_http_client_options(&options);
    options.m_collected_limit = options.m_streamed_limit = body_limit;
    options.m_head_limit = 600;
    options.m_redirect_limit = 3;
    ombrel_http_client_t* const client = ombrel_open_http_client(base, &options);
    require(client != nullptr);
    std::vector<manner> calls(bytes.number(3) + 1);
    for (manner& one : calls)
        one = {bytes.number(4), bytes.byte()};
    peer.begin(bytes.rest(), 37);
    for (const manner& one : calls)
        make_call(peer, base, client, one);
    ombrel_close_http_client(client);
    ombrel_free_event_base(base);
    peer.end();
    require(ombrel_get_alloc_count() == blocks);
    return 0;
}
