// An FTP server that says what a test wants.
#pragma once

#include <map>
#include <sstream>
#include <string>
#include <thread>

#include <ombrel/socket_open.h>

#include "network/loopback.h"
#include "support/no_copy.h"

namespace ombrel_test {

/// How a data connection ends; one that never does takes nothing.
enum class data_end { whole, reset, never };

/// Answers each command with its reply, sends "hello" over the data connection for RETR, and takes what comes
/// for STOR and APPE. Changed replies are written like "PASS 230 in/SIZE 213 7", that to no command as the
/// greeting; none is sent for an empty one, and one that ends with "!" is the last: the connection is cut.
class scripted_ftp_server : no_copy {
public:
    explicit scripted_ftp_server(const std::string& changes, data_end end = data_end::whole)
        : listener_(ombrel_open_listen_socket("127.0.0.1", 0)),
          data_(ombrel_open_listen_socket("127.0.0.1", 0)), end_(end) {
        const int port = own_port(data_);
        const std::string low = std::to_string(port / 256) + "," + std::to_string(port % 256);
        // Nobody answers at the address of the other port; it is for documentation.
        change(
            " 220-hello\r\n 220 there\r\n220 all/USER 331 more/PASS 230 in/TYPE 200 fine/SIZE 213 5/EPSV 229 "
            "there (|||" +
            std::to_string(port) + "|)/PASV 227 there (192,0,2,1," + low +
            ")/REST 350 good/RETR "
            "150 now\r\n226 done/STOR 150 now\r\n226 done/APPE 150 now\r\n226 done/QUIT 221 bye");
        change(changes);
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
    void change(const std::string& changes) {
        std::istringstream list(changes);
        for (std::string verb, reply; std::getline(list, verb, ' ');) {
            std::getline(list, reply, '/');
            replies_[verb] = reply + (reply.empty() || reply.ends_with('!') ? "" : "\r\n");
        }
    }
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
        if (end_ == data_end::reset)
            ombrel_set_linger_socket(data, 1, 0);
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
