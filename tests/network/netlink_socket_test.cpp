// What the kernel may answer to a question, and what others may say meanwhile.
#if defined(__linux__)

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <deque>
#include <dlfcn.h>
#include <functional>
#include <string>
#include <sys/socket.h>
#include <utility>

#include <linux/netlink.h>
#include <linux/rtnetlink.h>

#include <gtest/gtest.h>

#include <ombrel/fault.h>
#include <ombrel/route.h>

#include "network/netlink_message.h"
#include "support/no_copy.h"

using namespace ombrel_test;

namespace {

/// What a receive finds before the kernel's own datagrams: bytes, or why there are none.
struct forged_datagram {
    std::string bytes;
    uint32_t sender = 0; ///< the kernel
    int error = 0;
};

/// Stands between the library and the kernel. A question is known by its number and the port that asked.
class forgery : no_copy {
public:
    using forger = std::function<std::deque<forged_datagram>(uint32_t port)>;

    /// So many attempts to list something are told that it changed meanwhile.
    explicit forgery(forger makes, uint32_t interrupted = 0)
        : makes_(std::move(makes)), interrupted_(interrupted) {
        current = this;
    }
    ~forgery() { current = nullptr; }

    /// -2 for what the kernel is to be asked for.
    ssize_t look(int s, msghdr& message) {
        if (makes_)
            ahead_ = std::exchange(makes_, nullptr)(port_of(s));
        if (ahead_.empty())
            return -2;
        const forged_datagram& next = ahead_.front();
        if (next.error != 0) {
            errno = next.error;
            ahead_.pop_front();
            return -1;
        }
        sockaddr_nl sender{};
        sender.nl_family = AF_NETLINK;
        sender.nl_pid = next.sender;
        memcpy(message.msg_name, &sender, sizeof sender);
        message.msg_namelen = sizeof sender;
        const size_t size = std::min(message.msg_iov->iov_len, next.bytes.size());
        memcpy(message.msg_iov->iov_base, next.bytes.data(), size);
        message.msg_flags = size < next.bytes.size() ? MSG_TRUNC : 0;
        return static_cast<ssize_t>(size);
    }
    /// Whether what was looked at is no datagram of the kernel's, which stays.
    bool take() {
        if (ahead_.empty())
            return false;
        ahead_.pop_front();
        return true;
    }
    void interrupt(const msghdr& message, ssize_t size) {
        nlmsghdr head;
        if (size < static_cast<ssize_t>(sizeof head))
            return;
        memcpy(&head, message.msg_iov->iov_base, sizeof head);
        attempts = std::max(attempts, head.nlmsg_seq);
        if (head.nlmsg_seq <= interrupted_)
            head.nlmsg_flags |= NLM_F_DUMP_INTR;
        memcpy(message.msg_iov->iov_base, &head, sizeof head);
    }

    uint32_t attempts = 0;
    static inline forgery* current = nullptr;

private:
    static uint32_t port_of(int s) {
        sockaddr_nl own{};
        socklen_t size = sizeof own;
        EXPECT_EQ(0, getsockname(s, reinterpret_cast<sockaddr*>(&own), &size));
        return own.nl_pid;
    }

