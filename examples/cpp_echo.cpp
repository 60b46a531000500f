// An echo server: one loop, any number of clients, each an object with its event. Usage: cpp_echo [PORT]
#include <map>
#include <memory>
#include <ombrel_tuk.hpp>

namespace {
class server;
// What comes in goes out again, moved by the loop between the socket and the event's buffers.
class client {
public:
    client(server& owner, ombrel::event_base_ref base, ombrel::socket socket)
        : owner_(owner), socket_(std::move(socket)),
          event_(ombrel::event::open(base, socket_.get(), def_ombrel_event_read | def_ombrel_event_persist,
                                     ombrel::bound<&client::on_bytes>(*this))) {}
    bool start() { return event_ && event_.ref().enable_buffer() == 0 && event_.add() == 0; }

private:
    void on_bytes(ombrel::event_ref event, std::uint32_t result);

    server& owner_;
    bool is_ended_ = false;
    ombrel::socket socket_;
    ombrel::event event_; // ends before its socket
};

class server {
public:
    explicit server(int port) : listener_(ombrel_open_listen_socket("127.0.0.1", port)) {}
    int run() {
        const auto accepting = ombrel::event::open(
            base_, listener_.get(), def_ombrel_event_read | def_ombrel_event_persist, [this] { accept(); });
        return listener_ && accepting && accepting.add() == 0 ? base_.dispatch() : 1;
    }
    void forget(client* gone) { clients_.erase(gone); }

private:
    void accept() {
        ombrel::socket socket(ombrel_accept_now(listener_.get(), nullptr, nullptr));
        auto made = std::make_unique<client>(*this, base_, std::move(socket));
        if (made->start())
            clients_[made.get()] = std::move(made);
    }

    ombrel::event_base base_ = ombrel::event_base::open();
    ombrel::socket listener_;
    std::map<client*, std::unique_ptr<client>> clients_; // they end before the loop
};

void client::on_bytes(ombrel::event_ref event, std::uint32_t result) {
    event.send(event.input().take(SIZE_MAX).view());
    is_ended_ = is_ended_ || (result & def_ombrel_event_exception) != 0;
    if (is_ended_ && event.output().empty())
        owner_.forget(this); // the callable lives until it has returned
}

} // namespace
int main(int argc, char** argv) {
    ombrel_init_network();
    return server(argc > 1 ? ombrel_atoi(argv[1]) : 7007).run();
}
