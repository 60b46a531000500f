// evhttp_peer PORT FILE: libevent's HTTP server, sending the bytes of a file for every request.

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include <event2/buffer.h>
#include <event2/event.h>
#include <event2/http.h>

namespace {

void answer(evhttp_request* request, void* context) {
    const auto& bytes = *static_cast<std::string*>(context);
    evbuffer* body = evbuffer_new();
    evbuffer_add(body, bytes.data(), bytes.size());
    evhttp_add_header(evhttp_request_get_output_headers(request), "Content-Type",
                      "text/plain; charset=utf-8");
    evhttp_send_reply(request, HTTP_OK, "OK", body);
    evbuffer_free(body);
}

} // namespace

int main(int count, char** arguments) {
    if (count != 3)
        return 2;
    std::ifstream file(arguments[2], std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(file), {}};
    event_base* base = event_base_new();
    evhttp* server = evhttp_new(base);
    evhttp_set_gencb(server, answer, &bytes);
    if (evhttp_bind_socket(server, "127.0.0.1", static_cast<uint16_t>(std::atoi(arguments[1]))) != 0)
        return 1;
    return event_base_dispatch(base) == 0 ? 0 : 1;
}