    forger makes_;
    std::deque<forged_datagram> ahead_;
    uint32_t interrupted_;
};

/// A message about the first question; `length` and `number` may be others than its own.
std::string forged(unsigned type, uint32_t port, const std::string& content, size_t length = 0,
                   uint32_t number = 1) {
    const size_t own = content.size() + sizeof(nlmsghdr);
    return word(static_cast<uint32_t>(length != 0 ? length : own), 4) + word(type, 2) + word(0, 2) +
           word(number, 4) + word(port, 4) + content;
}

/// The routes of the local table, of which each host has some, or why there are none.
std::string list_local_routes() {
    const ombrel_route_options_t options{AF_INET, def_ombrel_route_table_local, 0, 1000};
    ombrel_route_list_t* const list = ombrel_open_route_list(&options);
    if (list == nullptr)
        return ombrel_fault_name(ombrel_last_fault());
    std::string text;
    for (const ombrel_route_t* one = list->m_first; one != nullptr; one = one->m_next)
        text += facts({one->m_prefix_length, one->m_interface, one->m_type}, {shown(one->m_destination)});
    ombrel_close_route_list(list);
    return text;
}

TEST(NetlinkSocket, BelievesTheKernelAloneAndWhatItSaysToTheQuestion) {
    const std::string routes = list_local_routes(), denied = word(static_cast<uint32_t>(-EPERM), 4),
                      none = word(0, 4);
    if (list_local_routes() != routes || routes.find(' ') == std::string::npos)
        GTEST_SKIP() << "this host lists no local routes: " << routes;
    const std::string bad_route = word(0x20000002, 4) + word(0, 4) + word(0, 4) + std::string(3, 'x');
    const struct {
        const char* what;
        std::string expected;
        forgery::forger makes;
    } cases[] = {
        {"an earlier question's answer", routes,
         [&](uint32_t port) {
             return std::deque<forged_datagram>{{forged(NLMSG_ERROR, port, denied, 0, 7)}};
         }},
        {"another port's answer", routes,
         [&](uint32_t port) { return std::deque<forged_datagram>{{forged(NLMSG_ERROR, port + 1, denied)}}; }},
        {"another program's word", routes,
         [&](uint32_t port) {
             return std::deque<forged_datagram>{{forged(NLMSG_ERROR, port, denied), 5}};
         }},
        {"nothing, less than a message, and interruptions", routes,
         [&](uint32_t) {
             return std::deque<forged_datagram>{{""}, {"x"}, {"", 0, EINTR}, {std::string(15, '\0')}};
         }},
        {"messages of other types and sizes", routes,
         [&](uint32_t port) {
             return std::deque<forged_datagram>{{forged(RTM_NEWLINK, port, "x")},
                                                {forged(RTM_NEWADDR, port, std::string(300'000, 'x'))}};
         }},
        {"a refusal", "access_denied",
         [&](uint32_t port) { return std::deque<forged_datagram>{{forged(NLMSG_ERROR, port, denied)}}; }},
        {"a list that ends in a refusal", "access_denied",
         [&](uint32_t port) { return std::deque<forged_datagram>{{forged(NLMSG_DONE, port, denied)}}; }},
        {"the end of an empty list", "",
         [&](uint32_t port) { return std::deque<forged_datagram>{{forged(NLMSG_DONE, port, none)}}; }},
        {"the same without a word", "",
         [&](uint32_t port) { return std::deque<forged_datagram>{{forged(NLMSG_DONE, port, "")}}; }},
        {"no refusal where there is a list", "violation",
         [&](uint32_t port) { return std::deque<forged_datagram>{{forged(NLMSG_ERROR, port, none)}}; }},
        {"a message that is longer than its datagram", "violation",
         [&](uint32_t port) { return std::deque<forged_datagram>{{forged(RTM_NEWLINK, port, "", 17)}}; }},
        {"a message that is shorter than its head", "violation",
         [&](uint32_t port) { return std::deque<forged_datagram>{{forged(RTM_NEWLINK, port, "", 15)}}; }},
        {"a route that is none", "violation",
         [&](uint32_t port) {
             return std::deque<forged_datagram>{{forged(RTM_NEWROUTE, port, bad_route)},
                                                {forged(NLMSG_DONE, port, none)}};
         }},
        {"silence", "timed_out",
         [&](uint32_t) {
             return std::deque<forged_datagram>{{"", 0, EAGAIN}};
         }},
        {"a fault of the host", "no_memory",
         [&](uint32_t) {
             return std::deque<forged_datagram>{{"", 0, ENOMEM}};
         }},
    };
    for (const auto& [what, expected, makes] : cases) {
        const forgery between(makes);
        EXPECT_EQ(expected, list_local_routes()) << what;
    }
}

TEST(NetlinkSocket, AsksAgainForWhatChangedMeanwhile) {
    const std::string routes = list_local_routes();
    if (routes.find(' ') == std::string::npos)
        GTEST_SKIP() << "this host lists no local routes: " << routes;
    for (const uint32_t interrupted : {0u, 1u, 7u}) {
        const forgery between({}, interrupted);
        EXPECT_EQ(routes, list_local_routes()) << interrupted;
        EXPECT_EQ(interrupted + 1, between.attempts);
    }
    const forgery between({}, 100);
    EXPECT_EQ("busy", list_local_routes());
    EXPECT_EQ(8u, between.attempts);
}

using receiver = ssize_t (*)(int s, msghdr* message, int flags);

ssize_t receive_forged(receiver host, int s, msghdr* message, int flags) {
    forgery* const between = forgery::current;
    if (between == nullptr || message->msg_namelen != sizeof(sockaddr_nl))
        return host(s, message, flags);
    const ssize_t found = between->look(s, *message);
    if (found != -2)
        return found;
    const ssize_t size = host(s, message, flags);
    between->interrupt(*message, size);
    return size;
}

} // namespace

// The host's functions, in this program and in the library that it links.

extern "C" ssize_t recvmsg(int s, msghdr* message, int flags) {
    static const auto host = reinterpret_cast<receiver>(dlsym(RTLD_NEXT, "recvmsg"));
    return receive_forged(host, s, message, flags);
}

#if __SIZEOF_POINTER__ == 4
// What a 32-bit library with times of 64 bits calls.
extern "C" ssize_t __recvmsg64(int s, msghdr* message, int flags) {
    static const auto host = reinterpret_cast<receiver>(dlsym(RTLD_NEXT, "__recvmsg64"));
    return receive_forged(host, s, message, flags);
}
#endif

extern "C" ssize_t recv(int s, void* buffer, size_t size, int flags) {
    static const auto host = reinterpret_cast<decltype(&recv)>(dlsym(RTLD_NEXT, "recv"));
    forgery* const between = forgery::current;
    return between != nullptr && between->take() ? 0 : host(s, buffer, size, flags);
}

#endif
