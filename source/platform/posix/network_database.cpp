#include "platform/network_database.h"

#include <cstdint>
#include <cstring>
#include <netdb.h>
#include <netinet/in.h>
#include <pthread.h>
#include <unistd.h>

namespace ombrel::platform {

namespace {

#if defined(__GLIBC__)

// Room for a line of the database; one that is longer counts as unknown.
constexpr size_t line_room = 8192;

template<typename Use>
bool with_protocol(const char* name, Use use) {
    char line[line_room];
    protoent record, *found = nullptr;
    const bool known = getprotobyname_r(name, &record, line, sizeof line, &found) == 0 && found != nullptr;
    if (known)
        use(*found);
    return known;
}

template<typename Use>
bool with_service(const char* name, const char* protocol, Use use) {
    char line[line_room];
    servent record, *found = nullptr;
    const bool known =
        getservbyname_r(name, protocol, &record, line, sizeof line, &found) == 0 && found != nullptr;
    if (known)
        use(*found);
    return known;
}

#else

/// Callers take turns, asleep: the plain functions share one record.
class turn {
public:
    explicit turn(pthread_mutex_t& mutex) : mutex_(mutex) { pthread_mutex_lock(&mutex_); }
    ~turn() { pthread_mutex_unlock(&mutex_); }
    turn(const turn&) = delete;
    turn& operator=(const turn&) = delete;

private:
    pthread_mutex_t& mutex_;
};

template<typename Use>
bool with_protocol(const char* name, Use use) {
    static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    const turn own(mutex);
    const protoent* const found = getprotobyname(name);
    if (found != nullptr)
        use(*found);
    return found != nullptr;
}

template<typename Use>
bool with_service(const char* name, const char* protocol, Use use) {
    static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    const turn own(mutex);
    const servent* const found = getservbyname(name, protocol);
    if (found != nullptr)
        use(*found);
    return found != nullptr;
}

#endif

} // namespace

bool find_protocol(const char* name, int& number) {
    return with_protocol(name, [&](const protoent& found) { number = found.p_proto; });
}

bool find_service(const char* name, const char* protocol, int& port) {
    return with_service(name, protocol,
                        [&](const servent& found) { port = ntohs(static_cast<uint16_t>(found.s_port)); });
}

bool host_name(char* buffer, size_t size) {
    return gethostname(buffer, size) == 0 && memchr(buffer, 0, size) != nullptr;
}

} // namespace ombrel::platform
