// Calls of the client of HTTP: so many at once over kept connections to a server on another thread, which
// answers as fast as it can. "cpu" rows count the processor time of the client's thread alone.
#include <poll.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>
#include <event2/buffer.h>
#include <event2/event.h>
#include <event2/http.h>

#include <ombrel/http_client.h>
#include <ombrel/socket.h>
#include <ombrel/socket_open.h>

namespace {

constexpr int calls_in_a_round = 1000;
constexpr int connections = 16;

/// Answers each head with the same bytes.
class answering_server {
public:
    explicit answering_server(size_t body_size)
        : answer_("HTTP/1.1 200 OK\r\nDate: Sun, 06 Nov 1994 08:49:37 GMT\r\nServer: bench\r\nContent-Type: "
                  "text/plain\r\n"
                  "Content-Length: " +
                  std::to_string(body_size) + "\r\n\r\n" + std::string(body_size, 'x')),
          thread_([this] { serve(); }) {}
    ~answering_server() {
        ombrel_shutdown_socket(watched_[0].fd, def_ombrel_shutdown_both);
        thread_.join();
        for (const pollfd& one : watched_)
            close(one.fd);
    }
    int port() const { return port_; }

private:
    static int port_of(int s) {
        sockaddr_in address{};
        socklen_t size = sizeof address;
        getsockname(s, reinterpret_cast<sockaddr*>(&address), &size);
        return ntohs(address.sin_port);
    }
    void serve() {
        for (;;) {
            poll(watched_.data(), watched_.size(), -1);
            for (size_t i = watched_.size(); i-- > 1;)
                if (watched_[i].revents != 0 && !answer(watched_[i].fd)) {
                    close(watched_[i].fd);
                    watched_.erase(watched_.begin() + static_cast<ptrdiff_t>(i));
                }
            if (watched_[0].revents == 0)
                continue;
            const int s = accept(watched_[0].fd, nullptr, nullptr);
            if (s < 0)
                return;
            watched_.push_back({s, POLLIN, 0});
        }
    }
    /// A request comes whole, as it is small.
    bool answer(int s) const {
        char request[4096];
        if (recv(s, request, sizeof request, 0) <= 0)
            return false;
        for (size_t at = 0; at < answer_.size();) {
            const ssize_t count = send(s, answer_.data() + at, answer_.size() - at, MSG_NOSIGNAL);
            if (count <= 0)
                return false;
            at += static_cast<size_t>(count);
        }
        return true;
    }

    std::string answer_;
    std::vector<pollfd> watched_{{ombrel_open_listen_socket("127.0.0.1", 0), POLLIN, 0}};
    int port_ = port_of(watched_[0].fd);
    std::thread thread_;
};

double processor_seconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

/// Runs rounds, timed by the wall or by the processor.
template<typename Round>
void time_rounds(benchmark::State& state, bool by_processor, Round run) {
    for (auto _ : state) {
        const double begin = processor_seconds();
        run();
        if (by_processor)
            state.SetIterationTime(processor_seconds() - begin);
    }
    state.SetItemsProcessed(state.iterations() * calls_in_a_round);
}

struct round_state {
    ombrel_event_base_t* base;
    int left;
    size_t bytes;
};

int on_end(ombrel_http_call_t* call, void* context) {
    auto& round = *static_cast<round_state*>(context);
    size_t size;
    ombrel_http_call_get_body(call, &size);
    round.bytes += size;
    if (--round.left == 0)
        ombrel_event_base_break_loop(round.base);
    return 0;
}

void ask_by_ombrel(benchmark::State& state, bool by_processor) {
    const answering_server server(static_cast<size_t>(state.range(0)));
    round_state round{ombrel_new_event_base(), 0, 0};
    ombrel_http_client_options_t options;
    ombrel_init_http_client_options(&options);
    options.m_host_limit = connections;
    ombrel_http_client_t* const client = ombrel_open_http_client(round.base, &options);
    const std::string uri = "http://127.0.0.1:" + std::to_string(server.port()) + "/path";
    time_rounds(state, by_processor, [&] {
        round.left = calls_in_a_round;
        for (int i = 0; i < calls_in_a_round; i++)
            ombrel_http_client_get(client, uri.c_str(), on_end, &round);
        ombrel_event_base_dispatch(round.base);
    });
    ombrel_close_http_client(client);
    ombrel_free_event_base(round.base);
}

struct peer_round {
    event_base* base;
    int left;
    size_t bytes;
};

void on_peer_end(evhttp_request* request, void* context) {
    auto& round = *static_cast<peer_round*>(context);
    if (request != nullptr)
        round.bytes += evbuffer_get_length(evhttp_request_get_input_buffer(request));
    if (--round.left == 0)
        event_base_loopbreak(round.base);
}

void ask_by_peer(benchmark::State& state, bool by_processor) {
    const answering_server server(static_cast<size_t>(state.range(0)));
    peer_round round{event_base_new(), 0, 0};
    std::vector<evhttp_connection*> all;
    for (int i = 0; i < connections; i++)
        all.push_back(evhttp_connection_base_new(round.base, nullptr, "127.0.0.1",
                                                 static_cast<uint16_t>(server.port())));
    time_rounds(state, by_processor, [&] {
        round.left = calls_in_a_round;
        for (int i = 0; i < calls_in_a_round; i++) {
            evhttp_request* const request = evhttp_request_new(on_peer_end, &round);
            evkeyvalq* const fields = evhttp_request_get_output_headers(request);
            evhttp_add_header(fields, "Host", "127.0.0.1");
            evhttp_add_header(fields, "User-Agent", "bench");
            evhttp_add_header(fields, "Accept", "*/*");
            evhttp_make_request(all[static_cast<size_t>(i % connections)], request, EVHTTP_REQ_GET, "/path");
        }
        event_base_dispatch(round.base);
    });
    for (evhttp_connection* one : all)
        evhttp_connection_free(one);
    event_base_free(round.base);
}

void wall_ombrel(benchmark::State& state) {
    ask_by_ombrel(state, false);
}
void wall_peer(benchmark::State& state) {
    ask_by_peer(state, false);
}
void cpu_ombrel(benchmark::State& state) {
    ask_by_ombrel(state, true);
}
void cpu_peer(benchmark::State& state) {
    ask_by_peer(state, true);
}

BENCHMARK(wall_ombrel)
    ->Name("http 1000 calls|ombrel")
    ->Arg(100)
    ->Arg(20000)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(wall_peer)
    ->Name("http 1000 calls|evhttp")
    ->Arg(100)
    ->Arg(20000)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(cpu_ombrel)
    ->Name("http 1000 calls, cpu|ombrel")
    ->Arg(100)
    ->Arg(20000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(cpu_peer)
    ->Name("http 1000 calls, cpu|evhttp")
    ->Arg(100)
    ->Arg(20000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
