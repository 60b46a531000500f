// Plays a TFTP server that says anything: the input is a list of packets, each sent when the client has sent
// one.

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <ombrel/heap.h>
#include <ombrel/socket.h>
#include <ombrel/socket_open.h>

#include "protocol/tftp/tftp_client.h"
#include "support/byte_source.h"
#include "support/own_port.h"

namespace {

using namespace ombrel::protocol;

constexpr int limit_ms = 20;

/// Answers until the client's end is told to it; a script that is through is silence.
class server {
public:
    server() : socket_(ombrel_open_udp_socket("127.0.0.1", 0)) { require(socket_ >= 0); }

    int port() const { return own_port(socket_); }
    void play(const std::vector<std::string>& packets) {
        size_t next = 0;
        while (!is_over_) {
            char asked[2000];
            sockaddr_storage from;
            int from_size = sizeof from;
            auto* const peer = reinterpret_cast<sockaddr*>(&from);
            if (ombrel_recvfrom(socket_, asked, sizeof asked, peer, &from_size, 1) < 0 ||
                next == packets.size())
                continue;
            ombrel_sendto(socket_, packets[next].data(), packets[next].size(), peer, from_size, 0);
            next++;
        }
    }
    ~server() { ombrel_close_socket(socket_); }
    void end() { is_over_ = true; }

private:
    int socket_;
    std::atomic<bool> is_over_{false};
};

void use(const tftp_request& request) {
    tftp_client client;
    char part[100];
    const bool opened = client.open(request);
    require(opened != static_cast<bool>(client.error()));
    if (opened && request.write) {
        const ptrdiff_t count = client.write(part, sizeof part, limit_ms);
        require(count <= static_cast<ptrdiff_t>(sizeof part));
    } else if (opened) {
        ptrdiff_t count = 0;
        for (size_t i = 0; i < 100 && (count = client.read(part, sizeof part, limit_ms)) > 0; i++)
            require(count <= static_cast<ptrdiff_t>(sizeof part));
    }
    const bool failed = static_cast<bool>(client.error());
    require(!(client.close() && failed));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    byte_source bytes(data, size);
    tftp_request request;
    request.host = "127.0.0.1";
    request.name = "file";
    request.write = bytes.number(2) == 1;
    request.block_size = bytes.number(2) == 1 ? 512 : 8;
    request.interval_ms = 3;
    request.tries = 2;
    request.limit_ms = limit_ms;
    std::vector<std::string> packets;
    while (!bytes.is_empty())
        packets.push_back(bytes.bytes());
    server peer;
    request.port = peer.port();
    const size_t blocks = ombrel_get_alloc_count();
    std::thread thread([&] { peer.play(packets); });
    use(request);
    peer.end();
    thread.join();
    require(ombrel_get_alloc_count() == blocks);
    return 0;
}
