// The faults of real calls, and what is said of each.
#include <cstring>
#include <set>
#include <string>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include "core/fault.h"
#include "platform/file.h"
#include "platform/poll.h"
#include "platform/process.h"
#include "platform/socket.h"

using namespace ombrel;

namespace {

/// A socket, its address on the loop-back interface once it is bound, and its end.
class loopback_socket {
public:
    explicit loopback_socket(int type = SOCK_STREAM) : s(platform::open_socket(AF_INET, type, 0)) {
        address_.sin_family = AF_INET;
        address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    }
    ~loopback_socket() { platform::close_socket(s); }
    loopback_socket(const loopback_socket&) = delete;
    loopback_socket& operator=(const loopback_socket&) = delete;

    int bind() {
        int size = sizeof address_;
        return platform::bind_socket(s, address(), size) == 0 ? platform::own_address(s, address(), &size)
                                                              : -1;
    }
    int bind_as(const loopback_socket& other) {
        address_ = other.address_;
        return platform::bind_socket(s, address(), sizeof address_);
    }
    bool connect_to(loopback_socket& other) {
        return platform::connect_socket(s, other.address(), sizeof address_) ==
               platform::connect_state::connected;
    }
    sockaddr* address() { return reinterpret_cast<sockaddr*>(&address_); }

    const int s;

private:
    sockaddr_in address_{};
};

/// A client and its server's side.
struct connection {
    loopback_socket listener, client;
    int server = -1;

    connection() {
        if (listener.bind() == 0 && platform::listen_socket(listener.s, 1) == 0 &&
            client.connect_to(listener))
            server = platform::accept_socket(listener.s, nullptr, nullptr);
    }
    ~connection() { close_server(); }
    void close_server() {
        if (server >= 0)
            platform::close_socket(server);
        server = -1;
    }
    /// The peer's side goes without a farewell.
    void reset() {
        platform::set_linger(server, true, 0);
        close_server();
        platform::poll_request request{client.s, platform::readiness::read, false};
        platform::poll_descriptors(&request, 1, -1);
    }
};

struct pipe_pair {
    int ends[2];

