// An FTP server that says what a test wants.
#pragma once

#include <map>
#include <string>
#include <thread>

#include <sys/socket.h>

#include <ombrel/socket_open.h>

#include "network/loopback.h"
#include "support/no_copy.h"

namespace ombrel_test {

/// How a data connection ends; one that never does takes nothing.
enum class data_end { whole, reset, never };

/// Answers each command with its reply, sends "hello" over the data connection for RETR, and takes what comes
/// for STOR and APPE. A reply that ends with "!" is the last: the connection is cut.
class scripted_ftp_server : no_copy {
public:
    explicit scripted_ftp_server(const std::map<std::string, std::string>& changes,
                                 data_end end = data_end::whole)
        : listener_(ombrel_open_listen_socket("127.0.0.1", 0)),
          data_(ombrel_open_listen_socket("127.0.0.1", 0)), end_(end) {
        const int port = own_port(data_);
        const std::string low = std::to_string(port / 256) + "," + std::to_string(port % 256);
        replies_ = {{"", "220-hello\r\n 220 there\r\n220 all\r\n"},
                    {"USER", "331 more\r\n"},
                    {"PASS", "230 in\r\n"},
                    {"TYPE", "200 fine\r\n"},
                    {"SIZE", "213 5\r\n"},
                    {"EPSV", "229 there (|||" + std::to_string(port) + "|)\r\n"},
                    // Nobody answers at this address; it is for documentation.
                    {"PASV", "227 there (192,0,2,1," + low + ")\r\n"},
                    {"REST", "350 good\r\n"},
                    {"RETR", "150 now\r\n226 done\r\n"},
                    {"STOR", "150 now\r\n226 done\r\n"},
                    {"APPE", "150 now\r\n226 done\r\n"},
                    {"QUIT", "221 bye\r\n"}};
        for (const auto& [verb, reply] : changes)
            replies_[verb] = reply;
        thread_ = std::thread([this] { serve(); });
    }
    ~scripted_ftp_server() { stop(); }
    int port() const { return own_port(listener_); }

    /// All commands, each ended by "|", and what came over data connections. Not before the client has
    /// closed.
    const std::string& commands() {
        stop();
        return commands_;
    }
    const std::string& stored() {
        stop();
        return stored_;
    }

private:
    void stop() {
        ombrel_shutdown_socket(listener_, def_ombrel_shutdown_both);
        ombrel_shutdown_socket(data_, def_ombrel_shutdown_both);
        if (thread_.joinable())
            thread_.join();
    }
    void serve() {
        const owned_socket control(ombrel_accept(listener_, nullptr, nullptr, -1));
        bool goes_on = reply(control, "");
        std::string line;
        for (char c = 0; goes_on && ombrel_recv(control, &c, 1, -1) == 1;) {
            line += c;
            if (c != '\n')
                continue;
            commands_ += line.substr(0, line.size() - 2) + "|";
            const std::string verb = line.substr(0, 4);
            const bool sends = verb == "RETR", takes = verb == "STOR" || verb == "APPE";
            owned_socket data(sends || takes ? ombrel_accept(data_, nullptr, nullptr, -1) : -1);
            if (sends)
                send_file(data);
            goes_on = reply(control, verb);
            if (takes && end_ != data_end::never)
                take_file(data);
            else if (takes)
                held_ = std::move(data);
            line.clear();
        }
    }
    void send_file(owned_socket& data) {
        ombrel_send(data, "hello", 5, -1);
        const linger at_once{1, 0};
        if (end_ == data_end::reset)
            setsockopt(data, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
        if (end_ == data_end::never)
            held_ = std::move(data);
        data.close();
    }
    void take_file(int data) {
        char bytes[4096];
        for (int count = 0; (count = ombrel_recv(data, bytes, sizeof bytes, -1)) > 0;)
            stored_.append(bytes, static_cast<size_t>(count));
    }
    bool reply(int control, const std::string& verb) {
        std::string text = replies_[verb];
        const bool cuts = text.ends_with('!');
        text.resize(text.size() - (cuts ? 1 : 0));
        if (!text.empty())
            ombrel_send(control, text.data(), text.size(), -1);
        return !cuts;
    }

    owned_socket listener_, data_, held_;
    data_end end_;
    std::map<std::string, std::string> replies_;
    std::string commands_, stored_;
    std::thread thread_;
};

} // namespace ombrel_test
