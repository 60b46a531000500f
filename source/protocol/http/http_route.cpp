// Which handler takes which request.
#include <utility>

#include <ombrel/printf.h>
#include <ombrel/string.h>

#include "core/fault.h"
#include "protocol/http/http_server_internal.h"
#include "text/slice.h"

using namespace ombrel;
using namespace ombrel::protocol;

namespace ombrel::protocol {

namespace {

bool has_path(const http_route& route, std::string_view path) {
    const std::string_view own(route.told.m_path, route.size);
    return route.has_star ? starts_with(path, own) : path == own;
}

bool has_method(const http_route& route, const char* method) {
    const char* const own = route.told.m_method;
    return own == nullptr || strcmp(own, method) == 0 ||
           (strcmp(method, "HEAD") == 0 && strcmp(own, "GET") == 0);
}

/// Whether a route goes before another that takes the same request: by its path, then because it names the
/// method, as a route for HEAD does beside one for GET.
bool goes_before(const http_route& route, const http_route* other, const char* method) {
    if (other == nullptr || route.has_star != other->has_star)
        return other == nullptr || !route.has_star;
    if (route.size != other->size)
        return route.size > other->size;
    const auto names = [&](const http_route& one) {
        return one.told.m_method == nullptr ? 0 : 1 + (strcmp(one.told.m_method, method) == 0);
    };
    return names(route) > names(*other);
}

bool is_same(const http_route& route, const ombrel_http_route_t& told) {
    const char *const own = route.told.m_method, *const other = told.m_method;
    const bool same_method = own == nullptr || other == nullptr ? own == other : strcmp(own, other) == 0;
    return same_method && strcmp(route.told.m_path, told.m_path) == 0;
}

/// The route in one block with its texts.
http_route* make_route(const ombrel_http_route_t& told) {
    const size_t path_size = strlen(told.m_path) + 1;
    const size_t method_size = told.m_method != nullptr ? strlen(told.m_method) + 1 : 0;
    auto* const made = static_cast<http_route*>(ombrel_alloc_tag(sizeof(http_route) + path_size + method_size,
                                                                 "ombrel_http_server_add_route", __LINE__));
    if (made == nullptr) {
        leave_fault(fault_code::no_memory);
        return nullptr;
    }
    char* const path = reinterpret_cast<char*>(made + 1);
    const bool has_star = path_size > 1 && told.m_path[path_size - 2] == '*';
    memcpy(path, told.m_path, path_size);
    *made = {told, nullptr, path_size - 1 - has_star, has_star};
    made->told.m_path = path;
    if (method_size > 0)
        made->told.m_method = static_cast<const char*>(memcpy(path + path_size, told.m_method, method_size));
    return made;
}

bool is_sound(const http_server* server, const ombrel_http_route_t* route) {
    return server != nullptr && route != nullptr && route->m_handler != nullptr && route->m_path != nullptr &&
           (route->m_path[0] == '/' || route->m_path[0] == '*') &&
           (route->m_flags & ~def_ombrel_http_route_streamed) == 0 &&
           (route->m_method == nullptr || ombrel_is_http_token(route->m_method, strlen(route->m_method)));
}

/// Adds a word to a list with commas, unless it is there or does not fit.
void add_word(char* text, size_t room, const char* word) {
    const size_t size = strlen(text);
    if (!ombrel_has_http_element(text, size, word) && size + strlen(word) + 3 <= room)
        ombrel_snprintf(text + size, room - size, size > 0 ? ", %s" : "%s", word);
}

} // namespace

const http_route* find_route(const http_server& server, const char* method, const char* path) {
    const http_route* best = nullptr;
    for (const http_route* route = server.routes; route != nullptr; route = route->next)
        if (has_path(*route, path) && has_method(*route, method) && goes_before(*route, best, method))
            best = route;
    return best;
}

void list_methods(const http_server& server, const char* path, char* text, size_t room) {
    text[0] = '\0';
    for (const http_route* route = server.routes; route != nullptr; route = route->next) {
        if (!has_path(*route, path) || route->told.m_method == nullptr)
            continue;
        add_word(text, room, route->told.m_method);
        if (strcmp(route->told.m_method, "GET") == 0)
            add_word(text, room, "HEAD");
    }
    if (text[0] != '\0')
        add_word(text, room, "OPTIONS");
}

void free_routes(http_server& server) {
    while (server.routes != nullptr)
        ombrel_free(std::exchange(server.routes, server.routes->next));
}

} // namespace ombrel::protocol

int ombrel_http_server_add_route(ombrel_http_server_t* server, const char* method, const char* path,
                                 ombrel_http_handler_t handler, void* context) {
    const ombrel_http_route_t route{method, path, 0, -1, nullptr, nullptr, handler, context};
    return ombrel_http_server_add_route_ex(server, &route);
}

int ombrel_http_server_add_route_ex(ombrel_http_server_t* server, const ombrel_http_route_t* route) {
    if (!is_sound(server, route)) {
        leave_fault(fault_code::invalid);
        return -1;
    }
    http_route* const made = make_route(*route);
    if (made == nullptr)
        return -1;
    http_route** link = &server->routes;
    while (*link != nullptr && !is_same(**link, *route))
        link = &(*link)->next;
    // An earlier one may be that of a request in hand: it stays, and takes nothing any more.
    made->next = *link != nullptr ? *link : nullptr;
    *link = made;
    return 0;
}
