// The faults of calls that fail on POSIX hosts, beyond those that the contract of each header names, and what
// is said of each.
#include <cstring>
#include <set>

#include "core/fault.h"
#include "platform/process_support.h"
#include "platform/seam_support.h"
#include "support/descriptor_shortage.h"
#include "support/emulator.h"

using namespace ombrel;
using namespace ombrel_test;

namespace {

#if defined(_WIN32)
#define OMBREL_TEST_NULL_DEVICE "NUL"
#define OMBREL_TEST_NO_PROGRAM OMBREL_TEST_LIBRARY
#else
#define OMBREL_TEST_NULL_DEVICE "/dev/null"
#define OMBREL_TEST_NO_PROGRAM OMBREL_TEST_NULL_DEVICE
#endif

template<typename Work>
int without_descriptors(const Work& work) {
    const auto attempt = [&] {
        const descriptor_shortage shortage;
        const int result = work();
        return std::make_pair(result, last_fault());
    };
    const auto [result, why] = attempt();
    leave_fault(why);
    return result;
}

int start(const char* program) {
    const char* const arguments[] = {program, nullptr};
    return start_child(arguments);
}

/// A client whose server went without a farewell.
owned abandoned() {
    connected_pair pair = connect_pair();
    platform::set_linger(pair.server, true, 0);
    pair.server.close();
    return std::move(pair.client);
}

int receive(const owned& s) {
    char byte[1];
    return receive(s, byte);
}

// What comes behind a reset: Windows goes on to tell that.
#if defined(_WIN32)
constexpr fault_code still_reset = fault_code::reset;
#else
constexpr fault_code still_reset = fault_code::closed;
#endif

/// A call that must give -1.
struct failing_call {
    const char* name;
    fault_code expected;
    int (*make)();
};

const failing_call failing_calls[] = {
    {"a path through a file", fault_code::not_directory,
     [] { return platform::open_file_for_reading(OMBREL_TEST_NULL_DEVICE "/file"); }},
    {"a name that is too long", fault_code::invalid,
     [] { return platform::open_file_for_reading(std::string(300, 'n').c_str()); }},
    {"no descriptor for a file", fault_code::no_descriptor,
     [] {
         return without_descriptors([] { return platform::open_file_for_reading(OMBREL_TEST_NULL_DEVICE); });
     }},
#if !defined(_WIN32) // which has no such limit
    {"no descriptor for a socket", fault_code::no_descriptor,
     [] { return without_descriptors([] { return platform::open_socket(AF_INET, SOCK_STREAM, 0); }); }},
#endif
    {"no descriptor for a pipe", fault_code::no_descriptor,
     [] {
         int ends[2];
         return without_descriptors([&] { return platform::open_pipe(ends) ? 0 : -1; });
     }},
    {"a device that is full", fault_code::no_space,
     [] {
         platform::file_access writing;
         writing.write = true;
         const owned device(platform::open_file("/dev/full", writing));
         return platform::write_file(device, "x", 1);
     }},
    {"a file as a socket", fault_code::bad_descriptor,
     [] {
         const owned file(platform::open_file_for_reading(OMBREL_TEST_NULL_DEVICE));
         return platform::listen_socket(file, 1);
     }},
    {"a foreign address", fault_code::address_not_available,
     [] {
         const owned s = own_socket(platform::open_socket(AF_INET, SOCK_STREAM, 0));
         address foreign(0);
         reinterpret_cast<sockaddr_in&>(foreign.record).sin_addr.s_addr =
             htonl(0xC0000201); // for examples only
         return platform::bind_socket(s, foreign.get(), foreign.size);
     }},
    {"a peer of nobody", fault_code::not_connected,
     [] {
         address peer;
         return platform::peer_address(bound(SOCK_STREAM), peer.get(), &peer.size);
     }},
#if !defined(_WIN32) // whose emulation tells it to nobody but itself
    {"a peer that reset the connection", fault_code::reset, [] { return receive(abandoned()); }},
#endif
    {"a peer that is gone", still_reset,
     [] {
         const owned client = abandoned();
         receive(client);
         return platform::send(client, "x", 1, 0, nullptr, 0);
     }},
    {"a datagram that is too long", fault_code::invalid,
     [] {
         const owned s = bound(SOCK_DGRAM);
         address own(own_port(s));
         static const char bytes[70000] = "";
         return platform::send(s, bytes, sizeof bytes, 0, own.get(), own.size);
     }},
    {"a family of addresses that is none", fault_code::not_supported,
     [] { return platform::open_socket(12345, SOCK_STREAM, 0); }},
};

// Where the host has no words the library has some.
void expect_text(int number, const std::string& text) {
    EXPECT_NE("Unknown error", text) << number;
    if (const std::string of_host = strerror(number); of_host != "Unknown error") {
        EXPECT_EQ(of_host, text);
    }
}

void expect_told(const failing_call& call) {
    leave_fault({});
    ASSERT_EQ(-1, call.make()) << call.name;
    const fault why = last_fault();
    EXPECT_EQ(call.expected, why.code) << call.name << ": " << fault_text(why);
    expect_text(why.number, fault_text(why));
}

TEST(Fault, IsToldByFailingCalls) {
    for (const failing_call& call : failing_calls)
        expect_told(call);
}

TEST(Fault, IsToldByAFileWithoutRightsToRun) {
    if (starts_missing_programs())
        GTEST_SKIP() << "starting a missing program is no error to this emulator";
    expect_told({"a start", fault_code::access_denied, [] { return start(OMBREL_TEST_NO_PROGRAM); }});
}

int host_number_of(fault_code code) {
    return code >= fault_code::unknown_host ? 0 : platform::number_of(code);
}

TEST(Fault, IsLeftAsItIsToldAndKeptOverAScope) {
    for (unsigned i = 1; i < platform::fault_code_count; i++) {
        const auto code = static_cast<fault_code>(i);
        leave_fault(code);
        const fault expected = code != fault_code::other ? fault(code, host_number_of(code)) : fault();
        EXPECT_EQ(expected.code, last_fault().code) << i;
        EXPECT_EQ(expected.number, last_fault().number) << i;
        {
            const fault_keeper kept;
            leave_fault({fault_code::other, 12345});
            EXPECT_EQ(12345, last_fault().number);
        }
        EXPECT_EQ(expected.code, last_fault().code) << i;
    }
}

TEST(Fault, HasATextOfItsOwnWhereTheHostHasNone) {
    std::set<std::string> own_texts;
    for (unsigned i = 0; i < platform::fault_code_count; i++) {
        const auto code = static_cast<fault_code>(i);
        const int number = host_number_of(code);
        if (number == 0)
            EXPECT_TRUE(own_texts.insert(fault_text(code)).second) << i;
        else
            expect_text(number, fault_text(code));
    }
    EXPECT_EQ(5u, own_texts.size()); // none, other, and those that only the library finds
    expect_text(12345, fault_text(platform::fault_of(12345)));
}

} // namespace
