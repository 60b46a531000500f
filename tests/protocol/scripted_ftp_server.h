// An FTP server that says what a test wants.
#pragma once

#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <thread>

#include <ombrel/socket_open.h>

#include "network/loopback.h"
#include "support/no_copy.h"

namespace ombrel_test {

/// How a data connection ends; one that never does takes nothing, an endless one sends the same for ever, and
/// there may be none at all.
enum class data_end { whole, reset, never, endless, absent };

/// Answers each command with its reply, keeps it without the port of an active connection, sends the data
/// over the data connection for RETR and lists, and takes what comes for STOR, STOU and APPE. Changed replies
/// are written like "PASS 230 in/SIZE 213 7", that to no command as the greeting; none is sent for an empty
/// one. One that ends with "!" is the last: the connection is cut; "*" sends it for ever and "~" for ever,
/// but slowly, without a line's end.
class scripted_ftp_server : no_copy {
public:
    explicit scripted_ftp_server(const std::string& changes, data_end end = data_end::whole,
                                 std::string data = "hello")
        : listener_(ombrel_open_listen_socket("127.0.0.1", 0)),
          data_(ombrel_open_listen_socket("127.0.0.1", 0)), end_(end), bytes_(std::move(data)) {
        const int port = own_port(data_);
        const std::string low = std::to_string(port / 256) + "," + std::to_string(port % 256);
        // Nobody answers at the address of the other port; it is for documentation.
        change(
            " 220-hello\r\n 220 there\r\n220 all/USER 331 more/PASS 230 in/TYPE 200 fine/SIZE 213 5/EPSV 229 "
            "there (|||" +
            std::to_string(port) + "|)/PASV 227 there (192,0,2,1," + low +
            ")/REST 350 good/RETR "
            "150 now\r\n226 done/STOR 150 now\r\n226 done/APPE 150 now\r\n226 done/QUIT 221 bye/STOU 150 "
            "FILE: it\r\n226 done/MLSD 150 now\r\n226 done/LIST 150 now\r\n226 done/NLST 150 now\r\n226 done/"
            "FEAT 211-Mine:\r\n SIZE\r\n MDTM\r\n MFMT\r\n MLST type*;size*;\r\n211 End/NOOP 200 yes/ABOR "
            "225 "
            "no/PWD 257 \"a \"\"b\"\"\" it is/MDTM 213 20261122124205.5/MFMT 213 done/RNFR 350 to/RNTO 250 "
            "done/DELE 250 done/MKD 257 done/RMD 250 done/CWD 250 done/CDUP 200 done/SYST 215 UNIX/PORT 200 "
            "fine/EPRT 200 fine/OPTS 200 fine/ACCT 230 in/MLST 250-it\r\n type=file;size=5; x\r\n250 end");
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
            replies_[verb] = reply + (reply.empty() || strchr("!*~", reply.back()) != nullptr ? "" : "\r\n");
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
            const std::string verb = line.substr(0, line.find_first_of(" \r"));
            const bool is_active = verb == "EPRT" || verb == "PORT";
            commands_ += (is_active ? verb : line.substr(0, line.size() - 2)) + "|";
            const bool sends = verb == "RETR" || verb == "MLSD" || verb == "LIST" || verb == "NLST";
            const bool takes = verb == "STOR" || verb == "APPE" || verb == "STOU";
            if (is_active)
                client_ = endpoint_of(line);
            owned_socket data((sends || takes) && end_ != data_end::absent ? connected() : -1);
            if (sends && end_ != data_end::endless)
                send_file(data);
            std::string late;
            if (takes && end_ == data_end::whole)
                late = take_after_first_line(verb);
            goes_on = reply(control, verb);
            if (sends && end_ == data_end::endless)
                while (ombrel_send(data, bytes_.data(), bytes_.size(), -1) > 0) {
                }
            if (takes && end_ == data_end::whole && goes_on)
                take_file(data);
            else if (takes)
                held_ = std::move(data);
            if (goes_on && !late.empty())
                goes_on = say(control, late);
            line.clear();
        }
    }
    void send_file(owned_socket& data) {
        ombrel_send(data, bytes_.data(), bytes_.size(), -1);
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
    /// The port in "EPRT |1|127.0.0.1|6446|" and "PORT 127,0,0,1,25,46".
    static int endpoint_of(const std::string& line) {
        if (line[0] == 'E')
            return std::stoi(line.substr(line.rfind('|', line.size() - 4) + 1));
        const size_t low = line.rfind(','), high = line.rfind(',', low - 1);
        return std::stoi(line.substr(high + 1)) * 256 + std::stoi(line.substr(low + 1));
    }
    /// Somebody else is there first in active transfers.
    int connected() const {
        if (client_ == 0)
            return ombrel_accept(data_, nullptr, nullptr, -1);
        const owned_socket other(
            ombrel_open_connect_socket_ex(AF_INET, "127.0.0.2", 0, "127.0.0.1", client_, -1));
        ombrel_send(other, "evil", 4, 0);
        return ombrel_open_connect_socket("127.0.0.1", client_, -1);
    }
    /// What is said of a file that has come, not before.
    std::string take_after_first_line(const std::string& verb) {
        std::string& text = replies_[verb];
        const size_t end = text.find("\r\n");
        const std::string rest = end == text.npos ? "" : text.substr(end + 2);
        text.resize(text.size() - rest.size());
        return rest;
    }
    bool reply(int control, const std::string& verb) { return say(control, replies_[verb]); }
    static bool say(int control, std::string text) {
        const char last = text.empty() ? '\0' : text.back();
        if (last == '!' || last == '*' || last == '~')
            text.pop_back();
        while (last == '~' && ombrel_send(control, "x", 1, -1) == 1 && stays(control)) {
        }
        while (!text.empty() && ombrel_send(control, text.data(), text.size(), -1) > 0 && last == '*') {
        }
        return last != '!' && last != '*' && last != '~';
    }
    /// A little later.
    static bool stays(int control) {
        char byte;
        return ombrel_recv(control, &byte, 1, 5) == def_ombrel_recv_timeout;
    }

    owned_socket listener_, data_, held_;
    data_end end_;
    std::string bytes_;
    int client_ = 0; ///< the port that a client listens at
    std::map<std::string, std::string> replies_;
    std::string commands_, stored_;
    std::thread thread_;
};

} // namespace ombrel_test
