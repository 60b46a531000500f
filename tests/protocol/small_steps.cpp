// A host that takes and gives a part of what it could, and at times nothing although it said that it would:
// so is any host under load. The whole program runs on it with OMBREL_TEST_SMALL_STEPS in its environment.
#if defined(__linux__)

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>

#include <dlfcn.h>
#include <sys/sendfile.h>
#include <sys/socket.h>

namespace {

constexpr unsigned step_turns = 5; ///< one of so many finds nothing
std::atomic<unsigned> steps_made;

/// Datagrams come and go whole.
bool goes_in_steps(int s) {
    static const bool is_meant = getenv("OMBREL_TEST_SMALL_STEPS") != nullptr;
    int type = 0;
    socklen_t size = sizeof type;
    return is_meant && getsockopt(s, SOL_SOCKET, SO_TYPE, &type, &size) == 0 && type == SOCK_STREAM;
}

bool finds_nothing(int flags) {
    if ((flags & MSG_DONTWAIT) == 0 || steps_made++ % step_turns != 0)
        return false;
    errno = EAGAIN;
    return true;
}

size_t small_part(size_t size) {
    return (size + 1) / 2;
}

template<typename Offset>
ssize_t send_part_of_file(const char* name, int to, int from, Offset* offset, size_t size) {
    const auto host = reinterpret_cast<ssize_t (*)(int, int, Offset*, size_t)>(dlsym(RTLD_NEXT, name));
    if (!goes_in_steps(to))
        return host(to, from, offset, size);
    return finds_nothing(MSG_DONTWAIT) ? -1 : host(to, from, offset, small_part(size));
}

} // namespace

// The host's functions, in this program and in the library that it links.
extern "C" ssize_t sendto(int s, const void* data, size_t size, int flags, const sockaddr* to,
                          socklen_t room) {
    static const auto host = reinterpret_cast<decltype(&sendto)>(dlsym(RTLD_NEXT, "sendto"));
    if (!goes_in_steps(s))
        return host(s, data, size, flags, to, room);
    return finds_nothing(flags) ? -1 : host(s, data, small_part(size), flags, to, room);
}

extern "C" ssize_t recvfrom(int s, void* buffer, size_t size, int flags, sockaddr* from, socklen_t* room) {
    static const auto host = reinterpret_cast<decltype(&recvfrom)>(dlsym(RTLD_NEXT, "recvfrom"));
    if (!goes_in_steps(s))
        return host(s, buffer, size, flags, from, room);
    return finds_nothing(flags)
               ? -1
               : host(s, buffer, std::min<size_t>(size, 1 + steps_made * 7 % 5000), flags, from, room);
}

extern "C" ssize_t sendfile(int to, int from, off_t* offset, size_t size) {
    return send_part_of_file("sendfile", to, from, offset, size);
}

#if defined(__GLIBC__)
extern "C" ssize_t sendfile64(int to, int from, off64_t* offset, size_t size) {
    return send_part_of_file("sendfile64", to, from, offset, size);
}
#endif

#endif
