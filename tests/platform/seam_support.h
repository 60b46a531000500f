// What the tests of the seam share. They use the seam and the language alone, as each new system must pass
// them.
#pragma once

#include <functional>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "platform/clock.h"
#include "platform/fault.h"
#include "platform/file.h"
#include "platform/poll.h"
#include "platform/socket.h"
#include "platform/socket_address.h"
#include "platform/thread.h"
#include "support/no_copy.h"
#include "support/patience.h"

namespace ombrel_test {

namespace platform = ombrel::platform;
using platform::fault_code;

inline fault_code last_code() {
    return platform::last_fault().code;
}

/// Looks until it holds, then no more, or until patience ends.
template<typename Condition>
bool holds_soon(Condition condition) {
    const uint64_t end = platform::moment_after(patience_ms);
    while (!condition()) {
        if (platform::milliseconds_until(end) == 0)
            return false;
        platform::sleep_milliseconds(1);
    }
    return true;
}

/// Closed at the end of the scope, as a descriptor or as a socket.
class owned : no_copy {
public:
    explicit owned(int descriptor = -1, void (*closer)(int) = platform::close_descriptor)
        : descriptor_(descriptor), close_(closer) {}
    owned(owned&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)), close_(other.close_) {}
    owned& operator=(owned&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        std::swap(close_, other.close_);
        return *this;
    }
    ~owned() { close(); }
    void close() {
        if (descriptor_ >= 0)
            close_(std::exchange(descriptor_, -1));
    }
    operator int() const { return descriptor_; }

private:
    int descriptor_;
    void (*close_)(int);
};

inline owned own_socket(int s) {
    return owned(s, platform::close_socket);
}

struct pipe_ends {
    owned reader, writer;
};

inline pipe_ends open_pipe() {
    int ends[2] = {-1, -1};
    EXPECT_TRUE(platform::open_pipe(ends));
    return {owned(ends[0]), owned(ends[1])};
}

/// An IPv4 address of the loop-back interface, or any record that a call fills.
struct address : no_copy {
    sockaddr_storage record{};
    int size = sizeof record;

    address() = default;
    explicit address(int port) {
        auto& ipv4 = reinterpret_cast<sockaddr_in&>(record);
        ipv4.sin_family = AF_INET;
        ipv4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ipv4.sin_port = htons(static_cast<uint16_t>(port));
        size = sizeof ipv4;
    }
    sockaddr* get() { return reinterpret_cast<sockaddr*>(&record); }
    int port() const { return ntohs(reinterpret_cast<const sockaddr_in&>(record).sin_port); }
};

inline owned open_stream() {
    return own_socket(platform::open_socket(AF_INET, SOCK_STREAM, 0));
}

/// Waits, or not, for bytes of a socket.
template<size_t Size>
int receive(int s, char (&bytes)[Size]) {
    return platform::receive(s, bytes, Size, 0, nullptr, nullptr);
}
template<size_t Size>
int receive_at_once(int s, char (&bytes)[Size]) {
    return platform::receive_at_once(s, bytes, Size, nullptr, nullptr);
}

/// Fills what takes blocks until it refuses one as it would block. @return the bytes it took
template<typename Write>
size_t fill(const Write& write) {
    const std::string block(65536, 'x');
    size_t taken = 0;
    int result;
    while ((result = write(block.data(), block.size())) > 0 && taken < (1u << 30))
        taken += static_cast<size_t>(result);
    EXPECT_EQ(-1, result);
    EXPECT_EQ(fault_code::would_block, last_code());
    return taken;
}

inline int own_port(int s) {
    address own;
    EXPECT_EQ(0, platform::own_address(s, own.get(), &own.size));
    return own.port();
}

/// A socket at a port of the loop-back interface that the host chose.
inline owned bound(int type) {
    owned s = own_socket(platform::open_socket(AF_INET, type, 0));
    address any(0);
    EXPECT_EQ(0, platform::bind_socket(s, any.get(), any.size));
    return s;
}

inline owned listening() {
    owned s = bound(SOCK_STREAM);
    EXPECT_EQ(0, platform::listen_socket(s, 8));
    return s;
}

/// The kinds among `bits` that a descriptor is ready for, once one is or the time is over; ~0u for a failure.
inline unsigned poll_once(int descriptor, unsigned bits, int timeout_ms) {
    platform::poll_request requests[3];
    size_t count = 0;
    for (const unsigned bit : {platform::poll_read, platform::poll_write, platform::poll_exception})
        if ((bits & bit) != 0)
            requests[count++] = {descriptor, static_cast<platform::readiness>(bit), false};
    const int ready = platform::poll_descriptors(requests, count, timeout_ms);
    unsigned found = ready < 0 ? ~0u : 0;
    int marked = 0;
    for (size_t i = 0; i < count && ready >= 0; i++) {
        found |= requests[i].ready ? static_cast<unsigned>(requests[i].kind) : 0;
        marked += requests[i].ready;
    }
    EXPECT_EQ(ready < 0 ? 0 : ready, marked);
    return found;
}

struct connected_pair {
    owned client, server;
};

inline connected_pair connect_pair() {
    const owned listener = listening();
    owned client = open_stream();
    address there(own_port(listener));
    EXPECT_EQ(platform::connect_state::connected, platform::connect_socket(client, there.get(), there.size));
    return {std::move(client), own_socket(platform::accept_socket(listener, nullptr, nullptr))};
}

} // namespace ombrel_test
