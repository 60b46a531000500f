#include <cstdio>
#include <cstdlib>

#include <ombrel/global_break.h>
#include <ombrel/heap.h>
#include <ombrel/plugin_curl.h>
#include <ombrel/sha256.h>

#include "plugins/plugin_support.h"
#include "protocol/transfer_server.h"
#include "support/capture.h"

namespace ombrel_test {
namespace {

constexpr const char* stream = "application/tuk_stream";

/// The web server beside the tests, for the time of the program.
class web_server : no_copy {
public:
    web_server() : output_(popen(OMBREL_TEST_PYTHON " " OMBREL_TEST_WEB_SERVER, "re")) {
        if (output_ == nullptr || fscanf(output_, "%d %d", &port_, &secure_port_) != 2)
            abort();
        setenv("no_proxy", "*", 1);
    }
    /// The server ends when its output is closed.
    ~web_server() { pclose(output_); }

    std::string url(const std::string& path) const {
        return "http://127.0.0.1:" + std::to_string(port_) + "/" + path;
    }
    std::string secure_url(const std::string& path) const {
        return "https://127.0.0.1:" + std::to_string(secure_port_) + "/" + path;
    }

private:
    FILE* output_;
    int port_ = 0, secure_port_ = 0;
};

const web_server& server() {
    static const web_server instance;
    return instance;
}

std::string body_of(size_t size) {
    std::string body(size, '\0');
    for (size_t i = 0; i < size; i++)
        body[i] = static_cast<char>(i * 7 % 251);
    return body;
}

std::string read_all(int ctx, size_t room = 65536) {
    std::string all, part(room, '\0');
    int got;
    while ((got = ombrel_ctx_read(ctx, part.data(), room)) > 0)
        all.append(part, 0, static_cast<size_t>(got));
    EXPECT_EQ(got, 0);
    return all;
}

class CurlPlugin : public balanced_test {
protected:
    CurlPlugin() { server(); }

