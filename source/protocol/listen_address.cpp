#include "protocol/listen_address.h"

#include <cstring>

#include <ombrel/printf.h>
#include <ombrel/string.h>

#include "core/fault.h"

namespace ombrel::protocol {

namespace {

/// The host of a URL: in brackets for IPv6, a scope behind "%25".
int put_url_host(char* text, size_t room, const endpoint& own) {
    char address[address_text_size];
    if (is_wildcard(own))
        return ombrel_snprintf(text, room, "localhost");
    ombrel_inet_stop(own.get(), address, sizeof address);
    char* const scope = strchr(address, '%');
    if (own.family() == AF_INET)
        return ombrel_snprintf(text, room, "%s", address);
    if (scope == nullptr)
        return ombrel_snprintf(text, room, "[%s]", address);
    *scope = '\0';
    return ombrel_snprintf(text, room, "[%s%%25%s]", address, scope + 1);
}

} // namespace

bool is_wildcard(const endpoint& address) {
    endpoint every;
    return every.set_wildcard(address.family(), 0) &&
           ombrel_compare_sockaddr_address(every.get(), address.get()) == 0;
}

bool failed_for_lack_of_host_support() {
    const fault_code code = last_fault().code;
    return code == fault_code::address_not_available || code == fault_code::not_supported ||
           code == fault_code::other;
}

char* alloc_listener_url(const char* scheme, const endpoint& own, const char* function, unsigned long line) {
    char host[address_text_size + 8], url[sizeof host + 32];
    put_url_host(host, sizeof host, own);
    ombrel_snprintf(url, sizeof url, "%s://%s:%d/", scheme, host, own.port());
    return ombrel_strdup_tag(url, function, line);
}

} // namespace ombrel::protocol
