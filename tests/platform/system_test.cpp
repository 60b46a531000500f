// Signals, the environment, libraries, names and whatever else the seam asks the host for.
#include <array>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <set>
#include <thread>

#include "platform/allocator.h"
#include "platform/environment.h"
#include "platform/framebuffer.h"
#include "platform/host_window.h"
#include "platform/identity.h"
#include "platform/library_loader.h"
#include "platform/network_database.h"
#include "platform/network_interface.h"
#include "platform/processor.h"
#include "platform/random.h"
#include "platform/resolver.h"
#include "platform/seam_support.h"
#include "platform/signal.h"
#include "platform/system.h"

using namespace ombrel_test;

namespace {

volatile std::sig_atomic_t caught_number, caught_fault = -1, earlier_number;

TEST(Signal, IsCaughtAndGivenBack) {
    const auto catcher = [](int number, bool fault) {
        caught_number = number;
        caught_fault = fault;
    };
    for (const int number : {SIGTERM, SIGINT}) {
        earlier_number = 0;
        const auto before = std::signal(number, [](int got) { earlier_number = got; });
        EXPECT_TRUE(platform::catch_signal(number, catcher));
        for (int i = 0; i < 2; i++) {
            caught_number = 0;
            std::raise(number);
            EXPECT_EQ(number, caught_number) << "each time";
        }
        EXPECT_EQ(0, caught_fault);
        platform::restore_signal(number);
        std::raise(number);
        EXPECT_EQ(number, earlier_number);
        std::signal(number, before);
    }
    for (const int number : {-1, 0, platform::signal_limit})
        EXPECT_FALSE(platform::catch_signal(number, catcher));
    EXPECT_STREQ("SIGTERM", platform::signal_name(SIGTERM));
    EXPECT_STREQ("SIGSEGV", platform::signal_name(SIGSEGV));
    EXPECT_STREQ("signal", platform::signal_name(0));
    EXPECT_TRUE(platform::is_segment_fault(SIGSEGV));
    EXPECT_FALSE(platform::is_segment_fault(SIGTERM));
    testing::internal::CaptureStderr();
    platform::write_error_text("told\n");
    EXPECT_EQ("told\n", testing::internal::GetCapturedStderr());
}

TEST(Environment, VariablesAreSetReplacedAndListed) {
    const char* const name = "OMBREL_SEAM_VARIABLE";
    EXPECT_EQ(nullptr, platform::environment_variable(name).get());
    for (const char* const value : {"one", "two words = 2", ""}) {
        EXPECT_EQ(0, platform::set_environment_variable(name, value));
        EXPECT_STREQ(value, platform::environment_variable(name).get());
        EXPECT_STREQ(value, platform::trusted_environment_variable(name).get());
        const std::string assignment = std::string(name) + "=" + value;
        int listed = 0;
        for (char** one = platform::environment(); *one != nullptr; one++)
            listed += assignment == *one;
        EXPECT_EQ(1, listed) << assignment;
    }
    EXPECT_EQ(0, platform::put_environment("OMBREL_SEAM_VARIABLE=put"));
    EXPECT_STREQ("put", platform::environment_variable(name).get());
    for (const char* const bad : {"", "A=B"}) {
        EXPECT_EQ(-1, platform::set_environment_variable(bad, "value"));
        EXPECT_EQ(fault_code::invalid, last_code());
    }
}

TEST(Random, FillsExactlyWhatItIsGivenDifferentlyEachTime) {
    std::array<std::set<unsigned char>, 33> seen;
    for (int i = 0; i < 64; i++) {
        unsigned char bytes[35] = {0xA5};
        bytes[34] = 0x5A;
        platform::fill_random(bytes + 1, sizeof bytes - 2);
        ASSERT_TRUE(bytes[0] == 0xA5 && bytes[34] == 0x5A);
        for (size_t at = 0; at < seen.size(); at++)
            seen[at].insert(bytes[1 + at]);
    }
    for (const auto& values : seen)
        EXPECT_LT(16u, values.size());
    platform::fill_random(nullptr, 0);
}

TEST(Libraries, AreOpenedWithTheirSymbols) {
    void* const library = platform::open_library(OMBREL_TEST_LIBRARY, 0);
    ASSERT_NE(nullptr, library) << platform::library_error();
    EXPECT_NE(nullptr, platform::library_symbol(library, "ombrel_get_tuk_version"));
    EXPECT_EQ(nullptr, platform::library_symbol(library, "ombrel_there_is_no_such_symbol"));
    EXPECT_EQ(0, platform::close_library(library));
    while (platform::library_error() != nullptr)
        continue;
    EXPECT_EQ(nullptr, platform::open_library("/ombrel/there_is_no_such_library" OMBREL_LIBRARY_SUFFIX, 0));
    const char* const error = platform::library_error();
    EXPECT_TRUE(error != nullptr && *error != '\0');
    EXPECT_EQ(nullptr, platform::library_error()) << "told once";
    void* const program = platform::open_library(nullptr, 0);
    EXPECT_NE(nullptr, program);
    platform::close_library(program);
    const char* const own = platform::own_library_path();
    EXPECT_TRUE(own != nullptr && platform::file_exists(own));
}

TEST(System, TellsWhatItIs) {
    EXPECT_LT(0, platform::process_id());
    EXPECT_EQ(platform::process_id(), platform::process_id());
    for (const char* const name : {platform::os_name(), platform::libc_name(), platform::locale_codeset()})
        EXPECT_TRUE(name != nullptr && *name != '\0');
    EXPECT_LT(0u, platform::os_release().part[0]);
    constexpr uint32_t of_x86 = 0xffff, of_arm = 0xffff0000;
    const uint32_t features = platform::processor_features();
    EXPECT_TRUE((features & of_x86) == 0 || (features & of_arm) == 0);
    EXPECT_EQ(features, platform::processor_features());
    platform::framebuffer device{};
    EXPECT_EQ(-1, platform::open_framebuffer("/ombrel/no_such_device", device));
    EXPECT_TRUE(platform::has_host_windows() || platform::open_host_window({}, {}) == nullptr);
}

TEST(System, MemoryIsReadOnlyWhereItCanBe) {
    char copy[8] = "kept";
    EXPECT_TRUE(platform::copy_if_readable(copy, "1234567", 8));
    EXPECT_STREQ("1234567", copy);
    for (const uintptr_t nowhere : {uintptr_t{0}, uintptr_t{16}, UINTPTR_MAX - 15}) {
        platform::leave_fault(platform::fault_code::no_memory);
        EXPECT_FALSE(platform::copy_if_readable(copy, reinterpret_cast<const void*>(nowhere), sizeof copy));
        EXPECT_EQ(platform::fault_code::no_memory, platform::last_fault().code);
        EXPECT_STREQ("1234567", copy);
    }
    constexpr size_t size = size_t{16} << 20;
    auto* const zeros = static_cast<unsigned char*>(platform::sparse_zeros(size));
    ASSERT_NE(nullptr, zeros);
    for (size_t at = 0; at < size; at += 65537) {
        EXPECT_EQ(0, zeros[at]);
        zeros[at] = 1;
    }
    for (const size_t offset : {size_t{1}, size_t{3} << 20, size})
        platform::expect_full_use(zeros + offset, size - offset);
    EXPECT_EQ(platform::fault_code::no_memory, platform::last_fault().code) << "a hint";
    for (size_t at = 0; at < size; at += 65537)
        EXPECT_EQ(1, zeros[at]);
}

TEST(System, TheAllocatorKnowsItsBlocks) {
    for (size_t size = 1; size < 100000; size = size * 3 / 2 + 1) {
        void* volatile made = malloc(size); // of which the compiler is to know nothing
        void* const block = made;
        memset(block, 0x55, size);
        EXPECT_NE(platform::verdict::bad, platform::check_size(block, size)) << size;
        for (const auto range : {platform::look::near, platform::look::far, platform::look::far_and_checked})
            EXPECT_TRUE(platform::can_be_freed(block, size, range)) << size;
        free(block);
    }
}

TEST(Names, AddressTextsNeedNoServer) {
    const struct {
        const char* host;
        unsigned flags;
    } cases[] = {{"127.0.0.1", 0},
                 {"127.0.0.1", platform::query_canonical_name},
                 {nullptr, platform::query_passive},
                 {nullptr, 0}};
    for (const auto& one : cases) {
        platform::name_query query;
        query.host = one.host;
        query.service = "4711";
        query.socket_type = SOCK_STREAM;
        query.flags = one.flags;
        platform::name_answers answers(query);
        bool has_ipv4 = false;
        for (platform::name_answer answer{}; answers.next(answer);) {
            EXPECT_EQ(answer.family, answer.address->sa_family);
            if (answer.family != AF_INET)
                continue;
            has_ipv4 = true;
            sockaddr_in address;
            ASSERT_EQ(sizeof address, answer.address_size);
            memcpy(&address, answer.address, sizeof address);
            EXPECT_EQ(4711, ntohs(address.sin_port));
            const bool is_any = (one.flags & platform::query_passive) != 0;
            EXPECT_EQ(is_any ? INADDR_ANY : INADDR_LOOPBACK, ntohl(address.sin_addr.s_addr));
            if ((one.flags & platform::query_canonical_name) != 0) {
                EXPECT_STREQ("127.0.0.1", answer.canonical_name);
            }
        }
        EXPECT_TRUE(has_ipv4);
    }
}

TEST(Names, TheDatabaseDoesNotMakeThemUp) {
    int number = -7;
    if (platform::find_protocol("udp", number)) {
        EXPECT_EQ(17, number);
    }
    number = -7;
    EXPECT_FALSE(platform::find_protocol("ombrel_no_protocol", number));
    EXPECT_FALSE(platform::find_service("ombrel_no_service", "tcp", number));
    EXPECT_EQ(-7, number);
    char name[1024] = "";
    EXPECT_TRUE(platform::host_name(name, sizeof name));
    EXPECT_NE('\0', name[0]);
    EXPECT_FALSE(platform::host_name(name, 1)) << "it does not fit";
}

TEST(Interfaces, AreListedWithTheirIndexes) {
    platform::interface_list list;
    ASSERT_TRUE(list.is_open());
    int counts[2] = {0, 0};
    ombrel_network_interface_t one;
    ombrel_interface_statistics_t statistics;
    bool has_loopback = false, has_statistics = false;
    for (int& count : counts) {
        list.rewind();
        for (; list.next(one, statistics, has_statistics) == 1; count++) {
            char name[64];
            EXPECT_EQ(one.m_index, platform::interface_index(one.m_name)) << one.m_name;
            EXPECT_NE(0u, one.m_index);
            EXPECT_TRUE(platform::interface_name(one.m_index, name, sizeof name));
            EXPECT_STREQ(one.m_name, name);
            constexpr uint32_t wanted = def_ombrel_interface_loopback | def_ombrel_interface_up;
            has_loopback |= (one.m_flags & wanted) == wanted;
        }
    }
    EXPECT_TRUE(has_loopback);
    EXPECT_EQ(counts[0], counts[1]);
    EXPECT_EQ(0u, platform::interface_index("ombrel_none"));
}

} // namespace
