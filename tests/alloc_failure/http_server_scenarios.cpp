// A server of HTTP and a directory that it serves: what goes out is whole or says that it is not.
#include <filesystem>

#include <ombrel/cgi.h>
#include <ombrel/http_auth.h>
#include <ombrel/http_directory.h>

#include "alloc_failure/injection.h"
#include "protocol/http_dialogue.h"
#include "support/scratch_directory.h"

namespace ombrel_test {
namespace {

int answer_text(ombrel_http_exchange_t* e, void*) {
    ombrel_http_exchange_add_field(e, "X", "y");
    return ombrel_http_exchange_answer_printf(e, 200, "text/plain", "%s", std::string(60'000, 'x').c_str());
}

int echo(ombrel_http_exchange_t* e, void*) {
    size_t size = 0;
    const void* const body = ombrel_http_exchange_get_body(e, &size);
    return ombrel_http_exchange_answer(e, 200, nullptr, body, size);
}

/// A server whose dialogues are held while memory fails.
class scarce_server : public http_dialogue {
public:
    void TestBody() override {}
    ~scarce_server() override {
        ombrel_close_http_server(server_);
        ombrel_close_cgi_service(programs_);
        ombrel_close_http_directory(files_);
        ombrel_free_event_base(base_);
    }
    bool open_scarce(injection& fail, const scratch_directory& folder) {
        ombrel_init_http_server_options(&options_);
        options_.m_handler = ombrel_serve_http_directory;
        files_ = fail.during([&] { return ombrel_open_http_directory(folder.path().c_str(), nullptr); });
        EXPECT_EQ(fail.hit(), files_ == nullptr);
        options_.m_context = files_;
        options_.m_handler = files_ != nullptr ? ombrel_serve_http_directory : nullptr;
        ombrel_leave_fault(def_ombrel_fault_none);
        server_ = fail.during([&] { return ombrel_open_http_server(base_, &options_); });
        EXPECT_EQ(server_ == nullptr ? def_ombrel_fault_no_memory : def_ombrel_fault_none,
                  ombrel_last_fault());
        EXPECT_EQ(fail.hit(), server_ == nullptr);
        return files_ != nullptr && server_ != nullptr;
    }
    void add_routes(injection& fail) {
        const int added = fail.during(
            [&] { return ombrel_http_server_add_route(server_, "GET", "/text", answer_text, nullptr); });
        EXPECT_EQ(fail.hit() ? -1 : 0, added);
        route("POST", "/echo", echo);
        port_ = fail.during([&] { return ombrel_http_server_listen(server_, "127.0.0.1", 0); });
        EXPECT_EQ(fail.hit(), port_ == -1);
    }
    bool add_programs(injection& fail, const scratch_directory& folder) {
        programs_ =
            fail.during([&] { return ombrel_open_cgi_service(base_, folder.path().c_str(), nullptr); });
        EXPECT_EQ(fail.hit(), programs_ == nullptr);
        return programs_ != nullptr &&
               refused_when_hit(fail, [&] { return ombrel_http_server_add_cgi(server_, "/cgi", programs_); });
    }
    void add_guarded(ombrel_http_auth_server_t* guard) {
        const ombrel_http_route_t asking{"GET", "/in",       0,      -1, ombrel_guard_http_exchange,
                                         guard, answer_text, nullptr};
        EXPECT_EQ(0, ombrel_http_server_add_route_ex(server_, &asking));
    }
    bool listens() const { return port_ > 0; }

    /// Says something while memory fails. What is heard is whole, or an error, or nothing; or it ends
    /// before the length that it announces.
    void talk_scarce(injection& fail, const std::string& request, const std::string& expected) {
        const owned_socket s(ombrel_open_connect_socket("127.0.0.1", port_, 10000));
        EXPECT_LT(0, ombrel_send(s, request.data(), request.size(), 10000));
        ombrel_shutdown_socket(s, def_ombrel_shutdown_send);
        std::string heard;
        for (int i = 0; i < 60; i++) {
            fail.during([&] {
                turn();
                return 0;
            });
            char bytes[65536];
            for (int count; (count = ombrel_recv_now(s, bytes, sizeof bytes)) > 0;)
                heard.append(bytes, static_cast<size_t>(count));
        }
        heard += hear(s);
        const size_t head = heard.find("\r\n\r\n") + 4, length = heard.find("Content-Length: ");
        const bool is_good = heard.rfind("HTTP/1.1 200 ", 0) == 0;
        if (is_good && heard.size() - head == std::stoul(heard.substr(length + 16))) {
            EXPECT_NE(std::string::npos, heard.find(expected, head)) << heard.substr(0, 1000);
            return;
        }
        EXPECT_TRUE(fail.ever_hit()) << heard.substr(0, 1000);
    }

    /// Asks a program. What it wrote comes whole, or as an error, or is broken off; and it does not stay.
    void run_scarce(injection& fail, const std::string& request, const std::string& expected) {
        const owned_socket s(ombrel_open_connect_socket("127.0.0.1", port_, 10000));
        EXPECT_LT(0, ombrel_send(s, request.data(), request.size(), 10000));
        std::string heard;
        int count = -1;
        EXPECT_TRUE(turn_until([&] {
            fail.during([&] { return ombrel_event_base_loop(base_, def_ombrel_event_loop_non_block); });
            char bytes[65536];
            while ((count = ombrel_recv_now(s, bytes, sizeof bytes)) > 0)
                heard.append(bytes, static_cast<size_t>(count));
            return count <= 0 && count != def_ombrel_socket_would_block;
        })) << heard;
        EXPECT_TRUE(fail.ever_hit() || in_short(heard) == expected) << heard;
        EXPECT_TRUE(turn_until([&] { return ombrel_cgi_service_get_count(programs_) == 0; }));
    }

private:
    ombrel_http_directory_t* files_ = nullptr;
    ombrel_cgi_service_t* programs_ = nullptr;
};

OMBREL_FAILURES(HttpServer, dialogues) {
    const scratch_directory folder;
    folder.write("file", std::string(200'000, 'f'));
    scarce_server server;
    if (!server.open_scarce(fail, folder))
        return;
    server.add_routes(fail);
    if (!server.listens())
        return;
    server.talk_scarce(fail, "GET /text HTTP/1.1\r\nHost: h\r\n\r\n", std::string(60'000, 'x'));
    server.talk_scarce(fail, "POST /echo HTTP/1.1\r\nHost: h\r\nContent-Length: 5\r\n\r\n12345", "12345");
    server.talk_scarce(fail, "GET /file HTTP/1.1\r\nHost: h\r\n\r\n", std::string(200'000, 'f'));
    server.talk_scarce(fail, "GET / HTTP/1.1\r\nHost: h\r\n\r\n", "file</a>");
}

// A check in steps needs memory, and is made at once without.
OMBREL_FAILURES(HttpServer, passwords) {
    const ombrel_secret_options_t strong{def_ombrel_secret_strong, nullptr, 3000};
    char line[4 + def_ombrel_secret_text_size] = "ann:";
    const int size = ombrel_make_secret(line + 4, sizeof line - 4, "ann", "pw", &strong);
    ombrel_http_auth_server_options_t options;
    ombrel_init_http_auth_server_options(&options);
    options.m_schemes = def_ombrel_http_auth_basic;
    options.m_secrets = ombrel_open_secret_text(line, 4 + static_cast<size_t>(size), nullptr, nullptr);
    ombrel_http_auth_server_t* const guard = ombrel_open_http_auth_server(&options);
    {
        const scratch_directory folder;
        scarce_server server;
        if (server.open_scarce(fail, folder))
            server.add_routes(fail);
        if (server.listens()) {
            server.add_guarded(guard);
            server.talk_scarce(fail, "GET /in HTTP/1.1\r\nHost: h\r\nAuthorization: Basic YW5uOnB3\r\n\r\n",
                               std::string(60'000, 'x'));
        }
    }
    ombrel_close_http_auth_server(guard);
    ombrel_close_secret_list(options.m_secrets);
}

// Windows runs no scripts by their first line.
#ifndef _WIN32
OMBREL_FAILURE_ONCE(HttpServer, programs) {
    const scratch_directory folder;
    std::filesystem::permissions(
        folder.file("echo", "#!/bin/sh\nbody=$(cat)\necho e >&2\nprintf 'X: y\n\n%s' \"$body$HTTP_A\"\n"),
        std::filesystem::perms::owner_all);
    scarce_server server;
    if (!server.open_scarce(fail, folder))
        return;
    server.add_routes(fail);
    if (server.listens() && server.add_programs(fail, folder))
        server.run_scarce(fail,
                          "POST /cgi/echo/rest?q HTTP/1.1\r\nHost: h\r\nA: b\r\nConnection: close\r\n"
                          "Content-Length: 5\r\n\r\n12345",
                          "200 close chunks 6\r\n12345b\r\n0\r\n\r\n");
}
#endif

} // namespace
} // namespace ombrel_test
