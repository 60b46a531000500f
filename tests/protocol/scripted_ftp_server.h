// An FTP server that says what a test wants.
#pragma once

#include <map>
#include <string>
#include <thread>

#include <ombrel/socket_open.h>

#include "network/loopback.h"
#include "support/no_copy.h"

namespace ombrel_test {

/// Answers each command with its reply, and sends "hello" over the data connection for RETR.
class scripted_ftp_server : no_copy {
public:
    explicit scripted_ftp_server(const std::map<std::string, std::string>& changes)
        : listener_(ombrel_open_listen_socket("127.0.0.1", 0)),
          data_(ombrel_open_listen_socket("127.0.0.1", 0)) {
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
                    {"QUIT", "221 bye\r\n"}};
        for (const auto& [verb, reply] : changes)
            replies_[verb] = reply;
        thread_ = std::thread([this] { serve(); });
    }
    ~scripted_ftp_server() {
        ombrel_shutdown_socket(listener_, def_ombrel_shutdown_both);
        ombrel_shutdown_socket(data_, def_ombrel_shutdown_both);
        thread_.join();
    }
    int port() const { return own_port(listener_); }

private:
    void serve() {
        const owned_socket control(ombrel_accept(listener_, nullptr, nullptr, -1));
        reply(control, "");
        std::string line;
        for (char c = 0; ombrel_recv(control, &c, 1, -1) == 1;) {
            line += c;
            if (c != '\n')
                continue;
            const std::string verb = line.substr(0, 4);
            if (verb == "RETR")
                ombrel_send(owned_socket(ombrel_accept(data_, nullptr, nullptr, -1)), "hello", 5, -1);
            reply(control, verb);
            line.clear();
        }
    }
    void reply(int control, const std::string& verb) {
        const std::string text = replies_[verb];
        if (!text.empty())
            ombrel_send(control, text.data(), text.size(), -1);
    }

    owned_socket listener_, data_;
    std::map<std::string, std::string> replies_;
    std::thread thread_;
};

} // namespace ombrel_test
