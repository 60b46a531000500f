#include <ombrel/address.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/host_socket.h>

#if !defined(_WIN32)
#include <arpa/inet.h>
#endif

namespace {

using raw_ipv6 = std::array<uint8_t, 16>;

const in6_addr* as_in6(const raw_ipv6& bytes) {
    return reinterpret_cast<const in6_addr*>(bytes.data());
}

/// An address the platform's own reader understands.
raw_ipv6 ipv6(const char* text) {
    raw_ipv6 bytes{};
    EXPECT_EQ(1, inet_pton(AF_INET6, text, bytes.data())) << text;
    return bytes;
}

sockaddr_storage address(const char* text, int port = 0) {
    sockaddr_storage record;
    EXPECT_EQ(0, ombrel_inet_ptos(0, text, port, &record, sizeof record)) << text;
    return record;
}

sockaddr* as_sockaddr(sockaddr_storage& record) {
    return reinterpret_cast<sockaddr*>(&record);
}

std::vector<std::string> words(const char* text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

std::string print(sockaddr_storage record, int* port = nullptr) {
    char text[64];
    EXPECT_EQ(text, ombrel_inet_stopp(as_sockaddr(record), text, sizeof text, port));
    return text;
}

TEST(AddressText, ReadsAndPrints) {
    // A text, how it is printed, and its port: 7 is the default of the call.
    std::istringstream rows(
        "001.02.3.010 1.2.3.10 7  1.2.3.4/24:8080 1.2.3.4 8080  [1.2.3.4] 1.2.3.4 7  "
        "[1.2.3.4/32]:65535 1.2.3.4 65535  1.2.3.4:0 1.2.3.4 0  1.2.3.4:00080 1.2.3.4 80  :: :: 7  "
        "1:: 1:: 7  ::1 ::1 7  ::2 ::2 7  ::102:304 ::1.2.3.4 7  ::ffff:c000:0201 ::ffff:192.0.2.1 7  "
        "::FFFF:0:0 ::ffff:0.0.0.0 7  1:2:3:4:5::1.2.3.4 1:2:3:4:5::102:304 7  "
        "1:2:3:4:5:6:1.2.3.4 1:2:3:4:5:6:102:304 7  "
        "2001:DB8:0:1:1:1:1:1 2001:db8::1:1:1:1:1 7  1:0:0:2:3:0:0:4 1::2:3:0:0:4 7  "
        "1:0:2:0:0:3:0:0 1:0:2::3:0:0 7  1:2:3:4:5:6:7:: 1:2:3:4:5:6:7:: 7  "
        "::2:3:4:5:6:7:8 ::2:3:4:5:6:7:8 7  1:2:3:4:5:6:7:8:80 1:2:3:4:5:6:7:8 80  "
        "[fe80::1%3]:80 fe80::1%3 80  fe80::1%4294967295/128 fe80::1%4294967295 7  "
        "[fe80::1%lo/9]:80 fe80::1%1 80");
    std::string text, printed;
    for (int expected_port; rows >> text >> printed >> expected_port;) {
        SCOPED_TRACE(text);
        sockaddr_storage record;
        ASSERT_EQ(0, ombrel_inet_ptos(0, text.c_str(), 7, &record, sizeof record));
        const bool colons = printed.find(':') != std::string::npos;
        const int family = colons ? AF_INET6 : AF_INET, other = colons ? AF_INET : AF_INET6;
        EXPECT_EQ(family, ombrel_sockaddr_domain(as_sockaddr(record)));
        int port = -1;
        EXPECT_EQ(printed, print(record, &port));
        EXPECT_EQ(expected_port, port);
        EXPECT_EQ(0, ombrel_inet_ptos(family, text.c_str(), 7, nullptr, 0));
        EXPECT_EQ(-1, ombrel_inet_ptos(other, text.c_str(), 7, nullptr, 0));
    }
    EXPECT_TRUE(rows.eof());
}

TEST(AddressText, RefusesEverythingElse) {
    const std::string long_name = "fe80::1%" + std::string(100000, 'x');
    std::vector<std::string> texts = words(
        "1.2.3 1.2.3. 1.2.3.4. 1.2.3.4.5 1..2.3 1234 1.2.3.256 1.2.3.0004 1.2.3.-4 +1.2.3.4 "
        "1.2.3.4] [1.2.3.4 [1.2.3.4]] [[1.2.3.4] 1.2.3.4/ 1.2.3.4/33 1.2.3.4/024 [1.2.3.4]/24 "
        "1.2.3.4: 1.2.3.4:65536 1.2.3.4:000080 1.2.3.4:80/24 1.2.3.4%1 [] : ::: :::80 1:::2 1 1:2:3:4:5:6:7 "
        "1:2:3:4:5:6:7: 1:2:3:4:5:6:7:8: :1:2:3:4:5:6:7 1::2::3 12345:: g:: 1:2:3:4:5:6:7:8:: "
        "::1:2:3:4:5:6:7:8 1:2:3:4::5:6:7:8 1:2:3:4:5:6:7:1.2.3.4 1:2:3:4:5:6::1.2.3.4 ::1.2.3 "
        "::1.2.3.4.5 ::1.2.3.4:5:6 ::1.2.3.256 1.2.3.4:: [::1 ::1] [::1]] ::1/129 ::1/0128 ::1/ "
        "[::1]: [::1]:65536 [::1]80 fe80::1% fe80::1%/64 [fe80::1%] fe80::1%4294967296 "
        "fe80::1%no-such-name fe80::1%3] ::1: localhost");
    texts.insert(texts.end(), {"", " 1.2.3.4", "1.2.3.4 ", long_name});
    for (const std::string& text : texts) {
        for (int family : {0, AF_INET, AF_INET6}) {
            std::string out(sizeof(sockaddr_storage), 'x');
            EXPECT_EQ(-1, ombrel_inet_ptos(family, text.c_str(), 0, out.data(), out.size())) << text;
            EXPECT_EQ(std::string(out.size(), '\0'), out) << text;
        }
    }
    EXPECT_EQ(-1, ombrel_inet_ptos(0, nullptr, 0, nullptr, 0));
    EXPECT_EQ(-1, ombrel_inet_ptos(AF_UNIX, "1.2.3.4", 0, nullptr, 0));
    EXPECT_EQ(-1, ombrel_inet_ptos(0, "1.2.3.4", 65536, nullptr, 0));
    EXPECT_EQ(0, ombrel_inet_ptos(0, "1.2.3.4:1", -1, nullptr, 0));
}

TEST(AddressText, KeepsToTheOutputsSize) {
    const std::string untouched(40, 'x');
    const struct {
        const char* text;
        size_t room;
        int result;
    } cases[] = {{"1.2.3.4", sizeof(sockaddr_in) - 1, -1},
                 {"::1", sizeof(sockaddr_in), -1},
                 {"1.2.3.4", sizeof(sockaddr_in6), 0}};
    for (const auto& c : cases) {
        std::string out = untouched;
        EXPECT_EQ(c.result, ombrel_inet_ptos(0, c.text, 0, out.data(), c.room));
        EXPECT_EQ('\0', out[c.room - 1]);
        EXPECT_EQ(untouched.substr(c.room), out.substr(c.room));
    }
    char text[] = "xxxxxxxxxx";
    const raw_ipv6 raw = ipv6("2001:db8::1");
    EXPECT_EQ(text, ombrel_inet_ntop(AF_INET6, raw.data(), text, 6));
    EXPECT_STREQ("2001:", text);
    EXPECT_EQ('x', text[6]);
    EXPECT_EQ(text, ombrel_inet_ntop(AF_INET6, raw.data(), text, 1));
    EXPECT_STREQ("", text);
    EXPECT_EQ(nullptr, ombrel_inet_ntop(AF_INET6, raw.data(), text, 0));
    EXPECT_EQ(nullptr, ombrel_inet_ntop(AF_INET6, raw.data(), nullptr, 9));
}

TEST(AddressText, PrintsOtherFamiliesAndNull) {
    char text[16] = "x";
    int port = 5;
    sockaddr_storage record{};
    EXPECT_EQ(text, ombrel_inet_stopp(as_sockaddr(record), text, sizeof text, &port));
    EXPECT_STREQ("?UNSPEC", text);
    EXPECT_EQ(0, port);
    record.ss_family = AF_UNIX;
    EXPECT_EQ(nullptr, ombrel_inet_stop(as_sockaddr(record), text, sizeof text));
    EXPECT_STREQ("", text);
    EXPECT_EQ(nullptr, ombrel_inet_stop(nullptr, text, sizeof text));
    EXPECT_STREQ("0.0.0.0", ombrel_inet_ntop(AF_INET, nullptr, text, sizeof text));
    EXPECT_STREQ("::", ombrel_inet_ntop(AF_INET6, nullptr, text, sizeof text));
    EXPECT_EQ(nullptr, ombrel_inet_ntop(AF_UNSPEC, &port, text, sizeof text));
    EXPECT_STREQ("", text);
}

/// Random addresses whose groups are often zero or small.
raw_ipv6 random_ipv6(std::mt19937& random) {
    raw_ipv6 raw{};
    for (size_t i = 0; i < raw.size(); i += 2) {
        const auto shape = random() % 4;
        raw[i] = shape == 3 ? static_cast<uint8_t>(random()) : 0;
        raw[i + 1] = shape >= 2 ? static_cast<uint8_t>(random()) : 0;
    }
    return raw;
}

bool has_lonely_zero_run(const raw_ipv6& raw) {
    int longest = 0, run = 0;
    for (size_t i = 0; i < raw.size(); i += 2) {
        run = raw[i] == 0 && raw[i + 1] == 0 ? run + 1 : 0;
        longest = std::max(longest, run);
    }
    return longest == 1;
}

TEST(AddressText, AgreesWithThePlatform) {
    std::mt19937 random(1);
    for (int i = 0; i < 20000; i++) {
        const raw_ipv6 raw = random_ipv6(random);
        char ours[64], theirs[64];
        for (int family : {AF_INET, AF_INET6}) {
            const size_t size = family == AF_INET ? 4 : 16;
            ASSERT_EQ(theirs, inet_ntop(family, raw.data(), theirs, sizeof theirs));
            ASSERT_EQ(ours, ombrel_inet_ntop(family, raw.data(), ours, sizeof ours));
            if (family == AF_INET || !has_lonely_zero_run(raw)) {
                ASSERT_STREQ(theirs, ours);
            }
            for (const char* text : {theirs, ours}) {
                raw_ipv6 back{};
                ASSERT_EQ(0, ombrel_inet_pton(family, text, back.data())) << text;
                ASSERT_TRUE(std::equal(raw.begin(), raw.begin() + size, back.begin())) << text;
            }
        }
    }
}

TEST(AddressText, RefusesDamagedTextsAsThePlatformDoes) {
    std::mt19937 random(2);
    for (int i = 0; i < 100000; i++) {
        char text[64];
        inet_ntop(AF_INET6, random_ipv6(random).data(), text, sizeof text);
        std::string damaged = text;
        for (auto change = random() % 3 + 1; change > 0 && !damaged.empty(); change--) {
            const bool erases = random() % 2 == 0;
            damaged.replace(random() % damaged.size(), erases ? 1 : 0, erases ? 0 : 1,
                            ":1a.gf"[random() % 6]);
        }
        raw_ipv6 ours{}, theirs{};
        if (inet_pton(AF_INET6, damaged.c_str(), theirs.data()) == 1) {
            ASSERT_EQ(0, ombrel_inet_pton(AF_INET6, damaged.c_str(), ours.data())) << damaged;
            ASSERT_EQ(theirs, ours) << damaged;
        } else if (ombrel_inet_pton(AF_INET6, damaged.c_str(), ours.data()) == 0) {
            // Only a port or leading zeros of an IPv4 tail are understood beyond what the platform takes.
            ASSERT_TRUE(std::count(damaged.begin(), damaged.end(), ':') >= 8 ||
                        damaged.find('.') != std::string::npos)
                << damaged;
        }
    }
}

TEST(SocketAddress, SizeAndPort) {
    sockaddr_storage v4 = address("1.2.3.4"), v6 = address("::1"), other{};
    for (const auto& [size, expected] : {std::pair{0, 16}, {20, 16}, {8, 8}, {-1, 16}})
        EXPECT_EQ(expected, ombrel_sockaddr_size(as_sockaddr(v4), size)) << size;
    for (const auto& [size, expected] : {std::pair{28, 28}, {29, 28}, {16, 16}})
        EXPECT_EQ(expected, ombrel_sockaddr_size(as_sockaddr(v6), size)) << size;
    EXPECT_EQ(99, ombrel_sockaddr_size(as_sockaddr(other), 99));
    EXPECT_EQ(0, ombrel_sockaddr_size(nullptr, 16));

    for (sockaddr_storage* record : {&v4, &v6, &other}) {
        EXPECT_EQ(0, ombrel_sockaddr_set_port(as_sockaddr(*record), 65535));
        EXPECT_EQ(-1, ombrel_sockaddr_set_port(as_sockaddr(*record), 65536));
    }
    EXPECT_EQ(htons(65535), reinterpret_cast<sockaddr_in*>(&v4)->sin_port);
    EXPECT_EQ(htons(65535), reinterpret_cast<sockaddr_in6*>(&v6)->sin6_port);
    EXPECT_EQ(0, reinterpret_cast<sockaddr_in*>(&other)->sin_port);
    EXPECT_EQ(-1, ombrel_sockaddr_set_port(as_sockaddr(v4), -1));
    EXPECT_EQ(-1, ombrel_sockaddr_set_port(nullptr, 80));
    EXPECT_EQ(0, ombrel_sockaddr_domain(as_sockaddr(other)));
    EXPECT_EQ(0, ombrel_sockaddr_domain(nullptr));
}

TEST(SocketAddress, ComparesAddressesOnly) {
    std::istringstream rows("1.2.3.4:1 1.2.3.4:2 0  1.2.3.4 1.2.3.5 -1  fe80::1%1 [fe80::1%2]:9 0  "
                            "::1 ::2 -1  1.2.3.4 ::ffff:1.2.3.4 -1");
    std::string first, second;
    for (int result; rows >> first >> second >> result;) {
        sockaddr_storage a = address(first.c_str()), b = address(second.c_str());
        EXPECT_EQ(result, ombrel_compare_sockaddr_address(as_sockaddr(a), as_sockaddr(b))) << first;
        EXPECT_EQ(-1, ombrel_compare_sockaddr_address(as_sockaddr(a), nullptr));
        EXPECT_EQ(-1, ombrel_compare_sockaddr_address(nullptr, as_sockaddr(b)));
    }
    EXPECT_TRUE(rows.eof());
    EXPECT_EQ(0, ombrel_compare_sockaddr_address(nullptr, nullptr));
}

TEST(SocketAddress, ScopeAndPrefix) {
    // An address, its scope, a prefix, and what the prefix leaves.
    std::istringstream rows(
        "0.0.0.0 0 32 0.0.0.0  169.254.3.4 2 31 169.254.3.4  172.31.255.255 5 12 172.16.0.0  "
        "172.15.0.1 14 32 172.15.0.1  172.32.0.1 14 24 172.32.0.0  224.0.0.251 2 1 128.0.0.0  239.192.1.1 8 "
        "8 239.0.0.0  :: 0 0 ::  "
        "127.255.0.1 1 8 127.0.0.0  126.0.0.1 14 32 126.0.0.1  10.255.1.2 5 0 0.0.0.0  11.0.0.1 14 32 "
        "11.0.0.1  "
        "192.168.255.1 5 32 192.168.255.1  192.169.0.1 14 32 192.169.0.1  169.253.0.1 14 32 169.253.0.1  "
        "239.255.1.1 5 32 239.255.1.1  239.195.1.1 8 32 239.195.1.1  239.196.1.1 14 32 239.196.1.1  "
        "224.0.1.1 14 32 224.0.1.1  0.0.0.1 14 32 0.0.0.1  ::10.0.0.1 5 128 ::10.0.0.1  ::2 14 128 ::2  "
        "::1 1 127 ::  fe80::1%3 2 10 fe80::%3  fec0::1 5 128 fec0::1  ff03::1 3 16 ff03::  "
        "::ffff:10.0.0.1 5 120 ::ffff:10.0.0.0  2001:db8:ffff::1 14 33 2001:db8:8000::");
    std::string text, masked;
    for (int scope, prefix; rows >> text >> scope >> prefix >> masked;) {
        SCOPED_TRACE(text);
        sockaddr_storage record = address(text.c_str());
        EXPECT_EQ(scope, ombrel_sockaddr_scope(as_sockaddr(record)));
        const int bits = record.ss_family == AF_INET ? 32 : 128;
        EXPECT_EQ(-1, ombrel_prefix_sockaddr(as_sockaddr(record), bits + 1));
        EXPECT_EQ(-1, ombrel_prefix_sockaddr(as_sockaddr(record), -1));
        EXPECT_EQ(0, ombrel_prefix_sockaddr(as_sockaddr(record), prefix));
        EXPECT_EQ(masked, print(record));
    }
    EXPECT_TRUE(rows.eof());
    EXPECT_EQ(-1, ombrel_sockaddr_scope(nullptr));
    EXPECT_EQ(-1, ombrel_prefix_sockaddr(nullptr, 8));
}

TEST(Ipv6Address, Predicates) {
    constexpr const char* multicast = "ff01::1 ff11::1 ff02::1 ff05::1 ff08::1 ff0e::1";
    constexpr const char* node = "ff01::1 ff11::1";
    const struct {
        int (*check)(const in6_addr*);
        const char* members;
    } cases[] = {{ombrel_in6addr_is_unspecified, "::"},
                 {ombrel_in6addr_is_loopback, "::1"},
                 {ombrel_in6addr_is_link_local, "fe80::1 febf::1"},
                 {ombrel_in6addr_is_site_local, "fec0::1 feff::1"},
                 {ombrel_in6addr_is_multicast, multicast},
                 {ombrel_inet6_is_multicast, multicast},
                 {ombrel_in6addr_is_v4_mapped, "::ffff:1.2.3.4"},
                 {ombrel_in6addr_is_v4_compatible, "::2 ::1.2.3.4"},
                 {ombrel_in6addr_is_multicast_node_local, node},
                 {ombrel_in6addr_is_multicast_interface_local, node},
                 {ombrel_in6addr_is_multicast_link_local, "ff02::1"},
                 {ombrel_in6addr_is_multicast_site_local, "ff05::1"},
                 {ombrel_in6addr_is_multicast_org_local, "ff08::1"},
                 {ombrel_in6addr_is_multicast_global, "ff0e::1"},
                 {ombrel_in6addr_is_scope_link_local, "fe80::1 febf::1 ff02::1"},
                 {ombrel_in6addr_is_scope_embeddable, "fe80::1 febf::1 ff01::1 ff11::1 ff02::1"}};
    const std::vector<std::string> all =
        words(":: ::1 ::2 ::1.2.3.4 ::ffff:1.2.3.4 ::1:ffff:1.2.3.4 fe80::1 febf::1 fe7f::1 fec0::1 feff::1 "
              "ff01::1 ff11::1 ff02::1 ff05::1 ff08::1 ff0e::1 2001:db8::1");
    for (const auto& c : cases) {
        std::string members;
        for (const std::string& text : all)
            if (c.check(as_in6(ipv6(text.c_str()))) == 1)
                members += (members.empty() ? "" : " ") + text;
        EXPECT_EQ(c.members, members);
        EXPECT_EQ(0, c.check(nullptr)) << c.members;
    }
    EXPECT_EQ(14, ombrel_in6addr_multicast_scope(as_in6(ipv6("ff3e::1"))));
    EXPECT_EQ(0, ombrel_in6addr_multicast_scope(nullptr));
}

TEST(Ipv6Address, IsCopiedAndCompared) {
    const raw_ipv6 low = ipv6("::ff"), high = ipv6("8000::");
    in6_addr copy = *as_in6(high);
    EXPECT_EQ(0, ombrel_in6addr_copy(&copy, as_in6(low)));
    EXPECT_EQ(0, ombrel_in6addr_compare(&copy, as_in6(low)));
    EXPECT_EQ(-1, ombrel_in6addr_compare(&copy, as_in6(high)));
    EXPECT_EQ(1, ombrel_in6addr_compare(as_in6(high), &copy));
    EXPECT_EQ(-1, ombrel_in6addr_compare(nullptr, &copy));
    EXPECT_EQ(1, ombrel_in6addr_compare(&copy, nullptr));
    EXPECT_EQ(0, ombrel_in6addr_compare(nullptr, nullptr));
    EXPECT_EQ(-1, ombrel_in6addr_copy(&copy, nullptr));
    EXPECT_EQ(-1, ombrel_in6addr_copy(nullptr, &copy));
}

TEST(SocketAddress, MulticastIsKnownByFamily) {
    for (const char* text : {"223.255.255.255", "224.0.0.0", "239.255.255.255", "240.0.0.0"}) {
        sockaddr_storage record = address(text);
        const int expected = IN_MULTICAST(ntohl(inet_addr(text)));
        EXPECT_EQ(expected, ombrel_is_multicast(as_sockaddr(record))) << text;
        EXPECT_EQ(expected, ombrel_inet_is_multicast(&reinterpret_cast<sockaddr_in*>(&record)->sin_addr));
    }
    for (const auto& [text, expected] : {std::pair{"ff02::1", 1}, {"fe80::1", 0}, {"e000::1", 0}}) {
        sockaddr_storage record = address(text);
        EXPECT_EQ(expected, ombrel_is_multicast(as_sockaddr(record))) << text;
    }
    sockaddr_storage none{};
    EXPECT_EQ(0, ombrel_is_multicast(as_sockaddr(none)));
    EXPECT_EQ(0, ombrel_is_multicast(nullptr));
    EXPECT_EQ(0, ombrel_inet_is_multicast(nullptr));
}

TEST(InternetChecksum, VerifiesWhatItSums) {
    // An IPv4 header whose checksum field holds b861 in network order.
    const uint8_t header[] = {0x45, 0,    0,    0x73, 0, 0, 0x40, 0,    0x40, 0x11,
                              0xb8, 0x61, 0xc0, 0xa8, 0, 1, 0xc0, 0xa8, 0,    0xc7};
    EXPECT_EQ(0, ombrel_rfc1071_checksum(header, sizeof header));
    EXPECT_EQ(0xffff, ombrel_rfc1071_checksum(nullptr, 5));
    EXPECT_EQ(0xffff - 7, ombrel_rfc1071_checksum("\7", 1));
    EXPECT_EQ(0xfffe, ombrel_rfc1071_checksum("\xff\xff\xff\xff\1", 5)) << "the first fold carries again";
    const std::vector<uint8_t> ones(131072, 0xff);
    EXPECT_EQ(0, ombrel_rfc1071_checksum(ones.data(), ones.size()));
}

} // namespace
