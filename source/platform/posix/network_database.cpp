#include "platform/network_database.h"

#include <cstdint>
#include <cstring>
#include <netdb.h>
#include <netinet/in.h>
#include <unistd.h>

namespace ombrel::platform {

bool find_protocol(const char* name, int& number) {
    const protoent* const found = getprotobyname(name);
    if (found == nullptr)
        return false;
    number = found->p_proto;
    return true;
}

bool find_service(const char* name, const char* protocol, int& port) {
    const servent* const found = getservbyname(name, protocol);
    if (found == nullptr)
        return false;
    port = ntohs(static_cast<uint16_t>(found->s_port));
    return true;
}

bool host_name(char* buffer, size_t size) {
    return gethostname(buffer, size) == 0 && std::memchr(buffer, 0, size) != nullptr;
}

} // namespace ombrel::platform