    pipe_pair() { platform::open_pipe(ends); }
    ~pipe_pair() {
        close(0);
        close(1);
    }
    void close(int side) {
        if (ends[side] >= 0)
            platform::close_descriptor(ends[side]);
        ends[side] = -1;
    }
};

class no_more_descriptors {
public:
    no_more_descriptors() {
        getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit none{0, before_.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
    }
    ~no_more_descriptors() { setrlimit(RLIMIT_NOFILE, &before_); }

private:
    rlimit before_;
};

/// A call that must fail; -1 when it does.
struct failing_call {
    const char* name;
    fault_code expected;
    int (*make)();
};

const failing_call failing_calls[] = {
    {"a file that is not there", fault_code::not_found,
     [] { return platform::open_file_for_reading("/nowhere/at/all"); }},
    {"a path through a file", fault_code::not_found,
     [] { return platform::open_file_for_reading("/dev/null/file"); }},
    {"a directory as a file", fault_code::is_directory, [] { return platform::open_file_for_reading("/"); }},
    {"a file that is there already", fault_code::exists,
     [] { return platform::open_file("/dev/null", {.write = true, .create = true, .exclusive = true}); }},
    {"a name that is too long", fault_code::invalid,
     [] { return platform::open_file_for_reading(std::string(300, 'n').c_str()); }},
    {"no descriptor for a file", fault_code::no_descriptor,
     [] {
         const no_more_descriptors limit;
         return platform::open_file_for_reading("/dev/null");
     }},
    {"no descriptor for a socket", fault_code::no_descriptor,
     [] {
         const no_more_descriptors limit;
         return platform::open_socket(AF_INET, SOCK_STREAM, 0);
     }},
    {"no descriptor for a pipe", fault_code::no_descriptor,
     [] {
         const no_more_descriptors limit;
         int ends[2];
         return platform::open_pipe(ends) ? 0 : -1;
     }},
    {"a descriptor that is closed", fault_code::bad_descriptor,
     [] {
         char byte;
         return platform::read_descriptor(-1, &byte, 1);
     }},
    {"a wait for what is closed", fault_code::bad_descriptor,
     [] {
         platform::poll_request request{987654, platform::readiness::read, false};
         return platform::poll_descriptors(&request, 1, 0);
     }},
    {"a wait for too many", fault_code::invalid,
     [] { return platform::poll_descriptors(nullptr, platform::most_poll_requests + 1, 0); }},
    {"a file as a socket", fault_code::bad_descriptor, [] { return platform::listen_socket(0, 1); }},
    {"the position of a pipe", fault_code::not_seekable,
     [] {
         const pipe_pair pipe;
         return static_cast<int>(platform::move_file(pipe.ends[0], 0, platform::file_origin::current));
     }},
    {"the size of a pipe", fault_code::not_seekable,
     [] {
         const pipe_pair pipe;
         return static_cast<int>(platform::file_size(pipe.ends[0]));
     }},
    {"a pipe that nobody reads", fault_code::closed,
     [] {
         pipe_pair pipe;
         pipe.close(0);
         return platform::write_descriptor(pipe.ends[1], "x", 1);
     }},
    {"an empty pipe", fault_code::would_block,
     [] {
         const pipe_pair pipe;
         char byte;
         return platform::read_at_once(pipe.ends[0], &byte, 1);
     }},
    {"a full pipe", fault_code::would_block,
     [] {
         const pipe_pair pipe;
         char bytes[4096] = "";
         int result;
         while ((result = platform::write_at_once(pipe.ends[1], bytes, sizeof bytes)) > 0) {
         }
         return result;
     }},
    {"a device that is full", fault_code::no_space,
     [] {
         const int device = platform::open_file("/dev/full", {.write = true});
         const int result = platform::write_file(device, "x", 1);
         platform::close_descriptor(device);
         return result;
     }},
    {"a socket without anything to read", fault_code::would_block,
     [] {
         loopback_socket one(SOCK_DGRAM);
         one.bind();
         char byte;
         return platform::receive_at_once(one.s, &byte, 1, nullptr, nullptr);
     }},
    {"a stream without anything to read", fault_code::would_block,
     [] {
         const connection both;
         char byte;
         return platform::read_at_once(both.client.s, &byte, 1);
     }},
    {"a stream without room", fault_code::would_block,
     [] {
         const connection both;
         static const char bytes[65536] = "";
         int result;
         while ((result = platform::send_at_once(both.client.s, bytes, sizeof bytes, nullptr, 0)) > 0) {
         }
         return result;
     }},
    {"a listener without a peer", fault_code::would_block,
     [] {
         loopback_socket listener;
         listener.bind();
         platform::listen_socket(listener.s, 1);
         return platform::accept_at_once(listener.s, nullptr, nullptr);
     }},
    {"a connection that is refused", fault_code::refused,
     [] {
         loopback_socket bound, client;
         bound.bind(); // nobody listens there, and nobody else can
         return client.connect_to(bound) ? 0 : -1;
     }},
    {"an address in use", fault_code::address_in_use,
     [] {
         loopback_socket first, second;
         first.bind();
         platform::listen_socket(first.s, 1);
         return second.bind_as(first);
     }},
    {"a foreign address", fault_code::address_not_available,
     [] {
         loopback_socket one;
         reinterpret_cast<sockaddr_in*>(one.address())->sin_addr.s_addr = htonl(0xC0000201); // an example's
         return one.bind();
     }},
    {"a peer of nobody", fault_code::not_connected,
     [] {
         const loopback_socket alone;
         return platform::peer_address(alone.s, nullptr, nullptr) == 0 ? 0 : -1;
     }},
    {"a peer that reset the connection", fault_code::reset,
     [] {
         connection both;
         both.reset();
         char byte;
         return platform::receive(both.client.s, &byte, 1, 0, nullptr, nullptr);
     }},
    {"a peer that is gone", fault_code::closed,
     [] {
         connection both;
         both.reset();
         char byte;
         platform::receive(both.client.s, &byte, 1, 0, nullptr, nullptr);
         return platform::send(both.client.s, "x", 1, 0, nullptr, 0);
     }},
    {"a datagram that is too long", fault_code::invalid,
     [] {
         loopback_socket one(SOCK_DGRAM);
         one.bind();
         static const char bytes[70000] = "";
         return platform::send(one.s, bytes, sizeof bytes, 0, one.address(), sizeof(sockaddr_in));
     }},
    {"a family of addresses that is none", fault_code::not_supported,
     [] { return platform::open_socket(12345, SOCK_STREAM, 0); }},
    {"a program that is not there", fault_code::not_found,
     [] {
         const char* const arguments[] = {"/nowhere/at/all", nullptr};
         return platform::start_process(arguments, {-1, -1});
     }},
    {"a file without rights to run", fault_code::access_denied,
     [] {
         const char* const arguments[] = {"/dev/null", nullptr};
         return platform::start_process(arguments, {-1, -1});
     }},
};

} // namespace

TEST(Fault, IsToldByFailingCalls) {
    for (const failing_call& call : failing_calls) {
        leave_fault({});
        ASSERT_EQ(-1, call.make()) << call.name;
        const fault why = last_fault();
        EXPECT_EQ(call.expected, why.code) << call.name << ": " << fault_text(why);
        EXPECT_STREQ(strerror(why.number), fault_text(why)) << call.name;
    }
}

TEST(Fault, IsLeftAsItIsToldAndKeptOverAScope) {
    for (unsigned i = 1; i < platform::fault_code_count; i++) {
        const auto code = static_cast<fault_code>(i);
        leave_fault(code);
        const int number = platform::number_of(code);
        EXPECT_EQ(number != 0 ? code : fault_code::none, last_fault().code) << i;
        EXPECT_EQ(number, last_fault().number) << i;
        {
            const fault_keeper kept;
            leave_fault({fault_code::other, 12345});
            EXPECT_EQ(12345, last_fault().number);
        }
        EXPECT_EQ(number, last_fault().number) << i;
    }
}

TEST(Fault, HasATextOfItsOwnWhereTheHostHasNone) {
    std::set<std::string> own_texts;
    for (unsigned i = 0; i < platform::fault_code_count; i++) {
        const auto code = static_cast<fault_code>(i);
        const int number = platform::number_of(code);
        if (number == 0)
            EXPECT_TRUE(own_texts.insert(fault_text(code)).second) << i;
        else
            EXPECT_STREQ(strerror(number), fault_text(code));
    }
    EXPECT_EQ(5u, own_texts.size()); // none, other, and those that only the library finds
    EXPECT_EQ(std::string(strerror(12345)), std::string(fault_text(platform::fault_of(12345))));
}
