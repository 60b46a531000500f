// The client of HTTP: a call ends once, with the whole answer or a fault, whatever memory there is.
#include <ombrel/event_base.h>
#include <ombrel/fault.h>
#include <ombrel/http_client.h>

#include "alloc_failure/injection.h"
#include "protocol/scripted_http_server.h"

namespace ombrel_test {
namespace {

struct outcome {
    ombrel_event_base_t* base = nullptr;
    int ends = 0;
    int fault = 0;
    std::string text;
};

int on_end(ombrel_http_call_t* call, void* context) {
    auto& seen = *static_cast<outcome*>(context);
    size_t size;
    const char* const body = ombrel_http_call_get_body(call, &size);
    seen.ends++;
    seen.fault = ombrel_http_call_get_error(call)->m_fault;
    if (seen.fault == def_ombrel_fault_none)
        seen.text = std::to_string(ombrel_http_call_get_status(call)) + " " + std::string(body, body + size);
    return 0;
}

int64_t give_nothing(ombrel_http_call_t*, void*, size_t, void*) {
    return 0;
}

/// A redirect, a challenge, and the answer in pieces.
const std::string dialogue = ASK "HTTP/1.1 307 x\r\nLocation: /b\r\nContent-Length: 0\r\n\r\n" ASK
                                 "HTTP/1.1 401 x\r\nWWW-Authenticate: Digest realm=\"r\", nonce=\"n\", "
                                 "qop=\"auth\", algorithm=SHA-256\r\nContent-Length: 0\r\n\r\n" ASK DRIP
                                 "HTTP/1.1 200 x\r\nX: y\r\nContent-Length: 5\r\n\r\nhello" STAY;

OMBREL_FAILURES(HttpClient, calls) {
    const scripted_http_server server({dialogue});
    outcome seen;
    seen.base = ombrel_new_event_base();
    ombrel_http_client_t* const client =
        fail.during([&] { return ombrel_open_http_client(seen.base, nullptr); });
    EXPECT_EQ(fail.hit(), client == nullptr);
    ombrel_http_client_request_t request;
    const std::string uri = server.uri();
    const ombrel_http_client_field_t field = {"X", "y"};
    ombrel_init_http_client_request(&request, uri.c_str());
    request.m_fields = &field;
    request.m_field_count = 1;
    request.m_user = "ann";
    request.m_password = "secret";
    request.m_body_handler = give_nothing;
    request.m_handler = on_end;
    request.m_context = &seen;
    if (client != nullptr) {
        const bool begun = fail.during([&] { return ombrel_http_client_call(client, &request); }) != nullptr;
        EXPECT_TRUE(begun || fail.hit());
        while (begun && seen.ends == 0)
            fail.during([&] { return ombrel_event_base_loop(seen.base, def_ombrel_event_loop_non_block); });
        EXPECT_EQ(begun ? 1 : 0, seen.ends);
        EXPECT_TRUE(!begun || seen.fault != def_ombrel_fault_none || seen.text == "200 hello") << seen.text;
        EXPECT_TRUE(fail.ever_hit() || seen.text == "200 hello") << seen.fault;
    }
    ombrel_close_http_client(client);
    ombrel_free_event_base(seen.base);
}

OMBREL_FAILURES(HttpClient, fetches) {
    const scripted_http_server server({ASK "HTTP/1.1 200 x\r\nX: y\r\nContent-Length: 5\r\n\r\nhello" STAY});
    ombrel_transfer_error_t error;
    ombrel_http_answer_t* const answer =
        fail.during([&] { return ombrel_fetch_http(server.uri().c_str(), 60000, &error); });
    EXPECT_TRUE(fail.hit() || answer != nullptr) << error.m_text;
    if (answer != nullptr) {
        EXPECT_STREQ("hello", answer->m_body);
    } else {
        EXPECT_EQ(ombrel_last_fault(), error.m_fault);
    }
    ombrel_free_http_answer(answer);
}

} // namespace
} // namespace ombrel_test
