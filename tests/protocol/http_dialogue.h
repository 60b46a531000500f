// A server of HTTP and its clients in one thread: what a client says is followed by turns of the loop until
// the server has answered.
#pragma once

#include <algorithm>
#include <cstring>
#include <string>

#include <ombrel/event_base.h>
#include <ombrel/fault.h>
#include <ombrel/http_server.h>
#include <ombrel/socket.h>
#include <ombrel/socket_open.h>

#include "network/loopback.h"
#include "support/descriptor_balance.h"
#include "support/event_turns.h"
#include "support/heap_balance.h"

namespace ombrel_test {

/// Answers in short: of each its status, "close" when it ends the connection, and its body; the rest is left
/// out. "..." stands where one ends too early.
inline std::string in_short(std::string text, bool answers_head = false) {
    std::string result;
    while (!text.empty()) {
        const size_t head_end = text.find("\r\n\r\n");
        if (head_end == std::string::npos)
            return result + "...";
        const std::string head = text.substr(0, head_end + 2);
        result += (result.empty() ? "" : " | ") + head.substr(9, 3);
        result += head.find("Connection: close\r\n") != std::string::npos ? " close" : "";
        text.erase(0, head_end + 4);
        const size_t length_at = head.find("Content-Length: ");
        size_t length =
            length_at != std::string::npos && !answers_head ? std::stoul(head.substr(length_at + 16)) : 0;
        if (head.find("chunked") != std::string::npos) {
            result += " chunks";
            length = text.find("0\r\n\r\n") + 5;
        }
        const std::string body = text.substr(0, length);
        result += body.empty() ? "" : " " + body + (body.size() < length ? "..." : "");
        text.erase(0, body.size());
    }
    return result;
}

class http_dialogue : public balanced_test {
protected:
    void SetUp() override {
        ombrel_init_http_server_options(&options_);
        options_.m_name = nullptr;
    }
    void TearDown() override {
        EXPECT_EQ(0, ombrel_close_http_server(server_));
        ombrel_free_event_base(base_);
    }
    void open() {
        server_ = ombrel_open_http_server(base_, &options_);
        ASSERT_NE(nullptr, server_);
        port_ = ombrel_http_server_listen(server_, "127.0.0.1", 0);
        ASSERT_LT(0, port_);
    }
    void route(const char* method, const char* path, ombrel_http_handler_t handler, void* context = nullptr) {
        EXPECT_EQ(0, ombrel_http_server_add_route(server_, method, path, handler, context));
    }
    void streamed_route(const char* method, const char* path, ombrel_http_handler_t handler,
                        void* context = nullptr) {
        const ombrel_http_route_t added{method,  path,   def_ombrel_http_route_streamed, -1, nullptr, nullptr,
                                        handler, context};
        EXPECT_EQ(0, ombrel_http_server_add_route_ex(server_, &added));
    }
    ombrel_http_server_counts_t counts() {
        ombrel_http_server_counts_t result;
        EXPECT_EQ(0, ombrel_http_server_get_counts(server_, &result));
        return result;
    }
    void turn() { ombrel_test::turn(base_); }
    template<typename Condition>
    bool turn_until(Condition holds) {
        return ombrel_test::turn_until(base_, holds);
    }
    owned_socket connect() {
        owned_socket s(ombrel_open_connect_socket("127.0.0.1", port_, 10000));
        const uint64_t before = counts().m_accepted + counts().m_refused;
        EXPECT_TRUE(turn_until([&] { return counts().m_accepted + counts().m_refused > before; }));
        return s;
    }
    /// Sends all, in pieces of a size.
    void say(int s, const std::string& text, size_t piece = SIZE_MAX) {
        for (size_t at = 0; at < text.size();) {
            const size_t size = std::min(piece, text.size() - at);
            const int sent = ombrel_send_now(s, text.data() + at, size);
            at += sent > 0 ? static_cast<size_t>(sent) : 0;
            turn();
            if (sent == -1)
                return; // the server has heard enough
        }
    }
    /// What has come, with what comes until there are so many bytes or the end.
    std::string hear(int s, size_t size = SIZE_MAX) {
        std::string heard;
        char bytes[65536];
        turn_until([&] {
            const int count = ombrel_recv_now(s, bytes, std::min(sizeof bytes, size - heard.size()));
            if (count > 0)
                heard.append(bytes, static_cast<size_t>(count));
            return heard.size() >= size || (count <= 0 && count != def_ombrel_socket_would_block);
        });
        return heard;
    }
    /// A whole dialogue of a client that says its piece and listens to the end.
    std::string talk(const std::string& text, size_t piece = SIZE_MAX) {
        const owned_socket s = connect();
        say(s, text, piece);
        ombrel_shutdown_socket(s, def_ombrel_shutdown_send);
        return hear(s);
    }

    const descriptor_balance descriptors_;
    ombrel_http_server_options_t options_;
    ombrel_event_base_t* base_ = ombrel_new_event_base();
    ombrel_http_server_t* server_ = nullptr;
    int port_ = 0;
};

} // namespace ombrel_test
