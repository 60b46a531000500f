// Stands between a TFTP client and its server and drops, doubles and swaps datagrams.
#pragma once

#include <atomic>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <poll.h>

#include "network/loopback.h"
#include "support/no_copy.h"

namespace ombrel_test {

/// Each of the three happens to every tenth datagram, but never to two in a row of one direction: servers
/// answer the end of a transfer no more than twice. A swapped one comes after the next of its direction.
class lossy_proxy : no_copy {
public:
    lossy_proxy(int server_port, unsigned seed)
        : server_(AF_INET, "127.0.0.1", server_port), random_(seed), entry_(bound(AF_INET, SOCK_DGRAM)),
          thread_([this] { run(); }) {}
    ~lossy_proxy() {
        stopped_ = true;
        thread_.join();
    }
    int port() const { return own_port(entry_); }
    unsigned disturbed() const { return disturbed_; }

private:
    /// One end of a transfer: where its peer is, and what is held back for it.
    struct side {
        owned_socket socket;
        socket_address peer;
        std::optional<std::string> held;
        bool spared = false;
    };
    struct session {
        side client, server;
    };

    void run() {
        while (!stopped_) {
            std::vector<pollfd> waiting = {{entry_, POLLIN, 0}};
            for (const session& each : sessions_) {
                waiting.push_back({each.client.socket, POLLIN, 0});
                waiting.push_back({each.server.socket, POLLIN, 0});
            }
            if (poll(waiting.data(), waiting.size(), 20) <= 0)
                continue;
            for (size_t i = 0; i + 1 < waiting.size(); i++) {
                session& each = sessions_[i / 2];
                if (waiting[i + 1].revents != 0)
                    i % 2 == 0 ? pass(each.client, each.server) : pass(each.server, each.client);
            }
            if (waiting[0].revents != 0)
                begin_session();
        }
    }

    /// Each request, a repeated one too, begins a transfer with numbers of its own, as a server does.
    void begin_session() {
        session made{{bound(AF_INET, SOCK_DGRAM), {}, {}, false},
                     {bound(AF_INET, SOCK_DGRAM), server_, {}, false}};
        const std::string request = receive(entry_, made.client.peer);
        sessions_.push_back(std::move(made));
        deliver(sessions_.back().server, request);
    }

    void pass(side& from, side& to) { deliver(to, receive(from.socket, from.peer)); }

    static std::string receive(int socket, socket_address& sender) {
        std::string bytes(65536, 0);
        sender.size = sizeof sender.storage;
        const int size = ombrel_recvfrom(socket, bytes.data(), bytes.size(), sender.get(), &sender.size, 0);
        bytes.resize(size > 0 ? static_cast<size_t>(size) : 0);
        return bytes;
    }

    void deliver(side& to, const std::string& bytes) {
        const auto held = std::exchange(to.held, std::nullopt);
        const unsigned chance = to.spared ? 9 : static_cast<unsigned>(random_() % 10);
        to.spared = chance < 3;
        disturbed_ += to.spared;
        if (chance == 0)
            to.held = bytes;
        else if (chance != 1)
            send(to, bytes);
        if (chance == 2)
            send(to, bytes);
        if (held)
            send(to, *held);
    }

    static void send(side& to, const std::string& bytes) {
        ombrel_sendto(to.socket, bytes.data(), bytes.size(), to.peer.get(), to.peer.size, 0);
    }

    socket_address server_;
    std::minstd_rand random_;
    std::vector<session> sessions_;
    std::atomic<bool> stopped_ = false;
    std::atomic<unsigned> disturbed_ = 0;
    owned_socket entry_;
    std::thread thread_;
};

} // namespace ombrel_test
