// Plays an FTP server that says anything: the input is what it says on its control connection, and what it
// sends on each data connection. A "#" in a reply stands for the port of the data connections, "#p" for the
// two numbers of it.

#include <atomic>
#include <cstring>
#include <string>
#include <thread>

#include <ombrel/heap.h>
#include <ombrel/select.h>
#include <ombrel/socket.h>
#include <ombrel/socket_open.h>

#include "protocol/ftp/ftp_client.h"
#include "support/byte_source.h"
#include "support/own_port.h"

namespace {

using namespace ombrel::protocol;

constexpr int limit_ms = 50;

/// One for all inputs; each dialogue is a connection.
class server {
public:
    server()
        : control_(ombrel_open_listen_socket("127.0.0.1", 0)),
          data_(ombrel_open_listen_socket("127.0.0.1", 0)) {
        require(control_ >= 0 && data_ >= 0);
    }
    int port() const { return own_port(control_); }

    /// Says all at once; what the client asks is of no interest.
    void play(const std::string& replies, const std::string& file) {
        const int client = ombrel_accept(control_, nullptr, nullptr, -1);
        const std::string text = with_ports(replies);
        ombrel_send(client, text.data(), text.size(), 0);
        ombrel_shutdown_socket(client, def_ombrel_shutdown_send);
        while (!is_over_) {
            const int data = ombrel_accept(data_, nullptr, nullptr, 1);
            if (data < 0)
                continue;
            ombrel_send(data, file.data(), file.size(), 0);
            ombrel_close_socket(data);
        }
        ombrel_close_socket(client);
        is_over_ = false;
    }
    void end() { is_over_ = true; }

private:
    std::string with_ports(const std::string& replies) const {
        const int port = own_port(data_);
        std::string text;
        for (size_t i = 0; i < replies.size(); i++) {
            if (replies[i] != '#')
                text += replies[i];
            else if (i + 1 < replies.size() && replies[i + 1] == 'p')
                i++, text += std::to_string(port / 256) + "," + std::to_string(port % 256);
            else
                text += std::to_string(port);
        }
        return text;
    }

    int control_, data_;
    std::atomic<bool> is_over_{false};
};

void read_to_end(ftp_client& client, const ftp_request& request) {
    char part[100];
    uint64_t total = request.offset;
    ptrdiff_t count = 0;
    while ((count = client.read(part, sizeof part, limit_ms)) > 0)
        total += static_cast<uint64_t>(count);
    require(count == 0 || count == -1 || count == transfer_waited);
    require(count != 0 || (!client.error() && total >= client.size().value_or(0)));
}

void use(const ftp_request& request) {
    ftp_client client;
    if (client.open(request)) {
        require(!client.error());
        if (request.direction == ftp_direction::retrieve)
            read_to_end(client, request);
        else
            client.write("some bytes", 10, limit_ms);
        if (request.offset == 3 && client.restart(1))
            client.wait(limit_ms);
    } else {
        require(static_cast<bool>(client.error()));
    }
    const bool failed = static_cast<bool>(client.error());
    require(!(client.close() && failed));
    require(strlen(client.error().text()) < 160);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static server peer;
    byte_source bytes(data, size);
    ftp_request request;
    request.host = "127.0.0.1";
    request.port = peer.port();
    request.path = "file";
    request.direction = static_cast<ftp_direction>(bytes.number(3));
    if (request.direction != ftp_direction::append)
        request.offset = bytes.number(4);
    request.limit_ms = limit_ms;
    const std::string file = bytes.bytes();
    const std::string replies = bytes.rest();
    const size_t blocks = ombrel_get_alloc_count();
    std::thread thread([&] { peer.play(replies, file); });
    use(request);
    peer.end();
    thread.join();
    require(ombrel_get_alloc_count() == blocks);
    return 0;
}
