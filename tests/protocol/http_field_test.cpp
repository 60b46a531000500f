// Values of fields, targets and paths of HTTP, as texts of any bytes.
#include <cstring>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/fault.h>
#include <ombrel/heap.h>
#include <ombrel/http_field.h>

#include "support/heap_balance.h"

namespace ombrel_test {
namespace {

using namespace std::string_literals;

std::string text_of(const ombrel_http_text_t& text) {
    return {text.m_data, text.m_size};
}

ombrel_http_text_t text(const std::string& from) {
    return {from.data(), from.size()};
}

/// What a writer of texts makes of a buffer, "-" when it refuses, and that it needs all of its room.
std::string written(const std::function<int64_t(char*, size_t)>& write) {
    std::vector<char> buf(512);
    const int64_t size = write(buf.data(), buf.size());
    if (size < 0)
        return "-";
    EXPECT_EQ('\0', buf[static_cast<size_t>(size)]);
    std::vector<char> exact(static_cast<size_t>(size) + 1);
    EXPECT_EQ(size, write(exact.data(), exact.size()));
    EXPECT_EQ(-1, write(exact.data(), exact.size() - 1));
    EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
    EXPECT_TRUE(size == 0 || exact[0] == '\0'); // no part is taken for the whole
    return {buf.data(), static_cast<size_t>(size)};
}

/// The parts that a stepping function gives, joined; "!" where it refuses.
template<typename Part>
std::string parts_of(const std::string& from, int (*next)(const char*, size_t, size_t*, Part*),
                     std::string (*show)(const Part&)) {
    const std::vector<char> exact(from.begin(), from.end());
    std::string all;
    Part part{};
    size_t at = 0;
    int step;
    while ((step = next(exact.data(), exact.size(), &at, &part)) == 1)
        all += show(part) + "|";
    return step < 0 ? all + "!" : all;
}

TEST(HttpField, TakesListsApart) {
    const std::pair<std::string, const char*> lists[] = {{"a, b ,\tc", "a|b|c|"},
                                                         {"", ""},
                                                         {" , ,, ", ""},
                                                         {"a b", "a b|"},
                                                         {"\"a,\\\",b\", c", "\"a,\\\",b\"|c|"},
                                                         {"a, \"b", "a|!"},
                                                         {"\"\\", "!"},
                                                         {"\"a\0\""s, "!"}};
    for (const auto& [list, expected] : lists)
        EXPECT_EQ(expected, parts_of<ombrel_http_text_t>(list, ombrel_next_http_element, text_of)) << list;
    EXPECT_EQ(1, ombrel_has_http_element("x, Close", 8, "close"));
    EXPECT_EQ(0, ombrel_has_http_element("xclose", 6, "close"));
}

std::string parameters_of(const std::string& from, char separator) {
    std::string all;
    ombrel_http_parameter_t part;
    size_t at = 0;
    int step;
    while ((step = ombrel_next_http_parameter(from.data(), from.size(), separator, &at, &part)) == 1)
        all += text_of(part.m_name) + (part.m_is_quoted ? "=q:" : "=") + text_of(part.m_value) + "|";
    return step < 0 ? all + "!" : all;
}

TEST(HttpField, TakesParametersApart) {
    const std::tuple<std::string, char, const char*> rows[] = {
        {"; a=b ;c=\"d;\\\"e\"", ';', "a=b|c=q:d;\\\"e|"},
        {"realm=\"a, b\", nonce=x,, qop=y", ',', "realm=q:a, b|nonce=x|qop=y|"},
        {"a=b c=d", ';', "a=b|!"},
        {"a", ';', "!"},
        {"a=", ';', "!"},
        {"a =b", ';', "!"},
        {"a=\"b", ';', "!"},
        {"=b", ';', "!"},
        {"; ", ';', ""},
        {"a=\"\"", ';', "a=q:|"}};
    for (const auto& [from, separator, expected] : rows)
        EXPECT_EQ(expected, parameters_of(from, separator)) << from;
    const std::string media = "; charset=\"u\\tf\"; x=y";
    const auto get = [&](const char* name) {
        return written([&](char* buf, size_t room) {
            return ombrel_get_http_parameter(media.data(), media.size(), name, buf, room);
        });
    };
    EXPECT_EQ("utf", get("Charset"));
    EXPECT_EQ("y", get("x"));
    EXPECT_EQ("-", get("z"));
    EXPECT_EQ(def_ombrel_fault_not_found, ombrel_last_fault());
    const auto quote = [](const std::string& from) {
        return written([&](char* buf, size_t room) {
            return ombrel_quote_http_text(from.data(), from.size(), buf, room);
        });
    };
    EXPECT_EQ("\"a\\\"\\\\\xe4\"", quote("a\"\\\xe4"));
    EXPECT_EQ("-", quote("a\nb"));
}

TEST(HttpField, ReadsMediaTypes) {
    const std::pair<const char*, const char*> rows[] = {
        {" text/HTML ; charset=utf-8", "text HTML text/HTML ; charset=utf-8"},
        {"a/b", "a b a/b "},
        {"a/", "-"},
        {"/b", "-"},
        {"a", "-"},
        {"a/b/c", "-"},
        {"a/b;c", "-"},
        {"a /b", "-"},
        {"", "-"},
        {"a;/b", "-"}};
    for (const auto& [from, expected] : rows) {
        ombrel_http_media_t media;
        const int result = ombrel_parse_http_media(from, strlen(from), &media);
        EXPECT_EQ(expected, result != 0 ? "-"
                                        : text_of(media.m_type) + " " + text_of(media.m_subtype) + " " +
                                              text_of(media.m_essence) + " " + text_of(media.m_parameters));
    }
}

TEST(HttpField, RanksOffersByAcceptLists) {
    constexpr int media = def_ombrel_http_accept_media, coding = def_ombrel_http_accept_coding,
                  language = def_ombrel_http_accept_language;
    const std::tuple<int, const char*, const char*, int> rows[] = {
        {media, "text/*;q=0.3, text/html;q=0.7, text/html;level=1, */*;q=0.5", "text/html; charset=x", 700},
        {media, "text/*;q=0.3, */*;q=0.5", "TEXT/plain", 300},
        {media, "text/*;q=0.3, */*;q=0.5", "image/png", 500},
        {media, "text/html", "image/png", 0},
        {media, "", "image/png", 1000},
        {media, "a/b;q=0.001;x", "a/b", 1},
        {media, "a/b;q=1.001", "a/b", -1},
        {media, "a/b;q=.5", "a/b", -1},
        {media, "a/b;q=0.1234", "a/b", -1},
        {media, "a/b;q", "a/b", -1},
        {media, "a/b;q=2", "a/b", -1},
        {media, "a/b;q=0x5", "a/b", -1},
        {media, "a/b;q=0.5x", "a/b", -1},
        {media, "a/b;q=1.", "a/b", 1000},
        {media, "a/b;q=0.25", "a/b", 250},
        {media, "a/", "a/b", -1},
        {media, "/b", "a/b", -1},
        {media, ";q=1", "a/b", -1},
        {media, "text", "a/b", -1},
        {coding, "a b", "a", -1},
        {coding, "gzip;q=0.5, *;q=0", "GZIP", 500},
        {coding, "gzip;q=0.5, *;q=0", "identity", 0},
        {coding, "gzip", "identity", 1000},
        {coding, "", "identity", 1000},
        {coding, "", "gzip", 0},
        {language, "en-GB;q=0.2, en;q=0.8, *;q=0.1", "en-gb-oed", 200},
        {language, "en-GB;q=0.2, en;q=0.8, *;q=0.1", "en-US", 800},
        {language, "en-GB;q=0.2, en;q=0.8, *;q=0.1", "eng", 100}};
    for (const auto& [kind, list, offer, expected] : rows)
        EXPECT_EQ(expected, ombrel_get_http_quality(kind, list, strlen(list), offer)) << list << " " << offer;
    EXPECT_EQ(1000, ombrel_get_http_quality(coding, nullptr, 0, "gzip"));
    const char* const offers[] = {"identity", "br", "gzip"};
    EXPECT_EQ(2, ombrel_choose_http_offer(coding, "gzip, identity;q=0.5", 20, offers, 3));
    EXPECT_EQ(0, ombrel_choose_http_offer(coding, "gzip, br", 8, offers, 3)) << "of equal ones the first";
    EXPECT_EQ(-1, ombrel_choose_http_offer(coding, "*;q=0", 5, offers, 3));
    EXPECT_EQ(def_ombrel_fault_not_found, ombrel_last_fault());
}

TEST(HttpField, ReadsRanges) {
    const std::pair<const char*, const char*> rows[] = {{"bytes=0-0", "0+1|"},
                                                        {"Bytes= 5- ", "5+95|"},
                                                        {"bytes=-10", "90+10|"},
                                                        {"bytes=-1000", "0+100|"},
                                                        {"bytes=0-99999999999999999999999", "0+100|"},
                                                        {"bytes=100-", ""},
                                                        {"bytes=-0", ""},
                                                        {"bytes=50-59,100-,0-9", "50+10|0+10|"},
                                                        {"bytes=0-9,20-29,10-19", "0+30|"},
                                                        {"bytes=50-59,0-9,5-54", "0+60|"},
                                                        {"bytes=0-,0-,0-,0-", "0+100|"},
                                                        {"bytes=0-1,3-4,6-7,9-10", "0+2|3+2|6+2|9+2|"},
                                                        {"bytes=0-1,3-4,6-7,9-10,12-13", "!18"},
                                                        {"bytes=1-0", "!17"},
                                                        {"bytes=", "!17"},
                                                        {"bytes=-", "!17"},
                                                        {"bytes=a-", "!17"},
                                                        {"bytes=+1-2", "!17"},
                                                        {"bytes=1-2x", "!17"},
                                                        {"lines=0-1", "!17"},
                                                        {"bytes 0-1", "!17"},
                                                        {"", "!17"}};
    for (const auto& [from, expected] : rows) {
        ombrel_http_range_t ranges[4];
        const int count = ombrel_parse_http_ranges(from, strlen(from), 100, ranges, 4);
        std::string read =
            count < 0 ? "!" + std::to_string(ombrel_last_fault() == def_ombrel_fault_too_large ? 18 : 17)
                      : "";
        for (int i = 0; i < count; i++)
            read += std::to_string(ranges[i].m_first) + "+" + std::to_string(ranges[i].m_size) + "|";
        EXPECT_EQ(expected, read) << from;
    }
    ombrel_http_range_t range;
    EXPECT_EQ(0, ombrel_parse_http_ranges("bytes=0-", 8, 0, &range, 1));
}

TEST(HttpField, ReadsAndWritesContentRanges) {
    const std::tuple<const char*, int64_t, int64_t, int64_t> rows[] = {{"bytes 0-9/100", 0, 10, 100},
                                                                       {"bytes 90-99/100", 90, 10, 100},
                                                                       {"bytes 5-5/*", 5, 1, -1},
                                                                       {"bytes */7", -1, 0, 7}};
    for (const auto& [from, first, size, total] : rows) {
        ombrel_http_range_t range;
        int64_t read = 0;
        ASSERT_EQ(0, ombrel_parse_http_content_range(from, strlen(from), &range, &read)) << from;
        EXPECT_EQ(std::tuple(first, size, total), std::tuple(range.m_first, range.m_size, read)) << from;
        const ombrel_http_range_t* part = first >= 0 ? &range : nullptr;
        EXPECT_EQ(from, written([&](char* buf, size_t room) {
                      return ombrel_format_http_content_range(part, read, buf, room);
                  }));
    }
    for (const char* bad : {"bytes 9-8/100", "bytes 0-100/100", "bytes */*", "bytes 0-1", "bytes=0-1/2",
                            "bytes -1/2", "bytes 0-9223372036854775807/*", "bytes 0-1/+2", ""}) {
        ombrel_http_range_t range;
        int64_t total;
        EXPECT_EQ(-1, ombrel_parse_http_content_range(bad, strlen(bad), &range, &total)) << bad;
    }
    const ombrel_http_range_t beyond = {5, 6};
    char buf[72];
    EXPECT_EQ(-1, ombrel_format_http_content_range(&beyond, 10, buf, sizeof buf));
}

TEST(HttpField, ComparesEntityTags) {
    const std::pair<const char*, const char*> lists[] = {{"\"a\" ,, W/\"b,\"", "a|W b,|"},
                                                         {" * ", "*|"},
                                                         {"\"\"", "|"},
                                                         {"", ""},
                                                         {"\"a", "!"},
                                                         {"a", "!"},
                                                         {"w/\"a\"", "!"},
                                                         {"\"a\"\"b\"", "!"},
                                                         {"\"a\", *", "a|!"},
                                                         {"\"a b\"", "!"}};
    for (const auto& [list, expected] : lists)
        EXPECT_EQ(expected, parts_of<ombrel_http_entity_tag_t>(list, ombrel_next_http_entity_tag,
                                                               [](const auto& tag) {
                                                                   return tag.m_is_any
                                                                              ? "*"
                                                                              : (tag.m_is_weak ? "W " : "") +
                                                                                    text_of(tag.m_value);
                                                               }))
            << list;
    const std::tuple<const char*, const char*, int, int> rows[] = {
        {"\"a\", \"b\"", "\"b\"", 1, 1}, {"W/\"b\"", "\"b\"", 0, 1}, {"W/\"b\"", "\"b\"", 1, 0},
        {"\"b\"", "W/\"b\"", 1, 0},      {"*", "W/\"b\"", 1, 1},     {"*", nullptr, 0, 0},
        {"\"a\"", "a", 0, -1},           {"\"a", "\"a\"", 0, -1},    {"\"b\"", "\"a\", \"b\"", 0, -1}};
    for (const auto& [list, tag, is_strong, expected] : rows)
        EXPECT_EQ(expected, ombrel_match_http_entity_tag(list, strlen(list), tag, is_strong)) << list;
}

TEST(HttpField, DecidesByConditions) {
    const ombrel_instant_t changed = {784111777, 500};
    const char *const same = "Sun, 06 Nov 1994 08:49:37 GMT",
                      *const before = "Sunday, 06-Nov-94 08:49:36 GMT",
                      *const after = "Sun Nov  6 08:49:38 1994",
                      *const mail = "Sun, 6 Nov 1994 08:49:37 +0000";
    struct row {
        const char *match, *none_match, *modified_since, *unmodified_since;
        int for_get, for_put;
    };
    const row rows[] = {
        {nullptr, nullptr, nullptr, nullptr, 200, 200},   {"\"t\"", nullptr, nullptr, before, 200, 200},
        {"\"u\"", nullptr, nullptr, after, 412, 412},     {"\"", nullptr, nullptr, nullptr, 412, 412},
        {nullptr, nullptr, nullptr, before, 412, 412},    {nullptr, nullptr, nullptr, same, 200, 200},
        {nullptr, "W/\"t\"", nullptr, nullptr, 304, 412}, {nullptr, "\"u\"", after, nullptr, 200, 200},
        {nullptr, nullptr, same, nullptr, 304, 200},      {nullptr, nullptr, before, nullptr, 200, 200},
        {nullptr, nullptr, mail, nullptr, 200, 200},      {nullptr, "*", nullptr, nullptr, 304, 412}};
    const auto field = [](const char* from) {
        return ombrel_http_text_t{from, from != nullptr ? strlen(from) : 0};
    };
    for (const row& each : rows) {
        const ombrel_http_conditions_t asked = {field(each.match),
                                                field(each.none_match),
                                                field(each.modified_since),
                                                field(each.unmodified_since),
                                                {nullptr, 0}};
        EXPECT_EQ(each.for_get, ombrel_check_http_conditions(&asked, 1, "\"t\"", &changed)) << &each - rows;
        EXPECT_EQ(each.for_put, ombrel_check_http_conditions(&asked, 0, "\"t\"", &changed)) << &each - rows;
    }
    const std::pair<const char*, int> ranges[] = {{nullptr, 1}, {"\"t\"", 1}, {"W/\"t\"", 0},
                                                  {"\"u\"", 0}, {"*", 0},     {same, 1},
                                                  {after, 0},   {before, 0},  {"x", 0}};
    for (const auto& [from, expected] : ranges) {
        const ombrel_http_conditions_t asked = {{}, {}, {}, {}, field(from)};
        EXPECT_EQ(expected, ombrel_check_http_range_condition(&asked, "\"t\"", &changed)) << from;
    }
}

TEST(HttpField, ReadsAndWritesCookies) {
    const std::pair<std::string, const char*> lists[] = {
        {"a=b; c=\"d e\";f=;; g; =h; (=i; j=k=l", "a=b|c=d e|f=|j=k=l|"}, {"", ""}, {"a=\0b; c=d"s, "c=d|"}};
    for (const auto& [list, expected] : lists)
        EXPECT_EQ(expected,
                  parts_of<ombrel_http_cookie_t>(list, ombrel_next_http_cookie, [](const auto& cookie) {
                      return text_of(cookie.m_name) + "=" + text_of(cookie.m_value);
                  }));
    const std::string whole =
        "id=x%20y; Path=/a b; Domain=example.org; Max-Age=3600; Expires=Sun, 06 Nov 1994 08:49:37 "
        "GMT; Secure; HttpOnly; SameSite=Lax";
    ombrel_http_set_cookie_t cookie;
    const auto format = [&](char* buf, size_t room) {
        return ombrel_format_http_set_cookie(&cookie, buf, room);
    };
    ASSERT_EQ(0, ombrel_parse_http_set_cookie(whole.data(), whole.size(), &cookie));
    EXPECT_EQ(whole, written(format));
    const std::string odd = "a=b;path=x;DOMAIN=.d;max-age=-5;expires=soon;samesite=maybe;x;secure=1";
    ASSERT_EQ(0, ombrel_parse_http_set_cookie(odd.data(), odd.size(), &cookie));
    EXPECT_EQ("a=b; Domain=d; Max-Age=0; Secure", written(format));
    EXPECT_EQ(-1, ombrel_parse_http_set_cookie("a; b=c", 6, &cookie));
    const std::tuple<std::string, const char*> attributes[] = {
        {"a=\"b; Max-Age=0", "a=\"b 0 unset"}, // quoted on one side alone
        {"a=b\"; max-age=-1x", "a=b\" unset unset"},
        {"a=\"\"; Max-Age=99999999999999999999", "a= 9223372036854775807 unset"},
        {"a=b; Max-Age=5; Max-Age=x5", "a=b 5 unset"},
        {"a=b; Expires=Sun, 06 Nov 1994 08:49:37 GMT" + std::string(30, ' '), "a=b unset 784111777"},
        {"a=b; Expires=" + std::string(48, 'x'), "a=b unset unset"}};
    for (const auto& [line, expected] : attributes) {
        ASSERT_EQ(0, ombrel_parse_http_set_cookie(line.data(), line.size(), &cookie)) << line;
        EXPECT_EQ(expected, text_of(cookie.m_name) + "=" + text_of(cookie.m_value) + " " +
                                (cookie.m_max_age < 0 ? "unset" : std::to_string(cookie.m_max_age)) + " " +
                                (cookie.m_expires == INT64_MIN ? "unset" : std::to_string(cookie.m_expires)))
            << line;
    }
    const std::string bad[][4] = {{"a b", "", "", ""},        {"", "", "", ""},    {"a", "b;c", "", ""},
                                  {"a", "b c", "", ""},       {"a", "", "b", ""},  {"a", "", "/;b", ""},
                                  {"a", "", "/\r\nX: y", ""}, {"a", "", "", "b;c"}};
    for (const auto& [name, value, path, domain] : bad) {
        ombrel_init_http_set_cookie(&cookie);
        cookie.m_name = text(name), cookie.m_value = text(value), cookie.m_path = text(path),
        cookie.m_domain = text(domain);
        EXPECT_EQ("-", written(format)) << name << value << path << domain;
    }
    ombrel_init_http_set_cookie(&cookie);
    cookie.m_name = {"a", 1};
    cookie.m_same_site = def_ombrel_http_same_site_none;
    EXPECT_EQ("-", written(format)) << "without protection";
}

TEST(HttpField, SplitsTargets) {
    const std::tuple<const char*, const char*, const char*> rows[] = {
        {"GET", "/a?b?c", "0  :-1 /a ?b?c"},
        {"GET", "//a", "0  :-1 //a"},
        {"GET", "/?", "0  :-1 / ?"},
        {"GET", "HTTP://h:1?a=/b", "1 HTTP h:1 / ?a=/b"},
        {"GET", "https://[::1]", "1 https ::1:-1 /"},
        {"GET", "http://h:/", "1 http h:-1 /"},
        {"CONNECT", "h:443", "2  h:443 "},
        {"OPTIONS", "*", "3  :-1 "},
        {"GET", "*", "-"},
        {"CONNECT", "h", "-"},
        {"CONNECT", "/", "-"},
        {"GET", "a", "-"},
        {"GET", "ftp://h/", "-"},
        {"GET", "http:/h", "-"},
        {"GET", "http://", "-"},
        {"GET", "http:///a", "-"},
        {"GET", "http://u@h/", "-"},
        {"GET", "", "-"}};
    for (const auto& [method, from, expected] : rows) {
        ombrel_http_target_t target;
        const int result = ombrel_split_http_target({method, strlen(method)}, {from, strlen(from)}, &target);
        EXPECT_EQ(expected, result != 0 ? "-"
                                        : std::to_string(target.m_form) + " " + text_of(target.m_scheme) +
                                              " " + text_of(target.m_authority.m_host) + ":" +
                                              std::to_string(target.m_authority.m_port) + " " +
                                              text_of(target.m_path) +
                                              (target.m_has_query ? " ?" + text_of(target.m_query) : ""))
            << method << " " << from;
    }
}

std::string cleaned(const std::string& path) {
    std::vector<char> buf(path.size() + 1);
    const int64_t size = ombrel_clean_http_path(path.data(), path.size(), buf.data(), buf.size());
    return size < 0 ? "-" : std::string(buf.data(), static_cast<size_t>(size));
}

TEST(HttpField, LeadsPathsNowhereElse) {
    const std::pair<std::string, std::string> paths[] = {{"/", ""},
                                                         {"/a/b", "a/b"},
                                                         {"//a///b//", "a/b/"},
                                                         {"/a/./b/.", "a/b/"},
                                                         {"/a/../b", "b"},
                                                         {"/a/b/..", "a/"},
                                                         {"/a/..", ""},
                                                         {"/a/../../b", "-"},
                                                         {"/..", "-"},
                                                         {"/%2e%2e/a", "-"},
                                                         {"/a/.%2E", "-"},
                                                         {"/%2e", "-"},
                                                         {"/...", "..."},
                                                         {"/a%2fb", "-"},
                                                         {"/a%5cb", "-"},
                                                         {"/a\\b", "-"},
                                                         {"/%00", "-"},
                                                         {"/a\0"s, "-"},
                                                         {"/%0a", "-"},
                                                         {"/%7f", "-"},
                                                         {"/%", "-"},
                                                         {"/%4", "-"},
                                                         {"/%g0", "-"},
                                                         {"/%2541", "%41"},
                                                         {"/%C3%A4+ ", "\xc3\xa4+ "},
                                                         {"/%c3", "-"},
                                                         {"/%c0%ae", "-"},
                                                         {"a", "-"},
                                                         {"", "-"},
                                                         {"/c:", "c:"}};
    for (const auto& [path, expected] : paths)
        EXPECT_EQ(expected, cleaned(path)) << path;
    char small[2];
    EXPECT_EQ(-1, ombrel_clean_http_path("/a", 2, small, sizeof small));
    const std::tuple<std::string, int, const char*> parts[] = {{"a+b%2B%20", 1, "a b+ "}, {"a+b", 0, "a+b"},
                                                               {"%00", 0, "-"},           {"%0", 0, "-"},
                                                               {"%+1", 1, "-"},           {"", 0, ""}};
    for (const auto& [part, is_form, expected] : parts)
        EXPECT_EQ(expected, written([&, &from = part, form = is_form](char* buf, size_t room) {
                      return ombrel_decode_http_text(from.data(), from.size(), form, buf, room);
                  }));
}

TEST(HttpField, KeepsFields) {
    const heap_balance balance;
    ombrel_http_fields_t* const fields = ombrel_open_http_fields(0);
    const auto add = [&](const std::string& name, const std::string& value) {
        return ombrel_http_fields_add(fields, text(name), text(value));
    };
    for (int i = 0; i < 100; i++)
        EXPECT_EQ(0, add("X-" + std::to_string(i % 50), std::to_string(i)));
    EXPECT_EQ(-1, add("a b", "c"));
    EXPECT_EQ(-1, add("a", "b\r\nc"));
    EXPECT_EQ(-1, add("a", std::string(65536, 'x')));
    EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
    EXPECT_EQ(100, ombrel_http_fields_get_count(fields));
    EXPECT_STREQ("7", ombrel_http_fields_get(fields, "x-7"));
    EXPECT_EQ(nullptr, ombrel_http_fields_get(fields, "x"));
    char* const joined = ombrel_http_fields_alloc_joined(fields, "X-49");
    EXPECT_STREQ("49, 99", joined);
    ombrel_free(joined);
    EXPECT_EQ(nullptr, ombrel_http_fields_alloc_joined(fields, "x"));
    ombrel_http_text_t name, value;
    EXPECT_EQ(1, ombrel_http_fields_get_at(fields, 99, &name, &value));
    EXPECT_EQ("X-49: 99", text_of(name) + ": " + text_of(value));
    EXPECT_EQ(0, ombrel_http_fields_get_at(fields, 100, &name, nullptr));
    EXPECT_EQ(0, ombrel_http_fields_clear(fields));
    EXPECT_EQ(nullptr, ombrel_http_fields_get(fields, "x-7"));
    ombrel_close_http_fields(fields);
}

TEST(HttpField, ReadsHostsAndDates) {
    const std::pair<const char*, const char*> hosts[] = {{"h_1.x-:080", "h_1.x- 80 0"},
                                                         {"[1:2::3.4.5.6]:", "1:2::3.4.5.6 -1 1"},
                                                         {"[::1]x", "-"},
                                                         {"[::1", "-"},
                                                         {"h:+1", "-"},
                                                         {"::1", "-"},
                                                         {"", "-"}};
    for (const auto& [from, expected] : hosts) {
        ombrel_http_authority_t host;
        const int result = ombrel_parse_http_authority(from, strlen(from), &host);
        EXPECT_EQ(expected, result != 0 ? "-"
                                        : text_of(host.m_host) + " " + std::to_string(host.m_port) + " " +
                                              std::to_string(host.m_is_ip_literal));
    }
    const std::pair<const char*, int> dates[] = {
        {"Sun, 06 Nov 1994 08:49:37 GMT", 0},  {"Sunday, 06-Nov-94 08:49:37 GMT", 0},
        {"Sun Nov  6 08:49:37 1994", 0},       {"Sun, 06 Nov 1994 08:49:37 UTC", -1},
        {"Mon, 06 Nov 1994 08:49:37 GMT", -1}, {" Sun Nov  6 08:49:37 1994", -1}};
    for (const auto& [from, expected] : dates) {
        ombrel_instant_t instant = {784111777, 0};
        EXPECT_EQ(expected, ombrel_read_http_date(from, strlen(from), &instant)) << from;
        EXPECT_EQ(784111777, instant.m_seconds);
    }
}

TEST(HttpField, KnowsWords) {
    EXPECT_EQ(1, ombrel_is_http_name("AccepT", 6, "aCCept"));
    EXPECT_EQ(0, ombrel_is_http_name("accept\0", 7, "accept"));
    char plain[8];
    EXPECT_EQ(3, ombrel_unquote_http_text("a\\\"\\", 4, plain, sizeof plain));
    EXPECT_STREQ("a\"\\", plain);
    EXPECT_STREQ("Not Found", ombrel_http_status_text(404));
    EXPECT_STREQ("Request Header Fields Too Large", ombrel_http_status_text(431));
    EXPECT_STREQ("Unknown", ombrel_http_status_text(299));
    EXPECT_EQ(1, ombrel_is_http_token("a-!", 3));
    EXPECT_EQ(0, ombrel_is_http_token("", 0));
    // Each byte at each place of a value that is looked at by eights.
    for (int c = 0; c < 256; c++)
        for (size_t at = 0; at < 17; at++) {
            std::string value(17, '\t');
            value[at] = static_cast<char>(c);
            const bool is_control = (c < ' ' && c != '\t') || c == 0x7f;
            ASSERT_EQ(is_control ? 0 : 1, ombrel_is_http_value(value.data(), value.size())) << c;
        }
}

} // namespace
} // namespace ombrel_test
