// A name server for tests: names that end in ".test" are answered with 127.0.0.1, by nobody outside.
#pragma once

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

#include <ombrel/host_socket.h>

#if defined(_WIN32)
#include "support/replaced_import.h"
#else
#include <dlfcn.h>
#include <netdb.h>
#endif

#include "support/no_copy.h"

namespace ombrel_test {

inline std::atomic<int> names_asked{0};
inline std::atomic<int> names_to_fail{0};
inline std::atomic<bool> names_held{false};
inline std::atomic<bool> names_in_steps{false}; ///< each look-up that goes on holds the next
#if !defined(_WIN32)
inline std::atomic<bool> names_of_two{false}; ///< answered with 127.0.0.2 before 127.0.0.1
#endif

template<typename Condition>
bool wait_until(Condition condition) {
    for (int i = 0; i < 30000 && !condition(); i++)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return condition();
}

/// Look-ups hang until the end of the scope or release().
class hanging_names : no_copy {
public:
    hanging_names() {
        names_asked = 0;
        names_held = true;
    }
    ~hanging_names() {
        names_in_steps = false;
        release();
    }
    bool wait_for_one() const {
        return wait_until([] { return names_asked > 0; });
    }
    void release() { names_held = false; }
};

/// Whether a look-up is answered here, in its turn; else it is the host's.
template<typename Unit>
bool is_faked(const Unit* host) {
    size_t size = 0;
    while (host != nullptr && host[size] != 0)
        size++;
    constexpr Unit end[] = {'.', 't', 'e', 's', 't', 0};
    if (size < 5 || memcmp(host + size - 5, end, sizeof end) != 0)
        return false;
    names_asked++;
    while (names_held)
        std::this_thread::yield();
    if (names_in_steps)
        names_held = true;
    return true;
}

inline bool is_to_fail() {
    return names_to_fail > 0 && names_to_fail-- > 0;
}

} // namespace ombrel_test

// The host's function, in this program and in the library that it links.
#if defined(_WIN32)

namespace ombrel_test {

inline int WSAAPI fake_look_up(PCWSTR host, PCWSTR service, const ADDRINFOW* hints, ADDRINFOW** answers);

inline const replaced_import names_are_faked("ws2_32.dll", "GetAddrInfoW", fake_look_up);

inline int WSAAPI fake_look_up(PCWSTR host, PCWSTR service, const ADDRINFOW* hints, ADDRINFOW** answers) {
    const auto real = names_are_faked.own<decltype(GetAddrInfoW)>();
    if (!is_faked(host))
        return real(host, service, hints, answers);
    return is_to_fail() ? WSAHOST_NOT_FOUND : real(L"127.0.0.1", service, hints, answers);
}

} // namespace ombrel_test

#else

extern "C" __attribute__((weak)) int getaddrinfo(const char* host, const char* service, const addrinfo* hints,
                                                 addrinfo** answers) {
    static const auto real = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
    if (!ombrel_test::is_faked(host))
        return real(host, service, hints, answers);
    if (ombrel_test::is_to_fail())
        return EAI_NONAME;
    addrinfo each_kind = *hints;
    if (ombrel_test::names_of_two)
        each_kind.ai_socktype = each_kind.ai_protocol = 0; // there is an answer for each
    const int result = real("127.0.0.1", service, &each_kind, answers);
    if (result == 0 && ombrel_test::names_of_two)
        reinterpret_cast<sockaddr_in*>((*answers)->ai_addr)->sin_addr.s_addr = htonl(INADDR_LOOPBACK + 1);
    return result;
}

#endif
