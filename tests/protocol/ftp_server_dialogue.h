// A server of FTP and its clients in one thread: what a client says is followed by turns of the loop until
// the server has answered.
#pragma once

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>

#include <ombrel/event_base.h>
#include <ombrel/fault.h>
#include <ombrel/ftp_server.h>
#include <ombrel/secret.h>
#include <ombrel/socket_open.h>

#include "network/loopback.h"
#include "support/descriptor_balance.h"
#include "support/event_turns.h"
#include "support/heap_balance.h"
#include "support/scratch_directory.h"

namespace ombrel_test {

/// The code of each answer, of several lines too, with a blank between.
inline std::string codes_of(const std::string& text) {
    std::string codes;
    for (size_t at = 0, end; (end = text.find("\r\n", at)) != std::string::npos; at = end + 2)
        if (end - at > 3 && text[at + 3] == ' ' && text[at] >= '1' && text[at] <= '5')
            codes += (codes.empty() ? "" : " ") + text.substr(at, 3);
    return codes;
}

class ftp_server_dialogue : public balanced_test {
protected:
    void SetUp() override {
        ombrel_init_ftp_server_options(&options_);
        options_.m_login_pause_ms = 0;
        options_.m_log_handler = [](const char* line, void* self) {
            static_cast<ftp_server_dialogue*>(self)->log_ += line + std::string("\n");
            return 0;
        };
        options_.m_log_context = this;
        make_directory(top_ / "root");
        make_directory(top_ / "other");
        top_.write("other/secret", "hidden");
    }
    void TearDown() override {
        EXPECT_EQ(0, ombrel_close_ftp_server(server_));
        ombrel_free_event_base(base_);
    }
    /// With the accounts "ann", who may do all, "eve", who may read, "bob", who may write, of the password
    /// "pw", and "anonymous", all in one directory.
    void open() {
        server_ = ombrel_open_ftp_server(base_, &options_);
        ASSERT_NE(nullptr, server_);
        add("ann",
            "$digest$ombrel$840bb8047f3cb643a70246942d8695ea$"
            "749a2b22fbce771b29a8d949722191065f8f2cfd0e1953fdaf85b51af35ba98c",
            7);
        add("eve", secret_of("eve"), def_ombrel_ftp_account_read);
        add("bob", secret_of("bob"), def_ombrel_ftp_account_write);
        add("anonymous", "", def_ombrel_ftp_account_read);
        port_ = ombrel_ftp_server_listen(server_, "127.0.0.1", 0);
        ASSERT_LT(0, port_);
    }
    static std::string secret_of(const char* name) {
        char text[def_ombrel_secret_text_size];
        EXPECT_LT(0, ombrel_make_secret(text, sizeof text, name, "pw", nullptr));
        return text;
    }
    void add(const char* name, const std::string& secret, uint32_t rights) {
        const std::string root = top_ / "root";
        const ombrel_ftp_account_t account{name, secret.c_str(), root.c_str(), rights};
        EXPECT_EQ(0, ombrel_ftp_server_add_account(server_, &account)) << name;
    }
    ombrel_ftp_server_counts_t counts() {
        ombrel_ftp_server_counts_t result;
        EXPECT_EQ(0, ombrel_ftp_server_get_counts(server_, &result));
        return result;
    }
    void turn() { ombrel_test::turn(base_); }
    template<typename Condition>
    bool turn_until(Condition holds) {
        return ombrel_test::turn_until(base_, holds);
    }
    bool turn_until_gone() {
        return turn_until([&] { return counts().m_clients == 0; });
    }
    owned_socket connect(int port) {
        return owned_socket(ombrel_open_connect_socket("127.0.0.1", port, 10000));
    }
    owned_socket greeted() {
        owned_socket s = connect(port_);
        EXPECT_EQ("220", codes_of(answer(s)));
        return s;
    }
    owned_socket logged_in(const std::string& name = "ann") {
        owned_socket s = greeted();
        EXPECT_EQ("331", ask(s, "USER " + name));
        EXPECT_EQ("230", ask(s, "PASS pw"));
        return s;
    }
    /// Sends all, whatever becomes of it.
    void say(int s, const std::string& text) {
        for (size_t at = 0; at < text.size();) {
            const int sent = ombrel_send_now(s, text.data() + at, text.size() - at);
            at += sent > 0 ? static_cast<size_t>(sent) : 0;
            turn();
            if (sent == -1)
                return;
        }
    }
    /// What comes until the end, or until it is enough.
    template<typename Enough>
    std::string hear(int s, Enough enough) {
        std::string heard;
        char bytes[65536];
        EXPECT_TRUE(turn_until([&] {
            const int count = ombrel_recv_now(s, bytes, sizeof bytes);
            if (count > 0)
                heard.append(bytes, static_cast<size_t>(count));
            return enough(heard) || (count <= 0 && count != def_ombrel_socket_would_block);
        })) << heard;
        return heard;
    }
    std::string hear_all(int s) {
        return hear(s, [](const std::string&) { return false; });
    }
    /// One answer or several, whole.
    std::string answer(int s, size_t count = 1) {
        return hear(s, [count](const std::string& heard) {
            return heard.ends_with("\r\n") && codes_of(heard).size() + 1 >= 4 * count;
        });
    }
    std::string ask(int s, const std::string& line) {
        say(s, line + "\r\n");
        return codes_of(answer(s));
    }
    std::string ask_text(int s, const std::string& line) {
        say(s, line + "\r\n");
        return answer(s);
    }
    /// A whole dialogue of a client that says its piece at once and listens to the end.
    std::string talk(const std::string& text) {
        const owned_socket s = connect(port_);
        say(s, text);
        ombrel_shutdown_socket(s, def_ombrel_shutdown_send);
        return codes_of(hear_all(s));
    }
    /// A data connection, made before it is used.
    owned_socket data(int s) {
        const std::string answered = ask_text(s, "EPSV");
        return connect(std::stoi(answered.substr(answered.find("|||") + 3)));
    }
    /// The bytes that a command brings, behind the codes of its answers.
    std::string fetch(int s, const std::string& line) {
        owned_socket from = data(s);
        return transfer(s, line, [&] { return " " + hear_all(from); });
    }
    /// The codes of a command that takes bytes.
    std::string store(int s, const std::string& line, const std::string& bytes) {
        owned_socket to = data(s);
        return transfer(s, line, [&] {
            say(to, bytes);
            to.close();
            return std::string();
        });
    }
    template<typename Move>
    std::string transfer(int s, const std::string& line, Move move) {
        std::string codes = ask(s, line);
        if (codes.substr(0, 3) != "150")
            return codes;
        const std::string moved = move();
        return codes + (codes.size() == 3 ? " " + codes_of(answer(s)) : "") + moved;
    }

    const descriptor_balance descriptors_;
    const scratch_directory top_; ///< the accounts' "root", and what is no business of theirs
    std::string log_;
    ombrel_ftp_server_options_t options_;
    ombrel_event_base_t* base_ = ombrel_new_event_base();
    ombrel_ftp_server_t* server_ = nullptr;
    int port_ = 0;
};

} // namespace ombrel_test
