// An HTTP server that says what a test wants.
#pragma once

#include <algorithm>
#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <ombrel/socket_open.h>

#include "network/loopback.h"
#include "support/no_copy.h"

namespace ombrel_test {

/// Steps of a script; all else is sent.
#define ASK "\1"     // reads a request with its body
#define STAY "\2"    // waits until the client closes
#define RESET "\3"   // breaks off
#define DRIP "\4"    // the rest goes byte by byte
#define FOREVER "\5" // the rest is sent again and again until the client closes
#define DEAF "\6"    // reads nothing from here on and stays
#define LATE "\7"    // lets the client wait for a moment

/// Serves its connections one after the other, each by a script of its own, the last one all others too, and
/// closes at a script's end.
class scripted_http_server : no_copy {
public:
    explicit scripted_http_server(std::vector<std::string> scripts)
        : scripts_(std::move(scripts)), listener_(ombrel_open_listen_socket("127.0.0.1", 0)),
          thread_([this] { serve(); }) {}
    ~scripted_http_server() { stop(); }

    std::string uri(const std::string& path = "/") const {
        return "http://127.0.0.1:" + std::to_string(own_port(listener_)) + path;
    }
    size_t connections() {
        const std::lock_guard guard(mutex_);
        return connections_;
    }
    /// All requests, "|" before each.
    std::string requests() {
        const std::lock_guard guard(mutex_);
        return requests_;
    }

private:
    void stop() {
        ends_ = true;
        ombrel_shutdown_socket(listener_, def_ombrel_shutdown_both);
        thread_.join();
    }
    void serve() {
        for (;;) {
            owned_socket connection(accept_until(listener_, ends_));
            if (connection == -1)
                return;
            play(connection, scripts_[std::min(connections(), scripts_.size() - 1)]);
            const std::lock_guard guard(mutex_);
            connections_++;
        }
    }
    void play(owned_socket& s, const std::string& script) {
        bool drips = false;
        for (size_t at = 0; at < script.size();) {
            const std::string step = script.substr(at, script.find_first_of("\1\2\3\4\5\6\7", at) - at);
            at += std::max<size_t>(step.size(), 1);
            if (!step.empty() && !send(s, with_own_uri(step), drips))
                return;
            if (!step.empty())
                continue;
            switch (script[at - 1]) {
            case '\1':
                take_request(s);
                break;
            case '\2':
                take_all(s);
                break;
            case '\3':
                ombrel_set_linger_socket(s, 1, 0);
                return;
            case '\4':
                drips = true;
                break;
            case '\7':
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
                break;
            case '\6':
                deaf_ = std::move(s);
                return;
            case '\5':
                while (send(s, script.substr(at), drips))
                    continue;
                return;
            }
        }
    }
    /// "$" stands for the server's own origin.
    std::string with_own_uri(std::string text) const {
        const size_t at = text.find('$');
        return at == text.npos ? text : text.substr(0, at) + uri("") + text.substr(at + 1);
    }
    static bool send(int s, const std::string& text, bool drips) {
        for (size_t at = 0, step = drips ? 1 : text.size(); at < text.size(); at += step)
            if (ombrel_send(s, text.data() + at, step, -1) != static_cast<int>(step))
                return false;
        return true;
    }
    void take_request(int s) {
        std::string request = read_until(s, "\r\n\r\n");
        const size_t length = request.find("Content-Length: ");
        if (request.find("chunked") != request.npos)
            request += read_until(s, "0\r\n\r\n", 65536);
        else if (length != request.npos)
            request += read_bytes(s, std::stoul(request.substr(length + 16)));
        const std::lock_guard guard(mutex_);
        requests_ += (request.empty() ? "" : "|") + request;
    }
    static std::string read_until(int s, const std::string& end, size_t most = 1) {
        std::string text, piece(most, '\0');
        for (int count = 1; !text.ends_with(end) && count > 0;) {
            count = ombrel_recv(s, piece.data(), most, -1);
            text.append(piece, 0, static_cast<size_t>(std::max(count, 0)));
        }
        return text;
    }
    static std::string read_bytes(int s, size_t size) {
        std::string bytes(size, '\0');
        size_t at = 0;
        for (int count = 1; at < size && count > 0; at += static_cast<size_t>(std::max(count, 0)))
            count = ombrel_recv(s, bytes.data() + at, size - at, -1);
        return bytes.substr(0, at);
    }
    static void take_all(int s) {
        char bytes[4096];
        while (ombrel_recv(s, bytes, sizeof bytes, -1) > 0)
            continue;
    }

    std::vector<std::string> scripts_;
    std::atomic<bool> ends_ = false;
    std::mutex mutex_;
    size_t connections_ = 0;
    std::string requests_;
    owned_socket listener_, deaf_;
    std::thread thread_;
};

} // namespace ombrel_test
