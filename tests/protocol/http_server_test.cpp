#include <ombrel/http_auth.h>
#include <ombrel/http_server.h>

#include "protocol/http_dialogue.h"
#include "support/refused.h"
#include "support/time_travel.h"

using namespace ombrel_test;

namespace {

using exchange = ombrel_http_exchange_t;

int echo(exchange* e, void*) {
    size_t size = 0;
    const void* const body = ombrel_http_exchange_get_body(e, &size);
    return ombrel_http_exchange_answer(e, 200, "text/plain", body, size);
}

int tell_name(exchange* e, void*) {
    char name[16] = "none";
    const int64_t size = ombrel_http_exchange_get_parameter(e, "name", name, sizeof name);
    EXPECT_EQ(size <= 0, name[0] == '\0');
    const char* const shown = size < 0 ? ombrel_fault_name(ombrel_last_fault()) : name;
    return ombrel_http_exchange_answer(e, size < 0 ? 400 : 200, nullptr, shown, strlen(shown));
}

int tell_request(exchange* e, void* word) {
    const char *name = "", *value = "";
    EXPECT_EQ(1, ombrel_http_exchange_get_field_at(e, 0, &name, &value));
    EXPECT_EQ(0, ombrel_http_exchange_get_field_at(e, 99, nullptr, nullptr));
    EXPECT_EQ(nullptr, ombrel_http_exchange_get_field(e, "none"));
    EXPECT_STREQ("127.0.0.1", ombrel_http_exchange_get_peer(e));
    EXPECT_LT(0, ombrel_http_exchange_get_peer_port(e));
    const std::string target = ombrel_http_exchange_get_target(e);
    const char* const query = ombrel_http_exchange_get_query(e);
    EXPECT_EQ(query != nullptr, target.find('?') != std::string::npos) << target;
    EXPECT_EQ(word != nullptr && strcmp(static_cast<char*>(word), "head") == 0,
              ombrel_http_exchange_is_head(e) == 1);
    const char* const x = ombrel_http_exchange_get_field(e, "X-ONE");
    return ombrel_http_exchange_answer_printf(
        e, 200, nullptr, "%s %s,%s,%s,%s,%s,1.%d,%s:%s,%s,%d",
        word != nullptr ? static_cast<char*>(word) : "-", ombrel_http_exchange_get_method(e),
        ombrel_http_exchange_get_path(e), ombrel_http_exchange_get_path_rest(e),
        query != nullptr ? query : "-", ombrel_http_exchange_get_host(e), ombrel_http_exchange_get_version(e),
        name, value, x != nullptr ? x : "-", static_cast<int>(ombrel_http_exchange_get_body_size(e)));
}

int say_late(exchange* e, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int result = ombrel_http_exchange_answer_vprintf(e, 200, nullptr, format, args);
    va_end(args);
    return result;
}

int do_nothing(exchange*, void*) {
    return 0;
}
int fail(exchange*, void*) {
    return -1;
}

int break_off(exchange* e, void*) {
    EXPECT_EQ(0, ombrel_http_exchange_begin_answer(e, 200, nullptr, 10, nullptr, nullptr, nullptr));
    EXPECT_EQ(4, ombrel_http_exchange_write(e, "half", 4));
    EXPECT_EQ(-1, ombrel_http_exchange_write(e, "too much", 8));
    EXPECT_EQ(-1, ombrel_http_exchange_end_answer(e));
    return 0;
}

int write_chunks(exchange* e, void*) {
    EXPECT_EQ(-1, ombrel_http_exchange_write(e, "early", 5));
    EXPECT_EQ(0, ombrel_http_exchange_begin_answer(e, 200, nullptr, -1, nullptr, nullptr, nullptr));
    EXPECT_EQ(3, ombrel_http_exchange_write(e, "one", 3));
    EXPECT_EQ(0, ombrel_http_exchange_write(e, "", 0));
    EXPECT_EQ(17, ombrel_http_exchange_write(e, "seventeen letters", 17));
    return ombrel_http_exchange_end_answer(e);
}

int refuse_others(exchange* e, void*) {
    if (strcmp(ombrel_http_exchange_get_path(e), "/private") != 0)
        return 0;
    EXPECT_EQ(0, ombrel_http_exchange_set_user(e, "ann"));
    EXPECT_STREQ("ann", ombrel_http_exchange_get_user(e));
    return ombrel_http_exchange_answer_error(e, 401, nullptr);
}

int count_pieces(exchange* e, const void* data, size_t size, void* context) {
    auto& sum = *static_cast<size_t*>(context);
    sum += size;
    return data != nullptr ? 0
                           : ombrel_http_exchange_answer_printf(e, 200, nullptr, "%d", static_cast<int>(sum));
}
int take_pieces(exchange* e, void* sum) {
    *static_cast<size_t*>(sum) = 0;
    return ombrel_http_exchange_read_body(e, count_pieces, sum);
}

/// A guard that knows one password.
struct login_guard {
    explicit login_guard(const ombrel_secret_options_t* how = nullptr) {
        char secret[def_ombrel_secret_text_size];
        EXPECT_LT(0, ombrel_make_secret(secret, sizeof secret, "ann", "pw", how));
        const std::string line = std::string("ann:") + secret;
        ombrel_http_auth_server_options_t options;
        ombrel_init_http_auth_server_options(&options);
        options.m_schemes = def_ombrel_http_auth_any;
        options.m_secrets = secrets = ombrel_open_secret_text(line.data(), line.size(), nullptr, nullptr);
        server = ombrel_open_http_auth_server(&options);
    }
    ~login_guard() {
        ombrel_close_http_auth_server(server);
        ombrel_close_secret_list(secrets);
    }
    ombrel_secret_list_t* secrets;
    ombrel_http_auth_server_t* server;
};

int tell_user(exchange* e, void*) {
    const char* const user = ombrel_http_exchange_get_user(e);
    return ombrel_http_exchange_answer(e, 200, nullptr, user, strlen(user));
}

class HttpServer : public http_dialogue {
protected:
    /// A server with a route for each handler above.
    void open_all() {
        options_.m_body_limit = 20;
        options_.m_guard = refuse_others;
        open();
        route("POST", "/echo", echo);
        route("GET", "/name", tell_name);
        route("GET", "/all", tell_request);
        route("HEAD", "/all", tell_request, const_cast<char*>("head"));
        route(nullptr, "/sub/*", tell_request, const_cast<char*>("any"));
        route("PUT", "/sub/*", tell_request, const_cast<char*>("put"));
        route("PUT", "/sub/deep/*", tell_request, const_cast<char*>("deep"));
        route("GET", "/nothing", do_nothing);
        route("GET", "/failing", fail);
        route("GET", "/broken", break_off);
        route("GET", "/chunks", write_chunks);
        streamed_route("POST", "/pieces", take_pieces, &sum_);
        streamed_route("POST", "/deaf", tell_request);
    }
    size_t sum_ = 0;
};

int keep_for_later(exchange* e, void* context) {
    *static_cast<exchange**>(context) = e;
    return ombrel_http_exchange_defer(
        e, [](exchange*, int, void*) {}, nullptr);
}

struct answered_request {
    const char *request, *expected;
};

TEST_F(HttpServer, LetsAGuardAskForPasswords) {
    const login_guard guard;
    options_.m_guard = ombrel_guard_http_exchange;
    options_.m_guard_context = guard.server;
    open();
    route("GET", "/", tell_user);
    const struct {
        const char* expected;
        const char* field;
    } cases[] = {{"200", "Authorization: Basic YW5uOnB3\r\n"}, // ann:pw
                 {"401", ""},
                 {"401", "Authorization: Basic YW5uOnB4\r\n"}, // ann:px
                 {"401", "Authorization: Other x\r\n"},
                 {"400", "Authorization: Basic !\r\n"},
                 {"400", "Authorization: Basic YW5uOnB3\r\nAuthorization: Basic YW5uOnB3\r\n"}};
    for (const auto& [expected, field] : cases) {
        const std::string heard =
            talk(std::string("GET / HTTP/1.1\r\nHost: a\r\nConnection: close\r\n") + field + "\r\n");
        const bool is_asked = expected == std::string("401");
        EXPECT_EQ(expected, heard.substr(9, 3)) << field;
        EXPECT_EQ(expected == std::string("200"), heard.ends_with("\r\n\r\nann")) << field;
        for (const char* challenge : {"Digest ", "algorithm=SHA-256", "algorithm=MD5", "Basic realm="})
            EXPECT_EQ(is_asked, heard.find(challenge) != std::string::npos) << challenge << field;
    }
}

TEST_F(HttpServer, ServesOthersWhilePasswordsAreChecked) {
    const ombrel_secret_options_t strong{def_ombrel_secret_strong, nullptr, 100000};
    const login_guard guard(&strong);
    options_.m_guard = [](exchange*, void* calls) { return ++*static_cast<int*>(calls), 0; };
    int guarded = 0;
    options_.m_guard_context = &guarded;
    open();
    route("GET", "/name", tell_name);
    const ombrel_http_route_t asking{nullptr,      "/in",     0,      -1, ombrel_guard_http_exchange,
                                     guard.server, tell_user, nullptr};
    EXPECT_EQ(0, ombrel_http_server_add_route_ex(server_, &asking));
    const std::string free = "GET /name?name=bob HTTP/1.1\r\nHost: h\r\n\r\n";
    const auto log_in = [](const char* proof) {
        return std::string("POST /in HTTP/1.1\r\nHost: h\r\nContent-Length: 2\r\nAuthorization: Basic ") +
               proof + "\r\n\r\nxy";
    };
    const struct {
        const char *proof, *expected;
        int others;                                               // at least so many are served meanwhile
    } cases[] = {{"YW5uOnB4", "401 close 401 Unauthorized\n", 8}, // ann:px
                 {"YW5uOnB3", "200 ann | 200 bob", 8},
                 {"YW5uOnB3", "200 ann | 200 bob", 0},             // remembered
                 {"Ym9iOnB3", "401 close 401 Unauthorized\n", 8}}; // bob:pw
    for (const auto& [proof, expected, others] : cases) {
        const owned_socket s = connect();
        int served = 0;
        char byte;
        guarded = 0;
        say(s, log_in(proof) + free);
        for (; ombrel_recv_now(s, &byte, 1) == def_ombrel_socket_would_block && served < 100; served++)
            EXPECT_EQ("200 close bob", in_short(talk("GET /name?name=bob HTTP/1.1\r\nHost: h\r\n"
                                                     "Connection: close\r\n\r\n")));
        EXPECT_LE(others, served);
        ombrel_shutdown_socket(s, def_ombrel_shutdown_send);
        EXPECT_EQ(expected, in_short(byte + hear(s)));
        EXPECT_EQ(served + (expected[0] == '2' ? 2 : 1), guarded) << "each is asked once";
    }
    for (int i = 0; i < 2; i++) { // one goes meanwhile, the other when the server is closed
        const owned_socket s = connect();
        say(s, log_in("YW5uOnB5"));
        if (i == 0)
            continue;
        EXPECT_TRUE(turn_until([&] { return counts().m_clients == 1; }));
        EXPECT_EQ(0, ombrel_close_http_server(std::exchange(server_, nullptr)));
    }
}

TEST_F(HttpServer, AnswersThatComeLateAreNotTakenForStuckOnes) {
    exchange* waiting = nullptr;
    open();
    route("GET", "/later", keep_for_later, &waiting);
    const owned_socket s = connect();
    say(s, "GET /later HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n");
    ASSERT_TRUE(turn_until([&] { return waiting != nullptr; }));
    std::this_thread::sleep_for(
        std::chrono::milliseconds(300)); // so that the next look at the clients is due
    EXPECT_EQ(0, ombrel_http_exchange_answer(waiting, 200, nullptr, "late", 4));
    EXPECT_EQ("200 close late", in_short(hear(s)));
}

TEST_F(HttpServer, AnswersWholeDialogues) {
#define HOST "Host: h\r\n"
#define END " HTTP/1.1\r\nHost: h\r\n\r\n"
    static constexpr answered_request cases[] = {
        // Routes.
        {"GET /all?a=b&c HTTP/1.1\r\nX-One: 1\r\nHost: h:1\r\n\r\n",
         "200 - GET,/all,,a=b&c,h:1,1.1,X-One:1,1,0"},
        {"GET http://a.b:1?/all HTTP/1.1\r\nHost: h\r\n\r\n", "404 404 Not Found\n"},
        {"GET http://a.b:1/all HTTP/1.1\r\nHost: h\r\n\r\n", "200 - GET,/all,,-,a.b:1,1.1,Host:h,-,0"},
        {"GET /%61ll" END, "200 - GET,/all,,-,h,1.1,Host:h,-,0"},
        {"GET /ALL" END, "404 404 Not Found\n"},
        {"DELETE /sub/x%2F%20y" END, "200 any DELETE,/sub/x/ y,x/ y,-,h,1.1,Host:h,-,0"},
        {"PUT /sub/" END, "200 put PUT,/sub/,,-,h,1.1,Host:h,-,0"},
        {"PUT /sub/deep/x" END, "200 deep PUT,/sub/deep/x,x,-,h,1.1,Host:h,-,0"},
        {"GET /sub" END, "404 404 Not Found\n"},
        {"POST /all HTTP/1.1\r\nHost: h\r\nContent-Length: 2\r\n\r\nab", "405 405 Method Not Allowed\n"},
        {"OPTIONS /all" END, "204"},
        {"OPTIONS *" END, "404 404 Not Found\n"},
        // Values of the query; a NUL never cuts one.
        {"GET /name?x=1&name=a%2Bb+c%26&name=2" END, "200 a+b c&"},
        {"GET /name?n%61me" END, "200"},
        {"GET /name?other=1" END, "400 not_found"},
        {"GET /name?name=a%00b" END, "400 violation"},
        {"GET /name?name=a%zz" END, "400 violation"},
        {"GET /name?name=0123456789abcdef" END, "400 too_large"},
        {"GET /name%00" END, "400 close 400 Bad Request: the path is no proper one\n"},
        {"GET /%2" END, "400 close 400 Bad Request: the path is no proper one\n"},
        // Bodies.
        {"POST /echo HTTP/1.1\r\n" HOST "Content-Length: 3\r\n\r\nabcPOST /echo HTTP/1.1\r\n" HOST
         "Transfer-Encoding: chunked\r\n\r\n2\r\nde\r\n1;x=y\r\nf\r\n0\r\nT: 1\r\n\r\nGET /nothing" END,
         "200 abc | 200 def | 500 close 500 Internal Server Error\n"},
        {"POST /echo HTTP/1.1\r\n" HOST "Content-Length: 0\r\n\r\nGET /name?name=x" END, "200 | 200 x"},
        {"POST /echo HTTP/1.1\r\n" HOST "Expect: 100-Continue\r\nContent-Length: 3\r\n\r\nabc",
         "100 | 200 abc"},
        {"POST /echo HTTP/1.1\r\n" HOST "Expect: miracles\r\nContent-Length: 3\r\n\r\nabcGET /all" END,
         "417 close 417 Expectation Failed\n"},
        {"POST /pieces HTTP/1.1\r\n" HOST
         "Expect: 100-continue\r\nContent-Length: 3\r\n\r\nabcGET /name?name=x" END,
         "100 | 200 3 | 200 x"},
        {"POST /pieces HTTP/1.1\r\n" HOST "Content-Length: 0\r\n\r\nGET /name?name=x" END, "200 0 | 200 x"},
        {"POST /pieces HTTP/1.1\r\n" HOST "Transfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n0\r\n\r\n", "200 3"},
        // What was not read to its end is never taken for the next request.
        {"POST /deaf HTTP/1.1\r\n" HOST "Content-Length: 10\r\n\r\nGET /all" END,
         "200 close - POST,/deaf,,-,h,1.1,Host:h,-,10"},
        {"POST /private HTTP/1.1\r\n" HOST "Content-Length: 10\r\n\r\nGET /all" END,
         "401 close 401 Unauthorized\n"},
        {"GET /private HTTP/1.1\r\n" HOST "\r\nGET /name?name=x" END, "401 401 Unauthorized\n | 200 x"},
        {"POST /echo HTTP/1.1\r\n" HOST "Content-Length: 21\r\n\r\nGET /all" END,
         "413 close 413 Content Too Large: body too large\n"},
        {"POST /echo HTTP/1.1\r\n" HOST
         "Transfer-Encoding: chunked\r\n\r\n15\r\n012345678901234567890\r\n0\r\n\r\nGET /all" END,
         "413 close 413 Content Too Large: body too large\n"},
        {"POST /pieces HTTP/1.1\r\n" HOST "Transfer-Encoding: chunked\r\n\r\n3\r\nabc\r\nxyz\r\nGET /all" END,
         "400 close 400 Bad Request: chunk size that is no number\n"},
        {"POST /echo HTTP/1.1\r\n" HOST "Content-Length: 3\r\n\r\na",
         "400 close 400 Bad Request: message broken off\n"},
        {"GET /all HTTP/1.1\r\nHo", "400 close 400 Bad Request: message broken off\n"},
        {"\r\n\r\n", ""},
        {"", ""},
        // How long connections last.
        {"GET /name?name=x HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\nGET /all" END, "200 close x"},
        {"GET /name?name=x HTTP/1.0\r\n\r\nGET /all" END, "200 close x"},
        {"GET /name?name=x HTTP/1.0\r\nConnection: keep-alive\r\n\r\nGET /name?name=y" END, "200 x | 200 y"},
        {"GET /all HTTP/1.1\nHost: h\n\n", "400 close 400 Bad Request: line end without carriage return\n"},
        {"GET /all HTTP/2.0\r\n\r\n",
         "505 close 505 HTTP Version Not Supported: neither HTTP/1.0 nor HTTP/1.1\n"},
        // Handlers.
        {"GET /nothing" END, "500 close 500 Internal Server Error\n"},
        {"GET /failing HTTP/1.1\r\nHost: h\r\n\r\nGET /all" END, "500 close 500 Internal Server Error\n"},
        {"GET /broken" END, "200 half..."},
        {"GET /chunks HTTP/1.1\r\nHost: h\r\n\r\nGET /name?name=x" END,
         "200 chunks 3\r\none\r\n11\r\nseventeen letters\r\n0\r\n\r\n | 200 x"},
    };
    open_all();
    for (const auto& [request, expected] : cases)
        for (const size_t piece : {SIZE_MAX, size_t{1}})
            EXPECT_EQ(expected, in_short(talk(request, piece))) << request;
    EXPECT_EQ(in_short("HTTP/1.1 200 OK\r\nContent-Length: 38\r\n\r\n", true),
              in_short(talk("HEAD /all" END), true));
    const std::string old = talk("GET /chunks HTTP/1.0\r\n\r\n"), allowed = talk("OPTIONS /all" END);
    EXPECT_NE(std::string::npos, old.find("\r\n\r\noneseventeen letters"));
    EXPECT_NE(std::string::npos, allowed.find("\r\nAllow: GET, HEAD, OPTIONS\r\n"));
    EXPECT_EQ(0u, counts().m_clients);
    EXPECT_EQ(0u, counts().m_memory);
}

TEST_F(HttpServer, RefusesWhatCouldSplitAnAnswer) {
    open();
    route("GET", "/", [](exchange* e, void*) {
        for (const auto& [name, value] : {std::pair{"X\r\nY", "z"},
                                          {"X", "a\r\nb: c"},
                                          {"X", "a\nb"},
                                          {"", "a"},
                                          {"X Y", "a"},
                                          {"content-length", "1"},
                                          {"Transfer-Encoding", "chunked"},
                                          {"Connection", "close"},
                                          {"Date", "now"}})
            EXPECT_EQ(-1, ombrel_http_exchange_add_field(e, name, value)) << name;
        EXPECT_EQ(-1, ombrel_http_exchange_add_field(e, "X", std::string(20000, 'x').c_str()));
        EXPECT_EQ(0, ombrel_http_exchange_add_field(e, "X", "\"ok\""));
        EXPECT_EQ(-1, ombrel_http_exchange_answer(e, 200, "a\r\nb: c", nullptr, 0));
        EXPECT_EQ(-1, ombrel_http_exchange_answer(e, 199, nullptr, nullptr, 0));
        EXPECT_EQ(-1, ombrel_http_exchange_answer(e, 600, nullptr, nullptr, 0));
        EXPECT_EQ(-1, ombrel_http_exchange_answer(e, 200, nullptr, nullptr, 1));
        EXPECT_EQ(0, ombrel_http_exchange_answer(e, 200, "a/b", "x", 1));
        EXPECT_EQ(-1, ombrel_http_exchange_answer(e, 200, "a/b", "x", 1));
        EXPECT_EQ(-1, ombrel_http_exchange_add_field(e, "X", "late"));
        return 0;
    });
    const std::string answer = talk("GET / HTTP/1.1\r\nHost: h\r\n\r\n");
    const size_t date = answer.find("\r\nDate: "), date_end = answer.find("\r\n", date + 2);
    EXPECT_EQ("HTTP/1.1 200 OK\r\nContent-Type: a/b\r\nContent-Length: 1\r\nX: \"ok\"\r\n\r\nx",
              answer.substr(0, date) + answer.substr(date_end));
}

/// What became of exchanges that were answered later.
struct later {
    exchange* waiting = nullptr;
    int ended = 0, outcome = -1;
};

int wait(exchange* e, void* context) {
    static_cast<later*>(context)->waiting = e;
    const auto on_end = [](exchange*, int outcome, void* told) {
        static_cast<later*>(told)->outcome = outcome;
        static_cast<later*>(told)->ended++;
    };
    EXPECT_EQ(0, ombrel_http_exchange_defer(e, on_end, context));
    EXPECT_EQ(-1, ombrel_http_exchange_defer(e, on_end, context));
    return 0;
}

/// Each step has its time, and what is tried at another leaves all as it was.
TEST_F(HttpServer, TakesEachStepInItsTurn) {
    open();
    route("POST", "/whole", [](exchange* e, void*) {
        size_t size;
        char value[8];
        const char *name, *text;
        const std::string long_type(9000, 'x');
        static size_t sum;
        expect_refused({
            [=] { return ombrel_http_exchange_answer(e, 200, long_type.c_str(), "x", 1); }, // head of no room
            [=] {
                return ombrel_http_exchange_begin_answer(e, 200, long_type.c_str(), 1, nullptr, nullptr,
                                                         nullptr);
            },
            [=] { return ombrel_http_exchange_begin_answer(e, 99, "a/b", 1, nullptr, nullptr, nullptr); },
            [=] { return ombrel_http_exchange_begin_answer(e, 200, "a\n", 1, nullptr, nullptr, nullptr); },
            [=] { return ombrel_http_exchange_end_answer(e); },
            [=] { return ombrel_http_exchange_write(e, "x", 1); },
            [=] { return ombrel_http_exchange_read_body(e, count_pieces, &sum); }, // it was read whole
            [=] { return ombrel_http_exchange_get_parameter(e, "a", nullptr, 1); },
            [=] { return ombrel_http_exchange_get_parameter(e, nullptr, nullptr, 0); },
            [=] { return ombrel_http_exchange_get_body(e, nullptr); },
            [=] { return ombrel_http_exchange_set_user(e, nullptr); },
        });
        EXPECT_EQ(nullptr, ombrel_http_exchange_get_field(e, nullptr));
        expect_refused({[&] { return ombrel_http_exchange_get_parameter(e, "a", value, 2); }},
                       def_ombrel_fault_too_large);
        EXPECT_EQ(3, ombrel_http_exchange_get_parameter(e, "a", value, 4));
        EXPECT_EQ(1, ombrel_http_exchange_get_field_at(e, 0, &name, &text));
        EXPECT_EQ(0, ombrel_http_exchange_get_field_at(e, 9, &name, &text));
        EXPECT_EQ(0, memcmp("body", ombrel_http_exchange_get_body(e, &size), 4));
        EXPECT_EQ(0, ombrel_http_exchange_begin_answer(e, 200, nullptr, 2, nullptr, nullptr, nullptr));
        expect_refused({
            [=] { return ombrel_http_exchange_begin_answer(e, 200, nullptr, 1, nullptr, nullptr, nullptr); },
            [=] { return ombrel_http_exchange_answer(e, 200, nullptr, "x", 1); },
            [=] { return ombrel_http_exchange_answer_printf(e, 200, nullptr, "x"); },
        });
        EXPECT_EQ(2, ombrel_http_exchange_write(e, "ok", 2));
        return ombrel_http_exchange_end_answer(e);
    });
    streamed_route("POST", "/pieces", [](exchange* e, void*) {
        size_t size = 9;
        static size_t sum;
        sum = 0;
        expect_refused({
            [=] { return ombrel_http_exchange_read_body(e, nullptr, nullptr); },
            [&] { return ombrel_http_exchange_get_body(e, &size); },
        });
        EXPECT_EQ(0, ombrel_http_exchange_read_body(e, count_pieces, &sum));
        expect_refused({[=] { return ombrel_http_exchange_read_body(e, count_pieces, &sum); }});
        expect_refused({[=] { return ombrel_close_http_server(ombrel_http_exchange_get_server(e)); }},
                       def_ombrel_fault_busy);
        return 0;
    });
    const std::string rest = "?a=b%20c HTTP/1.1\r\nHost: h\r\nContent-Length: 4\r\n\r\nbody";
    EXPECT_EQ("200 ok | 200 4", in_short(talk("POST /whole" + rest + "POST /pieces" + rest)));
}

TEST_F(HttpServer, BreaksOffAnAnswerWhoseBodyTurnsOutToBeNone) {
    open();
    streamed_route("POST", "/", [](exchange* e, void*) {
        EXPECT_EQ(0, ombrel_http_exchange_read_body(
                         e, [](auto...) { return 0; }, nullptr));
        EXPECT_EQ(0, ombrel_http_exchange_begin_answer(e, 200, nullptr, 9, nullptr, nullptr, nullptr));
        EXPECT_EQ(4, ombrel_http_exchange_write(e, "half", 4));
        return 0;
    });
    const std::string head = "POST / HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: chunked\r\n\r\n";
    EXPECT_EQ("200 close half...", in_short(talk(head + "2\r\nab\r\nnone\r\n")));
}

TEST_F(HttpServer, AnswersLaterInOrder) {
    later one;
    open();
    route("GET", "/later", wait, &one);
    route("GET", "/name", tell_name);
    const owned_socket s = connect();
    say(s, "GET /later" END "GET /name?name=x" END);
    ASSERT_TRUE(turn_until([&] { return one.waiting != nullptr; }));
    EXPECT_EQ(0, one.ended);
    EXPECT_EQ(0, say_late(one.waiting, "%s", "late"));
    ombrel_shutdown_socket(s, def_ombrel_shutdown_send);
    EXPECT_EQ("200 late | 200 x", in_short(hear(s)));
    EXPECT_EQ(1, one.ended);
    EXPECT_EQ(def_ombrel_http_exchange_done, one.outcome);
}

TEST_F(HttpServer, NoticesClientsThatGoWhileTheirAnswersAreMade) {
    later one;
    open();
    route("GET", "/later", wait, &one);
    for (const bool closes_half_first : {false, true})
        for (const bool asks_on : {false, true}) {
            one = {};
            owned_socket s = connect();
            say(s, std::string("GET /later" END) + (asks_on ? "GET /later" END : ""));
            ASSERT_TRUE(turn_until([&] { return one.waiting != nullptr; }));
            if (closes_half_first)
                ombrel_shutdown_socket(s, def_ombrel_shutdown_send);
            turn();
            EXPECT_EQ(0, one.ended) << "it may still be listening";
            ombrel_set_linger_socket(s, 1, 0);
            s.close();
            EXPECT_TRUE(turn_until([&] { return one.ended == 1; }));
            EXPECT_EQ(def_ombrel_http_exchange_abandoned, one.outcome);
            EXPECT_EQ(0u, counts().m_clients);
        }
    EXPECT_EQ(4u, counts().m_abandoned);
}

/// Sends so many bytes, as the client takes them.
struct long_answer {
    size_t left, most_memory = 0;
    int ended = 0;
};

int write_on(exchange* e, void* context) {
    auto& answer = *static_cast<long_answer*>(context);
    static const std::string bytes(100'000, 'x');
    ombrel_http_server_counts_t counts;
    while (answer.left > 0) {
        const size_t size = std::min(answer.left, bytes.size());
        const int64_t taken = ombrel_http_exchange_write(e, bytes.data(), size);
        EXPECT_LE(0, taken);
        answer.left -= static_cast<size_t>(taken);
        ombrel_http_server_get_counts(ombrel_http_exchange_get_server(e), &counts);
        answer.most_memory = std::max(answer.most_memory, counts.m_memory);
        if (static_cast<size_t>(taken) < size)
            return 0;
    }
    return ombrel_http_exchange_end_answer(e);
}

int begin_long(exchange* e, void* context) {
    const bool in_chunks = ombrel_http_exchange_get_query(e) != nullptr;
    return ombrel_http_exchange_begin_answer(
        e, 200, nullptr, in_chunks ? -1 : static_cast<int64_t>(static_cast<long_answer*>(context)->left),
        write_on, [](exchange*, int, void* told) { static_cast<long_answer*>(told)->ended++; }, context);
}

TEST_F(HttpServer, BreaksOffWhatAHandlerAborts) {
    later one;
    open();
    route("GET", "/later", wait, &one);
    const owned_socket s = connect();
    say(s, "GET /later" END);
    ASSERT_TRUE(turn_until([&] { return one.waiting != nullptr; }));
    EXPECT_EQ(0, ombrel_http_exchange_abort(one.waiting));
    EXPECT_EQ(1, one.ended);
    EXPECT_EQ(def_ombrel_http_exchange_failed, one.outcome);
    EXPECT_EQ("", hear(s));
    EXPECT_EQ(1, one.ended);
}

TEST_F(HttpServer, TellsNoEndOfABodyAfterAnAbort) {
    later one;
    open();
    streamed_route(
        "GET", "/held",
        [](exchange* e, void* context) {
            static_cast<later*>(context)->waiting = e;
            ombrel_http_exchange_begin_answer(
                e, 200, nullptr, -1, nullptr,
                [](exchange*, int, void* told) { static_cast<later*>(told)->ended++; }, context);
            return ombrel_http_exchange_hold_body(e, 1) |
                   ombrel_http_exchange_read_body(
                       e, [](exchange*, const void*, size_t, void*) { return ADD_FAILURE(), 0; }, context);
        },
        &one);
    const owned_socket s = connect();
    say(s, "GET /held" END);
    ASSERT_TRUE(turn_until([&] { return one.waiting != nullptr; }));
    EXPECT_EQ(0, ombrel_http_exchange_hold_body(one.waiting, 0));
    EXPECT_EQ(0, ombrel_http_exchange_abort(one.waiting));
    hear(s);
    EXPECT_EQ(1, one.ended);
}

TEST_F(HttpServer, HoldsNoMoreOfALongAnswerThanItsLimit) {
    constexpr size_t size = 30'000'000;
    long_answer answer{};
    options_.m_output_limit = 64 << 10;
    open();
    route("GET", "/long", begin_long, &answer);
    for (const char* target : {"/long", "/long?chunks"}) {
        answer = {size};
        const owned_socket s = connect();
        say(s, std::string("GET ") + target + END);
        for (int i = 0; i < 100; i++)
            turn();
        EXPECT_LT(size / 10, answer.left) << "nobody reads yet";
        ombrel_shutdown_socket(s, def_ombrel_shutdown_send);
        const std::string heard = hear(s);
        EXPECT_EQ(size, static_cast<size_t>(std::count(heard.begin(), heard.end(), 'x')));
        EXPECT_TRUE(turn_until([&] { return answer.ended == 1; }));
        EXPECT_GE((64u << 10) + 4096, answer.most_memory);
    }
}

TEST_F(HttpServer, LeavesMemoryForOthersBesideClientsThatTakeNothing) {
    constexpr size_t size = 10'000'000;
    long_answer answers[20];
    std::vector<owned_socket> crowd;
    options_.m_memory_limit = 1 << 20;
    open();
    route("POST", "/echo", echo);
    for (long_answer& answer : answers) {
        answer = {size};
        const std::string path = "/" + std::to_string(&answer - answers);
        route("GET", path.c_str(), begin_long, &answer);
        crowd.push_back(connect());
        say(crowd.back(), "GET " + path + " HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n");
    }
    for (int i = 0; i < 200; i++)
        turn();
    EXPECT_EQ("200 ok", in_short(talk("POST /echo HTTP/1.1\r\nHost: h\r\nContent-Length: 2\r\n\r\nok")));
    for (const owned_socket& s : crowd)
        EXPECT_LT(size, hear(s).size()) << "it is whole";
}

TEST_F(HttpServer, CostsMemoryAsBodiesComeAndRefusesBeyondTheLimit) {
    options_.m_memory_limit = 300'000;
    open();
    route("POST", "/echo", echo);
    std::vector<owned_socket> crowd;
    for (const char* field : {"Content-Length: 1000000", "Transfer-Encoding: chunked"})
        for (int i = 0; i < 50; i++) {
            crowd.push_back(connect());
            say(crowd.back(), std::string("POST /echo HTTP/1.1\r\nHost: h\r\n") + field + "\r\n\r\n");
        }
    ASSERT_TRUE(turn_until([&] { return counts().m_requests == 100; }));
    EXPECT_GE(100u * 1024, counts().m_memory) << "nothing is held for what may come";
    EXPECT_EQ("503 close 503 Service Unavailable: no memory for the body\n",
              in_short(talk("POST /echo HTTP/1.1\r\nHost: h\r\nContent-Length: 999999\r\n\r\n" +
                            std::string(999'999, 'b') + "GET /echo" END)));
    crowd.clear();
    EXPECT_TRUE(turn_until([&] { return counts().m_memory == 0; }));
    EXPECT_EQ("200 ok", in_short(talk("POST /echo HTTP/1.1\r\nHost: h\r\nContent-Length: 2\r\n\r\nok")));
}

TEST_F(HttpServer, HoldsABodyUntilItIsWanted) {
    struct held {
        exchange* e = nullptr;
        size_t came = 0;
        bool ended = false;
    } body;
    options_.m_body_limit = -1;
    open();
    streamed_route(
        "POST", "/held",
        [](exchange* e, void* context) {
            static_cast<held*>(context)->e = e;
            EXPECT_EQ(0, ombrel_http_exchange_defer(
                             e, [](exchange*, int, void*) {}, nullptr));
            return ombrel_http_exchange_read_body(
                e,
                [](exchange* same, const void* data, size_t size, void* told) {
                    static_cast<held*>(told)->came += size;
                    static_cast<held*>(told)->ended = data == nullptr;
                    return ombrel_http_exchange_hold_body(same, 1);
                },
                context);
        },
        &body);
    const owned_socket s = connect();
    say(s, "POST /held HTTP/1.1\r\nHost: h\r\nContent-Length: 60000\r\n\r\n");
    say(s, std::string(60000, 'b'));
    size_t before = 0;
    while (!body.ended && turn_until([&] { return body.came > before || body.ended; })) {
        before = body.came;
        for (int i = 0; i < 50; i++)
            turn();
        EXPECT_EQ(before, body.came) << "it is held";
        ombrel_http_exchange_hold_body(body.e, 0);
    }
    EXPECT_EQ(60000u, body.came);
    EXPECT_EQ(0, ombrel_http_exchange_answer_error(body.e, 200, nullptr));
    ombrel_shutdown_socket(s, def_ombrel_shutdown_send);
    EXPECT_EQ("200 200 OK\n", in_short(hear(s)));
}

TEST_F(HttpServer, AnswersLaterWhileItLooksForLateClients) {
    OMBREL_TEST_NEEDS_TIME_TRAVEL();
    time_travel clock;
    exchange* deferred = nullptr;
    open();
    route(
        "GET", "/later",
        [](exchange* e, void* context) {
            *static_cast<exchange**>(context) = e;
            return ombrel_http_exchange_defer(
                e, [](exchange*, int, void*) {}, nullptr);
        },
        &deferred);
    const owned_socket s = connect();
    say(s, "GET /later HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n");
    ASSERT_TRUE(turn_until([&] { return deferred != nullptr; }));
    clock.skip_seconds(40);
    EXPECT_EQ(0, ombrel_http_exchange_answer(deferred, 200, nullptr, "later", 5));
    EXPECT_EQ("200 close later", in_short(hear(s)));
}

TEST_F(HttpServer, EndsWhatTakesTooLong) {
    OMBREL_TEST_NEEDS_TIME_TRAVEL();
    static constexpr struct {
        const char *said, *expected;
        long seconds; ///< after which it is still there; one second more ends it
    } cases[] = {
        {"", "", 9},
        {"GET / HT", "408 close 408 Request Timeout: the request did not come in time\n", 9},
        {"GET /name?name=x" END, "200 x", 29},
        {"POST /echo HTTP/1.1\r\nHost: h\r\nContent-Length: 9\r\n\r\nabc",
         "408 close 408 Request Timeout: the request did not come in time\n", 9},
        {"GET /later" END, "503 close 503 Service Unavailable: the answer takes too long\n", 59},
    };
    later one;
    open();
    route("POST", "/echo", echo);
    route("GET", "/name", tell_name);
    route("GET", "/later", wait, &one);
    for (const auto& [said, expected, seconds] : cases) {
        time_travel clock;
        owned_socket s = connect();
        say(s, said);
        for (int i = 0; i < 50; i++)
            turn();
        clock.skip_seconds(seconds - 1);
        for (int i = 0; i < 50; i++)
            turn();
        EXPECT_EQ(1u, counts().m_clients) << said;
        clock.skip_seconds(2);
        EXPECT_EQ(expected, in_short(hear(s))) << said;
        s.close();
        turn_until([&] { return counts().m_clients == 0; });
    }
    EXPECT_EQ(def_ombrel_http_exchange_failed, one.outcome);
    EXPECT_EQ(2u, counts().m_late_requests);
}

TEST_F(HttpServer, CutsOffWhoTakesNothingAndNobodyWhoIsSlow) {
    OMBREL_TEST_NEEDS_TIME_TRAVEL();
    constexpr int requests = 60;
    const std::string body(100'000, 'b');
    open();
    route(
        "GET", "/big",
        [](exchange* e, void* text) {
            return ombrel_http_exchange_answer(e, 200, nullptr, static_cast<std::string*>(text)->data(),
                                               static_cast<std::string*>(text)->size());
        },
        const_cast<std::string*>(&body));
    std::string pipeline;
    for (int i = 0; i < requests; i++)
        pipeline += "GET /big" END;
    time_travel clock;
    const owned_socket slow = connect();
    say(slow, pipeline);
    size_t heard = 0;
    for (int i = 0; i < 16; i++) { // 160 seconds in all; a busy host may be late to tell what was taken
        clock.skip_seconds(10);
        heard += hear(slow, 250'000).size();
    }
    ombrel_shutdown_socket(slow, def_ombrel_shutdown_send);
    EXPECT_LT(body.size() * requests, heard + hear(slow).size());

    const owned_socket idle = connect();
    say(idle, pipeline);
    for (int i = 0; i < 50; i++)
        turn();
    clock.skip_seconds(31);
    EXPECT_TRUE(turn_until([&] { return counts().m_clients == 0; }));
}

TEST_F(HttpServer, RefusesClientsBeyondItsLimit) {
    options_.m_client_limit = 2;
    open();
    route("GET", "/name", tell_name);
    const owned_socket first = connect(), second = connect(), third = connect();
    EXPECT_EQ("503 close 503 Service Unavailable: there is no room just now\n", in_short(hear(third)));
    EXPECT_EQ(1u, counts().m_refused);
    EXPECT_EQ(2u, counts().m_clients);
}

TEST_F(HttpServer, StopsWhenItsClientsHaveTheirAnswers) {
    for (const int limit_ms : {-1, 0}) {
        later one;
        int stopped = 0;
        open();
        route("GET", "/later", wait, &one);
        const owned_socket idle = connect(), busy = connect();
        say(busy, "GET /later" END);
        ASSERT_TRUE(turn_until([&] { return one.waiting != nullptr; }));
        EXPECT_EQ(0, ombrel_http_server_stop(
                         server_, limit_ms,
                         [](ombrel_http_server_t*, void* told) { ++*static_cast<int*>(told); }, &stopped));
        EXPECT_EQ(-1, ombrel_http_server_stop(server_, 0, nullptr, nullptr));
        EXPECT_EQ(-1, ombrel_http_server_listen(server_, "127.0.0.1", 0));
        EXPECT_EQ("", hear(idle));
        if (limit_ms < 0) {
            EXPECT_EQ(0, stopped);
            EXPECT_EQ(0, ombrel_http_exchange_answer(one.waiting, 200, nullptr, "bye", 3));
            EXPECT_EQ("200 close bye", in_short(hear(busy)));
            ombrel_shutdown_socket(busy, def_ombrel_shutdown_send);
        }
        EXPECT_TRUE(turn_until([&] { return stopped == 1; }));
        EXPECT_EQ(limit_ms < 0 ? def_ombrel_http_exchange_done : def_ombrel_http_exchange_failed,
                  one.outcome);
        EXPECT_EQ(0, ombrel_close_http_server(std::exchange(server_, nullptr)));
    }
}

TEST_F(HttpServer, HandsOverConnectionsToOtherProtocols) {
    struct taken {
        owned_socket s;
        std::string behind;
    } other;
    open();
    route(
        "GET", "/upgrade",
        [](exchange* e, void* context) {
            auto& its = *static_cast<taken*>(context);
            char bytes[64];
            size_t size = 0;
            EXPECT_EQ(-1, ombrel_http_exchange_take_socket(e, bytes, 2, &size));
            EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
            its.s = ombrel_http_exchange_take_socket(e, bytes, sizeof bytes, &size);
            its.behind.assign(bytes, size);
            EXPECT_EQ(-1, ombrel_http_exchange_answer(e, 200, nullptr, nullptr, 0));
            return 0;
        },
        &other);
    const owned_socket s = connect();
    say(s, "GET /upgrade HTTP/1.1\r\nHost: h\r\nConnection: upgrade\r\nUpgrade: x\r\n\r\nmore");
    ASSERT_TRUE(turn_until([&] { return other.s >= 0 && counts().m_clients == 0; }));
    EXPECT_EQ("more", other.behind);
    EXPECT_EQ(2, ombrel_send_now(other.s, "hi", 2));
    EXPECT_EQ("hi", hear(s, 2));
}

TEST_F(HttpServer, LogsALineForEachAnswer) {
    std::string log;
    options_.m_log_handler = [](const char* line, void* context) {
        const std::string text = line;
        *static_cast<std::string*>(context) +=
            text.substr(0, text.find('[')) + text.substr(text.find(']') + 2) + "\n";
        return 0;
    };
    options_.m_log_context = &log;
    open_all();
    talk("GET / all" END);
    talk("GET /all?\"\\ HTTP/1.1\r\n\r\n");
    talk("GET /name?name=%1b%22 HTTP/1.0\r\n\r\n");
    talk("GET /private" END);
    EXPECT_EQ("127.0.0.1 - - \"-\" 400 48\n127.0.0.1 - - \"GET /all?\\x22\\x5C HTTP/1.1\" 400 31\n"
              "127.0.0.1 - - \"GET /name?name=%1b%22 HTTP/1.0\" 200 2\n"
              "127.0.0.1 - ann \"GET /private HTTP/1.1\" 401 17\n",
              log);
}

TEST_F(HttpServer, RefusesNonsense) {
    ombrel_http_server_options_t wrong;
    EXPECT_EQ(-1, ombrel_init_http_server_options(nullptr));
    EXPECT_EQ(nullptr, ombrel_open_http_server(nullptr, nullptr));
    for (int i = 0; i < 4; i++) {
        ombrel_init_http_server_options(&wrong);
        wrong.m_name = i == 0 ? "a\r\nb" : nullptr;
        wrong.m_head_limit = i == 1 ? 127 : 8192;
        wrong.m_field_limit = i == 2 ? 0 : 100;
        wrong.m_client_limit = i == 3 ? 0 : 1;
        EXPECT_EQ(nullptr, ombrel_open_http_server(base_, &wrong)) << i;
        EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    }
    open();
    for (const char* path : {"", "x", static_cast<const char*>(nullptr)})
        EXPECT_EQ(-1, ombrel_http_server_add_route(server_, "GET", path, echo, nullptr));
    EXPECT_EQ(-1, ombrel_http_server_add_route(server_, "G T", "/", echo, nullptr));
    EXPECT_EQ(-1, ombrel_http_server_add_route(server_, "GET", "/", nullptr, nullptr));
    EXPECT_EQ(nullptr, ombrel_alloc_http_server_url(server_, 1));
    EXPECT_EQ(nullptr, ombrel_alloc_http_server_url(nullptr, 0));
    EXPECT_EQ(nullptr, ombrel_http_exchange_get_path(nullptr));
    EXPECT_EQ(-1, ombrel_http_exchange_answer_error(nullptr, 200, nullptr));
    EXPECT_EQ(-1, ombrel_http_exchange_abort(nullptr));
}

} // namespace
