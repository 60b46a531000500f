// Reads any text as the host of the resolver and as a multicast group. Names are answered by nobody: what
// would leave the program fails the target.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <string>

#include <netdb.h>
#include <netinet/in.h>

#include <ombrel/address.h>
#include <ombrel/heap.h>
#include <ombrel/multicast.h>
#include <ombrel/resolver.h>
#include <ombrel/socket_open.h>

#include "support/require.h"

namespace {

bool address_text;

/// What the text says as an address, read by the public reader.
struct expected {
    sockaddr_storage address;
    bool is_address;
    int port;

    expected(const char* text, int given_port) {
        const bool is_port = given_port >= 0 && given_port <= 65535;
        is_address = ombrel_inet_ptos(0, text, is_port ? given_port : 0, &address, sizeof address) == 0;
        char printed[64];
        ombrel_inet_stopp(reinterpret_cast<sockaddr*>(&address), printed, sizeof printed, &port);
    }
};

void check_answers(const ombrel_resolver_t* list, const expected& asked) {
    const sockaddr* const address = reinterpret_cast<const sockaddr*>(&asked.address);
    require(list != nullptr, "an address text resolves");
    require(list->m_next == nullptr, "to one answer");
    require(list->m_family == address->sa_family, "of its family");
    require(list->m_address_size == ombrel_sockaddr_size(address, 0), "of its size");
    require(ombrel_compare_sockaddr_address(list->m_address, address) == 0, "with its address");
    require(list->m_port == asked.port, "with its own port, else the given one");
    char text[64];
    require(strcmp(list->m_address_text, ombrel_inet_stop(address, text, sizeof text)) == 0, "and text");
}

void check_resolver(const char* text, int port) {
    const expected asked(text, port);
    address_text = asked.is_address || *text == '\0';
    ombrel_resolver_t* const list = ombrel_open_resolver(text, port);
    if (asked.is_address)
        check_answers(list, asked);
    else
        require((list != nullptr) == (*text == '\0' && port >= 0 && port <= 65535), "no name is answered");
    ombrel_resolver_t* const copy = ombrel_duplicate_resolver(list);
    const ombrel_resolver_t* b = copy;
    for (const ombrel_resolver_t* a = list; a != nullptr; a = a->m_next, b = b->m_next)
        require(strcmp(a->m_address_text, b->m_address_text) == 0, "a copy is the same");
    ombrel_close_resolver(copy);
    ombrel_close_resolver(list);
}

/// No socket is opened for a group that is no multicast address, or one of the other family. True groups are
/// not joined, as that would be told to the network.
void check_group(const char* text) {
    sockaddr_storage address;
    const bool is_group = ombrel_inet_ptos(0, text, 0, &address, sizeof address) == 0 &&
                          ombrel_is_multicast(reinterpret_cast<sockaddr*>(&address)) == 1;
    const int families[] = {0, AF_INET, AF_INET6};
    for (const int family : families) {
        if (!is_group || (family != 0 && family != address.ss_family))
            require(ombrel_open_udp_socket_ex(family, nullptr, 0, text) == -1, "no group of the family");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2 || size > 300)
        return 0;
    const int port = static_cast<int16_t>(data[0] | data[1] << 8) * 4;
    const std::string text(reinterpret_cast<const char*>(data) + 2, size - 2);
    const size_t blocks = ombrel_get_alloc_count();
    check_resolver(text.c_str(), port);
    check_group(text.c_str());
    require(ombrel_get_alloc_count() == blocks, "nothing is left behind");
    return 0;
}

// The host's function, in this program and in the library that it links.
extern "C" int getaddrinfo(const char* host, const char* service, const addrinfo* hints, addrinfo** answers) {
    static const auto real = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
    if (host == nullptr || (hints->ai_flags & AI_NUMERICHOST) != 0)
        return real(host, service, hints, answers);
    require(!address_text, "an address text asks nobody");
    return EAI_NONAME;
}
