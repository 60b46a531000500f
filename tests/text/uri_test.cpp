#include <string>

#include <gtest/gtest.h>

#include <ombrel/uri.h>

#include "support/heap_balance.h"

namespace {

class UriTest : public ombrel_test::balanced_test {};

/// All parts in one line, absent ones as "-".
std::string parts_of(const char* text) {
    ombrel_uri_t* uri = ombrel_parse_uri(text);
    if (uri == nullptr)
        return "refused";
    std::string result;
    const auto add = [&result](const char* part) { result.append(part != nullptr ? part : "-").append("|"); };
    for (const char* part : {uri->m_scheme, uri->m_user, uri->m_password, uri->m_host})
        add(part);
    add(std::to_string(uri->m_port).c_str());
    for (const char* part : {uri->m_path, uri->m_query, uri->m_fragment})
        add(part);
    result += uri->m_rest;
    EXPECT_EQ(0, ombrel_free_uri(uri));
    return result;
}

struct uri_case {
    const char* text;
    const char* parts; // scheme|user|password|host|port|path|query|fragment|rest
};

constexpr uri_case cases[] = {
    // The standard's own examples.
    {"foo://example.com:8042/over/there?name=ferret#nose",
     "foo|-|-|example.com|8042|/over/there|name=ferret|nose|//example.com:8042/over/there?name=ferret#nose"},
    {"urn:example:animal:ferret:nose",
     "urn|-|-|-|-1|example:animal:ferret:nose|-|-|example:animal:ferret:nose"},
    {"ldap://[2001:db8::7]/c=GB?objectClass?one",
     "ldap|-|-|2001:db8::7|-1|/c=GB|objectClass?one|-|//[2001:db8::7]/c=GB?objectClass?one"},
    {"mailto:J.Doe@example.com", "mailto|-|-|-|-1|J.Doe@example.com|-|-|J.Doe@example.com"},
    {"telnet://192.0.2.16:80/", "telnet|-|-|192.0.2.16|80|/|-|-|//192.0.2.16:80/"},
    // User information.
    {"FTP://an%40a:p:w%2f@h/d", "ftp|an@a|p:w/|h|-1|/d|-|-|//an%40a:p:w%2f@h/d"},
    {"ftp://u:p@ss@h", "ftp|u|p@ss|h|-1||-|-|//u:p@ss@h"},
    {"ftp://@h", "ftp||-|h|-1||-|-|//@h"},
    {"ftp://u:@h", "ftp|u||h|-1||-|-|//u:@h"},
    // Hosts and ports.
    {"tcp://[fe80::1%25eth0]:9", "tcp|-|-|fe80::1%eth0|9||-|-|//[fe80::1%25eth0]:9"},
    {"tcp://[::ffff:1.2.3.4]", "tcp|-|-|::ffff:1.2.3.4|-1||-|-|//[::ffff:1.2.3.4]"},
    {"tcp://[v1f.x]", "tcp|-|-|v1f.x|-1||-|-|//[v1f.x]"},
    {"tcp://h:", "tcp|-|-|h|-1||-|-|//h:"},
    {"tcp://h:00065535?q", "tcp|-|-|h|65535||q|-|//h:00065535?q"},
    {"tcp://:0", "tcp|-|-||0||-|-|//:0"},
    {"file:///etc/motd", "file|-|-||-1|/etc/motd|-|-|///etc/motd"},
    // Separators in later parts, and empty parts.
    {"a2:b?c#d?e#f/g@h:i", "a2|-|-|-|-1|b|c|d?e#f/g@h:i|b?c#d?e#f/g@h:i"},
    {"x+y-z.://#", "x+y-z.|-|-||-1||-||//#"},
    {"ab:?", "ab|-|-|-|-1|||-|?"},
    {"ab:", "ab|-|-|-|-1||-|-|"},
    // Read kindly.
    {"file:a b\xc3\xa9%zz%2", "file|-|-|-|-1|a b\xc3\xa9%zz%2|-|-|a b\xc3\xa9%zz%2"},
    {"file:%41%e9+", "file|-|-|-|-1|A\xe9+|-|-|%41%e9+"},
    // Plain paths.
    {"/a?b#c%41", "file|-|-|-|-1|/a?b#c%41|-|-|/a?b#c%41"},
    {"c:\\data", "file|-|-|-|-1|c:\\data|-|-|c:\\data"},
    {"./ab:c", "file|-|-|-|-1|./ab:c|-|-|./ab:c"},
    {"1a:b", "file|-|-|-|-1|1a:b|-|-|1a:b"},
    {"//h/p", "file|-|-|-|-1|//h/p|-|-|//h/p"},
    {"a\nb", "file|-|-|-|-1|a\nb|-|-|a\nb"},
    {":", "file|-|-|-|-1|:|-|-|:"},
};

TEST_F(UriTest, TakesNamesApart) {
    for (const uri_case& one : cases)
        EXPECT_EQ(one.parts, parts_of(one.text)) << one.text;
    for (const char* text :
         {"", "tcp://h:65536", "tcp://h:99999999999999999999", "tcp://h:8a", "tcp://h:-1", "tcp://[::1",
          "tcp://[::1]x", "tcp://[h]", "tcp://[1:2]", "tcp://[v.x]", "tcp://[v1.]", "tcp://a]b", "file:a%00b",
          "ftp://u%00@h", "file:a\nb", "ab:\x7f"})
        EXPECT_EQ("refused", parts_of(text)) << text;
    EXPECT_EQ("refused", parts_of(nullptr));
}

TEST_F(UriTest, TellsHowItWasWritten) {
    ombrel_uri_t* uri = ombrel_parse_uri("ftp://[::1]/%2Fa/b");
    EXPECT_STREQ("/%2Fa/b", uri->m_encoded_path);
    EXPECT_EQ(1, uri->m_is_ip_literal);
    EXPECT_EQ(0, uri->m_is_plain_path);
    ombrel_free_uri(uri);
    uri = ombrel_parse_uri("a/b");
    EXPECT_EQ(0, uri->m_is_ip_literal);
    EXPECT_EQ(1, uri->m_is_plain_path);
    ombrel_free_uri(uri);
}

TEST_F(UriTest, DecodesAComponent) {
    char* text = ombrel_decode_uri("a%2fb%4%41+c", 9);
    EXPECT_STREQ("a/b%4%4", text);
    ombrel_free(text);
    EXPECT_EQ(nullptr, ombrel_decode_uri("a%00", 4));
    EXPECT_EQ(nullptr, ombrel_decode_uri(nullptr, 4));
}

} // namespace