    loaded_plugin plugin_{OMBREL_TEST_PLUGIN_CURL};
};

TEST_F(CurlPlugin, reads_bodies_whole_and_in_pieces) {
    struct {
        const char* path;
        size_t size, room;
        long long announced;
    } const cases[] = {{"bytes/0", 0, 100, 0},
                       {"bytes/16385", 16385, 7, 16385},
                       {"bytes/3000017", 3000017, 70001, 3000017},
                       {"chunked/400009", 400009, 1000, -1},
                       {"redirect/bytes/5000", 5000, 4096, 5000}};
    for (const auto& test : cases) {
        SCOPED_TRACE(test.path);
        context ctx;
        ASSERT_EQ(ctx.open(stream, {{"source", server().url(test.path)}}), 0);
        EXPECT_EQ(ombrel_ctx_is_readable(ctx, -1), 1);
        EXPECT_EQ(read_all(ctx, test.room), body_of(test.size));
        ombrel_curl_response_t response;
        ASSERT_EQ(ombrel_ctx_control(ctx, def_ombrel_curl_control_get_response, &response, sizeof response),
                  0);
        EXPECT_EQ(response.m_code, 200);
        EXPECT_EQ(response.m_content_length, test.announced);
        EXPECT_EQ(response.m_received, static_cast<long long>(test.size));
        EXPECT_EQ(
            ombrel_ctx_control(ctx, def_ombrel_curl_control_get_response, &response, sizeof response - 1),
            -1);
        EXPECT_EQ(ombrel_close_ctx(ctx), 0);
    }
}

TEST_F(CurlPlugin, refuses_with_a_reason) {
    const owned_socket deaf = bound(AF_INET, SOCK_STREAM);
    const std::string nobody = "127.0.0.1:" + std::to_string(own_port(deaf)) + "/";
    struct {
        const char* mime_type;
        std::string source;
        const char* mode;
        int error;
    } const cases[] = {
        {stream, server().url("status/404"), "r", def_ombrel_ctx_error_not_found},
        {stream, server().url("status/401"), "r", def_ombrel_ctx_error_access_denied},
        {stream, server().url("mute"), "r", def_ombrel_ctx_error_timed_out},
        {stream, server().url("bytes/1"), "a", def_ombrel_ctx_error_invalid_argument},
        {stream, "http://" + nobody, "r", def_ombrel_ctx_error_disconnected},
        {stream, "http://[::1/", "r", def_ombrel_ctx_error_syntax},
        {stream, "gopher://127.0.0.1/", "r", def_ombrel_ctx_error_not_supported},
        {def_ombrel_plugin_curl_mime_type, "file:///etc/passwd", "r", def_ombrel_ctx_error_not_supported},
        {def_ombrel_plugin_curl_mime_type, "FTP://" + nobody, "r", def_ombrel_ctx_error_disconnected},
    };
    for (const auto& test : cases) {
        context ctx;
        // Only the server that says nothing is waited for in vain.
        const char* const limit = test.error == def_ombrel_ctx_error_timed_out ? "200" : "60000";
        EXPECT_EQ(
            ctx.open(test.mime_type, {{"source", test.source}, {"mode", test.mode}, {"timeout", limit}}),
            test.error)
            << test.source;
    }
    for (const char* const option : {"timeout", "any_status", "redirects", "size", "progress", "insecure"})
        for (const char* const text : {"5x", "no", "", "+5", "9223372036854775808"})
            EXPECT_EQ(context().open(stream, {{"source", server().url("bytes/1")}, {option, text}}),
                      def_ombrel_ctx_error_invalid_argument)
                << option << " \"" << text << '"';
    context ctx;
    ASSERT_EQ(ctx.open(stream, {{"source", server().url("status/404")}, {"any_status", "1"}}), 0);
    EXPECT_EQ(read_all(ctx), "body of 404");
    ombrel_close_ctx(ctx);
    ASSERT_EQ(ctx.open(stream, {{"source", server().url("bytes/9")}, {"method", "head"}}), 0);
    EXPECT_EQ(read_all(ctx), "");
    EXPECT_EQ(ctx.env("content_length"), "9");
}

TEST_F(CurlPlugin, sends_and_shows_headers) {
    context ctx;
    ASSERT_EQ(ctx.open(stream, {{"source", server().url("echo")}, {"httpheader", "X-One: 1\r\n\nX-Two: 2"}}),
              0);
    const std::string echo = read_all(ctx);
    EXPECT_NE(echo.find("X-One: 1\n"), echo.npos);
    EXPECT_NE(echo.find("X-Two: 2\n"), echo.npos);
    ombrel_close_ctx(ctx);

    ASSERT_EQ(ctx.open(stream, {{"source", server().url("redirect/bytes/3")}}), 0);
    EXPECT_EQ(ctx.env("x-mark"), "one two");
    EXPECT_EQ(ctx.env("Location"), "(none)") << "of the answer before";
    EXPECT_EQ(ctx.env("effective_url"), server().url("bytes/3"));
    char value[5] = "....";
    EXPECT_EQ(
        ombrel_ctx_bcontrol(ctx, def_ombrel_curl_control_get_header, "X-MARK", size_t{6}, value, size_t{3}),
        7);
    EXPECT_STREQ(value, "one.");
    EXPECT_EQ(
        ombrel_ctx_bcontrol(ctx, def_ombrel_curl_control_get_header, "X-", size_t{2}, nullptr, size_t{0}),
        -1);
    EXPECT_EQ(ctx.env("headers").substr(0, 12), "HTTP/1.1 200");
}

TEST_F(CurlPlugin, sends_bodies_and_reads_the_answer) {
    const std::string body = body_of(700001);
    ombrel_sha256_t sha;
    ombrel_init_sha256(&sha);
    ombrel_sha256_push(&sha, body.data(), body.size());
    std::string digest = ombrel_sha256_digest(&sha, nullptr);
    for (char& c : digest)
        c = static_cast<char>(tolower(c));
    for (const char* const method : {"", "PUT", "POST"}) {
        context ctx;
        // With no method given the size is announced.
        const option_texts given = {
            {"source", server().url("store")},
            {"mode", "wb"},
            {*method != '\0' ? "method" : "size", *method != '\0' ? method : "700001"}};
        ASSERT_EQ(ctx.open(stream, given), 0);
        EXPECT_EQ(ombrel_ctx_is_writable(ctx, -1), 1);
        for (size_t at = 0; at < body.size();) {
            const int taken =
                ombrel_ctx_write(ctx, body.data() + at, std::min<size_t>(body.size() - at, 99991));
            ASSERT_GT(taken, 0);
            at += static_cast<size_t>(taken);
        }
        const std::string sent_by = *method != '\0' ? method : "PUT";
        EXPECT_EQ(read_all(ctx), sent_by + " 700001 " + digest);
        EXPECT_EQ(ctx.env("response_code"), "201");
        EXPECT_EQ(ombrel_ctx_write(ctx, "x", 1), -1) << "the body has ended";
        EXPECT_EQ(ombrel_close_ctx(ctx), 0);
    }
    context refused;
    ASSERT_EQ(refused.open(stream, {{"source", server().url("refuse")}, {"mode", "w"}}), 0);
    EXPECT_EQ(ombrel_ctx_puts(refused, "text"), 4);
    EXPECT_EQ(ombrel_close_ctx(refused), -1);
    EXPECT_EQ(refused.error(), def_ombrel_ctx_error_access_denied);
}

TEST_F(CurlPlugin, no_wait_is_for_ever) {
    char part[16];
    context ctx;
    ASSERT_EQ(ctx.open(stream, {{"source", server().url("stall")}}), 0);
    EXPECT_EQ(ombrel_ctx_is_readable(ctx, -1), 1);
    std::string got;
    while (got.size() < 3) {
        const int size = ombrel_ctx_read(ctx, part, sizeof part);
        ASSERT_GT(size, 0);
        got.append(part, static_cast<size_t>(size));
    }
    EXPECT_EQ(got, "abc");
    EXPECT_EQ(ombrel_ctx_is_readable(ctx, 0), 0);
    EXPECT_EQ(ombrel_ctx_is_readable(ctx, 50), 0);
    EXPECT_EQ(ombrel_ctx_set_env(ctx, "timeout", "50"), 0);
    EXPECT_LT(ombrel_ctx_read(ctx, part, sizeof part), 0);
    EXPECT_EQ(ctx.error(), def_ombrel_ctx_error_timed_out);
    EXPECT_EQ(ombrel_ctx_set_env(ctx, "timeout", "99999999999"), -1);
    EXPECT_EQ(ombrel_ctx_set_env(ctx, "timeout", "-1"), 0);
    ombrel_set_global_break();
    EXPECT_LT(ombrel_ctx_read(ctx, part, sizeof part), 0);
    ombrel_clear_global_break();
    ombrel_close_ctx(ctx);

    ASSERT_EQ(ctx.open(stream, {{"source", server().url("cut")}}), 0);
    int size, all = 0;
    while ((size = ombrel_ctx_read(ctx, part, sizeof part)) > 0)
        all += size;
    EXPECT_EQ(all, 10);
    EXPECT_EQ(ctx.error(), def_ombrel_ctx_error_disconnected);
    EXPECT_NE(ctx.env("error"), "");
}

TEST_F(CurlPlugin, certificates_are_checked) {
    const std::string source = server().secure_url("bytes/1000");
    context ctx;
    EXPECT_EQ(ctx.open(stream, {{"source", source}}), def_ombrel_ctx_error_access_denied);
    ASSERT_EQ(ctx.open(stream, {{"source", source}, {"cainfo", OMBREL_TEST_CERTIFICATE}}), 0);
    EXPECT_EQ(read_all(ctx), body_of(1000));
    ombrel_close_ctx(ctx);
    EXPECT_EQ(ctx.open(stream, {{"source", source}, {"insecure", "1"}}), 0);
}

TEST_F(CurlPlugin, ftp_by_its_own_type) {
    OMBREL_NEEDS_SERVER("vsftpd");
    const ftp_server ftp;
    const std::string source = "ftp://127.0.0.1:" + std::to_string(ftp.port()) + "/file";
    context ctx;
    EXPECT_EQ(ctx.open(def_ombrel_plugin_curl_mime_type, {{"source", source}}),
              def_ombrel_ctx_error_not_found);
    for (const char* const mode : {"w", "a"}) {
        ASSERT_EQ(ctx.open(def_ombrel_plugin_curl_mime_type, {{"source", source}, {"mode", mode}}), 0);
        EXPECT_EQ(ombrel_ctx_puts(ctx, "text"), 4);
        EXPECT_EQ(ombrel_close_ctx(ctx), 0);
    }
    ASSERT_EQ(ctx.open(def_ombrel_plugin_curl_mime_type, {{"source", source}}), 0);
    EXPECT_EQ(read_all(ctx), "texttext");
}

TEST_F(CurlPlugin, tells_what_happens) {
    capture output(stdout), errors(stderr);
    {
        context ctx;
        ASSERT_EQ(
            ctx.open(stream, {{"source", server().url("bytes/9000")}, {"debug", "1"}, {"progress", "1"}}), 0);
        read_all(ctx);
    }
    EXPECT_NE(output.text().find(" 8 KiB"), std::string::npos);
    const std::string told = errors.text();
    EXPECT_NE(told.find("curl: > GET /bytes/9000 HTTP/1.1\n"), told.npos) << told;
    EXPECT_NE(told.find("curl: < HTTP/1.1 200 OK\n"), told.npos) << told;
}

TEST_F(CurlPlugin, serves_the_simple_get) {
    size_t size = 0;
    void* const body = ombrel_ctx_simple_http_get(server().url("bytes/100000").c_str(), "X-Any: 1", 0, &size);
    EXPECT_EQ(std::string(static_cast<char*>(body), size), body_of(100000));
    ombrel_free(body);
    EXPECT_EQ(ombrel_ctx_simple_http_get(server().url("status/404").c_str(), nullptr, 0, &size), nullptr);
}

} // namespace
} // namespace ombrel_test
