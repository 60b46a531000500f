// A name server for tests: names that end in ".test" are answered with 127.0.0.1, by nobody outside.
#pragma once

#include <atomic>
#include <chrono>
#include <cstring>
#include <dlfcn.h>
#include <netdb.h>
#include <thread>

#include "support/no_copy.h"

namespace ombrel_test {

inline std::atomic<int> names_asked{0};
inline std::atomic<int> names_to_fail{0};
inline std::atomic<bool> names_held{false};
inline std::atomic<bool> names_in_steps{false}; ///< each look-up that goes on holds the next

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

} // namespace ombrel_test

// The host's function, in this program and in the library that it links.
extern "C" __attribute__((weak)) int getaddrinfo(const char* host, const char* service, const addrinfo* hints,
                                                 addrinfo** answers) {
    static const auto real = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
    const size_t size = host != nullptr ? strlen(host) : 0;
    if (size < 5 || strcmp(host + size - 5, ".test") != 0)
        return real(host, service, hints, answers);
    ombrel_test::names_asked++;
    while (ombrel_test::names_held)
        std::this_thread::yield();
    if (ombrel_test::names_in_steps)
        ombrel_test::names_held = true;
    if (ombrel_test::names_to_fail > 0) {
        ombrel_test::names_to_fail--;
        return EAI_NONAME;
    }
    return real("127.0.0.1", service, hints, answers);
}
