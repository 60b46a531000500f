#include <csignal>
#include <string>
#include <sys/stat.h>
#include <vector>

#include <ombrel/cgi.h>

#include "protocol/cgi/cgi_head.h"
#include "protocol/http_dialogue.h"
#include "support/descriptor_shortage.h"
#include "support/scratch_directory.h"

using namespace ombrel_test;
using ombrel::protocol::cgi_head;

namespace {

class CgiService : public http_dialogue {
protected:
    void SetUp() override {
        http_dialogue::SetUp();
        ombrel_init_cgi_service_options(&programs_);
        programs_.m_error_handler = hear_error;
        programs_.m_error_context = &errors_;
    }
    void TearDown() override {
        EXPECT_EQ(0, ombrel_close_http_server(server_));
        EXPECT_EQ(0, ombrel_close_cgi_service(service_));
        server_ = nullptr;
        ombrel_free_event_base(base_);
        base_ = nullptr;
    }
    void open_programs() {
        open();
        service_ = ombrel_open_cgi_service(base_, folder_.path().c_str(), &programs_);
        ASSERT_NE(nullptr, service_);
        EXPECT_EQ(0, ombrel_http_server_add_cgi(server_, "/cgi", service_));
    }
    void program(const std::string& name, const std::string& script, const char* shell = "#!/bin/sh\n") {
        EXPECT_EQ(0, chmod(folder_.file(name, shell + script).c_str(), 0755));
    }
    std::string get(const std::string& target, const std::string& more = "") {
        return in_short(
            talk("GET " + target + " HTTP/1.1\r\nHost: h:8\r\nConnection: close\r\n" + more + "\r\n"));
    }
    /// Waits until no program runs.
    bool is_quiet() {
        return turn_until([this] { return ombrel_cgi_service_get_count(service_) == 0; });
    }
    /// What a program wrote into a file, once it is there: the number of a process.
    int process_in(const std::string& name) {
        EXPECT_TRUE(turn_until([&] { return folder_.read(name).find('\n') != std::string::npos; }));
        return std::stoi(folder_.read(name));
    }
    /// Whether it has ended, though nobody may have asked for its status yet.
    bool is_gone(int process) {
        return turn_until([=] {
            const std::string state = read_file("/proc/" + std::to_string(process) + "/stat");
            return kill(process, 0) != 0 || state.find(") Z ") != std::string::npos;
        });
    }

    static int hear_error(const char* name, const char* line, void* context) {
        *static_cast<std::string*>(context) += std::string(name) + ": " + line + "|";
        return strcmp(line, "stop") == 0 ? 1 : 0;
    }

