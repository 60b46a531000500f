#include <ombrel/resolver.h>

#include <cstring>
#include <memory>
#include <string>

#include <ombrel/host_socket.h>

#include "support/heap_balance.h"

namespace {

class Resolver : public ombrel_test::balanced_test {};

using answers = std::unique_ptr<ombrel_resolver_t, int (*)(ombrel_resolver_t*)>;

answers resolve(const char* host, int port) {
    return {ombrel_open_resolver(host, port), ombrel_close_resolver};
}

TEST_F(Resolver, TakesNumericTextsApart) {
    const struct {
        const char* host;
        int port;
        int family;
        const char* text;
        int answered_port;
    } cases[] = {
        {"127.0.0.1", 80, AF_INET, "127.0.0.1", 80},
        {"127.0.0.1", -1, AF_INET, "127.0.0.1", 0},
        {"127.0.0.1:90", 80, AF_INET, "127.0.0.1", 90},
        {"010.1.2.3/8", 65535, AF_INET, "10.1.2.3", 65535},
        {"[::]:8080", 80, AF_INET6, "::", 8080},
        {"[2001:db8:0:1:1:1:1:1]", 1, AF_INET6, "2001:db8::1:1:1:1:1", 1},
        {"[::1]:7", -1, AF_INET6, "::1", 7},
        {"fe80::1%1", 9, AF_INET6, "fe80::1%1", 9},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.host);
        const answers list = resolve(c.host, c.port);
        ASSERT_NE(nullptr, list);
        EXPECT_EQ(nullptr, list->m_next);
        EXPECT_EQ(c.family, list->m_family);
        EXPECT_STREQ(c.text, list->m_address_text);
        EXPECT_EQ(c.answered_port, list->m_port);
        EXPECT_EQ(c.family == AF_INET ? 16 : 28, list->m_address_size);
        char text[64];
        int port = -1;
        ombrel_inet_stopp(list->m_address, text, sizeof text, &port);
        EXPECT_STREQ(c.text, text);
        EXPECT_EQ(c.answered_port, port);
    }
}

TEST_F(Resolver, KeepsEachAnswerInOneBlock) {
    const size_t before = ombrel_get_alloc_count();
    const answers list = resolve("127.0.0.1", 80);
    EXPECT_EQ(before + 1, ombrel_get_alloc_count());
    const char* const block = reinterpret_cast<const char*>(list.get());
    EXPECT_EQ(block + sizeof(ombrel_resolver_t), reinterpret_cast<const char*>(list->m_address));
    EXPECT_EQ(block + sizeof(ombrel_resolver_t) + 16, list->m_address_text);
}

TEST_F(Resolver, LetsNullAndEmptyHostsMeanLoopBackAndWildcard) {
    const answers local = resolve(nullptr, 80), wildcard = resolve("", 80);
    ASSERT_NE(nullptr, local);
    ASSERT_NE(nullptr, wildcard);
    for (const ombrel_resolver_t* a = local.get(); a != nullptr; a = a->m_next) {
        EXPECT_STREQ(a->m_family == AF_INET ? "127.0.0.1" : "::1", a->m_address_text);
        EXPECT_EQ(80, a->m_port);
    }
    for (const ombrel_resolver_t* a = wildcard.get(); a != nullptr; a = a->m_next)
        EXPECT_STREQ(a->m_family == AF_INET ? "0.0.0.0" : "::", a->m_address_text);
    EXPECT_EQ(nullptr, resolve(nullptr, -1));
}

TEST_F(Resolver, CopiesLists) {
    const answers list = resolve("", 80);
    const answers copy(ombrel_duplicate_resolver(list.get()), ombrel_close_resolver);
    const ombrel_resolver_t* b = copy.get();
    for (const ombrel_resolver_t* a = list.get(); a != nullptr; a = a->m_next, b = b->m_next) {
        ASSERT_NE(nullptr, b);
        EXPECT_NE(a->m_address, b->m_address);
        EXPECT_STREQ(a->m_address_text, b->m_address_text);
        EXPECT_EQ(0, memcmp(a->m_address, b->m_address, static_cast<size_t>(a->m_address_size)));
        EXPECT_EQ(a->m_port, b->m_port);
    }
    EXPECT_EQ(nullptr, b);
    EXPECT_EQ(nullptr, ombrel_duplicate_resolver(nullptr));
    EXPECT_EQ(0, ombrel_close_resolver(nullptr));
}

TEST_F(Resolver, FailsForUnknownNames) {
    EXPECT_EQ(nullptr, resolve("no.such.name.invalid", 80));
    EXPECT_EQ(nullptr, resolve("1.2.3.256", 80));
    EXPECT_EQ(nullptr, resolve("[::1", 80));
    EXPECT_EQ(-1, ombrel_reload_resolver());
}

} // namespace
