// http_own PORT DIRECTORY: our server of HTTP as scripts/compare_http_servers.py measures it: /memory is the
// text of DIRECTORY/page, kept in memory; all else are files of the directory.

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include <ombrel/event_base.h>
#include <ombrel/http_directory.h>
#include <ombrel/http_server.h>
#include <ombrel/network.h>

namespace {

int answer_from_memory(ombrel_http_exchange_t* exchange, void* context) {
    const auto& text = *static_cast<std::string*>(context);
    return ombrel_http_exchange_answer(exchange, 200, "text/plain", text.data(), text.size());
}

} // namespace

int main(int count, char** arguments) {
    if (count != 3)
        return 2;
    const std::string directory = arguments[2];
    std::ifstream page(directory + "/page", std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(page), {}};
    ombrel_init_network();
    ombrel_event_base_t* const base = ombrel_new_event_base();
    ombrel_http_server_t* const server = ombrel_open_http_server(base, nullptr);
    ombrel_http_directory_t* const files = ombrel_open_http_directory(directory.c_str(), nullptr);
    ombrel_http_server_add_route(server, "GET", "/memory", answer_from_memory, &text);
    ombrel_http_server_add_route(server, "GET", "/*", ombrel_serve_http_directory, files);
    if (ombrel_http_server_listen(server, "127.0.0.1", std::atoi(arguments[1])) < 0)
        return 1;
    return ombrel_event_base_dispatch(base) == 0 ? 0 : 1;
}
