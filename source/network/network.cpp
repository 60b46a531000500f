#include <ombrel/network.h>

#include <cstring>

#include <ombrel/heap.h>
#include <ombrel/socket.h>
#include <ombrel/string.h>

#include "core/short_lock_guard.h"
#include "network/socket_guard.h"
#include "platform/network_database.h"
#include "platform/resolver.h"
#include "platform/socket.h"

using namespace ombrel;

namespace {

constexpr int add_reference = 1, drop_reference = 0, read_count = -1;

/// The one place that touches the start-up count. Adding and dropping give 0 or -1, reading gives the count.
int count_reference(int mode) {
    static ombrel_short_lock_t lock;
    static int count OMBREL_GUARDED_BY(lock);
    const short_lock_guard guard(lock);
    if (mode == read_count)
        return count;
    if (mode == drop_reference) {
        if (count < 0)
            return -1;
        if (--count == 0)
            platform::stop_sockets();
        return 0;
    }
    if (count == 0 && !platform::start_sockets())
        return -1;
    count++;
    return 0;
}

struct support_cache {
    ombrel_short_lock_t lock;
    int supported OMBREL_GUARDED_BY(lock); ///< -1 until probed, then 1 or 0
};

/// What the cache holds; a new answer is stored first.
int use_cache(support_cache& cache, int answer = -1) {
    const short_lock_guard guard(cache.lock);
    if (cache.supported < 0)
        cache.supported = answer;
    return cache.supported;
}

/// Threads that come while the first one probes do so as well: a socket is not opened under a short lock.
int probe_once(support_cache& cache, int family) {
    int supported = use_cache(cache);
    if (supported < 0) {
        const int protocol = ombrel_get_protocol_by_name("udp");
        supported = use_cache(cache, ombrel_check_socket_support(family, SOCK_DGRAM, protocol) == 0);
    }
    return supported == 1 ? 0 : -1;
}

struct protocol_number {
    const char* name;
    int number;
};

constexpr protocol_number protocols[] = {
    {"tcp", 6}, {"udp", 17}, {"icmp", 1}, {"ipv6-icmp", 58}, {"ip", 0}, {"ipv6", 41}, {"raw", 255},
};

constexpr size_t host_name_room = 64;

} // namespace

int ombrel_init_network(void) {
    return count_reference(add_reference);
}

int ombrel_uninit_network(void) {
    return count_reference(drop_reference);
}

int ombrel_is_init_network(void) {
    return count_reference(read_count) > 0;
}

int ombrel_check_socket_support(int family, int type, int protocol) {
    const socket_guard probe(ombrel_open_socket(family, type, protocol));
    return probe ? 0 : -1;
}

int ombrel_check_inet_support(int family, int type, int protocol) {
    return ombrel_check_socket_support(family, type, protocol);
}

int ombrel_check_ipv4_support(void) {
    static support_cache cache{{}, -1};
    return probe_once(cache, AF_INET);
}

int ombrel_check_ipv6_support(void) {
    static support_cache cache{{}, -1};
    return probe_once(cache, AF_INET6);
}

int ombrel_check_unix_domain_socket_support(void) {
    return ombrel_check_socket_support(AF_UNIX, SOCK_STREAM, 0);
}

int ombrel_get_protocol_by_name(const char* name) {
    if (name == nullptr)
        return 0;
    for (const protocol_number& known : protocols) {
        if (strcmp(known.name, name) == 0)
            return known.number;
    }
    int number = 0;
    return platform::find_protocol(name, number) ? number : 0;
}

int ombrel_get_service_by_name(const char* name, const char* protocol_name) {
    if (name == nullptr)
        return -1;
    int port = 0;
    return platform::find_service(name, protocol_name != nullptr ? protocol_name : "tcp", port) ? port : 0;
}

char* ombrel_get_hostname_alloc_tag(const char* caller, unsigned long line) {
    char name[host_name_room];
    return platform::host_name(name, sizeof name) ? ombrel_strdup_tag(name, caller, line) : nullptr;
}

char* ombrel_get_fqdn_alloc_tag(const char* caller, unsigned long line) {
    char host[host_name_room];
    if (!platform::host_name(host, sizeof host))
        return nullptr;
    platform::name_answers answers({.host = host,
                                    .service = "http",
                                    .socket_type = SOCK_STREAM,
                                    .flags = platform::query_canonical_name});
    for (platform::name_answer answer; answers.next(answer);) {
        if (answer.canonical_name != nullptr && answer.canonical_name[0] != 0)
            return ombrel_strdup_tag(answer.canonical_name, caller, line);
    }
    return nullptr;
}
