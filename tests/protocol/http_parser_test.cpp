// Messages of HTTP and what the parser makes of them, however they are cut.
#include <string>

#include <gtest/gtest.h>

#include <ombrel/fault.h>
#include <ombrel/http_parser.h>
#include <ombrel/http_writer.h>

#include "support/heap_balance.h"
#include "support/http_trace.h"

namespace ombrel_test {
namespace {

using http_trace::reader;
using namespace std::string_literals;

constexpr int requests = def_ombrel_http_requests, responses = def_ombrel_http_responses;

struct message {
    std::string text, expected;
    uint32_t flags = 0;
    int answer = def_ombrel_http_answer_any;
};

ombrel_http_parser_options_t options_with(uint32_t flags) {
    ombrel_http_parser_options_t options;
    ombrel_init_http_parser_options(&options);
    options.m_flags = flags;
    return options;
}

std::string read_in_two(const message& each, int role, const ombrel_http_parser_options_t& options,
                        size_t cut) {
    reader read(role, &options, each.answer);
    if (read.push(std::string_view(each.text).substr(0, cut)))
        read.push(std::string_view(each.text).substr(cut));
    return read.finish();
}

std::string read_bytes(const message& each, int role, const ombrel_http_parser_options_t& options) {
    reader read(role, &options, each.answer);
    for (const char c : each.text)
        if (!read.push({&c, 1}))
            break;
    return read.finish();
}

/// Whole, byte by byte and cut at each place.
void check(const message& each, int role, const ombrel_http_parser_options_t& options) {
    for (size_t cut = 0; cut < each.text.size(); cut++)
        ASSERT_EQ(each.expected, read_in_two(each, role, options, cut)) << each.text << "cut at " << cut;
    EXPECT_EQ(each.expected, read_bytes(each, role, options)) << each.text;
}

void check_all(int role, const std::vector<message>& messages) {
    for (const message& each : messages)
        check(each, role, options_with(each.flags));
}

/// A request with a Host and other lines.
std::string post(const std::string& lines, const std::string& body = "") {
    return "POST / HTTP/1.1\r\nHost: h\r\n" + lines + "\r\n\r\n" + body;
}

std::string posted(const std::string& behind) {
    return "POST / 11|Host: h|" + behind;
}

TEST(HttpParser, ReadsRequests) {
    const std::string chunked =
        post("Transfer-Encoding: Chunked", "3\r\nabc\r\n00a;n ; m=v;q=\"x\\\"\"\r\n0123456789\r\n0\r\n"
                                           "T: 1\r\n\r\n");
    const std::string chunked_trace =
        posted("Transfer-Encoding: Chunked|head chunked -1 keep|body abc0123456789|+T: 1|end|");
    check_all(
        requests,
        {{"\r\n\r\nGET /a?b HTTP/1.1\r\nHost: a_b.c-d.:80\r\nX:\t y  z \t\r\nE:\r\nB: \x80\xff\r\n\r\n",
          "GET /a?b 11|Host: a_b.c-d.:80|X: y  z|E: |B: \x80\xff|head none -1 keep|end|"},
         {post("Content-Length: 005",
               "helloGET / HTTP/1.0\r\nConnection: x, Keep-Alive\r\n\r\nGET /2 HTTP/1.0\r\n\r\nno more"),
          posted("Content-Length: 005|head length 5 keep|body hello|end|GET / 10|Connection: x, "
                 "Keep-Alive|head none -1 "
                 "keep|end|GET /2 10|head none -1|end|")},
         {chunked + chunked, chunked_trace + chunked_trace},
         {post("Content-Length: 0\r\nExpect: 100-Continue\r\nUpgrade: w\r\nConnection: a,upgrade"),
          posted("Content-Length: 0|Expect: 100-Continue|Upgrade: w|Connection: a,upgrade|head length 0 keep "
                 "upgrade "
                 "continue|end|")},
         {post("Expect: x\r\nUpgrade: w\r\nConnection: close"),
          posted("Expect: x|Upgrade: w|Connection: close|head none -1 expect|end|")},
         {"GET http://x?a=/path HTTP/1.7\r\nHost: y\r\n\r\n",
          "GET http://x?a=/path 11|Host: y|head none -1 keep|end|"},
         {"OPTIONS * HTTP/1.1\r\nHost: [::1]:8\r\n\r\n", "OPTIONS * 11|Host: [::1]:8|head none -1 keep|end|"},
         {"CONNECT [::1]:443 HTTP/1.1\r\nHost: h\r\nContent-Length: 0\r\n\r\n\x16\x03",
          "CONNECT [::1]:443 11|Host: h|Content-Length: 0|head none 0|end|"}});
}

TEST(HttpParser, ReadsResponses) {
    check_all(
        responses,
        {{"HTTP/1.1 100 Continue\r\nA: b\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nabHTTP/1.1 304 "
          "N\r\n"
          "Content-Length: 9\r\n\r\n",
          "100 Continue 11|A: b|head none -1 keep interim|end|200 OK 11|Content-Length: 2|head length 2 "
          "keep|body "
          "ab|end|304 N 11|Content-Length: 9|head none 9 keep|end|"},
         {"HTTP/1.0 999\r\n\r\nall\r\n", "999  10|head close -1|body all\r\n|end|"},
         {"HTTP/1.1 200 \r\nConnection: close\r\nTransfer-Encoding: chunked\r\n\r\n1\r\na\r\n0\r\n\r\nmore",
          "200  11|Connection: close|Transfer-Encoding: chunked|head chunked -1|body a|end|"},
         {"HTTP/1.1 200 \xe4\t\r\nContent-Length: 7\r\n\r\nHTTP/1.1 204 \r\n\r\n",
          "200 \xe4\t 11|Content-Length: 7|head none 7 keep|end|204  11|head none -1 keep|end|", 0,
          def_ombrel_http_answer_head},
         // What has no body and announces one is the last.
         {"HTTP/1.1 204 \r\nContent-Length: 1\r\n\r\nH", "204  11|Content-Length: 1|head none 1|end|"},
         {"HTTP/1.1 100 \r\n\r\nHTTP/1.1 201 \r\nContent-Length: 1\r\n\r\ntunnel",
          "100  11|head none -1 keep interim|end|201  11|Content-Length: 1|head tunnel 1|end|", 0,
          def_ombrel_http_answer_connect},
         {"HTTP/1.1 400 \r\nContent-Length: 1\r\n\r\nx",
          "400  11|Content-Length: 1|head length 1 keep|body x|end|", 0, def_ombrel_http_answer_connect},
         {"HTTP/1.1 101 \r\nUpgrade: w\r\nConnection: upgrade\r\n\r\n\x81",
          "101  11|Upgrade: w|Connection: upgrade|head tunnel -1 upgrade|end|"}});
}

/// Lines of a head behind the Host, and what is refused of them.
struct refusal {
    std::string lines;
    int reason;
    int at; ///< behind the Host's line; -1 for the end of the head
    std::string before = "";
};

TEST(HttpParser, RefusesFieldsThatMayBeReadInTwoWays) {
    const std::string start = "POST / HTTP/1.1\r\nHost: h\r\n";
    const std::string coding = "Transfer-Encoding: ";
    const refusal refusals[] = {
        {"A: b\n\r\n", def_ombrel_http_fault_bare_lf, 4},
        {"A: b\r\r\n", def_ombrel_http_fault_bare_cr, 4},
        {"A: b\rc\r\n", def_ombrel_http_fault_bare_cr, 4},
        {"A\rB: c\r\n", def_ombrel_http_fault_bare_cr, 1},
        {"A: \0\r\n"s, def_ombrel_http_fault_value, 3},
        {"A: \vb\r\n", def_ombrel_http_fault_value, 3},
        {"A: b\x7f\r\n", def_ombrel_http_fault_value, 4},
        {"A: b\r\n c\r\n", def_ombrel_http_fault_fold, 6, "A: b|"},
        {"A : b\r\n", def_ombrel_http_fault_name_space, 1},
        {"A\r\n", def_ombrel_http_fault_colon, 1},
        {": b\r\n", def_ombrel_http_fault_name, 0},
        {"A(: b\r\n", def_ombrel_http_fault_name, 1},
        {"A B: c\r\n", def_ombrel_http_fault_name, 2},
        {"\vTransfer-Encoding: chunked\r\n", def_ombrel_http_fault_name, 0},
        {"HOST: h\r\n", def_ombrel_http_fault_two_hosts, 0},
        {"Content-Length: +5\r\n", def_ombrel_http_fault_length, 0},
        {"Content-Length:  5 6\r\n", def_ombrel_http_fault_length, 0},
        {"Content-Length: 5,5\r\n", def_ombrel_http_fault_length, 0},
        {"Content-Length: -0\r\n", def_ombrel_http_fault_length, 0},
        {"Content-Length:\r\n", def_ombrel_http_fault_length, 0},
        {"Content-Length: 0x5\r\n", def_ombrel_http_fault_length, 0},
        {"Content-Length: 9223372036854775808\r\n", def_ombrel_http_fault_length, 0},
        {"Content-Length: 5\v\r\n", def_ombrel_http_fault_value, 17},
        {"content-length: 5\r\nContent-Length: 5\r\n", def_ombrel_http_fault_two_lengths, 19,
         "content-length: 5|"},
        {coding + "chunked\r\nContent-Length: 5\r\n\r\n", def_ombrel_http_fault_both_lengths, -1,
         coding + "chunked|Content-Length: 5|"},
        {coding + "chunked\f\r\n", def_ombrel_http_fault_value, 26},
        {coding + "\"chunked\"\r\n", def_ombrel_http_fault_coding, 0},
        {coding + "chunked, chunked\r\n", def_ombrel_http_fault_coding, 0},
        {coding + "chunked,\r\n", def_ombrel_http_fault_coding, 0},
        {coding + "chunked;a=b\r\n", def_ombrel_http_fault_coding, 0},
        {coding + "chunked, gzip\r\n", def_ombrel_http_fault_coding, 0},
        {coding + "\r\n", def_ombrel_http_fault_coding, 0},
        {coding + "chunked\r\n" + coding + "chunked\r\n", def_ombrel_http_fault_coding, 28,
         coding + "chunked|"},
        {coding + "gzip, chunked\r\n", def_ombrel_http_fault_other_coding, 0},
        {coding + "xchunked\r\n", def_ombrel_http_fault_other_coding, 0},
    };
    for (const auto& [lines, reason, at, before] : refusals) {
        const size_t offset = start.size() + (at < 0 ? lines.size() : static_cast<size_t>(at));
        const std::string refused = "!" + std::to_string(reason) + " at " + std::to_string(offset);
        check({start + lines, posted(before) + refused}, requests, options_with(0));
    }
}

TEST(HttpParser, RefusesOtherMessages) {
    const std::string chunks = post("Transfer-Encoding: chunked"),
                      read = posted("Transfer-Encoding: chunked|head chunked -1 keep|");
    const auto refused = [](int reason, size_t at) {
        return "!" + std::to_string(reason) + " at " + std::to_string(at);
    };
    std::vector<message> messages = {
        {"GET /\r\n", refused(def_ombrel_http_fault_start_line, 5)},
        {"GET / HTTP/1.1 \r\n", refused(def_ombrel_http_fault_start_line, 14)},
        {"GET  / HTTP/1.1\r\n", refused(def_ombrel_http_fault_start_line, 6)},
        {"GET\t/ HTTP/1.1\r\n", refused(def_ombrel_http_fault_method, 3)},
        {"\x16\x03\x01", refused(def_ombrel_http_fault_method, 0)},
        {"GET /\x80 HTTP/1.1\r\n", refused(def_ombrel_http_fault_target, 5)},
        {"GET /a#b HTTP/1.1\r\n", refused(def_ombrel_http_fault_target, 6)},
        {"GET x HTTP/1.1\r\n", refused(def_ombrel_http_fault_target, 4)},
        {"GET * HTTP/1.1\r\n", refused(def_ombrel_http_fault_target, 4)},
        {"CONNECT h HTTP/1.1\r\n", refused(def_ombrel_http_fault_target, 8)},
        {"CONNECT /:1 HTTP/1.1\r\n", refused(def_ombrel_http_fault_target, 8)},
        {"GET http://u@h/ HTTP/1.1\r\n", refused(def_ombrel_http_fault_target, 4)},
        {"GET / http/1.1\r\n", refused(def_ombrel_http_fault_version, 6)},
        {"GET / HTTP/1.11\r\n", refused(def_ombrel_http_fault_version, 6)},
        {"PRI * HTTP/2.0\r\n\r\n", refused(def_ombrel_http_fault_other_version, 6)},
        {"GET / HTTP/1.1\n", refused(def_ombrel_http_fault_bare_lf, 14)},
        {"GET / HTTP/1.1\r\n\r\n", "GET / 11|" + refused(def_ombrel_http_fault_no_host, 18)},
        {"\r\nG", refused(def_ombrel_http_fault_incomplete, 3)},
        {"PUT / HTTP/1.0\r\nTransfer-Encoding: chunked\r\n\r\n",
         "PUT / 10|Transfer-Encoding: chunked|" + refused(def_ombrel_http_fault_old_coding, 46)},
        {"CONNECT h:1 HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: chunked\r\n\r\n",
         "CONNECT h:1 11|Host: h|Transfer-Encoding: chunked|" +
             refused(def_ombrel_http_fault_connect_body, 61)},
        {"CONNECT h:1 HTTP/1.1\r\nHost: h\r\nContent-Length: 1\r\n\r\nx",
         "CONNECT h:1 11|Host: h|Content-Length: 1|" + refused(def_ombrel_http_fault_connect_body, 52)},
        {post("Content-Length: 3", "ab"), posted("Content-Length: 3|head length 3 keep|body ab|" +
                                                 refused(def_ombrel_http_fault_incomplete, 49))}};
    for (const char* host : {"", "a b", "a/b", "a,b", "a:b", "a:65536", "a@b", ".", "a..b", "[::1",
                             "[1.2.3.4]", "[::1%25lo]", "%41"})
        messages.push_back({"GET / HTTP/1.1\r\nHost: "s + host + "\r\n",
                            "GET / 11|" + refused(def_ombrel_http_fault_host, 16)});
    const std::pair<std::string, int> lines[] = {
        {"g", def_ombrel_http_fault_chunk_size},     {"", def_ombrel_http_fault_chunk_size},
        {"-1", def_ombrel_http_fault_chunk_size},    {" 5", def_ombrel_http_fault_chunk_size},
        {";a", def_ombrel_http_fault_chunk_size},    {"0x5", def_ombrel_http_fault_chunk_line},
        {"5 ", def_ombrel_http_fault_chunk_line},    {"5 6", def_ombrel_http_fault_chunk_line},
        {"5;", def_ombrel_http_fault_chunk_line},    {"5;a=", def_ombrel_http_fault_chunk_line},
        {"5;a\v", def_ombrel_http_fault_chunk_line}, {"5;a=\"b", def_ombrel_http_fault_chunk_line}};
    for (const auto& [line, reason] : lines) {
        const size_t at = chunks.size() + (reason == def_ombrel_http_fault_chunk_line ? 1 : 0);
        messages.push_back({chunks + line + "\r\nhello", read + refused(reason, at)});
    }
    for (const auto& [line, at] : {std::pair("8000000000000000", 15), std::pair("00000000000000005", 16)})
        messages.push_back({chunks + line + "\r\n", read + refused(def_ombrel_http_fault_chunk_size,
                                                                   chunks.size() + static_cast<size_t>(at))});
    messages.insert(
        messages.end(),
        {{chunks + "5;a\rb\r\n", read + refused(def_ombrel_http_fault_chunk_line, chunks.size() + 1)},
         {chunks + "1\nx", read + refused(def_ombrel_http_fault_bare_lf, chunks.size() + 1)},
         {chunks + "1\r\nxy", read + "body x|" + refused(def_ombrel_http_fault_chunk_end, chunks.size() + 4)},
         {chunks + "1\r\nx\n",
          read + "body x|" + refused(def_ombrel_http_fault_chunk_end, chunks.size() + 4)},
         {chunks + "1\r\nx\r\r",
          read + "body x|" + refused(def_ombrel_http_fault_chunk_end, chunks.size() + 5)},
         {chunks + "0\r\nContent-Length: 1\r\n",
          read + refused(def_ombrel_http_fault_trailer, chunks.size() + 3)}});
    check_all(requests, messages);
    check_all(responses, {{"GET", refused(def_ombrel_http_fault_version, 0)},
                          {"HTTP/1.1 20 \r\n", refused(def_ombrel_http_fault_status, 9)},
                          {"HTTP/1.1 099 \r\n", refused(def_ombrel_http_fault_status, 9)},
                          {"HTTP/1.1 2000\r\n", refused(def_ombrel_http_fault_status, 9)},
                          {"HTTP/1.1 +20 \r\n", refused(def_ombrel_http_fault_status, 9)},
                          {"HTTP/1.1\r\n", refused(def_ombrel_http_fault_start_line, 8)},
                          {"HTTP/1.1 200 a\vb\r\n", refused(def_ombrel_http_fault_value, 14)}});
}

/// No byte outside a body may be a control character, whatever it stands for.
TEST(HttpParser, EachByteCounts) {
    const auto is_whole = [](const std::string& text, int role) {
        const ombrel_http_parser_options_t options = options_with(0);
        reader read(role, &options, def_ombrel_http_answer_any);
        read.push(text);
        return read.finish().ends_with("|end|");
    };
    const std::string chunks = "Transfer-Encoding: chunked\r\n\r\n2;x=\"y\"\r\n",
                      rest = "\r\n0\r\nT: u v\r\n\r\n";
    const std::tuple<int, std::string, std::string> messages[] = {
        {requests, "PUT /a?b HTTP/1.1\r\nHost: h:80\r\nX-A: b\tc\r\n" + chunks, rest},
        {requests, "POST http://h/ HTTP/1.0\r\nContent-Length: 2\r\nConnection: keep-alive\r\n\r\n", ""},
        {responses, "HTTP/1.1 200 All right\r\n" + chunks, rest},
    };
    for (const auto& [role, head, tail] : messages) {
        const std::string whole = head + "ab" + tail;
        EXPECT_TRUE(is_whole(whole, role)) << whole;
        for (size_t at = 0; at < whole.size(); at++) {
            std::string other = whole;
            other[at] = '\x01';
            const bool is_body = at >= head.size() && at < head.size() + 2;
            EXPECT_EQ(is_body, is_whole(other, role)) << at << other;
        }
    }
}

TEST(HttpParser, LetsThroughWhatItsFlagsName) {
    const std::string chunks = "PUT / HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: chunked\r\n\r\n";
    const std::string read = "PUT / 11|Host: h|Transfer-Encoding: chunked|head chunked -1 keep|";
    const message messages[] = {
        {"\nGET / HTTP/1.1\nHost: h\nTransfer-Encoding: chunked\n\n1\nx\n0\n\n",
         "GET / 11|Host: h|Transfer-Encoding: chunked|head chunked -1 keep|body x|end|",
         def_ombrel_http_lenient_bare_lf},
        {"GET / HTTP/1.0\r\nA: b \r\n\t c\r\n \r\nD: e\r\n\r\n", "GET / 10|A: b c|D: e|head none -1|end|",
         def_ombrel_http_lenient_fold},
        {"GET / HTTP/1.0\r\nA \t: b\r\n\r\n", "GET / 10|A: b|head none -1|end|",
         def_ombrel_http_lenient_name_space},
        {"GET / HTTP/1.0\r\nA: \vb\x7f\r\n\r\n", "GET / 10|A: \vb\x7f|head none -1|end|",
         def_ombrel_http_lenient_value},
        {"GET /\xff#a HTTP/1.0\r\n\r\n", "GET /\xff#a 10|head none -1|end|", def_ombrel_http_lenient_target},
        {post("Content-Length: 1, 1\r\nContent-Length: 1", "x"),
         posted("Content-Length: 1, 1|Content-Length: 1|head length 1 keep|body x|end|"),
         def_ombrel_http_lenient_lengths},
        {post("Transfer-Encoding: chunked\r\nContent-Length: 9", "0\r\n\r\nx"),
         posted("Transfer-Encoding: chunked|Content-Length: 9|head chunked -1|end|"),
         def_ombrel_http_lenient_both},
        {"GET / HTTP/1.1\r\n\r\nGET / HTTP/1.1\r\nHost: a b\r\n\r\n",
         "GET / 11|head none -1 keep|end|GET / 11|Host: a b|head none -1 keep|end|",
         def_ombrel_http_lenient_host},
        {chunks + "1 \t\r\nx\r\n0 ;,,\r\n\r\n", read + "body x|end|", def_ombrel_http_lenient_chunk_line}};
    for (const message& each : messages) {
        check(each, requests, options_with(each.flags));
        const auto others = options_with(def_ombrel_http_lenient_all & ~each.flags);
        EXPECT_NE(each.expected, read_in_two(each, requests, others, 0)) << each.text;
    }
    const std::string never[] = {"A: b\rc\r\n",
                                 "A: \0\r\n"s,
                                 "\0A: b\r\n"s,
                                 "Content-Length: 1, 2\r\n",
                                 "Content-Length: 5\v\r\n",
                                 "Transfer-Encoding: chunked\v\r\n",
                                 "Host: i\r\n",
                                 "A\r\n",
                                 "A: b\r\n \r c\r\n"};
    for (const std::string& lines : never)
        EXPECT_NE(
            std::string::npos,
            read_in_two({post(lines), ""}, requests, options_with(def_ombrel_http_lenient_all), 0).find('!'))
            << lines;
}

TEST(HttpParser, HoldsItsLimits) {
    ombrel_http_parser_options_t options = {0, 20, 12, 2, 60, 6, 8, 4};
    const std::string a = "GET / HTTP/1.0\r\n", c = "PUT / HTTP/1.1\r\nHost: h\r\n",
                      chunked = c + "Transfer-Encoding: chunked\r\n\r\n";
    const auto refused = [](int reason, size_t at) {
        return "!" + std::to_string(reason) + " at " + std::to_string(at);
    };
    const std::string read = "PUT / 11|Host: h|Transfer-Encoding: chunked|head chunked -1 keep|";
    const message messages[] = {
        {"GET /6789 HTTP/1.0\r\n\r\n", "GET /6789 10|head none -1|end|"},
        {"GET /67890 HTTP/1.0\r\n\r\n", refused(def_ombrel_http_fault_long_start_line, 20)},
        {a + "A: 4567890\r\n\r\n", "GET / 10|A: 4567890|head none -1|end|"},
        {a + "A: 45678901\r\n\r\n", "GET / 10|" + refused(def_ombrel_http_fault_long_field, 28)},
        {a + "A: b\r\nA: b\r\nA: b\r\n\r\n",
         "GET / 10|A: b|A: b|" + refused(def_ombrel_http_fault_many_fields, 28)}};
    for (const message& each : messages)
        check(each, requests, options);
    options.m_field_count_limit = 9;
    const std::string field = "A: 4567890\r\n";
    check({a + field + field + field + "A: 45\r\n\r\n", "GET / 10|A: 4567890|A: 4567890|A: 4567890|A: 45|" +
                                                            refused(def_ombrel_http_fault_large_head, 60)},
          requests, options);
    options.m_field_line_limit = 30;
    options.m_head_limit = 100;
    const message bodies[] = {
        {c + "Content-Length: 4\r\n\r\n1234",
         "PUT / 11|Host: h|Content-Length: 4|head length 4 keep|body 1234|end|"},
        {c + "Content-Length: 5\r\n\r\n",
         "PUT / 11|Host: h|Content-Length: 5|" + refused(def_ombrel_http_fault_large_body, 46)},
        {chunked + "3\r\n123\r\n2\r\n",
         read + "body 123|" + refused(def_ombrel_http_fault_large_body, chunked.size() + 8)},
        {chunked + "0001\r\nx\r\n0\r\n12:45\r\n\r",
         read + "body x|+12: 45|" + refused(def_ombrel_http_fault_large_trailers, chunked.size() + 20)},
        {chunked + "00001\r\n", read + refused(def_ombrel_http_fault_long_chunk_line, chunked.size() + 6)},
        {chunked + "1;ab\r\nx\r\n1;ab\r\nx\r\n1;ab\r\n",
         read + "body xx|" + refused(def_ombrel_http_fault_large_trailers, chunked.size() + 18)}};
    for (const message& each : bodies)
        check(each, requests, options);
    check({"HTTP/1.0 200 \r\n\r\n12345",
           "200  10|head close -1|body 1234|" + refused(def_ombrel_http_fault_large_body, 21)},
          responses, options);
    options.m_flags = def_ombrel_http_lenient_fold;
    check(
        {a + "A: b\r\n" + std::string(90, ' '), "GET / 10|" + refused(def_ombrel_http_fault_long_field, 46)},
        requests, options);
}

TEST(HttpParser, StopsAfterEachEvent) {
    const std::string one = post("Content-Length: 2", "ab"), two = one + one;
    ombrel_http_parser_t* const parser = ombrel_open_http_parser(requests, nullptr);
    ombrel_http_event_t event;
    size_t at = 0;
    EXPECT_EQ(def_ombrel_http_state_idle, ombrel_http_parser_get_state(parser));
    int states[] = {0, 0, 0, 0, 0};
    do {
        ASSERT_EQ(1, ombrel_http_parser_next(parser, two.data(), two.size(), &at, &event));
        states[ombrel_http_parser_get_state(parser)]++;
    } while (event.m_kind != def_ombrel_http_event_end);
    EXPECT_EQ(one.size(), at);
    EXPECT_EQ(1, states[def_ombrel_http_state_idle]);
    EXPECT_EQ(3, states[def_ombrel_http_state_head]);
    EXPECT_EQ(2, states[def_ombrel_http_state_body]);
    // The limit of the body is that of one message.
    EXPECT_EQ(0, ombrel_http_parser_set_body_limit(parser, 0));
    const std::string rest = two.substr(at);
    size_t rest_at = 0;
    int step;
    while ((step = ombrel_http_parser_next(parser, rest.data(), rest.size(), &rest_at, &event)) == 1)
        EXPECT_NE(def_ombrel_http_event_head, event.m_kind);
    EXPECT_EQ(-1, step);
    EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
    const ombrel_http_fault_t& fault = *ombrel_http_parser_get_fault(parser);
    EXPECT_EQ(413, fault.m_status);
    EXPECT_STREQ("body too large", ombrel_http_fault_text(fault.m_reason));
    EXPECT_EQ(-1, ombrel_http_parser_next(parser, "G", 1, &(at = 0), &event));
    EXPECT_EQ(-1, ombrel_http_parser_end(parser, &event));
    EXPECT_EQ(0, ombrel_http_parser_reset(parser));
    EXPECT_EQ(0, fault.m_reason);
    EXPECT_EQ(1, ombrel_http_parser_next(parser, two.data(), two.size(), &(at = 0), &event));
    ombrel_close_http_parser(parser);
}

TEST(HttpParser, KeepsNothingOfAPeerBetweenMessages) {
    const heap_balance balance;
    ombrel_http_parser_t* const parser = ombrel_open_http_parser(requests, nullptr);
    {
        const heap_balance between_messages;
        ombrel_http_event_t event;
        for (const char c : post("A: " + std::string(size_t{5000}, 'x'))) {
            size_t at = 0;
            while (ombrel_http_parser_next(parser, &c, 1, &at, &event) == 1) {
            }
        }
    }
    ombrel_close_http_parser(parser);
}

TEST(HttpParser, RefusesNonsense) {
    ombrel_http_parser_options_t options = options_with(def_ombrel_http_lenient_all + 1);
    ombrel_http_event_t event;
    size_t at = 2;
    EXPECT_EQ(nullptr, ombrel_open_http_parser(requests, &options));
    options = options_with(0);
    options.m_head_limit = 0;
    EXPECT_EQ(nullptr, ombrel_open_http_parser(requests, &options));
    EXPECT_EQ(nullptr, ombrel_open_http_parser(2, nullptr));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    ombrel_http_parser_t* const parser = ombrel_open_http_parser(requests, nullptr);
    EXPECT_EQ(-1, ombrel_http_parser_next(parser, "G", 1, &at, &event));
    EXPECT_EQ(-1, ombrel_http_parser_expect(parser, def_ombrel_http_answer_head));
    EXPECT_EQ(-1, ombrel_http_parser_next(nullptr, "G", 1, &(at = 0), &event));
    EXPECT_EQ(-1, ombrel_http_parser_get_state(nullptr));
    EXPECT_EQ(nullptr, ombrel_http_parser_get_fault(nullptr));
    EXPECT_STREQ("unknown", ombrel_http_fault_text(99));
    ombrel_close_http_parser(parser);
}

} // namespace
} // namespace ombrel_test