    const scratch_directory folder_;
    ombrel_cgi_service_options_t programs_{};
    ombrel_cgi_service_t* service_ = nullptr;
    std::string errors_;
};

TEST_F(CgiService, AnswersWhatProgramsSay) {

    const struct {
        const char *name, *script, *target;
        std::string expected;
    } cases[] = {
        {"plain", "printf 'Content-Type: text/plain\\n\\nhello\\n'", "/cgi/plain",
         "200 close chunks 6\r\nhello\n\r\n0\r\n\r\n"},
        {"sized", "printf 'Content-Length: 5\\r\\nContent-Type: a/b\\r\\n\\r\\nhello'", "/cgi/sized/rest?x",
         "200 close hello"},
        {"status", "printf 'Status: 404 Nope\\nX-A: b\\n\\n'", "/cgi/status", "404 close chunks 0\r\n\r\n"},
        {"away", "printf 'Location: /there\\n\\n'", "/cgi/away", "302 close chunks 0\r\n\r\n"},
        {"moved", "printf 'Location: http://a/\\nStatus: 301\\n\\n'", "/cgi/moved",
         "301 close chunks 0\r\n\r\n"},
        {"nph-whole", "printf 'HTTP/1.1 201 Made\\r\\nConnection: x\\r\\nContent-Length: 1\\r\\n\\r\\nx'",
         "/cgi/nph-whole", "201 close x"},
        {"headless", "printf 'hello\\n\\n'", "/cgi/headless",
         "502 close 502 Bad Gateway: the program's answer has no proper head\n"},
        {"huge", "printf 'X: %020000d\\n\\n' 1", "/cgi/huge",
         "502 close 502 Bad Gateway: the program's answer has no proper head\n"},
        {"silent", "exit 0", "/cgi/silent", "502 close 502 Bad Gateway: the program did not answer\n"},
        {"short", "printf 'Content-Length: 9\\n\\nhello'", "/cgi/short", "200 close hello..."},
        {"path", "printf 'Content-Length: 13\\n\\n%s %s' \"$SCRIPT_NAME\" \"$PATH_INFO\"; pwd >&2",
         "/cgi/path/%61b", "200 close /cgi/path /ab"},
        {"stop", "echo stop >&2; sleep 1000", "/cgi/stop", "500 close 500 Internal Server Error\n"},
        {".hidden", "", "/cgi/.hidden", "404 close 404 Not Found\n"},
        {"none", "", "/cgi/nothing", "404 close 404 Not Found\n"},
        {"none", "", "/cgi/", "404 close 404 Not Found\n"},
        {"none", "", "/cgi/..%2fpath", "404 close 404 Not Found\n"},
        {"none", "", "/cgi/a%5cb", "404 close 404 Not Found\n"},
        {"told", "printf 'A: b\n\n'", "/cgi/told/..a/b..//", "200 close chunks 0\r\n\r\n"},
        {"none", "", "/cgi/told/a/../b", "404 close 404 Not Found\n"},
        {"none", "", "/cgi/told/%2e%2e%2f%2e%2e/etc", "404 close 404 Not Found\n"},
        {"none", "", "/cgi/told/a%5c..%5cb", "404 close 404 Not Found\n"},
        {"none", "", "/cgi/told/a%0ab", "404 close 404 Not Found\n"},
    };
    open_programs();
    for (const auto& each : cases) {
        program(each.name, each.script);
        EXPECT_EQ(each.expected, get(each.target)) << each.name;
        EXPECT_TRUE(is_quiet()) << each.name;
    }
    EXPECT_EQ("path: " + folder_.path() + "|stop: stop|", errors_);
    folder_.file("text", "no program");
    EXPECT_EQ(0, mkdir((folder_ / "folder").c_str(), 0755));
    for (const char* const target : {"/cgi/text", "/cgi/folder"})
        EXPECT_EQ("403 close 403 Forbidden\n", get(target));
    program("broken", "", "#!/no/such/shell\n");
    EXPECT_EQ("404 close 404 Not Found\n", get("/cgi/broken"));
}

TEST_F(CgiService, SaysWhyNoProgramStarts) {
    const std::string large = "LARGE=" + std::string(200'000, 'x');
    const char* const more[] = {large.c_str(), nullptr};
    programs_.m_environment = more;
    programs_.m_body_limit = 3;
    open_programs();
    program("plain", "printf 'A: b\\n\\n'");
    EXPECT_EQ("500 close 500 Internal Server Error\n", get("/cgi/plain"))
        << "more than a process may be given";
    const auto post = [&](const std::string& framing) {
        return in_short(talk("POST /cgi/plain HTTP/1.1\r\nHost: h\r\nConnection: close\r\n" + framing));
    };
    EXPECT_EQ("413 close", post("Content-Length: 4\r\n\r\nabcd").substr(0, 9));
    EXPECT_EQ("500 close", post("Content-Length: 3\r\n\r\nabc").substr(0, 9));
    EXPECT_EQ("413 close", post("Transfer-Encoding: chunked\r\n\r\n4\r\nabcd\r\n0\r\n\r\n").substr(0, 9));
    const owned_socket s = connect();
    const descriptor_shortage shortage;
    say(s, "GET /cgi/plain HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n");
    EXPECT_EQ("503 close 503 Service Unavailable\n", in_short(hear(s)));
}

TEST_F(CgiService, ASlowClientKeepsItsProgramWaiting) {
    programs_.m_progress_ms = 100; // of the program, which can do nothing about its client
    open_programs();
    program("counts", "printf 'X: y\\n\\n'; seq 4000000; echo done >done");
    const owned_socket s = connect();
    say(s, "GET /cgi/counts HTTP/1.0\r\n\r\n");
    const auto later = std::chrono::steady_clock::now() + std::chrono::milliseconds(400);
    turn_until([=] { return std::chrono::steady_clock::now() > later; });
    EXPECT_EQ("", folder_.read("done"));
    std::string expected;
    for (int i = 1; i <= 4'000'000; i++)
        expected += std::to_string(i) + "\n";
    const std::string heard = hear(s);
    EXPECT_EQ(expected.size(), heard.size() - heard.find("\r\n\r\n") - 4);
    EXPECT_TRUE(heard.ends_with(expected));
    EXPECT_TRUE(is_quiet());
}

TEST_F(CgiService, TellsTheRequestAndNothingElse) {
    static const char* const more[] = {"EXTRA=a=b", nullptr};
    programs_.m_environment = more;
    open_programs();
    program(
        "env",
        "printf 'Content-Length: %d\\n\\n' \"$(env | grep -v '^PWD=\\|^_=\\|^SHLVL=\\|^PATH=\\|^REMOTE_PORT' "
        "| sort | wc -c)\"; env | grep -v '^PWD=\\|^_=\\|^SHLVL=\\|^PATH=\\|^REMOTE_PORT' | LC_ALL=C sort");
    setenv("OMBREL_TEST_SECRET", "x", 1);
    const std::string own = folder_ / "env", port = std::to_string(port_);
    EXPECT_EQ("200 close CONTENT_LENGTH=3\nCONTENT_TYPE=a/b\nEXTRA=a=b\nGATEWAY_INTERFACE=CGI/1.1\n"
              "HTTP_COOKIE=a; b\nHTTP_HOST=h:8\nHTTP_X_ONE=1, 2\nPATH_INFO=/p q\nQUERY_STRING=x=%20&y\n"
              "REMOTE_ADDR=127.0.0.1\nREMOTE_HOST=127.0.0.1\nREQUEST_METHOD=POST\nREQUEST_URI=/cgi/env/"
              "p%20q?x=%20&y\n"
              "SCRIPT_FILENAME=" +
                  own + "\nSCRIPT_NAME=/cgi/env\nSERVER_NAME=h\nSERVER_PORT=" + port +
                  "\nSERVER_PROTOCOL=HTTP/1.1\nSERVER_SOFTWARE=libombrel_tuk\n",
              in_short(talk("POST /cgi/env/p%20q?x=%20&y HTTP/1.1\r\nHost: h:8\r\nConnection: "
                            "close\r\nProxy: evil\r\nX-One: 1\r\nCookie: a\r\n"
                            "x-one: 2\r\nX_One: 3\r\nX.One: 4\r\nAuthorization: Basic x\r\nCookie: "
                            "b\r\nContent-Type: a/b\r\nContent-Length: 3\r\n\r\nabc")));
    unsetenv("OMBREL_TEST_SECRET");
}

TEST_F(CgiService, StreamsBothWays) {
    open_programs();
    program("echo", "printf 'Content-Type: text/plain\\nContent-Length: %d\\n\\n' $CONTENT_LENGTH; cat");
    program("count", "printf 'Content-Type: text/plain\\n\\n'; wc -c");
    program("deaf", "exec <&-; printf 'Content-Length: 2\\n\\nhi'");
    std::string body;
    for (int i = 0; i < 40000; i++)
        body += std::to_string(i) + "\n";
    const auto post = [&](const std::string& name, const std::string& framing, const std::string& bytes) {
        return in_short(talk("POST /cgi/" + name + " HTTP/1.1\r\nHost: h\r\nConnection: close\r\n" + framing +
                                 "\r\n\r\n" + bytes,
                             5000));
    };
    const std::string length = "Content-Length: " + std::to_string(body.size());
    EXPECT_TRUE("200 close " + body == post("echo", length, body));
    EXPECT_EQ("200 close chunks 2\r\n6\n\r\n0\r\n\r\n",
              post("count", "Transfer-Encoding: chunked", "3\r\nabc\r\n3\r\ndef\r\n0\r\n\r\n"));
    EXPECT_EQ("200 close chunks 2\r\n0\n\r\n0\r\n\r\n", post("count", "Content-Length: 0", ""));
    EXPECT_EQ("200 close hi", post("deaf", "Content-Length: 3", "abc"));
    const std::string chunk = "100000\r\n" + std::string(0x100000, 'x') + "\r\n";
    EXPECT_EQ("413 close",
              post("count", "Transfer-Encoding: chunked", chunk + "1\r\nx\r\n0\r\n\r\n").substr(0, 9));
    EXPECT_TRUE(is_quiet());
}

TEST_F(CgiService, EndsProgramsWithTheirGroups) {
    programs_.m_head_ms = 1500;
    programs_.m_progress_ms = 200;
    programs_.m_grace_ms = 50;
    programs_.m_output_limit = 100'000;
    open_programs();
    const std::string left = "trap '' TERM; sleep 1000 >/dev/null 2>&1 & echo $! >left; ";
    const struct {
        const char *name, *expected;
        std::string script;
    } cases[] = {
        {"late", "504", left + "sleep 1000"},
        {"stalls", "200", left + "printf 'X: y\\n\\nbegun'; sleep 1000"},
        {"floods", "200", left + "printf 'X: y\\n\\n'; exec yes"},
        {"leaves", "200", left + "printf 'X: y\\n\\ndone'"},
        {"lingers", "200", left + "printf 'X: y\\n\\ndone'; exec >&- 2>&-; sleep 1000"},
    };
    for (const auto& each : cases) {
        program(each.name, each.script);
        EXPECT_EQ(each.expected, get(std::string("/cgi/") + each.name).substr(0, 3)) << each.name;
        EXPECT_TRUE(is_quiet()) << each.name;
        // One that is slow to start may be ended before it has left anything.
        const std::string number = folder_.read("left");
        EXPECT_TRUE(number.empty() ? *each.expected == '5' : is_gone(std::stoi(number))) << each.name;
        remove((folder_ / "left").c_str());
    }
}

TEST_F(CgiService, EndsProgramsWhoseClientsGo) {
    programs_.m_program_limit = 2;
    open_programs();
    program("waits", "echo $$ >\"$QUERY_STRING\"; printf 'X: y\\n\\nbegun'; exec sleep 1000");
    program("floods", "echo $$ >flood; printf 'X: y\\n\\n'; exec yes");
    const auto ask = [&](const std::string& target) {
        owned_socket s = connect();
        say(s, "GET " + target + " HTTP/1.1\r\nHost: h\r\n\r\n");
        return s;
    };
    int first, flood;
    {
        const owned_socket one = ask("/cgi/waits?one"), two = ask("/cgi/floods");
        first = process_in("one");
        flood = process_in("flood");
        EXPECT_EQ("503 close 503 Service Unavailable: too many programs run\n", get("/cgi/waits?three"));
        for (int i = 0; i < 1000; i++)
            turn(); // the flood stands still, as its client takes nothing
        EXPECT_GT(64u << 20, counts().m_memory);
        EXPECT_EQ(0, kill(flood, 0));
    }
    EXPECT_TRUE(is_quiet());
    EXPECT_TRUE(is_gone(first) && is_gone(flood));
    const owned_socket last = ask("/cgi/waits?last");
    const int process = process_in("last");
    EXPECT_EQ(0, ombrel_close_http_server(server_));
    server_ = nullptr;
    EXPECT_EQ(0, ombrel_close_cgi_service(service_));
    service_ = nullptr;
    EXPECT_TRUE(is_gone(process) || kill(process, 0) == 0); // ended, and forgotten by the next start
}

TEST_F(CgiService, RunsOtherLanguages) {
    if (std::system("python3 -c pass") != 0)
        GTEST_SKIP() << "there is no python3";
    open_programs();
    program("form",
            "import os, sys, urllib.parse\n"
            "data = urllib.parse.parse_qs(sys.stdin.read(int(os.environ['CONTENT_LENGTH'])))\n"
            "text = 'Hello, ' + data['name'][0]\n"
            "print('Content-Type: text/plain\\nContent-Length: %d\\n\\n' % len(text) + text, end='')\n",
            "#!/usr/bin/env python3\n");
    EXPECT_EQ("200 close Hello, A&B", in_short(talk("POST /cgi/form HTTP/1.1\r\nHost: h\r\nConnection: "
                                                    "close\r\nContent-Length: 10\r\n\r\nname=A%26B")));
    EXPECT_TRUE(is_quiet());
}

TEST_F(CgiService, RunsScriptsByAnInterpreter) {
    static const char* const shell[] = {"/bin/sh", "-e", nullptr};
    programs_.m_interpreter = shell;
    open_programs();
    folder_.file("script", "printf 'Content-Length: 2\\n\\nok'");
    EXPECT_EQ("200 close ok", get("/cgi/script"));
    EXPECT_TRUE(is_quiet());
}

TEST_F(CgiService, RefusesNonsense) {
    open();
    EXPECT_EQ(nullptr, ombrel_open_cgi_service(base_, (folder_ / "none").c_str(), nullptr));
    EXPECT_EQ(def_ombrel_fault_not_directory, ombrel_last_fault());
    EXPECT_EQ(nullptr, ombrel_open_cgi_service(nullptr, "/", nullptr));
    programs_.m_program_limit = 0;
    EXPECT_EQ(nullptr, ombrel_open_cgi_service(base_, "/", &programs_));
    EXPECT_EQ(-1, ombrel_http_server_add_cgi(server_, "/cgi", nullptr));
    EXPECT_EQ(-1, ombrel_cgi_service_run(nullptr, nullptr, "", "", ""));
    EXPECT_EQ(-1, ombrel_init_cgi_service_options(nullptr));
    EXPECT_EQ(0u, ombrel_cgi_service_get_count(nullptr));
}

int run_own(ombrel_http_exchange_t* exchange, void* context) {
    static std::string path;
    path = std::string(static_cast<const char*>(ombrel_http_exchange_get_query(exchange))) + "/own";
    return ombrel_cgi_service_run(static_cast<ombrel_cgi_service_t*>(context), exchange, path.c_str(), "/own",
                                  "");
}

int run_own_for_known(ombrel_http_exchange_t* exchange, void* context) {
    EXPECT_EQ(0, ombrel_http_exchange_set_user(exchange, "ann"));
    return run_own(exchange, context);
}

std::string after_head(const std::string& answer) {
    return answer.substr(answer.find("\r\n\r\n") + 4);
}

TEST_F(CgiService, RunsOneProgramOfChoice) {
    open_programs();
    program("own", "printf 'Content-Length: %d\\n\\n%s' ${#SCRIPT_NAME} $SCRIPT_NAME");
    streamed_route("GET", "/mine", run_own, service_);
    EXPECT_EQ("200 close /own", get("/mine?" + folder_.path()));
    program("own", "printf 'X: y\\n\\n%s %s %s' $SERVER_NAME $AUTH_TYPE $REMOTE_USER");
    streamed_route("GET", "/known", run_own_for_known, service_);
    const std::string target = "GET /known?" + folder_.path();
    EXPECT_EQ("127.0.0.1 Basic ann",
              after_head(talk(target + " HTTP/1.0\r\nAuthorization: Basic x\r\n\r\n")));
    EXPECT_EQ("127.0.0.1  ", after_head(talk(target + " HTTP/1.0\r\n\r\n"))) << "a name alone proves nothing";
    EXPECT_TRUE(is_quiet());
}

TEST(CgiHead, IsReadInPieces) {
    const struct {
        const char* text;
        cgi_head::step outcome;
        int status;
        int64_t size;
        std::string type, fields;
    } cases[] = {
        {"Content-Type: a\n\n", cgi_head::step::complete, 200, -1, "a", ""},
        {"A: b\r\nServer: x\r\nC:\r\n\r\n", cgi_head::step::complete, 200, -1, "-", "A=b,C=,"},
        {"Status: 204\nContent-Length:7\n\n", cgi_head::step::complete, 204, 7, "-", ""},
        {"Location: /\ncontent-type:\ttext \n\n", cgi_head::step::complete, 302, -1, "text", "Location=/,"},
        {"HTTP/1.0 404\nA: b\n\n", cgi_head::step::complete, 404, -1, "-", "A=b,"},
        {"\n", cgi_head::step::malformed, 0, 0, "", ""},
        {"\r\n", cgi_head::step::malformed, 0, 0, "", ""},
        {"HTTP/1.1 200 OK\n\n", cgi_head::step::malformed, 0, 0, "", ""},
        {"A\n\n", cgi_head::step::malformed, 0, 0, "", ""},
        {"A : b\n\n", cgi_head::step::malformed, 0, 0, "", ""},
        {"A: b\rc\n\n", cgi_head::step::malformed, 0, 0, "", ""},
        {"A: b\n c\n\n", cgi_head::step::malformed, 0, 0, "", ""},
        {"Status: 199\n\n", cgi_head::step::malformed, 0, 0, "", ""},
        {"Status: 2000\n\n", cgi_head::step::malformed, 0, 0, "", ""},
        {"Status: 200\nStatus: 200\n\n", cgi_head::step::malformed, 0, 0, "", ""},
        {"Content-Length: -1\n\n", cgi_head::step::malformed, 0, 0, "", ""},
        {"Content-Length: 1\nContent-Length: 1\n\n", cgi_head::step::malformed, 0, 0, "", ""},
        {"Content-Type: a\nContent-Type: a\n\n", cgi_head::step::malformed, 0, 0, "", ""},
        {"A: 34567890123456789012345678901234567890\n", cgi_head::step::too_large, 0, 0, "", ""},
        {"A: b\n", cgi_head::step::more, 0, 0, "", ""},
    };
    for (const auto& each : cases)
        for (const size_t piece : {1u, 3u, 100u}) {
            cgi_head head(40, {"test", 1});
            const std::string text =
                each.text + std::string(each.outcome == cgi_head::step::complete ? "body" : "");
            cgi_head::step step = cgi_head::step::more;
            size_t at = 0, read = 0;
            while (at < text.size() && step == cgi_head::step::more) {
                step = head.push(std::string_view(text).substr(at, piece), read);
                at += read;
            }
            ASSERT_EQ(each.outcome, step) << each.text << piece;
            if (step != cgi_head::step::complete)
                continue;
            std::string fields;
            head.for_each_field([&](const char* name, const char* value) {
                fields += std::string(name) + "=" + value + ",";
                return true;
            });
            EXPECT_EQ(strlen(each.text), at);
            EXPECT_EQ(each.status, head.status());
            EXPECT_EQ(each.size, head.size());
            EXPECT_EQ(each.type, head.type() != nullptr ? head.type() : "-");
            EXPECT_EQ(each.fields, fields);
        }
}

} // namespace
