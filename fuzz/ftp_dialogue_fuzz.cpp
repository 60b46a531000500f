// Plays an FTP server that says anything: the input is what it says on its control connection, a reply for
// each command, and what it sends on each data connection. A "#" in a reply stands for the port of the data
// connections, "#p" for the two numbers of it. A line that begins with "+" comes along with the one before
// it.

#include <atomic>
#include <cstring>
#include <string>
#include <thread>

#include <ombrel/ftp.h>
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

    void play(const std::string& replies, const std::string& file) {
        const int client = ombrel_accept(control_, nullptr, nullptr, -1);
        std::string left = with_ports(replies);
        for (say_next(client, left); !is_over_;) {
            char bytes[512];
            const int count = ombrel_recv(client, bytes, sizeof bytes, 1);
            for (int i = 0; i < count; i++) {
                if (bytes[i] == '\n')
                    say_next(client, left);
            }
            const int data = ombrel_accept_now(data_, nullptr, nullptr);
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
    /// Lines up to one that ends a reply, as far as that can be told from it, and no "wait" before another.
    static void say_next(int client, std::string& left) {
        std::string said;
        bool goes_on = true;
        while (!left.empty() && (goes_on || left[0] == '+')) {
            const std::string line = left.substr(0, left.find('\n') + 1);
            const std::string whole = line.empty() ? left : line;
            said += whole.substr(whole[0] == '+' ? 1 : 0);
            left.erase(0, whole.size());
            goes_on = whole.size() < 4 || whole[3] != ' ' || whole[0] == '1';
        }
        ombrel_send(client, said.data(), said.size(), 0);
        if (left.empty())
            ombrel_shutdown_socket(client, def_ombrel_shutdown_send);
    }
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

int check_entry(const ombrel_ftp_entry_t* entry, void* count) {
    require(entry->m_name_faults == ombrel_check_ftp_name(entry->m_name));
    require(strlen(entry->m_name) <= strlen(entry->m_line));
    return ++*static_cast<int*>(count) == 20 ? 3 : 0;
}

void list(ombrel_ftp_t* ftp, int form) {
    int count = 0;
    const int result = ombrel_ftp_list(ftp, "dir", form, check_entry, &count);
    require(result == 0 || result == -1 || (result == 3 && count == 20));
    ombrel_ftp_entry_t* const entries = ombrel_alloc_ftp_list(ftp, nullptr, form, nullptr);
    if (entries != nullptr)
        ombrel_free(entries);
}

void ask(ombrel_ftp_t* ftp) {
    char path[20];
    ombrel_ftp_entry_t entry;
    ombrel_instant_t time{};
    require(ombrel_ftp_get_directory(ftp, path, sizeof path) < static_cast<int64_t>(sizeof path));
    if (ombrel_ftp_get_entry(ftp, "a", &entry) == 0)
        require(strlen(entry.m_name) <= strlen(entry.m_line));
    if (ombrel_ftp_get_time(ftp, "a", &time) == 0)
        ombrel_ftp_set_time(ftp, "a", &time);
    require(ombrel_ftp_get_size(ftp, "a") >= -1);
    const int code = ombrel_ftp_command(ftp, "SYST", nullptr);
    require(code == -1 || (code >= 200 && code <= 599));
    ombrel_ftp_rename(ftp, "a", "b");
}

void move(ombrel_ftp_t* ftp, uint32_t flags) {
    char part[7];
    if (ombrel_ftp_begin_retrieve(ftp, "file", 0, flags) == 0) {
        while (ombrel_ftp_read(ftp, part, sizeof part, limit_ms) > 0) {
        }
    }
    ombrel_ftp_abort(ftp);
    if (ombrel_ftp_begin_store_unique(ftp, nullptr, flags) == 0)
        ombrel_ftp_write(ftp, "a\nb", 3, limit_ms);
    ombrel_ftp_finish(ftp);
}

/// A session of users, which is less patient with servers than the stream is.
void use_session(int port, unsigned what) {
    ombrel_ftp_options_t options;
    ombrel_init_ftp_options(&options);
    options.m_step_ms = options.m_list_ms = limit_ms;
    options.m_keep_alive_ms = 5;
    ombrel_ftp_t* const ftp = ombrel_open_ftp(&options);
    if (ombrel_ftp_connect(ftp, "127.0.0.1", port) == 0)
        ombrel_ftp_log_in(ftp, nullptr, nullptr, nullptr);
    if (what < 3)
        list(ftp, static_cast<int>(what));
    else if (what == 3)
        ask(ftp);
    else
        move(ftp, what == 4 ? 0 : def_ombrel_ftp_text);
    require(strlen(ombrel_ftp_get_reply_text(ftp)) < def_ombrel_ftp_reply_size);
    ombrel_close_ftp(ftp);
}

void use_stream(int port, unsigned direction, byte_source& bytes) {
    ftp_request request;
    request.host = "127.0.0.1";
    request.port = port;
    request.path = "file";
    request.direction = static_cast<ftp_direction>(direction);
    request.limit_ms = limit_ms;
    request.offset = bytes.number(4);
    if (request.direction == ftp_direction::append)
        request.offset = 0;
    use(request);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static server peer;
    byte_source bytes(data, size);
    const unsigned what = bytes.number(9);
    byte_source choice = bytes;
    if (what != static_cast<unsigned>(ftp_direction::append))
        bytes.byte();
    const std::string file = bytes.bytes();
    const std::string replies = bytes.rest();
    const size_t blocks = ombrel_get_alloc_count();
    std::thread thread([&] { peer.play(replies, file); });
    if (what < 3)
        use_stream(peer.port(), what, choice);
    else
        use_session(peer.port(), what - 3);
    peer.end();
    thread.join();
    require(ombrel_get_alloc_count() == blocks);
    return 0;
}
