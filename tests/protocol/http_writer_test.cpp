// Heads and chunks as they are written, and what may not be.
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/fault.h>
#include <ombrel/http_writer.h>

#include "support/heap_balance.h"

namespace ombrel_test {
namespace {

using namespace std::string_literals;

struct message_writer : ombrel_http_writer_t {
    message_writer() { ombrel_init_http_writer(this, buffer, sizeof buffer); }
    std::string text() const {
        const int64_t size = ombrel_http_writer_get_size(this);
        return size < 0 ? "-" : std::string(ombrel_http_writer_get_data(this), static_cast<size_t>(size));
    }
    char buffer[512];
};

std::string popped(ombrel_buffer_t* buffer) {
    std::string text(ombrel_get_buffer_size(buffer), '\0');
    ombrel_pop_buffer(buffer, text.data(), text.size());
    return text;
}

TEST(HttpWriter, WritesMessages) {
    message_writer writer;
    const ombrel_instant_t instant = {784111777, 0};
    ombrel_http_writer_request(&writer, "PUT", "/a?b");
    ombrel_http_writer_field(&writer, "Host", "[::1]:80");
    ombrel_http_writer_field(&writer, "X", " \xe4 \t");
    ombrel_http_writer_sized_field(&writer, "Yz", 1, "abc", 2);
    ombrel_http_writer_date_field(&writer, "Date", &instant);
    ombrel_http_writer_field(&writer, "Transfer-Encoding", "chunked");
    ombrel_http_writer_end_head(&writer);
    ombrel_http_writer_chunk(&writer, "0123456789abcdefg", 17);
    ombrel_http_writer_chunk(&writer, "", 0);
    ombrel_http_writer_chunk_line(&writer, 255);
    ombrel_http_writer_chunk_line(&writer, 1);
    ombrel_http_writer_last_chunk(&writer);
    ombrel_http_writer_field(&writer, "T", "");
    ombrel_http_writer_end_trailers(&writer);
    EXPECT_EQ(
        "PUT /a?b HTTP/1.1\r\nHost: [::1]:80\r\nX: \xe4\r\nY: ab\r\nDate: Sun, 06 Nov 1994 08:49:37 GMT\r\n"
        "Transfer-Encoding: chunked\r\n\r\n11\r\n0123456789abcdefg\r\nff\r\n\r\n1\r\n\r\n0\r\nT: \r\n\r\n",
        writer.text());
    EXPECT_EQ(0, ombrel_http_writer_clear(&writer));
    ombrel_http_writer_response(&writer, 404, nullptr);
    ombrel_http_writer_number_field(&writer, "Content-Length", 0);
    ombrel_http_writer_number_field(&writer, "Age", INT64_MIN);
    ombrel_http_writer_end_head(&writer);
    ombrel_http_writer_response(&writer, 299, "");
    ombrel_http_writer_date_field(&writer, "Date", nullptr);
    const std::string text = writer.text();
    EXPECT_EQ("HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\nAge: -9223372036854775808\r\n\r\nHTTP/1.1 299 "
              "\r\nDate: ",
              text.substr(0, text.rfind("Date") + 6));
}

TEST(HttpWriter, LetsNothingBreakOut) {
    using writer_t = ombrel_http_writer_t;
    const auto fields = [](const char* one, const char* other, const char* name, const char* value) {
        return [=](writer_t* writer) {
            ombrel_http_writer_response(writer, 200, nullptr);
            if (one != nullptr)
                ombrel_http_writer_field(writer, one, other);
            return ombrel_http_writer_field(writer, name, value);
        };
    };
    const auto request = [](const char* method, const char* target) {
        return [=](writer_t* writer) { return ombrel_http_writer_request(writer, method, target); };
    };
    const std::function<int(writer_t*)> bad[] = {
        request("GET ", "/"),
        request("", "/"),
        request("GET", ""),
        request("GET", "/ HTTP/1.1\r\nX:"),
        request("GET", "/#"),
        request("GET", "/\xff"),
        request(nullptr, "/"),
        [](writer_t* writer) { return ombrel_http_writer_response(writer, 200, "OK\r\nX: y"); },
        [](writer_t* writer) { return ombrel_http_writer_response(writer, 99, nullptr); },
        fields(nullptr, nullptr, "X", "a\r\nY: b"),
        fields(nullptr, nullptr, "X", "a\nb"),
        fields(nullptr, nullptr, "X", "\x7f"),
        fields(nullptr, nullptr, "X:", "a"),
        fields(nullptr, nullptr, "X\r\nY", "a"),
        fields(nullptr, nullptr, "", "a"),
        fields(nullptr, nullptr, "X", nullptr),
        fields("Content-Length", "1", "content-length", "1"),
        fields("Content-Length", "1", "Transfer-Encoding", "chunked"),
        fields("Transfer-Encoding", "CHUNKED", "Content-Length", "1"),
        fields("Host", "h", "Host", "h"),
        fields(nullptr, nullptr, "Host", "a b"),
        fields(nullptr, nullptr, "Content-Length", "-1"),
        fields(nullptr, nullptr, "Content-Length", "1, 1"),
        fields(nullptr, nullptr, "Transfer-Encoding", "gzip, chunked"),
        [](writer_t* writer) {
            ombrel_http_writer_response(writer, 204, nullptr);
            return ombrel_http_writer_number_field(writer, "Content-Length", 0);
        },
        [](writer_t* writer) {
            ombrel_http_writer_response(writer, 200, nullptr);
            return ombrel_http_writer_sized_field(writer, "X", 1, "a\0", 2);
        },
        [](writer_t* writer) { return ombrel_http_writer_field(writer, "X", "before the start line"); },
        [](writer_t* writer) { return ombrel_http_writer_end_head(writer); },
        [](writer_t* writer) {
            ombrel_http_writer_response(writer, 200, nullptr);
            ombrel_http_writer_end_head(writer);
            return ombrel_http_writer_chunk(writer, "x", 1);
        },
        [](writer_t* writer) {
            ombrel_http_writer_response(writer, 200, nullptr);
            ombrel_http_writer_field(writer, "Transfer-Encoding", "chunked");
            ombrel_http_writer_end_head(writer);
            ombrel_http_writer_last_chunk(writer);
            return ombrel_http_writer_field(writer, "Host", "h");
        }};
    for (const auto& write : bad) {
        message_writer writer;
        EXPECT_EQ(-1, write(&writer)) << &write - bad;
        EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
        // The first failure stays.
        EXPECT_EQ(-1, ombrel_http_writer_response(&writer, 200, nullptr));
        EXPECT_EQ("-", writer.text());
        EXPECT_EQ(-1, ombrel_http_writer_clear(&writer));
    }
}

TEST(HttpWriter, GoesOnToABufferWithoutACopy) {
    const heap_balance balance;
    ombrel_buffer_t* const buffer = ombrel_open_buffer();
    ombrel_http_writer_t own;
    ombrel_init_http_writer_block(&own, 2000);
    for (int round = 0; round < 2; round++) {
        ombrel_http_writer_response(&own, 200, nullptr);
        ombrel_http_writer_field(&own, "X", std::string(size_t{1000}, 'x').c_str());
        ombrel_http_writer_end_head(&own);
        const std::string text(ombrel_http_writer_get_data(&own),
                               static_cast<size_t>(ombrel_http_writer_get_size(&own)));
        EXPECT_EQ(0, ombrel_http_writer_push(&own, buffer));
        EXPECT_EQ(text, popped(buffer));
        EXPECT_EQ(0, ombrel_http_writer_get_size(&own));
    }
    ombrel_http_writer_response(&own, 200, nullptr);
    EXPECT_EQ(-1, ombrel_http_writer_field(&own, "X", std::string(size_t{2000}, 'x').c_str()));
    EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
    EXPECT_EQ(-1, ombrel_http_writer_push(&own, buffer));
    EXPECT_EQ(0u, ombrel_get_buffer_size(buffer)) << "a head that failed goes nowhere";
    ombrel_uninit_http_writer(&own);
    message_writer lent;
    ombrel_http_writer_request(&lent, "GET", "*");
    EXPECT_EQ(0, ombrel_http_writer_push(&lent, buffer));
    memset(lent.buffer, 0, sizeof lent.buffer);
    EXPECT_EQ("GET * HTTP/1.1\r\n", popped(buffer));
    ombrel_close_buffer(buffer);
    ombrel_http_writer_t none;
    EXPECT_EQ(-1, ombrel_init_http_writer_block(&none, 0));
    EXPECT_EQ(-1, ombrel_http_writer_push(nullptr, nullptr));
    EXPECT_EQ(0, ombrel_uninit_http_writer(nullptr));
}

TEST(HttpWriter, FillsABufferToItsLastByte) {
    const std::string whole = "GET / HTTP/1.1\r\nA: b\r\n\r\n";
    for (size_t size = 1; size <= whole.size(); size++) {
        std::vector<char> exact(size);
        ombrel_http_writer_t writer;
        ombrel_init_http_writer(&writer, exact.data(), size);
        ombrel_http_writer_request(&writer, "GET", "/");
        ombrel_http_writer_field(&writer, "A", "b");
        ombrel_http_writer_end_head(&writer);
        EXPECT_EQ(size == whole.size() ? static_cast<int64_t>(size) : -1,
                  ombrel_http_writer_get_size(&writer));
    }
}

} // namespace
} // namespace ombrel_test
